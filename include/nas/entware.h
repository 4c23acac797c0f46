/* The package environment's record. */
#ifndef NAS_ENTWARE_H
#define NAS_ENTWARE_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct EntwareConfig {
    int run;
    char disk_name[16]; /* the volume's folder name below /tmp/mnt */
    char folder[512];   /* inside that volume */
};

/* This version does not run the service: the record is cleared, switched off; `config` may be null. Returns 0. */
int get_entware_config(struct EntwareConfig *config);

/* This version builds no environment, so there is nothing to take down. Returns 0. */
int fini_entware(void);

NAS_END_DECLS

#endif
