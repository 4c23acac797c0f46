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

    /* What comes next; "end" when nobody has the other end any more, "nothing" within a minute. */
    std::string next() const
    {
        char text[256];
        pollfd wanted = {fd_, POLLIN, 0};
        if (poll(&wanted, 1, 60 * 1000) <= 0)
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

bool is_there(const std::string &path)
{
    return access(path.c_str(), F_OK) == 0;
}

/* A daemon that keeps what it inherits; it tells in a file what became of the words that it says when it is told to. */
void start_daemon(const std::string &result)
{
    if (fork() != 0)
        return;
    host_test::wait_until([&] { return is_there(result + ".speak"); });
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
    host_test::put_contents(result + ".speak", "");
    EXPECT_TRUE(host_test::wait_until([&] { return !host_test::contents(result).empty(); }));
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
            host_test::wait_until([&] { return is_there(ended + ".go_on"); });
            host_test::put_contents(ended, "yes");
        });
    });
    std::string text = child.next();
    if (text == "one")
        text += child.next();
    EXPECT_EQ("onetwo", text);
    EXPECT_EQ("", host_test::contents(ended));
    host_test::put_contents(ended + ".go_on", "");
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
