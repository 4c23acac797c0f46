// Whole runs of a service over hostile records, users, mount tables and names on a disk.
#include "fuzz/fuzz.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/media.h"
#include "nas/samba.h"
#include "nas/torrent.h"
#include "nas/web.h"

#include <iterator>

namespace nas_fuzz
{
namespace
{

struct Service {
    const char *name;
    int (*run)(const char *mode);
};

constexpr Service services[] = {
    {"ftp", ftp_callback},
    {"samba", samba_callback},
    {"url", [](const char *mode) { return lighttpd_callback(mode, "url"); }},
    {"rsync", rsync_callback},
    {"nalvexcloud", nalvexcloud_callback},
    {"media", media_callback},
    {"torrent", torrent_callback},
    {"entware", entware_callback},
    {"ftp", [](const char *) { return prepare_kelsto_server(); }},
    {"ftp", [](const char *) { return sweep_kelsto_server(); }},
};

constexpr const char *modes[] = {nullptr, "forced", "nomount", "register"};

void put_records(World &world, const std::string &name, Input &input)
{
    world.host.set_config(name + "_conf", input.text());
    world.host.set_config(name + "_hddname", input.text());
    world.host.set_config(name + "_folder", input.text());
    world.host.set_config("nas_user_system_0", input.text());
    world.host.set_config("nas_user_system_0.ftp", input.text());
    world.host.set_config("nas_user_system_0.ftp.folder", input.text());
    world.host.set_config("nas_user_" + name, input.text());
    world.host.set_config("nas_user_" + name + ".folder", input.text());
    world.host.set_config("nas_user_" + name + "_1", input.text());
    world.host.set_config("nas_user_" + name + "_1.folder", input.text());
}

} // namespace

void try_input(Input input, World &world)
{
    const Service &service = services[input.choice(std::size(services))];
    const char *const mode = modes[input.choice(std::size(modes))];
    set_up_router(world);
    put_records(world, service.name, input);
    const std::string mounts = input.text();
    if (!mounts.empty())
        world.sandbox.set_mounts(mounts);
    // It is used as a format: the host takes the percent signs out.
    world.host.device.product = input.text().substr(0, 127);
    std::erase(world.host.device.product, '%');
    const std::string response = input.text();
    world.sandbox.put_file("/tmp/cloud_backup_response", response);
    plant_all("/mnt", input);

    world.host.call(service.run, mode);
    world.host.call(service.run, mode); // what the first run left behind is met by the second
}

} // namespace nas_fuzz
