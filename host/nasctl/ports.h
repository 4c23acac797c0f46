/* No two services may want the same port. */
#ifndef NASCTL_PORTS_H
#define NASCTL_PORTS_H

#include <string>
#include <vector>

namespace nasctl
{

/* The port that `value` names; throws a UsageError for anything else. A port of 0 means none, where there may be
 * none. */
int port_setting(const std::string &service, const std::string &key, const std::string &value, bool may_be_none);

/* What the service listens on that no setting changes. */
std::vector<int> fixed_ports_of(const std::string &service);

/* Throws a Failure when one of the service's `ports` belongs to another service that is switched on. */
void check_ports_are_free(const std::string &service, const std::vector<int> &ports);

/* Has the ports that a service leaves closed at the upstream gateway. A callback closes those that it finds in the
 * record: it does not know those of before. */
void close_former_ports(const std::vector<int> &before, const std::vector<int> &now);

} // namespace nasctl

#endif
