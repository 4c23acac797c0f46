/* What a daemon inherits from the command that starts it. */
#include "callback_output.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace
{

/* Runs `body` in a child whose standard output and standard error are a pipe. */
class PipedChild
{
  public:
    explicit PipedChild(const std::function<bool()> &body)
    {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        child_ = host_test::start_child([&] {
            close(ends[0]);
            dup2(ends[1], STDOUT_FILENO);
            dup2(ends[1], STDERR_FILENO);
            close(ends[1]);
            return body();
        });
        close(ends[1]);
        fd_ = ends[0];
    }
    ~PipedChild()
    {
        close(fd_);
    }
    PipedChild(const PipedChild &) = delete;
    PipedChild &operator=(const PipedChild &) = delete;

    /* What comes next; "end" when nobody has the other end any more, "nothing" within five seconds. */
    std::string next() const
    {
        char text[256];
        pollfd wanted = {fd_, POLLIN, 0};
        if (poll(&wanted, 1, 5000) <= 0)
            return "nothing";
        ssize_t got = read(fd_, text, sizeof text);
        return got <= 0 ? "end" : std::string(text, static_cast<size_t>(got));
    }

    bool succeeded() const
    {
        return host_test::child_succeeded(child_);
    }

  private:
    pid_t child_ = -1;
    int fd_ = -1;
};

/* A daemon that keeps what it inherits; it tells its pid, and what became of its later words, in files. */
void start_daemon(const std::string &result)
{
    if (fork() != 0)
        return;
    sleep(1);
    ssize_t written = write(STDERR_FILENO, "late\n", 5);
    host_test::put_contents(result, written < 0 && errno == EPERM ? "refused" : "written");
    sleep(30);
    _exit(0);
}

} // namespace

TEST(CallbackOutput, EndsWhileADaemonGoesOn)
{
    std::string result = host_test::folder() + "/daemon";
    PipedChild child([&] {
        return nasctl::run_with_output_to_error([&] {
            setpgid(0, 0);
            host_test::put_contents(result + ".group", std::to_string(getpgrp()));
            printf("said on output\n");
            start_daemon(result);
        });
    });
    EXPECT_EQ("said on output\n", child.next());
    EXPECT_EQ("end", child.next()) << "the daemon holds the pipe";
    EXPECT_TRUE(child.succeeded());
    for (int pass = 0; pass < 100 && host_test::contents(result).empty(); pass++)
        usleep(50 * 1000);
    EXPECT_EQ("refused", host_test::contents(result)) << "it must live, and must not fill the memory";
    EXPECT_EQ(0, kill(-std::stoi(host_test::contents(result + ".group")), SIGKILL));
}

TEST(CallbackOutput, PassesOnAtOnceAndInOrder)
{
    std::string ended = host_test::folder() + "/ended";
    PipedChild child([&] {
        return nasctl::run_with_output_to_error([&] {
            EXPECT_EQ(3, write(STDOUT_FILENO, "one", 3));
            EXPECT_EQ(3, write(STDERR_FILENO, "two", 3));
            sleep(2);
            host_test::put_contents(ended, "yes");
        });
    });
    std::string text = child.next();
    if (text == "one")
        text += child.next();
    EXPECT_EQ("onetwo", text);
    EXPECT_EQ("", host_test::contents(ended));
    EXPECT_TRUE(child.succeeded());
    EXPECT_EQ("yes", host_test::contents(ended));
}

TEST(CallbackOutput, TellsACrash)
{
    EXPECT_TRUE(nasctl::run_with_output_to_error([] {}));
    EXPECT_FALSE(nasctl::run_with_output_to_error([] { kill(getpid(), SIGKILL); }));
}

TEST(CallbackOutput, GivesNoInput)
{
    std::string result = host_test::folder() + "/input";
    EXPECT_TRUE(nasctl::run_with_output_to_error([&] {
        char c;
        host_test::put_contents(result, read(STDIN_FILENO, &c, 1) == 0 ? "empty" : "something");
    }));
    EXPECT_EQ("empty", host_test::contents(result));
}
