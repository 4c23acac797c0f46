#include "nas/cloud.h"

// Both stand in until the services are built: they count as switched off.
int get_rsync_config(CloudShareConfig *config)
{
    if (config != nullptr)
        *config = {};
    return 0;
}

int get_nalvexcloud_config(CloudShareConfig *config)
{
    return get_rsync_config(config);
}
