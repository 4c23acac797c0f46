/* Who is connected to a service. */
#ifndef NASCTL_CLIENTS_H
#define NASCTL_CLIENTS_H

#include <set>
#include <string>
#include <vector>

namespace nasctl
{

/* An established connection of TCP, as /proc/net/tcp and tcp6 list it. */
struct Connection {
    int local_port = 0;
    std::string remote_address;
};

/* A line of these tables; false for one that is no established connection. An address of IPv4 inside of IPv6 is shown
 * as the former. */
bool parse_connection(const std::string &line, Connection &connection);

std::vector<Connection> connections();

/* The addresses that are connected to one of the ports; this machine's own are none. */
std::set<std::string> clients_of(const std::vector<int> &ports, const std::vector<Connection> &all);

} // namespace nasctl

#endif
