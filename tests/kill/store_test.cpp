// Writers that are killed at any moment lose nothing that they were told is stored, and nobody ever reads half a value.
#include "kill/effort.h"
#include "kill/stepping.h"
#include "platform/store.h"
#include "support/private_root.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr int writers = 8;

// What the writers were told is stored; seen by all processes.
struct Shared {
    std::atomic<int> stored[writers];
    std::atomic<int> broken;
    std::atomic<int> reads;
    std::atomic<bool> stop;
};

std::string key_of(int writer)
{
    return "writer" + std::to_string(writer);
}

// The number, then as much text as makes the value differ in all its length.
std::string value_of(int number)
{
    std::string value = std::to_string(number) + ":";
    value.append(400 + static_cast<size_t>(number % 500), static_cast<char>('a' + number % 26));
    return value;
}

// The number of a whole value; -1 for a torn one.
int whole_number(const char *value)
{
    int number = atoi(value);
    return value_of(number) == value ? number : -1;
}

bool write_for_ever(Shared &shared, int writer)
{
    for (int number = shared.stored[writer] + 1;; number++) {
        if (iconfig_set_value_direct(key_of(writer).c_str(), value_of(number).c_str()) != 0) {
            shared.broken++;
            return false;
        }
        shared.stored[writer] = number;
    }
}

bool read_until_stopped(Shared &shared)
{
    while (!shared.stop) {
        for (int writer = 0; writer < writers; writer++) {
            char value[NAS_STORE_VALUE_SIZE];
            int stored = shared.stored[writer];
            if (stored == 0)
                continue;
            if (iconfig_get_value_direct(key_of(writer).c_str(), value) != 0 || whole_number(value) < stored)
                shared.broken++;
            shared.reads++;
        }
    }
    return shared.broken == 0;
}

template <class Body>
pid_t start_child(Body body)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(body() ? 0 : 1);
    return child;
}

// Half of them at whatever moment, half behind a system call counted off.
class Killer
{
  public:
    void end(pid_t writer)
    {
        usleep(static_cast<useconds_t>(random_() % 4000));
        if (random_() % 2 == 0 && stepping::kill_running(writer, 1 + static_cast<int>(random_() % 40))) {
            stepped++;
            return;
        }
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }

    unsigned long choose(unsigned long count)
    {
        return random_() % count;
    }

    int stepped = 0;

  private:
    std::mt19937 random_{20240501};
};

// The last write may have been stored without its writer being told.
int expect_writes_kept(const Shared &shared)
{
    int writes = 0;
    for (int writer = 0; writer < writers; writer++) {
        char value[NAS_STORE_VALUE_SIZE] = "absent";
        const int stored = shared.stored[writer];
        if (iconfig_get_value_direct(key_of(writer).c_str(), value) != 0 && stored == 0)
            continue; // it was never left alone long enough
        EXPECT_GE(whole_number(value), stored);
        EXPECT_LE(whole_number(value), stored + 1);
        writes += stored;
    }
    return writes;
}

} // namespace

TEST(Store, LosesNothingWhenItsWritersAreKilled)
{
    private_root::enter();
    private_root::clear();
    void *memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    Shared &shared = *new (memory) Shared{};
    const auto start_writer = [&](int writer) {
        return start_child([&shared, writer] { return write_for_ever(shared, writer); });
    };
    std::vector<pid_t> pids;
    for (int writer = 0; writer < writers; writer++)
        pids.push_back(start_writer(writer));
    const pid_t reader = start_child([&] { return read_until_stopped(shared); });

    Killer killer;
    int kills = 0;
    for (; kills < kill_test::effort().store_kills && shared.broken == 0; kills++) {
        const auto victim = killer.choose(writers);
        killer.end(pids[victim]);
        pids[victim] = start_writer(static_cast<int>(victim));
    }
    for (const pid_t pid : pids) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    shared.stop = true;
    int status = -1;
    waitpid(reader, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_EQ(0, shared.broken);
    const int writes = expect_writes_kept(shared);
    printf("%d kills (%d of them behind a counted system call), %d writes, %d reads\n", kills, killer.stepped, writes,
           shared.reads.load());
    EXPECT_GT(killer.stepped, kills / 4);
    EXPECT_GT(writes, 10);
    EXPECT_GT(shared.reads, 100);
    EXPECT_TRUE(private_root::is_whole("config.db"));
    munmap(memory, sizeof(Shared));
}
