#include "service/registry.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/ftp.h"
#include "nas/media.h"
#include "nas/samba.h"
#include "nas/torrent.h"
#include "nas/web.h"
#include "platform/device.h"
#include "platform/process.h"
#include "platform/request.h"
#include "platform/store.h"
#include "storage/disk.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

using namespace nas;

// proftpd titles its processes "proftpd: ...", while killall wants the program's name.
const NasServiceInfo nas_service_table[] = {
    {"ftp", "proftpd:", "proftpd", 1, 1, 1},
    {"samba", "smbd", "smbd", 2, 1, 0},
    {"url", "lighttpd", "lighttpd", 1, 0, 0},
    {"rsync", "rsync", "rsync", 1, 0, 0},
    {"nalvexcloud", "nalvexcloud", "nalvexcloud", 1, 0, 0},
    {"torrent", "transmission-daemon", "transmission-daemon", 1, 0, 0},
    {"media", "minidlna", "minidlna", 1, 0, 0},
    {"entware", "telnetd", "telnetd", 1, 0, 0},
    {nullptr, nullptr, nullptr, 0, 0, 0},
};

const NasServiceInfo *nas::find_nas_service(const char *name)
{
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++)
        if (strcmp(row->name, name) == 0)
            return row;
    return nullptr;
}

static CloudShareConfig read_cloud_share(std::string_view service)
{
    CloudShareConfig share = {};
    if (service == "rsync")
        get_rsync_config(&share);
    else
        get_nalvexcloud_config(&share);
    return share;
}

// A service that keeps its data on a disk counts as off while that disk is away.
static int enable_with_disk(int enable, const char *disk)
{
    return is_disk_mounted(disk) ? enable : 0;
}

int get_service_enable(const char *name)
{
    const std::string_view service = name;
    if (service == "samba") {
        SambaConfig samba = {};
        get_samba_config(&samba);
        return samba.enabled;
    }
    if (service == "rsync" || service == "nalvexcloud") {
        const CloudShareConfig share = read_cloud_share(service);
        return enable_with_disk(share.enable, share.disk_name);
    }
    if (service == "torrent") {
        TorrentConfig torrent = {};
        get_torrent_config(&torrent);
        return enable_with_disk(torrent.enabled, torrent.disk_name);
    }
    if (service == "media") {
        MediaConfig media = {};
        get_media_config(&media);
        return enable_with_disk(media.enabled, media.disk_name);
    }
    if (service == "url") {
        UrlServiceConfig url = {};
        get_urlsvc_config(&url);
        return url.enable;
    }
    if (service == "ftp") {
        FtpdConfig ftp = {};
        get_ftpd_config(&ftp);
        return ftp.enable;
    }
    if (service == "entware")
        return get_entware_config(nullptr);
    return 0;
}

static void set_tcp_port(ServicePort &entry, int port)
{
    copy_text(entry.protocol, "tcp");
    entry.port = port;
}

// The ports of a service with a single one.
static int set_only_port(ServicePort *ports, int enable, int port)
{
    if (enable == 0)
        return 0;
    set_tcp_port(ports[0], port);
    return 1;
}

static int get_ftp_ports(ServicePort *ports, int max)
{
    FtpdConfig ftp = {};
    get_ftpd_config(&ftp);
    if (ftp.enable == 0)
        return 0;
    set_tcp_port(ports[0], ftp.port);
    // Half a list is no list, yet the entry that had room stays filled in.
    if (max < 2)
        return 0;
    set_tcp_port(ports[1], ftp.web_port);
    return 1;
}

int get_service_ports(const char *name, ServicePort *ports, int max)
{
    const std::string_view service = name;
    if (max < 1)
        return 0;
    if (service == "ftp")
        return get_ftp_ports(ports, max);
    if (service == "rsync" || service == "nalvexcloud") {
        const CloudShareConfig share = read_cloud_share(service);
        return set_only_port(ports, share.enable, share.port);
    }
    if (service == "url") {
        UrlServiceConfig url = {};
        get_urlsvc_config(&url);
        return set_only_port(ports, url.enable, url.port);
    }
    if (service == "torrent") {
        TorrentConfig torrent = {};
        get_torrent_config(&torrent);
        return set_only_port(ports, torrent.enabled, torrent.port);
    }
    return 0;
}

int check_nas_service(const ProcessList *list, const char *name)
{
    const NasServiceInfo *service = find_nas_service(name);
    if (service == nullptr) {
        fprintf(stderr, "Unknown Service name: %s\n", name);
        return 0;
    }
    int running = 0;
    for (const ProcessEntry *process = list->first; process != nullptr; process = process->next)
        if (strcmp(process->name, service->process_name) == 0)
            running++;
    return running >= service->min_processes;
}

using StartingKey = char[128];

static void format_starting_key(StartingKey &key, const char *name)
{
    format_text(key, "starting.%s", name);
}

int check_service_starting(const char *name)
{
    StartingKey key;
    format_starting_key(key, name);
    char value[NAS_STORE_VALUE_SIZE];
    return istatus_get_value_direct(key, value) != -1;
}

int set_service_starting(const char *name, int on)
{
    StartingKey key;
    format_starting_key(key, name);
    if (on != 0)
        istatus_set_value_direct(key, "1");
    else
        istatus_remove_status_tag(key);
    return 0;
}

int restart_nas_service(const ProcessList *list, const char *name)
{
    if (get_service_enable(name) == 0 || check_nas_service(list, name) == 1)
        return 0;
    fprintf(stderr, "Restart Service: %s\n", name);
    if (check_service_starting(name) != 0) {
        fputs("--> Service is starting now. Try next turn\n", stderr);
        return 0;
    }
    signal_nas(name);
    return 1;
}

int start_serviced(void)
{
    fputs("=====================> Real Start Serviced\n", stderr);
    system("/usr/bin/killall serviced");
    system("/sbin/serviced &");
    return 0;
}

int stop_nas_service(void)
{
    // serviced goes first, so that nothing restarts what is being stopped.
    system("killall serviced");
    system("killall nmbd");

    // The quick pass leaves nalvexcloud to the wait pass.
    kill_service("samba");
    system("killall lighttpd_kelsto");
    for (const char *name : {"ftp", "url", "rsync", "torrent", "media"})
        kill_service(name);
    // The factory's test mode is operated through telnetd.
    if (is_factory_test_mode() == 0)
        kill_service("entware");
    fini_entware();

    for (const char *name : {"samba", "ftp", "url", "rsync", "nalvexcloud", "torrent", "media"})
        kill_and_wait_service(name, 1, 100);
    if (is_factory_test_mode() == 0)
        kill_and_wait_service("entware", 1, 100);
    return 0;
}

int set_service_callback_status(...)
{
    return 0;
}

int get_service_callback_status(const char *name)
{
    char status[NAS_STORE_VALUE_SIZE];
    if (istatus_get_value_direct("nas_callback_status", status) == -1)
        return 0;
    return strcmp(status, "all") == 0 && strcmp(name, "all") == 0;
}

int use_system_user(const char *name)
{
    const NasServiceInfo *service = find_nas_service(name);
    return service != nullptr ? service->system_accounts : 0;
}

int use_system_passwd(const char *name)
{
    const NasServiceInfo *service = find_nas_service(name);
    return service != nullptr && service->system_accounts != 0 && service->system_password != 0;
}
