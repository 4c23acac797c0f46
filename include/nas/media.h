/* The DLNA media server.
 *
 * Record "media_conf": "<enabled>,<friendly name>,"; the disk and the folder stand under "media_hddname" and
 * "media_folder". The server's database lies on the disk, in /mnt/<disk>/MediaDB. No port is opened to the WAN.
 */
#ifndef NAS_MEDIA_H
#define NAS_MEDIA_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct MediaConfig {
    int enabled;
    char friendly_name[128]; /* as announced on the LAN; holds no comma. Default "nalvex" */
    char disk_name[16];      /* the volume's folder name below /tmp/mnt */
    char folder[512];        /* the folder to serve, inside that volume */
};

/* Fills the record from the store; texts are cut at their field's size. A record without a name gets
 * "nalvex". Returns 1; 0 when "media_conf" is absent: then the record is clear but for that name. */
int get_media_config(struct MediaConfig *config);

/* Writes "media_conf", "media_folder" and "media_hddname". Returns 0. */
int set_media_config(const struct MediaConfig *config);

/* Runs "/usr/bin/killall minidlna" and waits, a second a pass, until it is gone; with `bounded` non-zero
 * only max_waits + 1 passes, after which "/usr/bin/killall -9 minidlna" is run and waited for likewise.
 * Says on standard output what it does. Returns 0, also when the server still runs. */
int kill_and_wait_media_server(int bounded, unsigned max_waits);

/* "/mnt/<disk>/MediaDB", and the database file "/mnt/<disk>/MediaDB/files.db" in it.
 * Each returns a static text of its own that its next call overwrites. */
char *get_media_db_folder(const struct MediaConfig *config);
char *get_media_db_filename(const struct MediaConfig *config);

/* Was a rebuild of the database asked for (the status integer "update_media_db" is 1)? Says so on standard
 * error, removes the key, and returns 1; else 0. `config` is not looked at and may be null. */
int check_reload_db(const struct MediaConfig *config);

/* Makes a switched-on server see that its database is out of date: runs "touch '<database file>'". Returns 0. */
int touch_media_db(void);

/* Stops the server, writes /etc/minidlna.conf (mode 0644) and starts it ("/sbin/minidlna -f /etc/minidlna.conf", with
 * "-R" for a rebuild of its database) when it is switched on and its disk is mounted; logs start, stop, or the missing
 * disk. `mode` is null for an ordinary run, "forced" to start it even when it is switched off, "nomount" to leave it
 * stopped. The folder is created with "mkdir -p" when it is missing; when this or the file fails, the server starts
 * with the file it had. A name, disk or folder ends at its first line feed. Waits up to eight seconds for the old
 * server. Returns 0. */
int media_callback(const char *mode);

NAS_END_DECLS

#endif
