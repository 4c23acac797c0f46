/* nasctl config list|get|set|unset: the raw records of the stores. */
#include "commands.h"

#include "platform/store.h"

#include "key_value_file.h"
#include "output.h"
#include "text.h"

#include <memory>

namespace nasctl
{
namespace
{

constexpr size_t longest_key = 127;

struct Arguments {
    std::string key, value, prefix;
    bool status = false;
};

void check_key(const std::string &key)
{
    if (key.empty() || key.size() > longest_key || std::any_of(key.begin(), key.end(), nashost::is_control))
        throw UsageError("a key is 1 to " + std::to_string(longest_key) + " bytes without control characters");
}

void list(const Arguments &arguments)
{
    std::vector<std::pair<std::string, std::string>> pairs;
    if (!nashost::list_values(arguments.status ? nashost::status_file() : nashost::config_file(), pairs))
        throw Failure("the store cannot be read");
    Json json = Json::object();
    std::vector<std::vector<std::string>> rows = {{"KEY", "VALUE"}};
    for (const auto &[key, value] : pairs) {
        if (!key.starts_with(arguments.prefix))
            continue;
        json[key] = value;
        rows.push_back({key, value});
    }
    if (json_wanted)
        print_json(json);
    else
        print_table(rows);
}

void get(const Arguments &arguments)
{
    char value[NAS_STORE_VALUE_SIZE];
    int result = arguments.status ? istatus_get_value_direct(arguments.key.c_str(), value)
                                  : iconfig_get_value_direct(arguments.key.c_str(), value);
    if (result != 0)
        throw Failure(arguments.key + ": it is not set");
    if (json_wanted)
        print_json({{"key", arguments.key}, {"value", value}});
    else
        print_line(value);
}

void set(const Arguments &arguments)
{
    check_key(arguments.key);
    if (arguments.value.size() >= NAS_STORE_VALUE_SIZE)
        throw UsageError("a value is at most " + std::to_string(NAS_STORE_VALUE_SIZE - 1) + " bytes long");
    int result = arguments.status ? istatus_set_value_direct(arguments.key.c_str(), arguments.value.c_str())
                                  : iconfig_set_value_direct(arguments.key.c_str(), arguments.value.c_str());
    if (result != 0)
        throw Failure(arguments.key + ": it could not be stored");
}

void unset(const Arguments &arguments)
{
    int result = arguments.status ? istatus_remove_status_tag(arguments.key.c_str())
                                  : iconfig_remove_config_tag(arguments.key.c_str());
    if (result != 0)
        throw Failure(arguments.key + ": it is not set");
}

} // namespace

void add_config_commands(CLI::App &app)
{
    auto arguments = std::make_shared<Arguments>();
    CLI::App *config = app.add_subcommand("config", "The records of the configuration store");
    config->require_subcommand(1);
    config->add_flag("--status", arguments->status, "Use the volatile status store instead");

    CLI::App *list_command = config->add_subcommand("list", "All records");
    list_command->add_option("PREFIX", arguments->prefix, "Only keys that begin with it");
    list_command->callback([arguments] { list(*arguments); });
    CLI::App *get_command = config->add_subcommand("get", "Print a record");
    get_command->add_option("KEY", arguments->key, "The record's name")->required();
    get_command->callback([arguments] { get(*arguments); });
    CLI::App *set_command = config->add_subcommand("set", "Write a record; no service is told of it");
    set_command->add_option("KEY", arguments->key, "The record's name")->required();
    set_command->add_option("VALUE", arguments->value, "Up to 1023 bytes; nothing checks them")->required();
    set_command->callback([arguments] { set(*arguments); });
    CLI::App *unset_command = config->add_subcommand("unset", "Remove a record");
    unset_command->add_option("KEY", arguments->key, "The record's name")->required();
    unset_command->callback([arguments] { unset(*arguments); });
}

} // namespace nasctl
