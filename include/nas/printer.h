/* Sharing of a USB printer by CUPS, as the queue "nalVEX_Printer".
 *
 * The settings are "cupsd_conf" (printing is on; 1 when absent) and "cupsd_remote_conf" (also from the WAN; 0 when
 * absent). The library registers the printer; CUPS's own configuration is the host's.
 */
#ifndef NAS_PRINTER_H
#define NAS_PRINTER_H

#include "nas/decls.h"

NAS_BEGIN_DECLS

struct PeriodicCallbackRecord; /* the host's, see platform/device.h */

/* Room for a queue's name. */
enum { NAS_PRINTER_NAME_SIZE = 128 };

/* Each is 0 for off and any other number for on. */
struct CupsdConfig {
    int enable;
    int remote;
};

/* Does the print server run ("pidof cupsd")? Returns 1 or 0. */
int get_cupsd_status(void);

/* Asks lpstat for the queues, through /tmp/cups_ret. `name`, which may be null, gets the first queue's name, cut at
 * NAS_PRINTER_NAME_SIZE - 1 bytes. Returns 0 when "nalVEX_Printer" is registered, 1 when there is no queue, 2 for
 * anything else: another queue, or an error. */
int get_cupsd_printer_status(char *name);

/* Reads both settings; `config` may be null. Returns `enable`. */
int get_cupsd_config(struct CupsdConfig *config);

/* Writes both settings as "1" or "0". Returns 0. */
int set_cupsd_config(const struct CupsdConfig *config);

/* Switches the USB LED off unless the port is in use otherwise (turnoff_usbled). Returns 0, whatever `unused` is. */
int turnoff_cupsled(int unused);

/* To be called every four seconds from when a printer is plugged in: looks for its device URI (lpinfo, through
 * /tmp/cups_printer) and registers it as "nalVEX_Printer" when CUPS has no queue yet. Success is logged ("@{83}") and
 * lights the LED of "lp0"; that the server does not run, no printer is found or a queue is there is told on standard
 * error, as is a URI that is not registered because it holds `$`, a backquote, a double quote or a backslash
 * ("Printer address refused"). With a run count of 6 or more it gives up and empties /tmp/var/spool/cups. Sets
 * `active` and `interval` to 1 and 4, or to 0 when it need not be called again. Returns 0. */
int lp_callback(struct PeriodicCallbackRecord *record);

NAS_END_DECLS

#endif
