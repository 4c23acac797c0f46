/* nasctl doctor: is a host library fit for libnas? */
#include "commands.h"

#include "output.h"
#include "settings.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace nasctl
{
namespace
{

struct Arguments {
    std::string host;
    bool all = false;
};

/* Another program takes over: it must not have a host of its own. */
void examine(const Arguments &arguments)
{
    std::string program = nashost::setting("doctor_program");
    std::vector<std::string> words = {program};
    if (!arguments.host.empty())
        words.insert(words.end(), {"--host", arguments.host});
    if (arguments.all)
        words.emplace_back("--all");
    if (json_wanted)
        words.emplace_back("--json");
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    fflush(stdout);
    execv(program.c_str(), pointers.data());
    throw Failure(program + " cannot be started: " + strerror(errno));
}

} // namespace

void add_doctor_command(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *doctor = app.add_subcommand("doctor", "Whether a host library keeps what libnas expects of it");
    doctor->add_option("--host", arguments->host, "The library's file, instead of the reference host");
    doctor->add_flag("--all", arguments->all, "Show what is right, too");
    doctor->footer("As root it tries everything, in a private world: nothing of the machine changes. Without root only "
                   "what changes nothing.\nExit status: 0 nothing is wrong, 1 something is, 2 wrong usage.");
    doctor->callback([arguments] { examine(*arguments); });
}

} // namespace nasctl
