/* Ports that are reached from the internet: NAT chains and requests to the UPnP agent.
 *
 * Every exposed service owns the chain "router_<word>" in the nat table. The host creates and hooks the chains; the
 * library flushes and fills them. Nothing here looks at the results of commands and requests. */
#ifndef NAS_EXPOSURE_H
#define NAS_EXPOSURE_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

/* Asks the UPnP agent to map the ports of every switched-on service, up to its first port 0: sends
 * "upnp:service,A,tcp,<port>,<port>,ns_<service>_<port>" in the order of the service table. */
void nas_service_upnp_relay_init(void);

/* Fills the chains of FTP and of the web file service anew for the addresses of "wan1" and "br-lan". Returns 0. */
int configure_iptables_for_nas(void);

/* Makes sure that the FTP daemon and the web server "lighttpd_kelsto" run for remote access: a missing one is started
 * with ftp_callback("forced") or lighttpd_callback("forced", "url_kelsto"). Says so on standard error.
 * Returns 1 when one had to be started, else 0. */
int prepare_kelsto_server(void);

/* Ends what remote access needed: runs "killall proftpd", "kill <pid>" for the web server of the remote-access port,
 * and flushes the chain "router_kelsto"; leaves all running while the FTP service is on and a disk is mounted. Then
 * asks `serviced` for "register_cloudbackup". Returns that request's result. */
int sweep_kelsto_server(void);

NAS_END_DECLS

#endif
