#include "nas/media.h"

#include "nas/util.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "support/conf_file.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

using namespace nas;

static constexpr char conf_path[] = "/etc/minidlna.conf";
static constexpr char default_name[] = "nalvex";

int get_media_config(MediaConfig *config)
{
    *config = {};
    Record record;
    if (!read_record(record, "media_conf")) {
        copy_text(config->friendly_name, default_name);
        return 0;
    }
    config->enabled = next_int(record, 0);
    next_text(record, config->friendly_name, default_name);
    read_config_text("media_hddname", config->disk_name);
    read_config_text("media_folder", config->folder);
    return 1;
}

int set_media_config(const MediaConfig *config)
{
    char record[NAS_STORE_VALUE_SIZE];
    // The comma behind the last field is part of the record's form.
    format_text(record, "%d,%s,", config->enabled, config->friendly_name);
    iconfig_set_value_direct("media_conf", record);
    iconfig_set_value_direct("media_folder", config->folder);
    iconfig_set_value_direct("media_hddname", config->disk_name);
    return 0;
}

// Waits a second a pass until the server is gone; false when it outlived a bounded wait.
static bool wait_for_media_server(const char *message, int bounded, unsigned max_waits)
{
    while (daemon_runs("minidlna")) {
        puts(message);
        sleep(1);
        if (bounded != 0 && max_waits-- == 0)
            return false;
    }
    return true;
}

int kill_and_wait_media_server(int bounded, unsigned max_waits)
{
    system("/usr/bin/killall minidlna");
    if (wait_for_media_server("Waiting for Media Server to be dead", bounded, max_waits))
        return 0;
    puts("Kill SIGKILL minidlna");
    system("/usr/bin/killall -9 minidlna");
    wait_for_media_server("Waiting for Media Server to be dead(SIGKILL)", bounded, max_waits);
    return 0;
}

char *get_media_db_folder(const MediaConfig *config)
{
    static char path[512];
    format_text(path, "/mnt/%s/MediaDB", config->disk_name);
    return path;
}

char *get_media_db_filename(const MediaConfig *config)
{
    static char path[512];
    format_text(path, "/mnt/%s/MediaDB/files.db", config->disk_name);
    return path;
}

int check_reload_db(const MediaConfig *)
{
    if (istatus_get_intvalue_direct("update_media_db") != 1)
        return 0;
    fputs("Media:Update DB Signal. Force to update DB\n", stderr);
    istatus_remove_status_tag("update_media_db");
    return 1;
}

// Reads the record for use in paths and in the configuration file, where a line feed would add lines.
static void read_first_lines(MediaConfig &config)
{
    get_media_config(&config);
    end_at_line_feed(config.friendly_name);
    end_at_line_feed(config.disk_name);
    end_at_line_feed(config.folder);
}

int touch_media_db(void)
{
    MediaConfig config;
    read_first_lines(config);
    if (config.enabled == 0)
        return 0;
    char quoted_path[512];
    quote_text(quoted_path, get_media_db_filename(&config));
    system2("touch '%s'", quoted_path);
    return 0;
}

static void append_media_conf(TextBuffer &conf, const MediaConfig &config, const char *quoted_path)
{
    append(conf, "port=8200\n");
    append(conf, "network_interface=br-lan\n");
    appendf(conf, "media_dir=%s\n", quoted_path); // the server is given the path as the shell is
    appendf(conf, "friendly_name=%s\n", config.friendly_name);
    appendf(conf, "db_dir=%s\n", get_media_db_folder(&config));
    append(
        conf,
        "inotify=yes\n"
        "enable_tivo=no\n"
        "strict_dlna=no\n"
        "notify_interval=895\n"
        "serial=12345678\n"
        "model_number=1\n"
        "album_art_names=Cover.jpg/cover.jpg/AlbumArtSmall.jpg/albumartsmall.jpg/AlbumArt.jpg/albumart.jpg/Album.jpg/album.jpg/Folder.jpg/folder.jpg/Thumb.jpg/thumb.jpg/front.jpg/Front.jpg\n");
}

// Writes the server's configuration; when anything fails the old file stays.
static void configure_media_server(const MediaConfig &config)
{
    char path[512], quoted_path[2048];
    format_text(path, "/mnt/%s/%s", config.disk_name, config.folder);
    iconv_to_utf8(path, quoted_path, sizeof quoted_path);
    quote_r(quoted_path, sizeof quoted_path);
    if (file_exists(path) == 0 && system2("mkdir -p '%s'", quoted_path) != 0) {
        printf("Media:Can't make folder: %s\n", path);
        return;
    }
    TextBuffer conf;
    if (!allocate(conf, 4096)) {
        puts("media:Can't malloc configbuf");
        return;
    }
    append_media_conf(conf, config, quoted_path);
    if (!write_conf_file(conf_path, conf, 0644))
        printf("media:Can't make %s\n", conf_path);
}

int media_callback(const char *mode)
{
    const CallMode call = read_mode(mode);
    MediaConfig config;
    read_first_lines(config);

    const bool was_running = daemon_runs("minidlna");
    kill_and_wait_media_server(1, 3);
    if (stays_stopped(call, config.enabled, was_running, source_media) || !finds_disk(config.disk_name, source_media))
        return 0;
    configure_media_server(config);
    if (check_reload_db(&config) == 1)
        system2("/sbin/minidlna -R -f %s", conf_path);
    else
        system2("/sbin/minidlna -f %s", conf_path);
    log_event(event_started, source_media);
    return 0;
}
