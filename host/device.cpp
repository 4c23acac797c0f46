/* Facts about the device: platform/device.h. A firmware reads them from its flash and its boards' drivers; here
 * they are settings. */
#include "platform/device.h"

#include "files.h"
#include "settings.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string>

static_assert(offsetof(HardwareInfo, model) == 96 && sizeof(HardwareInfo) == 1024);
static_assert(offsetof(PeriodicCallbackRecord, interval) == 68);

namespace
{

constexpr int max_usb_ports = static_cast<int>(std::size(HardwareInfo{}.usb_port_kind));

/* The product text becomes part of configuration files and of a format there: characters that could break one
 * are left out. */
std::string product_text()
{
    std::string text = nashost::setting("product");
    std::erase_if(text, [](char c) { return c == '%' || c == '"' || nashost::is_control(c); });
    return text;
}

/* The model's name becomes part of an address that stands bare in a command line. */
std::string model_text()
{
    const auto is_plain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
               c == '-';
    };
    std::string text = nashost::setting("model");
    std::erase_if(text, [&](char c) { return !is_plain(c); });
    return text;
}

void fill_hardware_info(HardwareInfo &info)
{
    info = {};
    info.usb_port_count = std::clamp(nashost::setting_number("usb_port_count"), 0, max_usb_ports);
    std::vector<std::string> kinds = nashost::split(nashost::setting("usb_port_kinds"), ',');
    for (size_t port = 0; port < static_cast<size_t>(info.usb_port_count); port++)
        info.usb_port_kind[port] = port < kinds.size() ? nashost::decimal_value(kinds[port].c_str()) : 2;
    nashost::copy_cut(info.model, sizeof info.model, model_text());
}

/* The kernel lists every module with underscores, however its file is spelt. */
std::string kernel_spelling(std::string name)
{
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace

int get_si(const char *section, void *out)
{
    std::string_view wanted = section;
    if (wanted == "pi")
        nashost::copy_cut(static_cast<char *>(out), NAS_PRODUCT_SIZE, product_text());
    else if (wanted == "hw")
        fill_hardware_info(*static_cast<HardwareInfo *>(out));
    else
        return -1;
    return 0;
}

int is_factory_test_mode(void)
{
    return nashost::setting_number("factory_test_mode") != 0;
}

int check_diag_flag(void)
{
    return nashost::setting_number("diag") != 0;
}

int check_module_installed(const char *module)
{
    std::string wanted = kernel_spelling(module);
    std::ifstream file(nashost::setting("modules_file"));
    for (std::string line; std::getline(file, line);) {
        if (kernel_spelling(line.substr(0, line.find_first_of(" \t"))) == wanted)
            return 1;
    }
    return 0;
}

/* A firmware writes to the LED's brightness file of sysfs instead. */
int set_usbled(int port, int on)
{
    if (port < 0 || port > max_usb_ports)
        return -1;
    std::string path = nashost::setting("led_dir") + "/" + std::to_string(port);
    nashost::make_parent_folders(path);
    return nashost::replace_file(path, on != 0 ? "1\n" : "0\n") ? 0 : -1;
}

/* Settings led_mode ("on", "off" or "schedule"), led_dark_from and led_dark_until (hours). */
int get_led_silent_control(struct LedSilentControl *control)
{
    constexpr std::array<std::string_view, 3> modes = {"on", "off", "schedule"};
    auto found = std::find(modes.begin(), modes.end(), nashost::setting("led_mode"));
    if (found == modes.end())
        return -1;
    control->mode = static_cast<int>(found - modes.begin());
    control->start_hour = std::clamp(nashost::setting_number("led_dark_from"), 0, 23);
    control->end_hour = std::clamp(nashost::setting_number("led_dark_until"), 0, 23);
    return 0;
}
