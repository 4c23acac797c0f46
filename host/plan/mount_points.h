/* What is mounted where. */
#ifndef NASPLAN_MOUNT_POINTS_H
#define NASPLAN_MOUNT_POINTS_H

#include <string>
#include <vector>

namespace nasplan
{

struct MountPoint {
    unsigned long long id;
    std::string path;
    std::string type;
};

/* A line of /proc/self/mountinfo; false for one that is none. */
bool parse_mount_point(const std::string &line, MountPoint &mount);

/* All of this process, a mount before those inside of it. */
std::vector<MountPoint> mount_points();

/* A file system of the kernel's own: what is changed there happens. */
bool belongs_to_the_kernel(const MountPoint &mount);

} // namespace nasplan

#endif
