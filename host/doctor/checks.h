/* What the library expects of its host, as checks of one host library.
 *
 * A check calls operations and looks at what they do. Each runs in a child process of its own: one that crashes or
 * hangs is a defect of the host, not the end of the examination. */
#ifndef NASDOCTOR_CHECKS_H
#define NASDOCTOR_CHECKS_H

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace nasdoctor
{

/* Where a check may run. Stores, files, requests, signals and the network are changed only in a private world. */
enum class Needs { nothing, private_world };

/* Thrown by a check that cannot look at what it should. */
struct NotChecked : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Check {
    const char *operations; /* what is checked: "quote_r" */
    const char *contract;   /* what is expected: "never writes past its capacity" */
    Needs needs;
    std::function<std::string()> defect; /* what is wrong; empty when nothing is */
};

/* One group for each of the platform's headers. */
std::vector<Check> store_checks();
std::vector<Check> request_checks();
std::vector<Check> process_checks();
std::vector<Check> text_checks();
std::vector<Check> network_checks();
std::vector<Check> device_checks();

/* The names of all operations. */
std::span<const char *const> operation_names();

} // namespace nasdoctor

#endif
