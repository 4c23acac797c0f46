#include "nas/web.h"

#include "nas/ftp.h"
#include "nas/user.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "service/exposure.h"
#include "support/conf_file.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using namespace nas;

static constexpr char digest_path[] = "/etc/lighttpd.user";
static constexpr int default_port = 8000;
static constexpr size_t max_name = 63, max_password = 127;

// The path of one server's file: a dot and the port tell the servers apart.
using InstancePath = char[160];

static void format_instance_path(InstancePath &path, const char *base, int port)
{
    format_text(path, "%s.%d", base, port);
}

int get_urlsvc_config(UrlServiceConfig *config)
{
    Record record;
    const bool found = read_record(record, "url_conf");
    if (config == nullptr)
        return found ? 1 : 0;
    *config = {.enable = 0, .port = default_port, .auth = 0};
    if (!found)
        return 0;
    char *rest = record.text;
    const char *enable = strtok_r(rest, ",", &rest);
    const char *port = strtok_r(nullptr, ",", &rest);
    const char *auth = strtok_r(nullptr, ",\n", &rest);
    config->enable = enable != nullptr ? parse_int(enable) : 0;
    config->port = port != nullptr ? parse_int(port) : default_port;
    config->auth = auth != nullptr ? parse_int(auth) : 0;
    return 1;
}

int set_urlsvc_config(const UrlServiceConfig *config)
{
    char record[64];
    format_text(record, "%d,%d,%d", config->enable, config->port, config->auth);
    iconfig_set_value_direct("url_conf", record);
    return 0;
}

int get_httpd_config(HttpdConfig *config)
{
    FtpdConfig ftp;
    get_ftpd_config(&ftp);
    UrlServiceConfig url;
    get_urlsvc_config(&url);
    *config = {};
    config->enable = ftp.web_port != -1 ? ftp.enable : 0;
    config->port = ftp.web_port;
    copy_text(config->config_path, "/etc/lighttpd.conf");
    copy_text(config->pid_path, "/var/run/lighttpd.pid");
    copy_text(config->upload_dir, "/mnt/HDD1/.httpupload");
    config->url_enable = url.enable;
    config->url_auth = url.auth;
    config->url_port = url.port;
    copy_text(config->realm, "nalVEX");
    return 1;
}

int add_httpd_digest_user(const NasUser *user, const HttpdConfig *config)
{
    char quoted_name[256], quoted_password[512];
    quote_text(quoted_name, user->id, max_name);
    quote_text(quoted_password, user->password, max_password);
    const char *create = file_exists(digest_path) == 0 ? "-c" : "";
    system2("/sbin/htdigest %s %s '%s' '%s' '%s'", create, digest_path, config->realm, quoted_name, quoted_password);
    return 0;
}

int add_httpd_user(const NasUser *user)
{
    HttpdConfig config;
    get_httpd_config(&config);
    return add_httpd_digest_user(user, &config);
}

int check_pid(int pid)
{
    return kill(pid, 0) == 0;
}

int check_httpd_process(const HttpdConfig *config, int port)
{
    InstancePath pid_path;
    format_instance_path(pid_path, config->pid_path, port);
    const int pid = get_file_value(pid_path, 1);
    return pid != 0 ? check_pid(pid) : 0;
}

int configure_iptables_for_url(const HttpdConfig *config, const char *wan, const char *lan)
{
    return fill_nat_chain("url", config->url_enable, {config->url_port}, wan, lan);
}

int get_mac_postfix(char *text)
{
    unsigned char octets[6] = {};
    get_hwaddr_flash_raw("eth1", octets);
    format_text({text, NAS_MAC_POSTFIX_SIZE}, "%02X%02X%02X", octets[3], octets[4], octets[5]);
    return 1;
}

static void append_server(TextBuffer &conf, const HttpdConfig &config, int port)
{
    append(conf, "var.server_root = \"/tmp/webroot\"\n");
    appendf(conf, "server.port = %d\n", port);
    append(conf, "server.document-root = server_root\n");
    appendf(conf, "server.pid-file = \"%s.%d\"\n", config.pid_path, port);
    append(conf, "server.event-handler = \"linux-sysepoll\"\n"
                 "server.max-fds = 2048\n"
                 "server.stat-cache-engine = \"simple\"\n"
                 "server.max-connections = 1024\n"
                 "index-file.names += ( \"index.html\", \"index.htm\" )\n"
                 "url.access-deny             = ( \"~\", \".inc\" )\n"
                 "server.follow-symlink = \"enable\"\n");
    appendf(conf, "server.upload-dirs = ( \"%s\" )\n", config.upload_dir);
    append(
        conf,
        "server.modules = ( \"mod_access\", \"mod_alias\", \"mod_auth\", \"mod_cgi\", \"mod_status\", \"mod_dirlisting\" )\n"
        "cgi.assign = (  \".cgi\" => \"\" )\n");
}

static void append_listing(TextBuffer &conf)
{
    append(conf, "$HTTP[\"url\"] =~ \"^/list\" {\n"
                 "                                dir-listing.activate      = \"enable\"\n"
                 "                                dir-listing.hide-dotfiles = \"enable\"\n"
                 "                                dir-listing.exclude       = ( \"~$\" )\n"
                 "                                dir-listing.encoding = \"UTF-8\"\n"
                 "                                dir-listing.hide-header-file = \"disable\"\n"
                 "                                dir-listing.show-header = \"disable\"\n"
                 "                                dir-listing.hide-readme-file = \"disable\"\n"
                 "                                dir-listing.show-readme = \"disable\"\n"
                 // Mixed tabs and blanks: kept as they are, since whole files are compared.
                 "\t \t       \t}\n");
}

static void append_authentication(TextBuffer &conf, const HttpdConfig &config, const NasUser &user)
{
    append(conf, "auth.debug=0\n"
                 "auth.backend=\"htdigest\"\n"
                 "auth.backend.htdigest.userfile = \"/etc/lighttpd.user\"\n"
                 "auth.require = (\n"
                 "\"/list\" =>\n");
    append(conf, {"(\n"
                  "                                \"method\"  => \"digest\",\n"
                  "                                \"realm\"   => \"",
                  config.realm,
                  "\",\n"
                  "                                \"require\" => \"user=",
                  user.id,
                  // The bar ends the list of users, of whom there is one.
                  "|\"\n"
                  "),\n"
                  ")\n"});
}

// Writes the configuration of the server on that port. Returns 0; -1 when the file cannot be opened.
static int write_lighttpd_conf(const HttpdConfig &config, const NasUser &user, int port)
{
    TextBuffer conf;
    if (!allocate(conf, 4096))
        return -1;
    append_server(conf, config, port);
    if (config.url_enable != 0 && port == config.url_port) {
        append_listing(conf);
        if (config.url_auth != 0)
            append_authentication(conf, config, user);
    }
    append(conf, "include \"mime.conf\"\n");
    InstancePath path;
    format_instance_path(path, config.config_path, port);
    return write_conf_file(path, conf, 0644) ? 0 : -1;
}

static bool has_own_server(const HttpdConfig &config)
{
    return config.url_enable != 0 && config.url_port != config.port;
}

static void write_name_file()
{
    char postfix[NAS_MAC_POSTFIX_SIZE], name[32];
    get_mac_postfix(postfix);
    format_text(name, "nalVEX_NAS-%s", postfix);
    write_file("/tmp/webroot/kelsto.html", name);
}

// A link of that name would lie outside its folder.
static bool leads_elsewhere(const char *name)
{
    return strchr(name, '/') != nullptr || strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

// Every FTP user gets a link to the whole mount tree.
static void make_link_tree()
{
    system("rm -rf /tmp/webroot/httpstream");
    mkdir("/tmp/webroot/httpstream", 0777);
    NasUser user;
    for (int slot = 0; slot < NAS_USER_SLOTS && get_nas_user("ftp", slot, &user) != 0; slot++) {
        if (leads_elsewhere(user.id))
            continue;
        char quoted_name[256];
        quote_text(quoted_name, user.id, max_name);
        system2("ln -s /tmp/mnt '/tmp/webroot/httpstream/%s'", quoted_name);
    }
}

static void write_files(const HttpdConfig &config)
{
    NasUser user;
    get_nas_user("url", 0, &user);
    // Made afresh, so that it holds this user and no other.
    unlink(digest_path);
    add_httpd_digest_user(&user, &config);
    end_at_line_feed(user.id);
    write_name_file();
    make_link_tree();
    write_lighttpd_conf(config, user, config.port);
    if (has_own_server(config))
        write_lighttpd_conf(config, user, config.url_port);
    mkdir(config.upload_dir, 0777);
    chmod(config.upload_dir, 0777);
}

// Ends both servers and closes the service's port; says whether one had been running.
static bool stop_servers(const HttpdConfig &config)
{
    const bool was_running = daemon_runs("lighttpd");
    system("/usr/bin/killall lighttpd");
    flush_nat_chain("url");
    withdraw_port(config.url_port);
    return was_running;
}

// Logs what stays stopped; false when nothing is to be started.
static bool log_stop(const HttpdConfig &config, const CallMode &call, bool was_running)
{
    if (config.url_enable == 0) {
        if (was_running)
            log_event(event_stopped, source_web);
        if (config.enable == 0)
            return false;
    }
    if (call.nomount) {
        if (was_running)
            log_event(event_stopped, source_web);
        return false;
    }
    return true;
}

static void start_own_server(const HttpdConfig &config)
{
    char lan[NAS_ADDRESS_SIZE] = "", wan[NAS_ADDRESS_SIZE] = "";
    get_ifconfig("br-lan", lan, nullptr);
    get_wan_ip("wan1", wan);
    configure_iptables_for_url(&config, wan, lan);
    announce_port("url", config.url_port);
    if (check_httpd_process(&config, config.url_port) == 0)
        system2("/sbin/lighttpd -f %s.%d -m /usr/lib", config.config_path, config.url_port);
}

int lighttpd_callback(const char *mode, const char *origin)
{
    const CallMode call = read_mode(mode);
    system("rm -rf /etc/lighttpd.conf.*");
    HttpdConfig config;
    get_httpd_config(&config);
    write_files(config);
    const bool was_running = stop_servers(config);
    if (!call.forced && !log_stop(config, call, was_running))
        return 0;
    sleep(1);
    if (call.forced || (config.enable != 0 && check_httpd_process(&config, config.port) == 0))
        system2("/sbin/lighttpd_kelsto -f %s.%d -m /usr/lib", config.config_path, config.port);
    if (call.forced)
        return 0;
    if (has_own_server(config))
        start_own_server(config);
    if (config.url_enable != 0 && origin != nullptr && strstr(origin, "url_kelsto") == nullptr)
        log_event(event_started, source_web);
    return 0;
}
