#include "nas/entware.h"

#include "nas/service.h"
#include "nas/util.h"
#include "platform/device.h"
#include "platform/process.h"
#include "platform/store.h"
#include "service/callback.h"
#include "storage/disk.h"
#include "support/line_reader.h"
#include "support/record.h"
#include "support/text.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

using namespace nas;

static constexpr char root_link[] = "/tmp/cur";
static constexpr char opkg_path[] = "/tmp/cur/opt/bin/opkg";
static constexpr char info_path[] = "/tmp/entware_info";
static constexpr char script_path[] = "/tmp/cur/install.sh";
static constexpr char pid_path[] = "/tmp/entware_download.pid";

int set_entware_status(int status)
{
    istatus_set_intvalue_direct("entware", status);
    return 0;
}

int get_entware_status(void)
{
    const int status = istatus_get_intvalue_direct("entware");
    if (status != -1)
        return status;
    set_entware_status(NAS_ENTWARE_NONE);
    return NAS_ENTWARE_NONE;
}

int get_entware_config(EntwareConfig *config)
{
    EntwareConfig stored = {};
    char run[NAS_STORE_VALUE_SIZE];
    if (read_config_text("entware_run", run))
        stored.run = parse_int(run);
    read_config_text("entware_hddname", stored.disk_name);
    read_config_text("entware_folder", stored.folder);
    if (config != nullptr)
        *config = stored;
    return stored.run;
}

int set_entware_config(const EntwareConfig *config)
{
    fini_entware();
    iconfig_set_value_direct("entware_run", config->run != 0 ? "1" : "0");
    iconfig_set_value_direct("entware_hddname", config->disk_name);
    iconfig_set_value_direct("entware_folder", config->folder);
    init_entware();
    return 0;
}

int link_dir_for_entware(void)
{
    unlink_dir_for_entware();
    EntwareConfig config;
    get_entware_config(&config);
    if (!is_disk_mounted(config.disk_name)) {
        set_entware_status(NAS_ENTWARE_NONE);
        return -1;
    }
    char path[256], quoted_path[1024];
    format_text(path, "/tmp/mnt/%s/%s", config.disk_name, config.folder);
    iconv_to_utf8(path, quoted_path, sizeof quoted_path);
    quote_r(quoted_path, sizeof quoted_path);
    // The quoted path is asked, so a folder with a quote in its name is made again, which does no harm.
    if ((file_exists(quoted_path) == 0 && system2("/bin/mkdir -p '%s'", quoted_path) != 0) ||
        system2("/bin/ln -s '%s' /tmp/cur", quoted_path) != 0) {
        set_entware_status(NAS_ENTWARE_FAILED);
        return -1;
    }
    return 0;
}

int unlink_dir_for_entware(void)
{
    unlink(root_link);
    return 0;
}

// Of a list of words that ends in an empty one.
static const char *next_word(const char *word)
{
    return word + strlen(word) + 1;
}

// Makes the folder a root that programs can run in. On a folder that was filled before, much of it fails.
static void fill_root()
{
    static constexpr char folders[] = "bin\0sys\0lib\0usr\0usr/bin\0tmp\0tmp/var\0tmp/var/run\0"
                                      "var\0var/log\0var/run\0etc\0opt\0home\0dev\0proc\0";
    static constexpr char files[] =
        "bin/busybox\0bin/sh\0bin/chmod\0bin/echo\0bin/cp\0bin/ln\0bin/ls\0bin/vi\0bin/cat\0bin/mv\0bin/rm\0"
        "bin/mkdir\0bin/pidof\0bin/sleep\0"
        "usr/bin/wget\0usr/bin/[\0usr/bin/[[\0"
        "lib/ld-uClibc*\0lib/ld-*\0lib/libc-*\0lib/libnss*\0lib/libc.*\0lib/libcrypt-*\0lib/libcrypt.*\0"
        "lib/libcurl.so*\0lib/libdl*\0lib/libm-*\0lib/libm.*\0lib/libnsl*\0lib/libpthread*\0lib/libresolv*\0"
        "lib/libuClibc*\0lib/libgcc*\0lib/librpc.so\0"
        "etc/resolv.conf\0";
    static constexpr char devices[] = "null c 1 3\0zero c 1 5\0full c 1 7\0random c 1 8\0urandom c 1 9\0";

    for (const char *name = folders; *name != '\0'; name = next_word(name))
        system2("/bin/mkdir /tmp/cur/%s", name);
    system("/bin/mount /proc /tmp/cur/proc");
    for (const char *name = files; *name != '\0'; name = next_word(name)) {
        const auto folder_length = static_cast<int>(strrchr(name, '/') + 1 - name);
        system2("/bin/cp -ra /%s /tmp/cur/%.*s", name, folder_length, name);
    }
    for (const char *device = devices; *device != '\0'; device = next_word(device))
        system2("/bin/mknod -m664 /tmp/cur/dev/%s", device);
}

static void start_telnet()
{
    // The login is for the LAN alone.
    system("/sbin/iptables -A INPUT -p tcp ! -i br-lan --dport 23 -j DROP");
    system("/usr/sbin/telnetd -l /sbin/login_qox");
}

static void stop_telnet()
{
    // The factory's tests come in by telnet.
    if (is_factory_test_mode() == 0)
        system("/usr/bin/killall telnetd");
    system("/sbin/iptables -D INPUT -p tcp ! -i br-lan --dport 23 -j DROP");
}

static void update_entware_telnetd()
{
    const bool run = get_entware_config(nullptr) != 0;
    ProcessList processes = {};
    get_process_list(nullptr, &processes, 0);
    if (!run)
        stop_telnet();
    else if (check_nas_service(&processes, "entware") == 0)
        start_telnet();
    free_process_list(&processes);
}

int init_entware(void)
{
    if (link_dir_for_entware() != 0)
        return -1;
    fill_root();
    if (file_exists(opkg_path) != 0) {
        set_entware_status(NAS_ENTWARE_INSTALLED);
        update_entware_telnetd();
    }
    return 0;
}

int fini_entware(void)
{
    stop_telnet();
    system("/bin/umount /tmp/cur/proc");
    unlink_dir_for_entware();
    set_entware_status(NAS_ENTWARE_NONE);
    return 0;
}

int entware_callback(const char *mode)
{
    fini_entware();
    if (read_mode(mode).nomount)
        return 0;
    return init_entware();
}

// The installation's progress. A job that is started runs in the background; the polls look after it.
enum DownloadStep { step_information, step_script, step_install, step_done, step_failed };
static DownloadStep step = step_information;
static int elapsed = 0; // seconds in this step

static constexpr int poll_interval = 3;
static constexpr int download_limit = 30;
static constexpr int install_limit = 120;

using ScriptAddress = char[256];
using JobCommand = char[511];

static void remove_shell_characters(char *line)
{
    char *kept = line;
    for (const char *next = line; *next != '\0'; next++)
        if (strchr(" $&;|`\\><\"'\n\r", *next) == nullptr)
            *kept++ = *next;
    *kept = '\0';
}

// What stands unquoted in the command must be one word, as it is.
static bool is_one_address(const char *text)
{
    // A second word, an option, a comment that hides the rest of the command, or a home folder.
    if (strchr(text, '\t') != nullptr || strchr("-#~", text[0]) != nullptr)
        return false;
    // A pattern of the router's own files; behind a scheme there are none.
    return strpbrk(text, "*?[") == nullptr || strstr(text, "://") != nullptr;
}

// Reads where the install script is: the first line that is not empty once the shell's own characters are gone from it.
static bool read_entware_info(ScriptAddress &address)
{
    const File info{fopen(info_path, "r")};
    if (info == nullptr)
        return false;
    char line[511];
    do {
        if (fgets(line, sizeof line, info.get()) == nullptr)
            return false;
        remove_shell_characters(line);
    } while (line[0] == '\0');
    copy_text(address, line);
    return is_one_address(address);
}

static void enter_step(DownloadStep next)
{
    step = next;
    elapsed = 0;
}

static void keep_waiting()
{
    elapsed += poll_interval;
}

static void give_up()
{
    enter_step(step_failed);
    kill_process2(pid_path, SIGTERM);
}

static void start_information_job()
{
    HardwareInfo hardware = {};
    get_si("hw", &hardware);
    unlink(info_path);
    unlink(pid_path);
    JobCommand command;
    format_text(command, "/usr/bin/wget -O %s http://%s/entware/%.*s/config.txt & echo \"$!\" > %s &", info_path,
                NAS_PACKAGE_SERVER, static_cast<int>(sizeof hardware.model), hardware.model, pid_path);
    system(command);
}

static void start_script_job(const char *address)
{
    unlink(pid_path);
    // A script that an earlier installation left must not be taken for the new one.
    unlink(script_path);
    JobCommand command;
    format_text(command, "/usr/bin/wget -O %s %s & echo \"$!\" > %s &", script_path, address, pid_path);
    system(command);
}

static void start_install_job()
{
    unlink(pid_path);
    system("/usr/sbin/chroot /tmp/cur chmod 755 ./install.sh");
    JobCommand command;
    format_text(command, "/usr/sbin/chroot /tmp/cur ./install.sh & echo \"$!\" > %s &", pid_path);
    system(command);
}

static void fetch_information(bool running)
{
    if (!running && elapsed == 0) {
        start_information_job();
        return keep_waiting();
    }
    if (elapsed >= download_limit)
        return give_up();
    ScriptAddress address;
    return running || !read_entware_info(address) ? keep_waiting() : enter_step(step_script);
}

static void fetch_script(bool running)
{
    if (!running && elapsed == 0) {
        ScriptAddress address;
        if (!read_entware_info(address))
            return give_up();
        start_script_job(address);
        return keep_waiting();
    }
    if (elapsed >= download_limit)
        return give_up();
    return running || file_exists(script_path) == 0 ? keep_waiting() : enter_step(step_install);
}

static void run_script(bool running)
{
    if (!running && elapsed == 0) {
        start_install_job();
        return keep_waiting();
    }
    if (elapsed >= install_limit)
        return give_up();
    return running ? keep_waiting() : enter_step(step_done);
}

static void start_over()
{
    unlink(info_path);
    unlink(pid_path);
    return enter_step(step_information);
}

static bool job_runs()
{
    return check_process2(pid_path) != 0;
}

static void entware_download_step()
{
    switch (step) {
    case step_information:
        return fetch_information(job_runs());
    case step_script:
        return fetch_script(job_runs());
    case step_install:
        return run_script(job_runs());
    default:
        return start_over();
    }
}

static int end_installation(PeriodicCallbackRecord *record, int status)
{
    call_again(*record, never);
    set_entware_status(status);
    if (status == NAS_ENTWARE_INSTALLED)
        update_entware_telnetd();
    return 0;
}

int entware_download_callback(PeriodicCallbackRecord *record)
{
    const int status = get_entware_status();
    if (status == NAS_ENTWARE_NONE || status == NAS_ENTWARE_INSTALLED || status == NAS_ENTWARE_FAILED) {
        set_entware_status(NAS_ENTWARE_INSTALLING);
        enter_step(step_information);
    } else if (status != NAS_ENTWARE_INSTALLING) {
        return 0;
    }
    if (file_exists(root_link) == 0)
        return end_installation(record, NAS_ENTWARE_FAILED);
    if (file_exists(opkg_path) != 0 && !job_runs())
        return end_installation(record, NAS_ENTWARE_INSTALLED);
    call_again(*record, poll_interval);
    entware_download_step();
    switch (step) {
    case step_done:
        return end_installation(record, NAS_ENTWARE_INSTALLED);
    case step_failed:
        return end_installation(record, NAS_ENTWARE_FAILED);
    default:
        return 0;
    }
}
