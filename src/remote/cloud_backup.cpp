#include "remote/cloud.h"
#include "service/exposure.h"
#include "support/message.h"

using namespace nas;

static constexpr CloudService cloud_backup = {
    .name = "rsync",
    .conf_key = "rsync_conf",
    .folder_key = "rsync_folder",
    .default_port = 1873,
    .conf_path = "/etc/cloudbackup.conf",
    .secrets_path = "/etc/cloudbackup.secrets",
    .daemon = "/sbin/rsync",
    .wait_message = "Waiting for Rsync to be dead",
    .request_word = "cloudbackup",
    .server = NAS_CLOUD_BACKUP_SERVER,
    .response_path = "/tmp/cloud_backup_response",
    .source = source_cloud_backup,
    .tells_folder = false,
    .registration_message = nullptr,
};

int get_rsync_config(CloudShareConfig *config)
{
    return get_cloud_config(cloud_backup, config);
}

int set_rsync_config(const CloudShareConfig *config)
{
    return set_cloud_config(cloud_backup, *config);
}

int configure_iptables_for_rsync(const CloudShareConfig *config, const char *wan, const char *lan)
{
    return fill_nat_chain(cloud_backup.name, config->enable, {config->port}, wan, lan);
}

int cloudbackup_server_register(const CloudShareConfig *config, int background)
{
    return register_cloud_service(cloud_backup, *config, background);
}

int rsync_callback(const char *mode)
{
    return run_cloud_service(cloud_backup, mode);
}
