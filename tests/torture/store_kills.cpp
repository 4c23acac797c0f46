// store_kills KILLS FOLDER: eight writers share the reference host's configuration store in FOLDER, and each is killed
// (SIGKILL) at a random moment, again and again, KILLS times in all. A writer writes long records that know their own
// number and end; it tells in shared memory what was acknowledged. What must hold: every record that is read is whole,
// none is older than the last one acknowledged, and no writer waits for a dead one.
#include "platform/store.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int writers = 8;
constexpr int longest_write = 20; // seconds; then the writer hangs
constexpr unsigned shortest_life = 200;
constexpr unsigned longest_life = 6000; // microseconds

struct Shared {
    std::atomic<long> tried[writers];
    std::atomic<long> acknowledged[writers];
    std::atomic<long> refused;
};

Shared *shared;

[[noreturn]] void fail(const std::string &what)
{
    std::perror(what.c_str());
    std::exit(EXIT_FAILURE);
}

// "17:xxx...:17", of a length that depends on the number, so that records span pages of the file.
std::string record(long number)
{
    const std::string digits = std::to_string(number);
    return digits + ":" + std::string(static_cast<std::size_t>(100 + number * 37 % 850), 'x') + ":" + digits;
}

std::string key_of(int writer)
{
    return "torture_" + std::to_string(writer);
}

[[noreturn]] void write_until_killed(int writer)
{
    const std::string key = key_of(writer);
    for (;;) {
        alarm(longest_write);
        const long number = shared->tried[writer].load() + 1;
        shared->tried[writer].store(number);
        if (iconfig_set_value_direct(key.c_str(), record(number).c_str()) == 0)
            shared->acknowledged[writer].store(number);
        else
            ++shared->refused;
    }
}

pid_t start(int writer)
{
    const pid_t child = fork();
    if (child < 0)
        fail("fork");
    if (child == 0)
        write_until_killed(writer);
    return child;
}

// Is the writer's record whole, and one that it wrote since the last acknowledgement? The writer is dead.
bool stands(int writer)
{
    char value[NAS_STORE_VALUE_SIZE] = "";
    const long least = shared->acknowledged[writer].load();
    if (iconfig_get_value_direct(key_of(writer).c_str(), value) != 0)
        return least == 0;
    const long number = std::strtol(value, nullptr, 10);
    if (record(number) != value) {
        std::printf("writer %d: torn: %.40s...\n", writer, value);
        return false;
    }
    if (number < least || number > shared->tried[writer].load()) {
        std::printf("writer %d: %ld is stored, %ld was acknowledged\n", writer, number, least);
        return false;
    }
    return true;
}

// The handle of a store must not cross fork: the reader is a process of its own, too.
bool stands_apart(int writer)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool whole = stands(writer);
        std::fflush(nullptr);
        _exit(whole ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

void choose_store(const std::string &folder)
{
    mkdir(folder.c_str(), 0700);
    const std::string settings = folder + "/host.conf";
    std::FILE *const file = std::fopen(settings.c_str(), "w");
    if (file == nullptr)
        fail(settings);
    std::fprintf(file, "config_store = %s/config.db\nstatus_store = %s/status.db\n", folder.c_str(), folder.c_str());
    std::fclose(file);
    setenv("NAS_HOST_CONF", settings.c_str(), 1);
}

int kill_writers(long kills)
{
    std::mt19937 random(static_cast<unsigned>(std::time(nullptr)));
    std::uniform_int_distribution<unsigned> life(shortest_life, longest_life);
    pid_t running[writers];
    for (int writer = 0; writer < writers; ++writer)
        running[writer] = start(writer);
    int wrong = 0;
    for (long killed = 0; killed < kills; ++killed) {
        const int writer = static_cast<int>(killed % writers);
        usleep(life(random));
        kill(running[writer], SIGKILL);
        int status = 0;
        waitpid(running[writer], &status, 0);
        if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
            std::printf("writer %d: hung, or ended by itself\n", writer);
            ++wrong;
        }
        wrong += stands_apart(writer) ? 0 : 1;
        running[writer] = start(writer);
    }
    for (const pid_t writer : running) {
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }
    return wrong;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: store_kills KILLS FOLDER\n");
        return 2;
    }
    void *const memory = mmap(nullptr, sizeof *shared, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        fail("mmap");
    shared = new (memory) Shared{};
    choose_store(argv[2]);
    const long kills = std::atol(argv[1]);
    const int wrong = kill_writers(kills);
    long acknowledged = 0;
    for (const std::atomic<long> &writer : shared->acknowledged)
        acknowledged += writer.load();
    std::printf("%ld kills of %d writers, %ld records acknowledged, %ld refused, %d wrong\n", kills, writers,
                acknowledged, shared->refused.load(), wrong);
    return wrong == 0 && acknowledged > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
