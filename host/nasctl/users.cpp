#include "users.h"

#include "nas/service.h"

#include "services.h"
#include "text.h"
#include "validate.h"

#include <strings.h>

#include <algorithm>

namespace nasctl
{
namespace
{

struct UserService {
    const char *name;
    int slots;
    bool has_rights = true; /* else the daemon knows a name and a password, nothing more */
};

constexpr UserService user_services[] = {{"ftp", NAS_USER_SLOTS}, {"samba", NAS_USER_SLOTS}, {"url", 1, false},
                                         {"rsync", 1, false},     {"nalvexcloud", 1, false}, {"torrent", 1, false}};

struct PermissionWord {
    const char *word;
    int permission;
};

constexpr PermissionWord permission_words[] = {
    {"rw", NAS_USER_READ_WRITE}, {"ro", NAS_USER_READ_ONLY}, {"none", NAS_USER_DENY}};

int parse_permission(const std::string &word)
{
    for (const PermissionWord &known : permission_words) {
        if (word == known.word)
            return known.permission;
    }
    throw UsageError("the permission \"" + word + "\" is none of rw, ro and none");
}

const UserService &user_service(const std::string &name)
{
    for (const UserService &service : user_services) {
        if (name == service.name)
            return service;
    }
    throw UsageError("there are no users of a service \"" + name + "\" (services: " + services_with_users() + ")");
}

void append_users(std::vector<StoredUser> &users, const UserService &service)
{
    // Users of old would come back over what is changed here.
    if (std::string_view(service.name) == "ftp")
        convert_userdb();
    for (int slot = 0; slot < service.slots; slot++) {
        StoredUser stored = {service.name, slot};
        if (get_nas_user(service.name, slot, &stored.user) == 1 && stored.user.id[0] != '\0')
            users.push_back(stored);
    }
}

int free_slot(const UserService &service, const std::vector<StoredUser> &users)
{
    for (int slot = 0; slot < service.slots; slot++) {
        if (std::none_of(users.begin(), users.end(), [slot](const StoredUser &used) { return used.slot == slot; }))
            return slot;
    }
    throw Failure(std::string(service.name) + ": " +
                  (service.slots == 1 ? "its only user is there already"
                                      : "there are " + std::to_string(service.slots) + " users already, no more fit"));
}

/* Samba does not tell capital from small letters, so two accounts must not differ in them alone. */
void check_spelling(const std::string &service, const std::string &name)
{
    for (const UserService &other : user_services) {
        bool common = service == other.name || (use_system_user(service.c_str()) && use_system_user(other.name));
        if (!common)
            continue;
        for (const StoredUser &stored : users_of(other.name)) {
            if (strcasecmp(stored.user.id, name.c_str()) == 0 && name != stored.user.id)
                throw UsageError("the name \"" + name + "\" is refused: " + other.name + " has a user \"" +
                                 stored.user.id + "\"");
        }
    }
}

void check_password(const UserService &service, const std::string &password)
{
    std::string problem = problem_with_password(password);
    // The torrent daemon would take the rest for one that it has enciphered itself.
    if (problem.empty() && std::string_view(service.name) == "torrent" && password.front() == '{')
        problem = "it must not begin with '{'";
    if (!problem.empty())
        throw UsageError("the password is refused: " + problem);
}

/* What the daemon does not know would be a promise that nobody keeps. */
void check_rights(const UserService &service, const UserChange &change)
{
    bool restricted = (change.permission && *change.permission != "rw") || (change.folder && !change.folder->empty());
    if (restricted && !service.has_rights)
        throw UsageError(std::string(service.name) + ": its user has every right; permission and folder cannot be set");
}

void apply_change(NasUser &user, const UserService &service, const UserChange &change)
{
    check_rights(service, change);
    if (change.password) {
        check_password(service, *change.password);
        nashost::copy_cut(user.password, sizeof user.password, *change.password);
    }
    if (change.permission)
        user.permission = parse_permission(*change.permission);
    if (change.folder) {
        std::string problem = problem_with_restriction(*change.folder);
        if (!problem.empty())
            throw UsageError("the folder \"" + *change.folder + "\" is refused: " + problem);
        nashost::copy_cut(user.folder, sizeof user.folder, *change.folder);
    }
}

void check_may_go(const std::string &service)
{
    const ServiceControl &control = service_control(service);
    if (control.user_guards_it != nullptr && control.user_guards_it() && is_enabled(control))
        throw Failure(service + ": without its user it would let everybody in; switch it off first");
}

bool equal(const NasUser &a, const NasUser &b)
{
    return std::string_view(a.id) == b.id && std::string_view(a.password) == b.password &&
           std::string_view(a.folder) == b.folder && a.permission == b.permission;
}

/* The library does not say whether it could write, so what was written is looked at. */
void store(const StoredUser &wanted)
{
    set_nas_user(wanted.service.c_str(), wanted.slot, &wanted.user);
    NasUser stored;
    if (get_nas_user(wanted.service.c_str(), wanted.slot, &stored) == 0 || !equal(stored, wanted.user))
        throw Failure(wanted.service + ": the user could not be stored");
}

} // namespace

std::string services_with_users()
{
    std::string names;
    for (const UserService &service : user_services)
        names += std::string(names.empty() ? "" : ", ") + service.name;
    return names;
}

std::vector<StoredUser> users_of(const std::string &service)
{
    std::vector<StoredUser> users;
    if (!service.empty()) {
        append_users(users, user_service(service));
        return users;
    }
    for (const UserService &each : user_services)
        append_users(users, each);
    return users;
}

StoredUser find_user(const std::string &service, const std::string &name)
{
    for (const StoredUser &stored : users_of(service)) {
        if (name == stored.user.id)
            return stored;
    }
    throw Failure(service + ": there is no user \"" + name + "\"");
}

void need_user(const std::string &service)
{
    if (users_of(service).empty())
        throw Failure(service +
                      ": without a user it would let everybody in; make one with: nasctl user add --service " +
                      service + " NAME");
}

void check_new_user(const std::string &service, const std::string &name)
{
    const UserService &row = user_service(service);
    std::string problem = problem_with_user_name(name);
    if (!problem.empty())
        throw UsageError("the name \"" + name + "\" is refused: " + problem);
    check_spelling(service, name);
    std::vector<StoredUser> users = users_of(service);
    if (std::any_of(users.begin(), users.end(), [&](const StoredUser &stored) { return name == stored.user.id; }))
        throw Failure(service + ": there is a user \"" + name + "\" already");
    free_slot(row, users);
}

StoredUser add_user(const std::string &service, const std::string &name, const UserChange &change)
{
    check_new_user(service, name);
    StoredUser added = {service, free_slot(user_service(service), users_of(service))};
    nashost::copy_cut(added.user.id, sizeof added.user.id, name);
    added.user.permission = NAS_USER_READ_WRITE;
    apply_change(added.user, user_service(service), change);
    store(added);
    set_nas_user_system(service.c_str(), &added.user);
    return added;
}

StoredUser change_user(const std::string &service, const std::string &name, const UserChange &change)
{
    StoredUser changed = find_user(service, name);
    std::string problem = problem_with_user_name(name);
    if (!problem.empty())
        throw UsageError("the user \"" + name + "\" can only be removed: " + problem);
    apply_change(changed.user, user_service(service), change);
    store(changed);
    if (change.password)
        set_nas_user_system(service.c_str(), &changed.user);
    return changed;
}

void remove_user(const std::string &service, const std::string &name)
{
    StoredUser removed = find_user(service, name);
    check_may_go(service);
    // The account is found through the slot, so it goes first; one of the system's own stays.
    if (!is_reserved_name(name))
        remove_user_system(service.c_str(), removed.slot);
    set_nas_user(service.c_str(), removed.slot, nullptr);
    NasUser left;
    if (get_nas_user(service.c_str(), removed.slot, &left) == 1)
        throw Failure(service + ": the user could not be removed");
}

std::string permission_word(int permission)
{
    for (const PermissionWord &known : permission_words) {
        if (permission == known.permission)
            return known.word;
    }
    return "none";
}

Json user_json(const StoredUser &stored)
{
    return {{"service", stored.service},
            {"slot", stored.slot},
            {"name", stored.user.id},
            {"permission", permission_word(stored.user.permission)},
            {"folder", stored.user.folder}};
}

} // namespace nasctl
