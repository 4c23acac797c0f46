/* The web file service's records. */
#ifndef NAS_WEB_H
#define NAS_WEB_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct UrlServiceConfig {
    int enable;
    int port;
    int auth; /* non-zero: users log in */
};

struct HttpdConfig {
    int enable;            /* of the remote-access web server */
    int port;              /* of the remote-access web server */
    char config_path[128]; /* a dot and the port follow */
    char pid_path[64];     /* a dot and the port follow */
    char upload_dir[128];
    int spare;
    int url_enable; /* of the web file service */
    int url_auth;
    int url_port;
    char realm[64];
};

/* This version does not run the service: the records are cleared, switched off. `config` of the first may be null.
 * Both return 0. */
int get_urlsvc_config(struct UrlServiceConfig *config);
int get_httpd_config(struct HttpdConfig *config);

/* Flushes the chain "router_url" and, when the service is on and `wan` is neither null nor empty, forwards its port
 * there to `lan`. Returns 1 when rules were written, else 0. */
int configure_iptables_for_url(const struct HttpdConfig *config, const char *wan, const char *lan);

/* This version does not run the service: nothing is done. Returns 0. */
int lighttpd_callback(const char *mode, const char *origin);

NAS_END_DECLS

#endif
