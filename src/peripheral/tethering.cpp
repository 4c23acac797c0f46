#include "nas/tethering.h"

#include "platform/store.h"

int set_usb_tethering_op(int on)
{
    return iconfig_set_intvalue_direct("usb_tethering", on);
}

int get_usb_tethering_op(void)
{
    const int on = iconfig_get_intvalue_direct("usb_tethering");
    return on != -1 ? on : 0;
}
