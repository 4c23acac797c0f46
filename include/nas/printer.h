/* The record of printer sharing. */
#ifndef NAS_PRINTER_H
#define NAS_PRINTER_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct CupsdConfig {
    int enable;
    int remote;
};

/* This version does not run the service: the record is cleared, switched off; `config` may be null. Returns 0. */
int get_cupsd_config(struct CupsdConfig *config);

NAS_END_DECLS

#endif
