/* What a run would do, in order, taken from the recording host's lines. */
#ifndef NASPLAN_ACTS_H
#define NASPLAN_ACTS_H

#include <optional>
#include <string>
#include <vector>

namespace nasplan
{

struct Act {
    std::string kind; /* the first word of the line: "run", "upnp", "log" ... */
    std::string text; /* what follows */
    std::optional<int> status;
    bool failed = false;
};

Act act_of(const std::string &line);

/* What an act is about: "nat", "account", "upnp", "log", "store", "file", "wait", "output", "question", "command",
 * "request" or "setting". */
std::string topic_of(const Act &act);

} // namespace nasplan

#endif
