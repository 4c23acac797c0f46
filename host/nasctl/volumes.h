/* The mounted USB volumes, as nasctl shows them. */
#ifndef NASCTL_VOLUMES_H
#define NASCTL_VOLUMES_H

#include "nas/mount.h"

#include "output.h"

#include <string>
#include <vector>

namespace nasctl
{

std::vector<MountEntry> mounted_volumes();
std::vector<std::vector<std::string>> volume_rows(const std::vector<MountEntry> &volumes);
Json volume_json(const std::vector<MountEntry> &volumes);

/* "1.5 GB" */
std::string size_text(uint64_t bytes);

} // namespace nasctl

#endif
