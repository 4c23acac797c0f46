#include "clients.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

namespace nasctl
{
namespace
{

constexpr char established[] = "01";
constexpr size_t ipv4_digits = 8, ipv6_digits = 32;

/* The kernel writes an address as numbers of 32 bits, in the order of the machine. */
std::vector<unsigned char> octets_of(const std::string &digits)
{
    std::vector<unsigned char> octets;
    for (size_t at = 0; at + ipv4_digits <= digits.size(); at += ipv4_digits) {
        const auto number = static_cast<uint32_t>(std::stoul(digits.substr(at, ipv4_digits), nullptr, 16));
        const size_t end = octets.size();
        octets.resize(end + sizeof number);
        memcpy(octets.data() + end, &number, sizeof number);
    }
    return octets;
}

std::string address_text(const std::string &digits)
{
    constexpr unsigned char ipv4_inside[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    const std::vector<unsigned char> octets = octets_of(digits);
    const bool is_ipv4 = digits.size() == ipv4_digits;
    const bool holds_ipv4 = std::equal(std::begin(ipv4_inside), std::end(ipv4_inside), octets.begin());
    char text[INET6_ADDRSTRLEN] = "";
    if (is_ipv4)
        inet_ntop(AF_INET, octets.data(), text, sizeof text);
    else if (holds_ipv4)
        inet_ntop(AF_INET, octets.data() + sizeof ipv4_inside, text, sizeof text);
    else
        inet_ntop(AF_INET6, octets.data(), text, sizeof text);
    return text;
}

bool is_address(const std::string &digits)
{
    return (digits.size() == ipv4_digits || digits.size() == ipv6_digits) &&
           digits.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

bool is_own(const std::string &address)
{
    return address == "::1" || address.compare(0, 4, "127.") == 0;
}

} // namespace

bool parse_connection(const std::string &line, Connection &connection)
{
    std::istringstream words(line);
    std::string number, local, remote, state;
    if (!(words >> number >> local >> remote >> state) || state != established)
        return false;
    const size_t local_colon = local.find(':'), remote_colon = remote.find(':');
    if (local_colon == std::string::npos || remote_colon == std::string::npos ||
        !is_address(remote.substr(0, remote_colon)))
        return false;
    connection.local_port = static_cast<int>(strtol(local.c_str() + local_colon + 1, nullptr, 16));
    connection.remote_address = address_text(remote.substr(0, remote_colon));
    return true;
}

std::vector<Connection> connections()
{
    std::vector<Connection> all;
    for (const char *path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream table(path);
        Connection connection;
        for (std::string line; std::getline(table, line);) {
            if (parse_connection(line, connection))
                all.push_back(connection);
        }
    }
    return all;
}

std::set<std::string> clients_of(const std::vector<int> &ports, const std::vector<Connection> &all)
{
    std::set<std::string> clients;
    for (const Connection &connection : all) {
        if (std::find(ports.begin(), ports.end(), connection.local_port) != ports.end() &&
            !is_own(connection.remote_address))
            clients.insert(connection.remote_address);
    }
    return clients;
}

} // namespace nasctl
