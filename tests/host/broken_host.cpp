/* The reference host with one defect, which NAS_BROKEN names. */
#include "platform/device.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/registration.h"
#include "platform/request.h"
#include "platform/store.h"

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

bool has(const char *defect)
{
    const char *const wish = getenv("NAS_BROKEN");
    return wish != nullptr && strcmp(wish, defect) == 0;
}

template <class Function>
Function *sound(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

#define SOUND(name) sound(name, #name)

int number_in(const char *path)
{
    char text[64] = "";
    get_file_string(path, text, sizeof text);
    return atoi(text);
}

} // namespace

int iconfig_get_value_direct(const char *key, char *value)
{
    const int answer = SOUND(iconfig_get_value_direct)(key, value);
    if (answer == -1 && has("absent-is-empty"))
        return 0;
    if (answer == -1 && has("absent-changes"))
        value[0] = '\0';
    if (answer == 0 && has("overrun"))
        memset(value, 'x', 1100);
    return answer;
}

int iconfig_set_value_direct(const char *key, const char *value)
{
    return SOUND(iconfig_set_value_direct)(key, has("cuts") ? std::string(value).substr(0, 100).c_str() : value);
}

int istatus_get_intvalue_direct(const char *key)
{
    const int answer = SOUND(istatus_get_intvalue_direct)(key);
    return answer == -1 && has("absent-is-0") ? 0 : answer;
}

int istatus_get_value_direct(const char *key, char *value)
{
    return has("one-store") ? iconfig_get_value_direct(key, value) : SOUND(istatus_get_value_direct)(key, value);
}

int signal_start(const char *message)
{
    if (has("hangs"))
        pause();
    if (has("slow"))
        usleep(1500 * 1000);
    return SOUND(signal_start)(message);
}

int syslog_msg(int level, const char *id, ...)
{
    if (!has("takes-an-argument"))
        return 0;
    va_list arguments;
    va_start(arguments, id);
    const size_t length = strlen(va_arg(arguments, const char *));
    va_end(arguments);
    return level + static_cast<int>(length) < 0 ? -1 : 0;
}

int system2(const char *format, ...)
{
    char command[1024];
    va_list arguments;
    va_start(arguments, format);
    std::string whole(8192, '\0');
    const int length = vsnprintf(whole.data(), whole.size(), format, arguments);
    va_end(arguments);
    whole.resize(static_cast<size_t>(length));
    snprintf(command, sizeof command, "%s", whole.c_str());
    const int status = system(has("short-line") ? command : whole.c_str());
    return has("exit-code") ? WEXITSTATUS(status) : status;
}

int get_process_list(const char *name, struct ProcessList *list, int flags)
{
    const int answer = SOUND(get_process_list)(name, list, flags);
    if (has("miscounts"))
        list->count++;
    for (ProcessEntry *entry = list->first; entry != nullptr && has("whole-path"); entry = entry->next)
        snprintf(entry->name, sizeof entry->name, "/sbin/x");
    return answer;
}

int check_process2(const char *pid_file)
{
    return has("zombie-runs") ? kill(number_in(pid_file), 0) == 0 : SOUND(check_process2)(pid_file);
}

int kill_process2(const char *pid_file, int signal)
{
    return has("kills-groups") ? kill(number_in(pid_file), signal) : SOUND(kill_process2)(pid_file, signal);
}

char *quote_r(char *text, int capacity)
{
    if (has("does-not-quote"))
        return text;
    return SOUND(quote_r)(text, has("ignores-capacity") ? 4096 : capacity);
}

char *sf_strncpy(char *dst, const char *src, int size)
{
    return has("no-end") ? strncpy(dst, src, static_cast<size_t>(size)) : SOUND(sf_strncpy)(dst, src, size);
}

int get_file_string(const char *path, char *buffer, int size)
{
    const int answer = SOUND(get_file_string)(path, buffer, size);
    if (answer != 0 && has("keeps-newline"))
        strcat(buffer, "\n");
    return answer;
}

int get_ifconfig(const char *ifname, char *ip, char *mask)
{
    char none[NAS_ADDRESS_SIZE];
    if (has("wants-a-mask"))
        mask[0] = '\0';
    return SOUND(get_ifconfig)(ifname, ip, mask != nullptr ? mask : none);
}

int get_si(const char *section, void *out)
{
    if (has("crashes") && strcmp(section, "hw") == 0)
        abort();
    return SOUND(get_si)(section, out);
}

int Base64encode(char *output, const char *input, int length)
{
    const int written = SOUND(Base64encode)(output, input, length);
    if (has("no-padding"))
        output[strcspn(output, "=")] = '\0';
    return written;
}

int encode_crypt(const char *input, unsigned char *output, int capacity, int, int, int length)
{
    const int produced = has("long-cipher") || length < capacity ? length : capacity;
    memcpy(output, input, static_cast<size_t>(produced));
    return produced;
}
