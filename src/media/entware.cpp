#include "nas/entware.h"

// Both stand in until the service is built: it counts as switched off, and there is nothing to take down.
int get_entware_config(EntwareConfig *config)
{
    if (config != nullptr)
        *config = {};
    return 0;
}

int fini_entware(void)
{
    return 0;
}
