/* nasctl reference: what there is to type, for the shell's completion and for the manual page. */
#include "commands.h"

#include <cstdio>

namespace nasctl
{
namespace
{

bool is_flag(const CLI::Option &option)
{
    return option.get_items_expected_max() == 0;
}

const char *kind(const CLI::Option &option)
{
    if (option.get_positional())
        return "argument";
    return is_flag(option) ? "flag" : "option";
}

/* How it is typed; in brackets what may be left out. */
std::string usage(const CLI::Option &option)
{
    std::string text = option.get_name(option.get_positional());
    if (!option.get_positional() && !is_flag(option))
        text += ' ' + option.get_type_name();
    if (option.get_items_expected_max() > 1)
        text += "...";
    return option.get_required() ? text : '[' + text + ']';
}

/* Lines of five columns with a tab between: the command's words, what it is about, the names of that, its usage, its
 * description. */
void print_entry(const std::string &path, const char *what, const std::string &names, const std::string &how,
                 const std::string &description)
{
    std::printf("%s\t%s\t%s\t%s\t%s\n", path.c_str(), what, names.c_str(), how.c_str(), description.c_str());
}

void print_command(const CLI::App &command, const std::string &path)
{
    for (const CLI::Option *option : command.get_options()) {
        if (!option->get_group().empty())
            print_entry(path, kind(*option), option->get_name(option->get_positional(), true), usage(*option),
                        option->get_description());
    }
    for (const CLI::App *next : command.get_subcommands(nullptr)) {
        if (next->get_group().empty())
            continue;
        print_entry(path, "command", next->get_name(), next->get_name(), next->get_description());
        print_command(*next, path.empty() ? next->get_name() : path + ' ' + next->get_name());
    }
}

} // namespace

void add_reference_command(CLI::App &app)
{
    CLI::App *reference = app.add_subcommand("reference", "All commands, options and arguments, one a line");
    reference->group(""); // not for the help: people have that
    reference->callback([&app] { print_command(app, ""); });
}

} // namespace nasctl
