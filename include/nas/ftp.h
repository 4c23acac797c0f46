/* The FTP service's record. */
#ifndef NAS_FTP_H
#define NAS_FTP_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct FtpdConfig {
    int enable;
    int port;         /* control port */
    int web_port;     /* port of the remote-access web server */
    char charset[65]; /* "AUTO", "UTF-8", "EUC-KR" or another character set */
    int option5;      /* kept, not used */
    int anonymous;    /* not stored */
};

/* This version does not run the service: the record is cleared, switched off. Returns 0. */
int get_ftpd_config(struct FtpdConfig *config);

NAS_END_DECLS

#endif
