#include "nas/usbdev.h"

#include "nas/mount.h"
#include "nas/printer.h"
#include "nas/util.h"
#include "platform/device.h"
#include "platform/network.h"
#include "platform/process.h"
#include "platform/store.h"
#include "storage/mount_table.h"
#include "support/text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string_view>
#include <syslog.h>
#include <unistd.h>

using namespace nas;

static constexpr char devices_path[] = "/sys/bus/usb/devices/";

using InterfaceClass = char[3];
static constexpr InterfaceClass storage_class = "08", printer_class = "07", wireless_class = "e0";
static constexpr InterfaceClass known_classes[] = {"e0", "02", "0a", "07", "08"};

using Path = char[512];
using AttributePath = char[256];

static bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Does the device's tree hold a node of that name?
static bool device_has_node(const char *device, const char *node)
{
    char command[256];
    format_text(command, "/usr/bin/find %s | grep %s", device, node);
    FILE *output = popen(command, "r");
    if (output == nullptr)
        return false;
    char line[256];
    const bool found = fgets(line, sizeof line, output) != nullptr;
    pclose(output);
    return found;
}

// Tries the nodes `prefix` and one of `suffixes` that exist in `folder`; the first that the device has is its name.
static bool find_node(const char *device, const char *folder, const char *prefix, std::string_view suffixes,
                      std::span<char> name)
{
    for (const char suffix : suffixes) {
        char node[8];
        AttributePath path;
        format_text(node, "%s%c", prefix, suffix);
        format_text(path, "%s/%s", folder, node);
        if (file_exists(path) == 0 || !device_has_node(device, node))
            continue;
        copy_text(name, node);
        return true;
    }
    return false;
}

static bool can_list(const char *path)
{
    DIR *folder = opendir(path);
    if (folder == nullptr)
        return false;
    closedir(folder);
    return true;
}

// Kernels differ in where they keep printers; null when this one keeps none.
static const char *printer_folder()
{
    for (const char *path : {"/sys/class/usb", "/sys/class/usbmisc"})
        if (can_list(path))
            return path;
    return nullptr;
}

static bool find_device_name(const char *device, std::span<char> name)
{
    static constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz", digits = "0123456789";
    if (find_node(device, "/sys/block", "sd", letters, name) || find_node(device, "/sys/block", "sr", digits, name))
        return true;
    const char *printers = printer_folder();
    return printers != nullptr && find_node(device, printers, "lp", digits, name);
}

// Returns non-zero when the attribute was read.
static int read_attribute(const char *device, const char *attribute, std::span<char> text)
{
    AttributePath path;
    format_text(path, "%s/%s", device, attribute);
    return get_file_string(path, text.data(), static_cast<int>(text.size()));
}

static int read_number(const char *device, const char *attribute)
{
    AttributePath path;
    format_text(path, "%s/%s", device, attribute);
    return get_file_value(path, 1);
}

static void read_attributes(const char *device, UsbDevInfo &info)
{
    read_attribute(device, "manufacturer", info.manufacturer);
    read_attribute(device, "product", info.product);
    read_attribute(device, "speed", info.speed);
    read_attribute(device, "serial", info.serial);
    read_attribute(device, "idProduct", info.id_product);
    read_attribute(device, "idVendor", info.id_vendor);
    read_attribute(device, "version", info.version);
    info.devnum = read_number(device, "devnum");
    info.busnum = read_number(device, "busnum");
}

// Parts of the router itself.
static bool is_built_in(const UsbDevInfo &info)
{
    const std::string_view product = info.id_product, vendor = info.id_vendor;
    if (product == "bd17" && vendor == "0a5c")
        return true;
    return product == "0000" && vendor == "0000" && strcmp(info.manufacturer, "Linux 2.6.22 ehci_hcd") == 0;
}

static bool read_interface_class(const char *path, UsbDevInfo &info)
{
    char text[sizeof info.interface_class] = "";
    if (read_attribute(path, "bInterfaceClass", text) == 0)
        return false;
    for (const char *name : known_classes)
        if (strcmp(text, name) == 0) {
            copy_text(info.interface_class, name);
            return true;
        }
    return false;
}

// Buses 1 and 3 are USB 2.0, 2 and 4 USB 3.0; there are no others on a router.
static int bus_mode(const char *interface_name)
{
    switch (parse_int(interface_name)) {
    case 1:
    case 3:
        return 1;
    case 2:
    case 4:
        return 2;
    default:
        return 0;
    }
}

int get_usbdev_info(const char *path, const char *filter, UsbDevInfo *info)
{
    Path target;
    const ssize_t length = readlink(path, target, sizeof target - 1);
    if (length < 0)
        return 0;
    target[length] = '\0';
    const char *slash = strrchr(target, '/');
    const char *interface_name = slash != nullptr ? slash + 1 : target;
    if (!is_digit(interface_name[0]))
        return 0;

    Path device;
    format_text(device, "%s/..", path);
    info->index = 1;
    read_attributes(device, *info);
    if (is_built_in(*info) || !read_interface_class(path, *info))
        return 0;
    const std::string_view interface_class = info->interface_class;
    if (filter != nullptr && interface_class != filter)
        return 0;
    // A phone that speaks this class alone has no interface that the router could use.
    if (interface_class == wireless_class)
        return 0;
    if (interface_class == storage_class)
        find_device_name(device, info->devname);
    else if (interface_class != printer_class)
        copy_text(info->devname, "usb0");
    info->connected_mode = bus_mode(interface_name);
    return interface_class != printer_class || find_device_name(device, info->devname);
}

static int usb_entry_filter(const dirent *entry)
{
    static constexpr char dropped[][sizeof "lost+found"] = {".",         "..",        "lost+found",
                                                            "usbdev1.1", "usbdev2.1", "usbdev3.1"};
    for (const char *name : dropped)
        if (strcmp(entry->d_name, name) == 0)
            return 0;
    return 1;
}

// Calls `act` with the name of each entry below the devices' folder, in order.
template <class Act>
static void for_each_entry(Act act)
{
    dirent **entries = nullptr;
    const int count = scandir(devices_path, &entries, usb_entry_filter, real_alphasort);
    for (int i = 0; i < count; i++) {
        act(entries[i]->d_name);
        free(entries[i]);
    }
    free(entries);
}

// An interface is named bus-port:config.interface; those of the root hubs have port 0.
static bool is_interface_of_device(const char *name)
{
    const char *port = strrchr(name, '-');
    return strchr(name, ':') != nullptr && port != nullptr && port[1] >= '1' && port[1] <= '9';
}

static void append_interface(UsbDevList &list, const char *name, const char *filter)
{
    auto *info = static_cast<UsbDevInfo *>(calloc(1, sizeof(UsbDevInfo)));
    if (info == nullptr)
        return;
    Path path;
    format_text(path, "%s/%s", devices_path, name);
    if (get_usbdev_info(path, filter, info) == 0) {
        free(info);
        return;
    }
    if (list.last != nullptr)
        list.last->next = info;
    else
        list.first = info;
    list.last = info;
    list.count++;
}

int get_usbdev_list(UsbDevList *list, const char *filter)
{
    *list = {};
    for_each_entry([list, filter](const char *name) {
        if (is_interface_of_device(name))
            append_interface(*list, name, filter);
    });
    return list->count;
}

int free_usbdev_list(UsbDevList *list)
{
    for (UsbDevInfo *info = list->first; info != nullptr;) {
        UsbDevInfo *next = info->next;
        free(info);
        info = next;
    }
    return 0;
}

int get_number_of_usbdevice(void)
{
    int count = 0;
    UsbDevInfo info = {};
    // Bare names, and one record for all of them: whoever counts stands in the folder itself.
    for_each_entry([&](const char *name) { count += get_usbdev_info(name, nullptr, &info); });
    return count;
}

// The inventory for the length of one query.
struct Inventory {
    UsbDevList list;

    explicit Inventory(const char *filter)
    {
        get_usbdev_list(&list, filter);
    }
    Inventory(const Inventory &) = delete;
    Inventory &operator=(const Inventory &) = delete;
    ~Inventory()
    {
        free_usbdev_list(&list);
    }
};

static const UsbDevInfo *find_by_name(const Inventory &inventory, const char *devname)
{
    for (const UsbDevInfo *info = inventory.list.first; info != nullptr; info = info->next)
        if (strcmp(info->devname, devname) == 0)
            return info;
    return nullptr;
}

static const UsbDevInfo *find_by_index(const Inventory &inventory, int index)
{
    for (const UsbDevInfo *info = inventory.list.first; info != nullptr; info = info->next)
        if (info->index == index)
            return info;
    return nullptr;
}

int check_usb_device_exist(const char *devname)
{
    const Inventory storage(storage_class);
    if (devname == nullptr)
        return storage.list.count > 0;
    return find_by_name(storage, devname) != nullptr;
}

int remove_all_usb_device(void)
{
    const Inventory all(nullptr);
    for (const UsbDevInfo *info = all.list.first; info != nullptr; info = info->next) {
        if (strcmp(info->interface_class, storage_class) != 0)
            continue;
        syslog(LOG_DEBUG, "Removing Storage Device ---------> devname: %s", info->devname);
        system2("/sbin/usbumount hdddev:%s 1 10 auto", info->devname);
    }
    return 0;
}

using RemovalKey = char[128];

int is_usb_removed(const char *devname)
{
    RemovalKey key;
    format_text(key, "usbremove.%s", devname);
    const int removed = istatus_get_intvalue_direct(key);
    return removed != -1 ? removed : 0;
}

int set_device_removed(const char *devname, int value)
{
    RemovalKey key;
    format_text(key, "usbremove.%s", devname);
    return istatus_set_intvalue_direct(key, value);
}

int get_usbidx_by_devname(const char *devname)
{
    const Inventory all(nullptr);
    const UsbDevInfo *info = find_by_name(all, devname);
    return info != nullptr ? info->index : -1;
}

int get_first_mount_dir_by_usbidx(int index, char *dir)
{
    const Inventory all(nullptr);
    const UsbDevInfo *info = find_by_index(all, index);
    if (info == nullptr || strcmp(info->interface_class, storage_class) != 0)
        return 0;
    LineReader table;
    open_mount_table(table);
    Volume volume;
    if (!next_volume(table, volume, info->devname))
        return 0;
    copy_text({dir, NAS_MOUNT_POINT_SIZE}, volume.mount.mount_point);
    return 1;
}

int check_usbdev_is_active(int index)
{
    const Inventory all(nullptr);
    const UsbDevInfo *info = find_by_index(all, index);
    if (info == nullptr)
        return 0;
    const std::string_view interface_class = info->interface_class;
    if (interface_class == printer_class)
        return get_cupsd_config(nullptr);
    if (interface_class == storage_class)
        return get_num_of_mountdev(info->devname) > 0;
    return get_ifexist("lte0");
}

int check_usbdev_exist_by_idx(int index)
{
    const Inventory all(nullptr);
    return find_by_index(all, index) != nullptr;
}

int get_usbdev_conneted_mode(int index)
{
    const Inventory all(nullptr);
    const UsbDevInfo *info = find_by_index(all, index);
    return info != nullptr ? info->connected_mode : 0;
}

int turnoff_usbled(void)
{
    if (check_usbdev_is_active(1) == 0)
        set_usbled(1, 0);
    return 0;
}

using IndexKey = char[64];

int set_usbdev_idx_cache(const char *devname, int index)
{
    IndexKey key;
    format_text(key, "usbdevidx_%s", devname);
    istatus_set_intvalue_direct(key, index);
    return 0;
}

int get_usbdev_idx_cache(const char *devname)
{
    IndexKey key;
    // A partition finds its disk's entry.
    format_text(key, "usbdevidx_%.3s", devname);
    return istatus_get_intvalue_direct(key);
}
