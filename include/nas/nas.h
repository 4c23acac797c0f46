/* The whole interface of libnas. Every function has C linkage and may be called from any process that
 * also loads the host's operations (declared in nas/platform). The library keeps no state between
 * calls; it is not made for several threads of one process. */
#ifndef NAS_NAS_H
#define NAS_NAS_H

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/hotplug.h"
#include "nas/media.h"
#include "nas/mount.h"
#include "nas/partition.h"
#include "nas/printer.h"
#include "nas/registration.h"
#include "nas/samba.h"
#include "nas/service.h"
#include "nas/tethering.h"
#include "nas/torrent.h"
#include "nas/usbcheck.h"
#include "nas/usbdev.h"
#include "nas/user.h"
#include "nas/util.h"
#include "nas/web.h"

#endif
