#include "hostile/shell.h"

#include <dlfcn.h>

namespace
{

bool is_real = true;

} // namespace

// Stands before the C library's.
extern "C" [[gnu::visibility("default")]] int system(const char *command);

int system(const char *command)
{
    using System = int (*)(const char *);
    static const auto real = reinterpret_cast<System>(dlsym(RTLD_NEXT, "system"));
    return is_real ? real(command) : 0;
}

void hostile::use_shell(bool real)
{
    is_real = real;
}
