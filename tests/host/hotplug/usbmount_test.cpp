#include "private_world.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace
{

namespace fs = std::filesystem;

constexpr int loop_major = 7;

/* A device of a plugged disk: an image behind a loop device, which ends when nobody has it open any more. */
struct Device {
    int fd = -1;
    int kilobytes = 0;
};

struct Result {
    int status = -1;
    std::string output;
};

/* What the mount table says of a device: "folder type", or nothing. */
std::string mounted(const std::string &device)
{
    std::ifstream table("/proc/self/mounts");
    std::string source, folder, type, rest;
    while (table >> source >> folder >> type && std::getline(table, rest)) {
        if (source == "/dev/" + device)
            return folder + " " + type;
    }
    return "";
}

std::string folders()
{
    std::string names;
    for (const auto &entry : fs::directory_iterator("/tmp/mnt"))
        names += entry.path().filename().string() + " ";
    return names;
}

bool has_program(const std::string &name)
{
    return private_world::output_of("command -v " + name + " || test -x /sbin/" + name + " && echo yes") != "";
}

/* A router without disks: its own /dev, /tmp and /proc/partitions. */
class UsbMount : public testing::Test
{
  protected:
    void SetUp() override
    {
        std::string reason;
        if (!private_world::can_mount(reason))
            GTEST_SKIP() << reason;
        const std::string bin = private_world::folder() + "/bin"; // the build folder may be below /tmp
        fs::create_directory(bin);
        fs::copy_file(USBMOUNT, bin + "/usbmount", fs::copy_options::overwrite_existing);
        fs::copy_file(USBUMOUNT, bin + "/usbumount", fs::copy_options::overwrite_existing);
        ASSERT_EQ(0, mount("tmp", "/tmp", "tmpfs", 0, "mode=1777"));
        ASSERT_EQ(0, mount("dev", "/dev", "tmpfs", 0, "mode=0755"));
        fs::create_directory("/tmp/mnt");
        make_nodes();
        show_partitions();
        ASSERT_EQ(
            0, mount((private_world::folder() + "/partitions").c_str(), "/proc/partitions", nullptr, MS_BIND, nullptr));
    }

    void TearDown() override
    {
        private_world::output_of("grep '^/dev/sd' /proc/self/mounts | cut -d' ' -f2 | xargs -r -n 1 umount -l");
        for (const auto &[name, device] : devices_)
            close(device.fd);
        umount2("/proc/partitions", MNT_DETACH);
        umount2("/dev", MNT_DETACH);
        umount2("/tmp", MNT_DETACH);
        fs::remove_all(private_world::folder() + "/run");
        fs::remove(private_world::folder() + "/volumes");
    }

    static Result run(const std::string &command)
    {
        Result result;
        result.output = private_world::output_of(private_world::folder() + "/bin/" + command, &result.status);
        return result;
    }

    /* Makes an image with the command, "IMAGE" standing for its path. */
    static std::string make_image(const std::string &name, const std::string &command, int megabytes = 8)
    {
        const std::string path = private_world::folder() + "/" + name + ".img";
        std::ofstream(path, std::ios::trunc).close();
        fs::resize_file(path, static_cast<uintmax_t>(megabytes) * 1024 * 1024);
        std::string line = command;
        if (const size_t at = line.find("IMAGE"); at != std::string::npos)
            line.replace(at, 5, path);
        int status = -1;
        const std::string output = private_world::output_of(line, &status);
        EXPECT_EQ(0, status) << line << "\n" << output;
        return path;
    }

    static std::string make_ext4(const std::string &name, const std::string &label)
    {
        return make_image(name, "mkfs.ext4 -q -F -L '" + label + "' IMAGE");
    }

    /* The partition "sda1" behind the image; the disk is there with its first partition. */
    void plug(const std::string &name, const std::string &image)
    {
        const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
        const int number = ioctl(control, LOOP_CTL_GET_FREE);
        close(control);
        ASSERT_GE(number, 0) << strerror(errno);
        const dev_t device = makedev(loop_major, static_cast<unsigned>(number));
        ASSERT_EQ(0, mknod(("/dev/" + name).c_str(), S_IFBLK | 0660, device));
        const std::string own = "/dev/loop" + std::to_string(number); // so nobody has the volume's own node open
        ASSERT_TRUE(mknod(own.c_str(), S_IFBLK | 0660, device) == 0 || errno == EEXIST) << strerror(errno);
        const int file = open(image.c_str(), O_RDWR | O_CLOEXEC);
        const int fd = open(own.c_str(), O_RDWR | O_CLOEXEC);
        loop_config config = {};
        config.fd = static_cast<uint32_t>(file);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        ASSERT_EQ(0, ioctl(fd, LOOP_CONFIGURE, &config)) << strerror(errno);
        close(file);
        devices_[name] = {fd, static_cast<int>(fs::file_size(image) / 1024)};
        show_partitions();
    }

    void pull(const std::string &name)
    {
        close(devices_.at(name).fd);
        devices_.erase(name);
        fs::remove("/dev/" + name);
        show_partitions();
    }

  private:
    static void make_nodes()
    {
        mknod("/dev/null", S_IFCHR | 0666, makedev(1, 3));
        mknod("/dev/zero", S_IFCHR | 0666, makedev(1, 5));
        mknod("/dev/fuse", S_IFCHR | 0666, makedev(10, 229));
        mknod("/dev/loop-control", S_IFCHR | 0660, makedev(10, 237));
        chmod("/dev/null", 0666);
    }

    /* In place: the file is mounted. */
    void show_partitions() const
    {
        std::string text = "major minor  #blocks  name\n\n 254 0 264241152 vda\n";
        std::map<std::string, bool> disks;
        for (const auto &[name, device] : devices_) {
            const std::string disk = name.substr(0, 3);
            if (!disks[disk])
                text += "   8        0    1048576 " + disk + "\n";
            disks[disk] = true;
            if (name != disk)
                text += "   8        1 " + std::to_string(device.kilobytes) + " " + name + "\n";
        }
        private_world::put_contents(private_world::folder() + "/partitions", text);
    }

    std::map<std::string, Device> devices_;
};

TEST_F(UsbMount, MountsAVolumeAndTakesItDown)
{
    plug("sda1", make_ext4("a", "Data"));
    const Result up = run("usbmount sda");
    EXPECT_EQ(0, up.status) << up.output;
    EXPECT_EQ("/tmp/mnt/Data ext4", mounted("sda1"));
    private_world::put_contents("/tmp/mnt/Data/file", "content");

    const Result again = run("usbmount sda");
    EXPECT_EQ(0, again.status) << again.output;
    EXPECT_EQ("/tmp/mnt/Data ext4", mounted("sda1"));
    EXPECT_EQ("Data ", folders());

    const Result down = run("usbumount sda1");
    EXPECT_EQ(0, down.status) << down.output;
    EXPECT_EQ("", mounted("sda1"));
    EXPECT_EQ("", folders());

    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ("content", private_world::contents("/tmp/mnt/Data/file"));
}

TEST_F(UsbMount, TakesDownWhatIsNotMountedWithoutAWord)
{
    plug("sda1", make_ext4("a", "Data"));
    for (const char *command :
         {"usbumount sda1", "usbumount sda", "usbumount sdq", "usbumount 'hdddev:sda' 1 10 auto"}) {
        const Result result = run(command);
        EXPECT_EQ(0, result.status) << command;
        EXPECT_EQ("", result.output) << command;
    }
}

TEST_F(UsbMount, MountsAllVolumesOfTheDisk)
{
    plug("sda1", make_ext4("a", "One"));
    plug("sda2", make_image("swap", "mkswap IMAGE"));
    plug("sda5", make_ext4("c", "Five"));
    const Result up = run("usbmount sda");
    EXPECT_EQ(1, up.status);
    EXPECT_EQ("/tmp/mnt/One ext4", mounted("sda1"));
    EXPECT_EQ("", mounted("sda2"));
    EXPECT_EQ("/tmp/mnt/Five ext4", mounted("sda5"));
    EXPECT_NE(std::string::npos, up.output.find("sda2 is not mounted: swap: ")) << up.output;

    EXPECT_EQ(0, run("usbumount sda1").status);
    EXPECT_EQ("Five ", folders());
    EXPECT_EQ(0, run("usbmount sda").status - 1); // the second is still none
    EXPECT_EQ(0, run("usbumount hdddev:sda 1 10 auto").status);
    EXPECT_EQ("", mounted("sda1") + mounted("sda5") + folders());
}

TEST_F(UsbMount, MountsADiskWithoutPartitions)
{
    plug("sdb", make_ext4("a", ""));
    EXPECT_EQ(0, run("usbmount sdb").status);
    EXPECT_EQ("/tmp/mnt/Disk1 ext4", mounted("sdb"));
    EXPECT_EQ(0, run("usbumount sdb").status);
    EXPECT_EQ("", folders());
}

TEST_F(UsbMount, LeavesTheFolderOfABadFileSystemOut)
{
    plug("sda1", make_image("empty", "true"));
    plug("sdb1", make_ext4("damaged", "Data"));
    // the journal's and the root folder's inodes are gone, the superblock is not
    private_world::output_of("dd if=/dev/zero of=" + private_world::folder() +
                             "/damaged.img bs=4096 seek=1 count=1000 conv=notrunc");
    for (const char *disk : {"sda", "sdb"}) {
        const Result result = run(std::string("usbmount ") + disk);
        EXPECT_EQ(1, result.status) << disk;
        EXPECT_NE(std::string::npos, result.output.find(std::string(disk) + "1 is not mounted: ")) << result.output;
    }
    EXPECT_EQ("", folders());
}

TEST_F(UsbMount, RefusesWhatIsNoDisk)
{
    EXPECT_EQ(1, run("usbmount sda").status);
    EXPECT_NE(std::string::npos, run("usbmount sda").output.find("there is no disk sda"));
    for (const char *words : {"usbmount", "usbmount sda1", "usbmount vda", "usbmount ../sda", "usbmount 'sda;id'",
                              "usbmount sda sdb", "usbumount", "usbumount vda", "usbumount sda1x", "usbumount sda 1",
                              "usbumount hdddev:", "usbumount hdddev:sda1 1 10 auto"}) {
        const Result result = run(words);
        EXPECT_EQ(2, result.status) << words;
        EXPECT_NE(std::string::npos, result.output.find("usage: ")) << words;
    }
}

TEST_F(UsbMount, FoldersAreUniqueAndHarmless)
{
    plug("sda1", make_ext4("a", "Disk1"));
    plug("sdb1", make_ext4("b", "disk1"));
    plug("sdc1", make_ext4("c", "../.. x;id"));
    plug("sdd1", make_ext4("d", ""));
    for (const char *disk : {"sda", "sdb", "sdc", "sdd"})
        EXPECT_EQ(0, run(std::string("usbmount ") + disk).status);
    EXPECT_EQ("/tmp/mnt/Disk1 ext4", mounted("sda1"));
    EXPECT_EQ("/tmp/mnt/disk1_2 ext4", mounted("sdb1"));
    EXPECT_EQ("/tmp/mnt/xid ext4", mounted("sdc1"));
    EXPECT_EQ("/tmp/mnt/Disk2 ext4", mounted("sdd1"));
}

TEST_F(UsbMount, ADiskThatComesBackFindsItsFolder)
{
    const std::string first = make_ext4("a", ""), second = make_ext4("b", ""), third = make_ext4("c", "");
    plug("sda1", first);
    plug("sdb1", second);
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ(0, run("usbmount sdb").status);
    EXPECT_EQ("/tmp/mnt/Disk2 ext4", mounted("sdb1"));
    EXPECT_EQ(0, run("usbumount sda").status);
    EXPECT_EQ(0, run("usbumount sdb").status);
    pull("sda1");
    pull("sdb1");

    plug("sda1", second); // under another name, and alone
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ("/tmp/mnt/Disk2 ext4", mounted("sda1"));
    plug("sdb1", first);
    EXPECT_EQ(0, run("usbmount sdb").status);
    EXPECT_EQ("/tmp/mnt/Disk1 ext4", mounted("sdb1"));
    EXPECT_EQ(0, run("usbumount sdb").status);
    plug("sdc1", third); // takes what is free
    EXPECT_EQ(0, run("usbmount sdc").status);
    EXPECT_EQ("/tmp/mnt/Disk1 ext4", mounted("sdc1"));
    EXPECT_EQ(0, run("usbmount sdb").status);
    EXPECT_EQ("/tmp/mnt/Disk3 ext4", mounted("sdb1"));
    EXPECT_EQ(0, run("usbumount sdc").status);
    EXPECT_EQ(0, run("usbumount sdb").status);
    EXPECT_EQ(0, run("usbmount sdb").status); // its first folder is free again
    EXPECT_EQ("/tmp/mnt/Disk1 ext4", mounted("sdb1"));
}

TEST_F(UsbMount, ADiskWithANewLabelGetsANewFolder)
{
    const std::string image = make_ext4("a", "Music");
    plug("sda1", image);
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ(0, run("usbumount sda").status);
    pull("sda1");
    private_world::output_of("tune2fs -L Films " + image);
    plug("sda1", image);
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ("/tmp/mnt/Films ext4", mounted("sda1"));
}

TEST_F(UsbMount, FoldersThatWereLeftBehindAreUsedAgain)
{
    plug("sda1", make_ext4("a", "Data"));
    plug("sdb1", make_ext4("b", "Music"));
    fs::create_directory("/tmp/mnt/Data");
    fs::create_directory("/tmp/mnt/Music");
    private_world::put_contents("/tmp/mnt/Music/mine", "written while nothing was mounted");
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ(0, run("usbmount sdb").status);
    EXPECT_EQ("/tmp/mnt/Data ext4", mounted("sda1"));
    EXPECT_EQ("/tmp/mnt/Music_2 ext4", mounted("sdb1"));
    EXPECT_EQ("written while nothing was mounted", private_world::contents("/tmp/mnt/Music/mine"));
}

TEST_F(UsbMount, RemovesTheFolderOfAVolumeThatSomebodyElseUnmounted)
{
    plug("sda1", make_ext4("a", "Data"));
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ(0, umount("/tmp/mnt/Data"));
    EXPECT_EQ("Data ", folders());
    EXPECT_EQ(0, run("usbumount sda1").status);
    EXPECT_EQ("", folders());
}

TEST_F(UsbMount, SaysWhoKeepsAVolumeBusyAndTakesItOutOfSight)
{
    plug("sda1", make_ext4("a", "Data"));
    EXPECT_EQ(0, run("usbmount sda").status);
    const pid_t user = fork();
    if (user == 0) {
        if (chdir("/tmp/mnt/Data") == 0)
            execlp("sleep", "sleep", "60", nullptr);
        _exit(127);
    }
    for (std::error_code error;
         fs::read_symlink("/proc/" + std::to_string(user) + "/exe", error).filename() != "sleep";)
        usleep(1000);
    const Result down = run("usbumount sda1");
    EXPECT_EQ(0, down.status);
    EXPECT_NE(std::string::npos, down.output.find("is in use by sleep (" + std::to_string(user) + ")")) << down.output;
    EXPECT_EQ("", mounted("sda1"));
    EXPECT_EQ("", folders());
    kill(user, SIGKILL);
    waitpid(user, nullptr, 0);
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ("/tmp/mnt/Data ext4", mounted("sda1"));
}

TEST_F(UsbMount, WaitsForOneThatIsAboutToLetGo)
{
    plug("sda1", make_ext4("a", "Data"));
    EXPECT_EQ(0, run("usbmount sda").status);
    const int held = open("/tmp/mnt/Data", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const pid_t child = fork();
    if (child == 0) {
        usleep(100 * 1000); // of the second that it is tried for
        _exit(0);
    }
    close(held); // the child's copy goes with it
    const Result down = run("usbumount sda1");
    waitpid(child, nullptr, 0);
    EXPECT_EQ(0, down.status);
    EXPECT_EQ(std::string::npos, down.output.find("in use")) << down.output;
    EXPECT_EQ("", mounted("sda1"));
}

TEST_F(UsbMount, MountsOnceWhenCalledTwiceAtOnce)
{
    plug("sda1", make_ext4("a", "Data"));
    const std::string program = private_world::folder() + "/bin/usbmount sda";
    private_world::output_of(program + " & " + program + " & " + program + " & wait");
    EXPECT_EQ("Data ", folders());
    std::ifstream table("/proc/self/mounts");
    int count = 0;
    for (std::string line; std::getline(table, line);)
        count += line.rfind("/dev/sda1 ", 0) == 0 ? 1 : 0;
    EXPECT_EQ(1, count);
}

struct Format {
    const char *name;
    const char *maker;   /* program that makes it */
    const char *command; /* with a label */
    const char *driver;  /* program that mounts it; null for the kernel's own */
    const char *type;    /* in the mount table */
};

constexpr Format formats[] = {
    {"ext2", "mkfs.ext2", "mkfs.ext2 -q -F -L Stick IMAGE", nullptr, "ext2"},
    {"ext3", "mkfs.ext3", "mkfs.ext3 -q -F -L Stick IMAGE", nullptr, "ext3"},
    {"vfat", "mkfs.vfat", "mkfs.vfat -n STICK IMAGE", nullptr, "vfat"},
    {"exfat", "mkfs.exfat", "mkfs.exfat -L Stick IMAGE", "mount.exfat-fuse", "fuseblk"},
    {"ntfs", "mkfs.ntfs", "mkfs.ntfs -F -Q -L Stick IMAGE", "ntfs-3g", "fuseblk"},
};

struct UsbMountFormat : UsbMount, testing::WithParamInterface<Format> {
};

bool kernel_has(const char *type)
{
    return private_world::contents("/proc/filesystems").find("\t" + std::string(type) + "\n") != std::string::npos;
}

TEST_P(UsbMountFormat, IsMountedForEverybody)
{
    const Format &format = GetParam();
    if (!has_program(format.maker))
        GTEST_SKIP() << "no " << format.maker << " here";
    if (format.driver != nullptr ? access((std::string("/sbin/") + format.driver).c_str(), X_OK) != 0
                                 : !kernel_has(format.type))
        GTEST_SKIP() << "nothing here mounts " << format.name;
    plug("sda1", make_image(format.name, format.command, 32));
    const Result up = run("usbmount sda");
    EXPECT_EQ(0, up.status) << up.output;
    const bool owns = strncmp(format.name, "ext", 3) == 0;
    const std::string folder = std::string("/tmp/mnt/") + (strcmp(format.name, "vfat") == 0 ? "STICK" : "Stick");
    EXPECT_EQ(folder + " " + format.type, mounted("sda1"));
    private_world::put_contents(folder + "/file", "content");
    struct stat facts = {};
    EXPECT_EQ(0, stat((folder + "/file").c_str(), &facts));
    EXPECT_TRUE(owns || (facts.st_mode & 0777U) == 0777U) << facts.st_mode;
    EXPECT_EQ(0, run("usbumount sda").status);
    EXPECT_EQ("", mounted("sda1") + folders());
    EXPECT_EQ(0, run("usbmount sda").status);
    EXPECT_EQ("content", private_world::contents(folder + "/file"));
}

INSTANTIATE_TEST_SUITE_P(All, UsbMountFormat, testing::ValuesIn(formats),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
