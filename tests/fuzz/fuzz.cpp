#include "fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nas_fuzz
{

std::string Input::text()
{
    const std::size_t end = std::min(rest_.find('\0'), rest_.size());
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    return text;
}

std::size_t Input::choice(std::size_t of)
{
    if (rest_.empty())
        return 0;
    const auto byte = static_cast<unsigned char>(rest_.front());
    rest_.remove_prefix(1);
    return byte % of;
}

std::string Input::rest()
{
    std::string text(rest_);
    rest_ = {};
    return text;
}

void require(bool holds, const char *what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

namespace
{

bool is_ordinary(const std::string &path)
{
    const std::string around = "/" + path + "/";
    return around.find("/../") == std::string::npos && around.find("/./") == std::string::npos;
}

} // namespace

void plant(const std::string &root, std::string path, const std::string &content)
{
    const bool is_link = path.starts_with('@');
    if (is_link)
        path.erase(0, 1);
    if (path.empty() || !is_ordinary(path))
        return;
    path = root + "/" + path;
    for (std::size_t at = path.find('/', root.size() + 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
    if (is_link) {
        if (symlink(content.c_str(), path.c_str()) != 0)
            return;
    } else if (!path.ends_with('/')) {
        // Not through a link: it may lead to a device.
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (file < 0)
            return;
        require(write(file, content.data(), content.size()) >= 0, "a planted file can be written");
        close(file);
    }
}

void plant_all(const std::string &root, Input &input)
{
    for (int i = 0; i < 64 && !input.at_end(); ++i) {
        const std::string path = input.text();
        plant(root, path, input.text());
    }
}

void set_up_router(World &world)
{
    world.sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 ext4 rw 0 0\n");
    world.sandbox.put_dir("/mnt/Disk1/Movies");
    world.host.network.wan_ip["wan1"] = "203.0.113.7";
    world.host.network.address["br-lan"] = "192.168.1.1";
    world.host.network.hwaddr["eth1"] = "00:11:22:33:44:55";
    world.host.device.ddns["kelsto_router"] = {{"box.example.net", "secret"}};
}

} // namespace nas_fuzz
