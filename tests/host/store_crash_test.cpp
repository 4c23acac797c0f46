/* Writers that are killed at any moment lose nothing that they were told is stored, and nobody ever reads half a
 * value. */
#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{

constexpr int writers = 8;
using Clock = std::chrono::steady_clock;

/* What the writers were told is stored, and how often they were killed; seen by all processes. */
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

/* The number, then as much text as makes the value differ in all its length. */
std::string value_of(int number)
{
    std::string value = std::to_string(number) + ":";
    value.append(400 + static_cast<size_t>(number % 500), static_cast<char>('a' + number % 26));
    return value;
}

/* The number of a whole value; -1 for a torn one. */
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

} // namespace

TEST(StoreCrash, LosesNothingWhenWritersAreKilled)
{
    void *memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    Shared &shared = *new (memory) Shared{};
    std::mt19937 random(20240501);
    std::vector<pid_t> pids;
    for (int writer = 0; writer < writers; writer++)
        pids.push_back(host_test::start_child([&, writer] { return write_for_ever(shared, writer); }));
    pid_t reader = host_test::start_child([&] { return read_until_stopped(shared); });

    int kills = 0;
    for (auto end = Clock::now() + std::chrono::milliseconds(2500); Clock::now() < end; kills++) {
        usleep(static_cast<useconds_t>(random() % 8000));
        auto victim = random() % writers;
        kill(pids[victim], SIGKILL);
        waitpid(pids[victim], nullptr, 0);
        int writer = static_cast<int>(victim);
        pids[victim] = host_test::start_child([&, writer] { return write_for_ever(shared, writer); });
    }
    for (pid_t pid : pids) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    shared.stop = true;
    EXPECT_TRUE(host_test::child_succeeded(reader));
    EXPECT_EQ(0, shared.broken);
    int writes = 0;
    for (int writer = 0; writer < writers; writer++) {
        char value[NAS_STORE_VALUE_SIZE] = "absent";
        if (iconfig_get_value_direct(key_of(writer).c_str(), value) != 0 && shared.stored[writer] == 0)
            continue; // it was never left alone long enough
        // The last write may have been stored without its writer being told.
        EXPECT_GE(whole_number(value), shared.stored[writer]);
        EXPECT_LE(whole_number(value), shared.stored[writer] + 1);
        writes += shared.stored[writer];
    }
    printf("%d kills, %d writes, %d reads\n", kills, writes, shared.reads.load());
    EXPECT_GT(kills, 10);
    EXPECT_GT(writes, 10);
    EXPECT_GT(shared.reads, 100);
    EXPECT_EQ("ok\n",
              host_test::output_of("sqlite3 " + host_test::folder() + "/etc/config.db 'PRAGMA integrity_check'"));
    munmap(memory, sizeof(Shared));
}

TEST(StoreCrash, ManyProcessesCreateTheStoreAtOnce)
{
    std::string path = host_test::folder() + "/new/folder/config.db";
    host_test::use_settings("config_store = " + path + "\n");
    auto writer = [](int i) { return iconfig_set_intvalue_direct(key_of(i).c_str(), i) == 0; };
    std::vector<pid_t> pids;
    for (int i = 0; i < 16; i++)
        pids.push_back(host_test::start_child([&, i] { return writer(i); }));
    for (pid_t pid : pids)
        EXPECT_TRUE(host_test::child_succeeded(pid));
    EXPECT_TRUE(host_test::in_child([] {
        for (int i = 0; i < 16; i++) {
            if (iconfig_get_intvalue_direct(key_of(i).c_str()) != i)
                return false;
        }
        return true;
    }));
    host_test::use_settings();
}
