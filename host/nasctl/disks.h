/* The disk that a service keeps its files on. */
#ifndef NASCTL_DISKS_H
#define NASCTL_DISKS_H

#include "text.h"

#include <string>

namespace nasctl
{

/* Where a volume is mounted. */
std::string disk_path(const std::string &disk);

/* Throws when the service's setting "disk" is refused; `force` also takes a disk that is not mounted. */
void check_disk(const std::string &service, const std::string &disk, bool force);

/* Sets the disk of a record; throws as check_disk(). */
template <size_t size>
void set_disk(char (&field)[size], const std::string &service, const std::string &disk, bool force)
{
    check_disk(service, disk, force);
    nashost::copy_cut(field, size, disk);
}

/* Throws a Failure when no disk is set. */
void need_disk(const std::string &service, const std::string &disk);

/* Throws a Failure when the folder is no folder, or a link leads out of its disk: what is done to it would be done to
 * the router's own files. One that is not there is fine. */
void check_folder_stays(const std::string &service, const std::string &disk, const std::string &folder);

/* Why a service cannot use its disk now; empty when nothing is in the way. */
std::string disk_obstacle(const std::string &disk);

} // namespace nasctl

#endif
