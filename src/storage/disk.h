// Disks as the services know them: by the folder below /tmp/mnt where their volume is mounted.
#ifndef NAS_STORAGE_DISK_H
#define NAS_STORAGE_DISK_H

namespace nas
{

// Is something mounted at /tmp/mnt/<disk>?
bool is_disk_mounted(const char *disk);

} // namespace nas

#endif
