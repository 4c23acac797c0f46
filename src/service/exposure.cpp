#include "service/exposure.h"

#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/mount.h"
#include "nas/service.h"
#include "nas/web.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/request.h"
#include "service/process.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>

using namespace nas;

using UpnpMessage = char[256];

void nas::flush_nat_chain(const char *chain)
{
    system2("/sbin/iptables -t nat -F router_%s", chain);
}

int nas::fill_nat_chain(const char *chain, int enable, std::initializer_list<int> ports, const char *wan,
                        const char *lan)
{
    flush_nat_chain(chain);
    if (enable == 0 || wan == nullptr || wan[0] == '\0')
        return 0;
    for (const int port : ports)
        if (port != 0)
            // Without a port in the destination the LAN side keeps the same one.
            system2("/sbin/iptables -t nat -A router_%s -d %s -p tcp --dport %d -j DNAT --to-destination %s", chain,
                    wan, port, lan);
    return 1;
}

void nas::announce_port(const char *word, int port)
{
    UpnpMessage message;
    format_text(message, "upnp:service,A,tcp,%d,%d,ns_%s_%d", port, port, word, port);
    signal_start(message);
}

void nas::withdraw_port(int port)
{
    UpnpMessage message;
    format_text(message, "upnp:service,D,tcp,%d,0,null", port);
    signal_start(message);
}

void nas::open_port(const char *service, int enable, int port, const char *lan)
{
    char wan[NAS_ADDRESS_SIZE] = "";
    get_wan_ip("wan1", wan);
    fill_nat_chain(service, enable, {port}, wan, lan);
    if (port != 0)
        announce_port(service, port);
}

void nas::close_port(const char *service, int port)
{
    flush_nat_chain(service);
    if (port != 0)
        withdraw_port(port);
}

void nas_service_upnp_relay_init(void)
{
    for (const NasServiceInfo *service = nas_service_table; service->name != nullptr; service++) {
        ServicePort ports[3] = {};
        if (get_service_ports(service->name, ports, 3) == 0)
            continue;
        for (const ServicePort &entry : ports) {
            if (entry.port == 0)
                break;
            announce_port(service->name, entry.port);
        }
    }
}

int configure_iptables_for_nas(void)
{
    FtpdConfig ftp;
    get_ftpd_config(&ftp);
    HttpdConfig web;
    get_httpd_config(&web);
    char lan[NAS_ADDRESS_SIZE] = "", wan[NAS_ADDRESS_SIZE] = "";
    get_ifconfig("br-lan", lan, nullptr);
    get_wan_ip("wan1", wan);
    configure_iptables_for_ftp(&ftp, wan, lan);
    configure_iptables_for_url(&web, wan, lan);
    return 0;
}

int prepare_kelsto_server(void)
{
    int started = 0;
    if (!process_exists("proftpd")) {
        fputs("Forced launch proftpd...\n", stderr);
        started = 1;
        ftp_callback("forced");
    }
    if (!process_exists("lighttpd_kelsto")) {
        fputs("Forced launch lighttpd_kelst...\n", stderr);
        started = 1;
        lighttpd_callback("forced", "url_kelsto");
    }
    return started;
}

// Ends the web server that listens on the port.
static void kill_web_server(int port)
{
    char pid_path[64], pid_text[256];
    format_text(pid_path, "/var/run/lighttpd.pid.%d", port);
    if (get_file_string(pid_path, pid_text, sizeof pid_text) == 0)
        return;
    const int pid = parse_int(pid_text);
    if (pid != 0 && pid != -1)
        system2("kill %d", pid);
}

int sweep_kelsto_server(void)
{
    FtpdConfig ftp;
    get_ftpd_config(&ftp);
    if (ftp.enable != 0 && get_num_of_mountdev(nullptr) != 0)
        return signal_nas("register_cloudbackup");
    system("killall proftpd");
    HttpdConfig web;
    get_httpd_config(&web);
    if (web.port != 0)
        kill_web_server(web.port);
    flush_nat_chain("kelsto");
    return signal_nas("register_cloudbackup");
}
