#include "nas/ftp.h"

#include "nas/user.h"
#include "platform/device.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "service/exposure.h"
#include "share/share.h"
#include "support/conf_file.h"
#include "support/message.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

using namespace nas;

static constexpr char conf_path[] = "/etc/proftpd.conf";
static constexpr char charset_path[] = "/tmp/webroot/ftp_charset";
static constexpr char disks_path[] = "/tmp/mnt";
static constexpr char host_name[] = "nalvex";
static constexpr char factory_host_name[] = NAS_FACTORY_HOST_NAME;
static_assert(sizeof factory_host_name == 16 + 1);

static constexpr int standard_port = 21;
static constexpr int most_backslashes = 100; // names with one, in a folder

int get_ftpd_config(FtpdConfig *config)
{
    Record record;
    if (!read_record(record, "ftp_conf", short_record)) {
        config->enable = 0;
        config->port = standard_port;
        config->web_port = 9000;
        copy_text(config->charset, "UTF-8");
        config->option5 = 0;
        return 0;
    }
    *config = {};
    config->enable = next_int(record, 0);
    config->port = next_int(record, standard_port);
    config->web_port = next_int(record, 9000);
    // Records without a charset date from before there was a choice.
    next_text(record, config->charset, "EUC-KR");
    config->option5 = next_int(record, 0);
    return 1;
}

// The host keeps the ports other than the standard one out of its other services' way.
static void replace_private_port(int old_port, int new_port)
{
    int ports[6] = {};
    const int free_index = read_ftp_private_port(ports, static_cast<int>(std::size(ports)));
    if (int *old_entry = std::find(std::begin(ports), std::end(ports), old_port); old_entry != std::end(ports))
        *old_entry = 0;
    // A run that was cut off before it stored the record has put the port there already.
    const bool is_there = std::find(std::begin(ports), std::end(ports), new_port) != std::end(ports);
    if (new_port != standard_port && !is_there && free_index >= 0 && free_index < static_cast<int>(std::size(ports)))
        ports[free_index] = new_port;
    write_ftp_private_port(ports, static_cast<int>(std::size(ports)));
}

static void write_charset_file(const FtpdConfig &config)
{
    write_file(charset_path, strcmp(config.charset, "AUTO") == 0 ? "UTF-8" : config.charset);
}

int set_ftpd_config(const FtpdConfig *config)
{
    FtpdConfig stored = {};
    get_ftpd_config(&stored);
    if (stored.port != config->port)
        replace_private_port(stored.port, config->port);
    char record[short_record];
    format_text(record, "%d,%d,%d,%s,%d", config->enable, config->port, config->web_port, config->charset,
                config->option5);
    iconfig_set_value_direct("ftp_conf", record);
    write_charset_file(*config);
    return 0;
}

// Everybody who could log in: the system users, and the accounts that Samba has made.
struct FtpUsers {
    ServiceUsers ftp;
    ServiceUsers samba;
};

static void read_ftp_users(FtpUsers &users)
{
    read_users(users.ftp, "ftp");
    read_users(users.samba, "samba");
}

enum class Rights { all, write, read, deny };

// Has the user just these rights in the folder? `subfolder` is empty for the disk's own folder.
static bool has_rights(const NasUser &user, std::string_view folder, std::string_view subfolder, Rights rights)
{
    if (rights == Rights::deny)
        return user.permission == NAS_USER_DENY;
    const bool writes = user.permission == NAS_USER_READ_WRITE && rights != Rights::read;
    const bool reads = user.permission == NAS_USER_READ_ONLY && rights != Rights::write;
    if (!writes && !reads)
        return false;
    if (user.folder[0] == '\0')
        return true;
    const Restriction only = split_restriction(user);
    if (only.disk != folder)
        return false;
    if (!only.has_subfolder)
        return true;
    // Who may enter one folder alone is let into its disk, without rights there.
    if (subfolder.empty())
        return rights == Rights::all && !only.subfolder.empty();
    return only.subfolder == subfolder;
}

static UserList ftp_user_list_for_folder(const FtpUsers &users, std::string_view folder, std::string_view subfolder,
                                         Rights rights)
{
    UserList list;
    for (const NasUser &user : users.ftp.slots)
        if (user.id[0] != '\0' && has_rights(user, folder, subfolder, rights))
            add_name(list, user.id);
    return list;
}

static void append_server_name(TextBuffer &conf)
{
    char product[NAS_PRODUCT_SIZE] = "";
    get_si("pi", product);
    char name[NAS_PRODUCT_SIZE];
    // The product text is a format: the firmware writes a percent sign of the name as two.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    snprintf(name, sizeof name, product);
#pragma GCC diagnostic pop

    char mac[NAS_ADDRESS_SIZE] = "";
    get_hwaddr_org("eth1", mac);
    // A router without an address still has a name.
    if (strlen(mac) < strlen("00:11:22:33:44:55"))
        copy_text(mac, "00:00:00:00:00:00");
    appendf(conf, "ServerName \"%s-%c%c%c%c%c%c\"\n", name, mac[9], mac[10], mac[12], mac[13], mac[15], mac[16]);
}

static void append_transfers(TextBuffer &conf, const FtpdConfig &config)
{
    append(conf, "ServerType standalone\n"
                 "DefaultServer on\n"
                 "PidFile /var/run/proftpd.pid\n"
                 "DefaultRoot /tmp/mnt\n"
                 "UseSendfile on\n");
    if (strcmp(config.charset, "AUTO") == 0)
        append(conf, "UseEncoding on\n");
    else
        append(conf, {"UseEncoding UTF-8 ", config.charset, "\n"});
    append(conf, "TimeoutIdle 300\n"
                 "TimeoutNoTransfer 0\n"
                 "AllowStoreRestart on\n"
                 "AllowRetrieveRestart on\n"
                 "DelayTable /var/run/proftpd.delay\n"
                 "UseReverseDNS off\n"
                 "IdentLookups  off\n"
                 "SystemLog /var/log/messages\n"
                 "TransferLog  /var/log/xferlog\n"
                 "TransferLogSize  32\n"
                 "WtmpLog off\n");
    appendf(conf, "Port %d\n", config.port);
    append(conf, "Umask 000 000\n"
                 "MaxInstances 500\n"
                 "User nobody\n"
                 "Group nobody\n"
                 "RequireValidShell off\n"
                 "receivefile on\n"
                 "ScoreboardFile /var/log/proftpd.pid\n");
}

static void append_tls(TextBuffer &conf)
{
    append(conf, "<IfModule mod_tls.c>\n"
                 "TLSEngine off\n"
                 "TLSProtocol SSLv23\n"
                 "TLSRequired ctrl\n"
                 "TLSRSACertificateFile     /etc/proftpd/server-cert.pem\n"
                 "TLSRSACertificateKeyFile  /etc/proftpd/server-key.pem\n"
                 "TLSCACertificateFile      /etc/proftpd/cacert.pem\n"
                 "TLSVerifyClient off\n"
                 "</IfModule>\n");
}

static bool is_ftp_user(const FtpUsers &users, const char *id)
{
    return std::any_of(std::begin(users.ftp.slots), std::end(users.ftp.slots),
                       [id](const NasUser &user) { return user.id[0] != '\0' && strcmp(user.id, id) == 0; });
}

// The accounts that Samba has made have no business here.
static void append_login(TextBuffer &conf, const FtpUsers &users)
{
    UserList strangers;
    // A free slot counts as a stranger without a name: the list may end in commas.
    for (const NasUser &user : users.samba.slots)
        if (!is_ftp_user(users, user.id))
            add_name(strangers, user.id);
    const bool any = strangers.length > 0;
    append(conf, {"<Limit LOGIN>\n\n"
                  "DenyUser nobody\n",
                  any ? "DenyUser " : "", strangers, any ? "\n" : "", "</Limit>\n\n"});
}

static void append_global(TextBuffer &conf, const FtpdConfig &config, const FtpUsers &users)
{
    append_server_name(conf);
    append_transfers(conf, config);
    append_tls(conf);
    append_login(conf, users);
    append(conf, "<Directory /*>\n"
                 "AllowOverwrite on\n"
                 "</Directory>\n\n");
    append(conf, "<Directory /tmp/mnt/*>\n"
                 "HideNoAccess on\n"
                 "<Limit ALL>\n"
                 "DenyAll\n"
                 "</Limit>\n"
                 "</Directory>\n\n");
}

char *print_ftpconf_global(char *text, const FtpdConfig *config)
{
    FtpUsers users;
    read_ftp_users(users);
    TextBuffer conf;
    borrow(conf, {text, NAS_FTP_GLOBAL_SIZE});
    append_global(conf, *config, users);
    return text + conf.length;
}

// What follows a directory's name when it is closed but for the given users. `suffix` is empty for the folder itself,
// "/*" for what is in it.
static void append_closed_directory(TextBuffer &conf, std::string_view suffix, std::string_view writers,
                                    std::string_view readers)
{
    append(conf, {suffix, "\">\n"
                          "HideNoAccess on\n"
                          "<Limit ALL>\n"
                          "DenyAll\n"
                          "</Limit>\n"});
    if (!writers.empty())
        append(conf, {"<Limit DIRS READ WRITE>\n"
                      "AllowUser ",
                      writers,
                      "\n"
                      "</Limit>\n"});
    if (!readers.empty())
        append(conf, {"<Limit DIRS READ>\n"
                      "AllowUser ",
                      readers,
                      "\n"
                      "</Limit>\n"});
    append(conf, "</Directory>\n");
}

// Both sections of a folder, from behind its name on. They are the same for all folders of a disk but those that a user
// is restricted to, and a disk has thousands.
struct FolderSections {
    char own_text[2048], contents_text[2048]; // room for the longest user lists
    TextBuffer own, contents;
};

static void build_sections(FolderSections &sections, const FtpUsers &users, std::string_view disk,
                           std::string_view subfolder)
{
    borrow(sections.own, sections.own_text);
    append_closed_directory(sections.own, "", {}, ftp_user_list_for_folder(users, disk, subfolder, Rights::all));
    borrow(sections.contents, sections.contents_text);
    append_closed_directory(sections.contents, "/*", ftp_user_list_for_folder(users, disk, subfolder, Rights::write),
                            ftp_user_list_for_folder(users, disk, subfolder, Rights::read));
}

// The folders that users are restricted to.
struct SpecialFolders {
    std::string_view names[NAS_USER_SLOTS];
    size_t count = 0;
};

static void find_special_folders(SpecialFolders &special, const FtpUsers &users)
{
    for (const NasUser &user : users.ftp.slots) {
        const Restriction only = split_restriction(user);
        if (only.has_subfolder)
            special.names[special.count++] = only.subfolder;
    }
}

static bool is_special(const SpecialFolders &special, std::string_view folder)
{
    const auto *end = special.names + special.count;
    return std::find(special.names, end, folder) != end;
}

// `begin` is the start of both sections, up to the folder's name.
static void append_folder(TextBuffer &conf, std::string_view begin, std::string_view name,
                          const FolderSections &sections)
{
    append(conf, {begin, name, as_view(sections.own), begin, name, as_view(sections.contents)});
}

// Does the daemon read both names as one? Between quotes a backslash stands for the character behind it.
static bool reads_alike(const char *name, const char *other)
{
    for (;; name++, other++) {
        name += *name == '\\' ? 1 : 0;
        other += *other == '\\' ? 1 : 0;
        if (*name != *other || *name == '\0')
            return *name == *other;
    }
}

// Would the entry's section be another folder's? Two sections of one folder end the daemon. "*" has one already, that
// of all folders; "." and ".." would be the disk and all disks.
static bool is_read_as_another(const FolderList &list, const char *name)
{
    if (list.with_backslash == 0 || strchr(name, '\\') == nullptr)
        return strcmp(name, "*") == 0;
    // To compare more, each with all, could take minutes.
    if (list.with_backslash > most_backslashes)
        return true;
    for (const char *taken : {"*", ".", ".."})
        if (reads_alike(name, taken))
            return true;
    for (int i = 0; i < list.count; i++)
        if (list.entries[i]->d_name != name && reads_alike(name, list.entries[i]->d_name))
            return true;
    return false;
}

static bool has_section_of_its_own(const FolderList &list, const char *parent, const char *name)
{
    return fits_into_file(parent, name, strchr(name, '"') != nullptr || is_read_as_another(list, name));
}

static void append_folders(TextBuffer &conf, const FtpUsers &users, const char *disk)
{
    char path[128], begin[sizeof path + 16];
    FolderList folders;
    // A cut path could be that of another disk.
    if (!format_text(path, "%s/%s", disks_path, disk) || !list_folders(folders, path))
        return;
    format_text(begin, "<Directory \"%s/", path);
    const std::string_view section_begin = begin;
    SpecialFolders special;
    find_special_folders(special, users);
    FolderSections common, own;
    build_sections(common, users, disk, {"\0", 1}); // no folder and no restriction bears that name
    for (int i = 0; i < folders.count; i++) {
        const char *name = folders.entries[i]->d_name;
        if (!has_section_of_its_own(folders, path, name))
            continue;
        if (!is_special(special, name)) {
            append_folder(conf, section_begin, name, common);
            continue;
        }
        build_sections(own, users, disk, name);
        append_folder(conf, section_begin, name, own);
    }
}

static void append_disk(TextBuffer &conf, const FtpUsers &users, std::string_view disk)
{
    const UserList all = ftp_user_list_for_folder(users, disk, "", Rights::all);
    if (all.length == 0)
        return;
    FolderSections sections;
    build_sections(sections, users, disk, "");
    append(conf, {"<Directory \"/tmp/mnt/", disk,
                  "\">\n"
                  "HideNoAccess on\n"
                  "<Limit ALL>\n"
                  "AllowUser ",
                  all,
                  "\n"
                  "AllowGroup OR\n"
                  "</Limit>\n"
                  "</Directory>\n"
                  "<Directory \"/tmp/mnt/",
                  disk, as_view(sections.contents)});
    append_folders(conf, users, disk.data());
}

static void write_ftp_conf(const FtpdConfig &config, const FtpUsers &users)
{
    TextBuffer conf;
    if (!allocate(conf, 4096))
        return;
    append_global(conf, config, users);
    FolderList disks;
    list_folders(disks, disks_path);
    for (int i = 0; i < disks.count; i++)
        if (has_section_of_its_own(disks, disks_path, disks.entries[i]->d_name))
            append_disk(conf, users, disks.entries[i]->d_name);
    const UserList denied = ftp_user_list_for_folder(users, "", "", Rights::deny);
    if (denied.length > 0)
        append(conf, {"<Limit LOGIN>\n"
                      "DenyUser ",
                      denied,
                      "\n"
                      "</Limit>\n"});
    write_conf_file(conf_path, conf, 0644);
}

int configure_iptables_for_ftp(const FtpdConfig *config, const char *wan, const char *lan)
{
    // The chain is named after remote access, whose ports these are, too.
    return fill_nat_chain("kelsto", config->enable, {config->port, config->web_port}, wan, lan);
}

static void set_host_name()
{
    if (is_factory_test_mode() != 0)
        sethostname(factory_host_name, strlen(factory_host_name));
    else
        sethostname(host_name, strlen(host_name));
    // The daemon looks its own name up.
    write_file("/etc/hosts", "127.0.0.1 localhost nalvex\n");
}

static void set_anonymous_account(const FtpdConfig &config)
{
    if (config.anonymous == 1)
        system("/bin/echo -en \"\n\" | adduser anonymous > /dev/null 2>&1");
    else
        system("/bin/deluser anonymous > /dev/null 2>&1");
}

// Ends the daemon and closes its ports; says whether it had been running.
static bool stop_ftp_daemon(const FtpdConfig &config)
{
    const bool was_running = daemon_runs("proftpd");
    system("/usr/bin/killall -9 proftpd");
    flush_nat_chain("kelsto");
    for (const int port : {config.port, config.web_port})
        if (port != 0)
            withdraw_port(port);
    return was_running;
}

static void open_ports(const FtpdConfig &config, bool forced, const char *lan)
{
    char wan[NAS_ADDRESS_SIZE] = "";
    get_wan_ip("wan1", wan);
    configure_iptables_for_ftp(&config, wan, lan);
    if (config.web_port != 0)
        announce_port("http", config.web_port);
    // Remote access opens the control port by itself.
    if (config.port != 0 && !forced)
        announce_port("kelsto_ftp", config.port);
}

int ftp_callback(const char *mode)
{
    convert_userdb();
    char lan[NAS_ADDRESS_SIZE] = "";
    get_ifconfig("br-lan", lan, nullptr);
    const CallMode call = read_mode(mode);
    set_host_name();

    FtpdConfig config = {};
    get_ftpd_config(&config);
    keep_unbroken_line(config.charset);
    set_anonymous_account(config);
    FtpUsers users;
    read_ftp_users(users);
    write_ftp_conf(config, users);

    const bool was_running = stop_ftp_daemon(config);
    write_charset_file(config);
    if (stays_stopped(call, config.enable, was_running, source_ftp))
        return 0;
    sleep(1);
    open_ports(config, call.forced, lan);
    system2("/sbin/proftpd -c %s", conf_path);
    if (!call.forced)
        log_event(event_started, source_ftp);
    return 0;
}
