#include "share/share.h"

#include "nas/util.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nas
{

void read_users(ServiceUsers &users, const char *service)
{
    get_nas_user_array(service, users.slots, NAS_USER_SLOTS);
}

void add_name(UserList &list, const char *id)
{
    const std::string_view name = id;
    const size_t comma = list.length > 0 ? 1 : 0;
    if (list.length + comma + name.size() >= sizeof list.text || breaks_file(name))
        return;
    if (comma == 1)
        list.text[list.length++] = ',';
    memcpy(list.text + list.length, name.data(), name.size());
    list.length += name.size();
    list.text[list.length] = '\0';
}

Restriction split_restriction(const NasUser &user)
{
    const char *colon = strchr(user.folder, ':');
    if (colon == nullptr)
        return {user.folder, {}, false};
    return {{user.folder, static_cast<size_t>(colon - user.folder)}, colon + 1, true};
}

FolderList::~FolderList()
{
    for (int i = 0; i < count; i++)
        free(entries[i]);
    free(entries);
}

bool list_folders(FolderList &list, const char *path)
{
    const int count = scandir(path, &list.entries, dir_filter, real_alphasort);
    if (count < 0)
        return false;
    list.count = count;
    for (int i = 0; i < count; i++)
        list.with_backslash += strchr(list.entries[i]->d_name, '\\') != nullptr ? 1 : 0;
    return true;
}

bool fits_into_file(const char *folder, const char *name, bool is_kept_out)
{
    if (!is_kept_out && !breaks_file(name))
        return true;
    fprintf(stderr, "Left out: a name in %s would break the configuration file\n", folder);
    return false;
}

} // namespace nas
