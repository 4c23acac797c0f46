// A router with two disks of many folders and five users, for the runs of FTP and Samba.
#ifndef NAS_BENCH_SHARE_WORLD_H
#define NAS_BENCH_SHARE_WORLD_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <array>
#include <dirent.h>
#include <span>
#include <string>

namespace nas_bench
{

inline constexpr std::array share_disks = {"/mnt/Disk1", "/mnt/Disk2"};

// How many folders each disk has, run by run.
inline constexpr std::array folder_counts = {10, 30, 100, 300, 1000};

struct ShareUser {
    const char *name;
    const char *ftp_permission; // "rw", "ro", "no"
    int samba_permission;
    const char *folder; // that the user is restricted to: a disk, or a disk, a colon and one of its folders
};

inline constexpr std::array share_users = {
    ShareUser{"alice", "rw", 1, ""},      ShareUser{"bob", "rw", 1, "Disk1"},
    ShareUser{"carol", "ro", 2, "Disk2"}, ShareUser{"dave", "ro", 2, "Disk2:Folder 0007"},
    ShareUser{"eve", "no", 0, ""},
};

// Both services on, and the five users in the store, with every kind of rights. Each folder is open to somebody.
void put_users(nas_test::RecordingHost &host);

// Lays `count` folders on each disk, in no order.
void put_folders(nas_test::Sandbox &sandbox, int count);

// What lies in a folder and is of interest to a service, in order; scandir's result.
class ScannedFolder
{
  public:
    explicit ScannedFolder(const char *path);
    ~ScannedFolder();
    ScannedFolder(const ScannedFolder &) = delete;
    ScannedFolder &operator=(const ScannedFolder &) = delete;

    std::span<dirent *const> entries() const;

  private:
    dirent **entries_ = nullptr;
    int count_ = 0;
};

struct ShareService {
    const char *name; // "ftp", "samba"
    int (*callback)(const char *mode);
    const char *conf_path;
    const char *section_begin; // what stands in that file around a folder's path
    const char *section_end;
};

const std::array<ShareService, 2> &share_services();

// Ends the program unless the file that was written speaks of all folders of both disks. Returns the file's text.
std::string check_conf(const ShareService &service, int folders);

} // namespace nas_bench

#endif
