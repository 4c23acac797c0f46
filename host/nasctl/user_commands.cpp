/* nasctl user list|show|add|set|remove */
#include "commands.h"

#include "password_input.h"
#include "services.h"
#include "users.h"

#include <memory>

namespace nasctl
{
namespace
{

struct Arguments {
    std::string service, name;
    UserChange change;
    bool ask_password = false;
    bool no_apply = false;
};

void print_users(const std::vector<StoredUser> &users)
{
    Json json = Json::array();
    std::vector<std::vector<std::string>> rows = {{"SERVICE", "SLOT", "NAME", "PERMISSION", "FOLDER"}};
    for (const StoredUser &stored : users) {
        json.push_back(user_json(stored));
        rows.push_back({stored.service, std::to_string(stored.slot), stored.user.id,
                        permission_word(stored.user.permission),
                        stored.user.folder[0] != '\0' ? stored.user.folder : "(all)"});
    }
    if (json_wanted)
        print_json(json);
    else
        print_table(rows);
}

/* Tells what was done, then starts the service anew: should it not come up, that is a failure of its own. */
void finish(const Arguments &arguments, const char *done, Json user)
{
    if (!json_wanted)
        print_line(arguments.service + ": the user " + arguments.name + " was " + done);
    bool applied = !arguments.no_apply && restart_if_enabled(arguments.service);
    user["applied"] = applied;
    if (json_wanted)
        print_json(user);
    else if (applied)
        print_line(arguments.service + ": started anew");
}

void add(Arguments &arguments)
{
    check_new_user(arguments.service, arguments.name);
    if (!arguments.change.password)
        arguments.change.password = read_password();
    StoredUser added = add_user(arguments.service, arguments.name, arguments.change);
    finish(arguments, "added", user_json(added));
}

void set(Arguments &arguments)
{
    UserChange &change = arguments.change;
    if (!arguments.ask_password && !change.password && !change.permission && !change.folder)
        throw UsageError("nothing is to be changed: give --password, --ask-password, --permission or --folder");
    find_user(arguments.service, arguments.name);
    if (arguments.ask_password)
        change.password = read_password();
    StoredUser changed = change_user(arguments.service, arguments.name, change);
    finish(arguments, "changed", user_json(changed));
}

void remove(const Arguments &arguments)
{
    StoredUser removed = find_user(arguments.service, arguments.name);
    remove_user(arguments.service, arguments.name);
    finish(arguments, "removed", user_json(removed));
}

void add_who(CLI::App *command, const std::shared_ptr<Arguments> &arguments)
{
    command->add_option("-s,--service", arguments->service, "One of: " + services_with_users())->required();
    command->add_option("NAME", arguments->name, "Up to 31 letters, digits, '.', '_' and '-'")->required();
}

CLI::Option *add_changes(CLI::App *command, const std::shared_ptr<Arguments> &arguments)
{
    command->add_option("--permission", arguments->change.permission, "rw, ro or none (a new user: rw)");
    command->add_option("--folder", arguments->change.folder,
                        "Disk1: only that disk; Disk1:Film: only that folder of it; empty: everything");
    command->add_flag("--no-apply", arguments->no_apply, "Do not start the service anew");
    return command->add_option("--password", arguments->change.password,
                               "Other processes can read it from the command line for a moment");
}

} // namespace

void add_user_commands(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *user = app.add_subcommand("user", "Who may use a service, at most five each");
    user->require_subcommand(1);

    CLI::App *list = user->add_subcommand("list", "The users of a service, or of all");
    list->add_option("-s,--service", arguments->service, "One of: " + services_with_users());
    list->callback([arguments] { print_users(users_of(arguments->service)); });
    CLI::App *show = user->add_subcommand("show", "One user");
    add_who(show, arguments);
    show->callback([arguments] { print_users({find_user(arguments->service, arguments->name)}); });

    CLI::App *add_command = user->add_subcommand("add", "Let a user in; the password is asked for, or read from "
                                                        "standard input");
    add_who(add_command, arguments);
    add_changes(add_command, arguments);
    add_command->callback([arguments] { add(*arguments); });
    CLI::App *set_command = user->add_subcommand("set", "Change a user's password, permission or folder");
    add_who(set_command, arguments);
    CLI::Option *password = add_changes(set_command, arguments);
    set_command->add_flag("--ask-password", arguments->ask_password, "Ask for it, or read it from standard input")
        ->excludes(password);
    set_command->callback([arguments] { set(*arguments); });
    CLI::App *remove_command = user->add_subcommand("remove", "Let a user in no more");
    add_who(remove_command, arguments);
    remove_command->add_flag("--no-apply", arguments->no_apply, "Do not start the service anew");
    remove_command->callback([arguments] { remove(*arguments); });
}

} // namespace nasctl
