/* The BitTorrent client, transmission-daemon.
 *
 * Record "torrent_conf": "<enabled>,<option2>,<option3>,<option4>,<port>"; the disk and the folder stand under
 * "torrent_hddname" and "torrent_folder". User 0 of the service "torrent" logs in at the daemon's web and RPC port,
 * which is opened to the WAN in the NAT chain "router_torrent". The daemon's own state lies in "<folder>/.session".
 */
#ifndef NAS_TORRENT_H
#define NAS_TORRENT_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct TorrentConfig {
    int enabled;
    int option2, option3, option4; /* carried for the user interface; the service does not look at them */
    int port;                      /* of the web and RPC interface; default 9091, 0 opens nothing */
    char disk_name[16];            /* the volume's folder name below /tmp/mnt */
    char folder[512];              /* watched for torrents and downloaded to, inside that volume */
};

/* Fills the record from the store; texts are cut at their field's size; `config` may be null. Returns 1; 0 when
 * "torrent_conf" is absent: then the record is clear but for the port 9091. */
int get_torrent_config(struct TorrentConfig *config);

/* Writes "torrent_conf", "torrent_folder" and "torrent_hddname". Returns 0. */
int set_torrent_config(const struct TorrentConfig *config);

/* Empties the NAT chain "router_torrent" and, when the service is switched on and `wan` (may be null) is not empty,
 * forwards the port, unless it is 0, from `wan` to `lan`. Returns 1; 0 when it is off or `wan` is null or empty. */
int configure_iptables_for_torrent(const struct TorrentConfig *config, const char *wan, const char *lan);

/* Runs "/usr/bin/killall transmission-daemon" and waits, a second a pass, until it is gone; every tenth pass but
 * the last runs "/usr/bin/killall -9 transmission-daemon". With `bounded` non-zero it makes at most max_waits + 1
 * passes. Says on standard output what it does. Returns 0, also when the daemon still runs. */
int kill_and_wait_torrent(int bounded, unsigned max_waits);

/* Stops the daemon, withdraws its port, and starts it anew when it is switched on and its disk is mounted: the folder
 * is made ("mkdir -p") when it is missing and opened to all ("chmod -R 777"), the port forwarded and announced by
 * UPnP. A daemon that is gone two seconds later is started once more without its settings file. `mode` is null for an
 * ordinary run, "forced" to start it even when it is switched off, "nomount" to leave it stopped. Logs start, stop, or
 * the missing disk; a folder that cannot be made is told on standard output only, and nothing is started. A command
 * line is cut at 1023 characters. Waits up to 201 seconds for the old daemon. Returns 0. */
int torrent_callback(const char *mode);

NAS_END_DECLS

#endif
