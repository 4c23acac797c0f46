/* The web file service's record. */
#ifndef NAS_WEB_H
#define NAS_WEB_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct UrlServiceConfig {
    int enable;
    int port;
    int auth; /* non-zero: users log in */
};

/* This version does not run the service: the record is cleared, switched off; `config` may be null. Returns 0. */
int get_urlsvc_config(struct UrlServiceConfig *config);

NAS_END_DECLS

#endif
