#include "kill/effort.h"

#include <cstdlib>
#include <cstring>

namespace kill_test
{

const Effort &effort()
{
    static constexpr Effort quick = {.store_kills = 200, .setter_stride = 53, .callback_stride = 251};
    static constexpr Effort everything = {.store_kills = 20000, .setter_stride = 1, .callback_stride = 1};
    const char *wanted = std::getenv("NAS_KILL_TEST");
    return wanted != nullptr && std::strcmp(wanted, "long") == 0 ? everything : quick;
}

} // namespace kill_test
