/* What a shell's command line would run, as far as a plan has to know. */
#ifndef NASPLAN_COMMAND_LINE_H
#define NASPLAN_COMMAND_LINE_H

#include <string>
#include <vector>

namespace nasplan
{

/* The words of each simple command of the line, in order and without quotes; what is redirected is left out. */
std::vector<std::vector<std::string>> simple_commands(const std::string &line);

/* "/usr/bin/killall" is "killall". */
std::string program_name(const std::string &word);

enum class CommandKind {
    performed, /* asks a question or changes files: it is run in the private world */
    kill,      /* ends processes */
    assumed,   /* is not run: it is taken to do what it should */
};

CommandKind kind_of(const std::string &line);

} // namespace nasplan

#endif
