/* The users of the services.
 *
 * A service lets at most five users in, slots 0 to 4; slots between used ones may be free. The users of "ftp" are
 * system users: name and password stand once under "nas_user_system_<slot>" as "<id>,<password>", the service's own
 * permission and folder beside them under "nas_user_system_<slot>.<service>" ("rw", "ro", else no access) and
 * "nas_user_system_<slot>.<service>.folder". All other services keep whole users of their own under
 * "nas_user_<service>" (slot 0) or "nas_user_<service>_<slot>" as "<id>,<password>,<permission>", with the folder
 * under the same key and ".folder".
 * A stored value counts up to its 511th character. A name must not hold a comma, a password neither a comma nor a
 * blank: reading ends there. An empty name or password counts as missing. */
#ifndef NAS_USER_H
#define NAS_USER_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

enum { NAS_USER_SLOTS = 5 };

enum NasUserPermission { NAS_USER_DENY = 0, NAS_USER_READ_WRITE = 1, NAS_USER_READ_ONLY = 2 };

struct NasUser {
    char id[128];       /* login name */
    char password[384]; /* plain text */
    char folder[256];   /* "": every folder; "Disk1": that disk; "Disk1:Film": that folder of that disk */
    int permission;     /* NasUserPermission */
};

/* Reads a slot; texts are cut at their field's size. `service` may be null: then only the system user's name and
 * password are read, and the permission is 1. A system user without a permission for the service has permission 0.
 * Returns 1; 0, and a clear record, when the slot is free. */
int get_nas_user(const char *service, int slot, struct NasUser *user);

/* Looks for the first slot of the service whose name is `id`. `user` may be null.
 * Returns 1 and the record; 0 when there is none, with `user` untouched. */
int get_nas_user_by_id(const char *service, const char *id, struct NasUser *user);

/* Reads the slots 0 to `count` - 1 into `users`; free slots give clear records. Returns 1. */
int get_nas_user_array(const char *service, struct NasUser *users, int count);

/* Writes a slot; removes it when `user` is null. Removing a system user takes name and password from every service
 * that shares them. With a null `service` only the system user's name and password are touched. Returns 1. */
int set_nas_user(const char *service, int slot, const struct NasUser *user);

/* The same for a service's own users, whatever the service. Returns 1. */
int set_nas_user2(const char *service, int slot, const struct NasUser *user);

/* Creates the account of the operating system for a user of "ftp" or "samba": pipes an empty line into
 * "/bin/adduser '<id>'" and, for "ftp", the password twice into "/usr/bin/passwd '<id>'". The name is cut at 63
 * characters, the password at 127, each command line at 255. The password stands between double quotes there: the
 * caller keeps out what a shell would read in it, and what would not fit. Returns 0. */
int set_nas_user_system(const char *service, const struct NasUser *user);

/* Runs "/bin/deluser '<id>'" for the slot's user of "ftp" or "samba", unless another service still has that user as
 * an account. The name is cut at 63 characters. Returns 0. */
int remove_user_system(const char *service, int slot);

/* Returns 1 when a service other than `service` whose users are accounts of the operating system, kept apart from
 * those of `service`, has a user named `id`; else 0. */
int check_user_valid_outof_service(const char *id, const char *service);

/* Moves FTP users that are kept as the service's own to the system users. Returns 0. */
int convert_userdb(void);

NAS_END_DECLS

#endif
