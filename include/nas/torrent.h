/* The torrent service's record. */
#ifndef NAS_TORRENT_H
#define NAS_TORRENT_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct TorrentConfig {
    int enabled;
    int option2, option3, option4;
    int port;
    char disk_name[16]; /* the volume's folder name below /tmp/mnt */
    char folder[512];   /* inside that volume */
};

/* This version does not run the service: the record is cleared, switched off; `config` may be null. Returns 0. */
int get_torrent_config(struct TorrentConfig *config);

NAS_END_DECLS

#endif
