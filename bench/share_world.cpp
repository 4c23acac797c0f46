#include "share_world.h"

#include "nas/ftp.h"
#include "nas/samba.h"

#include <cstdio>
#include <cstdlib>

namespace nas_bench
{
namespace
{

struct User {
    const char *name;
    const char *ftp_permission;
    int samba_permission;
    const char *folder;
};

constexpr std::array users = {
    User{"alice", "rw", 1, ""},      User{"bob", "rw", 1, "Disk1"},
    User{"carol", "ro", 2, "Disk2"}, User{"dave", "ro", 2, "Disk2:Folder 0007"},
    User{"eve", "no", 0, ""},
};

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

} // namespace

void put_users(nas_test::RecordingHost &host)
{
    host.set_config("ftp_conf", "1,21,9000,UTF-8,0");
    host.set_config("samba_conf", "1,router,WORKGROUP,0,1,0,1");
    for (std::size_t slot = 0; slot < users.size(); ++slot) {
        const User &user = users[slot];
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
