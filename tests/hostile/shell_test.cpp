// What programs are really given: the library's commands run by a real shell, with hostile texts in every place that
// goes into a command line.
#include "hostile/corpus.h"
#include "hostile/shell.h"
#include "nas/nas.h"
#include "platform/device.h"
#include "platform/store.h"
#include "support/private_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

namespace
{

using namespace hostile;

using Words = std::vector<std::string>;
using Calls = std::vector<Words>;

class Shell : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        private_root::enter();
    }

    void SetUp() override
    {
        use_shell(true);
    }

    // In a fresh root; what the body changes in memory is lost.
    static void run(const std::function<void()> &body)
    {
        private_root::clear();
        EXPECT_TRUE(private_root::in_child(body));
        EXPECT_FALSE(std::filesystem::exists("/tmp/hacked"));
        EXPECT_FALSE(std::filesystem::exists("/etc/hacked"));
    }

    // The words of every run of the program.
    static Calls calls_of(const std::string &program)
    {
        Calls calls;
        for (const private_root::Run &run : private_root::runs())
            if (run.words[0] == program)
                calls.push_back(run.words);
        return calls;
    }

    // Every program that ran is one of these: nothing that a text names has run.
    static void expect_only(const std::vector<std::string> &programs)
    {
        for (const private_root::Run &run : private_root::runs())
            EXPECT_NE(programs.end(), std::find(programs.begin(), programs.end(), run.words[0])) << shown(run.words[0]);
    }
};

NasUser user_of(const std::string &name, const std::string &password, const std::string &folder = "")
{
    NasUser user = {};
    name.copy(user.id, sizeof user.id - 1);
    password.copy(user.password, sizeof user.password - 1);
    folder.copy(user.folder, sizeof user.folder - 1);
    user.permission = NAS_USER_READ_WRITE;
    return user;
}

// What a record "<name>,secret" gives back of a name. With a comma in it the rest becomes the password; where that is
// missing, so is the user. The host lets no such name in.
std::string stored_name(const std::string &text)
{
    const std::string record = cut(text, 127) + ",secret";
    const std::string behind = record.substr(record.find(',') + 1);
    return behind[0] == ',' || behind[0] == ' ' ? "" : up_to(record, ",");
}

std::string stored_password(const std::string &text)
{
    return up_to(text, ", ");
}

TEST(Corpus, IsLargeAndHoldsEveryKindOfByte)
{
    EXPECT_GE(whole_corpus().size(), 500U);
    std::string all;
    size_t longest = 0;
    for (const std::string &text : whole_corpus()) {
        all += text;
        longest = std::max(longest, text.size());
        EXPECT_EQ(1, std::count(whole_corpus().begin(), whole_corpus().end(), text)) << shown(text);
    }
    EXPECT_EQ(255U, longest);
    for (int byte = 1; byte < 256; byte++)
        EXPECT_NE(std::string::npos, all.find(static_cast<char>(byte))) << byte;
}

TEST_F(Shell, AccountsAreMadeForTheNameAndNothingElse)
{
    FOR_EACH_TEXT(text, 0)
    {
        run([&] {
            const NasUser user = user_of(text, "secret");
            set_nas_user_system("samba", &user);
        });
        expect_only({"/bin/echo", "/bin/adduser"});
        const std::string name = cut(cut(text, 127), 63);
        const std::string line = "/bin/echo -en \"\\n\" | /bin/adduser '" + in_quotes(name) + "' > /dev/null 2>&1";
        const Calls calls = calls_of("/bin/adduser");
        if (line.size() <= 255) {
            EXPECT_EQ((Calls{{"/bin/adduser", name}}), calls);
        } else { // a cut line; the host lets no such name in
            for (const Words &words : calls)
                EXPECT_TRUE(words.size() == 2 && is_prefix(words[1], name));
        }
    }
}

TEST_F(Shell, AccountsAreRemovedByTheNameAndNothingElse)
{
    FOR_EACH_TEXT(text, 1)
    {
        run([&] {
            const NasUser user = user_of(text, "secret");
            set_nas_user("ftp", 0, &user);
            remove_user_system("ftp", 0);
        });
        expect_only({"/bin/deluser"});
        const std::string name = stored_name(text);
        EXPECT_EQ(name.empty() ? Calls{} : (Calls{{"/bin/deluser", cut(name, 63)}}), calls_of("/bin/deluser"));
    }
}

TEST_F(Shell, SambaIsToldTheNameAndThePassword)
{
    FOR_EACH_TEXT(text, 2)
    {
        run([&] {
            const NasUser by_password = user_of("anna", text), by_name = user_of(text, "secret");
            set_nas_user("samba", 0, &by_password);
            set_nas_user("samba", 1, &by_name);
            init_smb_users();
        });
        expect_only({"/bin/echo", "/sbin/smbpasswd"});
        const std::string password = cut(stored_password(text), 63);
        const Words by_password = {"/sbin/smbpasswd", "-a", "-s", "anna"};
        const Words by_name = {"/sbin/smbpasswd", "-a", "-s", cut(stored_name(text), 63)};
        const Calls calls = calls_of("/sbin/smbpasswd");
        for (const Words &words : calls)
            EXPECT_TRUE(words == by_password || words == by_name) << testing::PrintToString(words);
        // What stands behind a comma or a blank is taken for the permission; the host lets neither in.
        if (!has_any(text, ", ")) {
            EXPECT_EQ((Calls{by_password, by_name}), calls);
        }
        // echo reads backslashes as its own: the host lets no such password in.
        for (const private_root::Run &run : private_root::runs()) {
            if (run.words.back() == "anna" && !has_any(password, "\\")) {
                EXPECT_EQ(password + "\n" + password, run.input);
            }
        }
    }
}

TEST_F(Shell, TheWebServersUserFileGetsNameAndPassword)
{
    FOR_EACH_TEXT(text, 3)
    {
        run([&] {
            const NasUser user = user_of(text, text);
            add_httpd_user(&user);
        });
        const std::string name = cut(text, 63), password = cut(text, 127);
        EXPECT_EQ((Calls{{"/sbin/htdigest", "-c", "/etc/lighttpd.user", "nalVEX", name, password}}),
                  calls_of("/sbin/htdigest"));
        expect_only({"/sbin/htdigest"});
    }
}

TEST_F(Shell, LinksForFtpUsersStayInTheirFolder)
{
    run([] { lighttpd_callback("nomount", nullptr); });
    const auto without = private_root::tree();
    FOR_EACH_TEXT(text, 4)
    {
        run([&] {
            const NasUser user = user_of(text, "secret");
            set_nas_user("ftp", 0, &user);
            lighttpd_callback("nomount", nullptr);
        });
        auto expected = without;
        const std::string name = stored_name(text);
        const bool gets_link = is_file_name(name);
        const std::string link = "/tmp/webroot/httpstream/" + cut(name, 63);
        if (gets_link)
            expected[link] = "-> /tmp/mnt";
        EXPECT_EQ(expected, private_root::tree());
        EXPECT_EQ(gets_link ? (Calls{{"ln", "-s", "/tmp/mnt", link}}) : Calls{}, calls_of("ln"));
    }
}

// The folder that is made, if any was missing: exactly that one. Only where the quoted path does not fit into its
// buffer it is cut.
void expect_folder(const Calls &calls, const Words &command, const std::string &path, size_t room)
{
    for (const Words &words : calls) {
        ASSERT_EQ(command.size() + 1, words.size());
        EXPECT_EQ(command, Words(words.begin(), words.end() - 1));
        if (in_quotes(path).size() < room)
            EXPECT_EQ(path, words.back());
        else
            EXPECT_TRUE(is_prefix(words.back(), path));
    }
}

TEST_F(Shell, CloudFoldersAreMadeAsNamed)
{
    const std::vector<std::string> programs = {"/bin/pidof", "/usr/bin/killall", "/sbin/iptables",
                                               "mkdir",      "/sbin/rsync",      "/sbin/nalvexcloud"};
    FOR_EACH_TEXT(text, 5)
    {
        run([&] {
            iconfig_set_value_direct("rsync_conf", "1,1873,Disk1");
            iconfig_set_value_direct("rsync_folder", text.c_str());
            iconfig_set_value_direct("nalvexcloud_conf", "1,2873,Disk1");
            iconfig_set_value_direct("nalvexcloud_folder", ("sync " + text).c_str());
            rsync_callback(nullptr);
            nalvexcloud_callback(nullptr);
        });
        expect_only(programs);
        const std::string backup = "/mnt/Disk1/" + up_to(text, "\n"), sync = "/mnt/Disk1/sync " + up_to(text, "\n");
        const Calls calls = calls_of("mkdir");
        ASSERT_GE(calls.size(), has_any(text, "/") ? 0U : 1U);
        if (calls.size() == 2)
            expect_folder({calls[0]}, {"mkdir", "-p"}, backup, 1024);
        if (!calls.empty())
            expect_folder({calls.back()}, {"mkdir", "-p"}, sync, 1024);
        EXPECT_EQ((Calls{{"/sbin/rsync", "--daemon", "--config=/etc/cloudbackup.conf", "--port=1873", "--original"}}),
                  calls_of("/sbin/rsync"));
    }
}

TEST_F(Shell, TorrentFoldersAreMadeAndHandedOverAsNamed)
{
    FOR_EACH_TEXT(text, 6)
    {
        run([&] {
            const NasUser user = user_of("anna", "secret");
            set_nas_user("torrent", 0, &user);
            iconfig_set_value_direct("torrent_conf", "1,0,0,0,9091");
            iconfig_set_value_direct("torrent_hddname", "Disk1");
            iconfig_set_value_direct("torrent_folder", text.c_str());
            torrent_callback(nullptr);
        });
        expect_only(
            {"/bin/pidof", "/usr/bin/killall", "/sbin/iptables", "mkdir", "chmod", "rm", "/sbin/transmission-daemon"});
        const std::string path = "/mnt/Disk1/" + text;
        expect_folder(calls_of("mkdir"), {"mkdir", "-p"}, path, 2048);
        expect_folder(calls_of("rm"), {"rm", "-rf"}, path + "/.session/settings.json", 2048);
        const std::string line = "/sbin/transmission-daemon -a *.*.*.* -c '" + in_quotes(path) + "' -w '" +
                                 in_quotes(path) + "' -g '" + in_quotes(path) +
                                 "/.session' -p 9091 -t -u anna -v 'secret'";
        const Words words = {"/sbin/transmission-daemon", "-a", "*.*.*.*", "-c", path, "-w",   path, "-g",
                             path + "/.session",          "-p", "9091",    "-t", "-u", "anna", "-v", "secret"};
        const Calls calls = calls_of("/sbin/transmission-daemon");
        // Never a part of the line: behind the folders stands what asks for a password.
        for (const Words &call : calls)
            EXPECT_EQ(words, call);
        const bool made = !calls_of("chmod").empty();
        EXPECT_EQ(made && line.size() < 1024 ? 2U : 0U, calls.size());
        if (made)
            expect_folder(calls_of("chmod"), {"chmod", "-R", "777"}, path, 2048);
    }
}

TEST_F(Shell, MediaFoldersAreMadeAsNamed)
{
    FOR_EACH_TEXT(text, 7)
    {
        run([&] {
            iconfig_set_value_direct("media_conf", "1,nas,");
            iconfig_set_value_direct("media_hddname", "Disk1");
            iconfig_set_value_direct("media_folder", text.c_str());
            media_callback(nullptr);
            touch_media_db();
        });
        expect_only({"/bin/pidof", "/usr/bin/killall", "mkdir", "touch", "/sbin/minidlna"});
        expect_folder(calls_of("mkdir"), {"mkdir", "-p"}, "/mnt/Disk1/" + up_to(text, "\n"), 2048);
        EXPECT_EQ((Calls{{"touch", "/mnt/Disk1/MediaDB/files.db"}}), calls_of("touch"));
        EXPECT_EQ((Calls{{"/sbin/minidlna", "-f", "/etc/minidlna.conf"}}), calls_of("/sbin/minidlna"));
    }
}

TEST_F(Shell, ThePackageFolderIsLinkedAsNamed)
{
    FOR_EACH_TEXT(text, 8)
    {
        run([&] {
            iconfig_set_value_direct("entware_hddname", "Disk1");
            iconfig_set_value_direct("entware_folder", text.c_str());
            link_dir_for_entware();
        });
        expect_only({"/bin/mkdir", "/bin/ln"});
        const std::string path = cut("/tmp/mnt/Disk1/" + text, 255);
        expect_folder(calls_of("/bin/mkdir"), {"/bin/mkdir", "-p"}, path, 1024);
        for (const Words &words : calls_of("/bin/ln"))
            EXPECT_EQ((Words{"/bin/ln", "-s", path, "/tmp/cur"}), words);
    }
}

// What the information line is without the characters that mean something to the shell.
std::string without_shell_characters(const std::string &line)
{
    std::string kept;
    for (const char c : line)
        if (!has_any(std::string(1, c), " $&;|`\\><\"'\n\r"))
            kept += c;
    return kept;
}

TEST_F(Shell, ThePackageServersAnswerNamesOneAddress)
{
    FOR_EACH_TEXT(text, 9)
    {
        run([&] {
            private_root::put_dir("/tmp/cur");
            PeriodicCallbackRecord record = {};
            entware_download_callback(&record);
            // As if the first job had ended with this answer.
            private_root::put_file("/tmp/entware_info", text + "\nhttp://elsewhere.example/x\n");
            for (int poll = 0; poll < 3; poll++)
                entware_download_callback(&record);
        });
        std::string address;
        for (size_t at = 0; address.empty() && at <= text.size(); at = text.find('\n', at) + 1) {
            address = cut(without_shell_characters(up_to(text.substr(at), "\n")), 255);
            if (text.find('\n', at) == std::string::npos)
                break;
        }
        if (address.empty())
            address = "http://elsewhere.example/x";
        const Words first_job = {"/usr/bin/wget", "-O", "/tmp/entware_info",
                                 "http://packages.nalvex.example/entware/NALVEX-2/config.txt"};
        for (const Words &words : calls_of("/usr/bin/wget"))
            EXPECT_TRUE(words == first_job || words == (Words{"/usr/bin/wget", "-O", "/tmp/cur/install.sh", address}))
                << testing::PrintToString(words);
        expect_only({"/usr/bin/wget"});
    }
}

TEST_F(Shell, TheModelsNameStaysInItsAddress)
{
    FOR_EACH_TEXT(text, 10)
    {
        run([&] {
            private_root::put_dir("/tmp/cur");
            private_root::put_file("/nas/conf", private_root::contents("/nas/conf") + "model = " + text + "\n");
            PeriodicCallbackRecord record = {};
            entware_download_callback(&record);
        });
        expect_only({"/usr/bin/wget"});
        const Calls calls = calls_of("/usr/bin/wget");
        ASSERT_EQ(1U, calls.size());
        ASSERT_EQ(4U, calls[0].size());
        EXPECT_EQ((Words{"-O", "/tmp/entware_info"}), Words(calls[0].begin() + 1, calls[0].begin() + 3));
        EXPECT_TRUE(is_prefix("http://packages.nalvex.example/entware/", calls[0][3]));
    }
}

TEST_F(Shell, APrintersAddressIsOneWord)
{
    FOR_EACH_TEXT(text, 11)
    {
        run([&] {
            private_root::answer("pidof", 0);
            private_root::answer("lpstat", 1);
            private_root::answer("lpinfo", 0, "network ipp\ndirect " + text + "\n");
            PeriodicCallbackRecord record = {};
            lp_callback(&record);
            char name[NAS_PRINTER_NAME_SIZE];
            private_root::answer("lpstat", 0, "device for " + text + ": usb://a/b\n");
            get_cupsd_printer_status(name);
        });
        expect_only({"/bin/pidof", "pidof", "/bin/lpinfo", "/bin/lpstat", "grep", "cut", "/bin/lpadmin"});
        const std::string address = up_to(text, " \n");
        const Calls calls = calls_of("/bin/lpadmin");
        if (has_any(address, "$`\"\\") || (address.empty() && !has_any(text, "\n"))) {
            EXPECT_EQ(Calls{}, calls);
        }
        for (const Words &words : calls)
            EXPECT_EQ((Words{"/bin/lpadmin", "-p", "nalVEX_Printer", "-v", address, "-E"}), words);
    }
}

} // namespace
