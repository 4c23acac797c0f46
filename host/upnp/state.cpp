#include "state.h"

#include "files.h"
#include "settings.h"
#include "text.h"

#include <optional>

namespace upnp
{
namespace
{

constexpr size_t longest_file = 65536;
constexpr Standing standings[] = {Standing::waiting, Standing::mapped, Standing::refused};

constexpr std::string_view closing_word = "closing";

/* "tcp,21,21,ns_ftp_21 mapped 0", "tcp,21,0,null closing" */
void take_mapping(State &state, const std::vector<std::string> &words)
{
    std::optional<Mapping> mapping = parse_mapping(words[0]);
    if (!mapping)
        return;
    if (words.size() == 2 && words[1] == closing_word)
        state.closing.push_back(*mapping);
    if (words.size() != 3 || mapping->internal == 0)
        return;
    for (Standing standing : standings) {
        if (words[1] == standing_word(standing))
            state.wanted.push_back({*mapping, standing, nashost::decimal_value(words[2].c_str())});
    }
}

} // namespace

std::string state_path()
{
    std::string path = nashost::setting("upnp_state");
    return path.empty() ? nashost::setting("upnp_socket") + ".state" : path;
}

State read_state()
{
    State state;
    std::string text = nashost::read_text(state_path(), longest_file).value_or("");
    for (const std::string &line : nashost::split(text, '\n')) {
        std::vector<std::string> words = nashost::split(line, ' ');
        if (words.size() == 2 && words[0] == "gateway")
            state.gateway = words[1];
        else
            take_mapping(state, words);
    }
    return state;
}

bool write_state(const State &state)
{
    std::string text;
    if (!state.gateway.empty())
        text = "gateway " + state.gateway + "\n";
    for (const WantedMapping &wanted : state.wanted)
        text += mapping_word(wanted.mapping) + " " + standing_word(wanted.standing) + " " +
                std::to_string(wanted.error) + "\n";
    for (const Mapping &mapping : state.closing)
        text += mapping_word(mapping) + " " + std::string(closing_word) + "\n";
    return nashost::replace_file(state_path(), text);
}

const char *standing_word(Standing standing)
{
    switch (standing) {
    case Standing::mapped:
        return "mapped";
    case Standing::refused:
        return "refused";
    case Standing::waiting:
        break;
    }
    return "waiting";
}

} // namespace upnp
