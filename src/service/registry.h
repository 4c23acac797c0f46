// The table of services, for the library's own use.
#ifndef NAS_SERVICE_REGISTRY_H
#define NAS_SERVICE_REGISTRY_H

#include "nas/service.h"

namespace nas
{

// The row of that name, or null.
const NasServiceInfo *find_nas_service(const char *name);

} // namespace nas

#endif
