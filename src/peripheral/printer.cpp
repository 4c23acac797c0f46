#include "nas/printer.h"

#include "nas/hotplug.h"
#include "nas/usbdev.h"
#include "platform/device.h"
#include "platform/process.h"
#include "platform/request.h"
#include "platform/store.h"
#include "service/callback.h"
#include "support/record.h"
#include "support/shell.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

using namespace nas;

static constexpr char event_printer_ready[] = "@{83}";
static constexpr char queue_name[] = "nalVEX_Printer";
static constexpr char queues_path[] = "/tmp/cups_ret";
static constexpr int recognition_runs = 6;
static constexpr int recognition_interval = 4;

using CommandOutput = char[1024];

int get_cupsd_status(void)
{
    return system("pidof cupsd > /dev/null 2>&1") == 0 ? 1 : 0;
}

// Runs a command that leaves its output in the file.
static void read_output(CommandOutput &output, const char *command, const char *path)
{
    output[0] = '\0';
    system(command);
    get_file_string(path, output, sizeof output);
}

int get_cupsd_printer_status(char *name)
{
    CommandOutput output;
    // An older name of the file; what is written is queues_path.
    unlink("/tmp/cupsd_ret");
    if (name != nullptr) {
        read_output(output, "/bin/lpstat -v | cut -d ' ' -f 3 | cut -d ':' -f 1 > /tmp/cups_ret 2>&1", queues_path);
        end_at_line_feed(output);
        copy_text({name, NAS_PRINTER_NAME_SIZE}, output);
    }
    unlink("/tmp/cupsd_ret");
    read_output(output, "/bin/lpstat -v > /tmp/cups_ret 2>&1", queues_path);
    if (strstr(output, queue_name) != nullptr)
        return 0;
    return strcmp(output, "lpstat: No destinations added.") == 0 ? 1 : 2;
}

static int read_setting(const char *key, int missing)
{
    char value[NAS_STORE_VALUE_SIZE];
    return read_config_text(key, value) ? parse_int(value) : missing;
}

int get_cupsd_config(CupsdConfig *config)
{
    const int enable = read_setting("cupsd_conf", 1);
    const int remote = read_setting("cupsd_remote_conf", 0);
    if (config != nullptr)
        *config = {.enable = enable, .remote = remote};
    return enable;
}

int set_cupsd_config(const CupsdConfig *config)
{
    iconfig_set_value_direct("cupsd_conf", config->enable != 0 ? "1" : "0");
    iconfig_set_value_direct("cupsd_remote_conf", config->remote != 0 ? "1" : "0");
    return 0;
}

int turnoff_cupsled(int)
{
    turnoff_usbled();
    return 0;
}

// Reads the address of the first printer that CUPS finds at the router itself; false without one that can be used.
static bool find_printer(CommandOutput &uri)
{
    sync();
    unlink("/tmp/cups_printer");
    read_output(uri, "/bin/lpinfo -v | grep direct | cut -d ' ' -f 2 > /tmp/cups_printer", "/tmp/cups_printer");
    end_at_line_feed(uri);
    if (uri[0] == '\0') {
        fputs("No USB Printer by lpinfo\n", stderr);
        return false;
    }
    // The printer's own texts are part of its address, which goes to the shell between double quotes.
    if (strpbrk(uri, "$`\"\\") != nullptr) {
        fputs("Printer address refused\n", stderr);
        return false;
    }
    return true;
}

static bool register_printer(const char *uri)
{
    char command[1024];
    format_text(command, "/bin/lpadmin -p \"%s\" -v \"%s\" -E", queue_name, uri);
    return system(command) == 0 && get_cupsd_printer_status(nullptr) == 0;
}

// One attempt; true when the printer is registered by it.
static bool recognize_printer()
{
    CommandOutput uri;
    if (!find_printer(uri))
        return false;
    if (system("/bin/lpstat -v > /dev/null 2>&1") == 0) {
        fputs("Printer is already registered\n", stderr);
        return false;
    }
    return register_printer(uri);
}

int lp_callback(PeriodicCallbackRecord *record)
{
    if (!daemon_runs("cupsd")) {
        fputs("No Cupsd Running\n", stderr);
        call_again(*record, never);
        return 0;
    }
    if (record->run_count >= recognition_runs) {
        fputs("Timeout for Printer Recognization\n", stderr);
        turnoff_cupsled(0);
        system("/bin/rm -rf /tmp/var/spool/cups/*");
        call_again(*record, never);
        return 0;
    }
    call_again(*record, recognition_interval);
    if (!recognize_printer()) {
        turnoff_cupsled(0);
        return 0;
    }
    syslog_msg(1, event_printer_ready);
    turnon_usbled_by_silent_control("lp0");
    call_again(*record, never);
    return 0;
}
