#include "nas/ftp.h"
#include "nas/web.h"

#include "ports.h"
#include "services.h"
#include "validate.h"

namespace nasctl
{
namespace
{

FtpdConfig stored_config()
{
    FtpdConfig config = {};
    get_ftpd_config(&config);
    return config;
}

void check_ports(const FtpdConfig &config)
{
    if (config.port == config.web_port && config.port != 0)
        throw UsageError("ftp: port and web-port are both " + std::to_string(config.port) + "; they must differ");
    check_ports_are_free("ftp", {config.port, config.web_port});
}

Json show()
{
    FtpdConfig config = stored_config();
    return {{"enabled", config.enable != 0},
            {"port", config.port},
            {"web-port", config.web_port},
            {"charset", config.charset}};
}

void store(const FtpdConfig &config)
{
    set_ftpd_config(&config);
    const FtpdConfig stored = stored_config();
    check_stored("ftp", stored.enable == config.enable && stored.port == config.port &&
                            stored.web_port == config.web_port && std::string_view(stored.charset) == config.charset);
}

void set(const Assignments &changes, bool)
{
    const FtpdConfig before = stored_config();
    FtpdConfig config = before;
    for (const auto &[key, value] : changes) {
        if (key == "port")
            config.port = port_setting("ftp", key, value, true);
        else if (key == "web-port")
            config.web_port = port_setting("ftp", key, value, true);
        else if (key == "charset")
            set_text(config.charset, "ftp", key, value, problem_with_charset(value, sizeof config.charset - 1));
        else
            refuse_key(ftp_control, key);
    }
    check_ports(config);
    store(config);
    if (before.enable != 0)
        close_former_ports({before.port, before.web_port}, {config.port, config.web_port});
}

void enable(bool on)
{
    FtpdConfig config = stored_config();
    if (on)
        check_ports(config);
    config.enable = on ? 1 : 0;
    store(config);
}

/* It serves whatever disks there are, also none. */
std::string obstacle()
{
    return stored_config().port == 0 ? "its port is 0" : "";
}

/* The record's second port is a web server's, and every FTP user has a link below its root. It is seen to first, so
 * that the last event is the FTP service's own. */
int run(const char *mode)
{
    if (mode == nullptr)
        lighttpd_callback(nullptr, nullptr);
    return ftp_callback(mode);
}

} // namespace

const ServiceControl ftp_control = {"ftp", "port, web-port, charset", show, set, enable, obstacle, run};

} // namespace nasctl
