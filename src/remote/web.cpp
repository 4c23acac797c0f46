#include "nas/web.h"

#include "service/exposure.h"

using namespace nas;

// The records stand in until the service is built: it counts as switched off.
int get_urlsvc_config(UrlServiceConfig *config)
{
    if (config != nullptr)
        *config = {};
    return 0;
}

int get_httpd_config(HttpdConfig *config)
{
    *config = {};
    return 0;
}

int configure_iptables_for_url(const HttpdConfig *config, const char *wan, const char *lan)
{
    return fill_nat_chain("url", config->url_enable, {config->url_port}, wan, lan);
}

// Stands in until the service is built: there is no web server to start.
int lighttpd_callback(const char *, const char *)
{
    return 0;
}
