// The functions that a golden case can call.
#ifndef NAS_TESTS_GOLDEN_CALL_H
#define NAS_TESTS_GOLDEN_CALL_H

#include "golden/golden_case.h"

#include <string>

namespace nas_test
{

// Calls the case's function. Returns the last lines of the transcript: what a periodic callback left in its record, and
// the result; an empty text when nothing is so named.
std::string call_golden(const GoldenCase &golden, RecordingHost &host);

} // namespace nas_test

#endif
