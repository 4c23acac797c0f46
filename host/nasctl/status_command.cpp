/* nasctl status: the services, volumes and USB devices at one look. */
#include "commands.h"

#include "status.h"
#include "volumes.h"

#include <unistd.h>

#include <cstdio>
#include <memory>

namespace nasctl
{
namespace
{

constexpr char clear_screen[] = "\033[H\033[J";

std::string joined(const std::vector<std::string> &texts)
{
    std::string all;
    for (const std::string &text : texts)
        all += (all.empty() ? "" : " ") + text;
    return all.empty() ? "-" : all;
}

std::string ports_text(const std::vector<int> &ports)
{
    std::vector<std::string> texts;
    for (const int port : ports)
        texts.push_back(std::to_string(port));
    return joined(texts);
}

std::string time_text(const std::optional<time_t> &time)
{
    char text[32] = "-";
    struct tm parts;
    if (time && localtime_r(&*time, &parts) != nullptr)
        strftime(text, sizeof text, "%m-%d %H:%M", &parts);
    return text;
}

std::string disk_text(const ServiceStatus &status)
{
    if (status.disk.empty())
        return "-";
    return status.disk + (status.disk_mounted ? "" : " (absent)");
}

std::string remark(const ServiceStatus &status)
{
    return status.starting ? "is being started" : status.state.obstacle;
}

std::vector<std::vector<std::string>> status_rows(const std::vector<ServiceStatus> &statuses)
{
    std::vector<std::vector<std::string>> rows = {
        {"SERVICE", "ENABLED", "RUNNING", "SINCE", "DISK", "PORTS", "INTERNET", "CLIENTS", "REMARK"}};
    for (const ServiceStatus &status : statuses) {
        const ServiceState &state = status.state;
        rows.push_back({state.name, yes_or_no(state.enabled), running_text(state), time_text(status.since),
                        disk_text(status), ports_text(status.ports), status.internet,
                        std::to_string(status.clients.size()), remark(status)});
    }
    return rows;
}

Json status_json(const ServiceStatus &status)
{
    Json json = service_json(status.state);
    json["starting"] = status.starting;
    json["disk"] = status.disk.empty() ? Json() : Json(status.disk);
    json["disk_mounted"] = status.disk_mounted;
    json["ports"] = status.ports;
    json["internet"] = status.internet;
    json["since"] = status.since ? Json(*status.since) : Json();
    json["clients"] = status.clients;
    return json;
}

Json usb_json(const std::vector<UsbDevice> &devices)
{
    Json json = Json::array();
    for (const UsbDevice &device : devices)
        json.push_back(
            {{"port", device.port}, {"kind", device.kind}, {"name", device.name}, {"device", device.device}});
    return json;
}

void print_usb_devices(const std::vector<UsbDevice> &devices)
{
    std::vector<std::vector<std::string>> rows = {{"USB PORT", "KIND", "NAME", "DEVICE"}};
    for (const UsbDevice &device : devices)
        rows.push_back({std::to_string(device.port), device.kind, device.name, device.device});
    if (devices.empty())
        print_line("No USB device is plugged in.");
    else
        print_table(rows);
}

void print_status()
{
    const std::vector<ServiceStatus> statuses = service_statuses();
    const std::vector<MountEntry> volumes = mounted_volumes();
    const std::vector<UsbDevice> devices = usb_devices();
    if (json_wanted) {
        Json services = Json::array();
        for (const ServiceStatus &status : statuses)
            services.push_back(status_json(status));
        return print_json({{"services", services}, {"volumes", volume_json(volumes)}, {"usb", usb_json(devices)}});
    }
    print_table(status_rows(statuses));
    print_line("");
    if (volumes.empty())
        print_line("No USB volume is mounted.");
    else
        print_table(volume_rows(volumes));
    print_line("");
    print_usb_devices(devices);
}

/* Until it is interrupted, or nobody reads any more. */
void watch_status(unsigned seconds)
{
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    for (;;) {
        if (terminal)
            fputs(clear_screen, stdout);
        print_status();
        if (!terminal && !json_wanted)
            print_line("");
        if (fflush(stdout) != 0)
            throw Failure("the status cannot be written");
        sleep(seconds);
    }
}

} // namespace

void add_status_command(CLI::App &app)
{
    constexpr unsigned usual_seconds = 2;
    auto seconds = std::make_shared<unsigned>(usual_seconds);
    CLI::App *status = app.add_subcommand("status", "The services, the mounted volumes and the USB devices");
    CLI::Option *watch = status->add_option("--watch", *seconds, "Again every SECONDS, 2 when none are given")
                             ->type_name("SECONDS")
                             ->expected(0, 1)
                             ->check(CLI::Range(1U, 86400U));
    status->callback([seconds, watch] {
        if (watch->count() > 0)
            watch_status(*seconds);
        print_status();
    });
}

} // namespace nasctl
