/* The interface as a C program sees it: every header, every name, every record. */
#include "nas/nas.h"

#include "platform/device.h"
#include "platform/iconv.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/registration.h"
#include "platform/request.h"
#include "platform/store.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

typedef void (*Function)(void);

static const Function functions[] = {
    (Function)add_httpd_digest_user,
    (Function)add_httpd_user,
    (Function)check_all_unmounted,
    (Function)check_httpd_process,
    (Function)check_nas_service,
    (Function)check_pid,
    (Function)check_process_mount,
    (Function)check_reload_db,
    (Function)check_service_starting,
    (Function)check_usb_device_exist,
    (Function)check_usb_tethering_class,
    (Function)check_usbdev_exist_by_idx,
    (Function)check_usbdev_is_active,
    (Function)check_user_valid_outof_service,
    (Function)cloudbackup_server_register,
    (Function)configure_iptables_for_ftp,
    (Function)configure_iptables_for_nalvexcloud,
    (Function)configure_iptables_for_nas,
    (Function)configure_iptables_for_rsync,
    (Function)configure_iptables_for_torrent,
    (Function)configure_iptables_for_url,
    (Function)convert_userdb,
    (Function)dir_filter,
    (Function)encode_kvcloud_crypt,
    (Function)entware_callback,
    (Function)entware_download_callback,
    (Function)fini_entware,
    (Function)free_mount_list,
    (Function)free_usbdev_list,
    (Function)ftp_callback,
    (Function)fuse_callback,
    (Function)get_block_devidx,
    (Function)get_blockdev_exist,
    (Function)get_cupsd_config,
    (Function)get_cupsd_printer_status,
    (Function)get_cupsd_status,
    (Function)get_entware_config,
    (Function)get_entware_status,
    (Function)get_first_mount_dir_by_usbidx,
    (Function)get_fs_available_size,
    (Function)get_ftpd_config,
    (Function)get_fuse_fsname,
    (Function)get_httpd_config,
    (Function)get_kvcloud_rand_str,
    (Function)get_mac_postfix,
    (Function)get_media_config,
    (Function)get_media_db_filename,
    (Function)get_media_db_folder,
    (Function)get_mount_devpath,
    (Function)get_mount_list,
    (Function)get_mtab_info,
    (Function)get_nalvexcloud_config,
    (Function)get_nas_user,
    (Function)get_nas_user_array,
    (Function)get_nas_user_by_id,
    (Function)get_num_of_mountdev,
    (Function)get_number_of_usbdevice,
    (Function)get_partition_lastidx,
    (Function)get_partition_num,
    (Function)get_partition_numofblock,
    (Function)get_readable_sizestr,
    (Function)get_rsync_config,
    (Function)get_samba_config,
    (Function)get_service_callback_status,
    (Function)get_service_enable,
    (Function)get_service_ports,
    (Function)get_torrent_config,
    (Function)get_urlsvc_config,
    (Function)get_usb_tethering_op,
    (Function)get_usb_tethering_status,
    (Function)get_usbdev_conneted_mode,
    (Function)get_usbdev_idx_cache,
    (Function)get_usbdev_info,
    (Function)get_usbdev_list,
    (Function)get_usbidx_by_devname,
    (Function)hotplug_callback,
    (Function)hotplug_printer,
    (Function)hotplug_usb2,
    (Function)iconv_string,
    (Function)iconv_to_local,
    (Function)iconv_to_utf8,
    (Function)init_entware,
    (Function)init_smb_users,
    (Function)install_fs_modules,
    (Function)is_fdd_type,
    (Function)is_usb_removed,
    (Function)isdir,
    (Function)kill_and_wait_media_server,
    (Function)kill_and_wait_service,
    (Function)kill_and_wait_torrent,
    (Function)kill_samba_daemons,
    (Function)kill_service,
    (Function)lighttpd_callback,
    (Function)link_dir_for_entware,
    (Function)lp_callback,
    (Function)make_auth,
    (Function)make_dev_node,
    (Function)media_callback,
    (Function)nalvexcloud_callback,
    (Function)nalvexcloud_server_register,
    (Function)nas_service_upnp_relay_init,
    (Function)parse_devname,
    (Function)prepare_kelsto_server,
    (Function)print_ftpconf_global,
    (Function)print_usb_check,
    (Function)real_alphasort,
    (Function)remove_all_usb_device,
    (Function)remove_user_system,
    (Function)restart_nas_service,
    (Function)restore_tethering,
    (Function)rsync_callback,
    (Function)safe_strcpy,
    (Function)safe_strncpy,
    (Function)samba_callback,
    (Function)set_cupsd_config,
    (Function)set_device_removed,
    (Function)set_entware_config,
    (Function)set_entware_status,
    (Function)set_ftpd_config,
    (Function)set_media_config,
    (Function)set_nalvexcloud_config,
    (Function)set_nas_user,
    (Function)set_nas_user2,
    (Function)set_nas_user_system,
    (Function)set_rsync_config,
    (Function)set_samba_config,
    (Function)set_service_callback_status,
    (Function)set_service_starting,
    (Function)set_torrent_config,
    (Function)set_urlsvc_config,
    (Function)set_usb_tethering_op,
    (Function)set_usbdev_idx_cache,
    (Function)sleep_all_hdd,
    (Function)sleep_hdd,
    (Function)start_serviced,
    (Function)stop_nas_service,
    (Function)storlib_create_dir,
    (Function)sweep_kelsto_server,
    (Function)tethering_callback,
    (Function)tethering_is_running,
    (Function)torrent_callback,
    (Function)touch_media_db,
    (Function)turnoff_cupsled,
    (Function)turnoff_tethering_led,
    (Function)turnoff_usbled,
    (Function)turnon_usbled_by_silent_control,
    (Function)uninstall_fs_modules,
    (Function)unlink_dir_for_entware,
    (Function)update_time_for_nas,
    (Function)use_system_passwd,
    (Function)use_system_user,
};

static int failures;

static void expect(int holds, const char *what)
{
    if (!holds) {
        fprintf(stderr, "does not hold: %s\n", what);
        ++failures;
    }
}

#define EXPECT(condition) expect(condition, #condition)

static void check_functions(void)
{
    size_t i;
    for (i = 0; i < sizeof functions / sizeof functions[0]; ++i)
        EXPECT(functions[i] != NULL);
}

static void check_records(void)
{
    EXPECT(sizeof(struct ServicePort) == 20);
    EXPECT(offsetof(struct ServicePort, port) == 16);
    EXPECT(sizeof(struct FtpdConfig) == 88);
    EXPECT(offsetof(struct FtpdConfig, charset) == 12);
    EXPECT(offsetof(struct FtpdConfig, option5) == 80);
    EXPECT(sizeof(struct SambaConfig) == 276);
    EXPECT(offsetof(struct SambaConfig, workgroup) == 132);
    EXPECT(offsetof(struct SambaConfig, smb2) == 272);
    EXPECT(sizeof(struct NasUser) == 772);
    EXPECT(offsetof(struct NasUser, password) == 128);
    EXPECT(offsetof(struct NasUser, folder) == 512);
    EXPECT(offsetof(struct NasUser, permission) == 768);
    EXPECT(sizeof(struct UrlServiceConfig) == 12);
    EXPECT(sizeof(struct HttpdConfig) == 408);
    EXPECT(offsetof(struct HttpdConfig, config_path) == 8);
    EXPECT(offsetof(struct HttpdConfig, pid_path) == 136);
    EXPECT(offsetof(struct HttpdConfig, upload_dir) == 200);
    EXPECT(offsetof(struct HttpdConfig, url_enable) == 332);
    EXPECT(offsetof(struct HttpdConfig, realm) == 344);
    EXPECT(sizeof(struct CloudShareConfig) == 536);
    EXPECT(offsetof(struct CloudShareConfig, disk_name) == 8);
    EXPECT(sizeof(struct TorrentConfig) == 548);
    EXPECT(offsetof(struct TorrentConfig, port) == 16);
    EXPECT(offsetof(struct TorrentConfig, folder) == 36);
    EXPECT(sizeof(struct MediaConfig) == 660);
    EXPECT(offsetof(struct MediaConfig, friendly_name) == 4);
    EXPECT(offsetof(struct MediaConfig, disk_name) == 132);
    EXPECT(offsetof(struct MediaConfig, folder) == 148);
    EXPECT(sizeof(struct EntwareConfig) == 532);
    EXPECT(offsetof(struct MountEntry, disk) == sizeof(void *));
    EXPECT(offsetof(struct MountEntry, device) == sizeof(void *) + 16);
    EXPECT(offsetof(struct MountEntry, mount_point) == sizeof(void *) + 32);
    EXPECT(offsetof(struct MountEntry, folder) == sizeof(void *) + 96);
    EXPECT(offsetof(struct MountEntry, fstype) == sizeof(void *) + 160);
    EXPECT(offsetof(struct MountEntry, bus) == sizeof(void *) + 192);
    EXPECT(offsetof(struct MountEntry, free) - offsetof(struct MountEntry, total) == 16);
    EXPECT(offsetof(struct MountEntry, used_percent) - offsetof(struct MountEntry, total) == 24);
    EXPECT(offsetof(struct MountList, first) == sizeof(void *));
    EXPECT(offsetof(struct UsbDevInfo, index) == sizeof(void *));
    EXPECT(offsetof(struct UsbDevInfo, id_product) == sizeof(void *) + 4);
    EXPECT(offsetof(struct UsbDevInfo, id_vendor) == sizeof(void *) + 12);
    EXPECT(offsetof(struct UsbDevInfo, manufacturer) == sizeof(void *) + 20);
    EXPECT(offsetof(struct UsbDevInfo, product) == sizeof(void *) + 148);
    EXPECT(offsetof(struct UsbDevInfo, speed) == sizeof(void *) + 276);
    EXPECT(offsetof(struct UsbDevInfo, version) == sizeof(void *) + 292);
    EXPECT(offsetof(struct UsbDevInfo, serial) == sizeof(void *) + 300);
    EXPECT(offsetof(struct UsbDevInfo, interface_class) == sizeof(void *) + 364);
    EXPECT(offsetof(struct UsbDevInfo, devname) == sizeof(void *) + 368);
    EXPECT(offsetof(struct UsbDevInfo, connected_mode) == sizeof(void *) + 384);
    EXPECT(offsetof(struct UsbDevInfo, busnum) == sizeof(void *) + 388);
    EXPECT(offsetof(struct UsbDevInfo, devnum) == sizeof(void *) + 392);
    EXPECT(offsetof(struct UsbDevList, first) == sizeof(void *));
    EXPECT(offsetof(struct UsbDevList, last) == 2 * sizeof(void *));
    EXPECT(sizeof(struct CupsdConfig) == 8);
    EXPECT(offsetof(struct CupsdConfig, remote) == 4);
    EXPECT(sizeof(struct LedSilentControl) == 12);
    EXPECT(offsetof(struct LedSilentControl, end_hour) == 8);
    EXPECT(sizeof(struct HardwareInfo) == 1024);
    EXPECT(offsetof(struct HardwareInfo, usb_port_kind) == 4);
    EXPECT(offsetof(struct HardwareInfo, model) == 96);
    EXPECT(offsetof(struct PeriodicCallbackRecord, active) == 0);
    EXPECT(offsetof(struct PeriodicCallbackRecord, interval) == 68);
    EXPECT(offsetof(struct ProcessEntry, name) == sizeof(void *) + 4);
    EXPECT(offsetof(struct ProcessEntry, cmdline) == sizeof(void *) + 68);
}

static void check_calls(void)
{
    char text[16];
    int number = 0;
    int count = 0;
    while (nas_service_table[count].name != NULL)
        ++count;
    EXPECT(count == 8);
    EXPECT(strcmp(nas_service_table[0].process_name, "proftpd:") == 0);
    EXPECT(safe_strcpy(text, "abc") == text && strcmp(text, "abc") == 0);
    EXPECT(safe_strcpy(NULL, "abc") == NULL);
    EXPECT(strcmp(get_readable_sizestr(1536), "1.5 KB") == 0);
    EXPECT(use_system_user("samba") == 1);
    EXPECT(set_service_callback_status() == 0);
    EXPECT(set_service_callback_status("all", 1) == 0);
    {
        char disk[NAS_DEVICE_NAME_SIZE];
        EXPECT(parse_devname("sda12", disk, &number) == 1);
        EXPECT(strcmp(disk, "sda") == 0 && number == 12);
    }
}

int main(void)
{
    check_functions();
    check_records();
    check_calls();
    return failures == 0 ? 0 : 1;
}
