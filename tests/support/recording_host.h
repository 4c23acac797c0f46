// The recording host under the name that the tests know it by.
#ifndef NAS_TESTS_RECORDING_HOST_H
#define NAS_TESTS_RECORDING_HOST_H

#include "recording/recording_host.h"

namespace nas_test
{

using namespace nas_recording;

} // namespace nas_test

#endif
