// One implementation of both cloud services; what tells them apart is a page of constants.
#ifndef NAS_REMOTE_CLOUD_H
#define NAS_REMOTE_CLOUD_H

#include "nas/cloud.h"

namespace nas
{

struct CloudService {
    const char *name; // of the service, its users, its NAT chain, its UPnP rule and its process
    const char *conf_key;
    const char *folder_key;
    int default_port;
    const char *conf_path;
    const char *secrets_path;
    const char *daemon;
    const char *wait_message;
    const char *request_word; // names the service to its registration server
    const char *server;
    const char *response_path;
    const char *source;               // of its events
    bool tells_folder;                // the server is told disk and folder
    const char *registration_message; // on standard error before the registration of a start, or null
};

int get_cloud_config(const CloudService &service, CloudShareConfig *config);
int set_cloud_config(const CloudService &service, const CloudShareConfig &config);
int register_cloud_service(const CloudService &service, const CloudShareConfig &config, int background);
int run_cloud_service(const CloudService &service, const char *mode);

} // namespace nas

#endif
