/* The users of the services: their slots, and their accounts. */
#ifndef NASCTL_USERS_H
#define NASCTL_USERS_H

#include "nas/user.h"

#include "output.h"

#include <optional>
#include <string>
#include <vector>

namespace nasctl
{

struct StoredUser {
    std::string service;
    int slot = 0;
    NasUser user = {};
};

/* What a command changes; what is absent stays as it is. */
struct UserChange {
    std::optional<std::string> password, permission, folder;
};

/* The services that have users, for messages. */
std::string services_with_users();

/* The service's users in the order of their slots; those of all services for an empty text. */
std::vector<StoredUser> users_of(const std::string &service);

/* Throws a Failure when there is no such user. */
StoredUser find_user(const std::string &service, const std::string &name);

/* These three change the slot and the account, and throw when something is refused or cannot be stored. */
StoredUser add_user(const std::string &service, const std::string &name, const UserChange &change);
StoredUser change_user(const std::string &service, const std::string &name, const UserChange &change);
void remove_user(const std::string &service, const std::string &name);

/* Throws a UsageError: what can be told before a password is asked for. */
void check_new_user(const std::string &service, const std::string &name);

/* Throws a Failure for a service that would let everybody in, because it has no user. */
void need_user(const std::string &service);

std::string permission_word(int permission);

/* Never the password. */
Json user_json(const StoredUser &stored);

} // namespace nasctl

#endif
