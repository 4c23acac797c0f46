/* nas-worker: performs the first request that waits for serviced. serviced starts it, once for every request.
 * nas-worker CALLBACK: calls that periodic callback until it has done its work; a worker starts it. */
#include "startup.h"
#include "worker.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>

int main(int argc, char **argv)
{
    nashost::fill_standard_descriptors();
    nashost::make_sure_of_path();
    setsid(); // what ends serviced's group does not end it
    setvbuf(stdout, nullptr, _IOLBF, 0);
    openlog("nas-worker", LOG_PID | LOG_PERROR, LOG_DAEMON);
    return argc == 2 ? serviced::poll(argv[1]) : serviced::work();
}
