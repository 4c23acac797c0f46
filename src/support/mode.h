// How a service's callback was called.
#ifndef NAS_SUPPORT_MODE_H
#define NAS_SUPPORT_MODE_H

#include <string_view>

namespace nas
{

struct CallMode {
    bool forced;        // start the daemon even when the service is switched off
    bool nomount;       // stop it and leave it stopped
    bool only_register; // do nothing but announce the router to the service's server
};

inline CallMode read_mode(const char *mode)
{
    const std::string_view word = mode != nullptr ? mode : "";
    return {.forced = word == "forced", .nomount = word == "nomount", .only_register = word == "register"};
}

} // namespace nas

#endif
