/* Windows file sharing.
 *
 * Record "samba_conf": "<enabled>,<server name>,<workgroup>,<option>,<recycle>,<smb1>,<smb2>". Shares are the disks
 * below /mnt and, one level deeper, their folders. Who reaches what is told by the users of "samba". */
#ifndef NAS_SAMBA_H
#define NAS_SAMBA_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct SambaConfig {
    int enabled;
    char server_name[128]; /* holds no comma. Default "nalvex" */
    char workgroup[128];   /* holds no comma. Default "WORKGROUP" */
    int option4;           /* kept, not used */
    int recycle;           /* non-zero: deleted files go to a folder "Network Trashes Folder" */
    int smb1;              /* non-zero: the oldest protocol is spoken */
    int smb2;
};

/* Reads the record: a missing field is 0 or empty; when both protocols are off, SMB2 is on. Returns 1. Without a
 * record: the defaults, `smb1` and `smb2` untouched, and 0. */
int get_samba_config(struct SambaConfig *config);

/* Writes the record (cut at 511 characters). When both protocols are off, SMB1 is switched on, in `config`, too.
 * Returns 0. */
int set_samba_config(struct SambaConfig *config);

/* Runs "/usr/bin/killall -9" for smbd and nmbd and empties /var/spool/samba. Returns 0. */
int kill_samba_daemons(void);

/* Puts every user of "samba" that may enter, with a name and a password, into Samba's password database: runs
 * "/bin/echo -en '<password>\n<password>' | /sbin/smbpasswd -a -s '<id>'". Both are cut at 63 characters. Returns 0. */
int init_smb_users(void);

/* Removes /etc/samba/<any>.conf, writes /etc/samba/smb.conf (mode 0644) and, for each share and user that may read
 * anything, /etc/samba/<user>_<share>.conf ("browseable=yes" or "no"; none for a user with a "/"); without a disk a
 * share README on /var/run/readme. The process's umask changes as storlib_create_dir says. Then kills running daemons
 * with signal 9, clears /var/run/samba/private, /var/spool/samba and, with a disk named HDD1, /tmp/smb. When the
 * service is on loads the passwords (init_smb_users) and runs "/sbin/smbd -D" and "/sbin/nmbd -D". Waits a second
 * before each of both steps. Logs start or stop. `mode` is null for an ordinary run, "forced" to start the daemons even
 * when the service is off, "nomount" to leave them stopped. A disk or entry whose name holds a control character or
 * ends in a backslash (blanks behind it do not count), and a share whose name is, up to a "]", empty or "global",
 * "globals", "homes" or "printers", in any case and with any blanks, is left out, with a line on standard error. Server
 * name and workgroup end at their first line feed and lose backslashes at their end. Returns 0; -1, and nothing is
 * changed, when there is no record. */
int samba_callback(const char *mode);

NAS_END_DECLS

#endif
