// How a service's ports are opened to the WAN and closed again.
#ifndef NAS_SERVICE_EXPOSURE_H
#define NAS_SERVICE_EXPOSURE_H

#include <initializer_list>

namespace nas
{

// Empties the chain "router_<chain>".
void flush_nat_chain(const char *chain);

// Empties the chain and forwards the ports of a switched-on service from `wan` to `lan`; a port 0 is none.
// Returns 1 when rules were written, 0 when the service is off or `wan` is null or empty.
int fill_nat_chain(const char *chain, int enable, std::initializer_list<int> ports, const char *wan, const char *lan);

// Asks the UPnP agent to map a port upstream under the name "ns_<word>_<port>", and to give it back.
void announce_port(const char *word, int port);
void withdraw_port(int port);

// Opens the only port of a service to the WAN, here and upstream, where it is announced even without a WAN address; and
// closes it again. A port 0 is none.
void open_port(const char *service, int enable, int port, const char *lan);
void close_port(const char *service, int port);

} // namespace nas

#endif
