#include "gateway.h"

#include <miniupnpc/miniupnpc.h>
#include <miniupnpc/upnpcommands.h>
#include <net/if.h>

#include <cstdlib>
#include <cstring>

namespace upnp
{
namespace
{

constexpr int discovery_milliseconds = 2000;
constexpr unsigned char discovery_hops = 2;

/* The gateway's errors. */
constexpr int invalid_arguments = 402;
constexpr int no_such_entry = 714;

/* Held for ever; one that a gateway insists on limiting is renewed long before. */
constexpr char no_lease[] = "0";
constexpr char one_hour[] = "3600";

const char *protocol_name(const Mapping &mapping)
{
    return mapping.protocol == "udp" ? "UDP" : "TCP";
}

class FoundGateway : public Gateway
{
  public:
    FoundGateway() = default;
    ~FoundGateway() override
    {
        FreeUPNPUrls(&urls_);
    }
    FoundGateway(const FoundGateway &) = delete;
    FoundGateway &operator=(const FoundGateway &) = delete;

    bool look_at(const std::string &description);
    bool discover(const std::string &interface);

    std::string description() const override
    {
        return urls_.rootdescURL != nullptr ? urls_.rootdescURL : "";
    }
    int open(const Mapping &mapping, const std::string &client) override;
    int close(const Mapping &mapping) override;
    std::optional<Target> target(const Mapping &mapping) override;
    std::string external_address() override;

  private:
    bool can_map() const
    {
        return data_.first.servicetype[0] != '\0' && urls_.controlURL != nullptr && urls_.controlURL[0] != '\0';
    }
    int add(const Mapping &mapping, const std::string &client, const char *lease);

    UPNPUrls urls_ = {};
    IGDdatas data_ = {};
};

bool FoundGateway::look_at(const std::string &description)
{
    char own_address[64] = "";
    return UPNP_GetIGDFromUrl(description.c_str(), &urls_, &data_, own_address, sizeof own_address) == 1 && can_map();
}

/* One that is not connected just now, or has a private address itself, is a gateway all the same. */
bool FoundGateway::discover(const std::string &interface)
{
    int error = 0;
    UPNPDev *devices = upnpDiscover(discovery_milliseconds, interface.c_str(), nullptr, UPNP_LOCAL_PORT_ANY, 0,
                                    discovery_hops, &error);
    if (devices == nullptr)
        return false;
    char own_address[64] = "";
#if MINIUPNPC_API_VERSION >= 18
    constexpr int last_gateway = 3;
    char wan_address[64] = "";
    int kind =
        UPNP_GetValidIGD(devices, &urls_, &data_, own_address, sizeof own_address, wan_address, sizeof wan_address);
#else
    constexpr int last_gateway = 2;
    int kind = UPNP_GetValidIGD(devices, &urls_, &data_, own_address, sizeof own_address);
#endif
    freeUPNPDevlist(devices);
    return kind >= 1 && kind <= last_gateway && can_map();
}

int FoundGateway::add(const Mapping &mapping, const std::string &client, const char *lease)
{
    return UPNP_AddPortMapping(urls_.controlURL, data_.first.servicetype, std::to_string(mapping.external).c_str(),
                               std::to_string(mapping.internal).c_str(), client.c_str(), mapping.name.c_str(),
                               protocol_name(mapping), nullptr, lease);
}

int FoundGateway::open(const Mapping &mapping, const std::string &client)
{
    int error = add(mapping, client, no_lease);
    return error == invalid_arguments ? add(mapping, client, one_hour) : error;
}

int FoundGateway::close(const Mapping &mapping)
{
    int error = UPNP_DeletePortMapping(urls_.controlURL, data_.first.servicetype,
                                       std::to_string(mapping.external).c_str(), protocol_name(mapping), nullptr);
    return error == no_such_entry ? 0 : error;
}

std::optional<Target> FoundGateway::target(const Mapping &mapping)
{
    char address[40] = "", port[6] = "", name[80] = "", enabled[4] = "", lease[16] = "";
    int error = UPNP_GetSpecificPortMappingEntry(urls_.controlURL, data_.first.servicetype,
                                                 std::to_string(mapping.external).c_str(), protocol_name(mapping),
                                                 nullptr, address, port, name, enabled, lease);
    if (error != 0)
        return std::nullopt;
    return Target{address, static_cast<int>(strtol(port, nullptr, 10)), name};
}

std::string FoundGateway::external_address()
{
    char address[64] = "";
    int error = UPNP_GetExternalIPAddress(urls_.controlURL, data_.first.servicetype, address);
    return error == 0 ? address : "";
}

} // namespace

std::unique_ptr<Gateway> Gateway::find(const std::string &known, const std::string &interface)
{
    if (!known.empty()) {
        auto gateway = std::make_unique<FoundGateway>();
        if (gateway->look_at(known))
            return gateway;
    }
    if (if_nametoindex(interface.c_str()) == 0)
        return nullptr;
    auto gateway = std::make_unique<FoundGateway>();
    if (gateway->discover(interface))
        return gateway;
    return nullptr;
}

} // namespace upnp
