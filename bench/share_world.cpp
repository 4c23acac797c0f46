#include "share_world.h"

#include "nas/ftp.h"
#include "nas/samba.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nas_bench
{
namespace
{

std::string folder_name(int number)
{
    char name[32];
    std::snprintf(name, sizeof name, "Folder %04d", number);
    return name;
}

std::string samba_key(std::size_t slot)
{
    return slot == 0 ? "nas_user_samba" : "nas_user_samba_" + std::to_string(slot);
}

int is_folder_of_interest(const dirent *entry)
{
    if (entry->d_type == DT_LNK)
        return 0;
    for (const char *name : {".", "..", "lost+found", "nfs"})
        if (std::strcmp(entry->d_name, name) == 0)
            return 0;
    return 1;
}

int in_order(const dirent **a, const dirent **b)
{
    return std::strcoll((*a)->d_name, (*b)->d_name);
}

} // namespace

ScannedFolder::ScannedFolder(const char *path) : count_(scandir(path, &entries_, is_folder_of_interest, in_order))
{
}

ScannedFolder::~ScannedFolder()
{
    for (dirent *entry : entries())
        std::free(entry);
    std::free(entries_);
}

std::span<dirent *const> ScannedFolder::entries() const
{
    return {entries_, static_cast<std::size_t>(std::max(count_, 0))};
}

void put_users(nas_test::RecordingHost &host)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    host.set_config("samba_conf", "1,router,WORKGROUP,0,1,0,1");
    for (std::size_t slot = 0; slot < share_users.size(); ++slot) {
        const ShareUser &user = share_users[slot];
        const std::string password = std::string(user.name) + "-password";
        const std::string system_key = "nas_user_system_" + std::to_string(slot);
        host.set_config(system_key, user.name + ("," + password));
        host.set_config(system_key + ".ftp", user.ftp_permission);
        host.set_config(system_key + ".ftp.folder", user.folder);
        host.set_config(samba_key(slot), user.name + ("," + password) + "," + std::to_string(user.samba_permission));
        host.set_config(samba_key(slot) + ".folder", user.folder);
    }
}

void put_folders(nas_test::Sandbox &sandbox, int count)
{
    // Steps of a size that shares no factor with the count reach every number once.
    constexpr int step = 379;
    for (const char *disk : share_disks)
        for (int i = 0; i < count; ++i)
            sandbox.put_dir(std::string(disk) + "/" + folder_name(i * step % count));
    sandbox.put_dir("/var/run");
    sandbox.put_dir("/tmp/webroot");
}

const std::array<ShareService, 2> &share_services()
{
    static const std::array<ShareService, 2> all = {
        ShareService{"ftp", ftp_callback, "/etc/proftpd.conf", "<Directory \"/tmp", "\">\n"},
        ShareService{"samba", samba_callback, "/etc/samba/smb.conf", "path=", "\n"},
    };
    return all;
}

std::string check_conf(const ShareService &service, int folders)
{
    std::string text = nas_test::read_file(service.conf_path);
    std::size_t at = 0; // the sections stand in order
    for (const char *disk : share_disks) {
        for (int i = 0; i < folders; ++i) {
            const std::string section = service.section_begin + (disk + ("/" + folder_name(i))) + service.section_end;
            at = text.find(section, at);
            if (at != std::string::npos)
                continue;
            std::fprintf(stderr, "%s lacks %s", service.conf_path, section.c_str());
            std::exit(EXIT_FAILURE);
        }
    }
    return text;
}

} // namespace nas_bench
