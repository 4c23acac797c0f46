#include "nas/user.h"

#include "nas/service.h"
#include "platform/process.h"
#include "platform/store.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdlib>
#include <cstring>

using namespace nas;

using UserKey = char[32];
using WrittenFolderKey = char[64];

// The key of a user that a service keeps for itself; slot 0 bears no number.
static void format_own_key(std::span<char> key, const char *service, int slot, const char *suffix)
{
    if (slot == 0)
        format_text(key, "nas_user_%s%s", service, suffix);
    else
        format_text(key, "nas_user_%s_%d%s", service, slot, suffix);
}

static void format_system_key(std::span<char> key, int slot, const char *service, const char *suffix)
{
    format_text(key, "nas_user_system_%d.%s%s", slot, service, suffix);
}

static bool read_name_and_password(Record &record, NasUser &user)
{
    const char *id = next_field(record);
    const char *password = next_field(record, ", ");
    if (id == nullptr || password == nullptr)
        return false;
    copy_text(user.id, id);
    copy_text(user.password, password);
    user.permission = NAS_USER_READ_WRITE;
    return true;
}

// Reads a user that the service keeps for itself.
static int load_nas_user_record(const char *service, int slot, NasUser *user)
{
    *user = {};
    UserKey key;
    format_own_key(key, service, slot, "");
    Record record;
    if (!read_record(record, key, short_record) || !read_name_and_password(record, *user))
        return 0;
    user->permission = next_int(record, NAS_USER_READ_WRITE, ", ");
    format_own_key(key, service, slot, ".folder");
    read_config_text(key, user->folder);
    return 1;
}

static int parse_permission(const char *word)
{
    if (strcmp(word, "rw") == 0)
        return NAS_USER_READ_WRITE;
    if (strcmp(word, "ro") == 0)
        return NAS_USER_READ_ONLY;
    return NAS_USER_DENY;
}

static const char *permission_word(int permission)
{
    switch (permission) {
    case NAS_USER_READ_WRITE:
        return "rw";
    case NAS_USER_READ_ONLY:
        return "ro";
    default:
        return "disable";
    }
}

static int load_system_user(const char *service, int slot, NasUser *user)
{
    *user = {};
    UserKey key;
    format_text(key, "nas_user_system_%d", slot);
    Record record;
    if (!read_record(record, key, short_record) || !read_name_and_password(record, *user))
        return 0;
    if (service == nullptr)
        return 1;
    char permission[short_record];
    format_system_key(key, slot, service, "");
    read_config_text(key, permission);
    user->permission = parse_permission(permission);
    format_system_key(key, slot, service, ".folder");
    read_config_text(key, user->folder);
    return 1;
}

int get_nas_user(const char *service, int slot, NasUser *user)
{
    if (service != nullptr && use_system_passwd(service) == 0)
        return load_nas_user_record(service, slot, user);
    return load_system_user(service, slot, user);
}

int get_nas_user_by_id(const char *service, const char *id, NasUser *user)
{
    for (int slot = 0; slot < NAS_USER_SLOTS; slot++) {
        NasUser candidate;
        if (get_nas_user(service, slot, &candidate) == 0 || strcmp(candidate.id, id) != 0)
            continue;
        if (user != nullptr)
            *user = candidate;
        return 1;
    }
    return 0;
}

int get_nas_user_array(const char *service, NasUser *users, int count)
{
    for (int slot = 0; slot < count; slot++)
        get_nas_user(service, slot, &users[slot]);
    return 1;
}

// Says whether all of it was stored.
static bool write_system_user(const char *service, int slot, const NasUser &user)
{
    UserKey key;
    WrittenFolderKey folder_key;
    char value[short_record];
    format_text(key, "nas_user_system_%d", slot);
    format_text(value, "%s,%s", user.id, user.password);
    bool written = iconfig_set_value_direct(key, value) == 0;
    if (service == nullptr)
        return written;
    format_system_key(key, slot, service, "");
    format_system_key(folder_key, slot, service, ".folder");
    written = iconfig_set_value_direct(key, permission_word(user.permission)) == 0 && written;
    return iconfig_set_value_direct(folder_key, user.folder) == 0 && written;
}

static void remove_system_user(const char *service, int slot)
{
    UserKey key;
    WrittenFolderKey folder_key;
    format_text(key, "nas_user_system_%d", slot);
    iconfig_remove_config_tag(key);
    if (service == nullptr)
        return;
    format_system_key(key, slot, service, "");
    format_system_key(folder_key, slot, service, ".folder");
    iconfig_remove_config_tag(key);
    iconfig_remove_config_tag(folder_key);
}

int set_nas_user(const char *service, int slot, const NasUser *user)
{
    if (service != nullptr && use_system_passwd(service) == 0)
        return set_nas_user2(service, slot, user);
    if (user != nullptr)
        write_system_user(service, slot, *user);
    else
        remove_system_user(service, slot);
    return 1;
}

int set_nas_user2(const char *service, int slot, const NasUser *user)
{
    UserKey key;
    WrittenFolderKey folder_key;
    format_own_key(key, service, slot, "");
    format_own_key(folder_key, service, slot, ".folder");
    if (user == nullptr) {
        iconfig_remove_config_tag(key);
        iconfig_remove_config_tag(folder_key);
        return 1;
    }
    char value[short_record];
    format_text(value, "%s,%s,%d", user->id, user->password, user->permission);
    iconfig_set_value_direct(key, value);
    iconfig_set_value_direct(folder_key, user->folder);
    return 1;
}

// An account's name and password as the account commands take them.
static constexpr size_t max_account_name = 63, max_account_password = 127;
using QuotedName = char[256];
using QuotedPassword = char[512];
using CommandLine = char[256];

int set_nas_user_system(const char *service, const NasUser *user)
{
    if (use_system_user(service) == 0)
        return 0;
    QuotedName quoted_name;
    quote_text(quoted_name, user->id, max_account_name);
    CommandLine command;
    // The empty line answers adduser's question for a password.
    format_text(command, "/bin/echo -en \"\\n\" | /bin/adduser '%s' > /dev/null 2>&1", quoted_name);
    system(command);
    if (use_system_passwd(service) == 0)
        return 0;

    QuotedPassword quoted_password;
    quote_text(quoted_password, user->password, max_account_password);
    // passwd asks twice.
    format_text(command, "/bin/echo -en \"%s\\n%s\\n\" | /usr/bin/passwd '%s' > /dev/null 2>&1", quoted_password,
                quoted_password, quoted_name);
    system(command);
    return 0;
}

int remove_user_system(const char *service, int slot)
{
    NasUser user;
    if (use_system_user(service) == 0 || get_nas_user(service, slot, &user) == 0)
        return 0;
    if (check_user_valid_outof_service(user.id, service) == 1)
        return 0;
    QuotedName quoted_name;
    quote_text(quoted_name, user.id, max_account_name);
    system2("/bin/deluser '%s'", quoted_name);
    return 0;
}

int check_user_valid_outof_service(const char *id, const char *service)
{
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++) {
        if (strcmp(row->name, service) == 0 || row->system_accounts == 0)
            continue;
        // Two services that share the system users share this one, too: it proves nothing.
        if (use_system_passwd(service) == 1 && use_system_passwd(row->name) == 1)
            continue;
        if (get_nas_user_by_id(row->name, id, nullptr) == 1)
            return 1;
    }
    return 0;
}

// While the store fails, the old user stays, and its restriction to a folder with it: the next run moves them again.
static void move_to_system_user(int slot, const NasUser &user)
{
    if (!write_system_user("ftp", slot, user))
        return;
    UserKey key;
    WrittenFolderKey folder_key;
    format_own_key(key, "ftp", slot, "");
    format_own_key(folder_key, "ftp", slot, ".folder");
    if (iconfig_remove_config_tag(key) == 0)
        iconfig_remove_config_tag(folder_key);
}

int convert_userdb(void)
{
    for (int slot = 0; slot < NAS_USER_SLOTS; slot++) {
        NasUser user;
        if (load_nas_user_record("ftp", slot, &user) != 0)
            move_to_system_user(slot, user);
    }
    return 0;
}
