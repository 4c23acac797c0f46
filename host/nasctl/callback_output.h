/* Runs what starts daemons, and shows what it says. */
#ifndef NASCTL_CALLBACK_OUTPUT_H
#define NASCTL_CALLBACK_OUTPUT_H

#include <functional>

namespace nasctl
{

/* Runs `work` in a child process and passes on to standard error, as it comes, what is written to standard output and
 * standard error there. A daemon that `work` starts keeps these two for ever: they are a file in memory, so that it
 * neither holds the reader of a pipe up nor meets a broken one, and later writes are refused. Standard input is
 * empty. False when the child could not be started or did not end by itself. */
bool run_with_output_to_error(const std::function<void()> &work);

} // namespace nasctl

#endif
