/* nas-doctor: does a host library keep what libnas expects of it? nasctl doctor runs it. */
#include "doctor/checks.h"
#include "doctor/examination.h"
#include "doctor/examined_host.h"
#include "plan/private_world.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace nasdoctor
{
namespace
{

using Json = nlohmann::ordered_json;

struct Arguments {
    std::string host = "libnashost.so.1";
    bool json = false, all = false;
};

Arguments arguments;
bool private_world;

const char *word_of(Verdict verdict)
{
    switch (verdict) {
    case Verdict::right:
        return "right";
    case Verdict::wrong:
        return "WRONG";
    case Verdict::not_checked:
        break;
    }
    return "not checked";
}

void print_json(const std::vector<Finding> &findings)
{
    Json all = Json::array();
    for (const Finding &finding : findings) {
        Json json = {{"operations", finding.operations},
                     {"contract", finding.contract},
                     {"verdict", finding.verdict == Verdict::wrong ? "wrong" : word_of(finding.verdict)}};
        if (!finding.remark.empty())
            json["remark"] = finding.remark;
        all.push_back(json);
    }
    printf("%s\n", Json({{"host", arguments.host}, {"findings", all}})
                       .dump(2, ' ', false, Json::error_handler_t::replace)
                       .c_str());
}

long count(const std::vector<Finding> &findings, Verdict verdict)
{
    return std::count_if(findings.begin(), findings.end(),
                         [=](const Finding &finding) { return finding.verdict == verdict; });
}

void print_report(const std::vector<Finding> &findings)
{
    for (const Finding &finding : findings) {
        if (finding.verdict == Verdict::right && !arguments.all)
            continue;
        printf("%-11s  %s: %s%s%s\n", word_of(finding.verdict), finding.operations.c_str(), finding.contract.c_str(),
               finding.remark.empty() ? "" : ": ", finding.remark.c_str());
    }
    printf("%s: %ld right, %ld wrong, %ld not checked\n", arguments.host.c_str(), count(findings, Verdict::right),
           count(findings, Verdict::wrong), count(findings, Verdict::not_checked));
}

int report()
{
    const std::vector<Finding> findings = examine(private_world);
    if (arguments.json)
        print_json(findings);
    else
        print_report(findings);
    return count(findings, Verdict::wrong) == 0 ? 0 : 1;
}

} // namespace
} // namespace nasdoctor

int main(int argc, char **argv)
{
    using nasdoctor::arguments;
    CLI::App app("Checks a host library against what libnas expects of it.", "nas-doctor");
    app.add_option("--host", arguments.host)->capture_default_str();
    app.add_flag("--all", arguments.all);
    app.add_flag("--json", arguments.json);
    try {
        app.parse(argc, argv);
        nasdoctor::load_examined_host(arguments.host);
        nasdoctor::private_world = geteuid() == 0;
        return nasdoctor::private_world ? nasplan::in_private_world(nasplan::Sees::itself, nasdoctor::report)
                                        : nasdoctor::report();
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception &error) {
        fprintf(stderr, "nas-doctor: %s: %s\n", arguments.host.c_str(), error.what());
        return 1;
    }
}
