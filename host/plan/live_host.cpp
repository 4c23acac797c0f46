#include "plan/live_host.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace nasplan
{
namespace
{

void *library_handle;

/* What the host's library calls of itself must not be the recording host's. A sanitizer cannot have it so; there,
 * whatever the host does on its way is told apart by HostsOwnDoing. */
#ifdef NAS_SANITIZE
constexpr int own_names_first = 0;
#else
constexpr int own_names_first = RTLD_DEEPBIND;
#endif

} // namespace

void load_live_host(const std::string &library)
{
    library_handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL | own_names_first);
    if (library_handle == nullptr)
        throw std::runtime_error(std::string("the host's library cannot be loaded: ") + dlerror());
}

void *live_operation(const char *name)
{
    void *const operation = dlsym(library_handle, name);
    if (operation == nullptr) {
        fprintf(stderr, "nas-plan: the host's library has no %s\n", name);
        exit(EXIT_FAILURE);
    }
    return operation;
}

} // namespace nasplan
