/* The upstream gateway, as UPnP lets it be seen. Every call may take seconds. */
#ifndef UPNP_GATEWAY_H
#define UPNP_GATEWAY_H

#include "message.h"

#include <memory>
#include <optional>
#include <string>

namespace upnp
{

/* Where the gateway sends what arrives at a port. */
struct Target {
    std::string address;
    int port = 0;
    std::string name;
};

class Gateway
{
  public:
    /* Looks at the `known` description first (empty: none), then for gateways on the interface. Null when there is
     * none that can map ports. */
    static std::unique_ptr<Gateway> find(const std::string &known, const std::string &interface);

    virtual ~Gateway() = default;
    Gateway(const Gateway &) = delete;
    Gateway &operator=(const Gateway &) = delete;

    /* The address of its description, to find it again quickly. */
    virtual std::string description() const = 0;

    /* These return 0, the gateway's error, or a negative number when it did not answer. To close a port that is not
     * open is no error. */
    virtual int open(const Mapping &mapping, const std::string &client) = 0;
    virtual int close(const Mapping &mapping) = 0;

    /* What it says about a port; empty when nothing is mapped there. */
    virtual std::optional<Target> target(const Mapping &mapping) = 0;

    /* Its own address on the internet; empty when it does not tell. */
    virtual std::string external_address() = 0;

  protected:
    Gateway() = default;
};

} // namespace upnp

#endif
