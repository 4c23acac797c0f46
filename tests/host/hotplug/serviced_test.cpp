#include "private_world.h"

#include "event_queue.h"
#include "platform/request.h"
#include "processes.h"
#include "request_queue.h"
#include "schedule.h"
#include "supervisor.h"
#include "worker.h"
#include "worker_lock.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace
{

using Lines = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

constexpr int patience_seconds = 60; // a slow machine under a sanitizer

std::string journal_path()
{
    return private_world::folder() + "/journal";
}

Lines journal()
{
    Lines lines;
    std::istringstream text(private_world::contents(journal_path()));
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

int count(const std::string &line)
{
    const Lines lines = journal();
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
}

/* What /proc tells about it, from that field on: the third follows the name. */
std::istringstream status_of(int pid, int first_field)
{
    const std::string text = private_world::contents("/proc/" + std::to_string(pid) + "/stat");
    std::istringstream behind_the_name(text.substr(text.rfind(')') + 1));
    std::string word;
    for (int field = 3; field < first_field; field++)
        behind_the_name >> word;
    return behind_the_name;
}

int parent_of(int pid)
{
    int parent = 0;
    status_of(pid, 4) >> parent;
    return parent;
}

/* Its own and its children's. */
long processor_ticks(int pid)
{
    std::istringstream behind_the_name = status_of(pid, 14);
    long ticks = 0;
    for (long part = 0, i = 0; i < 4 && behind_the_name >> part; i++)
        ticks += part;
    return ticks;
}

template <typename Condition>
bool wait_until(Condition condition)
{
    const Clock::time_point end = Clock::now() + std::chrono::seconds(patience_seconds);
    while (!condition()) {
        if (Clock::now() > end)
            return false;
        usleep(5000);
    }
    return true;
}

bool wait_for(const std::string &line, int times = 1)
{
    return wait_until([&] { return count(line) >= times; });
}

void make_file(const char *name)
{
    private_world::put_contents(private_world::folder() + "/" + name, "x");
}

void remove_file(const char *name)
{
    std::filesystem::remove(private_world::folder() + "/" + name);
}

/* Everybody in this world that has this name. */
std::vector<int> processes_named(const std::string &name)
{
    std::vector<int> found;
    for (int pid : nashost::process_ids()) {
        const auto state = nashost::process_state(pid);
        if (state && !state->zombie && state->short_name == name)
            found.push_back(pid);
    }
    return found;
}

/* A child still has its parent's name until it becomes another program. */
std::vector<int> running()
{
    const std::vector<int> named = processes_named("serviced");
    std::vector<int> found;
    for (int pid : named) {
        if (std::find(named.begin(), named.end(), parent_of(pid)) == named.end())
            found.push_back(pid);
    }
    return found;
}

/* They and the processes that run a callback for them. */
std::vector<int> workers()
{
    return processes_named("fake-worker");
}

bool is_worker_there()
{
    return !workers().empty();
}

void start()
{
    int status = -1;
    const std::string output = private_world::output_of(SERVICED, &status);
    EXPECT_EQ(0, status) << output;
}

void end_all(int signal)
{
    EXPECT_TRUE(wait_until([signal] {
        for (int pid : running())
            kill(pid, signal);
        return running().empty();
    }));
}

/* A worker in the middle of an event starts serviced anew, at any moment until it is gone. */
void end_all_and_their_workers()
{
    EXPECT_TRUE(wait_until([] {
        end_all(SIGTERM);
        return !is_worker_there() && running().empty();
    }));
}

/* Returns 0, for a child's exit status. */
int note_in_journal(const char *line)
{
    std::ofstream(journal_path(), std::ios::app) << line << std::endl;
    return 0;
}

/* No callback began before the one before had ended. */
void expect_one_at_a_time()
{
    std::string open;
    for (const std::string &line : journal()) {
        if (line.rfind("begin ", 0) == 0) {
            EXPECT_EQ("", open) << line;
            open = line;
        } else if (line.rfind("end ", 0) == 0) {
            EXPECT_EQ("begin" + line.substr(3), open);
            open.clear();
        }
    }
}

struct Serviced : testing::Test {
    Serviced()
    {
        setenv("NAS_TEST_FOLDER", private_world::folder().c_str(), 1);
        use_health(3600);
        forget();
    }
    ~Serviced() override
    {
        remove_file("hold");
        end_all_and_their_workers();
        if (HasFailure())
            ADD_FAILURE() << private_world::contents(journal_path()) << private_world::contents(log_path());
        umount2((run_folder() + "/schedule").c_str(), MNT_DETACH); // where a test has failed before
        umount2(run_folder().c_str(), MNT_DETACH);
        for (const char *name : {"ticking", "crash", "many", "dead", "dead_volume", "no_disk"})
            remove_file(name);
        std::filesystem::remove_all(private_world::folder() + "/run");
        std::filesystem::remove(log_path());
    }
    Serviced(const Serviced &) = delete;
    Serviced &operator=(const Serviced &) = delete;

    static std::string log_path()
    {
        return private_world::folder() + "/log";
    }
    static void use_health(int seconds)
    {
        private_world::use_settings("worker_program = " FAKE_WORKER "\nhealth_seconds = " + std::to_string(seconds) +
                                    "\n");
    }
    static std::string run_folder()
    {
        return private_world::folder() + "/run";
    }
    static void use_small_run_folder()
    {
        std::filesystem::create_directory(run_folder());
        EXPECT_EQ(0, mount("small", run_folder().c_str(), "tmpfs", 0, "size=64k,mode=0755"));
    }
    static int log_lines(const std::string &text)
    {
        int lines = 0;
        const std::string log = private_world::contents(log_path());
        for (size_t at = 0; (at = log.find(text, at)) != std::string::npos; at++)
            lines++;
        return lines;
    }
    /* Once more, should a process have given a page back meanwhile. */
    static void fill_run_folder()
    {
        for (int i = 0; i < 3; i++) {
            std::ofstream(run_folder() + "/ballast", std::ios::app) << std::string(1024 * 1024, 'x');
            usleep(300 * 1000);
        }
    }
    static void empty_run_folder()
    {
        std::filesystem::remove(run_folder() + "/ballast");
    }
    /* For seconds nothing happens, but for one line in the log. Returns how many health checks there were before. */
    static int stay_quiet()
    {
        usleep(1200 * 1000);
        const size_t before = private_world::contents(log_path()).size();
        const int health_checks = count("health");
        const long ticks = processor_ticks(running().at(0));
        usleep(2500 * 1000);
        EXPECT_LT(processor_ticks(running().at(0)) - ticks, sysconf(_SC_CLK_TCK) / 4);
        EXPECT_EQ(health_checks, count("health"));
        const std::string log = private_world::contents(log_path()).substr(before);
        EXPECT_LE(std::count(log.begin(), log.end(), '\n'), 1) << log;
        return health_checks;
    }
    static void forget()
    {
        std::filesystem::remove(journal_path());
    }
    /* A serviced that has run everything and waits. */
    static void start_idle()
    {
        start();
        EXPECT_TRUE(wait_for("tock")); // the last of it
        EXPECT_TRUE(wait_until([] { return !is_worker_there(); }));
        forget();
    }
    /* One that runs alpha until "hold" is gone. */
    static void start_busy()
    {
        start_idle();
        make_file("hold");
        EXPECT_EQ(0, signal_nas("alpha"));
        EXPECT_TRUE(wait_for("begin alpha"));
    }
};

} // namespace

TEST_F(Serviced, RunsEveryServiceWhenItStarts)
{
    start();
    EXPECT_TRUE(wait_for("tock"));
    EXPECT_EQ((Lines{"starting alpha", "begin alpha", "end alpha", "started alpha", "starting crash", "started crash",
                     "begin beta", "end beta", "tock"}),
              journal());
}

TEST_F(Serviced, ACrashInTheMiddleTakesNothingAlong)
{
    make_file("crash");
    start();
    EXPECT_TRUE(wait_for("tock"));
    EXPECT_EQ((Lines{"starting alpha", "begin alpha", "end alpha", "started alpha", "starting crash", "started crash",
                     "begin beta", "end beta", "tock"}),
              journal());
    const std::string log = private_world::contents(log_path());
    EXPECT_NE(std::string::npos, log.find("crash was ended by signal 9")) << log;
    EXPECT_EQ(std::string::npos, log.find("was not finished")) << log;
}

TEST_F(Serviced, PerformsWhatItIsAskedFor)
{
    start_idle();
    EXPECT_EQ(0, signal_nas("alpha"));
    EXPECT_TRUE(wait_for("started alpha"));
    EXPECT_EQ((Lines{"starting alpha", "begin alpha", "end alpha", "started alpha"}), journal());

    forget();
    EXPECT_EQ(0, signal_nas("register_cloudbackup"));
    EXPECT_TRUE(wait_for("end alpha"));
    EXPECT_EQ((Lines{"begin alpha register", "end alpha"}), journal());
}

/* It looks by itself only every five seconds. On a busy machine one request of several is performed in time. */
TEST_F(Serviced, IsWokenByARequest)
{
    bool in_time = false;
    for (int i = 0; i < 5 && !in_time; i++) {
        start_idle();
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(0, signal_nas("alpha"));
        EXPECT_TRUE(wait_for("started alpha"));
        in_time = Clock::now() - begin < std::chrono::seconds(2);
        end_all(SIGTERM);
    }
    EXPECT_TRUE(in_time);
}

TEST_F(Serviced, EqualRequestsMergeWhileOneRuns)
{
    start_busy();
    for (int i = 0; i < 50; i++) {
        EXPECT_EQ(0, signal_nas("alpha"));
        EXPECT_EQ(0, signal_nas("beta"));
    }
    remove_file("hold");
    EXPECT_TRUE(wait_for("end beta"));
    EXPECT_EQ(2, count("begin alpha"));
    EXPECT_EQ(1, count("begin beta"));
    expect_one_at_a_time();
}

TEST_F(Serviced, AllSwallowsSingleServicesThatWait)
{
    start_busy();
    EXPECT_EQ(0, signal_nas("beta"));
    EXPECT_EQ(0, signal_nas("all"));
    EXPECT_EQ(0, signal_nas("alpha"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("end beta"));
    usleep(200 * 1000);
    EXPECT_EQ(2, count("begin alpha"));
    EXPECT_EQ(1, count("begin beta"));
}

TEST_F(Serviced, IsNotBlockedByASlowCallback)
{
    start_busy();
    end_all(SIGTERM);
    EXPECT_TRUE(is_worker_there());
    EXPECT_FALSE(std::filesystem::exists(private_world::folder() + "/run/serviced.sock"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("started alpha")); // the worker goes on to its end
}

TEST_F(Serviced, AWaitingWorkerEndsWithIt)
{
    start_idle();
    nashost::LockFile lock;
    ASSERT_TRUE(lock.take(nashost::worker_lock_path()));
    EXPECT_EQ(0, signal_nas("alpha"));
    EXPECT_TRUE(wait_until(is_worker_there));
    end_all(SIGTERM);
    EXPECT_TRUE(wait_until([] { return !is_worker_there(); }));
    EXPECT_EQ(Lines(), journal());
    lock.release();
    start();
    EXPECT_TRUE(wait_for("end beta")); // "all" has swallowed alpha
    EXPECT_EQ(1, count("begin alpha"));
}

/* Behind the worker that runs, before the one that waits for the lock already and all that follow. */
TEST_F(Serviced, ARemovalGoesBeforeWorkersThatWait)
{
    start_busy();
    const pid_t waiting = fork();
    if (waiting == 0) {
        nashost::LockFile lock;
        _exit(nashost::take_worker_lock(lock) ? note_in_journal("another worker") : 1);
    }
    for (const char *request : {"beta", "mount:sda", "cupsd"})
        EXPECT_EQ(0, signal_nas(request));
    usleep(100 * 1000); // the one that waits does
    const pid_t removal = fork();
    if (removal == 0) {
        nashost::LockFile turn, lock;
        if (!nashost::take_worker_lock_first(turn, lock, 1000 * patience_seconds))
            _exit(1);
        note_in_journal("begin removal");
        usleep(300 * 1000);
        _exit(note_in_journal("end removal"));
    }
    EXPECT_TRUE(wait_until([] {
        nashost::LockFile turn;
        return !turn.take_within(run_folder() + "/worker.turn", 0);
    }));
    remove_file("hold");
    for (pid_t child : {removal, waiting}) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
    }
    EXPECT_TRUE(wait_for("end beta"));
    const Lines lines = journal();
    ASSERT_GE(lines.size(), 6U);
    EXPECT_EQ((Lines{"end alpha", "started alpha", "begin removal", "end removal"}),
              Lines(lines.begin() + 2, lines.begin() + 6));
    expect_one_at_a_time();
}

TEST_F(Serviced, ARemovalKeepsOutWorkersAlsoWhenOneHangs)
{
    start_busy();
    nashost::LockFile turn, lock, other;
    const Clock::time_point begin = Clock::now();
    EXPECT_FALSE(nashost::take_worker_lock_first(turn, lock, 200));
    EXPECT_EQ(EWOULDBLOCK, errno);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(200));
    EXPECT_EQ(0, signal_nas("beta"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("started alpha"));
    EXPECT_FALSE(nashost::take_worker_lock_within(other, 200));
    EXPECT_EQ(0, count("begin beta"));
    turn.release();
    EXPECT_TRUE(wait_for("end beta"));
}

TEST_F(Serviced, LosesNothingWhenItIsKilledDuringARun)
{
    start_busy();
    EXPECT_EQ(0, signal_nas("cupsd"));
    end_all(SIGKILL);
    EXPECT_EQ(0, signal_nas("mount:sda")); // nobody listens now
    start();
    EXPECT_TRUE(wait_until([] { return running().size() == 1; }));
    usleep(300 * 1000);
    EXPECT_EQ((Lines{"starting alpha", "begin alpha"}), journal()); // the old worker still runs, alone
    remove_file("hold");
    EXPECT_TRUE(wait_for("end add,sda"));
    EXPECT_TRUE(wait_for("end beta"));
    expect_one_at_a_time();
    EXPECT_EQ(2, count("end alpha"));
}

TEST_F(Serviced, AnEventThatStartsServicedAnewIsFinished)
{
    start_busy();
    const std::vector<int> old = running();
    EXPECT_EQ(0, signal_nas("mount:sdb"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("end add,sdb"));
    EXPECT_TRUE(wait_for("end beta")); // of the new one
    EXPECT_TRUE(wait_until([] { return running().size() == 1; }));
    EXPECT_NE(old, running());
    expect_one_at_a_time();
}

TEST_F(Serviced, OneOfManyStays)
{
    start_busy();
    end_all(SIGKILL);
    const std::string output =
        private_world::output_of("for i in 1 2 3 4 5 6 7 8; do " SERVICED " & done; wait"); // all at the same time
    EXPECT_EQ(1U, running().size()) << output;
    remove_file("hold");
    EXPECT_TRUE(wait_for("end beta"));
    EXPECT_EQ(2, count("begin alpha"));
    expect_one_at_a_time();
}

TEST_F(Serviced, WaitsForOneThatIsAboutToEnd)
{
    start_idle();
    const std::vector<int> old = running();
    ASSERT_EQ(1U, old.size());
    kill(old[0], SIGTERM);
    start();
    EXPECT_TRUE(wait_until([&old] { return running().size() == 1 && running() != old; }));
    int status = -1;
    private_world::output_of(SERVICED, &status); // a second one leaves, as if it had done its work
    EXPECT_EQ(0, status);
    EXPECT_EQ(1U, running().size());
}

TEST_F(Serviced, TakesTwoHundredRequestsAtOnce)
{
    make_file("many");
    start_busy();
    std::vector<pid_t> askers;
    for (int i = 0; i < 200; i++) {
        const pid_t child = fork();
        if (child == 0)
            _exit(signal_nas(("quiet" + std::to_string(i)).c_str()) == 0 ? 0 : 1);
        askers.push_back(child);
    }
    for (pid_t asker : askers) {
        int status = 0;
        waitpid(asker, &status, 0);
        EXPECT_EQ(0, WEXITSTATUS(status));
    }
    EXPECT_EQ(0, count("quiet"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("quiet", 200));
    EXPECT_TRUE(wait_until([] { return !nashost::requests_wait() && !is_worker_there(); }));
    EXPECT_EQ(200, count("quiet"));
}

TEST_F(Serviced, OutlivesACallbackThatCrashes)
{
    start_idle();
    make_file("crash");
    EXPECT_EQ(0, signal_nas("crash"));
    EXPECT_TRUE(wait_for("started crash"));
    EXPECT_EQ(0, signal_nas("alpha"));
    EXPECT_TRUE(wait_for("started alpha"));
    EXPECT_EQ((Lines{"starting crash", "started crash", "starting alpha", "begin alpha", "end alpha", "started alpha"}),
              journal()); // not tried again and again
}

TEST_F(Serviced, CleansUpAfterAWorkerThatWasKilled)
{
    start_busy();
    forget();
    for (int pid : workers())
        kill(pid, SIGKILL); // and its child
    EXPECT_EQ(0, signal_nas("beta"));
    EXPECT_TRUE(wait_for("begin beta"));
    EXPECT_EQ((Lines{"started alpha", "started crash", "begin beta"}), journal());
    const std::string log = private_world::contents(log_path());
    EXPECT_NE(std::string::npos, log.find("\"alpha\" was not finished")) << log;
}

TEST_F(Serviced, RefusesADiskThatIsNone)
{
    start_idle();
    for (const char *request :
         {"mount:sda;reboot", "mount:", "mount:sda1", "mount:../sda", "mount:sdaa", "no such service"})
        EXPECT_EQ(0, signal_nas(request));
    EXPECT_EQ(0, signal_nas("alpha"));
    EXPECT_TRUE(wait_for("started alpha"));
    EXPECT_EQ((Lines{"starting alpha", "begin alpha", "end alpha", "started alpha"}), journal());
    const std::string log = private_world::contents(log_path());
    EXPECT_NE(std::string::npos, log.find("unknown request \"mount:sda;reboot\"")) << log;
}

TEST_F(Serviced, DoesNothingForADiskThatIsGoneAlready)
{
    start_busy();
    const std::vector<int> old = running();
    EXPECT_EQ(0, signal_nas("mount:sda"));
    make_file("no_disk"); // pulled out while the request waits
    forget();
    remove_file("hold");
    EXPECT_TRUE(wait_until([] { return !nashost::requests_wait() && !is_worker_there(); }));
    EXPECT_EQ((Lines{"end alpha", "started alpha"}), journal());
    EXPECT_EQ(old, running());
    const std::string log = private_world::contents(log_path());
    EXPECT_NE(std::string::npos, log.find("sda is gone already")) << log;
}

TEST_F(Serviced, CallsPeriodicCallbacksAsTheyWish)
{
    start_idle();
    EXPECT_EQ(0, signal_nas("cupsd")); // nothing: there is no callback for it
    EXPECT_EQ(0, signal_nas(""));
    const Clock::time_point begin = Clock::now();
    EXPECT_TRUE(wait_for("tick 3"));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_TRUE(wait_until([] { return serviced::read_schedule().empty(); }));
    usleep(1300 * 1000);
    EXPECT_EQ((Lines{"tick 1", "tick 2", "tick 3"}), journal());
}

TEST_F(Serviced, CallsPeriodicCallbacksThatAreAskedFor)
{
    start_idle();
    make_file("nobody_home");
    EXPECT_EQ(0, signal_nas("knock"));
    EXPECT_TRUE(wait_for("knock"));
    EXPECT_TRUE(wait_until([] { return !is_worker_there(); }));
    EXPECT_TRUE(serviced::read_schedule().empty());
    remove_file("nobody_home");
    make_file("hold");
    EXPECT_EQ(0, signal_nas("knock"));
    EXPECT_TRUE(wait_for("tick 1"));
    EXPECT_EQ(0, signal_nas("knock")); // from the beginning
    remove_file("hold");
    EXPECT_TRUE(wait_for("tick 3"));
    EXPECT_EQ((Lines{"knock", "knock", "tick 1", "knock", "tick 1", "tick 2", "tick 3"}), journal());
}

TEST_F(Serviced, CallsOneThatKeepsItsStateFromOneProcess)
{
    start_idle();
    make_file("hold");
    EXPECT_EQ(0, signal_nas("count"));
    EXPECT_TRUE(wait_for("begin call 1"));
    EXPECT_TRUE(wait_until([] { return workers().size() == 1; }));
    EXPECT_EQ(0, signal_nas("alpha")); // its worker waits for the lock
    EXPECT_TRUE(wait_until([] { return workers().size() == 2; }));
    EXPECT_EQ(0, signal_nas("count")); // it is being done
    remove_file("hold");
    EXPECT_TRUE(wait_for("end call 3"));
    const Lines lines = journal();
    ASSERT_GE(lines.size(), 6U);
    EXPECT_EQ((Lines{"begin call 1", "end call 1", "starting alpha", "begin alpha", "end alpha", "started alpha"}),
              Lines(lines.begin(), lines.begin() + 6)); // in between
    EXPECT_TRUE(wait_until([] { return !is_worker_there(); }));
    EXPECT_EQ(0, count("begin call 4"));
    EXPECT_EQ(1, count("begin call 1"));
    expect_one_at_a_time();
    EXPECT_EQ(0, signal_nas("count")); // once more, in a new process
    EXPECT_TRUE(wait_for("end call 1", 2));
}

TEST_F(Serviced, StartsTheServicesAnewWhenAVolumeWasReplaced)
{
    start_idle();
    make_file("dead_volume");
    EXPECT_EQ(0, signal_nas(""));
    EXPECT_TRUE(wait_for("end beta"));
    EXPECT_TRUE(wait_for("tick 1"));
}

TEST_F(Serviced, KeepsPeriodicCallbacksOverARestart)
{
    start_idle();
    EXPECT_EQ(0, signal_nas(""));
    EXPECT_TRUE(wait_for("tick 1"));
    end_all(SIGKILL);
    start();
    EXPECT_TRUE(wait_for("tick 3"));
    EXPECT_EQ(1, count("tick 2"));
}

TEST_F(Serviced, LooksAfterTheServices)
{
    use_health(1);
    start_idle();
    EXPECT_TRUE(wait_for("health", 2));
    EXPECT_EQ(0, count("begin beta"));
    make_file("dead");
    EXPECT_TRUE(wait_for("end beta"));
}

TEST_F(Serviced, DoesNotLookWhileACallbackRuns)
{
    use_health(1);
    start_busy();
    forget();
    usleep(2500 * 1000);
    EXPECT_EQ(0, count("health"));
    remove_file("hold");
    EXPECT_TRUE(wait_for("health"));
}

TEST_F(Serviced, StaysInTheForegroundWhenTold)
{
    const pid_t child = fork();
    if (child == 0) {
        execl(SERVICED, "serviced", "--foreground", nullptr);
        _exit(127);
    }
    EXPECT_TRUE(wait_for("end beta"));
    EXPECT_EQ(std::vector<int>{child}, running());
    kill(child, SIGTERM);
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

/* What is due is tried now and then, told once, and done when there is room. */
TEST_F(Serviced, WaitsForRoomForRequests)
{
    use_small_run_folder();
    use_health(1);
    start_idle();
    fill_run_folder();
    EXPECT_TRUE(wait_until([] { return log_lines("there is no room in " + run_folder()) > 0; }));
    const int health_checks = stay_quiet();
    empty_run_folder();
    EXPECT_TRUE(wait_for("health", health_checks + 1));
    EXPECT_TRUE(wait_until([] { return log_lines("there is room in " + run_folder()) > 0; }));
}

TEST_F(Serviced, RunsEverythingWhenThereIsRoomAtLast)
{
    use_small_run_folder();
    fill_run_folder();
    start();
    EXPECT_TRUE(wait_until([] { return log_lines("there is no room in " + run_folder()) > 0; }));
    stay_quiet();
    EXPECT_EQ(Lines(), journal());
    empty_run_folder();
    EXPECT_TRUE(wait_for("tock"));
    EXPECT_EQ(1, count("end beta"));
}

/* Reading goes on, storing does not. */
TEST_F(Serviced, DoesNotCallWhatItCannotKeepInItsSchedule)
{
    start_idle();
    make_file("ticking");
    EXPECT_EQ(0, signal_nas(""));
    EXPECT_TRUE(wait_for("tick 1"));
    const std::string schedule = run_folder() + "/schedule";
    ASSERT_EQ(0, mount(schedule.c_str(), schedule.c_str(), nullptr, MS_BIND, nullptr));
    ASSERT_EQ(0, mount(nullptr, schedule.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr));
    EXPECT_TRUE(wait_until([] { return log_lines("there is no room") == 1; }));
    const Lines before = journal();
    stay_quiet();
    EXPECT_EQ(before, journal());
    EXPECT_EQ(0, umount2(schedule.c_str(), MNT_DETACH));
    EXPECT_TRUE(wait_until([&] { return journal().size() > before.size() + 1; }));
}

TEST_F(Serviced, SchedulesWhenTheScheduleCanBeStoredAgain)
{
    start_idle();
    const std::string schedule = run_folder() + "/schedule";
    std::filesystem::remove(schedule);
    std::filesystem::create_directory(schedule);
    EXPECT_EQ(0, signal_nas("all"));
    EXPECT_TRUE(wait_until([] { return log_lines("the schedule cannot be stored") == 1; }));
    forget();
    stay_quiet();
    EXPECT_EQ(Lines(), journal()); // the services are not run again and again
    std::filesystem::remove(schedule);
    EXPECT_TRUE(wait_for("tock"));
    EXPECT_EQ((Lines{"tock"}), journal());
}

/* One that has the log open, as a daemon has that a callback started. */
TEST_F(Serviced, BoundsItsLogWhileItRuns)
{
    start_busy();
    std::ofstream daemon(log_path(), std::ios::app);
    std::string line(1023, 'x');
    for (int i = 0; i < 1000; i++)
        daemon << i << line << '\n';
    daemon.flush();
    EXPECT_GT(std::filesystem::file_size(log_path()), 1000 * 1000U);
    EXPECT_EQ(0, signal_nas("beta")); // wakes it
    EXPECT_TRUE(wait_until([] { return std::filesystem::file_size(log_path()) < 4096; }));
    daemon << "the daemon goes on" << std::endl;
    EXPECT_NE(std::string::npos, private_world::contents(log_path()).find("the daemon goes on"));
    EXPECT_LT(std::filesystem::file_size(log_path()), 4096U);
    const std::string kept = private_world::contents(log_path() + ".1");
    EXPECT_EQ(256 * 1024U, kept.size());
    EXPECT_NE(std::string::npos, kept.find("\n999xxx"));
    std::filesystem::remove(log_path() + ".1");
}

TEST_F(Serviced, HasSomebodyGoOnWithEventsThatAreLeft)
{
    const std::string program = private_world::folder() + "/hotplug";
    private_world::put_contents(program, "#!/bin/sh\necho \"hotplug $*\" >>" + journal_path() + "\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    private_world::use_settings(
        "worker_program = " FAKE_WORKER "\nhealth_seconds = 3600\nhotplug_program = " + program + "\n");
    start_idle();
    EXPECT_EQ(Lines(), journal());
    EXPECT_TRUE(hotplug::add_event({1, {"remove", "/block/sda"}}));
    EXPECT_TRUE(wait_for("hotplug --resume", 2)); // the first one has handled nothing
    EXPECT_LE(2U, journal().size());
}

TEST_F(Serviced, SaysHowItIsCalled)
{
    int status = -1;
    EXPECT_NE(std::string::npos, private_world::output_of(SERVICED " --help", &status).find("usage: serviced"));
    EXPECT_EQ(0, status);
    private_world::output_of(SERVICED " --nonsense", &status);
    EXPECT_EQ(2, status);
    EXPECT_TRUE(running().empty());
}

TEST_F(Serviced, ALockThatCannotBeHadIsAnError)
{
    std::filesystem::create_directories(private_world::folder() + "/run/serviced.lock");
    int status = -1;
    const std::string output = private_world::output_of(SERVICED, &status);
    EXPECT_EQ(1, status);
    EXPECT_NE(std::string::npos, output.find("serviced.lock cannot be locked: Is a directory")) << output;
    EXPECT_TRUE(running().empty());
}

TEST_F(Serviced, TriesAgainWhenThereIsNoWorker)
{
    private_world::use_settings("worker_program = /no/such/program\nhealth_seconds = 3600\n");
    start();
    const char *failure = "a worker failed with status 127";
    EXPECT_TRUE(wait_until([&] { return log_lines(failure) > 0; }));
    const Clock::time_point begin = Clock::now();
    EXPECT_TRUE(wait_until([&] { return log_lines(failure) > 2; }));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(1900)); // no more than one a second
    EXPECT_EQ(log_lines(failure), log_lines("/no/such/program cannot be started: No such file or directory"));
    use_health(3600);
    EXPECT_TRUE(wait_for("end beta"));
}

TEST(SupervisorRules, SleepsUntilSomethingIsDue)
{
    serviced::Supervisor supervisor;
    EXPECT_EQ(0, serviced::sleep_time(supervisor, {}, false, 1000)); // every service is to be run
    supervisor.wants_all = false;
    supervisor.health_due = 9000;
    EXPECT_EQ(8000, serviced::sleep_time(supervisor, {}, false, 1000));
    EXPECT_EQ(2000, serviced::sleep_time(supervisor, {{"fuse", 0, 10, 3000, 0}, {"lp", 0, 10, 4000, 0}}, false, 1000));
    EXPECT_EQ(0, serviced::sleep_time(supervisor, {}, true, 1000));
    EXPECT_EQ(0, serviced::sleep_time(supervisor, {}, false, 10000));
    supervisor.worker_due = 1700;
    EXPECT_EQ(700, serviced::sleep_time(supervisor, {}, true, 1000));
    supervisor.asking_due = 1500;
    EXPECT_EQ(500, serviced::sleep_time(supervisor, {{"fuse", 0, 10, 900, 0}}, false, 1000));
    supervisor.worker = 42;
    EXPECT_EQ(std::nullopt, serviced::sleep_time(supervisor, {}, true, 1000));
}

TEST(SupervisorRules, WaitsAfterAWorkerThatFailed)
{
    constexpr int exit_10 = 10 << 8, exit_11 = 11 << 8, exit_127 = 127 << 8;
    serviced::Supervisor supervisor;
    supervisor.worker = 42;
    serviced::note_worker_end(supervisor, 0, 5000);
    EXPECT_EQ(0, supervisor.worker);
    EXPECT_EQ(0, supervisor.worker_due);
    serviced::note_worker_end(supervisor, exit_127, 5000);
    EXPECT_EQ(6000, supervisor.worker_due);
    serviced::note_worker_end(supervisor, SIGSEGV, 7000);
    EXPECT_EQ(8000, supervisor.worker_due);
    EXPECT_EQ(0, supervisor.health_due);
    serviced::note_worker_end(supervisor, exit_10, 9000); // daemons need a moment before they are looked at
    EXPECT_GT(supervisor.health_due, 9000);
    serviced::note_worker_end(supervisor, exit_11, 20000);
    EXPECT_TRUE(supervisor.has_no_room);
    EXPECT_EQ(21000, supervisor.worker_due);
    EXPECT_EQ(21000, supervisor.asking_due);
    serviced::note_worker_end(supervisor, 0, 22000);
    EXPECT_FALSE(supervisor.has_no_room);
}
