#include "torture/scenario.h"

#include "support/sysfs.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/ftp.h"
#include "nas/hotplug.h"
#include "nas/media.h"
#include "nas/mount.h"
#include "nas/partition.h"
#include "nas/printer.h"
#include "nas/samba.h"
#include "nas/service.h"
#include "nas/tethering.h"
#include "nas/torrent.h"
#include "nas/usbcheck.h"
#include "nas/usbdev.h"
#include "nas/user.h"
#include "nas/web.h"
#include "platform/device.h"
#include "platform/process.h"

#include <cstdlib>

namespace nas_torture
{
namespace
{

namespace usb = nas_test::usb;

void nothing(World &)
{
}

void set_up_users(World &world)
{
    world.host.set_config("nas_user_system_0", "anna,secret");
    world.host.set_config("nas_user_system_0.ftp", "rw");
    world.host.set_config("nas_user_ftp_1", "otto,older,2");
    world.host.set_config("nas_user_samba", "anna,secret,1");
    world.host.set_config("nas_user_samba_1", "eve,word,2");
    world.host.set_config("nas_user_samba_1.folder", "Disk1:Movies");
}

// A disk in a port, mounted, with every service switched on.
void set_up_router(World &world)
{
    nas_test::plug(world.sandbox, world.host, std::string(usb::root_hubs) + std::string(usb::stick_on_bus_1));
    world.sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 fuseblk rw 0 0\n");
    world.sandbox.set_partitions(
        "major minor  #blocks  name\n\n   8        0    7864320 sda\n   8        1    7863296 sda1\n");
    world.sandbox.put_dir("/mnt/Disk1/Movies");
    nas_test::RecordingHost &host = world.host;
    host.file_systems["/tmp/mnt/Disk1"] = {4096, 1000, 400, 300};
    host.network.wan_ip["wan1"] = "203.0.113.7";
    host.network.address["br-lan"] = "192.168.1.1";
    host.device.hardware.usb_port_count = 2;
    host.set_config("ftp_conf", "1,2121,8080,UTF-8,0,1");
    host.set_config("samba_conf", "1,ROUTER,HOME,0,1,1,1");
    host.set_config("url_conf", "1,8000,1");
    host.set_config("rsync_conf", "1,1873,Disk1");
    host.set_config("rsync_folder", "Backup");
    host.set_config("nalvexcloud_conf", "1,2873,Disk1");
    host.set_config("torrent_conf", "1,0,0,0,9091");
    host.set_config("torrent_hddname", "Disk1");
    host.set_config("torrent_folder", "Torrents");
    host.set_config("nas_user_torrent", "tina,word,1");
    host.set_config("media_conf", "1,Film,");
    host.set_config("media_hddname", "Disk1");
    host.set_config("media_folder", "Movies");
    host.set_config("entware_run", "1");
    host.set_config("entware_hddname", "Disk1");
    host.set_config("entware_folder", "opt");
    for (const char *name : {"proftpd:", "smbd", "lighttpd", "rsync", "transmission-daemon", "minidlna", "telnetd"})
        host.add_process({.name = name});
    set_up_users(world);
}

void set_up_printer(World &world)
{
    nas_test::plug(world.sandbox, world.host, usb::printer);
    world.host.add_process({.name = "cupsd"});
    world.host.on_command_prefix("/bin/lpinfo ", {0});
    world.host.commands.back().effect = [&world] {
        world.sandbox.put_file("/tmp/cups_printer", "usb://Inkwell/Writer?serial=1\n");
    };
    world.host.on_command("/bin/lpstat -v > /dev/null 2>&1", {1});
    world.host.on_command_prefix("/bin/lpstat ", {0});
    world.host.commands.back().effect = [&world] {
        world.sandbox.put_file("/tmp/cups_ret", "device for nalVEX_Printer: usb://Inkwell/Writer?serial=1\n");
    };
}

void set_up_phone(World &world)
{
    nas_test::plug(world.sandbox, world.host, usb::phone);
    world.host.set_config("usb_tethering", "1");
    world.host.network.interfaces.insert("lte0");
    world.host.network.wan_type["wan1"] = "static";
    world.host.network.hw_ifname["wan1"] = "eth1";
    world.host.network.static_wan = {"eth1", "203.0.113.7", "255.255.255.0", "203.0.113.1"};
}

// Every step of an installation succeeds at once.
void set_up_download(World &world)
{
    set_up_router(world);
    std::string("RT1").copy(world.host.device.hardware.model, 4);
    world.host.set_status("entware", "1");
    world.sandbox.put_dir("/mnt/Disk1/opt");
    world.sandbox.put_link("/tmp/cur", "/mnt/Disk1/opt");
    world.host.on_command_prefix("/usr/bin/wget -O /tmp/entware_info", {0});
    world.host.commands.back().effect = [&world] {
        world.sandbox.put_file("/tmp/entware_info", "http://packages.example/install.sh\n");
    };
    world.host.on_command_prefix("/usr/bin/wget -O /tmp/cur/install.sh", {0});
    world.host.commands.back().effect = [&world] { world.sandbox.put_file("/tmp/cur/install.sh", "#!/bin/sh\n"); };
    world.host.on_command_prefix("/usr/sbin/chroot", {0});
    world.host.commands.back().effect = [&world] { world.sandbox.put_file("/tmp/cur/opt/bin/opkg", ""); };
}

void run_download(World &world)
{
    PeriodicCallbackRecord record = {};
    for (int poll = 0; poll < 60; ++poll) {
        world.host.call(entware_download_callback, &record);
        if (record.active == 0)
            break;
    }
}

template <int (*function)(PeriodicCallbackRecord *record)>
void run_periodic(World &world)
{
    PeriodicCallbackRecord record = {};
    world.host.call(function, &record);
}

template <auto function, auto... arguments>
void run(World &world)
{
    world.host.call(function, arguments...);
}

// A record that was read and is written.
template <class Record, auto get, auto set>
void rewrite(World &world)
{
    Record record = {};
    get(&record);
    world.host.call(set, &record);
}

NasUser some_user()
{
    NasUser user = {};
    std::string("otto").copy(user.id, sizeof user.id - 1);
    std::string("password").copy(user.password, sizeof user.password - 1);
    std::string("Disk1:Movies").copy(user.folder, sizeof user.folder - 1);
    user.permission = NAS_USER_READ_WRITE;
    return user;
}

template <auto set>
void set_user(World &world, const char *service, int slot)
{
    const NasUser user = some_user();
    world.host.call(set, service, slot, &user);
}

void hotplug_event(World &world, const char *action)
{
    constexpr const char *path =
        "/devices/pci0000:00/0000:00:12.0/usb1/1-1/1-1:1.0/host0/target0:0:0/0:0:0:0/block/sda";
    setenv("ACTION", action, 1);
    setenv("DEVPATH", path, 1);
    char program[] = "hotplug";
    char *argument[] = {program, nullptr};
    world.host.call(hotplug_usb2, 1, static_cast<char **>(argument));
}

void restart_all(World &world)
{
    ProcessList list = {};
    get_process_list(nullptr, &list, 0);
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; ++row)
        world.host.call(restart_nas_service, static_cast<const ProcessList *>(&list), row->name);
    free_process_list(&list);
}

void list_mounts(World &world)
{
    MountList list;
    world.host.call(get_mount_list, &list, static_cast<const char *>(nullptr));
    world.host.call(free_mount_list, &list);
}

void list_devices(World &world)
{
    UsbDevList list;
    world.host.call(get_usbdev_list, &list, static_cast<const char *>(nullptr));
    world.host.call(free_usbdev_list, &list);
}

std::vector<Scenario> setters()
{
    return {
        {"set_ftpd_config", "", set_up_router, rewrite<FtpdConfig, get_ftpd_config, set_ftpd_config>},
        {"set_samba_config", "", set_up_router, rewrite<SambaConfig, get_samba_config, set_samba_config>},
        {"set_urlsvc_config", "", set_up_router, rewrite<UrlServiceConfig, get_urlsvc_config, set_urlsvc_config>},
        {"set_rsync_config", "", set_up_router, rewrite<CloudShareConfig, get_rsync_config, set_rsync_config>},
        {"set_nalvexcloud_config", "", set_up_router,
         rewrite<CloudShareConfig, get_nalvexcloud_config, set_nalvexcloud_config>},
        {"set_torrent_config", "", set_up_router, rewrite<TorrentConfig, get_torrent_config, set_torrent_config>},
        {"set_media_config", "", set_up_router, rewrite<MediaConfig, get_media_config, set_media_config>},
        {"set_entware_config", "", set_up_router, rewrite<EntwareConfig, get_entware_config, set_entware_config>},
        {"set_cupsd_config", "", nothing, rewrite<CupsdConfig, get_cupsd_config, set_cupsd_config>},
        {"set_usb_tethering_op", "", nothing, run<set_usb_tethering_op, 1>},
        {"set_entware_status", "", nothing, run<set_entware_status, 2>},
        {"set_nas_user", "of ftp", set_up_users, [](World &world) { set_user<set_nas_user>(world, "ftp", 0); }},
        {"set_nas_user", "of samba", set_up_users, [](World &world) { set_user<set_nas_user>(world, "samba", 1); }},
        {"set_nas_user", "removes", set_up_users,
         [](World &world) { world.host.call(set_nas_user, "ftp", 0, static_cast<const NasUser *>(nullptr)); }},
        {"set_nas_user2", "", set_up_users, [](World &world) { set_user<set_nas_user2>(world, "torrent", 0); }},
        {"set_nas_user_system", "", nothing,
         [](World &world) {
             const NasUser user = some_user();
             world.host.call(set_nas_user_system, "ftp", &user);
         }},
        {"remove_user_system", "", set_up_users, [](World &world) { world.host.call(remove_user_system, "ftp", 0); }},
        {"convert_userdb", "", set_up_users, run<convert_userdb>},
        {"init_smb_users", "", set_up_users, run<init_smb_users>},
        {"add_httpd_user", "", nothing,
         [](World &world) {
             const NasUser user = some_user();
             world.host.call(add_httpd_user, &user);
         }},
        {"set_service_starting", "", nothing, [](World &world) { world.host.call(set_service_starting, "ftp", 1); }},
        {"set_device_removed", "", nothing, [](World &world) { world.host.call(set_device_removed, "sda", 1); }},
        {"set_usbdev_idx_cache", "", nothing, [](World &world) { world.host.call(set_usbdev_idx_cache, "sda", 1); }},
    };
}

std::vector<Scenario> callbacks()
{
    const auto without_mode = static_cast<const char *>(nullptr);
    return {
        {"torrent_callback", "", set_up_router, [=](World &world) { world.host.call(torrent_callback, without_mode); }},
        {"entware_callback", "", set_up_router, [=](World &world) { world.host.call(entware_callback, without_mode); }},
        {"entware_callback", "nomount", set_up_router,
         [](World &world) { world.host.call(entware_callback, "nomount"); }},
        {"entware_download_callback", "until its end", set_up_download, run_download},
        {"hotplug_callback", "add", set_up_router, [](World &world) { world.host.call(hotplug_callback, "add,sda"); }},
        {"hotplug_callback", "remove", set_up_router,
         [](World &world) { world.host.call(hotplug_callback, "remove,sda1,1,10"); }},
        {"hotplug_usb2", "add", set_up_router, [](World &world) { hotplug_event(world, "add"); }},
        {"hotplug_usb2", "remove", set_up_router, [](World &world) { hotplug_event(world, "remove"); }},
        {"fuse_callback", "", set_up_router, run_periodic<fuse_callback>},
        {"lp_callback", "", set_up_printer, run_periodic<lp_callback>},
        {"tethering_callback", "", set_up_phone, run_periodic<tethering_callback>},
        {"tethering_callback", "ends",
         [](World &world) {
             set_up_phone(world);
             world.host.network.links.insert("wan1");
             world.host.add_process({.name = "usbdhclient"});
         },
         run_periodic<tethering_callback>},
        {"start_serviced", "", set_up_router, run<start_serviced>},
        {"stop_nas_service", "", set_up_router, run<stop_nas_service>},
        {"restart_nas_service", "of every service", set_up_router, restart_all},
        {"remove_all_usb_device", "", set_up_router, run<remove_all_usb_device>},
        {"sleep_all_hdd", "", set_up_router, run<sleep_all_hdd>},
        {"print_usb_check", "", set_up_router, run<print_usb_check>},
        {"get_mount_list", "", set_up_router, list_mounts},
        {"get_usbdev_list", "", set_up_router, list_devices},
    };
}

} // namespace

std::vector<Scenario> own_scenarios()
{
    std::vector<Scenario> all = setters();
    for (Scenario &scenario : callbacks())
        all.push_back(std::move(scenario));
    return all;
}

} // namespace nas_torture
