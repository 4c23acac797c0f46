/*
 * A USB disk of the virtual router: an image file behind loop devices, for as long as this process runs.
 *
 *   usbdisk RECORD IMAGE NAME
 *
 * The whole disk is a loop device, and so is every primary partition of its table (MBR): not every kernel reads tables.
 * It writes what it made into the file RECORD and goes to the background. SIGTERM is the hand that pulls the disk out.
 * It ends when nobody uses the loop devices any more, and until then the image and the record are locked: two mounts of
 * one file system would destroy it.
 *
 *   image NAME
 *   identity DEVICE INODE            the image's, as losetup shows them
 *   holder PID
 *   volume NUMBER MINOR SECTORS      0 is the whole disk; the numbers of the loop devices are their minor ones
 */
#include <errno.h>
#include <fcntl.h>
#include <linux/loop.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

enum { sector = 512, entries = 4, loop_major = 7 };

struct volume {
    int number, loop, fd;
    uint64_t start, sectors;
};

static const char *made; /* the record, as long as it describes no disk */

static void fail(const char *format, ...)
{
    va_list words;

    fputs("usbdisk: ", stderr);
    va_start(words, format);
    vfprintf(stderr, format, words);
    va_end(words);
    fputc('\n', stderr);
    if (made != NULL)
        unlink(made);
    exit(1);
}

static uint32_t little_endian(const unsigned char *bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | (uint32_t)bytes[3] << 24;
}

/* Some file systems end their first sector like a table, too: what is no possible entry shows that this is none. */
static int is_entry(const unsigned char *entry, uint64_t disk_sectors)
{
    uint64_t end = (uint64_t)little_endian(entry + 8) + little_endian(entry + 12);

    return (entry[0] == 0 || entry[0] == 0x80) && end <= disk_sectors;
}

/* volumes[0] is the disk; returns how many there are with its partitions. An extended partition is passed over. */
static int find_volumes(int image, uint64_t disk_sectors, struct volume *volumes)
{
    unsigned char first[sector];
    int count = 1, i;

    volumes[0] = (struct volume){0, -1, -1, 0, disk_sectors};
    if (pread(image, first, sector, 0) != sector || first[510] != 0x55 || first[511] != 0xaa)
        return count;
    for (i = 0; i < entries; i++)
        if (!is_entry(first + 446 + 16 * i, disk_sectors))
            return 1;
    for (i = 0; i < entries; i++) {
        const unsigned char *entry = first + 446 + 16 * i;
        int type = entry[4];

        if (type == 0xee)
            fail("the image has a GPT; this disk understands only an MBR");
        if (type == 0 || type == 0x05 || type == 0x0f || type == 0x85 || little_endian(entry + 12) == 0)
            continue;
        volumes[count++] = (struct volume){i + 1, -1, -1, little_endian(entry + 8), little_endian(entry + 12)};
    }
    return count;
}

/* The machine's own nodes are not here; one is made for a moment. */
static int open_loop(int number)
{
    char path[64];
    int fd;

    snprintf(path, sizeof path, "/dev/.loop%d-%d", number, (int)getpid());
    if (mknod(path, S_IFBLK | 0600, makedev(loop_major, number)) != 0)
        return -1;
    fd = open(path, O_RDWR | O_CLOEXEC);
    unlink(path);
    return fd;
}

/* The loop device goes by itself with its last user. */
static void attach(struct volume *volume, int control, int image, int read_only)
{
    struct loop_config config = {.fd = image};

    config.info.lo_offset = volume->start * sector;
    config.info.lo_sizelimit = volume->sectors * sector;
    config.info.lo_flags = LO_FLAGS_AUTOCLEAR | (read_only ? LO_FLAGS_READ_ONLY : 0);
    for (;;) {
        volume->loop = ioctl(control, LOOP_CTL_GET_FREE);
        volume->fd = volume->loop < 0 ? -1 : open_loop(volume->loop);
        if (volume->fd < 0)
            fail("no free loop device: %s", strerror(errno));
        if (ioctl(volume->fd, LOOP_CONFIGURE, &config) == 0)
            return;
        if (errno != EBUSY) /* else somebody was quicker */
            fail("the loop device refuses the image: %s", strerror(errno));
        close(volume->fd);
    }
}

/* Whoever opens a loop device last makes it go, so asking does no harm. */
static int is_attached(const struct volume *volume, const struct stat *image)
{
    struct loop_info64 info;
    int fd = open_loop(volume->loop);
    int attached = fd >= 0 && ioctl(fd, LOOP_GET_STATUS64, &info) == 0 && info.lo_inode == image->st_ino &&
                   info.lo_device == image->st_dev;

    if (fd >= 0)
        close(fd);
    return attached;
}

static void write_record(int record, const char *name, const struct stat *image, pid_t holder,
                         const struct volume *volumes, int count)
{
    int i;

    if (ftruncate(record, 0) != 0)
        fail("the record cannot be written: %s", strerror(errno));
    dprintf(record, "image %s\nidentity %u:%u %llu\nholder %d\n", name, major(image->st_dev), minor(image->st_dev),
            (unsigned long long)image->st_ino, (int)holder);
    for (i = 0; i < count; i++)
        dprintf(record, "volume %d %d %llu\n", volumes[i].number, volumes[i].loop,
                (unsigned long long)volumes[i].sectors);
}

static int open_locked(const char *path, int flags, const char *said)
{
    int fd = open(path, flags | O_CLOEXEC, 0644);

    if (fd < 0)
        fail("%s: %s", said, strerror(errno));
    if (flock(fd, LOCK_EX | LOCK_NB) != 0)
        fail("%s is in use already", said);
    return fd;
}

static void hold(const struct stat *image, struct volume *volumes, int count)
{
    const struct timespec pause = {0, 10 * 1000 * 1000};
    sigset_t awaited;
    int i;

    sigemptyset(&awaited);
    sigaddset(&awaited, SIGTERM);
    sigwaitinfo(&awaited, NULL);
    for (i = 0; i < count; i++)
        close(volumes[i].fd);
    for (i = 0; i < count; i++)
        while (is_attached(&volumes[i], image))
            nanosleep(&pause, NULL);
}

static void go_to_background(void)
{
    int nothing = open("/dev/null", O_RDWR | O_CLOEXEC), fd;

    setsid();
    for (fd = 0; fd <= 2; fd++)
        dup2(nothing, fd);
}

int main(int count, char **words)
{
    struct volume volumes[1 + entries];
    struct stat status;
    sigset_t blocked;
    int image, record, control, read_only, found, i;
    pid_t holder;

    if (count != 4)
        fail("usage: usbdisk RECORD IMAGE NAME");
    read_only = access(words[2], W_OK) != 0;
    image = open_locked(words[2], read_only ? O_RDONLY : O_RDWR, words[3]);
    if (fstat(image, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < sector)
        fail("%s is no disk image", words[3]);
    record = open_locked(words[1], O_RDWR | O_CREAT, strrchr(words[1], '/') + 1);
    made = words[1];
    control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    found = find_volumes(image, status.st_size / sector, volumes);
    for (i = 0; i < found; i++)
        attach(&volumes[i], control, image, read_only);

    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, NULL);
    holder = fork();
    if (holder < 0)
        fail("no process: %s", strerror(errno));
    if (holder > 0) {
        write_record(record, words[3], &status, holder, volumes, found);
        return 0;
    }
    go_to_background();
    hold(&status, volumes, found);
    return 0;
}
