#include "users.h"

#include "processes.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <memory>

namespace usbmount
{
namespace
{

std::string link_target(const std::string &path)
{
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return std::string(target, length > 0 ? static_cast<size_t>(length) : 0);
}

/* What the descriptors of the process lead to. */
std::vector<std::string> open_files(const std::string &process)
{
    std::vector<std::string> targets;
    const std::string folder = process + "/fd";
    std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(folder.c_str()), closedir);
    if (!directory)
        return targets;
    while (const dirent *entry = readdir(directory.get()))
        targets.push_back(link_target(folder + "/" + entry->d_name));
    return targets;
}

bool maps_file_in(const std::string &process, const std::string &folder)
{
    std::ifstream maps(process + "/maps");
    for (std::string line; std::getline(maps, line);) {
        const size_t path = line.find('/');
        if (path != std::string::npos && is_inside(std::string_view(line).substr(path), folder))
            return true;
    }
    return false;
}

bool uses(const std::string &process, const std::string &folder)
{
    for (const char *link : {"/cwd", "/root", "/exe"}) {
        if (is_inside(link_target(process + link), folder))
            return true;
    }
    const std::vector<std::string> files = open_files(process);
    return std::any_of(files.begin(), files.end(), [&](const std::string &file) { return is_inside(file, folder); }) ||
           maps_file_in(process, folder);
}

} // namespace

bool is_inside(std::string_view path, std::string_view folder)
{
    return path.substr(0, folder.size()) == folder && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::vector<User> users_of(const std::string &folder)
{
    std::vector<User> users;
    for (int pid : nashost::process_ids()) {
        if (!uses("/proc/" + std::to_string(pid), folder))
            continue;
        const auto state = nashost::process_state(pid);
        users.push_back({pid, state ? state->short_name : "?"});
    }
    return users;
}

bool is_device_open(const std::string &device)
{
    for (int pid : nashost::process_ids()) {
        const std::vector<std::string> files = open_files("/proc/" + std::to_string(pid));
        if (std::find(files.begin(), files.end(), device) != files.end())
            return true;
    }
    return false;
}

} // namespace usbmount
