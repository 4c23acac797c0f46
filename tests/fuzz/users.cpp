// The stored users: reading, moving those of old, accounts, and what the services make of them.
#include "fuzz/fuzz.h"

#include "nas/samba.h"
#include "nas/user.h"
#include "nas/web.h"

#include <cstring>
#include <iterator>

namespace nas_fuzz
{
namespace
{

constexpr const char *service_names[] = {"ftp", "samba", "url", "rsync", "nalvexcloud", "torrent", "media", "nobody"};

constexpr const char *key_parts[] = {"system", "ftp", "samba", "url", "rsync", "nalvexcloud"};

std::string key_of(Input &input)
{
    std::string key = std::string("nas_user_") + key_parts[input.choice(std::size(key_parts))];
    const std::size_t slot = input.choice(NAS_USER_SLOTS + 1);
    if (slot != NAS_USER_SLOTS)
        key += "_" + std::to_string(slot);
    constexpr const char *ends[] = {"", ".folder", ".ftp", ".ftp.folder", ".samba", ".samba.folder"};
    return key + ends[input.choice(std::size(ends))];
}

bool is_ended(const NasUser &user)
{
    return std::memchr(user.id, '\0', sizeof user.id) && std::memchr(user.password, '\0', sizeof user.password) &&
           std::memchr(user.folder, '\0', sizeof user.folder);
}

void rewrite_slot(World &world, const char *service, int slot)
{
    NasUser user;
    std::memset(&user, 0x5a, sizeof user);
    if (world.host.call(get_nas_user, service, slot, &user) == 0)
        return;
    require(is_ended(user), "every text of a user ends");
    world.host.call(set_nas_user_system, service, &user);
    world.host.call(set_nas_user, service, slot, &user);
    NasUser again;
    world.host.call(get_nas_user, service, slot, &again);
    require(std::strcmp(user.id, again.id) == 0, "a user's name stays what it is");
    world.host.call(check_user_valid_outof_service, user.id, service);
}

} // namespace

void try_input(Input input, World &world)
{
    const char *const service = service_names[input.choice(std::size(service_names))];
    const int slot = static_cast<int>(input.choice(NAS_USER_SLOTS));
    const std::string id = input.text();
    while (!input.at_end()) {
        const std::string key = key_of(input);
        world.host.set_config(key, input.text().substr(0, 1023));
    }
    set_up_router(world);

    NasUser users[NAS_USER_SLOTS];
    std::memset(users, 0x5a, sizeof users);
    world.host.call(get_nas_user_array, service, users, int{NAS_USER_SLOTS});
    for (const NasUser &user : users)
        require(is_ended(user), "every text of a user ends");
    world.host.call(get_nas_user_by_id, service, id.c_str(), users);
    world.host.call(add_httpd_user, users);
    world.host.call(convert_userdb);
    world.host.call(init_smb_users);
    rewrite_slot(world, service, slot);
    world.host.call(remove_user_system, service, slot);
    world.host.call(set_nas_user, service, slot, static_cast<const NasUser *>(nullptr));
}

} // namespace nas_fuzz
