/* nasctl upnp: what should be mapped at the upstream gateway, and what that says. */
#include "commands.h"

#include "gateway.h"
#include "output.h"
#include "settings.h"
#include "state.h"
#include "text.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <memory>

namespace nasctl
{
namespace
{

struct Row {
    upnp::WantedMapping wanted; /* the internal port is 0 for one that is still to be closed */
    std::optional<upnp::Target> target;
};

bool agent_listens()
{
    std::string path = nashost::setting("upnp_socket");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return false;
    nashost::copy_cut(address.sun_path, sizeof address.sun_path, path);
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool listens = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return listens;
}

std::string target_text(const std::optional<upnp::Target> &target)
{
    return target ? target->address + ":" + std::to_string(target->port) : "not mapped";
}

std::string standing_of(const Row &row)
{
    return row.wanted.mapping.internal == 0 ? "closing" : upnp::standing_word(row.wanted.standing);
}

Json row_json(const Row &row, bool asked)
{
    const upnp::Mapping &mapping = row.wanted.mapping;
    Json json = {{"protocol", mapping.protocol},
                 {"external_port", mapping.external},
                 {"internal_port", mapping.internal},
                 {"name", mapping.name},
                 {"standing", standing_of(row)}};
    if (row.wanted.standing == upnp::Standing::refused)
        json["error"] = row.wanted.error;
    if (asked)
        json["gateway_target"] = row.target ? Json(target_text(row.target)) : Json();
    return json;
}

std::string standing_text(const Row &row)
{
    bool refused = row.wanted.standing == upnp::Standing::refused;
    return standing_of(row) + (refused ? " (" + std::to_string(row.wanted.error) + ")" : "");
}

void print_rows(const std::vector<Row> &rows, bool asked)
{
    std::vector<std::vector<std::string>> table = {{"PORT", "PROTOCOL", "NAME", "AGENT", "GATEWAY"}};
    for (const Row &row : rows) {
        const upnp::Mapping &mapping = row.wanted.mapping;
        table.push_back({std::to_string(mapping.external), mapping.protocol, mapping.name, standing_text(row),
                         asked ? target_text(row.target) : "does not answer"});
    }
    print_table(table);
}

void print_upnp()
{
    upnp::State state = upnp::read_state();
    std::unique_ptr<upnp::Gateway> gateway = upnp::Gateway::find(state.gateway, nashost::setting("wan"));
    std::string address = gateway != nullptr ? gateway->external_address() : "";
    for (const upnp::Mapping &mapping : state.closing)
        state.wanted.push_back({mapping});
    std::vector<Row> rows;
    for (const upnp::WantedMapping &wanted : state.wanted)
        rows.push_back({wanted, gateway != nullptr ? gateway->target(wanted.mapping) : std::nullopt});

    bool agent = agent_listens();
    if (json_wanted) {
        Json mappings = Json::array();
        for (const Row &row : rows)
            mappings.push_back(row_json(row, gateway != nullptr));
        return print_json({{"agent", agent},
                           {"gateway", gateway != nullptr ? Json(gateway->description()) : Json()},
                           {"external_address", address},
                           {"mappings", mappings}});
    }
    print_line(agent ? "The agent runs." : "The agent does not run.");
    if (gateway == nullptr)
        print_line("No gateway with UPnP answers.");
    else
        print_line("The gateway is " + gateway->description() +
                   (address.empty() ? "" : ", on the internet " + address));
    print_line("");
    if (rows.empty())
        return print_line("No port is to be mapped.");
    print_rows(rows, gateway != nullptr);
}

} // namespace

void add_upnp_command(CLI::App &app)
{
    app.add_subcommand("upnp", "The ports that the upstream gateway should let in, and whether it does")
        ->callback(print_upnp);
}

} // namespace nasctl
