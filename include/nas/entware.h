/* The package environment: a small userland with the opkg package manager in a folder of a disk, entered through the
 * link /tmp/cur, with a telnet login from the LAN.
 *
 * The settings are "entware_run" ("1" or "0"), "entware_hddname" and "entware_folder". The status is kept as the
 * integer status "entware". The step and the time of a running installation are the process's own: poll it from one
 * thread only.
 */
#ifndef NAS_ENTWARE_H
#define NAS_ENTWARE_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct PeriodicCallbackRecord; /* the host's, see platform/device.h */

struct EntwareConfig {
    int run;            /* 0 off, any other number on */
    char disk_name[16]; /* the volume's folder name below /tmp/mnt */
    char folder[512];   /* inside that volume */
};

enum NasEntwareStatus {
    NAS_ENTWARE_NONE = 0,       /* disk not mounted, taken down, or nothing installed */
    NAS_ENTWARE_INSTALLING = 1, /* under way */
    NAS_ENTWARE_INSTALLED = 2,  /* /tmp/cur/opt/bin/opkg is there */
    NAS_ENTWARE_FAILED = 9      /* no folder, no link, or the installation failed */
};

/* Stores the status, one of the numbers above. Returns 0. */
int set_entware_status(int status);

/* Returns the status; when there is none stores and returns 0. */
int get_entware_status(void);

/* Reads the settings; texts are cut at their field's size; what is absent is 0 or empty. `config` may be null.
 * Returns `run`. */
int get_entware_config(struct EntwareConfig *config);

/* Takes the environment down, stores the settings and builds it again (fini_entware, init_entware). Returns 0. */
int set_entware_config(const struct EntwareConfig *config);

/* Makes the configured folder ("mkdir -p") and links it to /tmp/cur ("ln -s"), in place of an older link. Returns 0; -1
 * when the disk is not mounted (status 0) or the folder cannot be made or linked (status 9). Paths are cut at 255
 * characters. */
int link_dir_for_entware(void);

/* Links the folder and fills it as a chroot with directories, a mounted /proc, the router's shell tools, C library and
 * device nodes, whatever of it can be copied; with the package manager there, sets status 2 and starts or stops the
 * telnet server as the setting says. Returns 0; -1 when the link could not be made. */
int init_entware(void);

/* Removes the link /tmp/cur, never the folder behind it. Returns 0. */
int unlink_dir_for_entware(void);

/* Takes the environment down: ends the telnet server (not in the factory's test mode), removes its firewall rule,
 * unmounts /tmp/cur/proc, removes the link; status 0. Returns 0. */
int fini_entware(void);

/* Builds the environment anew: fini_entware, and init_entware unless `mode`, which may be null, is "nomount".
 * Returns 0; -1 when init_entware did. */
int entware_callback(const char *mode);

/* To be called every three seconds while `active` is set: fetches the server's information (30 seconds at most), then
 * the install script that it names (30), runs it in the chroot (120), and ends with status 2 or 9; a step that overruns
 * its time has its job ended by SIGTERM. Never waits: the jobs run in the background, their pid in
 * /tmp/entware_download.pid. An install script of an earlier time is removed first. The script's address is the
 * information's first line that is not empty once the shell's characters are gone from it, cut at 255 characters; it is
 * refused when it holds a tab, begins with "-", "#" or "~", or is a pattern of files. A poll with status 0, 2 or 9
 * begins anew, unless the package manager is there; one with a status that is none of the above does nothing. Without
 * /tmp/cur it ends with status 9. Sets `active` and `interval` to 1 and 3, or to 0 at the end. Returns 0. */
int entware_download_callback(struct PeriodicCallbackRecord *record);

NAS_END_DECLS

#endif
