/* nasctl tethering show|set|status */
#include "commands.h"

#include "nas/tethering.h"
#include "platform/network.h"
#include "platform/request.h"

#include "services.h"

#include <memory>

namespace nasctl
{
namespace
{

constexpr char phone[] = "lte0";
constexpr char wan[] = "wan1";

void print_setting()
{
    const bool on = get_usb_tethering_op() != 0;
    if (json_wanted)
        return print_json({{"enabled", on}});
    print_line(std::string("tethering: switched ") + (on ? "on" : "off"));
}

void change(const std::string &value)
{
    const int on = on_or_off("tethering", "setting", value);
    if (set_usb_tethering_op(on) != 0 || get_usb_tethering_op() != on)
        throw Failure("tethering: the setting could not be stored");
    if (signal_nas("usb_tethering") != 0)
        throw Failure("tethering: stored, but the request to serviced could not be kept");
    print_setting();
}

void print_status()
{
    char address[NAS_ADDRESS_SIZE] = "";
    const bool there = get_ifexist(phone) != 0, cable = get_wan_link(wan) != 0;
    const bool carries = tethering_is_running() != 0 && get_ifconfig(phone, address, nullptr) != 0;
    if (json_wanted)
        return print_json({{"enabled", get_usb_tethering_op() != 0},
                           {"phone", there},
                           {"cable", cable},
                           {"wanted", get_usb_tethering_status() != 0},
                           {"carries_wan", carries},
                           {"address", address}});
    print_setting();
    print_line(std::string("phone: ") + (there ? "plugged in" : "not there"));
    print_line(std::string("WAN cable: ") + (cable ? "plugged in" : "no link"));
    print_line(std::string("internet: through the ") + (carries ? std::string("phone, ") + address : "WAN port"));
}

} // namespace

void add_tethering_commands(CLI::App &app)
{
    auto value = std::make_shared<std::string>();
    CLI::App *tethering = app.add_subcommand("tethering", "The way to the internet through a phone");
    tethering->require_subcommand(1);
    tethering->add_subcommand("show", "The setting")->callback(print_setting);
    tethering->add_subcommand("status", "What is plugged in, and what is used")->callback(print_status);
    CLI::App *set = tethering->add_subcommand("set", "Use a phone while the WAN port has no link: on or off");
    set->add_option("on|off", *value, "The setting")->required();
    set->callback([value] { change(*value); });
}

} // namespace nasctl
