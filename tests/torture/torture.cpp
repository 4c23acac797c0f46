// torture [--every K] [--shard I/N] [TEXT]: fails every K-th call (default: each) that the library makes, once and from
// there on, and kills the process in its place, in all scenarios, in the I-th of N parts of them, or in those whose
// name holds TEXT. Each attempt has a process and a world of its own and must end without crash and hang, hold nothing,
// leave no descriptor open, and the good run behind it must end in the files and stores that good runs end in.
#include "golden/golden_case.h"
#include "support/sandbox.h"
#include "torture/calls.h"
#include "torture/scenario.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <glob.h>
#include <map>
#include <span>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using nas_torture::Fault;
using nas_torture::Scenario;
using nas_torture::World;

constexpr unsigned longest_attempt = 30; // seconds
constexpr const char *fault_words[] = {"", "once", "onward", "killed"};
constexpr std::size_t room = std::size_t{16} << 20;

// What an attempt's process tells the one that started it.
struct Report {
    int calls;
    char failed[64];
    char complaint[4096];
    char good_end[2][room];  // after one good run, and after two
    char stores[2][1 << 16]; // of a process that was killed
};

Report *report;

struct Options {
    int every = 1;
    std::size_t shard = 0;
    std::size_t shards = 1;
    std::string text;
} options;

// Ends that are no good one and yet right.
struct Accepted {
    const char *scenario;
    const char *failed;
    const char *why;
} accepted[] = {
    {"printer/already_registered", "system", "the queues are asked for once more, and the answer's file stays"},
    {"ftp/old_users", "iconfig_remove_config_tag",
     "a moved user's folder that could not be removed stays, and nothing reads it"},
    {"media/folder_not_made", "iconfig_get_value_direct",
     "without a folder's name the file is written for the disk; with it nothing is written, as the folder cannot be made"},
};

bool is_accepted(const Scenario &scenario)
{
    return std::any_of(std::begin(accepted), std::end(accepted), [&](const Accepted &end) {
        return scenario.name == end.scenario && std::string(report->failed) == end.failed;
    });
}

struct Count {
    int scenarios = 0;
    int calls = 0;
    int attempts = 0;
};

void complain(const std::string &text)
{
    const std::string all = report->complaint + text + "; ";
    report->complaint[all.copy(report->complaint, sizeof report->complaint - 1)] = '\0';
}

int open_descriptors()
{
    int count = 0;
    for (int file = 0; file < 256; ++file)
        count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
    return count;
}

std::string describe(const char *title, const nas_test::Store &store)
{
    std::string text = std::string(title) + "\n";
    for (const auto &[key, value] : store.values) {
        if (value)
            text += key + " = " + *value + "\n";
    }
    return text;
}

std::string describe(World &world)
{
    std::string text;
    for (const auto &[path, content] : nas_test::read_tree_files())
        text += "--- " + path + "\n" + content + "\n";
    return text + describe("--- config", world.host.config) + describe("--- status", world.host.status);
}

// What a run that was told "absent" leaves behind is right for that answer, and may stay: then every file of a good end
// must be there, but others may, too.
bool holds_files_of(const std::string &end, const std::string &good)
{
    const std::size_t stores = good.find("--- config\n");
    for (std::size_t begin = 0; begin < stores;) {
        const std::size_t next = std::min(good.find("\n--- ", begin) + 1, stores);
        if (end.find(good.substr(begin, next - begin)) == std::string::npos)
            return false;
        begin = next;
    }
    return true;
}

bool is_good(const std::string &end, bool was_answered)
{
    for (const char(&good)[room] : report->good_end) {
        if (end == good || (was_answered && holds_files_of(end, good)))
            return true;
    }
    return false;
}

// Where two ends differ, a few lines from there on.
std::string difference(const std::string &good, const std::string &end)
{
    std::size_t at = 0;
    while (at < good.size() && at < end.size() && good[at] == end[at])
        ++at;
    const std::size_t line = at == 0 ? 0 : good.rfind('\n', at - 1) + 1;
    const std::size_t title = good.rfind("\n---", line);
    const std::string where =
        title == std::string::npos ? "" : good.substr(title + 1, good.find('\n', title + 1) - title);
    return where + "a good end: " + good.substr(line, 200) + "\nthis end:   " + end.substr(line, 200);
}

// The programs and commands of the world as they were; what is stored and written stays.
class Beginning
{
  public:
    explicit Beginning(World &world)
        : host_(world.host), processes_(host_.processes), commands_(host_.commands), now_(host_.now),
          random_(host_.random)
    {
    }
    void restore()
    {
        host_.processes = processes_;
        host_.commands = commands_;
        host_.now = now_;
        host_.random = random_;
    }

  private:
    nas_test::RecordingHost &host_;
    std::vector<nas_test::Process> processes_;
    std::vector<nas_test::Command> commands_;
    std::time_t now_;
    unsigned random_;
};

void run_good(const Scenario &scenario, World &world)
{
    nas_torture::arm(Fault::none, 0, {});
    scenario.run(world);
    report->calls = std::max(report->calls, nas_torture::disarm().calls);
    nas_torture::forget_held();
}

// The recorded world acts on nothing; what a command takes away has to be gone, or it would be found by the next run.
void let_remove(World &world, const char *command, const char *pattern)
{
    world.host.on_command(command, {0});
    world.host.commands.back().effect = [pattern] {
        glob_t found = {};
        if (glob(pattern, 0, nullptr, &found) == 0) {
            for (std::size_t i = 0; i < found.gl_pathc; ++i)
                unlinkat(AT_FDCWD, found.gl_pathv[i], 0);
        }
        globfree(&found);
    };
}

void set_up(const Scenario &scenario, World &world)
{
    scenario.set_up(world);
    let_remove(world, "/bin/rm -rf /etc/samba/*.conf", "/etc/samba/*.conf");
    let_remove(world, "rm -rf /etc/lighttpd.conf.*", "/etc/lighttpd.conf.*");
}

void learn_good_ends(const Scenario &scenario, World &world)
{
    set_up(scenario, world);
    report->calls = 0;
    Beginning beginning(world);
    for (char(&end)[room] : report->good_end) {
        beginning.restore();
        run_good(scenario, world);
        const std::string text = describe(world);
        end[text.copy(end, room - 1)] = '\0';
    }
}

// A store outlives the process that is killed: "key = value" lines, each ended by a zero byte.
void save(const nas_test::Store &store, std::span<char> text)
{
    std::size_t end = 0;
    for (const auto &[key, value] : store.values) {
        const std::string line = value ? key + "=" + *value : key;
        if (end + line.size() + 2 > text.size())
            std::abort();
        end += line.copy(text.data() + end, line.size());
        text[end++] = '\0';
    }
    text[end] = '\0';
}

void load(nas_test::Store &store, const char *text)
{
    store.values.clear();
    for (std::string_view line = text; !line.empty(); line = line.data() + line.size() + 1) {
        const std::size_t equals = line.find('=');
        std::optional<std::string> &value = store.values[std::string(line.substr(0, equals))];
        if (equals != std::string_view::npos)
            value = line.substr(equals + 1);
    }
}

void save_stores()
{
    save(nas_test::host().config, report->stores[0]);
    save(nas_test::host().status, report->stores[1]);
}

void run_killed(const Scenario &scenario, World &world, int call)
{
    nas_torture::set_last_act(save_stores);
    const pid_t child = fork();
    if (child == 0) {
        nas_torture::arm(Fault::killed, call, report->failed);
        scenario.run(world);
        _exit(EXIT_SUCCESS);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL)
        complain("was not killed");
    load(world.host.config, report->stores[0]);
    load(world.host.status, report->stores[1]);
}

bool run_failing(const Scenario &scenario, World &world, Fault fault, int call)
{
    const int descriptors = open_descriptors();
    nas_torture::forget_held();
    nas_torture::arm(fault, call, report->failed);
    scenario.run(world);
    const bool was_answered = nas_torture::disarm().answered;
    if (!nas_torture::held().empty())
        complain("holds " + nas_torture::held());
    if (open_descriptors() != descriptors)
        complain(std::to_string(open_descriptors() - descriptors) + " descriptors more than before");
    return was_answered;
}

void attempt(const Scenario &scenario, World &world, Fault fault, int call)
{
    set_up(scenario, world);
    Beginning beginning(world);
    bool was_answered = false;
    if (fault == Fault::killed)
        run_killed(scenario, world, call);
    else
        was_answered = run_failing(scenario, world, fault, call);
    beginning.restore();
    run_good(scenario, world);
    const std::string end = describe(world);
    if (!is_good(end, was_answered) && !is_accepted(scenario))
        complain("the good run behind it ends otherwise:\n" + difference(report->good_end[0], end));
}

// In a process and a world of its own. False when it did not come to an end.
template <class Body>
bool apart(nas_test::Sandbox &sandbox, Body body)
{
    report->complaint[0] = '\0';
    report->failed[0] = '\0';
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(longest_attempt);
        nas_test::RecordingHost host;
        World world{sandbox, host};
        body(world);
        _exit(EXIT_SUCCESS);
    }
    int status = 0;
    waitpid(child, &status, 0);
    sandbox.clear();
    if (WIFSIGNALED(status))
        complain(WTERMSIG(status) == SIGALRM ? "hangs" : std::string("crashes: ") + strsignal(WTERMSIG(status)));
    else if (WEXITSTATUS(status) != EXIT_SUCCESS)
        complain("ends with status " + std::to_string(WEXITSTATUS(status)));
    return report->complaint[0] == '\0';
}

// The number of attempts that went wrong.
int torture(const Scenario &scenario, std::size_t number, Count &count)
{
    nas_test::Sandbox sandbox;
    const std::string name = scenario.function + (scenario.name.empty() ? "" : " (" + scenario.name + ")");
    if (!apart(sandbox, [&](World &world) { learn_good_ends(scenario, world); })) {
        std::printf("%s: without any fault: %s\n", name.c_str(), report->complaint);
        return 1;
    }
    const int calls = report->calls;
    int wrong = 0;
    for (int call = 1 + static_cast<int>(number) % options.every; call <= calls; call += options.every) {
        for (const Fault fault : {Fault::once, Fault::onward, Fault::killed}) {
            ++count.attempts;
            if (apart(sandbox, [&](World &world) { attempt(scenario, world, fault, call); }))
                continue;
            ++wrong;
            std::printf("%s: call %d of %d, %s %s: %s\n", name.c_str(), call, calls, report->failed,
                        fault_words[static_cast<int>(fault)], report->complaint);
        }
    }
    ++count.scenarios;
    count.calls += calls;
    return wrong;
}

int run_all()
{
    umask(022);
    void *const shared =
        mmap(nullptr, sizeof *report, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("mmap");
        return EXIT_FAILURE;
    }
    report = static_cast<Report *>(shared);
    int wrong = 0;
    for (const std::string &name : nas_torture::stand_in_front()) {
        std::printf("the library imports %s, and faults.cpp does not know how it fails\n", name.c_str());
        ++wrong;
    }
    std::vector<Scenario> scenarios = nas_torture::own_scenarios();
    for (Scenario &scenario : nas_torture::golden_scenarios())
        scenarios.push_back(std::move(scenario));
    std::map<std::string, Count> counts;
    for (std::size_t i = 0; i < scenarios.size(); ++i) {
        const std::string name = scenarios[i].function + " " + scenarios[i].name;
        if (i % options.shards == options.shard && name.find(options.text) != std::string::npos)
            wrong += torture(scenarios[i], i, counts[scenarios[i].function]);
    }
    Count total;
    for (const auto &[function, count] : counts) {
        std::printf("| %s | %d | %d | %d |\n", function.c_str(), count.scenarios, count.calls, count.attempts);
        total.scenarios += count.scenarios;
        total.calls += count.calls;
        total.attempts += count.attempts;
    }
    std::printf("%d scenarios, %d calls that can fail, %d attempts, %d went wrong\n", total.scenarios, total.calls,
                total.attempts, wrong);
    return wrong == 0 && total.attempts > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--every" && i + 1 < argc)
            options.every = std::max(1, std::atoi(argv[++i]));
        else if (option == "--shard" && i + 1 < argc)
            std::sscanf(argv[++i], "%zu/%zu", &options.shard, &options.shards);
        else
            options.text = option;
    }
    nas_test::find_golden_cases(); // its folder is opened before anything covers it
    return nas_test::in_sandbox(run_all);
}
