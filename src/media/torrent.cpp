#include "nas/torrent.h"

#include "nas/user.h"
#include "nas/util.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "service/exposure.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using namespace nas;

static constexpr char service[] = "torrent";
static constexpr int default_port = 9091;

// After so many seconds without an end the daemon is killed by force, again and again.
static constexpr int stubborn_seconds = 10;

int get_torrent_config(TorrentConfig *config)
{
    Record record;
    const bool stored = read_record(record, "torrent_conf");
    if (config == nullptr)
        return stored ? 1 : 0;
    *config = {};
    config->port = default_port;
    if (!stored)
        return 0;
    config->enabled = next_int(record, 0);
    config->option2 = next_int(record, 0);
    config->option3 = next_int(record, 0);
    config->option4 = next_int(record, 0);
    config->port = next_int(record, default_port);
    read_config_text("torrent_hddname", config->disk_name);
    read_config_text("torrent_folder", config->folder);
    return 1;
}

int set_torrent_config(const TorrentConfig *config)
{
    char record[128];
    format_text(record, "%d,%d,%d,%d,%d", config->enabled, config->option2, config->option3, config->option4,
                config->port);
    iconfig_set_value_direct("torrent_conf", record);
    iconfig_set_value_direct("torrent_folder", config->folder);
    iconfig_set_value_direct("torrent_hddname", config->disk_name);
    return 0;
}

int configure_iptables_for_torrent(const TorrentConfig *config, const char *wan, const char *lan)
{
    return fill_nat_chain(service, config->enabled, {config->port}, wan, lan);
}

int kill_and_wait_torrent(int bounded, unsigned max_waits)
{
    system("/usr/bin/killall transmission-daemon");
    for (int waited = 1; daemon_runs("transmission-daemon"); waited++) {
        puts("Waiting for Torrent to be dead");
        sleep(1);
        if (bounded != 0 && max_waits-- == 0)
            break;
        if (waited % stubborn_seconds == 0) {
            puts("Sigkill transmission-daemon");
            system("/usr/bin/killall -9 transmission-daemon");
        }
    }
    return 0;
}

// Makes sure that the folder is there, and open to all.
static bool prepare_folder(const char *path, const char *quoted_path)
{
    if (file_exists(path) == 0 && system2("mkdir -p '%s'", quoted_path) != 0) {
        printf("Torrent:Can't make folder: %s\n", path);
        return false;
    }
    chmod(path, 0777);
    // Most folders need no quotes, and get none.
    if (is_plain_word(path))
        system2("chmod -R 777 %s", quoted_path);
    else
        system2("chmod -R 777 '%s'", quoted_path);
    return true;
}

// A damaged settings file is the one failure that the daemon does not get over by itself.
static void recover(const TorrentConfig &config, const char *start_command)
{
    char quoted_folder[2048];
    quote_text(quoted_folder, config.folder);
    puts("Torrent is dead now. Remove json file and try again");
    system2("rm -rf '/mnt/%s/%s/.session/settings.json'", config.disk_name, quoted_folder);
    system(start_command);
}

// False when the download folder could not be made.
static bool start_daemon(const TorrentConfig &config, const NasUser &user)
{
    char local_path[512], path[2048], quoted_path[2048];
    format_text(local_path, "/mnt/%s/%s", config.disk_name, config.folder);
    iconv_to_utf8(local_path, path, sizeof path);
    quote_text(quoted_path, path);
    if (!prepare_folder(path, quoted_path))
        return false;
    char command[1024];
    // The user's name stands bare and the password is not escaped: the host refuses what would leave its place.
    const bool whole = format_text(
        command, "/sbin/transmission-daemon -a *.*.*.* -c '%s' -w '%s' -g '%s/.session' -p %d -t -u %s -v '%s'",
        quoted_path, quoted_path, quoted_path, config.port, user.id, user.password);
    // What asks for a password stands at the end: a part of the line must not start the daemon.
    if (!whole)
        leave_quote_open(command);
    system(command);
    sleep(2);
    if (!daemon_runs("transmission-daemon"))
        recover(config, command);
    return true;
}

int torrent_callback(const char *mode)
{
    char lan[NAS_ADDRESS_SIZE] = "";
    get_ifconfig("br-lan", lan, nullptr);
    const CallMode call = read_mode(mode);
    TorrentConfig config;
    get_torrent_config(&config);
    NasUser user;
    get_nas_user(service, 0, &user);

    const bool was_running = daemon_runs("transmission-daemon");
    kill_and_wait_torrent(1, 200);
    close_port(service, config.port);
    if (stays_stopped(call, config.enabled, was_running, source_torrent) ||
        !finds_disk(config.disk_name, source_torrent))
        return 0;
    sleep(1);
    open_port(service, config.enabled, config.port, lan);
    if (start_daemon(config, user))
        log_event(event_started, source_torrent);
    return 0;
}
