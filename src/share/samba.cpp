#include "nas/samba.h"

#include "nas/user.h"
#include "nas/util.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "share/share.h"
#include "support/conf_file.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace nas;

static constexpr char conf_path[] = "/etc/samba/smb.conf";
static constexpr char disks_path[] = "/mnt";

int get_samba_config(SambaConfig *config)
{
    Record record;
    if (!read_record(record, "samba_conf", short_record)) {
        config->enabled = 0;
        copy_text(config->server_name, "nalvex");
        copy_text(config->workgroup, "WORKGROUP");
        config->option4 = 0;
        config->recycle = 0;
        return 0;
    }
    *config = {};
    config->enabled = next_int(record, 0);
    next_text(record, config->server_name, "");
    next_text(record, config->workgroup, "");
    config->option4 = next_int(record, 0);
    config->recycle = next_int(record, 0, ",\n");
    config->smb1 = next_int(record, 0, ",\n");
    config->smb2 = next_int(record, 0, ",\n");
    if (config->smb1 == 0 && config->smb2 == 0)
        config->smb2 = 1;
    return 1;
}

int set_samba_config(SambaConfig *config)
{
    // Saving falls back to the protocol that every client speaks, reading to the safer one.
    if (config->smb1 == 0 && config->smb2 == 0)
        config->smb1 = 1;
    char record[short_record];
    format_text(record, "%d,%s,%s,%d,%d,%d,%d", config->enabled, config->server_name, config->workgroup,
                config->option4, config->recycle, config->smb1, config->smb2);
    iconfig_set_value_direct("samba_conf", record);
    return 0;
}

int kill_samba_daemons(void)
{
    system("/usr/bin/killall -9 smbd");
    system("/usr/bin/killall -9 nmbd");
    system("/bin/rm -f /var/spool/samba/*");
    return 0;
}

static void add_password(const NasUser &user)
{
    static constexpr size_t max_length = 63;
    char quoted_name[256], quoted_password[512];
    quote_text(quoted_name, user.id, max_length);
    quote_text(quoted_password, user.password, max_length);
    // smbpasswd reads the password and its confirmation from two lines.
    system2("/bin/echo -en '%s\n%s' | /sbin/smbpasswd -a -s '%s' >/dev/null 2>&1", quoted_password, quoted_password,
            quoted_name);
}

static void add_passwords(const ServiceUsers &users)
{
    for (const NasUser &user : users.slots)
        if (user.permission != NAS_USER_DENY && user.id[0] != '\0' && user.password[0] != '\0')
            add_password(user);
}

int init_smb_users(void)
{
    ServiceUsers users;
    read_users(users, "samba");
    add_passwords(users);
    return 0;
}

static bool may_read(const NasUser &user)
{
    return user.permission == NAS_USER_READ_WRITE || user.permission == NAS_USER_READ_ONLY;
}

static bool may_write(const NasUser &user)
{
    return user.permission == NAS_USER_READ_WRITE;
}

// Does the user's restriction let them into a share? `subfolder` is empty for the disk's own.
static bool reaches_share(const NasUser &user, std::string_view disk, std::string_view subfolder)
{
    if (user.folder[0] == '\0')
        return subfolder.empty();
    const Restriction only = split_restriction(user);
    if (only.disk != disk)
        return false;
    return !only.has_subfolder || (!subfolder.empty() && only.subfolder == subfolder);
}

static UserList list_users(const ServiceUsers &users, bool (*may)(const NasUser &), std::string_view disk,
                           std::string_view subfolder)
{
    UserList list;
    for (const NasUser &user : users.slots)
        if (user.id[0] != '\0' && may(user) && reaches_share(user, disk, subfolder))
            add_name(list, user.id);
    return list;
}

static bool is_browseable(const NasUser &user, std::string_view disk, std::string_view subfolder)
{
    if (subfolder.empty())
        return user.folder[0] == '\0' || disk == user.folder;
    const Restriction only = split_restriction(user);
    return only.has_subfolder && only.disk == disk && only.subfolder == subfolder;
}

// Tells Samba for each user whether the share shows up in the network.
static void write_include_files(const ServiceUsers &users, const char *disk, const char *subfolder, const char *share)
{
    for (const NasUser &user : users.slots) {
        if (user.id[0] == '\0' || !may_read(user) || strchr(user.id, '/') != nullptr)
            continue;
        char path[256];
        format_text(path, "/etc/samba/%s_%s.conf", user.id, share);
        write_file(path, is_browseable(user, disk, subfolder) ? "browseable=yes" : "browseable=no");
    }
}

static void append_protocols(TextBuffer &conf, const SambaConfig &config)
{
    const bool smb2_only = config.smb1 == 0 && config.smb2 != 0;
    append(conf, smb2_only ? "min protocol = SMB2\n" : "min protocol = SMB1\n");
    append(conf, config.smb2 != 0 ? "max protocol = SMB2\n" : "max protocol = SMB1\n");
}

static void append_identity(TextBuffer &conf, const SambaConfig &config)
{
    append(conf, {"workgroup=", config.workgroup, "\n",       //
                  "server string=", config.server_name, "\n", //
                  "netbios name=", config.server_name, "\n"});
    if (config.recycle != 0)
        append(conf, "vfs objects=recycle\n"
                     "recycle:repository=Network Trashes Folder\n"
                     "recycle:keeptree=yes\n"
                     "recycle:versions=yes\n");
}

// A disk named HDD1 is the router's own: logs and locks then go to RAM of their own.
static bool has_internal_disk()
{
    return isdir("/mnt/HDD1") == 1;
}

static void append_global(TextBuffer &conf, const SambaConfig &config, bool internal_disk)
{
    append(conf, "[global]\n");
    append_protocols(conf, config);
    append_identity(conf, config);
    append(conf, "unix charset=UTF-8\n"
                 "display charset=UTF-8\n"
                 "dos charset=CP949\n"
                 "follow symlinks=yes\n"
                 "dead time=5\n"
                 "preserve case=yes\n"
                 "mangled names=yes\n"
                 "unix password sync=false\n"
                 "dos filetimes=yes\n"
                 "short preserve case=yes\n"
                 "domain logons=no\n"
                 "encrypt passwords=yes\n"
                 "passdb backend = smbpasswd\n"
                 "log level=0\n");
    if (internal_disk) {
        system("mkdir -p /tmp/smb");
        append(conf, "log file=/tmp/smb/log.smbd\n"
                     "lock directory=/tmp/smb\n");
    } else {
        append(conf, "log file=/var/log/log.smbd\n"
                     "lock directory=/tmp\n");
    }
    append(conf, "delete readonly=yes\n"
                 "directory security mask=777\n"
                 "null passwords=yes\n"
                 "use sendfile=yes\n"
                 "wide links=no\n"
                 "unix extensions=yes\n"
                 "wins support=no\n"
                 "load printers=no\n"
                 "max log size=20\n"
                 "delete veto files=yes\n"
                 "default case=upper\n"
                 "browseable=yes\n"
                 "name resolve order=lmhosts host wins bcast\n"
                 "case sensitive=yes\n"
                 "pid directory=/var/run\n"
                 "security=user\n"
                 "interfaces=br-lan\n"
                 "printing=bsd\n"
                 "printcap name=/dev/null\n"
                 "security mask=777\n"
                 "share modes=yes\n"
                 "veto files=/lost+found/Network Trash Folder/.AppleDouble/.AppleDesktop/Icon^M/\n"
                 "dns proxy=no\n"
                 "socket options=IPTOS_LOWDELAY TCP_NODELAY SO_SNDBUF=131071 SO_RCVBUF=131071\n");
}

// A folder that may become a share; `subfolder` is empty for the disk's own.
struct Share {
    const char *name;
    const char *disk;
    const char *subfolder;
};

static void append_share(TextBuffer &conf, const Share &share, std::string_view writers, std::string_view readers)
{
    const char *slash = share.subfolder[0] != '\0' ? "/" : "";
    append(conf, {"[", share.name,
                  "]\n"
                  "create mask=0777\n"
                  "comment=\n"
                  "directory mask=0777\n"
                  "write list=",
                  writers,
                  "\n"
                  "valid users=",
                  readers,
                  "\n"
                  "writeable=no\n"
                  "guest ok=no\n"
                  "path=/mnt/",
                  share.disk, slash, share.subfolder,
                  "\n"
                  "available=yes\n"
                  "use sendfile=yes\n"
                  "include=/etc/samba/%G_",
                  share.name, ".conf\n"});
}

// Can the name head a section of its own? Samba reads a heading up to the first "]"; what is more to it than a share it
// knows with blanks and in any case.
static bool is_share_name(const char *name)
{
    if (name[0] == ']')
        return false;
    char heading[10]; // the longest special name, and one more
    size_t length = 0;
    for (; *name != '\0' && *name != ']' && length < sizeof heading - 1; name++)
        if (*name != ' ')
            heading[length++] = *name;
    heading[length] = '\0';
    static constexpr char special_names[][sizeof "printers"] = {"global", "globals", "homes", "printers"};
    for (const char *special : special_names)
        if (strcasecmp(heading, special) == 0)
            return false;
    return true;
}

// Adds the share when anybody may enter it.
static void add_share(TextBuffer &conf, const ServiceUsers &users, const Share &share)
{
    const UserList writers = list_users(users, may_write, share.disk, share.subfolder);
    const UserList readers = list_users(users, may_read, share.disk, share.subfolder);
    if (writers.length == 0 && readers.length == 0)
        return;
    if (!is_share_name(share.name)) {
        fprintf(stderr, "Left out: no share can bear the name of a folder in %s/%s\n", disks_path, share.disk);
        return;
    }
    append_share(conf, share, writers, readers);
    write_include_files(users, share.disk, share.subfolder, share.name);
}

// Is the folder's name given to somebody on another disk?
static bool clashes(const ServiceUsers &users, std::string_view disk, std::string_view subfolder)
{
    for (const NasUser &user : users.slots) {
        const Restriction only = split_restriction(user);
        if (only.has_subfolder && only.disk != disk && only.subfolder == subfolder)
            return true;
    }
    return false;
}

static void add_folder_shares(TextBuffer &conf, const ServiceUsers &users, const char *disk, bool may_clash)
{
    char disk_path[128];
    FolderList subfolders;
    // A cut path could be that of another disk.
    if (!format_text(disk_path, "%s/%s", disks_path, disk) || !list_folders(subfolders, disk_path))
        return;
    for (int i = 0; i < subfolders.count; i++) {
        const char *subfolder = subfolders.entries[i]->d_name;
        if (!fits_into_file(disk_path, subfolder))
            continue;
        char name[256];
        if (may_clash && clashes(users, disk, subfolder))
            format_text(name, "%s(%s)", subfolder, disk);
        else
            copy_text(name, subfolder);
        add_share(conf, users, {name, disk, subfolder});
    }
}

// What a client sees of a router without a disk.
static void add_readme_share(TextBuffer &conf)
{
    mkdir("/var/run/readme", 0777);
    chmod("/var/run/readme", 0777); // whatever the umask: guests read it
    write_file("/var/run/readme/README.txt", "No_HardDisk");
    append(conf, "[README]\n"
                 "create mask=0777\n"
                 "comment=\n"
                 "directory mask=0777\n"
                 "write list=\n"
                 "valid users=\n"
                 "writeable=no\n"
                 "guest ok=yes\n"
                 "path=/var/run/readme\n"
                 "available=yes\n");
}

static void add_shares(TextBuffer &conf, const ServiceUsers &users)
{
    FolderList disks;
    if (!list_folders(disks, disks_path))
        return;
    for (int i = 0; i < disks.count; i++) {
        const char *disk = disks.entries[i]->d_name;
        if (!fits_into_file(disks_path, disk))
            continue;
        add_share(conf, users, {disk, disk, ""});
        add_folder_shares(conf, users, disk, i > 0);
    }
    if (disks.count == 0)
        add_readme_share(conf);
}

static void write_samba_conf(const SambaConfig &config, const ServiceUsers &users, bool internal_disk)
{
    if (isdir("/etc/samba") == 0)
        storlib_create_dir(conf_path, 0644);
    TextBuffer conf;
    if (!allocate(conf, 4096))
        return;
    append_global(conf, config, internal_disk);
    add_shares(conf, users);
    storlib_create_dir(conf_path, 0644);
    write_conf_file(conf_path, conf, 0644);
}

// Ends the daemons and clears what they leave; says whether they had been running.
static bool stop_samba_daemons(bool internal_disk)
{
    const bool was_running = daemon_runs("smbd");
    kill_samba_daemons();
    sleep(1);
    system("/bin/rm -f /var/run/samba/private/*");
    system("/bin/rm -f /var/spool/samba/*");
    if (internal_disk)
        system("/bin/rm -rf /tmp/smb/*");
    return was_running;
}

int samba_callback(const char *mode)
{
    const CallMode call = read_mode(mode);
    SambaConfig config = {};
    if (get_samba_config(&config) == 0)
        return -1;
    keep_unbroken_line(config.server_name);
    keep_unbroken_line(config.workgroup);
    system("/bin/rm -rf /etc/samba/*.conf");
    ServiceUsers users;
    read_users(users, "samba");
    const bool internal_disk = has_internal_disk();
    write_samba_conf(config, users, internal_disk);

    const bool was_running = stop_samba_daemons(internal_disk);
    if (stays_stopped(call, config.enabled, was_running, source_samba))
        return 0;
    sleep(1);
    add_passwords(users);
    system("/sbin/smbd -D");
    system("/sbin/nmbd -D");
    log_event(event_started, source_samba);
    return 0;
}
