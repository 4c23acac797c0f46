/* The web file service: the disks over HTTP.
 *
 * Up to two servers: the remote-access one, "lighttpd_kelsto", on the web port of "ftp_conf", runs while FTP is on; the
 * one of this service runs on the port of "url_conf" ("<enable>,<port>,<auth>") when that differs. URLs that begin with
 * "/list" show the folders, with HTTP digest authentication if asked for, on the port of "url_conf" alone. */
#ifndef NAS_WEB_H
#define NAS_WEB_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct NasUser;

struct UrlServiceConfig {
    int enable;
    int port; /* default 8000 */
    int auth; /* non-zero: users log in */
};

struct HttpdConfig {
    int enable;            /* of the remote-access server: FTP is on and its web port is not -1 */
    int port;              /* of the remote-access server */
    char config_path[128]; /* a dot and the port follow */
    char pid_path[64];     /* a dot and the port follow */
    char upload_dir[128];
    int spare;
    int url_enable; /* of this service */
    int url_auth;
    int url_port;
    char realm[64]; /* of the digest */
};

enum { NAS_MAC_POSTFIX_SIZE = 7 };

/* Reads "url_conf", split as strtok does: neighbouring commas are one. A missing port is 8000, other missing fields are
 * 0. Returns 1; 0 without a record: then it is switched off on port 8000. `config` may be null: only the result
 * counts. */
int get_urlsvc_config(struct UrlServiceConfig *config);

/* Writes "url_conf". Returns 0. */
int set_urlsvc_config(const struct UrlServiceConfig *config);

/* Fills the record from "ftp_conf", "url_conf" and constants. Returns 1. */
int get_httpd_config(struct HttpdConfig *config);

/* Runs "/sbin/htdigest" to put a user into /etc/lighttpd.user, which is created ("-c") when it is missing. The name is
 * cut at 63 characters, the password at 127; it stands on the command line. Both return 0. */
int add_httpd_digest_user(const struct NasUser *user, const struct HttpdConfig *config);
int add_httpd_user(const struct NasUser *user);

/* Returns 1 when a signal could be sent to the process, else 0. */
int check_pid(int pid);

/* Returns 1 when the server on that port runs, by its pid file, else 0. */
int check_httpd_process(const struct HttpdConfig *config, int port);

/* Flushes the chain "router_url" and, when the service is on and `wan` is neither null nor empty, forwards its port
 * there to `lan`. Returns 1 when rules were written, else 0. */
int configure_iptables_for_url(const struct HttpdConfig *config, const char *wan, const char *lan);

/* Writes the last three octets of the hardware address that "eth1" had from the factory, "AABBCC", into `text`
 * (NAS_MAC_POSTFIX_SIZE bytes). Returns 1. */
int get_mac_postfix(char *text);

/* Removes /etc/lighttpd.conf.<any> and writes them anew (mode 0644), makes /etc/lighttpd.user afresh for the service's
 * user, /tmp/webroot/kelsto.html, the links of the FTP users below /tmp/webroot/httpstream and the upload folder; ends
 * the servers, closes the service's port and starts what is switched on; logs start (when `origin` is given and holds
 * no "url_kelsto") and stop. `mode` is null for an ordinary run, "forced" to start the remote-access server alone, even
 * when it is switched off, "nomount" to leave all stopped. `origin` may be null. Returns 0. */
int lighttpd_callback(const char *mode, const char *origin);

NAS_END_DECLS

#endif
