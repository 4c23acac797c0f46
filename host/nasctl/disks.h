/* The disk that a service keeps its files on. */
#ifndef NASCTL_DISKS_H
#define NASCTL_DISKS_H

#include <string>

namespace nasctl
{

/* Where a volume is mounted. */
std::string disk_path(const std::string &disk);

/* Throws when the service's setting "disk" is refused; `force` also takes a disk that is not mounted. */
void check_disk(const std::string &service, const std::string &disk, bool force);

/* Throws a Failure when no disk is set. */
void need_disk(const std::string &service, const std::string &disk);

/* Why a service cannot use its disk now; empty when nothing is in the way. */
std::string disk_obstacle(const std::string &disk);

} // namespace nasctl

#endif
