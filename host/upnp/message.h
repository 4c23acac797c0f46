/* What the UPnP agent is told: "upnp:service,A,tcp,21,21,ns_ftp_21" and "upnp:service,D,tcp,21,0,null". */
#ifndef UPNP_MESSAGE_H
#define UPNP_MESSAGE_H

#include <optional>
#include <string>
#include <string_view>

namespace upnp
{

/* One port of the gateway that leads to this router. */
struct Mapping {
    std::string protocol; /* "tcp" or "udp" */
    int external = 0;
    int internal = 0;
    std::string name;

    bool operator==(const Mapping &) const = default;
};

struct Request {
    bool add = false; /* else the external port is to be closed; only it and the protocol count then */
    Mapping mapping;
};

/* Empty for anything but these two forms: ports are 1 to 65535, names are letters, digits, '.', '_' and '-', since they
 * go into the gateway's XML. */
std::optional<Request> parse_request(std::string_view message);

/* A mapping as a word of a file, and back; one that is to be closed has the internal port 0. */
std::string mapping_word(const Mapping &mapping);
std::optional<Mapping> parse_mapping(std::string_view word);

} // namespace upnp

#endif
