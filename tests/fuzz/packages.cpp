// The package server's information and the hardware's name: nothing of them reaches the shell as more than one word.
#include "fuzz/fuzz.h"

#include "nas/entware.h"
#include "platform/device.h"

namespace nas_fuzz
{
namespace
{

constexpr std::string_view fetch = "run /usr/bin/wget -O /tmp/cur/install.sh ";
constexpr std::string_view fetch_end = " & echo";

void require_one_word(const std::string &line)
{
    if (!line.starts_with(fetch))
        return;
    const std::size_t end = line.find(fetch_end);
    require(end != std::string::npos, "the command is whole");
    const std::string address = line.substr(fetch.size(), end - fetch.size());
    require(!address.empty() && address[0] != '-' && address[0] != '#', "the address is no option and no comment");
    require(address.find_first_of(" ;&|<>$`\"'\\") == std::string::npos, "the address is one word");
    // What the transcript shows of a control character.
    require(address.find("\xe2\x90") == std::string::npos || address.find('\t') == std::string::npos,
            "the address is one line");
}

} // namespace

void try_input(Input input, World &world)
{
    set_up_router(world);
    const std::string model = input.text();
    model.copy(world.host.device.hardware.model, sizeof world.host.device.hardware.model);
    world.host.set_config("entware_run", input.text());
    world.host.set_config("entware_hddname", "Disk1");
    world.host.set_config("entware_folder", input.text());
    world.host.set_status("entware", "1");
    const std::string pid = input.text();
    const std::string info = input.rest();
    world.sandbox.put_dir("/mnt/Disk1/opt");
    world.sandbox.put_link("/tmp/cur", "/mnt/Disk1/opt");
    world.host.on_command_prefix("/usr/bin/wget -O /tmp/entware_info", {0});
    world.host.commands.back().effect = [&] {
        world.sandbox.put_file("/tmp/entware_info", info);
        world.sandbox.put_file("/tmp/entware_download.pid", pid);
    };
    PeriodicCallbackRecord record = {};
    for (int poll = 0; poll < 60; ++poll) {
        world.host.call(entware_download_callback, &record);
        if (record.active == 0)
            break;
    }
    for (const std::string &line : world.host.lines())
        require_one_word(line);
}

} // namespace nas_fuzz
