#include "platform/process.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace
{

/* A running child with a name of its own; ended with the object. */
class Child
{
  public:
    Child(const char *program_name, const char *short_name, const char *title)
    {
        int ready[2];
        if (pipe(ready) != 0)
            return;
        pid_ = fork();
        if (pid_ == 0) {
            std::string room(200, '.');
            dup2(ready[1], STDOUT_FILENO);
            execl(RENAMED_CHILD, program_name, short_name, title, room.c_str(), nullptr);
            _exit(127);
        }
        close(ready[1]);
        char byte = 0;
        ready_ = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
    }
    ~Child()
    {
        end();
        waitpid(pid_, nullptr, 0);
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    void end() const
    {
        kill(pid_, SIGKILL);
    }
    pid_t pid() const
    {
        return pid_;
    }
    bool ready() const
    {
        return ready_;
    }

  private:
    pid_t pid_ = -1;
    bool ready_ = false;
};

/* The entry of `pid` among the processes that `query` finds; the pid is 0 when it is not among them. */
ProcessEntry found(const char *query, pid_t pid)
{
    ProcessList list;
    ProcessEntry result = {};
    int count = get_process_list(query, &list, 0), nodes = 0;
    for (const ProcessEntry *entry = list.first; entry != nullptr; entry = entry->next, nodes++) {
        if (entry->pid == pid)
            result = *entry;
    }
    EXPECT_EQ(count, list.count);
    EXPECT_EQ(count, nodes);
    EXPECT_EQ(0, free_process_list(&list));
    EXPECT_EQ(nullptr, list.first);
    EXPECT_EQ(0, list.count);
    return result;
}

bool finds(const char *query, const Child &child)
{
    return found(query, child.pid()).pid == child.pid();
}

} // namespace

TEST(ProcessList, NamesADaemonByItsTitle)
{
    Child child("/sbin/proftpdt", "proftpdt", "proftpdt: (accepting connections)");
    ASSERT_TRUE(child.ready());
    ProcessEntry entry = found(nullptr, child.pid());
    EXPECT_STREQ("proftpdt:", entry.name);
    EXPECT_STREQ("proftpdt: (accepting connections)", entry.cmdline);
    EXPECT_TRUE(finds("proftpdt:", child));
    EXPECT_TRUE(finds("proftpdt", child));
    EXPECT_FALSE(finds("proftpd", child));
    EXPECT_FALSE(finds("proftpdt: (accepting", child));
}

TEST(ProcessList, NamesAProgramWithoutItsFolders)
{
    Child child("/sbin/smbdt", "smbd-notifydt", "");
    ASSERT_TRUE(child.ready());
    ProcessEntry entry = found("smbdt", child.pid());
    EXPECT_STREQ("smbdt", entry.name);
    EXPECT_STREQ(("/sbin/smbdt smbd-notifydt " + std::string(200, '.')).c_str(), entry.cmdline);
    EXPECT_TRUE(finds("smbd-notifydt", child));
    EXPECT_FALSE(finds("/sbin/smbdt", child));
}

TEST(ProcessList, FindsALongNameByItsTitleAlone)
{
    Child child("/sbin/transmission-daemont", "transmission-daemont", "");
    Child other("/sbin/other", "transmission-daXYZ", "");
    ASSERT_TRUE(child.ready() && other.ready());
    EXPECT_TRUE(finds("transmission-daemont", child));
    EXPECT_FALSE(finds("transmission-daemont", other));
    EXPECT_TRUE(finds("transmission-da", child));
    EXPECT_TRUE(finds("transmission-da", other));
}

TEST(ProcessList, TakesTheTitleOnlyUpToItsFirstBlank)
{
    Child child("x", "shortt", "/opt/a b/program --flag");
    ASSERT_TRUE(child.ready());
    EXPECT_STREQ("a", found("a", child.pid()).name);
    EXPECT_FALSE(finds("program", child));
}

TEST(ProcessList, KnowsAProgramWithoutTitleByItsKernelName)
{
    Child child("x", "wipedt", " ");
    ASSERT_TRUE(child.ready());
    EXPECT_STREQ("wipedt", found(nullptr, child.pid()).name);
    EXPECT_TRUE(finds("wipedt", child));
}

TEST(ProcessList, ReadsAKernelNameWithParentheses)
{
    Child child("/bin/plaint", "a) (b", "");
    ASSERT_TRUE(child.ready());
    EXPECT_TRUE(finds("a) (b", child));
}

TEST(ProcessList, CutsLongNamesAndCommandLines)
{
    std::string name(100, 'n');
    Child child(name.c_str(), "longt", "");
    ASSERT_TRUE(child.ready());
    ProcessEntry entry = found(name.c_str(), child.pid());
    EXPECT_EQ(std::string(63, 'n'), entry.name);

    std::string word(700, 'w');
    pid_t long_child = fork();
    if (long_child == 0) {
        execl("/bin/sleep", "sleep", "60", ("0." + std::string(700, '0')).c_str(), nullptr);
        _exit(127);
    }
    EXPECT_TRUE(host_test::wait_until([&] { return strcmp(found(nullptr, long_child).name, "sleep") == 0; }));
    EXPECT_EQ(511U, strlen(found(nullptr, long_child).cmdline));
    kill(long_child, SIGKILL);
    waitpid(long_child, nullptr, 0);
}

TEST(ProcessList, LeavesOutTheDeadAndTheKernelsOwn)
{
    Child child("/sbin/zombiet", "zombiet", "");
    ASSERT_TRUE(child.ready());
    EXPECT_TRUE(finds("zombiet", child));
    child.end();
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child.pid()), &info, WEXITED | WNOWAIT);
    EXPECT_FALSE(finds("zombiet", child));
    EXPECT_EQ(0, found(nullptr, child.pid()).pid);

    ProcessEntry kernel = found(nullptr, 2);
    if (strcmp(kernel.name, "[kthreadd]") == 0) {
        EXPECT_EQ(0, found("kthreadd", 2).pid);
    }
}

TEST(PidFile, TellsAndEndsARunningProcess)
{
    std::string path = host_test::folder() + "/pid";
    Child child("/sbin/pidt", "", "");
    ASSERT_TRUE(child.ready());
    host_test::put_contents(path, std::to_string(child.pid()) + "\n");
    EXPECT_NE(0, check_process2(path.c_str()));
    EXPECT_EQ(0, kill_process2(path.c_str(), SIGTERM));
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(child.pid()), &info, WEXITED | WNOWAIT);
    EXPECT_EQ(0, check_process2(path.c_str())) << "a zombie does not run";
}

TEST(PidFile, ReachesNoGroupAndNotTheFirstProcess)
{
    std::string path = host_test::folder() + "/pid";
    for (const char *text : {"0", "-1", "1", "", "abc", "99999999999", "-99999"}) {
        host_test::put_contents(path, text);
        EXPECT_EQ(0, check_process2(path.c_str())) << text;
        EXPECT_EQ(-1, kill_process2(path.c_str(), 0)) << text;
    }
    EXPECT_EQ(0, check_process2("/no/such/file"));
    EXPECT_EQ(-1, kill_process2("/no/such/file", 0));
}

TEST(System2, RunsAFormattedCommandOfAnyLength)
{
    std::string path = host_test::folder() + "/out";
    std::string text(20000, 'x');
    EXPECT_EQ(0, system2("printf %%s '%s' > '%s'", text.c_str(), path.c_str()));
    EXPECT_EQ(text, host_test::contents(path));
    EXPECT_EQ(3, WEXITSTATUS(system2("exit %d", 3)));
    EXPECT_NE(0, system2("%s", "false"));
}
