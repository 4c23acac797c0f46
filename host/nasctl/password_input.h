/* A password that does not stand in the command line, where every process could read it. */
#ifndef NASCTL_PASSWORD_INPUT_H
#define NASCTL_PASSWORD_INPUT_H

#include <string>

namespace nasctl
{

/* On a terminal asks twice, without showing what is typed; otherwise reads one line of standard input. Throws a
 * UsageError when there is none, or when both answers differ. */
std::string read_password();

} // namespace nasctl

#endif
