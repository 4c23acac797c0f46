#include "support/sysfs.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace nas_test
{
namespace
{

const std::string controller = "devices/pci0000:00/0000:00:12.0/";

struct Device {
    std::string folder = {}; // below /sys
    std::vector<std::string> interfaces = {};
    std::vector<std::string> node_paths = {}; // below the folder
    std::set<std::string> node_names = {};
};

// "usb1", "usb1/1-1", "usb1/1-1/1-1.4"
std::string folder_of(const std::string &device)
{
    if (device.starts_with("usb"))
        return controller + device;
    std::string folder = controller + "usb" + device.substr(0, device.find('-'));
    for (std::size_t dot = device.find('.'); dot != std::string::npos; dot = device.find('.', dot + 1))
        folder += "/" + device.substr(0, dot);
    return folder + "/" + device;
}

// From a folder below /sys up to it.
std::string way_up(const std::string &folder)
{
    std::string up = "../";
    for (const char c : folder)
        up += c == '/' ? "../" : "";
    return up;
}

void answer_searches(RecordingHost &host, const Device &device)
{
    for (const std::string &interface : device.interfaces) {
        for (const char *place : {"/sys/bus/usb/devices//", "/sys/bus/usb/devices/", ""}) {
            const std::string folder = place + interface + "/..";
            for (const std::string &name : device.node_names) {
                std::string output;
                for (const std::string &path : device.node_paths) {
                    if (path.find(name) != std::string::npos)
                        output += folder + "/" + path + "\n";
                }
                host.on_command("/usr/bin/find " + folder + " | grep " + name, {0}, output);
            }
        }
    }
}

class Builder
{
  public:
    explicit Builder(Sandbox &sandbox) : sandbox_(sandbox)
    {
    }

    // False when the line is not understood.
    bool add(const std::string &line)
    {
        const std::size_t equals = line.find('=');
        if (equals != std::string::npos) {
            sandbox_.put_file("/sys/" + device().folder + "/" + line.substr(0, equals), line.substr(equals + 1) + "\n");
            return true;
        }
        std::istringstream words(line);
        std::string kind;
        std::string name;
        words >> kind >> name;
        if (kind == "device")
            add_device(name);
        else if (kind == "interface")
            add_interface(name, words);
        else if (kind == "block")
            add_disk(name, words);
        else if (kind == "printer")
            add_printer(name, words);
        else
            return kind.empty() || kind == "#";
        return true;
    }

    const std::vector<Device> &devices() const
    {
        return devices_;
    }

  private:
    Device &device()
    {
        return devices_.back();
    }

    void add_device(const std::string &name)
    {
        devices_.push_back({.folder = folder_of(name)});
        describe(device().folder, "bus/usb", "DEVTYPE=usb_device\n");
        sandbox_.put_link("/sys/bus/usb/devices/" + name, "../../../" + device().folder);
    }

    void add_interface(const std::string &name, std::istringstream &words)
    {
        const std::string folder = device().folder + "/" + name;
        device().interfaces.push_back(name);
        describe(folder, "bus/usb", "DEVTYPE=usb_interface\n");
        sandbox_.put_link("/sys/bus/usb/devices/" + name, "../../../" + folder);
        std::string interface_class;
        if (words >> interface_class)
            sandbox_.put_file("/sys/" + folder + "/bInterfaceClass", interface_class + "\n");
    }

    void add_disk(const std::string &name, std::istringstream &words)
    {
        const std::string path = device().interfaces.back() + "/host0/target0:0:0/0:0:0:0/block/" + name;
        add_node(name, path, "block", "DEVTYPE=disk\n");
        sandbox_.put_link("/sys/block/" + name, "../" + device().folder + "/" + path);
        std::string partition;
        while (words >> partition)
            add_node(partition, path + "/" + partition, "block", "DEVTYPE=partition\n");
        device().node_names.insert(name); // a partition is found by its disk's name
    }

    void add_printer(const std::string &type, std::istringstream &words)
    {
        std::string name;
        words >> name;
        const std::string path = device().interfaces.back() + "/" + type + "/" + name;
        add_node(name, path, type, "");
        device().node_names.insert(name);
    }

    void add_node(const std::string &name, const std::string &path, const std::string &type, const std::string &facts)
    {
        const std::string folder = device().folder + "/" + path;
        describe(folder, "class/" + type, "DEVNAME=" + name + "\n" + facts);
        keep_link("/sys/class/" + type + "/" + name, "../../" + folder);
        device().node_paths.push_back(path);
    }

    // What the kernel tells of every device.
    void describe(const std::string &folder, const std::string &subsystem, const std::string &uevent)
    {
        sandbox_.put_dir("/sys/" + folder);
        sandbox_.put_file("/sys/" + folder + "/uevent", uevent);
        keep_link("/sys/" + folder + "/subsystem", way_up(folder) + subsystem);
    }

    // A test that takes a device away, for it to come back, leaves what the library does not look at.
    void keep_link(const std::string &path, const std::string &target)
    {
        if (!exists(path))
            sandbox_.put_link(path, target);
    }

    Sandbox &sandbox_;
    std::vector<Device> devices_;
};

} // namespace

void plug(Sandbox &sandbox, RecordingHost &host, std::string_view devices)
{
    Builder builder(sandbox);
    std::istringstream text{std::string(devices)};
    std::string line;
    while (std::getline(text, line)) {
        if (!builder.add(line)) {
            std::fprintf(stderr, "sysfs: not understood: %s\n", line.c_str());
            std::abort();
        }
    }
    for (const Device &device : builder.devices())
        answer_searches(host, device);
}

} // namespace nas_test
