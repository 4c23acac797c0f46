/* Network facts and settings. Interface names and IPv4 addresses are texts; every address or name
 * buffer handed over has room for NAS_ADDRESS_SIZE bytes. "wan1" names the first WAN connection. */
#ifndef NAS_PLATFORM_NETWORK_H
#define NAS_PLATFORM_NETWORK_H

#ifdef __cplusplus
extern "C" {
#endif

enum { NAS_ADDRESS_SIZE = 64 };

/* Returns 1 and the WAN's address; 0 and an empty text when it has none. */
int get_wan_ip(const char *wan, char *ip);

/* Returns 1 and the interface's address and netmask; 0 and empty texts when it has none. `mask` may be null. */
int get_ifconfig(const char *ifname, char *ip, char *mask);

/* Gives the interface an address and netmask; "0.0.0.0" takes its address away. Returns 0, -1 on failure. */
int set_ifconfig(const char *ifname, const char *ip, const char *mask);

/* Non-zero when the interface exists. */
int get_ifexist(const char *ifname);

/* Non-zero when the WAN port has link. */
int get_wan_link(const char *wan);

/* Writes the WAN's type ("static" for a fixed address, else e.g. "dynamic"). Returns 0, -1 when unknown. */
int get_wan_type(const char *wan, char *type);

/* Writes the static WAN settings. Returns 0, -1 when there are none. */
int get_wan_ipconfig(char *ifname, char *ip, char *mask, char *gateway);

/* Writes the name of the hardware interface below the WAN. Returns 0, -1 when unknown. */
int get_wan_hw_ifname(const char *wan, char *ifname);

/* Non-zero when nobody is setting the WAN up just now, so that another interface may take its place. */
int get_wansetup_status(const char *wan);

/* Returns non-zero and the interface's default gateway; 0 when it has none. */
int get_default_gateway(const char *ifname, char *gateway);

/* Makes `gateway` the default gateway through the interface. Null: a default route on the interface
 * without a gateway; on the LAN bridge, which must not have one, it is taken away. Returns 0 on success. */
int set_default_gateway(const char *ifname, const char *gateway);

/* The same after the interface was given `ip` and `mask`. Returns 0 on success. */
int set_default_gateway2(const char *ifname, const char *ip, const char *mask, const char *gateway);

/* 0 when `gateway` lies in the network of `ip` and `mask`, so that a route can go through it. */
int check_default_gateway(const char *gateway, const char *ip, const char *mask);

/* Non-zero when the default gateway is this router's own upstream gateway. */
int local_gateway_is_default_gateway(void);

/* Writes the interface's hardware address, "00:11:22:33:44:55". Returns 0, -1 when unknown. */
int get_hwaddr_org(const char *ifname, char *text);

/* Writes the hardware address of a neighbour. Returns 0, -1 when unknown. */
int get_hwaddr_by_ip(const char *ip, char *text);

/* Writes the six octets that the factory gave the interface. Returns 0, -1 when unknown. */
int get_hwaddr_flash_raw(const char *ifname, unsigned char *octets);

/* Writes the DNS servers that the interface got from its provider. Returns 0, -1 when there are none. */
int get_dns_shadow(const char *ifname, const char *type, char *dns1, char *dns2);

/* Sets the DNS servers that the LAN is told. Returns 0. */
int dhcpd_set_dns(const char *dns1, const char *dns2);

/* Makes the WAN's DNS servers the system's. Returns 0. */
int set_system_dns(const char *wan);

/* 1 when the DNS servers come from the provider, 0 when they are fixed. */
int get_autodns(void);

/* Fills `ports` with the `count` private FTP ports (0: free). Returns the index for a new one. */
int read_ftp_private_port(int *ports, int count);

/* Replaces the list of private FTP ports. Returns 0, -1 on failure. */
int write_ftp_private_port(const int *ports, int count);

#ifdef __cplusplus
}
#endif
#endif
