/* The managed services: their table, their state, and how to stop them.
 *
 * A service is named by a text: "ftp", "samba", "url", "rsync", "nalvexcloud", "torrent", "media",
 * "entware". The same name is what `serviced` is asked for. Diagnostics are lines on standard error.
 */
#ifndef NAS_SERVICE_H
#define NAS_SERVICE_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct ProcessList; /* the host's list of running processes */

struct NasServiceInfo {
    const char *name;         /* the key of every operation */
    const char *process_name; /* what a running daemon is named in the process list */
    const char *kill_name;    /* what killall is given */
    int min_processes;        /* that many processes make a healthy service */
    int system_accounts;      /* non-zero: its users are accounts of the operating system */
    int system_password;      /* non-zero: these accounts get the user's password, too */
};

/* The eight services in their fixed order, which port exposure and the user checks follow; the row
 * behind the last has a null name. Constant, for ever valid. */
extern const struct NasServiceInfo nas_service_table[];

/* One port of a service. A list of ports ends at the first entry whose port is 0. */
struct ServicePort {
    char protocol[16]; /* "tcp" */
    int port;          /* 1 to 65535; 0 ends the list */
};

/* Is the service switched on? Reads its record; for "rsync", "nalvexcloud", "torrent" and "media" also
 * whether their disk is mounted at /tmp/mnt/<disk>: without it they count as off.
 * Returns the record's enable flag (non-zero: on); 0 when off, without disk, or for an unknown name. */
int get_service_enable(const char *name);

/* Fills `ports`, an array of `max` entries that the caller has cleared, with the ports that a switched-on
 * service offers to the WAN. "ftp" has two (control, web), "url", "rsync", "nalvexcloud" and "torrent" one.
 * Returns 1 when all are filled in; 0 when the service is off, has none, or is unknown. With `max` 1 the
 * first port of "ftp" is filled in, yet the result is 0; with `max` below 1 nothing is written. */
int get_service_ports(const char *name, struct ServicePort *ports, int max);

/* Does the service run? Counts the processes of `list` (all processes, from the host's get_process_list;
 * only read) that are named exactly as the table says. Returns 1 when there are at least min_processes,
 * else 0; an unknown name also writes "Unknown Service name: <name>" to standard error. */
int check_nas_service(const struct ProcessList *list, const char *name);

/* Is the service being started just now? Returns 1 when the status key "starting.<name>" exists, else 0.
 * The key is cut at 127 characters. */
int check_service_starting(const char *name);

/* Sets (`on` non-zero) or removes the status key "starting.<name>"; its value is "1". Returns 0. */
int set_service_starting(const char *name, int on);

/* Asks `serviced` to run the service when it is switched on but does not run (`list` as above). While it
 * is being started nothing is asked. Says on standard error what it does.
 * Returns 1 when it asked, else 0. */
int restart_nas_service(const struct ProcessList *list, const char *name);

/* Ends `serviced` and starts another in the background: runs "/usr/bin/killall serviced" and
 * "/sbin/serviced &". The caller must not be named serviced itself. Returns 0. */
int start_serviced(void);

/* Stops `serviced` and every service. First quick requests with killall: serviced, nmbd, then the services' daemons
 * but nalvexcloud's, and "lighttpd_kelsto"; then the package environment is taken down; then each service is waited
 * for up to 101 seconds, with forced kills. In the factory's test mode telnetd is left alone. Returns 0. */
int stop_nas_service(void);

/* Takes anything, does nothing, returns 0. */
#ifdef __cplusplus
int set_service_callback_status(...);
#else
int set_service_callback_status();
#endif

/* Returns 1 when `name` is "all" and the status key "nas_callback_status" holds "all"; else 0. Nothing in
 * the library writes that key, and the name of a single service is never honoured. */
int get_service_callback_status(const char *name);

/* Returns the table's system_accounts of the service; 0 for an unknown name. */
int use_system_user(const char *name);

/* Returns 1 when the service's users are system accounts that also get a password; else 0. */
int use_system_passwd(const char *name);

/* Runs "/usr/bin/killall <kill_name>" and does not wait. Returns 0; -1 for an unknown name, without running
 * anything. */
int kill_service(const char *name);

/* Runs "/usr/bin/killall <kill_name>" and waits, a second a pass, until no process has the service's
 * process name; after every 11th pass it runs "/usr/bin/killall -9 <kill_name>". With `bounded` non-zero it
 * gives up after `max_waits` + 1 passes, else it waits for ever. Says on standard error what it does.
 * Returns 0 (also when it gave up); -1 for an unknown name, without running anything. */
int kill_and_wait_service(const char *name, int bounded, unsigned max_waits);

NAS_END_DECLS

#endif
