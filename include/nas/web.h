/* The web file service's record. */
#ifndef NAS_WEB_H
#define NAS_WEB_H

#ifdef __cplusplus
extern "C" {
#endif

struct UrlServiceConfig {
    int enable;
    int port;
    int auth; /* non-zero: users log in */
};

/* This version does not run the service: the record is cleared, switched off; `config` may be null. Returns 0. */
int get_urlsvc_config(struct UrlServiceConfig *config);

#ifdef __cplusplus
}
#endif
#endif
