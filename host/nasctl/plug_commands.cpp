/* nasctl plug, nasctl unplug: where the USB port is a program, disk images are its disks. */
#include "commands.h"

#include "output.h"
#include "settings.h"
#include "text.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

namespace nasctl
{
namespace
{

constexpr int wrong_usage = 2;

/* Files, not pipes: what the program says is short, and whatever it leaves running must not keep us waiting. */
struct Output {
    int fd = memfd_create("output", MFD_CLOEXEC);

    std::string text() const
    {
        char part[4096];
        const ssize_t length = pread(fd, part, sizeof part, 0);
        return std::string(part, length > 0 ? static_cast<size_t>(length) : 0);
    }
};

/* The exit status; -1 when the program could not be run, or was killed. */
int run(std::vector<std::string> words, const Output &output, const Output &errors)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output.fd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors.fd, STDERR_FILENO);
    pid_t child = 0;
    const int error = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    while (error == 0 && waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    return error == 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/* What the program says, without its name in front of the lines. */
std::string message_of(const Output &errors)
{
    std::string message;
    for (const std::string &line : nashost::split(errors.text(), '\n')) {
        const size_t colon = line.find(": ");
        const bool is_named = colon != std::string::npos && line.find(' ') > colon;
        message += (message.empty() || line.empty() ? "" : "; ") + (is_named ? line.substr(colon + 2) : line);
    }
    return message;
}

/* Runs the port's program; what it prints, word by word. */
std::vector<std::string> ask_port(std::vector<std::string> words)
{
    const std::string program = nashost::setting("usb_port_program");
    if (program.empty())
        throw Failure("the USB ports of this device are real ones: disks are plugged in by hand");
    words.insert(words.begin(), program);
    Output output, errors;
    const int status = run(words, output, errors);
    const std::string message = message_of(errors);
    if (status == wrong_usage)
        throw UsageError(message);
    if (status != 0)
        throw Failure(message.empty() ? program + " failed" : message);
    if (!message.empty())
        print_error(message);
    return nashost::split(std::string(nashost::trimmed(output.text())), ' ');
}

struct Plug {
    std::string image;
    std::string disk;
    std::string folder;
};

void plug(const Plug &wanted)
{
    std::vector<std::string> words = {"plug", std::filesystem::absolute(wanted.image)}; // it never looks like an option
    if (!wanted.disk.empty())
        words.insert(words.end(), {"--disk", wanted.disk});
    if (!wanted.folder.empty())
        words.insert(words.end(), {"--folder", wanted.folder});

    const std::vector<std::string> answer = ask_port(words);
    const std::vector<std::string> mount_points(answer.begin() + 1, answer.end());
    if (json_wanted)
        return print_json({{"disk", answer.front()}, {"mount_points", mount_points}});
    std::string line = answer.front();
    for (const std::string &mount_point : mount_points)
        line += " " + mount_point;
    print_line(line);
}

void unplug(const std::string &disk)
{
    ask_port({"unplug", disk});
    if (json_wanted)
        print_json({{"disk", disk}});
}

} // namespace

void add_plug_commands(CLI::App &app)
{
    auto wanted = std::make_shared<Plug>();
    CLI::App *plug_command =
        app.add_subcommand("plug", "Plug a disk image in, as a USB disk (in the virtual router only)");
    plug_command->add_option("IMAGE", wanted->image, "The disk image")->required();
    plug_command->add_option("--disk", wanted->disk, "The disk's name, sda to sdp (default: the first free one)");
    plug_command->add_option("--folder", wanted->folder,
                             "The folder's name below /tmp/mnt, for an image with one volume");
    plug_command->callback([wanted] { plug(*wanted); });

    auto disk = std::make_shared<std::string>();
    CLI::App *unplug_command = app.add_subcommand("unplug", "Pull a disk out that was plugged in as an image");
    unplug_command->add_option("DISK", *disk, "The disk, for example sda")->required();
    unplug_command->callback([disk] { unplug(*disk); });
}

} // namespace nasctl
