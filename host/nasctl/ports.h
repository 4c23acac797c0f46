/* No two services may want the same port. */
#ifndef NASCTL_PORTS_H
#define NASCTL_PORTS_H

#include <optional>
#include <string>
#include <vector>

namespace nasctl
{

/* "0" to "65535" without anything else. */
std::optional<int> parse_port(const std::string &text);

/* What the service listens on that no setting changes. */
std::vector<int> fixed_ports_of(const std::string &service);

/* Throws a Failure when one of the service's `ports` belongs to another service that is switched on. */
void check_ports_are_free(const std::string &service, const std::vector<int> &ports);

} // namespace nasctl

#endif
