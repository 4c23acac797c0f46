/* The Samba service's record. */
#ifndef NAS_SAMBA_H
#define NAS_SAMBA_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct SambaConfig {
    int enabled;
    char server_name[128];
    char workgroup[128];
    int option4; /* kept, not used */
    int recycle; /* non-zero: deleted files go to a recycle folder */
    int smb1;
    int smb2;
};

/* This version does not run the service: the record is cleared, switched off. Returns 0. */
int get_samba_config(struct SambaConfig *config);

NAS_END_DECLS

#endif
