#include "plan/run.h"

#include "nas/web.h"
#include "plan/commands.h"
#include "plan/live_host.h"
#include "plan/secrets.h"
#include "platform/store.h"
#include "recording/recording_host.h"

#include <dlfcn.h>
#include <sys/vfs.h>

#include <ctime>

namespace nasplan
{
namespace
{

using nas_recording::FileSystem;
using nas_recording::HostsOwnDoing;
using nas_recording::RecordingHost;
using Callback = int (*)(const char *mode);

int run_web_file_service(const char *mode)
{
    return lighttpd_callback(mode, "url");
}

/* It is exported under the service's name; the web file service's has a name of its own. */
Callback find_callback(const std::string &service)
{
    if (service == "url")
        return run_web_file_service;
    return reinterpret_cast<Callback>(dlsym(RTLD_DEFAULT, (service + "_callback").c_str()));
}

bool read_config(const std::string &key, std::string &value)
{
    char text[NAS_STORE_VALUE_SIZE];
    if (ask_live_host(iconfig_get_value_direct, "iconfig_get_value_direct", key.c_str(), text) != 0)
        return false;
    value = text;
    return true;
}

bool read_status(const std::string &key, std::string &value)
{
    char text[NAS_STORE_VALUE_SIZE];
    if (ask_live_host(istatus_get_value_direct, "istatus_get_value_direct", key.c_str(), text) != 0)
        return false;
    value = text;
    return true;
}

/* A layer would tell its own size. */
bool read_file_system(const std::string &path, FileSystem &facts)
{
    const HostsOwnDoing mine;
    const RealWorld there;
    struct statfs real;
    if (statfs(path.c_str(), &real) != 0)
        return false;
    facts = {static_cast<std::uint64_t>(real.f_bsize), real.f_blocks, real.f_bfree, real.f_bavail};
    return true;
}

} // namespace

Run run_service(const std::string &service, const char *mode)
{
    RecordingHost host;
    host.config.live = read_config;
    host.status.live = read_status;
    host.live_file_system = read_file_system;
    host.now = time(nullptr);
    answer_commands(host);
    Run run;
    run.result = host.call(find_callback(service), mode);
    run.lines = host.lines();
    run.secrets = stored_secrets();
    return run;
}

} // namespace nasplan
