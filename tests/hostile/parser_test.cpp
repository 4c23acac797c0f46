// What the daemons themselves read in the generated files: their own parsers, out of the virtual router's packages, say
// which shares, modules and folders there are. Without the packages (NAS_ROUTER_PACKAGES) nothing can be said.
#include "hostile/corpus.h"
#include "hostile/shell.h"
#include "nas/nas.h"
#include "platform/store.h"
#include "support/private_root.h"
#include "text.h"
#include "validate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace hostile;

class Parser : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        private_root::enter();
    }

    void SetUp() override
    {
        if (access("/router/usr", F_OK) != 0)
            GTEST_SKIP() << "no packages of the virtual router";
        use_shell(false);
        private_root::put_file("/router/etc/passwd", "root:x:0:0::/:/bin/sh\nnobody:x:65534:65534::/:/bin/false\n");
        private_root::put_file("/router/etc/group", "root:x:0:\nnobody:x:65534:\n");
        private_root::put_file("/router/etc/hosts", "127.0.0.1 localhost nalvex\n");
        for (const char *folder : {"/router/var/log", "/router/var/run", "/router/var/cache/samba",
                                   "/router/var/lib/samba/private", "/router/run/samba", "/router/etc/samba"})
            private_root::put_dir(folder);
    }

    struct Answer {
        int status = -1;
        std::string text;
    };

    // Runs a program of the router's with a file as its input; both outputs together.
    static Answer ask(const std::string &command, const std::string &input = "/dev/null")
    {
        std::fflush(nullptr);
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        const pid_t child = fork();
        if (child == 0) {
            FILE *in = freopen(input.c_str(), "r", stdin);
            dup2(ends[1], 1);
            dup2(ends[1], 2);
            if (in == nullptr || chroot("/router") != 0 || chdir("/") != 0)
                _exit(125);
            execl("/bin/busybox", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        close(ends[1]);
        Answer answer;
        char part[4096];
        for (ssize_t got; (got = read(ends[0], part, sizeof part)) > 0;)
            answer.text.append(part, static_cast<size_t>(got));
        close(ends[0]);
        int status = -1;
        waitpid(child, &status, 0);
        answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return answer;
    }

    // One disk with a folder of each name that a file system takes.
    static void make_all_folders()
    {
        private_root::clear();
        for (const std::string &text : whole_corpus())
            if (is_file_name(text))
                private_root::put_dir("/tmp/mnt/Disk1/" + text);
    }
};

std::vector<std::string> lines_of(const std::string &text)
{
    return nashost::split(text, '\n');
}

NasUser anna(const char *folder)
{
    NasUser user = {};
    nashost::copy_cut(user.id, sizeof user.id, "anna");
    nashost::copy_cut(user.password, sizeof user.password, "secret");
    nashost::copy_cut(user.folder, sizeof user.folder, folder);
    user.permission = NAS_USER_READ_WRITE;
    return user;
}

TEST_F(Parser, SambaSeesNoShareAndNoSettingButTheRouters)
{
    make_all_folders();
    ASSERT_TRUE(private_root::in_child([] {
        const NasUser user = anna("Disk1");
        set_nas_user("samba", 0, &user);
        iconfig_set_value_direct("samba_conf", "1,nas,GROUP,0,0,0,1");
        samba_callback("nomount");
    }));
    private_root::put_file("/router/tmp/smb.conf", private_root::contents("/etc/samba/smb.conf"));
    const Answer answer = ask("testparm -s --suppress-prompt /tmp/smb.conf 2>/dev/null");
    ASSERT_EQ(0, answer.status) << ask("testparm -s --suppress-prompt /tmp/smb.conf 2>&1 >/dev/null").text;
    const std::set<std::string> all(whole_corpus().begin(), whole_corpus().end());
    const std::set<std::string> settings = {"create mask", "directory mask", "path",         "read only",
                                            "valid users", "write list",     "use sendfile", "include",
                                            "comment",     "guest ok",       "available"};
    bool in_share = false;
    int shares = 0;
    for (const std::string &line : lines_of(answer.text)) {
        if (!line.empty() && line[0] == '[') {
            in_share = line != "[global]";
            shares += in_share ? 1 : 0;
        } else if (!in_share) {
            for (const char *of_a_share : {"path = ", "valid users", "create mask", "include"})
                EXPECT_EQ(std::string::npos, line.find(of_a_share)) << shown(line);
        } else if (in_share && line.find(" = ") != std::string::npos) {
            const std::string key(nashost::trimmed(line.substr(0, line.find(" = "))));
            const std::string value = line.substr(line.find(" = ") + 3);
            EXPECT_EQ(1U, settings.count(key)) << shown(line);
            EXPECT_TRUE(key != "guest ok" || value == "No") << shown(line);
            EXPECT_TRUE(key != "path" || is_prefix("/mnt/Disk1", value)) << shown(line);
            EXPECT_TRUE(key != "valid users" || value == "anna") << shown(line);
        }
    }
    printf("%d shares of %zu folders\n", shares, all.size());
    EXPECT_GT(shares, 500);
}

TEST_F(Parser, TheFtpDaemonTakesTheFile)
{
    make_all_folders();
    ASSERT_TRUE(private_root::in_child([] {
        const NasUser user = anna("");
        set_nas_user("ftp", 0, &user);
        iconfig_set_value_direct("ftp_conf", "1,21,9000,UTF-8,0");
        ftp_callback("nomount");
    }));
    // Three directives of the router's own build.
    std::string stock;
    for (const std::string &line : lines_of(private_root::contents("/etc/proftpd.conf")))
        if (!is_prefix("receivefile", line) && !is_prefix("TransferLogSize", line) && !is_prefix("IdentLookups", line))
            stock += line + "\n";
    EXPECT_GT(std::count(stock.begin(), stock.end(), '\n'), 5000);
    private_root::put_file("/router/tmp/proftpd.conf", stock);
    const Answer answer = ask("proftpd -t -c /tmp/proftpd.conf");
    EXPECT_EQ(0, answer.status) << answer.text;
    // The check does find what is wrong.
    private_root::put_file("/router/tmp/proftpd.conf", stock + "<Directory \"/a\"b\">\nHacked on\n</Directory>\n");
    EXPECT_NE(0, ask("proftpd -t -c /tmp/proftpd.conf").status);
}

TEST_F(Parser, TheCloudDaemonHasOneModuleOfTheFoldersName)
{
    private_root::put_file("/router/tmp/greeting", "@RSYNCD: 31.0\n#list\n");
    FOR_EACH_TEXT(text, 50)
    {
        if (!nasctl::problem_with_module(text, 255).empty())
            continue;
        private_root::clear();
        ASSERT_TRUE(private_root::in_child([&] {
            const NasUser user = anna("");
            set_nas_user("rsync", 0, &user);
            iconfig_set_value_direct("rsync_conf", "1,1873,Disk1");
            iconfig_set_value_direct("rsync_folder", text.c_str());
            rsync_callback(nullptr);
        }));
        private_root::put_file("/router/tmp/rsync.conf", private_root::contents("/etc/cloudbackup.conf"));
        const Answer answer = ask("rsync --server --daemon --config=/tmp/rsync.conf . ", "/router/tmp/greeting");
        std::vector<std::string> modules;
        for (const std::string &line : lines_of(answer.text))
            if (const size_t tab = line.rfind("\t"); tab != std::string::npos)
                modules.push_back(line.substr(0, tab));
        ASSERT_EQ(1U, modules.size()) << answer.text;
        // The list fills a short name up with blanks.
        EXPECT_EQ(text, modules[0].substr(0, std::max(text.size(), modules[0].find_last_not_of(' ') + 1)));
    }
}

TEST_F(Parser, TheWebServerReadsTheUserItIsMeantFor)
{
    for (const char *name : {"anna", "a.b-c_d", "_x", "Z9"}) {
        private_root::clear();
        ASSERT_EQ("", nasctl::problem_with_user_name(name));
        ASSERT_TRUE(private_root::in_child([&] {
            NasUser user = anna("");
            nashost::copy_cut(user.id, sizeof user.id, name);
            set_nas_user("url", 0, &user);
            iconfig_set_value_direct("url_conf", "1,8000,1");
            lighttpd_callback("nomount", nullptr);
        }));
        private_root::put_file("/router/tmp/mime.conf", "mimetype.assign = ()\n");
        private_root::put_file("/router/tmp/web.conf", private_root::contents("/etc/lighttpd.conf.8000"));
        const Answer answer = ask("lighttpd -p -f /tmp/web.conf -m /usr/lib/lighttpd");
        EXPECT_EQ(0, answer.status) << answer.text;
        EXPECT_NE(std::string::npos, answer.text.find(std::string("\"user=") + name + "|\"")) << answer.text;
    }
}

} // namespace
