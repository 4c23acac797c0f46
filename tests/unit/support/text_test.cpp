#include "support/failing_call.h"
#include "support/fixture.h"

#include "nas/ftp.h"
#include "nas/samba.h"
#include "nas/web.h"

#include <string>
#include <unistd.h>

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

    // The FTP daemon's file.
    std::string generate()
    {
        host.set_config("nas_user_system_0", "rita,pw");
        host.set_config("nas_user_system_0.ftp", "rw");
        EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
        return read_file("/etc/proftpd.conf");
    }

    // Has a folder of that name sections of its own there?
    bool has_section(const std::string &name)
    {
        sandbox.clear();
        sandbox.put_dir("/mnt/Disk1/" + name);
        return generate().find("<Directory \"/tmp/mnt/Disk1/" + name + "\">\n") != std::string::npos;
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

// The port stands before the charset: its last byte, or its last two, look like a line that joins the next.
TEST_F(Text, EmptyLineIsNotLookedAtBeforeItsBeginning)
{
    for (const int port : {0x5c00005c, 0x205c5c20}) {
        const std::string text = std::to_string(port);
        host.set_config("ftp_conf", "1,21," + text + ",\nX,0");
        host.forget();
        generate();
        EXPECT_EQ(host.count_lines("upnp upnp:service,A,tcp," + text + "," + text + ",ns_http_" + text), 1);
    }
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
    for (const char *format : {"", "ServerName"}) {
        const nas_test::FailingCall failing(nas_test::Call::vsnprintf, format);
        host.forget();
        EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
        EXPECT_EQ(read_file("/etc/proftpd.conf"), "") << format;
        EXPECT_EQ(host.count_lines("stderr: Not written whole: /etc/proftpd.conf"), 1) << format;
    }
    const nas_test::FailingCall failing(nas_test::Call::vsnprintf, "Port");
    EXPECT_EQ(host.call(ftp_callback, ordinary), 0);
    EXPECT_TRUE(read_file("/etc/proftpd.conf").ends_with("\nWtmpLog off\n"));
}

TEST_F(Text, CutPathIsNotTakenForAnotherDisks)
{
    const std::string disk(118, 'D'); // "/tmp/mnt/" and 118 characters are 127
    sandbox.put_dir("/mnt/" + disk + "/Movies");
    sandbox.put_dir("/mnt/" + disk + "D");
    const std::string text = generate();
    const std::string section = "<Directory \"/tmp/mnt/" + disk + "/Movies\">\n";
    const std::size_t found = text.find(section);
    ASSERT_NE(found, std::string::npos);
    EXPECT_EQ(text.find(section, found + 1), std::string::npos);
}

TEST_F(Text, TextMayFillItsMemoryToTheLastCharacter)
{
    constexpr std::size_t memory = 4096; // at first
    for (const char *charset : {"A", "AB"}) {
        host.set_config("ftp_conf", std::string("1,21,9000,") + charset + ",0");
        sandbox.clear();
        std::string last = "/mnt/Disk1/a";
        sandbox.put_dir(last);
        std::size_t size = generate().size();
        while (size + 400 < memory) {
            last.back()++;
            sandbox.put_dir(last);
            size = generate().size();
        }
        ASSERT_LT(size, memory - 8);
        ASSERT_EQ(rmdir(last.c_str()), 0);
        const std::size_t more = (memory - size) / 2; // the name stands there twice
        for (std::size_t length = more - 4; length <= more + 4; ++length) {
            const std::string longer = last + std::string(length, 'x');
            sandbox.put_dir(longer);
            const std::string text = generate();
            EXPECT_EQ(text.size(), size + 2 * length);
            EXPECT_TRUE(text.ends_with("</Directory>\n"));
            ASSERT_EQ(rmdir(longer.c_str()), 0);
        }
    }
}

} // namespace
