#include "service/process.h"
#include "service/registry.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

using namespace nas;

// A daemon that ignores the request for that many seconds is killed by force.
static constexpr int stubborn_seconds = 11;

using CommandLine = char[256];

// Runs the command and leaves it to be shown.
static void run_killall(CommandLine &command, const NasServiceInfo &service)
{
    format_text(command, "/usr/bin/killall %s", service.kill_name);
    system(command);
}

int kill_service(const char *name)
{
    const NasServiceInfo *service = find_nas_service(name);
    if (service == nullptr)
        return -1;
    CommandLine command;
    run_killall(command, *service);
    return 0;
}

static void kill_by_force(const NasServiceInfo &service)
{
    CommandLine command;
    format_text(command, "/usr/bin/killall -9 %s", service.kill_name);
    system(command);
    fprintf(stderr, "Kill -9 for %s\n", service.kill_name);
}

int kill_and_wait_service(const char *name, int bounded, unsigned max_waits)
{
    const NasServiceInfo *service = find_nas_service(name);
    if (service == nullptr)
        return -1;
    CommandLine command;
    run_killall(command, *service);
    fprintf(stderr, "%s\n", command);

    int waited = 0;
    while (process_exists(service->process_name)) {
        fprintf(stderr, "Waiting for %s to be dead\n", service->name);
        sleep(1);
        if (++waited == stubborn_seconds) {
            kill_by_force(*service);
            waited = 0;
        }
        if (bounded != 0 && max_waits-- == 0)
            break;
    }
    return 0;
}
