/* The records of cloud backup ("rsync") and cloud sync ("nalvexcloud"). */
#ifndef NAS_CLOUD_H
#define NAS_CLOUD_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct CloudShareConfig {
    int enable;
    int port;
    char disk_name[16]; /* the volume's folder name below /tmp/mnt */
    char folder[512];   /* inside that volume */
};

/* This version does not run the services: the record is cleared, switched off; `config` may be null.
 * Both return 0. */
int get_rsync_config(struct CloudShareConfig *config);
int get_nalvexcloud_config(struct CloudShareConfig *config);

NAS_END_DECLS

#endif
