// Generated configuration files hold a hostile text in its place, or not at all: every other byte is as it would be
// with a harmless one.
#include "hostile/corpus.h"
#include "hostile/shell.h"
#include "nas/nas.h"
#include "platform/store.h"
#include "support/private_root.h"

#include <gtest/gtest.h>

#include <functional>
#include <strings.h>
#include <unistd.h>

namespace
{

using namespace hostile;

const std::string harmless = "HARMLESS";
const std::string nothing;                   // in place of a text: as if it were not there
const std::string another_left_out = "\x01"; // a router without any disk would be another matter

// The file that the service writes when a text is this one.
using Generate = std::function<std::string(const std::string &text)>;

class File : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        private_root::enter();
    }

    void SetUp() override
    {
        use_shell(false);
    }

    static std::string run(const std::function<void()> &body, const std::string &file)
    {
        private_root::clear();
        EXPECT_TRUE(private_root::in_child(body));
        return private_root::contents(file);
    }
};

std::string replaced(std::string text, const std::string &what, const std::string &by)
{
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

// The text as it must stand in the file.
void expect_in_place(const Generate &generate, const std::string &text, const std::string &in_file)
{
    const std::string with_harmless = generate(harmless);
    ASSERT_NE(std::string::npos, with_harmless.find(harmless));
    EXPECT_EQ(replaced(with_harmless, harmless, in_file), generate(text));
}

void expect_left_out(const Generate &generate, const std::string &text)
{
    EXPECT_NE(generate(harmless), generate(nothing));
    EXPECT_EQ(generate(nothing), generate(text));
}

// Blanks behind it do not count.
bool ends_in_backslash(const std::string &text)
{
    const size_t last = text.find_last_not_of(' ');
    return last != std::string::npos && text[last] == '\\';
}

std::string without_backslashes_at_end(std::string text)
{
    while (ends_in_backslash(text))
        text.pop_back();
    return text;
}

void set_user(const char *service, const std::string &name, const std::string &folder)
{
    NasUser user = {};
    name.copy(user.id, sizeof user.id - 1);
    folder.copy(user.folder, sizeof user.folder - 1);
    std::string("secret").copy(user.password, sizeof user.password - 1);
    user.permission = NAS_USER_READ_WRITE;
    set_nas_user(service, 0, &user);
}

bool is_listed(const std::string &name)
{
    return is_file_name(name) && name != "lost+found" && name != "nfs";
}

void make_folder(const std::string &parent, const std::string &name)
{
    if (!name.empty())
        private_root::put_dir(parent + "/" + name);
}

std::string ftp_file(const std::function<void()> &set_up)
{
    return private_root::in_child([&] {
        set_up();
        iconfig_set_value_direct("ftp_conf", "1,21,9000,UTF-8,0");
        ftp_callback("nomount");
    })
               ? private_root::contents("/etc/proftpd.conf")
               : "the run failed";
}

std::string samba_file(const std::function<void()> &set_up)
{
    return private_root::in_child([&] {
        iconfig_set_value_direct("samba_conf", "1,nas,GROUP,0,0,0,1");
        set_up();
        samba_callback("nomount");
    })
               ? private_root::contents("/etc/samba/smb.conf")
               : "the run failed";
}

// Samba reads a heading up to its first "]", and a special one with any blanks.
bool samba_takes(const std::string &name)
{
    const std::string heading = replaced(up_to(name, "]"), " ", "");
    bool special = name[0] == ']';
    for (const char *word : {"global", "globals", "homes", "printers"})
        special = special || strcasecmp(word, heading.c_str()) == 0;
    return !special && !has_control(name) && !ends_in_backslash(name);
}

// The FTP daemon takes a backslash for what follows it.
bool ftp_takes(const std::string &name)
{
    std::string read;
    for (size_t i = 0; i < name.size(); i++) {
        i += name[i] == '\\' && i + 1 < name.size() ? 1 : 0;
        read += name[i];
    }
    const bool another = read == "*" || read == "." || read == "..";
    return !another && !has_control(name) && !ends_in_backslash(name) && !has_any(name, "\"");
}

void expect_name(const Generate &generate, const std::string &name, bool is_taken)
{
    if (is_taken)
        expect_in_place(generate, name, name);
    else
        expect_left_out(generate, name);
}

TEST_F(File, FtpFolders)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        make_folder("/tmp/mnt/Disk1", name);
        return ftp_file([] { set_user("ftp", "anna", ""); });
    };
    FOR_EACH_TEXT(text, 20)
    {
        if (is_listed(text))
            expect_name(generate, text, ftp_takes(text));
    }
}

TEST_F(File, FtpDisks)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        rmdir("/tmp/mnt/Disk1"); // alone, it stands in one place whatever its name
        make_folder("/tmp/mnt", name.empty() ? another_left_out : name);
        return ftp_file([] { set_user("ftp", "anna", ""); });
    };
    FOR_EACH_TEXT(text, 21)
    {
        if (is_listed(text))
            expect_name(generate, text, ftp_takes(text));
    }
}

TEST_F(File, FtpUsers)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        return ftp_file([&] {
            if (!name.empty())
                iconfig_set_value_direct("nas_user_system_0", (name + ",secret").c_str());
            iconfig_set_value_direct("nas_user_system_0.ftp", "rw");
        });
    };
    FOR_EACH_TEXT(text, 22)
    {
        const std::string name = cut(text, 127);
        if (has_any(text, ","))
            continue;
        if (has_control(name) || ends_in_backslash(name))
            expect_left_out(generate, text);
        else
            expect_in_place(generate, text, name);
    }
}

TEST_F(File, FtpCharset)
{
    const Generate generate = [](const std::string &charset) {
        private_root::clear();
        return ftp_file([] {}) + run(
                                     [&] {
                                         const std::string record = "1,21,9000," + charset + ",0";
                                         iconfig_set_value_direct("ftp_conf", record.c_str());
                                         ftp_callback("nomount");
                                     },
                                     "/etc/proftpd.conf");
    };
    FOR_EACH_TEXT(text, 23)
    {
        const std::string field = up_to(text, ",").empty() ? "EUC-KR" : cut(up_to(text, ","), 64);
        if (field != "AUTO")
            expect_in_place(generate, text, without_backslashes_at_end(up_to(field, "\n")));
    }
}

TEST_F(File, SambaFolders)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        make_folder("/tmp/mnt/Disk1", name);
        return samba_file([] { set_user("samba", "anna", "Disk1"); });
    };
    FOR_EACH_TEXT(text, 24)
    {
        if (is_listed(text))
            expect_name(generate, text, samba_takes(text));
    }
}

TEST_F(File, SambaDisks)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        rmdir("/tmp/mnt/Disk1"); // alone, it stands in one place whatever its name
        make_folder("/tmp/mnt", name.empty() ? another_left_out : name);
        return samba_file([] { set_user("samba", "anna", ""); });
    };
    FOR_EACH_TEXT(text, 25)
    {
        if (is_listed(text))
            expect_name(generate, text, samba_takes(text));
    }
}

TEST_F(File, SambaUsersAndTheirFiles)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        return samba_file([&] {
            if (!name.empty())
                iconfig_set_value_direct("nas_user_samba", (name + ",secret,1").c_str());
        });
    };
    FOR_EACH_TEXT(text, 26)
    {
        if (has_any(text, ",") || text.size() > 127)
            continue;
        expect_name(generate, text, !has_control(text) && !ends_in_backslash(text));
        size_t files = 0;
        for (const auto &[path, what] : private_root::tree())
            files += path.find("_Disk1.conf") != std::string::npos ? 1 : 0;
        EXPECT_LE(files, 1U);
        EXPECT_EQ("", private_root::contents("/etc/passwd_Disk1.conf"));
    }
}

TEST_F(File, SambaNames)
{
    const Generate generate = [](const std::string &name) {
        private_root::clear();
        return samba_file([&] {
            iconfig_set_value_direct("samba_conf", ("1," + name + ",W" + name + ",0,0,0,1").c_str());
            set_user("samba", "anna", "");
        });
    };
    FOR_EACH_TEXT(text, 27)
    {
        if (has_any(text, ",") || text.size() > 126)
            continue;
        expect_in_place(generate, text, without_backslashes_at_end(up_to(text, "\n")));
    }
}

TEST_F(File, MediaServer)
{
    const Generate generate = [](const std::string &text) {
        return run(
            [&] {
                iconfig_set_value_direct("media_conf", ("1," + text + ",").c_str());
                iconfig_set_value_direct("media_hddname", "Disk1");
                iconfig_set_value_direct("media_folder", ("in " + text).c_str());
                media_callback(nullptr);
            },
            "/etc/minidlna.conf");
    };
    FOR_EACH_TEXT(text, 28)
    {
        if (up_to(text, "\n").empty() || has_any(text, ","))
            continue;
        const std::string name = up_to(cut(text, 127), "\n"), folder = up_to(text, "\n");
        std::string expected = replaced(generate(harmless), "friendly_name=" + harmless, "friendly_name=" + name);
        expected = replaced(expected, "in " + harmless, "in " + in_quotes(folder));
        EXPECT_EQ(expected, generate(text));
    }
}

TEST_F(File, CloudModules)
{
    const Generate generate = [](const std::string &text) {
        return run(
            [&] {
                iconfig_set_value_direct("rsync_conf", "1,1873,Disk1");
                iconfig_set_value_direct("rsync_folder", text.c_str());
                set_user("rsync", "anna", "");
                rsync_callback(nullptr);
            },
            "/etc/cloudbackup.conf");
    };
    FOR_EACH_TEXT(text, 29)
    {
        expect_in_place(generate, text, up_to(text, "\n"));
    }
}

TEST_F(File, CloudUsers)
{
    const auto run_for = [](const std::string &text) {
        return run(
            [&] {
                iconfig_set_value_direct("nalvexcloud_conf", "1,2873,Disk1");
                iconfig_set_value_direct("nalvexcloud_folder", "Sync");
                iconfig_set_value_direct("nas_user_nalvexcloud", (text + "," + text + ",1").c_str());
                nalvexcloud_callback(nullptr);
            },
            "/etc/nalvexcloud.conf");
    };
    FOR_EACH_TEXT(text, 30)
    {
        if (has_any(text, ", ") || text.size() > 127)
            continue;
        expect_in_place(run_for, text, up_to(text, "\n"));
        EXPECT_EQ(up_to(text, "\n") + ":" + up_to(text, "\n"), private_root::contents("/etc/nalvexcloud.secrets"));
    }
}

TEST_F(File, WebUser)
{
    const Generate generate = [](const std::string &text) {
        return run(
            [&] {
                iconfig_set_value_direct("url_conf", "1,8000,1");
                set_user("url", text, "");
                lighttpd_callback("nomount", nullptr);
            },
            "/etc/lighttpd.conf.8000");
    };
    FOR_EACH_TEXT(text, 31)
    {
        if (!has_any(text, ","))
            expect_in_place(generate, text, up_to(cut(text, 127), "\n"));
    }
}

TEST_F(File, ProductText)
{
    const Generate generate = [](const std::string &text) {
        private_root::clear();
        private_root::put_file("/nas/conf", private_root::contents("/nas/conf") + "product = x" + text + "x\n");
        return ftp_file([] {});
    };
    FOR_EACH_TEXT(text, 32)
    {
        std::string kept;
        for (const char c : up_to(text, "\n"))
            if (!has_any(std::string(1, c), "%\"") && !has_control(std::string(1, c)))
                kept += c;
        if (!has_any(text, "\n") && text.size() < 125)
            expect_in_place(generate, text, kept);
    }
}

} // namespace
