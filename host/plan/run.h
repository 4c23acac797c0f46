/* One run of a service's callback. */
#ifndef NASPLAN_RUN_H
#define NASPLAN_RUN_H

#include <string>
#include <vector>

namespace nasplan
{

struct Run {
    int result = 0;
    std::vector<std::string> lines;   /* the recording host's */
    std::vector<std::string> secrets; /* that may stand in them */
};

/* In the private world. */
Run run_service(const std::string &service, const char *mode);

} // namespace nasplan

#endif
