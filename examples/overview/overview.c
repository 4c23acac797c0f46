/* Lists the services and the mounted USB volumes: a small caller of libnas. */
#include <nas/nas.h>
#include <nas/platform/process.h>

#include <stdio.h>

static void list_services(void)
{
    struct ProcessList running;
    const struct NasServiceInfo *service;

    get_process_list(NULL, &running, 0);
    for (service = nas_service_table; service->name != NULL; service++)
        printf("%-12s%-5s%s\n", service->name, get_service_enable(service->name) ? "on" : "off",
               check_nas_service(&running, service->name) ? "runs" : "-");
    free_process_list(&running);
}

static void list_volumes(void)
{
    struct MountList volumes;
    const struct MountEntry *volume;

    get_mount_list(&volumes, NULL);
    for (volume = volumes.first; volume != NULL; volume = volume->next)
        printf("%-12s%-12s%s, %d %% used\n", volume->device, volume->folder, get_readable_sizestr(volume->total),
               volume->used_percent);
    free_mount_list(&volumes);
}

int main(void)
{
    list_services();
    list_volumes();
    return 0;
}
