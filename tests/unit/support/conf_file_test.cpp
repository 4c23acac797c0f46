#include "support/failing_call.h"
#include "support/failing_memory.h"
#include "support/fixture.h"

#include "nas/ftp.h"

#include <csignal>
#include <cstring>
#include <string>
#include <sys/resource.h>

namespace
{

using nas_test::Call;
using nas_test::FailingCall;
using nas_test::FailingMemory;
using nas_test::read_file;

constexpr const char *ordinary = nullptr;
constexpr const char *complaint = "stderr: Not written whole: /etc/proftpd.conf";

// While it lives, no file grows beyond `size` bytes: the file system is full.
class FullFileSystem
{
  public:
    explicit FullFileSystem(rlim_t size) : usual_action_(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &usual_);
        const rlimit full = {size, usual_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullFileSystem()
    {
        setrlimit(RLIMIT_FSIZE, &usual_);
        std::signal(SIGXFSZ, usual_action_);
    }
    FullFileSystem(const FullFileSystem &) = delete;
    FullFileSystem &operator=(const FullFileSystem &) = delete;

  private:
    rlimit usual_ = {};
    void (*usual_action_)(int);
};

struct ConfFile : nas_test::LibraryTest {
    // The file that FTP writes; its folders decide how long it is.
    std::string write(int folders)
    {
        host.set_config("nas_user_system_0", "rita,pw");
        host.set_config("nas_user_system_0.ftp", "rw");
        for (int i = 0; i < folders; ++i)
            sandbox.put_dir("/mnt/Disk1/Folder " + std::to_string(i));
        host.forget();
        EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
        return read_file("/etc/proftpd.conf");
    }
};

TEST_F(ConfFile, WholeFileIsNothingToTellOf)
{
    EXPECT_GT(write(0).size(), 500U);
    EXPECT_EQ(host.count_lines("stderr: "), 0);
}

TEST_F(ConfFile, ShortFileThatDoesNotFitIsTold)
{
    const std::string whole = write(0);
    EXPECT_LT(whole.size(), 4096U);
    const FullFileSystem full(500);
    EXPECT_EQ(write(0), whole.substr(0, 500));
    EXPECT_EQ(host.count_lines(complaint), 1);
}

TEST_F(ConfFile, LongFileThatDoesNotFitIsTold)
{
    const std::string whole = write(100);
    EXPECT_GT(whole.size(), 20000U);
    for (const rlim_t size : {1000U, 4096U, 10000U}) {
        const FullFileSystem full(size);
        EXPECT_EQ(write(100), whole.substr(0, size));
        EXPECT_EQ(host.count_lines(complaint), 1) << size;
    }
}

// Which call it is depends on the C library and on the file system.
TEST_F(ConfFile, WhicheverCallSaysThatTheFileIsNotWholeItIsTold)
{
    const std::string whole = write(0);
    for (const Call call : {Call::fwrite, Call::fflush, Call::ferror, Call::fclose}) {
        const FailingCall failing(call);
        EXPECT_EQ(write(0), whole);
        EXPECT_EQ(host.count_lines(complaint), 1) << static_cast<int>(call);
    }
}

TEST_F(ConfFile, FileThatIsNotOpenedIsNotSaidToBeAPart)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    const FailingMemory memory(0, 65536);
    const std::string part = write(600);
    EXPECT_EQ(host.count_lines(complaint), 1);
    host.fails = [](const std::string &path) { return path == "/etc/proftpd.conf"; };
    EXPECT_EQ(write(600), part);
    EXPECT_EQ(host.count_lines("stderr: "), 0);
}

} // namespace
