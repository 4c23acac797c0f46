#include "support/failing_call.h"
#include "support/fixture.h"

#include "nas/ftp.h"
#include "nas/samba.h"
#include "nas/web.h"

#include <string>

namespace
{

using nas_test::read_file;

constexpr const char *ordinary = nullptr;

struct Text : nas_test::LibraryTest {
    // What becomes of a workgroup's name in the configuration file.
    std::string workgroup(const std::string &name)
    {
        host.set_config("samba_conf", "1,Router," + name + ",0,0,0,1");
        host.call(samba_callback, ordinary);
        const std::string text = read_file("/etc/samba/smb.conf");
        const std::string begin = "\nworkgroup=", end = "\nserver string=Router\n";
        const std::size_t from = text.find(begin), to = text.find(end);
        if (from == std::string::npos || to == std::string::npos)
            return "no such lines";
        return text.substr(from + begin.size(), to - from - begin.size());
    }

    // Has a folder of that name sections of its own in the FTP daemon's file?
    bool has_section(const std::string &name)
    {
        sandbox.clear();
        sandbox.put_dir("/mnt/Disk1/" + name);
        host.set_config("nas_user_system_0", "rita,pw");
        host.set_config("nas_user_system_0.ftp", "rw");
        EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
        return read_file("/etc/proftpd.conf").find("<Directory \"/tmp/mnt/Disk1/" + name + "\">\n") !=
               std::string::npos;
    }
};

TEST_F(Text, NumbersAreDecimalWhateverTheyBeginWith)
{
    host.set_config("url_conf", "010,08080,0x1");
    UrlServiceConfig config = {};
    EXPECT_EQ(host.call(get_urlsvc_config, &config), 1);
    EXPECT_EQ(config.enable, 10);
    EXPECT_EQ(config.port, 8080);
    EXPECT_EQ(config.auth, 0);
    host.set_config("url_conf", "1a,9090,19");
    EXPECT_EQ(host.call(get_urlsvc_config, &config), 1);
    EXPECT_EQ(config.enable, 1);
    EXPECT_EQ(config.port, 9090);
    EXPECT_EQ(config.auth, 19);
}

TEST_F(Text, LineLosesTheBackslashesAtItsEnd)
{
    EXPECT_EQ(workgroup("HOME\\"), "HOME");
    EXPECT_EQ(workgroup("HOME\\ "), "HOME");
    EXPECT_EQ(workgroup("HOME\\  "), "HOME");
    EXPECT_EQ(workgroup("HOME\\\\"), "HOME");
    EXPECT_EQ(workgroup("HOME\\ \\  \\"), "HOME");
    EXPECT_EQ(workgroup("HOME \\"), "HOME ");
    EXPECT_EQ(workgroup("\\"), "");
}

TEST_F(Text, LineEndsAtALineFeedBeforeItsEndIsLookedAt)
{
    EXPECT_EQ(workgroup("HOME\nX"), "HOME");
    EXPECT_EQ(workgroup("HOME\\\nX"), "HOME");
    EXPECT_EQ(workgroup("HOME\nX\\"), "HOME");
}

TEST_F(Text, LineKeepsWhatDoesNotJoinTheNext)
{
    for (const char *name : {"HOME", "HO\\ME", "\\HOME", "HOME  ", " ", "  ", "HOME\\\t", "HOME\\영", "\\]", "\\["})
        EXPECT_EQ(workgroup(name), name);
}

TEST_F(Text, NameWithoutControlCharactersIsWritten)
{
    for (const char *name :
         {" ", "  ", "a b ", "a~", "~", "!", "영화", "\xc2\x80", "\xff", "a\\영", "a\\!", "a]", "a["})
        EXPECT_TRUE(has_section(name)) << name;
}

TEST_F(Text, NameThatWouldBreakTheFileIsNotWritten)
{
    for (const char *name : {"\x01", "a\tb", "a\nb", "a\x1f", "\x7f", "a\x7f", "a\\", "\\", "a\\ ", "a\\  "})
        EXPECT_FALSE(has_section(name)) << name;
}

TEST_F(Text, TextThatCannotBeFormattedIsLeftOutWithAllBehindItAndTold)
{
    const nas_test::FailingCall failing(nas_test::Call::vsnprintf);
    EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
    EXPECT_EQ(read_file("/etc/proftpd.conf"), "");
    EXPECT_EQ(host.count_lines("stderr: Not written whole: /etc/proftpd.conf"), 1);
}

} // namespace
