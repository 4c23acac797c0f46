// A stand-in has the result type of the functions it stands for and ignores their arguments, which this machine's way
// of calling allows: the caller owns them.
#include "torture/faults.h"

#include "torture/held.h"

#include "platform/device.h"
#include "platform/process.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <iterator>

namespace nas_torture
{
namespace
{

template <class Thing>
Address address(Thing *thing)
{
    return reinterpret_cast<Address>(thing);
}

// Wide enough for every function that returns -1.
template <int error>
long minus_one()
{
    errno = error;
    return -1;
}

template <int error>
void *null()
{
    errno = error;
    return nullptr;
}

long zero()
{
    errno = EIO;
    return 0;
}

std::size_t no_conversion()
{
    errno = EILSEQ;
    return static_cast<std::size_t>(-1);
}

// A signal ended the sleep at once.
unsigned interrupted(unsigned seconds)
{
    return seconds;
}

// The stream is gone, but what was written is lost.
int close_with_loss(std::FILE *file)
{
    give_back(address(file));
    std::fclose(file);
    errno = ENOSPC;
    return EOF;
}

int end_unknown(std::FILE *file)
{
    give_back(address(file));
    pclose(file);
    errno = ECHILD;
    return -1;
}

int no_address(const char *, char *address)
{
    address[0] = '\0';
    return 0;
}

int no_addresses(const char *, char *address, char *mask)
{
    address[0] = '\0';
    if (mask != nullptr)
        mask[0] = '\0';
    return 0;
}

int no_processes(const char *, ProcessList *list, int)
{
    *list = {};
    return 0;
}

// Those that pass, and say what they give and take.

void *held_malloc(std::size_t size)
{
    void *const memory = std::malloc(size);
    hold("memory", address(memory));
    return memory;
}

void *held_calloc(std::size_t count, std::size_t size)
{
    void *const memory = std::calloc(count, size);
    hold("memory", address(memory));
    return memory;
}

void *held_realloc(void *old, std::size_t size)
{
    const Address before = address(old);
    void *const memory = std::realloc(old, size);
    if (memory != nullptr) {
        give_back(before);
        hold("memory", address(memory));
    }
    return memory;
}

char *held_strdup(const char *text)
{
    char *const copy = strdup(text);
    hold("memory", address(copy));
    return copy;
}

void given_free(void *memory)
{
    give_back(address(memory));
    std::free(memory);
}

std::FILE *held_fopen(const char *path, const char *mode)
{
    std::FILE *const file = std::fopen(path, mode);
    hold("streams", address(file));
    return file;
}

std::FILE *held_popen(const char *command, const char *mode)
{
    std::FILE *const file = popen(command, mode);
    hold("command streams", address(file));
    return file;
}

int given_fclose(std::FILE *file)
{
    give_back(address(file));
    return std::fclose(file);
}

int given_pclose(std::FILE *file)
{
    give_back(address(file));
    return pclose(file);
}

DIR *held_opendir(const char *path)
{
    DIR *const folder = opendir(path);
    hold("folders", address(folder));
    return folder;
}

int given_closedir(DIR *folder)
{
    give_back(address(folder));
    return closedir(folder);
}

int held_scandir(const char *path, dirent ***names, int (*filter)(const dirent *),
                 int (*compare)(const dirent **, const dirent **))
{
    const int count = scandir(path, names, filter, compare);
    for (int i = 0; i < count; ++i)
        hold("names of a folder", address((*names)[i]));
    if (count >= 0)
        hold("lists of names", address(*names));
    return count;
}

int held_get_process_list(const char *name, ProcessList *list, int flags)
{
    const int count = get_process_list(name, list, flags);
    hold("process lists", address(list));
    return count;
}

int given_free_process_list(ProcessList *list)
{
    give_back(address(list));
    return free_process_list(list);
}

template <class Any>
Function as(Any *function)
{
    return reinterpret_cast<Function>(function);
}

const Import imports[] = {
    // Memory.
    {"malloc", as(null<ENOMEM>), as(held_malloc), false},
    {"calloc", as(null<ENOMEM>), as(held_calloc), false},
    {"realloc", as(null<ENOMEM>), as(held_realloc), false},
    {"strdup", as(null<ENOMEM>), as(held_strdup), false},
    {"free", nullptr, as(given_free), false},
    // Files and folders.
    {"fopen", as(null<EMFILE>), as(held_fopen), false},
    {"fopen64", as(null<EMFILE>), as(held_fopen), false},
    {"fclose", as(close_with_loss), as(given_fclose), false},
    {"fflush", as(minus_one<ENOSPC>), nullptr, false},
    {"ferror", nullptr, nullptr, false},
    {"fgets", as(null<EIO>), nullptr, false},
    {"fread", as(zero), nullptr, false},
    {"fwrite", as(zero), nullptr, false},
    {"fputs", as(minus_one<ENOSPC>), nullptr, false},
    {"fputc", as(minus_one<ENOSPC>), nullptr, false},
    {"fprintf", as(minus_one<ENOSPC>), nullptr, false},
    {"vfprintf", as(minus_one<ENOSPC>), nullptr, false},
    {"printf", as(minus_one<EPIPE>), nullptr, false},
    {"puts", as(minus_one<EPIPE>), nullptr, false},
    {"putchar", as(minus_one<EPIPE>), nullptr, false},
    {"chmod", as(minus_one<EROFS>), nullptr, false},
    {"mkdir", as(minus_one<ENOSPC>), nullptr, false},
    {"rmdir", as(minus_one<EBUSY>), nullptr, false},
    {"unlink", as(minus_one<EROFS>), nullptr, false},
    {"symlink", as(minus_one<ENOSPC>), nullptr, false},
    {"rename", as(minus_one<EROFS>), nullptr, false},
    {"readlink", as(minus_one<EIO>), nullptr, false},
    {"stat", as(minus_one<EIO>), nullptr, false},
    {"stat64", as(minus_one<EIO>), nullptr, false},
    {"lstat", as(minus_one<EIO>), nullptr, false},
    {"lstat64", as(minus_one<EIO>), nullptr, false},
    {"statfs", as(minus_one<EIO>), nullptr, false},
    {"statfs64", as(minus_one<EIO>), nullptr, false},
    {"opendir", as(null<ENOMEM>), as(held_opendir), false},
    {"readdir", as(null<EIO>), nullptr, false},
    {"readdir64", as(null<EIO>), nullptr, false},
    {"closedir", nullptr, as(given_closedir), false},
    {"scandir", as(minus_one<ENOMEM>), as(held_scandir), false},
    {"scandir64", as(minus_one<ENOMEM>), as(held_scandir), false},
    {"sync", nullptr, nullptr, false},
    {"umask", nullptr, nullptr, false},
    // Commands, processes, time and the log.
    {"system", as(minus_one<EAGAIN>), nullptr, false},
    {"popen", as(null<EAGAIN>), as(held_popen), false},
    {"pclose", as(end_unknown), as(given_pclose), false},
    {"kill", as(minus_one<ESRCH>), nullptr, false},
    {"sethostname", as(minus_one<EPERM>), nullptr, false},
    {"sleep", as(interrupted), nullptr, false},
    {"gmtime", as(null<EOVERFLOW>), nullptr, false},
    {"time", nullptr, nullptr, false},
    {"rand", nullptr, nullptr, false},
    {"srand", nullptr, nullptr, false},
    {"getenv", nullptr, nullptr, false},
    {"syslog", nullptr, nullptr, false},
    // Texts and memory that is there.
    {"memchr", nullptr, nullptr, false},
    {"memcmp", nullptr, nullptr, false},
    {"memcpy", nullptr, nullptr, false},
    {"memmove", nullptr, nullptr, false},
    {"mempcpy", nullptr, nullptr, false},
    {"memset", nullptr, nullptr, false},
    {"snprintf", nullptr, nullptr, false},
    {"vsnprintf", nullptr, nullptr, false},
    {"sprintf", nullptr, nullptr, false},
    {"stpcpy", nullptr, nullptr, false},
    {"strcasecmp", nullptr, nullptr, false},
    {"strcat", nullptr, nullptr, false},
    {"strchr", nullptr, nullptr, false},
    {"strcmp", nullptr, nullptr, false},
    {"strcoll", nullptr, nullptr, false},
    {"strcpy", nullptr, nullptr, false},
    {"strcspn", nullptr, nullptr, false},
    {"strlen", nullptr, nullptr, false},
    {"strncmp", nullptr, nullptr, false},
    {"strncpy", nullptr, nullptr, false},
    {"strpbrk", nullptr, nullptr, false},
    {"strrchr", nullptr, nullptr, false},
    {"strspn", nullptr, nullptr, false},
    {"strstr", nullptr, nullptr, false},
    {"strtok_r", nullptr, nullptr, false},
    {"strtol", nullptr, nullptr, false},
    {"strtoul", nullptr, nullptr, false},
    {"strtoull", nullptr, nullptr, false},
    // Character sets; by either name.
    {"iconv_open", as(no_conversion), nullptr, false},
    {"iconv", as(no_conversion), nullptr, false},
    {"iconv_close", nullptr, nullptr, false},
    {"libiconv_open", as(no_conversion), nullptr, false},
    {"libiconv", as(no_conversion), nullptr, false},
    {"libiconv_close", nullptr, nullptr, false},
    // The host: stores.
    {"iconfig_get_value_direct", as(minus_one<0>), nullptr, true},
    {"iconfig_set_value_direct", as(minus_one<0>), nullptr, false},
    {"iconfig_get_intvalue_direct", as(minus_one<0>), nullptr, true},
    {"iconfig_set_intvalue_direct", as(minus_one<0>), nullptr, false},
    {"iconfig_remove_config_tag", as(minus_one<0>), nullptr, false},
    {"istatus_get_value_direct", as(minus_one<0>), nullptr, true},
    {"istatus_set_value_direct", as(minus_one<0>), nullptr, false},
    {"istatus_get_intvalue_direct", as(minus_one<0>), nullptr, true},
    {"istatus_set_intvalue_direct", as(minus_one<0>), nullptr, false},
    {"istatus_remove_status_tag", as(minus_one<0>), nullptr, false},
    // Requests and logging.
    {"signal_nas", as(minus_one<0>), nullptr, false},
    {"signal_start", as(minus_one<0>), nullptr, false},
    {"signal_update", as(minus_one<0>), nullptr, false},
    {"signal_wan", as(minus_one<0>), nullptr, false},
    {"syslog_msg", as(minus_one<0>), nullptr, false},
    // Processes, shell and files. Quoting and copying work in memory that is there.
    {"system2", as(minus_one<EAGAIN>), nullptr, false},
    {"get_process_list", as(no_processes), as(held_get_process_list), true},
    {"free_process_list", nullptr, as(given_free_process_list), false},
    {"check_process2", as(zero), nullptr, true},
    {"kill_process2", as(minus_one<0>), nullptr, false},
    {"quote_r", nullptr, nullptr, false},
    {"sf_strncpy", nullptr, nullptr, false},
    {"write_file", as(minus_one<0>), nullptr, false},
    {"get_file_string", as(zero), nullptr, true},
    {"get_file_value", as(zero), nullptr, true},
    {"file_exists", as(zero), nullptr, true},
    // Network.
    {"get_wan_ip", as(no_address), nullptr, true},
    {"get_ifconfig", as(no_addresses), nullptr, true},
    {"set_ifconfig", as(minus_one<0>), nullptr, false},
    {"get_ifexist", as(zero), nullptr, true},
    {"get_wan_link", as(zero), nullptr, true},
    {"get_wan_type", as(minus_one<0>), nullptr, true},
    {"get_wan_ipconfig", as(minus_one<0>), nullptr, true},
    {"get_wan_hw_ifname", as(minus_one<0>), nullptr, true},
    {"get_wansetup_status", as(zero), nullptr, true},
    {"get_default_gateway", as(zero), nullptr, true},
    {"set_default_gateway", as(minus_one<0>), nullptr, false},
    {"set_default_gateway2", as(minus_one<0>), nullptr, false},
    {"check_default_gateway", as(minus_one<0>), nullptr, true},
    {"local_gateway_is_default_gateway", as(zero), nullptr, true},
    {"get_hwaddr_org", as(minus_one<0>), nullptr, true},
    {"get_hwaddr_by_ip", as(minus_one<0>), nullptr, true},
    {"get_hwaddr_flash_raw", as(minus_one<0>), nullptr, true},
    {"get_dns_shadow", as(minus_one<0>), nullptr, true},
    {"dhcpd_set_dns", as(minus_one<0>), nullptr, false},
    {"set_system_dns", as(minus_one<0>), nullptr, false},
    {"get_autodns", as(zero), nullptr, true},
    {"read_ftp_private_port", as(minus_one<0>), nullptr, true},
    {"write_ftp_private_port", as(minus_one<0>), nullptr, false},
    // Device, product and registration.
    {"get_si", as(minus_one<0>), nullptr, true},
    {"is_factory_test_mode", as(zero), nullptr, true},
    {"check_diag_flag", as(zero), nullptr, true},
    {"check_module_installed", as(zero), nullptr, true},
    {"set_usbled", as(minus_one<0>), nullptr, false},
    {"get_led_silent_control", as(minus_one<0>), nullptr, true},
    {"ddnsapi_read_config_by_service_type", as(zero), nullptr, true},
    {"encode_crypt", as(zero), nullptr, false},
    {"Base64encode", as(zero), nullptr, false},
    // The tool chain's own.
    {"__cxa_finalize", nullptr, nullptr, false},
    {"__stack_chk_fail", nullptr, nullptr, false},
};

} // namespace

const Import *find_import(const char *name)
{
    for (const Import &import : imports) {
        if (std::strcmp(import.name, name) == 0)
            return &import;
    }
    return nullptr;
}

} // namespace nas_torture
