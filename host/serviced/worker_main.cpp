/* nas-worker: performs the first request that waits for serviced. serviced starts it, once for every request. */
#include "startup.h"
#include "worker.h"

#include <syslog.h>
#include <unistd.h>

#include <cstdio>

int main()
{
    nashost::fill_standard_descriptors();
    nashost::make_sure_of_path();
    setsid(); // what ends serviced's group does not end it
    setvbuf(stdout, nullptr, _IOLBF, 0);
    openlog("nas-worker", LOG_PID | LOG_PERROR, LOG_DAEMON);
    return serviced::work();
}
