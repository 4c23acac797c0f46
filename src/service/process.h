// Questions on the process list.
#ifndef NAS_SERVICE_PROCESS_H
#define NAS_SERVICE_PROCESS_H

namespace nas
{

// Is a process of that name, or title, in the host's list?
bool process_exists(const char *name);

} // namespace nas

#endif
