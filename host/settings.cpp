#include "settings.h"

#include "text.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <map>

namespace nashost
{
namespace
{

struct Default {
    const char *key;
    const char *value;
};

constexpr Default defaults[] = {
    {"product", "nalvex"},
    {"model", "NALVEX-2"},
    {"usb_port_count", "2"},
    {"usb_port_kinds", "3,2"},
    {"factory_test_mode", "0"},
    {"diag", "0"},
    {"modules_file", "/proc/modules"},
    {"led_dir", "/var/run/nas/led"},
    {"config_store", "/etc/nas/config.db"},
    {"status_store", "/var/run/nas/status.db"},
    {"event_log", "/var/log/nas-events"},
    {"event_log_size", "65536"},
    {"language_file", "/usr/share/nas/messages.en"},
    {"run_dir", "/var/run/nas"},
    {"serviced_socket", "/var/run/nas/serviced.sock"},
    {"serviced_log", "/var/log/nas-serviced"},
    {"serviced_log_size", "262144"},
    {"worker_program", "/usr/libexec/nas/nas-worker"},
    {"doctor_program", "/usr/libexec/nas/nas-doctor"},
    {"health_seconds", "5"},
    {"plan_program", "/usr/libexec/nas/nas-plan"},
    {"hotplug_program", "/sbin/hotplug"},
    {"volume_folders", "/etc/nas/volumes"},
    {"upnp_socket", "/var/run/nas/upnp.sock"},
    {"lan", "br-lan"},
    {"wan", "wan1"},
    {"wan_type", "dynamic"},
    {"auto_dns", "1"},
    {"provider_dns_dir", "/var/run/nas/dns"},
    {"resolv_conf", "/etc/resolv.conf"},
    {"lan_dhcp_options", "/var/run/nas/dhcp-options"},
};

using Values = std::map<std::string, std::string, std::less<>>;

/* What a file is recognised by: a replaced file has another inode, a rewritten one another time or size. */
struct FileMark {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = -1;
    timespec time = {};

    bool operator==(const FileMark &other) const
    {
        return path == other.path && device == other.device && inode == other.inode && size == other.size &&
               time.tv_sec == other.time.tv_sec && time.tv_nsec == other.time.tv_nsec;
    }
};

FileMark mark_of(const char *path)
{
    FileMark mark;
    mark.path = path;
    struct stat status;
    if (stat(path, &status) == 0) {
        mark.device = status.st_dev;
        mark.inode = status.st_ino;
        mark.size = status.st_size;
        mark.time = status.st_mtim;
    }
    return mark;
}

/* Only a line that begins with "#" is a comment, so that a value may hold one. */
Values read_file(const std::string &path)
{
    Values values;
    for (const Default &entry : defaults)
        values.emplace(entry.key, entry.value);
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        std::string_view text = trimmed(line);
        size_t equals = text.find('=');
        if (text.empty() || text[0] == '#' || equals == std::string_view::npos)
            continue;
        values.insert_or_assign(std::string(trimmed(text.substr(0, equals))),
                                std::string(trimmed(text.substr(equals + 1))));
    }
    return values;
}

const Values &current_values()
{
    static FileMark known;
    static Values values;
    const char *path = getenv("NAS_HOST_CONF");
    FileMark now = mark_of(path != nullptr && *path != '\0' ? path : "/etc/nas-host.conf");
    if (!(now == known)) {
        values = read_file(now.path);
        known = now;
    }
    return values;
}

} // namespace

std::string setting(std::string_view key)
{
    const Values &values = current_values();
    auto found = values.find(key);
    return found == values.end() ? std::string() : found->second;
}

int setting_number(std::string_view key)
{
    return decimal_value(setting(key).c_str());
}

} // namespace nashost
