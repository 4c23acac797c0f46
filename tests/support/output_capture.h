// The recording host's capture of output under the name that the tests know it by.
#ifndef NAS_TESTS_OUTPUT_CAPTURE_H
#define NAS_TESTS_OUTPUT_CAPTURE_H

#include "recording/output_capture.h"
#include "support/recording_host.h"

#endif
