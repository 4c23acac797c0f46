#include "nas/ftp.h"
#include "nas/web.h"

#include "ports.h"
#include "services.h"
#include "users.h"

namespace nasctl
{
namespace
{

UrlServiceConfig stored_config()
{
    UrlServiceConfig config;
    get_urlsvc_config(&config);
    return config;
}

/* Two settings of one server: it would be the FTP service's, and the service would count as dead for ever. */
void check_port(const UrlServiceConfig &config)
{
    FtpdConfig ftp = {};
    get_ftpd_config(&ftp);
    if (config.port == ftp.web_port)
        throw UsageError("url: port " + std::to_string(config.port) + " is the web-port of ftp; they must differ");
    check_ports_are_free("url", {config.port});
}

Json show()
{
    UrlServiceConfig config = stored_config();
    return {{"enabled", config.enable != 0}, {"port", config.port}, {"auth", config.auth != 0}};
}

void store(const UrlServiceConfig &config)
{
    set_urlsvc_config(&config);
    const UrlServiceConfig stored = stored_config();
    check_stored("url", stored.enable == config.enable && stored.port == config.port && stored.auth == config.auth);
}

bool user_guards_it()
{
    return stored_config().auth != 0;
}

void check()
{
    if (user_guards_it())
        need_user("url");
}

void set(const Assignments &changes, bool)
{
    const UrlServiceConfig before = stored_config();
    UrlServiceConfig config = before;
    for (const auto &[key, value] : changes) {
        if (key == "port")
            config.port = port_setting("url", key, value, false);
        else if (key == "auth")
            config.auth = on_or_off("url", key, value);
        else
            refuse_key(url_control, key);
    }
    check_port(config);
    if (config.enable != 0 && config.auth != 0)
        need_user("url");
    store(config);
    if (before.enable != 0)
        close_former_ports({before.port}, {config.port});
}

void enable(bool on)
{
    UrlServiceConfig config = stored_config();
    if (on) {
        check_port(config);
        check();
    }
    config.enable = on ? 1 : 0;
    store(config);
}

/* It serves whatever disks there are. */
std::string obstacle()
{
    return "";
}

int run(const char *mode)
{
    return lighttpd_callback(mode, "url");
}

} // namespace

const ServiceControl url_control = {"url", "port, auth", show, set, enable, obstacle, run, user_guards_it, check};

} // namespace nasctl
