// What FTP and Samba have in common: lists of users and of folders.
#ifndef NAS_SHARE_SHARE_H
#define NAS_SHARE_SHARE_H

#include "nas/user.h"

#include <cstddef>
#include <dirent.h>
#include <string_view>

namespace nas
{

// The users of a service, slot by slot; a free slot is clear.
struct ServiceUsers {
    NasUser slots[NAS_USER_SLOTS];
};

void read_users(ServiceUsers &users, const char *service);

// Names joined by commas: whole names only, at most 511 characters.
struct UserList {
    char text[512];
    size_t length;

    UserList() : length(0)
    {
        text[0] = '\0'; // the rest is not worth clearing: there are three lists for each folder
    }

    operator std::string_view() const
    {
        return {text, length};
    }
};

// Adds a name where it fits; one that would break the file is left out.
void add_name(UserList &list, const char *id);

// A folder restriction, split at its first colon. Without a colon there is no subfolder.
struct Restriction {
    std::string_view disk;
    std::string_view subfolder;
    bool has_subfolder;
};

Restriction split_restriction(const NasUser &user);

// The entries of a folder that count, in the locale's order.
struct FolderList {
    dirent **entries = nullptr;
    int count = 0;
    int with_backslash = 0; // in their name

    FolderList() = default;
    FolderList(const FolderList &) = delete;
    FolderList &operator=(const FolderList &) = delete;
    ~FolderList();
};

// False when the folder cannot be listed.
bool list_folders(FolderList &list, const char *path);

// Can the name of a folder's entry stand in a generated file? Says on standard error when it cannot, or when the file's
// own rules keep it out.
bool fits_into_file(const char *folder, const char *name, bool is_kept_out = false);

} // namespace nas

#endif
