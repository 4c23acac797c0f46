#include "plan/mount_points.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

namespace nasplan
{
namespace
{

/* The kernel writes blanks, tabs, line feeds and backslashes as "\040". */
std::string plain(const std::string &text)
{
    std::string result;
    for (size_t at = 0; at < text.size(); at++) {
        const std::string digits = text.substr(at + 1, 3);
        if (text[at] == '\\' && digits.size() == 3 && digits.find_first_not_of("01234567") == std::string::npos) {
            result += static_cast<char>(std::stoi(digits, nullptr, 8));
            at += digits.size();
        } else {
            result += text[at];
        }
    }
    return result;
}

} // namespace

bool parse_mount_point(const std::string &line, MountPoint &mount)
{
    std::istringstream words(line);
    std::string parent, device, root, path, word;
    if (!(words >> mount.id >> parent >> device >> root >> path))
        return false;
    while (words >> word && word != "-")
        continue;
    mount.path = plain(path);
    return static_cast<bool>(words >> mount.type);
}

std::vector<MountPoint> mount_points()
{
    std::vector<MountPoint> all;
    std::ifstream table("/proc/self/mountinfo");
    MountPoint mount;
    for (std::string line; std::getline(table, line);) {
        if (parse_mount_point(line, mount))
            all.push_back(mount);
    }
    std::stable_sort(all.begin(), all.end(), [](const MountPoint &a, const MountPoint &b) { return a.path < b.path; });
    return all;
}

bool belongs_to_the_kernel(const MountPoint &mount)
{
    static const std::set<std::string> types = {
        "autofs", "binfmt_misc", "bpf",        "cgroup",     "cgroup2",   "configfs", "debugfs",
        "devpts", "devtmpfs",    "efivarfs",   "fusectl",    "hugetlbfs", "mqueue",   "nsfs",
        "proc",   "pstore",      "rpc_pipefs", "securityfs", "selinuxfs", "sysfs",    "tracefs"};
    return types.contains(mount.type) || mount.path == "/dev" || mount.path.starts_with("/dev/");
}

} // namespace nasplan
