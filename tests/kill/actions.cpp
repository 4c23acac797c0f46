#include "kill/actions.h"

#include "nas/nas.h"
#include "platform/device.h"
#include "platform/store.h"
#include "support/private_root.h"

#include <iterator>

namespace kill_test
{
namespace
{

void set_ftp()
{
    const FtpdConfig config = {1, 2100, 9001, "EUC-KR", 1, 0};
    set_ftpd_config(&config);
}

void set_samba()
{
    SambaConfig config = {0, "other", "GROUP", 0, 0, 0, 1};
    set_samba_config(&config);
}

void set_url()
{
    const UrlServiceConfig config = {0, 8100, 0};
    set_urlsvc_config(&config);
}

void set_backup()
{
    const CloudShareConfig config = {0, 1900, "Disk2", "Other"};
    set_rsync_config(&config);
}

void set_sync()
{
    const CloudShareConfig config = {0, 2900, "Disk2", "Other"};
    set_nalvexcloud_config(&config);
}

void set_torrent()
{
    const TorrentConfig config = {0, 1, 2, 3, 9100, "Disk2", "Other"};
    set_torrent_config(&config);
}

void set_media()
{
    const MediaConfig config = {0, "Kitchen", "Disk2", "Other"};
    set_media_config(&config);
}

void set_printer()
{
    const CupsdConfig config = {1, 1};
    set_cupsd_config(&config);
}

void set_packages()
{
    const EntwareConfig config = {0, "Disk1", "Other"};
    set_entware_config(&config);
}

void set_system_user()
{
    const NasUser carl = {"carl", "new", "Disk1:Music", NAS_USER_READ_ONLY};
    set_nas_user("ftp", 1, &carl);
}

void set_own_user()
{
    const NasUser carl = {"carl", "new", "Disk1:Music", NAS_USER_READ_ONLY};
    set_nas_user("samba", 3, &carl);
}

void remove_system_user()
{
    set_nas_user("ftp", 1, nullptr);
}

void remove_own_user()
{
    set_nas_user("samba", 3, nullptr);
}

void make_account()
{
    NasUser user;
    get_nas_user("ftp", 0, &user);
    set_nas_user_system("ftp", &user);
}

void remove_account()
{
    remove_user_system("ftp", 1);
}

void move_old_users()
{
    convert_userdb();
}

void cache_port()
{
    set_usbdev_idx_cache("sda", 1);
}

void mark_removed()
{
    set_device_removed("sda", 1);
}

void switch_tethering()
{
    set_usb_tethering_op(1);
}

template <int (*function)(const char *mode)>
void ordinary_run()
{
    function(nullptr);
}

void run_web()
{
    lighttpd_callback(nullptr, "url");
}

void stop_ftp()
{
    ftp_callback("nomount");
}

void recognize_printer()
{
    private_root::answer("pidof", 0);
    private_root::answer("lpinfo", 0, "direct usb://Maker/Model\n");
    private_root::answer("lpstat", 1, "device for nalVEX_Printer: usb://Maker/Model\n");
    PeriodicCallbackRecord record = {};
    lp_callback(&record);
}

void add_disk()
{
    hotplug_callback("add,sda");
}

void remove_disk()
{
    hotplug_callback("remove,sda1,1,10");
}

constexpr Action all[] = {
    {"SetFtp", set_ftp, true},
    {"SetSamba", set_samba, true},
    {"SetUrl", set_url, true},
    {"SetBackup", set_backup, true},
    {"SetSync", set_sync, true},
    {"SetTorrent", set_torrent, true},
    {"SetMedia", set_media, true},
    {"SetPrinter", set_printer, true},
    {"SetSystemUser", set_system_user, true},
    {"SetOwnUser", set_own_user, true},
    {"RemoveSystemUser", remove_system_user, true},
    {"RemoveOwnUser", remove_own_user, true},
    {"MoveOldUsers", move_old_users, true},
    {"CachePort", cache_port, true},
    {"MarkRemoved", mark_removed, true},
    {"SwitchTethering", switch_tethering, true},
    {"MakeAccount", make_account, true},
    {"RemoveAccount", remove_account, true},
    {"SetPackages", set_packages, false},
    {"Ftp", ordinary_run<ftp_callback>, false},
    {"StopFtp", stop_ftp, false},
    {"Samba", ordinary_run<samba_callback>, false},
    {"Web", run_web, false},
    {"Backup", ordinary_run<rsync_callback>, false},
    {"Sync", ordinary_run<nalvexcloud_callback>, false},
    {"Torrent", ordinary_run<torrent_callback>, false},
    {"Media", ordinary_run<media_callback>, false},
    {"Packages", ordinary_run<entware_callback>, false},
    {"Printer", recognize_printer, false},
    {"AddDisk", add_disk, false},
    {"RemoveDisk", remove_disk, false},
};

} // namespace

void prepare()
{
    const NasUser anna = {"anna", "secret", "", NAS_USER_READ_WRITE};
    const NasUser bert = {"bert", "word", "Disk1:Film", NAS_USER_READ_ONLY};
    for (int slot = 0; slot < 4; slot++)
        set_nas_user("ftp", slot, slot % 2 == 0 ? &anna : &bert);
    set_nas_user2("ftp", 4, &bert);
    set_nas_user("samba", 0, &anna);
    set_nas_user("samba", 3, &bert);
    for (const char *service : {"url", "rsync", "nalvexcloud", "torrent"})
        set_nas_user(service, 0, &anna);
    for (const char *folder : {"Film", "Music", "Old things"})
        private_root::put_dir(std::string("/tmp/mnt/Disk1/") + folder);
    iconfig_set_value_direct("ftp_conf", "1,2121,9000,UTF-8,0");
    iconfig_set_value_direct("samba_conf", "1,nas,HOME,0,1,1,1");
    iconfig_set_value_direct("url_conf", "1,8000,1");
    iconfig_set_value_direct("rsync_conf", "1,1873,Disk1");
    iconfig_set_value_direct("rsync_folder", "Backup");
    iconfig_set_value_direct("nalvexcloud_conf", "1,2873,Disk1");
    iconfig_set_value_direct("nalvexcloud_folder", "Sync");
    iconfig_set_value_direct("torrent_conf", "1,0,0,0,9091");
    iconfig_set_value_direct("torrent_hddname", "Disk1");
    iconfig_set_value_direct("torrent_folder", "Torrents");
    iconfig_set_value_direct("media_conf", "1,Living room,");
    iconfig_set_value_direct("media_hddname", "Disk1");
    iconfig_set_value_direct("media_folder", "Film");
    iconfig_set_value_direct("entware_run", "1");
    iconfig_set_value_direct("entware_hddname", "Disk1");
    iconfig_set_value_direct("entware_folder", "Packages");
    iconfig_set_value_direct("host_ftp_private_ports", "2121,0,0,0,0,0");
    istatus_set_intvalue_direct("update_media_db", 1);
}

const Action *const actions = all;
const int action_count = static_cast<int>(std::size(all));

} // namespace kill_test
