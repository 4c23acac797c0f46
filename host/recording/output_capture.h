// Catches what the process writes to standard output and standard error, below stdio.
#ifndef NAS_OUTPUT_CAPTURE_H
#define NAS_OUTPUT_CAPTURE_H

#include <string>

namespace nas_recording
{

// Opens the unlinked files that take the output; called by itself at the first capture. Called before a fork, the
// parent can say with report_lost_output what a child that crashed during a capture had to say.
void open_output_capture();
void report_lost_output();

void begin_output_capture();
void end_output_capture(); // drops what was not taken

std::string take_captured_stdout();
std::string take_captured_stderr();

} // namespace nas_recording

#endif
