#include "print_server.h"

#include "nas/printer.h"
#include "platform/process.h"

#include "settings.h"

#include <cstdlib>

namespace serviced
{
namespace
{

/* The LAN and the router itself are always let in. */
void let_internet_in(bool in)
{
    const std::string lan = nashost::setting("lan");
    system2("/sbin/iptables -D INPUT -p tcp ! -i %s ! -s 127.0.0.0/8 --dport 631 -j DROP 2>/dev/null", lan.c_str());
    if (!in)
        system2("/sbin/iptables -A INPUT -p tcp ! -i %s ! -s 127.0.0.0/8 --dport 631 -j DROP", lan.c_str());
}

} // namespace

bool prepare_print_server()
{
    CupsdConfig config;
    get_cupsd_config(&config);
    let_internet_in(config.enable == 0 || config.remote != 0);
    const bool runs = get_cupsd_status() != 0;
    if (config.enable == 0 && runs)
        system("/usr/bin/killall cupsd");
    if (config.enable != 0 && !runs)
        system("/sbin/cupsd");
    return config.enable != 0;
}

} // namespace serviced
