/* nas-plan: what a run of a service would do, as JSON. nasctl plan shows it. */
#include "plan/acts.h"
#include "plan/changed_files.h"
#include "plan/diff.h"
#include "plan/live_host.h"
#include "plan/private_world.h"
#include "plan/run.h"
#include "plan/secrets.h"

#include "nas/service.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace nasplan
{
namespace
{

using Json = nlohmann::ordered_json;

struct Arguments {
    std::string service;
    std::string mode;
    std::string host = "libnashost.so.1";
    bool secrets = false;
};

Arguments arguments;

Json act_json(const Act &act, const std::vector<std::string> &secrets)
{
    Json json = {{"topic", topic_of(act)},
                 {"act", act.kind},
                 {"text", arguments.secrets ? act.text : without_secrets(act, secrets)}};
    if (act.status)
        json["status"] = *act.status;
    if (act.failed)
        json["failed"] = true;
    return json;
}

const char *change_word(Change change)
{
    switch (change) {
    case Change::made:
        return "made";
    case Change::changed:
        return "changed";
    case Change::removed:
        return "removed";
    case Change::written_alike:
        break;
    }
    return "written alike";
}

const char *kind_word(char kind)
{
    return kind == 'f' ? "file" : kind == 'd' ? "folder" : kind == 'l' ? "link" : "other";
}

std::string mode_text(unsigned mode)
{
    char text[8];
    snprintf(text, sizeof text, "%04o", mode);
    return text;
}

void add_content(Json &json, const ChangedFile &file, const std::vector<Act> &acts)
{
    const std::string before = file.before.kind == 'f' ? file.before.text : "";
    const std::string after = file.after.kind == 'f' ? file.after.text : "";
    const bool binary = before.find('\0') != std::string::npos || after.find('\0') != std::string::npos;
    if (file.after.kind == 'l')
        json["target"] = file.after.text;
    if (before == after)
        return;
    if (binary)
        json["hidden"] = "no text";
    else if (is_secret(file, acts) && !arguments.secrets)
        json["hidden"] = "secret";
    else
        json["diff"] = unified_diff(before, after);
}

Json file_json(const ChangedFile &file, const std::vector<Act> &acts)
{
    const FileState &state = file.after.kind != '\0' ? file.after : file.before;
    Json json = {{"path", file.path}, {"kind", kind_word(state.kind)}, {"change", change_word(file.change())}};
    if (file.after.kind != '\0' && file.after.kind != 'l')
        json["mode"] = mode_text(file.after.mode);
    if (file.before.kind != '\0' && file.after.kind != '\0' && file.before.mode != file.after.mode)
        json["mode_before"] = mode_text(file.before.mode);
    add_content(json, file, acts);
    return json;
}

int plan()
{
    const char *const mode = arguments.mode.empty() ? nullptr : arguments.mode.c_str();
    const Run run = run_service(arguments.service, mode);
    std::vector<Act> acts;
    std::transform(run.lines.begin(), run.lines.end(), std::back_inserter(acts), act_of);
    Json shown_acts = Json::array(), files = Json::array();
    for (const Act &act : acts)
        shown_acts.push_back(act_json(act, run.secrets));
    for (const ChangedFile &file : changed_files())
        files.push_back(file_json(file, acts));
    const Json json = {{"service", arguments.service},
                       {"mode", mode != nullptr ? Json(mode) : Json()},
                       {"result", run.result},
                       {"acts", shown_acts},
                       {"files", files},
                       {"unchangeable", unchangeable_places()}};
    printf("%s\n", json.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    return 0;
}

bool is_service(const std::string &name)
{
    for (const NasServiceInfo *row = nas_service_table; row->name != nullptr; row++) {
        if (name == row->name)
            return true;
    }
    return false;
}

int run_plan()
{
    if (!is_service(arguments.service))
        throw std::runtime_error("there is no service \"" + arguments.service + "\"");
    if (geteuid() != 0)
        throw std::runtime_error("a plan needs root: it is made in private namespaces with a copy-on-write view of "
                                 "the files");
    load_live_host(arguments.host);
    return in_private_world(Sees::the_machine, plan);
}

} // namespace
} // namespace nasplan

int main(int argc, char **argv)
{
    using nasplan::arguments;
    CLI::App app("Prints what a run of a service would do, as JSON; acts on nothing.", "nas-plan");
    app.add_option("SERVICE", arguments.service)->required();
    app.add_option("--mode", arguments.mode)->check(CLI::IsMember({"forced", "nomount", "register"}));
    app.add_option("--host", arguments.host)->capture_default_str();
    app.add_flag("--secrets", arguments.secrets);
    try {
        app.parse(argc, argv);
        return nasplan::run_plan();
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception &error) {
        fprintf(stderr, "nas-plan: %s\n", error.what());
        return 1;
    }
}
