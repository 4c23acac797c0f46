// Every service's stored record: what is read from it can be written, and then stays what it is.
#include "fuzz/fuzz.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/media.h"
#include "nas/printer.h"
#include "nas/samba.h"
#include "nas/service.h"
#include "nas/torrent.h"
#include "nas/web.h"

#include <cstring>
#include <map>

namespace nas_fuzz
{
namespace
{

using Values = std::map<std::string, std::optional<std::string>>;

struct Service {
    const char *name;
    const char *key;
    void (*read_and_write)(World &world);
};

template <class Record, auto get, auto set>
void read_and_write(World &world)
{
    const auto pass = [&world] {
        Record record;
        std::memset(&record, 0x5a, sizeof record);
        world.host.call(get, &record);
        world.host.call(set, &record);
    };
    pass();
    const Values once = world.host.config.values;
    pass();
    require(world.host.config.values == once, "a record that was read and written stays what it is");
}

constexpr Service services[] = {
    {"ftp", "ftp_conf", read_and_write<FtpdConfig, get_ftpd_config, set_ftpd_config>},
    {"samba", "samba_conf", read_and_write<SambaConfig, get_samba_config, set_samba_config>},
    {"url", "url_conf", read_and_write<UrlServiceConfig, get_urlsvc_config, set_urlsvc_config>},
    {"rsync", "rsync_conf", read_and_write<CloudShareConfig, get_rsync_config, set_rsync_config>},
    {"nalvexcloud", "nalvexcloud_conf",
     read_and_write<CloudShareConfig, get_nalvexcloud_config, set_nalvexcloud_config>},
    {"torrent", "torrent_conf", read_and_write<TorrentConfig, get_torrent_config, set_torrent_config>},
    {"media", "media_conf", read_and_write<MediaConfig, get_media_config, set_media_config>},
    {"entware", "entware_run", read_and_write<EntwareConfig, get_entware_config, set_entware_config>},
    {"cupsd", "cupsd_conf", read_and_write<CupsdConfig, get_cupsd_config, set_cupsd_config>},
};

} // namespace

void try_input(Input input, World &world)
{
    const Service &service = services[input.choice(std::size(services))];
    const std::string name = service.name;
    set_up_router(world);
    world.host.set_config(service.key, input.text());
    world.host.set_config(name + "_hddname", input.text());
    world.host.set_config(name + "_folder", input.text());
    world.host.network.wan_ip["wan1"] = input.text();

    world.host.call(get_service_enable, service.name);
    ServicePort ports[2] = {};
    world.host.call(get_service_ports, service.name, ports, 2);
    world.host.call(configure_iptables_for_nas);
    service.read_and_write(world);
}

} // namespace nas_fuzz
