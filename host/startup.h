/* What a program that the kernel or an init starts has to see to first. */
#ifndef NASHOST_STARTUP_H
#define NASHOST_STARTUP_H

namespace nashost
{

/* Opens /dev/null in place of those that are not open: a file opened later would take their number, and a diagnostic
 * line would go into it. */
void fill_standard_descriptors();

/* Standard output and error go to the log. False when it cannot be opened. */
bool send_output_to_log();

/* A log that has become too large begins anew; what it held is kept once. */
void bound_log();

/* The programs that the library runs without a path are found. */
void make_sure_of_path();

} // namespace nashost

#endif
