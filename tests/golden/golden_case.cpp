#include "golden/golden_case.h"

#include "support/sysfs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace nas_test
{
namespace
{

[[noreturn]] void fail(const std::string &what)
{
    std::fprintf(stderr, "golden: %s: %s\n", what.c_str(), std::strerror(errno));
    std::abort();
}

// The checkout may lie where a sandbox covers it: everything is opened relative to this descriptor.
int golden_folder()
{
    static const int folder = open(NAS_GOLDEN_FOLDER, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        fail(NAS_GOLDEN_FOLDER);
    return folder;
}

std::vector<std::string> names_in(int folder, const std::string &path)
{
    std::vector<std::string> names;
    const int opened = openat(folder, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        return names;
    DIR *const directory = fdopendir(opened);
    while (const dirent *entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> read_at(int folder, const std::string &path)
{
    const int file = openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return std::nullopt;
    std::string text;
    char part[4096];
    ssize_t got = 0;
    while ((got = read(file, part, sizeof part)) > 0)
        text.append(part, static_cast<std::size_t>(got));
    close(file);
    if (got < 0)
        return std::nullopt; // a folder
    return text;
}

void write_at(int folder, const std::string &path, const std::string &text)
{
    for (std::size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1))
        mkdirat(folder, path.substr(0, at).c_str(), 0755);
    const int file = openat(folder, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        fail(path);
    close(file);
}

// Every regular file below `folder`/`below`, under the path that follows `folder`.
void read_files_below(int base, const std::string &folder, const std::string &below,
                      std::map<std::string, std::string> &files)
{
    for (const std::string &name : names_in(base, folder + below)) {
        const std::string path = below + "/" + name;
        struct stat facts;
        if (path == "/tmp/mnt" || fstatat(base, (folder + path).c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(facts.st_mode))
            read_files_below(base, folder, path, files);
        else if (S_ISREG(facts.st_mode))
            files[path] = read_at(base, folder + path).value_or("");
    }
}

// "\n", "\t", "\\" and "\xHH" stand for what they do in C.
std::string unescape(std::string_view text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        switch (text[++i]) {
        case 'n':
            plain += '\n';
            break;
        case 't':
            plain += '\t';
            break;
        case 'x':
            plain += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
            i += 2;
            break;
        default:
            plain += text[i];
        }
    }
    return plain;
}

// Takes the first word off.
std::string next_word(std::string_view &text)
{
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string word(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

std::vector<std::string> words_of(std::string_view text)
{
    std::vector<std::string> all;
    while (!text.empty())
        all.push_back(next_word(text));
    return all;
}

mode_t octal(const std::string &text)
{
    return static_cast<mode_t>(std::stoul(text, nullptr, 8));
}

std::vector<int> numbers(const std::string &text)
{
    std::vector<int> all;
    std::istringstream stream(text);
    std::string part;
    while (std::getline(stream, part, ','))
        all.push_back(std::stoi(part));
    return all;
}

struct Setup {
    Sandbox &sandbox;
    RecordingHost &host;
    GoldenCase golden = {};
    std::string mounts = {};
    std::vector<std::string> failing_paths = {};

    void add_process(std::string_view rest)
    {
        Process process;
        process.name = next_word(rest);
        while (!rest.empty()) {
            const std::string option = next_word(rest);
            if (option == "only-forced")
                process.only_forced = true;
            else if (option == "immortal")
                process.kills = -1;
            else if (option.starts_with("kills="))
                process.kills = std::stoi(option.substr(6));
            else if (option.starts_with("looks="))
                process.looks = std::stoi(option.substr(6));
            else
                golden.complaint = "unknown option: " + option;
        }
        host.add_process(process);
    }

    void set_value(Store &store, std::string_view rest)
    {
        const std::string key = next_word(rest);
        if (next_word(rest) != "=")
            golden.complaint = "no \" = \" behind " + key;
        store.values[key] = unescape(rest);
    }

    // "####" in the path stands for each number from the first to the last, in four digits.
    void put_dirs(std::string_view rest)
    {
        const int first = std::stoi(next_word(rest));
        const int last = std::stoi(next_word(rest));
        const mode_t mode = octal(next_word(rest));
        const std::string path = unescape(rest);
        const std::size_t at = path.find("####");
        if (at == std::string::npos) {
            golden.complaint = "no #### in " + path;
            return;
        }
        for (int number = first; number <= last; ++number) {
            char digits[16];
            std::snprintf(digits, sizeof digits, "%04d", number);
            sandbox.put_dir(path.substr(0, at) + digits + path.substr(at + 4), mode);
        }
    }

    // The USB LED's mode, and the hours that it is dark from and to.
    void set_leds(std::string_view rest)
    {
        const int mode = std::stoi(next_word(rest));
        const int start = std::stoi(next_word(rest));
        host.device.silent_leds =
            LedSilentControl{.mode = mode, .start_hour = start, .end_hour = std::stoi(std::string(rest))};
    }

    void plug_in(std::string_view device)
    {
        if (device == "phone")
            plug(sandbox, host, usb::phone);
        else if (device == "printer")
            plug(sandbox, host, usb::printer);
        else
            golden.complaint = "unknown device: " + std::string(device);
    }

    // What a router with a phone on its USB port knows of its WAN; false when the word is none of these.
    bool apply_wan_fact(const std::string &word, std::string_view rest)
    {
        if (word == "interface") {
            host.network.interfaces.insert(std::string(rest));
        } else if (word == "wan-link") {
            host.network.links.insert("wan1");
        } else if (word == "wan-set-up") {
            host.network.set_up.insert("wan1");
        } else if (word == "wan-type") {
            host.network.wan_type["wan1"] = rest;
        } else if (word == "wan-hardware") {
            host.network.hw_ifname["wan1"] = rest;
        } else if (word == "static-wan") {
            host.network.static_wan = words_of(rest);
        } else if (word == "dns") {
            const std::string ifname = next_word(rest);
            const std::string type = next_word(rest);
            host.network.dns[ifname + " " + type] = words_of(rest);
        } else if (word == "fixed-dns") {
            host.network.dns_is_automatic = false;
        } else if (word == "gateway-check") {
            host.network.gateway_check = std::stoi(std::string(rest));
        } else if (word == "refuses-route") {
            host.network.refused_routes.insert(std::string(rest));
        } else {
            return false;
        }
        return true;
    }

    // Network and device; false when the word is none of theirs.
    bool apply_fact(const std::string &word, std::string_view rest)
    {
        if (word == "wan")
            host.network.wan_ip["wan1"] = rest;
        else if (word == "lan")
            host.network.address["br-lan"] = rest;
        else if (word == "hwaddr")
            host.network.hwaddr["eth1"] = rest;
        else if (word == "product")
            host.device.product = unescape(rest);
        else if (word == "gateway")
            host.network.gateway["br-lan"] = rest;
        else if (word == "local-gateway")
            host.network.gateway_is_local = true;
        else if (word == "factory")
            host.device.factory_test_mode = true;
        else if (word == "leds")
            set_leds(rest);
        else if (word == "usb")
            plug_in(rest);
        else
            return apply_wan_fact(word, rest);
        return true;
    }

    // "HOST CREDENTIAL"
    void put_ddns(std::string_view rest)
    {
        DdnsConfig account = {};
        next_word(rest).copy(account.host_name, sizeof account.host_name - 1);
        rest.copy(account.credential, sizeof account.credential - 1);
        host.device.ddns["kelsto_router"] = {account};
    }

    // The command of the line before does to the world what this line says.
    void add_effect(std::string_view line)
    {
        const bool known = line.starts_with("dir ") || line.starts_with("file ") || line.starts_with("link ") ||
                           line.starts_with("process ");
        if (!known || host.commands.empty()) {
            golden.complaint = "no effect, or of no command: " + std::string(line);
            return;
        }
        host.commands.back().effect = [&box = sandbox, &world = host, effect = std::string(line)] {
            Setup{box, world}.apply(effect);
        };
    }

    void apply(std::string_view line)
    {
        std::string_view rest = line;
        const std::string word = next_word(rest);
        if (word == "call") {
            golden.function = next_word(rest);
            if (!rest.empty())
                golden.mode = std::string(rest);
        } else if (word == "origin") {
            golden.origin = std::string(rest);
        } else if (word == "run-count") {
            golden.run_count = std::stoi(std::string(rest));
        } else if (word == "ddns") {
            put_ddns(rest);
        } else if (word == "neighbour") {
            const std::string address = next_word(rest);
            host.network.neighbour[address] = rest;
        } else if (word == "config") {
            set_value(host.config, rest);
        } else if (word == "status") {
            set_value(host.status, rest);
        } else if (word == "mount") {
            mounts += unescape(rest) + " rw 0 0\n";
        } else if (word == "dir") {
            const mode_t mode = octal(next_word(rest));
            sandbox.put_dir(unescape(rest), mode);
        } else if (word == "file") {
            const mode_t mode = octal(next_word(rest));
            const std::string path = unescape(next_word(rest));
            sandbox.put_file(path, unescape(rest), mode);
        } else if (word == "dirs") {
            put_dirs(rest);
        } else if (word == "link") {
            const std::string path = unescape(next_word(rest));
            sandbox.put_link(path, unescape(rest));
        } else if (word == "process") {
            add_process(rest);
        } else if (word == "exits") {
            const std::vector<int> statuses = numbers(next_word(rest));
            host.on_command(unescape(rest), statuses);
        } else if (word == "does") {
            add_effect(rest);
        } else if (word == "fails") {
            failing_paths.push_back(unescape(rest));
        } else if (!apply_fact(word, rest)) {
            golden.complaint = "unknown line: " + std::string(line);
        }
    }
};

} // namespace

std::vector<std::string> find_golden_cases()
{
    std::vector<std::string> cases;
    for (const std::string &family : names_in(golden_folder(), ".")) {
        for (const std::string &name : names_in(golden_folder(), family)) {
            if (faccessat(golden_folder(), (family + "/" + name + "/case").c_str(), F_OK, 0) == 0)
                cases.push_back(family + "/" + name);
        }
    }
    return cases;
}

std::string golden_function(const std::string &folder)
{
    std::istringstream stream(read_at(golden_folder(), folder + "/case").value_or(""));
    std::string line;
    while (std::getline(stream, line)) {
        std::string_view rest = line;
        if (next_word(rest) == "call")
            return next_word(rest);
    }
    return {};
}

GoldenCase set_up_golden_case(const std::string &folder, Sandbox &sandbox, RecordingHost &host)
{
    Setup setup{sandbox, host};
    const std::optional<std::string> text = read_at(golden_folder(), folder + "/case");
    if (!text) {
        setup.golden.complaint = "cannot be read";
        return setup.golden;
    }
    std::istringstream stream(*text);
    std::string line;
    while (std::getline(stream, line)) {
        if (!line.empty() && line[0] != '#')
            setup.apply(line);
    }
    sandbox.set_mounts(setup.mounts);
    host.fails = [paths = setup.failing_paths](const std::string &path) {
        return std::find(paths.begin(), paths.end(), path) != paths.end();
    };
    return setup.golden;
}

GoldenState read_expectation(const std::string &folder)
{
    GoldenState state;
    state.transcript = read_at(golden_folder(), folder + "/transcript").value_or("");
    state.tree = read_at(golden_folder(), folder + "/tree").value_or("");
    read_files_below(golden_folder(), folder + "/files", "", state.files);
    return state;
}

void write_expectation(const std::string &folder, const GoldenState &state)
{
    for (const auto &[path, text] : read_expectation(folder).files)
        unlinkat(golden_folder(), (folder + "/files" + path).c_str(), 0);
    write_at(golden_folder(), folder + "/transcript", state.transcript);
    write_at(golden_folder(), folder + "/tree", state.tree);
    for (const auto &[path, text] : state.files)
        write_at(golden_folder(), folder + "/files" + path, text);
}

std::map<std::string, std::string> read_tree_files()
{
    std::map<std::string, std::string> files;
    for (const char *folder : {"/etc", "/mnt", "/tmp", "/var"})
        read_files_below(AT_FDCWD, "", folder, files);
    return files;
}

} // namespace nas_test
