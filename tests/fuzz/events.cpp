// Kernel events in the environment or as arguments, and the events that the service daemon is asked to perform.
#include "fuzz/fuzz.h"

#include "nas/hotplug.h"
#include "nas/usbdev.h"

#include <cstdlib>

namespace nas_fuzz
{
namespace
{

// Absent and empty are two things.
void put_into_environment(const char *name, const std::string &value)
{
    if (value == "-")
        unsetenv(name);
    else
        setenv(name, value.c_str(), 1);
}

} // namespace

void try_input(Input input, World &world)
{
    std::string action = input.text();
    std::string path = input.text();
    const std::string event = input.text();
    const std::string led = input.text();
    world.host.status.refuses_writes = input.choice(2) == 1;
    world.host.on_command_prefix("/sbin/usbumount ", {static_cast<int>(input.choice(3)) - 1});
    world.host.device.silent_leds = {static_cast<int>(input.choice(3)), static_cast<int>(input.choice(26)),
                                     static_cast<int>(input.choice(26))};
    world.host.device.hardware.usb_port_count = 2;
    world.host.file_systems["/mnt/Disk1"] = {4096, 1000, 400, 300};
    world.sandbox.set_mounts(input.text());
    plant_all("/sys", input);

    put_into_environment("ACTION", action);
    put_into_environment("DEVPATH", path);
    char program[] = "hotplug";
    char *by_environment[] = {program, nullptr};
    world.host.call(hotplug_usb2, 1, static_cast<char **>(by_environment));
    char *by_argument[] = {program, action.data(), path.data(), nullptr};
    world.host.call(hotplug_usb2, 3, static_cast<char **>(by_argument));
    world.host.call(hotplug_callback, event.c_str());
    world.host.call(hotplug_printer, path.c_str(), action.c_str());
    world.host.call(check_usb_tethering_class, path.c_str());
    world.host.call(turnon_usbled_by_silent_control, led.c_str());
}

} // namespace nas_fuzz
