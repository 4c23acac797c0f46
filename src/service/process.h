// Questions on the process list.
#ifndef NAS_SERVICE_PROCESS_H
#define NAS_SERVICE_PROCESS_H

namespace nas
{

// Does a process of that name run?
bool process_exists(const char *name);

} // namespace nas

#endif
