/* A world of its own for one run: the machine's files as they are, and every change of them kept apart.
 *
 * Each mounted file system lies below a layer in memory that takes the changes; one that no layer can be laid over, and
 * what belongs to the kernel, cannot be changed. Processes, names and networks are others than the machine's. */
#ifndef NASPLAN_PRIVATE_WORLD_H
#define NASPLAN_PRIVATE_WORLD_H

#include <functional>
#include <string>
#include <vector>

namespace nasplan
{

struct Layer {
    std::string path; /* where it is mounted */
    int changes;      /* a descriptor of the folder that has taken the changes */
};

/* Whose processes and devices are seen: the machine's, or those of the private world alone. */
enum class Sees { the_machine, itself };

/* Runs `body` in a child in the private world; its exit status. Throws when there is no such world. */
int in_private_world(Sees sees, int (*body)());

/* Inside. */
const std::vector<Layer> &layers();
const std::vector<std::string> &unchangeable_places();

/* While it lives, the calling process is back in the real world. */
class RealWorld
{
  public:
    RealWorld();
    ~RealWorld();
    RealWorld(const RealWorld &) = delete;
    RealWorld &operator=(const RealWorld &) = delete;
};

} // namespace nasplan

#endif
