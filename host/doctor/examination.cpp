#include "doctor/examination.h"

#include "doctor/checks.h"
#include "doctor/examined_host.h"
#include "files.h"
#include "text.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <set>
#include <stdexcept>

namespace nasdoctor
{
namespace
{

constexpr unsigned longest_seconds = 10;
constexpr int not_checked_status = 99;

/* What the library itself says belongs nowhere. */
[[noreturn]] void run_check(const Check &check, int report)
{
    setpgid(0, 0);
    alarm(longest_seconds);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, standard);
    try {
        nashost::write_all(report, check.defect());
    } catch (const NotChecked &reason) {
        nashost::write_all(report, reason.what());
        _exit(not_checked_status);
    }
    _exit(0);
}

std::string read_all(int fd)
{
    std::string text;
    char part[4096];
    for (ssize_t got; (got = read(fd, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(got));
    return text;
}

std::string defect_of_end(int status)
{
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
        return "did not return within " + std::to_string(longest_seconds) + " s";
    if (WIFSIGNALED(status))
        return "ended the process by signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) +
               ")";
    return WIFEXITED(status) && WEXITSTATUS(status) == 0
               ? ""
               : "ended the process with status " + std::to_string(WEXITSTATUS(status));
}

/* What the check has found, and how it ended. */
struct Outcome {
    std::string told;
    int status = 0;
};

Outcome run_in_child(const Check &check)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("there is no pipe");
    const pid_t child = fork();
    if (child == 0)
        run_check(check, ends[1]);
    close(ends[1]);
    Outcome outcome = {read_all(ends[0]), 0};
    close(ends[0]);
    while (child > 0 && waitpid(child, &outcome.status, 0) < 0 && errno == EINTR)
        continue;
    kill(-child, SIGKILL); // whatever the library has started
    return outcome;
}

void judge(Finding &finding, const Check &check)
{
    const Outcome outcome = run_in_child(check);
    if (WIFEXITED(outcome.status) && WEXITSTATUS(outcome.status) == not_checked_status) {
        finding.remark = outcome.told;
        return;
    }
    const std::string end = defect_of_end(outcome.status);
    finding.remark = end.empty() ? outcome.told : end;
    finding.verdict = finding.remark.empty() ? Verdict::right : Verdict::wrong;
}

/* "iconfig_*" stands for all of that name. */
std::string missing_among(const std::string &operations, const std::set<std::string> &missing)
{
    for (const std::string &part : nashost::split(operations, ',')) {
        const std::string name(nashost::trimmed(part));
        for (const std::string &lost : missing) {
            if (lost == name || (name.ends_with('*') && lost.starts_with(name.substr(0, name.size() - 1))))
                return lost;
        }
    }
    return "";
}

Finding finding_of(const Check &check, const std::set<std::string> &missing, bool in_private_world)
{
    Finding finding = {check.operations, check.contract, Verdict::not_checked, ""};
    if (const std::string lost = missing_among(check.operations, missing); !lost.empty())
        finding.remark = lost + " is missing";
    else if (check.needs == Needs::private_world && !in_private_world)
        finding.remark = "needs root, for a private world";
    else
        judge(finding, check);
    return finding;
}

} // namespace

std::vector<Finding> examine(bool in_private_world)
{
    std::vector<Finding> findings;
    std::set<std::string> missing;
    for (const char *name : operation_names()) {
        if (find_operation(name) == nullptr) {
            missing.insert(name);
            findings.push_back({name, "is there", Verdict::wrong, "the library does not define it"});
        }
    }
    for (std::vector<Check> (*const group)() :
         {store_checks, request_checks, process_checks, text_checks, network_checks, device_checks}) {
        for (const Check &check : group())
            findings.push_back(finding_of(check, missing, in_private_world));
    }
    return findings;
}

} // namespace nasdoctor
