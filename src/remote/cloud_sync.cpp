#include "remote/cloud.h"
#include "service/exposure.h"
#include "support/message.h"

using namespace nas;

static constexpr CloudService cloud_sync = {
    .name = "nalvexcloud",
    .conf_key = "nalvexcloud_conf",
    .folder_key = "nalvexcloud_folder",
    .default_port = 2873,
    .conf_path = "/etc/nalvexcloud.conf",
    .secrets_path = "/etc/nalvexcloud.secrets",
    .daemon = "/sbin/nalvexcloud",
    .wait_message = "Waiting for nalvexcloud to be dead",
    .request_word = "nalvexcloud",
    .server = NAS_CLOUD_SYNC_SERVER,
    .response_path = "/tmp/nalvexcloud_response",
    .source = source_cloud_sync,
    .tells_folder = true,
    .registration_message = "call nalvexcloud_server_register()\n",
};

int get_nalvexcloud_config(CloudShareConfig *config)
{
    return get_cloud_config(cloud_sync, config);
}

int set_nalvexcloud_config(const CloudShareConfig *config)
{
    return set_cloud_config(cloud_sync, *config);
}

int configure_iptables_for_nalvexcloud(const CloudShareConfig *config, const char *wan, const char *lan)
{
    return fill_nat_chain(cloud_sync.name, config->enable, {config->port}, wan, lan);
}

int nalvexcloud_server_register(const CloudShareConfig *config, int background)
{
    return register_cloud_service(cloud_sync, *config, background);
}

int nalvexcloud_callback(const char *mode)
{
    return run_cloud_service(cloud_sync, mode);
}
