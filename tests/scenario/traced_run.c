/* traced_run TRACE CALLBACK [MODE [ORIGIN]]: runs a callback of the installed library with the installed host, for
 * real, and writes every act that leaves the library into the file TRACE, a line each. It stands in front of the host
 * and of the C library, as any program may, and passes everything on. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

static FILE *trace;
static void *host_library;

#define note(...) note_call(__builtin_return_address(0), __VA_ARGS__)
#define NEXT(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))
#define HOST(name, type) ((type)dlsym(host_library, #name))

/* The host and the C library act on their way, too: only what the library itself calls is noted. */
static int is_librarys(const void *caller)
{
    Dl_info place;
    return dladdr(caller, &place) != 0 && strstr(place.dli_fname, "/libnas.so") != NULL;
}

/* A line feed inside of an act is shown as its picture. */
static void put_visible(const char *text)
{
    for (; *text != '\0'; text++) {
        if (*text == '\n')
            fputs("\xe2\x90\x8a", trace);
        else
            fputc(*text, trace);
    }
}

static void note_call(const void *caller, const char *format, ...)
{
    char line[16384];
    va_list arguments;
    if (trace == NULL || !is_librarys(caller))
        return;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    put_visible(line);
    fputc('\n', trace);
    fflush(trace);
}

static const char *outcome(int result)
{
    return result == 0 ? "" : " -> failed";
}

int system(const char *command)
{
    int status = NEXT(system)(command);
    note("run %s -> %d", command, WEXITSTATUS(status));
    return status;
}

int system2(const char *format, ...)
{
    int status;
    char command[8192];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    status = NEXT(system)(command);
    note("run %s -> %d", command, WEXITSTATUS(status));
    return status;
}

FILE *popen(const char *command, const char *mode)
{
    note("popen %s", command);
    return NEXT(popen)(command, mode);
}

unsigned sleep(unsigned seconds)
{
    note("sleep %u", seconds);
    return NEXT(sleep)(seconds);
}

int kill(pid_t pid, int number)
{
    int result = NEXT(kill)(pid, number);
    note("kill %d %d%s", (int)pid, number, outcome(result));
    return result;
}

int sethostname(const char *name, size_t length)
{
    note("sethostname %.*s", (int)length, name);
    return NEXT(sethostname)(name, length);
}

FILE *fopen64(const char *path, const char *mode)
{
    FILE *file = NEXT(fopen64)(path, mode);
    if (strpbrk(mode, "wa+") != NULL)
        note("write %s%s", path, outcome(file == NULL));
    return file;
}

int chmod(const char *path, mode_t mode)
{
    int result = NEXT(chmod)(path, mode);
    note("chmod %04o %s%s", (unsigned)mode, path, outcome(result));
    return result;
}

int mkdir(const char *path, mode_t mode)
{
    int result = NEXT(mkdir)(path, mode);
    note("mkdir %04o %s%s", (unsigned)mode, path, outcome(result));
    return result;
}

int unlink(const char *path)
{
    int result = NEXT(unlink)(path);
    note("unlink %s%s", path, outcome(result));
    return result;
}

/* What is asked of the host, in its own words. */
#define PASS_TEXT(name, word)                                                                                          \
    int name(const char *text)                                                                                         \
    {                                                                                                                  \
        note(word " %s", text);                                                                                        \
        int result = HOST(name, int (*)(const char *))(text);                                                          \
        return result;                                                                                                 \
    }
#define PASS_PAIR(name, word)                                                                                          \
    int name(const char *key, const char *value)                                                                       \
    {                                                                                                                  \
        note(word " %s = %s", key, value);                                                                             \
        int result = HOST(name, int (*)(const char *, const char *))(key, value);                                      \
        return result;                                                                                                 \
    }
#define PASS_REMOVAL(name, word)                                                                                       \
    int name(const char *key)                                                                                          \
    {                                                                                                                  \
        int result = HOST(name, int (*)(const char *))(key);                                                           \
        note(word " %s%s", key, outcome(result));                                                                      \
        return result;                                                                                                 \
    }
PASS_TEXT(signal_start, "upnp")
PASS_TEXT(signal_nas, "request")
PASS_PAIR(iconfig_set_value_direct, "set")
PASS_PAIR(istatus_set_value_direct, "set-status")
PASS_REMOVAL(iconfig_remove_config_tag, "remove")
PASS_REMOVAL(istatus_remove_status_tag, "remove-status")

int istatus_set_intvalue_direct(const char *key, int value)
{
    note("set-status %s = %d", key, value);
    int result = HOST(istatus_set_intvalue_direct, int (*)(const char *, int))(key, value);
    return result;
}

int write_file(const char *path, const char *text)
{
    int result = HOST(write_file, int (*)(const char *, const char *))(path, text);
    note("write %s%s", path, outcome(result));
    return result;
}

/* The callbacks log nothing but what has a source. */
int syslog_msg(int level, const char *id, ...)
{
    va_list arguments;
    va_start(arguments, id);
    const char *source = va_arg(arguments, const char *);
    va_end(arguments);
    note("log %d %s %s", level, id, source);
    int result = HOST(syslog_msg, int (*)(int, const char *, ...))(level, id, source);
    return result;
}

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2;
    host_library = dlopen("libnashost.so.1", RTLD_NOW | RTLD_GLOBAL);
    void *library = dlopen("libnas.so.1", RTLD_NOW | RTLD_GLOBAL);
    if (host_library == NULL || library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    int (*callback)(const char *, const char *) = (int (*)(const char *, const char *))dlsym(library, argv[2]);
    trace = NEXT(fopen64)(argv[1], "we");
    if (callback == NULL || trace == NULL)
        return 1;
    int result = callback(argc > 3 && argv[3][0] != '\0' ? argv[3] : NULL, argc > 4 ? argv[4] : NULL);
    fprintf(trace, "result %d\n", result);
    return fclose(trace);
}
