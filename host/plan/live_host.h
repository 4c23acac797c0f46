/* The router's own host library: the facts are its facts. */
#ifndef NASPLAN_LIVE_HOST_H
#define NASPLAN_LIVE_HOST_H

#include "plan/private_world.h"
#include "recording/recording_host.h"

#include <string>
#include <type_traits>

namespace nasplan
{

/* Throws when it cannot be loaded. */
void load_live_host(const std::string &library);

/* Ends the program when the library lacks it. */
void *live_operation(const char *name);

template <class Result, class... Parameters>
Result ask_live_host(Result (*)(Parameters...), const char *name, std::type_identity_t<Parameters>... arguments)
{
    const nas_recording::HostsOwnDoing mine;
    const RealWorld there;
    return reinterpret_cast<Result (*)(Parameters...)>(live_operation(name))(arguments...);
}

} // namespace nasplan

#endif
