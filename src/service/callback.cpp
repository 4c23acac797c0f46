#include "service/callback.h"

#include "platform/device.h"
#include "storage/disk.h"
#include "support/message.h"

#include <cstring>

nas::CallMode nas::read_mode(const char *mode)
{
    const auto is = [mode](const char *word) { return mode != nullptr && strcmp(mode, word) == 0; };
    return {.forced = is("forced"), .nomount = is("nomount"), .only_register = is("register")};
}

bool nas::stays_stopped(const CallMode &call, int enable, bool was_running, const char *source)
{
    if (call.forced || (enable != 0 && !call.nomount))
        return false;
    if (was_running)
        log_event(event_stopped, source);
    return true;
}

bool nas::finds_disk(const char *disk, const char *source)
{
    if (is_disk_mounted(disk))
        return true;
    log_event(event_disk_not_mounted, source);
    return false;
}

void nas::call_again(PeriodicCallbackRecord &record, int seconds)
{
    record.active = seconds != never ? 1 : 0;
    record.interval = seconds;
}
