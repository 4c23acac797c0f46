/* The setting of USB tethering. */
#ifndef NAS_TETHERING_H
#define NAS_TETHERING_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

/* Stores the setting "usb_tethering", 1 on or 0 off. Returns the store's result. */
int set_usb_tethering_op(int on);

/* Returns the setting; 0 when there is none. */
int get_usb_tethering_op(void);

NAS_END_DECLS

#endif
