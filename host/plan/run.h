/* One run of a service's callback. */
#ifndef NASPLAN_RUN_H
#define NASPLAN_RUN_H

#include <string>
#include <vector>

namespace nasplan
{

/* A service's callback is exported under the service's name; the web file service's has a name of its own. */
bool has_callback(const std::string &service);

struct Run {
    int result = 0;
    std::vector<std::string> lines;   /* the recording host's */
    std::vector<std::string> secrets; /* that may stand in them */
};

/* In the private world. */
Run run_service(const std::string &service, const char *mode);

} // namespace nasplan

#endif
