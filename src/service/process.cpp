#include "service/process.h"

#include "platform/process.h"

bool nas::process_exists(const char *name)
{
    ProcessList list = {};
    get_process_list(name, &list, 0);
    const bool exists = list.count != 0;
    free_process_list(&list);
    return exists;
}
