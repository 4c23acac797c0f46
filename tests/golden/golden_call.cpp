#include "golden/golden_call.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/media.h"
#include "nas/printer.h"
#include "nas/samba.h"
#include "nas/tethering.h"
#include "nas/torrent.h"
#include "nas/web.h"
#include "platform/device.h"

#include <cstring>
#include <map>

namespace nas_test
{
namespace
{

using Callback = int (*)(const char *mode, const char *origin);

// Most have no origin.
template <int (*function)(const char *mode)>
int without_origin(const char *mode, const char *)
{
    return function(mode);
}

Callback find_callback(const std::string &name)
{
    static const std::map<std::string, Callback> callbacks = {
        {"entware_callback", without_origin<entware_callback>},
        {"ftp_callback", without_origin<ftp_callback>},
        {"lighttpd_callback", lighttpd_callback},
        {"media_callback", without_origin<media_callback>},
        {"nalvexcloud_callback", without_origin<nalvexcloud_callback>},
        {"rsync_callback", without_origin<rsync_callback>},
        {"samba_callback", without_origin<samba_callback>},
        {"torrent_callback", without_origin<torrent_callback>},
        {"configure_iptables_for_nas", [](const char *, const char *) { return configure_iptables_for_nas(); }},
        {"prepare_kelsto_server", [](const char *, const char *) { return prepare_kelsto_server(); }},
        {"sweep_kelsto_server", [](const char *, const char *) { return sweep_kelsto_server(); }},
    };
    const auto found = callbacks.find(name);
    return found == callbacks.end() ? nullptr : found->second;
}

using PeriodicCallback = int (*)(PeriodicCallbackRecord *record);

PeriodicCallback find_periodic_callback(const std::string &name)
{
    static const std::map<std::string, PeriodicCallback> callbacks = {
        {"lp_callback", lp_callback},
        {"tethering_callback", tethering_callback},
    };
    const auto found = callbacks.find(name);
    return found == callbacks.end() ? nullptr : found->second;
}

} // namespace

std::string call_golden(const GoldenCase &golden, RecordingHost &host)
{
    if (const Callback callback = find_callback(golden.function)) {
        const int result = host.call(callback, golden.mode ? golden.mode->c_str() : nullptr,
                                     golden.origin ? golden.origin->c_str() : nullptr);
        return "result " + std::to_string(result) + "\n";
    }
    if (const PeriodicCallback callback = find_periodic_callback(golden.function)) {
        PeriodicCallbackRecord record;
        std::memset(&record, 0x5a, sizeof record);
        record.run_count = golden.run_count;
        const int result = host.call(callback, &record);
        return "record active " + std::to_string(record.active) + ", interval " + std::to_string(record.interval) +
               "\nresult " + std::to_string(result) + "\n";
    }
    return {};
}

} // namespace nas_test
