/* Cloud backup ("rsync") and cloud sync ("nalvexcloud"): one folder of a disk as a module of an rsync daemon.
 *
 * Record "<service>_conf": "<enable>,<port>,<disk>"; the folder stands under "<service>_folder". The daemon's account
 * is the user in slot 0 of the service. Both services are alike but for their names, ports and servers. */
#ifndef NAS_CLOUD_H
#define NAS_CLOUD_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct CloudShareConfig {
    int enable;
    int port;           /* of the daemon; 0: none is opened to the WAN */
    char disk_name[16]; /* the volume's folder name below /tmp/mnt */
    char folder[512];   /* inside that volume; also the module's name */
};

/* Read the record; texts are cut at their field's size, a missing port is 1873 ("rsync") or 2873 ("nalvexcloud").
 * Return 1; 0 without a record: then it is switched off, without disk and folder; -1 for a null `config`. */
int get_rsync_config(struct CloudShareConfig *config);
int get_nalvexcloud_config(struct CloudShareConfig *config);

/* Write the record (cut at 127 characters) and the folder. Return 0. */
int set_rsync_config(const struct CloudShareConfig *config);
int set_nalvexcloud_config(const struct CloudShareConfig *config);

/* Flush the chain "router_<service>" and, when the service is on and `wan` is neither null nor empty, forward its port
 * there to `lan`. Return 1 when rules were written, else 0. */
int configure_iptables_for_rsync(const struct CloudShareConfig *config, const char *wan, const char *lan);
int configure_iptables_for_nalvexcloud(const struct CloudShareConfig *config, const char *wan, const char *lan);

/* Announce the router to the service's registration server with wget, in the background when `background` is non-zero;
 * the answer goes to /tmp/cloud_backup_response or /tmp/nalvexcloud_response, which is removed first. Nothing is sent
 * without a DDNS account, without a dot in its host name, or without a connection. The request is cut at 1023
 * characters, and so is the command. Return 0. */
int cloudbackup_server_register(const struct CloudShareConfig *config, int background);
int nalvexcloud_server_register(const struct CloudShareConfig *config, int background);

/* Write /etc/cloudbackup.conf and /etc/cloudbackup.secrets (/etc/nalvexcloud.*), open the port, announce the router and
 * start the daemon anew when the service is on and its disk is mounted; log start, stop, or the missing disk. `mode` is
 * null for an ordinary run, "forced" to start it even when it is switched off, "nomount" to leave it stopped,
 * "register" to do nothing but announce the router. The folder is created when it is missing. In the files and
 * in the folder's path disk, folder, user name and password end at their first line feed. Return 0. */
int rsync_callback(const char *mode);
int nalvexcloud_callback(const char *mode);

NAS_END_DECLS

#endif
