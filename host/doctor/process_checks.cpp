/* The part of platform/process.h about processes and the shell. */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "files.h"
#include "platform/process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

namespace nasdoctor
{
namespace
{

constexpr char short_name[] = "nasdoctor-kid";
constexpr char pid_file[] = "/tmp/nas-doctor.pid";

/* A child that has the kernel's name above and waits until it is ended. */
struct Child {
    explicit Child(bool ends_at_once = false)
    {
        int ready[2];
        if (pipe(ready) != 0)
            return;
        pid = fork();
        if (pid == 0) {
            prctl(PR_SET_NAME, short_name);
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(ready[0]);
            close(ready[1]); // it has its name
            if (ends_at_once)
                _exit(0);
            for (;;)
                pause();
        }
        close(ready[1]);
        char end;
        while (read(ready[0], &end, 1) > 0)
            continue;
        close(ready[0]);
        if (ends_at_once)
            wait_as_zombie();
        nashost::replace_file(pid_file, std::to_string(pid) + "\n");
    }
    ~Child()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        unlink(pid_file);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    /* It has ended, and stays a zombie. */
    void wait_as_zombie() const
    {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    }
    pid_t pid = -1;
};

std::string statuses()
{
    const int zero = EXAMINED(system2)("true"), three = EXAMINED(system2)("exit %d", 3);
    if (zero != 0)
        return defect_of_answer("system2(\"true\")", zero, 0);
    if (!WIFEXITED(three) || WEXITSTATUS(three) != 3)
        return "the status of \"exit 3\" is " + std::to_string(three) + ", which is no wait status of 3";
    return "";
}

std::string long_commands()
{
    constexpr size_t length = 4000;
    const int status =
        EXAMINED(system2)("x='%s'; test ${#x} -eq %d", std::string(length, 'x').c_str(), static_cast<int>(length));
    return status == 0 ? "" : "a command line of " + std::to_string(length) + " characters is cut";
}

std::string bad_node(const ProcessEntry &entry)
{
    if (strnlen(entry.name, sizeof entry.name) == sizeof entry.name ||
        strnlen(entry.cmdline, sizeof entry.cmdline) == sizeof entry.cmdline)
        return "an entry's text has no end";
    if (std::string_view(entry.name).find_first_of(" /") != std::string_view::npos && entry.name[0] != '[')
        return "the name " + shown(entry.name) + " has a folder or a blank";
    return "";
}

/* How many entries have that pid, all having been looked at. */
struct Listing {
    explicit Listing(const char *name, pid_t wanted)
    {
        ProcessList list;
        memset(&list, 0x5a, sizeof list);
        answer = EXAMINED(get_process_list)(name, &list, 0);
        for (const ProcessEntry *entry = list.first; entry != nullptr; entry = entry->next) {
            nodes++;
            found += entry->pid == wanted ? 1 : 0;
            if (defect.empty())
                defect = bad_node(*entry);
        }
        if (defect.empty() && (answer != nodes || list.count != nodes))
            defect = "answers " + std::to_string(answer) + " and counts " + std::to_string(list.count) + " of " +
                     std::to_string(nodes) + " entries";
        const int freed = EXAMINED(free_process_list)(&list);
        if (defect.empty())
            defect = defect_of_answer("free_process_list", freed, 0);
    }
    int answer = 0, nodes = 0, found = 0;
    std::string defect;
};

std::string all_processes()
{
    const Listing all(nullptr, getpid());
    return first_of({all.defect, all.found == 1 ? "" : "the list of all lacks a process that runs"});
}

std::string named_processes()
{
    const Child child;
    const Listing kernel_name(short_name, child.pid), title("nas-doctor", child.pid), none("nas-doctor-none", 0);
    return first_of({kernel_name.defect, title.defect, none.defect,
                     kernel_name.found == 1 ? "" : "a process is not found by the kernel's name of it",
                     title.found == 1 ? "" : "a process is not found by its title's name",
                     none.nodes == 0 ? "" : "a name that no process has finds some"});
}

std::string dead_processes()
{
    const Child zombie(true);
    const Listing list(short_name, zombie.pid);
    return first_of({list.defect, list.found == 0 ? "" : "a zombie is listed as running",
                     EXAMINED(check_process2)(pid_file) == 0 ? "" : "check_process2 takes a zombie for running"});
}

std::string pid_files()
{
    const Child child;
    if (EXAMINED(check_process2)(pid_file) == 0)
        return "check_process2 answers 0 for a process that runs";
    const int answer = EXAMINED(kill_process2)(pid_file, SIGTERM);
    int status = 0;
    for (int tries = 0; tries < 100 && waitpid(child.pid, &status, WNOHANG) == 0; tries++)
        usleep(10 * 1000);
    if (answer != 0)
        return defect_of_answer("kill_process2", answer, 0);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGTERM)
        return "kill_process2 has not sent the signal";
    return defect_of_answer("check_process2 of an ended process", EXAMINED(check_process2)(pid_file), 0);
}

std::string missing_pid_files()
{
    unlink(pid_file);
    return first_of({defect_of_answer("check_process2 without a file", EXAMINED(check_process2)(pid_file), 0),
                     defect_of_answer("kill_process2 without a file", EXAMINED(kill_process2)(pid_file, SIGTERM), -1)});
}

/* Signals to 0 and -1 would reach this very process. */
std::string pid_files_of_everybody()
{
    for (const char *text : {"0\n", "-1\n", "", "nonsense\n"}) {
        nashost::replace_file(pid_file, text);
        EXAMINED(kill_process2)(pid_file, SIGTERM);
    }
    unlink(pid_file);
    return "";
}

} // namespace

std::vector<Check> process_checks()
{
    return {{"system2", "answers the command's status", Needs::private_world, statuses},
            {"system2", "cuts no command line", Needs::private_world, long_commands},
            {"get_process_list, free_process_list", "lists every process", Needs::nothing, all_processes},
            {"get_process_list", "finds a process by its title and by the kernel's name", Needs::private_world,
             named_processes},
            {"get_process_list, check_process2", "a zombie does not run", Needs::private_world, dead_processes},
            {"check_process2, kill_process2", "see and end the process in the file", Needs::private_world, pid_files},
            {"check_process2, kill_process2", "do nothing without a file", Needs::private_world, missing_pid_files},
            {"kill_process2", "signals no group of processes", Needs::private_world, pid_files_of_everybody}};
}

} // namespace nasdoctor
