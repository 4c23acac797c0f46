#include "remote/cloud.h"

#include "nas/registration.h"
#include "nas/user.h"
#include "nas/util.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/registration.h"
#include "platform/store.h"
#include "service/callback.h"
#include "service/exposure.h"
#include "support/conf_file.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

using namespace nas;

static constexpr int registration_port = 33798;

int nas::get_cloud_config(const CloudService &service, CloudShareConfig *config)
{
    if (config == nullptr)
        return -1;
    *config = {};
    Record record;
    if (!read_record(record, service.conf_key)) {
        config->port = service.default_port;
        return 0;
    }
    config->enable = next_int(record, 0);
    config->port = next_int(record, service.default_port);
    next_text(record, config->disk_name, "");
    read_config_text(service.folder_key, config->folder);
    return 1;
}

int nas::set_cloud_config(const CloudService &service, const CloudShareConfig &config)
{
    char record[128];
    format_text(record, "%d,%d,%s", config.enable, config.port, config.disk_name);
    iconfig_set_value_direct(service.conf_key, record);
    iconfig_set_value_direct(service.folder_key, config.folder);
    return 0;
}

// Is there a way to the internet: an address of the WAN's, or a gateway on the LAN?
static bool is_connected()
{
    char address[NAS_ADDRESS_SIZE] = "";
    return get_wan_ip("wan1", address) != 0 || get_default_gateway("br-lan", address) != 0;
}

// The hardware address of the upstream gateway; empty unless it is this router's own.
static void read_gateway_mac(std::span<char, NAS_ADDRESS_SIZE> mac)
{
    char gateway[NAS_ADDRESS_SIZE] = "";
    mac[0] = '\0';
    if (local_gateway_is_default_gateway() != 0 && get_default_gateway("br-lan", gateway) != 0 && gateway[0] != '\0')
        get_hwaddr_by_ip(gateway, mac.data());
}

using Request = char[1024];

static void format_request(Request &request, const CloudService &service, const CloudShareConfig &config,
                           const char *auth)
{
    char nonce[NAS_NONCE_LENGTH + 1] = "", gateway_mac[NAS_ADDRESS_SIZE], system_ip[NAS_ADDRESS_SIZE] = "";
    get_kvcloud_rand_str(nonce);
    read_gateway_mac(gateway_mac);
    get_ifconfig("br-lan", system_ip, nullptr);
    char folder_info[sizeof config.disk_name + sizeof config.folder + 64] = "";
    if (service.tells_folder)
        format_text(folder_info, "&nalvexcloudinfo={hddname,%s},{folder,%s}", config.disk_name, config.folder);
    format_text(request, "rv=%s&auth=%s&%s=%d&system_ip=%s&gw_mac=%s%s", nonce, auth, service.request_word, config.port,
                system_ip, gateway_mac, folder_info);
}

int nas::register_cloud_service(const CloudService &service, const CloudShareConfig &config, int background)
{
    DdnsConfig account = {};
    char auth[NAS_AUTH_SIZE];
    if (ddnsapi_read_config_by_service_type(0, "kelsto_router", &account) == 0 || !is_connected() ||
        make_auth(&account, auth) == -1)
        return 0;
    Request request;
    format_request(request, service, config, auth);
    char value[NAS_REQUEST_VALUE_SIZE] = "";
    encode_kvcloud_crypt(request, value);

    unlink(service.response_path);
    char command[1024];
    format_text(command, "/usr/bin/wget \"http://%s:%d/%s/server_register3.php?value=%s\" -q -O %s %s", service.server,
                registration_port, service.request_word, value, service.response_path, background != 0 ? "&" : "");
    system(command);
    return 0;
}

// A line feed in a stored text would add lines to the configuration file.
static void keep_first_lines(CloudShareConfig &config)
{
    end_at_line_feed(config.disk_name);
    end_at_line_feed(config.folder);
}

static void append_cloud_conf(TextBuffer &conf, const CloudService &service, int port, const char *module,
                              const char *path, const char *user)
{
    append(conf, "uid = root\n"
                 "gid = root\n"
                 "strict modes = no\n"
                 "read only = no\n"
                 "use chroot = no\n");
    appendf(conf, "port = %d\n", port);
    append(conf, "transfer logging = yes\n"
                 "log file = /dev/null\n"
                 "log format = %t|%m|%u\n");
    append(conf, {"[", module, "]\n",                            //
                  "path = ", path, "\n",                         //
                  "auth users = ", user, "\n",                   //
                  "secrets file = ", service.secrets_path, "\n", //
                  "read only = no\n"});
}

static void make_folder(const char *path)
{
    if (file_exists(path) != 0)
        return;
    char quoted_path[1024];
    quote_text(quoted_path, path);
    system2("mkdir -p '%s'", quoted_path);
}

static constexpr mode_t conf_mode = 0666;

static void configure_daemon(const CloudService &service, const CloudShareConfig &config)
{
    char module[1024], path[1024];
    iconv_to_utf8(config.folder, module, sizeof module);
    format_text(path, "/mnt/%s/%s", config.disk_name, module);
    NasUser user;
    get_nas_user(service.name, 0, &user);
    end_at_line_feed(user.id);
    end_at_line_feed(user.password);

    TextBuffer conf;
    if (allocate(conf, 1024))
        append_cloud_conf(conf, service, config.port, module, path, user.id);
    make_folder(path);
    if (conf.data == nullptr || !write_conf_file(service.conf_path, conf, conf_mode))
        return;
    char secret[sizeof user.id + sizeof user.password];
    format_text(secret, "%s:%s", user.id, user.password);
    // The configuration's mode once more, deliberately: the secrets keep the one that they are created with.
    if (write_text(service.secrets_path, secret))
        chmod(service.conf_path, conf_mode);
}

// Ends the daemon and closes its port; says whether it had been running.
static bool stop_daemon(const CloudService &service, int port)
{
    const bool was_running = daemon_runs(service.name);
    system2("/usr/bin/killall %s", service.name);
    if (daemon_runs(service.name)) {
        puts(service.wait_message);
        sleep(1);
    }
    close_port(service.name, port);
    return was_running;
}

int nas::run_cloud_service(const CloudService &service, const char *mode)
{
    char lan[NAS_ADDRESS_SIZE] = "";
    get_ifconfig("br-lan", lan, nullptr);
    const CallMode call = read_mode(mode);
    CloudShareConfig config;
    get_cloud_config(service, &config);
    if (call.only_register)
        return register_cloud_service(service, config, 1);

    const bool was_running = stop_daemon(service, config.port);
    if (stays_stopped(call, config.enable, was_running, service.source) ||
        !finds_disk(config.disk_name, service.source))
        return 0;
    CloudShareConfig first_lines = config;
    keep_first_lines(first_lines);
    configure_daemon(service, first_lines);
    sleep(1);
    open_port(service.name, config.enable, config.port, lan);
    if (service.registration_message != nullptr)
        fputs(service.registration_message, stderr);
    register_cloud_service(service, config, 1);
    system2("%s --daemon --config=%s --port=%d --original", service.daemon, service.conf_path, config.port);
    log_event(event_started, service.source);
    return 0;
}
