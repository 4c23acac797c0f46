/* The FTP service.
 *
 * Record "ftp_conf": "<enable>,<port>,<web port>,<charset>,<option>". The daemon serves /tmp/mnt: each mounted disk and
 * each of its folders to the users that may enter it. */
#ifndef NAS_FTP_H
#define NAS_FTP_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct FtpdConfig {
    int enable;
    int port;         /* control port; 0: none is opened to the WAN */
    int web_port;     /* port of the remote-access web server; 0: none is opened */
    char charset[65]; /* "AUTO", "UTF-8", "EUC-KR" or another character set */
    int option5;      /* kept, not used */
    int anonymous;    /* not stored: always 0 when a record was read */
};

enum { NAS_FTP_GLOBAL_SIZE = 16384 };

/* Reads the record. A missing or empty field reads as 0, 21, 9000, "EUC-KR", 0; the charset is cut at 64 characters.
 * Returns 1. Without a record: the same but "UTF-8", `anonymous` untouched, and 0. */
int get_ftpd_config(struct FtpdConfig *config);

/* Writes the record (cut at 511 characters) and the active charset's name into /tmp/webroot/ftp_charset. When the
 * control port changes, the host's list of private FTP ports follows: the old one is cleared, the new one is put in
 * unless it is 21. Returns 0. */
int set_ftpd_config(const struct FtpdConfig *config);

/* Writes the daemon's global section, terminated, into `text`, which holds NAS_FTP_GLOBAL_SIZE bytes; a block that
 * does not fit any more is left out. Reads the users of "ftp" and "samba". Returns the position behind the text. */
char *print_ftpconf_global(char *text, const struct FtpdConfig *config);

/* Flushes the chain "router_kelsto" and, when the service is on and `wan` is neither null nor empty, forwards its
 * ports there to `lan`. Returns 1 when rules were written, else 0. */
int configure_iptables_for_ftp(const struct FtpdConfig *config, const char *wan, const char *lan);

/* Moves users of old (convert_userdb), sets the host name, writes /etc/hosts, removes the account "anonymous", and
 * writes /etc/proftpd.conf (mode 0644): the global section, and sections for each disk and its entries. Then kills a
 * running daemon with signal 9, flushes the chain "router_kelsto", takes the UPnP rules of both ports back, and writes
 * /tmp/webroot/ftp_charset. When the service is on waits a second, opens its ports, and runs
 * "/sbin/proftpd -c /etc/proftpd.conf". Logs start or stop. `mode` is null for an ordinary run, "forced" to start the
 * daemon even when the service is off, without a log and without the control port's UPnP rule, "nomount" to leave it
 * stopped. A disk or entry whose name holds a control character or a double quote, ends in a backslash (blanks behind
 * it do not count), or would be read as that of another (a backslash stands for what follows it) or as "*", gets no
 * section, with a line on standard error; nor do names with a backslash of which there are more than 100 in a folder. A
 * charset ends at its first line feed and loses backslashes at its end. Returns 0. */
int ftp_callback(const char *mode);

NAS_END_DECLS

#endif
