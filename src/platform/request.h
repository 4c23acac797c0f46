/* What the library asks of other processes of the host, and what it tells the user. */
#ifndef NAS_PLATFORM_REQUEST_H
#define NAS_PLATFORM_REQUEST_H

#ifdef __cplusplus
extern "C" {
#endif

/* Hands a request to `serviced`: a service name ("ftp"), an event ("mount:sda", "all", "cupsd",
 * "register_cloudbackup") or an empty text. It is kept until it is performed, also while `serviced` does not run;
 * equal requests that wait become one. Returns at once: 0, -1 when it could not be kept. */
int signal_nas(const char *request);

/* Hands a message to the router's UPnP agent ("upnp:service,A,..." or "upnp:service,D,...").
 * Returns 0, -1 when it could not be handed over. */
int signal_start(const char *message);

/* Tells the host that settings changed. Returns 0. */
int signal_update(void);

/* Tells the host that the WAN has to be brought up anew. Returns 0. */
int signal_wan(void);

/* Records an event that the user sees. `level` is 1. `id` is a message id "@{number}" whose text
 * lives in the host's language file; what follows depends on the id:
 *   "@{105}", "@{106}", "@{107}"  one more `const char *`, the id of the service's name
 *   "@{126}" to "@{129}"          one more `int`, the index of the USB port
 *   "@{83}", "@{124}", "@{125}"   nothing
 * Returns 0. */
int syslog_msg(int level, const char *id, ...);

#ifdef __cplusplus
}
#endif
#endif
