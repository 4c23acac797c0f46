/*
 * Preloaded in the router: tells when the library sleeps, and sets the clock that the library sees.
 * For every other caller sleep() and time() are what they always are.
 *
 *   CLOCK_FOLDER/sleeps   gets a line for each sleep: PROGRAM BEGIN END, monotonic seconds
 *   CLOCK_FOLDER/time     seconds since 1970; without the file the clock is the machine's
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static int is_library(const void *caller)
{
    Dl_info info;

    return dladdr(caller, &info) != 0 && strstr(info.dli_fname, "/libnas.so") != NULL;
}

static double now(void)
{
    struct timespec time;

    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

unsigned sleep(unsigned seconds)
{
    unsigned (*real)(unsigned) = (unsigned (*)(unsigned))dlsym(RTLD_NEXT, "sleep");
    double begin = now();
    unsigned left = real(seconds);
    int file;

    if (is_library(__builtin_return_address(0)) &&
        (file = open(CLOCK_FOLDER "/sleeps", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666)) >= 0) {
        dprintf(file, "%s %.3f %.3f\n", program_invocation_short_name, begin, now());
        close(file);
    }
    return left;
}

time_t time(time_t *result)
{
    struct timespec present;
    char text[32] = "";
    int file = -1;

    clock_gettime(CLOCK_REALTIME, &present);
    if (is_library(__builtin_return_address(0)))
        file = open(CLOCK_FOLDER "/time", O_RDONLY | O_CLOEXEC);
    if (file >= 0) {
        if (read(file, text, sizeof text - 1) > 0)
            present.tv_sec = atoll(text);
        close(file);
    }
    if (result != NULL)
        *result = present.tv_sec;
    return present.tv_sec;
}
