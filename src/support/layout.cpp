// Records that cross the C interface keep their layout: hosts and callers are built apart from the library.
#include "nas/nas.h"
#include "platform/device.h"
#include "platform/process.h"
#include "platform/registration.h"

#include <cstddef>

static_assert(offsetof(HardwareInfo, model) == 96 && sizeof(HardwareInfo) == 1024);
static_assert(sizeof(LedSilentControl) == 12);
static_assert(offsetof(PeriodicCallbackRecord, interval) == 68 && sizeof(PeriodicCallbackRecord) == 72);
static_assert(offsetof(DdnsConfig, credential) == 128 && sizeof(DdnsConfig) == 256);
static_assert(offsetof(ProcessList, first) == sizeof(void *));
static_assert(offsetof(ProcessEntry, name) == sizeof(void *) + 4 &&
              offsetof(ProcessEntry, cmdline) == sizeof(void *) + 68);

static_assert(offsetof(NasServiceInfo, min_processes) == 3 * sizeof(void *));
static_assert(offsetof(ServicePort, port) == 16 && sizeof(ServicePort) == 20);
static_assert(offsetof(MountEntry, disk) == sizeof(void *) && offsetof(MountEntry, total) % 8 == 0);
static_assert(offsetof(MountEntry, bus) - offsetof(MountEntry, disk) == 16 + 16 + 64 + 64 + 32);
static_assert(offsetof(MountEntry, used_percent) - offsetof(MountEntry, total) == 24);
static_assert(offsetof(UsbDevInfo, interface_class) - offsetof(UsbDevInfo, id_product) == 360);
static_assert(offsetof(UsbDevInfo, devnum) - offsetof(UsbDevInfo, interface_class) == 28);

static_assert(offsetof(NasUser, permission) == 768 && sizeof(NasUser) == 772);
static_assert(offsetof(FtpdConfig, option5) == 80 && sizeof(FtpdConfig) == 88);
static_assert(offsetof(SambaConfig, option4) == 260 && sizeof(SambaConfig) == 276);
static_assert(sizeof(UrlServiceConfig) == 12);
static_assert(offsetof(HttpdConfig, realm) == 344 && sizeof(HttpdConfig) == 408);
static_assert(offsetof(CloudShareConfig, folder) == 24 && sizeof(CloudShareConfig) == 536);
static_assert(offsetof(TorrentConfig, folder) == 36 && sizeof(TorrentConfig) == 548);
static_assert(offsetof(MediaConfig, folder) == 148 && sizeof(MediaConfig) == 660);
static_assert(offsetof(EntwareConfig, folder) == 20 && sizeof(EntwareConfig) == 532);
static_assert(sizeof(CupsdConfig) == 8);
