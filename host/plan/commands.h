/* What commands do in a plan.
 *
 * Nothing that reaches beyond files is run. What only asks or changes files runs in the private world. "killall" and
 * "kill" end the processes that they would find, at once. Any other program is taken to succeed when it is there, and
 * to be a process of its name from then on. How long a daemon takes to end or to start is not foreseen. */
#ifndef NASPLAN_COMMANDS_H
#define NASPLAN_COMMANDS_H

#include <string>

namespace nas_recording
{
class RecordingHost;
}

namespace nasplan
{

/* The machine's processes are those of the host from now on, and its commands do as described. */
void answer_commands(nas_recording::RecordingHost &host);

} // namespace nasplan

#endif
