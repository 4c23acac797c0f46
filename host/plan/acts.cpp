#include "plan/acts.h"

#include "plan/command_line.h"
#include "text.h"

#include <map>
#include <set>
#include <string_view>

namespace nasplan
{
namespace
{

/* Cuts "-> 0" off. */
void take_status(Act &act)
{
    constexpr std::string_view arrow = " -> ";
    const size_t at = act.text.rfind(arrow);
    if (at == std::string::npos)
        return;
    const std::string status = act.text.substr(at + arrow.size());
    if (status == "failed")
        act.failed = true;
    else if (act.kind == "run" || act.kind == "list")
        act.status = nashost::decimal_value(status.c_str());
    else
        return;
    act.text.resize(at);
}

std::string topic_of_command(const std::string &line)
{
    static const std::set<std::string> account_programs = {"adduser", "deluser", "htdigest", "passwd", "smbpasswd"};
    for (const std::vector<std::string> &words : simple_commands(line)) {
        const std::string program = program_name(words.front());
        if (account_programs.contains(program))
            return "account";
        if (program == "iptables")
            return "nat";
        if (program == "pidof" || program == "find")
            return "question";
    }
    return "command";
}

} // namespace

Act act_of(const std::string &line)
{
    const size_t end = line.find(' ');
    Act act = {line.substr(0, end), end == std::string::npos ? "" : line.substr(end + 1), {}, false};
    if (act.kind.ends_with(':'))
        act.kind.pop_back();
    else
        take_status(act);
    return act;
}

std::string topic_of(const Act &act)
{
    static const std::map<std::string, std::string> topics = {
        {"upnp", "upnp"},     {"log", "log"},          {"request", "request"},     {"set", "store"},
        {"remove", "store"},  {"set-status", "store"}, {"remove-status", "store"}, {"ftp-private-ports", "store"},
        {"write", "file"},    {"chmod", "file"},       {"mkdir", "file"},          {"unlink", "file"},
        {"symlink", "file"},  {"rename", "file"},      {"rmdir", "file"},          {"sync", "file"},
        {"sleep", "wait"},    {"stdout", "output"},    {"stderr", "output"},       {"syslog", "output"},
        {"list", "question"}, {"kill", "command"},     {"kill-file", "command"}};
    if (act.kind == "run" || act.kind == "popen")
        return topic_of_command(act.text);
    const auto found = topics.find(act.kind);
    return found == topics.end() ? "setting" : found->second;
}

} // namespace nasplan
