#include "ftp_template.h"

#include "share_world.h"

#include <cstdio>
#include <ctemplate/template.h>
#include <string_view>

namespace nas_bench
{
namespace
{

constexpr std::string_view text = "ServerName \"{{SERVER_NAME}}\"\n"
                                  "ServerType standalone\n"
                                  "DefaultServer on\n"
                                  "PidFile /var/run/proftpd.pid\n"
                                  "DefaultRoot /tmp/mnt\n"
                                  "UseSendfile on\n"
                                  "UseEncoding UTF-8 {{CHARSET}}\n"
                                  "TimeoutIdle 300\n"
                                  "TimeoutNoTransfer 0\n"
                                  "AllowStoreRestart on\n"
                                  "AllowRetrieveRestart on\n"
                                  "DelayTable /var/run/proftpd.delay\n"
                                  "UseReverseDNS off\n"
                                  "IdentLookups  off\n"
                                  "SystemLog /var/log/messages\n"
                                  "TransferLog  /var/log/xferlog\n"
                                  "TransferLogSize  32\n"
                                  "WtmpLog off\n"
                                  "Port {{PORT}}\n"
                                  "Umask 000 000\n"
                                  "MaxInstances 500\n"
                                  "User nobody\n"
                                  "Group nobody\n"
                                  "RequireValidShell off\n"
                                  "receivefile on\n"
                                  "ScoreboardFile /var/log/proftpd.pid\n"
                                  "<IfModule mod_tls.c>\n"
                                  "TLSEngine off\n"
                                  "TLSProtocol SSLv23\n"
                                  "TLSRequired ctrl\n"
                                  "TLSRSACertificateFile     /etc/proftpd/server-cert.pem\n"
                                  "TLSRSACertificateKeyFile  /etc/proftpd/server-key.pem\n"
                                  "TLSCACertificateFile      /etc/proftpd/cacert.pem\n"
                                  "TLSVerifyClient off\n"
                                  "</IfModule>\n"
                                  "<Limit LOGIN>\n"
                                  "\n"
                                  "DenyUser nobody\n"
                                  "</Limit>\n"
                                  "\n"
                                  "<Directory /*>\n"
                                  "AllowOverwrite on\n"
                                  "</Directory>\n"
                                  "\n"
                                  "<Directory /tmp/mnt/*>\n"
                                  "HideNoAccess on\n"
                                  "<Limit ALL>\n"
                                  "DenyAll\n"
                                  "</Limit>\n"
                                  "</Directory>\n"
                                  "\n"
                                  "{{#DISK}}"
                                  "<Directory \"/tmp/mnt/{{DISK_NAME}}\">\n"
                                  "HideNoAccess on\n"
                                  "<Limit ALL>\n"
                                  "AllowUser {{USERS}}\n"
                                  "AllowGroup OR\n"
                                  "</Limit>\n"
                                  "</Directory>\n"
                                  "<Directory \"/tmp/mnt/{{DISK_NAME}}/*\">\n"
                                  "HideNoAccess on\n"
                                  "<Limit ALL>\n"
                                  "DenyAll\n"
                                  "</Limit>\n"
                                  "{{#HAS_WRITERS}}<Limit DIRS READ WRITE>\n"
                                  "AllowUser {{WRITERS}}\n"
                                  "</Limit>\n{{/HAS_WRITERS}}"
                                  "{{#HAS_READERS}}<Limit DIRS READ>\n"
                                  "AllowUser {{READERS}}\n"
                                  "</Limit>\n{{/HAS_READERS}}"
                                  "</Directory>\n"
                                  "{{#FOLDER}}"
                                  "<Directory \"/tmp/mnt/{{DISK_NAME}}/{{FOLDER_NAME}}\">\n"
                                  "HideNoAccess on\n"
                                  "<Limit ALL>\n"
                                  "DenyAll\n"
                                  "</Limit>\n"
                                  "{{#HAS_FOLDER_USERS}}<Limit DIRS READ>\n"
                                  "AllowUser {{FOLDER_USERS}}\n"
                                  "</Limit>\n{{/HAS_FOLDER_USERS}}"
                                  "</Directory>\n"
                                  "<Directory \"/tmp/mnt/{{DISK_NAME}}/{{FOLDER_NAME}}/*\">\n"
                                  "HideNoAccess on\n"
                                  "<Limit ALL>\n"
                                  "DenyAll\n"
                                  "</Limit>\n"
                                  "{{#HAS_WRITERS}}<Limit DIRS READ WRITE>\n"
                                  "AllowUser {{WRITERS}}\n"
                                  "</Limit>\n{{/HAS_WRITERS}}"
                                  "{{#HAS_READERS}}<Limit DIRS READ>\n"
                                  "AllowUser {{READERS}}\n"
                                  "</Limit>\n{{/HAS_READERS}}"
                                  "</Directory>\n"
                                  "{{/FOLDER}}"
                                  "{{/DISK}}"
                                  "{{#HAS_DENIED}}<Limit LOGIN>\n"
                                  "DenyUser {{DENIED}}\n"
                                  "</Limit>\n{{/HAS_DENIED}}";

struct UserLists {
    std::string all, writers, readers;
};

void add(std::string &list, const char *name)
{
    if (!list.empty())
        list += ',';
    list += name;
}

// `folder` is empty for the disk's own: who may enter one folder alone is let into its disk, without rights there.
UserLists lists_for(std::string_view disk, std::string_view folder)
{
    UserLists lists;
    for (const ShareUser &user : share_users) {
        const std::string_view permission = user.ftp_permission, only = user.folder;
        const std::size_t colon = only.find(':');
        const bool has_folder = colon != std::string_view::npos;
        if (permission == "no" || (!only.empty() && only.substr(0, colon) != disk))
            continue;
        if (has_folder && !folder.empty() && only.substr(colon + 1) != folder)
            continue;
        add(lists.all, user.name);
        if (!has_folder || !folder.empty())
            add(permission == "rw" ? lists.writers : lists.readers, user.name);
    }
    return lists;
}

bool is_somebodys_own(std::string_view disk, std::string_view folder)
{
    for (const ShareUser &user : share_users) {
        const std::string_view only = user.folder;
        if (only.size() == disk.size() + 1 + folder.size() && only.starts_with(disk) && only[disk.size()] == ':' &&
            only.ends_with(folder))
            return true;
    }
    return false;
}

// A value that is in the text only when there is one.
void set_list(ctemplate::TemplateDictionary &dictionary, const char *name, const char *section, const std::string &list)
{
    if (list.empty())
        return;
    dictionary.SetValue(name, list);
    dictionary.ShowSection(section);
}

void set_folder_lists(ctemplate::TemplateDictionary &dictionary, const UserLists &lists)
{
    set_list(dictionary, "FOLDER_USERS", "HAS_FOLDER_USERS", lists.all);
    set_list(dictionary, "WRITERS", "HAS_WRITERS", lists.writers);
    set_list(dictionary, "READERS", "HAS_READERS", lists.readers);
}

// What a dictionary does not have it takes from the one above: the disk has what is common to its folders.
void add_disk(ctemplate::TemplateDictionary &all, const char *disk)
{
    ctemplate::TemplateDictionary &dictionary = *all.AddSectionDictionary("DISK");
    dictionary.SetValue("DISK_NAME", disk);
    dictionary.SetValue("USERS", lists_for(disk, "").all);
    set_folder_lists(dictionary, lists_for(disk, "/")); // no folder bears that name
    const ScannedFolder folders((std::string("/tmp/mnt/") + disk).c_str());
    for (const dirent *folder : folders.entries()) {
        ctemplate::TemplateDictionary &own = *dictionary.AddSectionDictionary("FOLDER");
        own.SetValue("FOLDER_NAME", folder->d_name);
        if (is_somebodys_own(disk, folder->d_name))
            set_folder_lists(own, lists_for(disk, folder->d_name));
    }
}

} // namespace

void write_ftp_conf_with_template(const char *path)
{
    ctemplate::TemplateDictionary all("proftpd.conf");
    all.SetValue("SERVER_NAME", "-000000");
    all.SetValue("CHARSET", "UTF-8");
    all.SetIntValue("PORT", 21);
    const ScannedFolder disks("/tmp/mnt");
    for (const dirent *disk : disks.entries())
        add_disk(all, disk->d_name);
    std::string denied;
    for (const ShareUser &user : share_users)
        if (std::string_view(user.ftp_permission) == "no")
            add(denied, user.name);
    set_list(all, "DENIED", "HAS_DENIED", denied);

    constexpr const char *name = "proftpd.conf";
    ctemplate::StringToTemplateCache(name, text.data(), text.size(), ctemplate::DO_NOT_STRIP);
    std::string output;
    ctemplate::ExpandTemplate(name, ctemplate::DO_NOT_STRIP, &all, &output);
    std::FILE *const file = std::fopen(path, "w+");
    if (file == nullptr)
        return;
    std::fwrite(output.data(), 1, output.size(), file);
    std::fclose(file);
}

} // namespace nas_bench
