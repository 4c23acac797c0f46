// Some command lines and files leave a text unquoted. There the host's entries must refuse what would not stay in its
// place: SECURITY.md lists them. What an entry takes goes through the real shell, and arrives as it was.
#include "filter.h"
#include "folder_name.h"
#include "hostile/corpus.h"
#include "hostile/shell.h"
#include "platform/device.h"
#include "services.h"
#include "support/private_root.h"
#include "text.h"
#include "users.h"
#include "validate.h"

#include "nas/service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace
{

using namespace hostile;

const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string plain = letters + "0123456789._-";

bool consists_of(const std::string &text, const std::string &characters)
{
    return text.find_first_not_of(characters) == std::string::npos;
}

class Entry : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        private_root::enter();
    }

    void SetUp() override
    {
        use_shell(true);
        private_root::clear();
    }

    // In a child, with accounts of the system's own: does the entry take it?
    static bool takes(const std::function<void()> &entry)
    {
        private_root::clear();
        private_root::put_file("/etc/passwd", "root:x:0:0::/:/bin/sh\nproxy:x:13:13::/:/bin/false\n");
        private_root::in_child([&] {
            try {
                entry();
                private_root::put_file("/nas/taken", "yes");
            } catch (const std::exception &) { // refused
            }
        });
        return private_root::contents("/nas/taken") == "yes";
    }
};

// Rows "adduser, deluser" and "lighttpd.conf": names.
TEST_F(Entry, UserNames)
{
    for (const char *service : {"ftp", "samba", "url"}) {
        FOR_EACH_TEXT(text, 40)
        {
            const bool taken = takes([&] {
                nasctl::UserChange change;
                change.password = "secret";
                nasctl::add_user(service, text, change);
                nasctl::remove_user(service, text);
            });
            const bool may_be =
                consists_of(text, plain) && consists_of(text.substr(0, 1), letters + "_") && text.size() <= 31;
            EXPECT_TRUE(may_be || !taken);
            for (const private_root::Run &run : private_root::runs()) {
                EXPECT_TRUE(taken) << run.words[0];
                if (run.words[0] == "/bin/adduser" || run.words[0] == "/usr/bin/passwd") {
                    EXPECT_EQ((std::vector<std::string>{run.words[0], text}), run.words);
                }
            }
            if (!taken) {
                EXPECT_EQ(private_root::Pairs{}, private_root::stored("config.db"));
            }
        }
    }
    EXPECT_TRUE(takes([] {
        nasctl::UserChange change;
        change.password = "secret";
        nasctl::add_user("ftp", "anna", change);
    }));
}

// Row "passwd": the password stands between double quotes there.
TEST_F(Entry, Passwords)
{
    for (const char *service : {"ftp", "samba"}) {
        FOR_EACH_TEXT(text, 41)
        {
            const bool taken = takes([&] {
                nasctl::UserChange change;
                change.password = text;
                nasctl::add_user(service, "anna", change);
            });
            const bool may_be = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; }) &&
                                !has_any(text, ",\"'\\$`%") && text.size() <= 63;
            EXPECT_TRUE(may_be || !taken);
            bool was_told = false;
            for (const private_root::Run &run : private_root::runs()) {
                EXPECT_TRUE(taken) << run.words[0];
                if (run.words[0] == "/usr/bin/passwd") {
                    was_told = true;
                    EXPECT_EQ((std::vector<std::string>{"/usr/bin/passwd", "anna"}), run.words);
                    EXPECT_EQ(text + "\n" + text + "\n", run.input);
                }
            }
            EXPECT_EQ(taken && std::string("ftp") == service, was_told);
        }
    }
}

TEST_F(Entry, UsersFolders)
{
    FOR_EACH_TEXT(text, 42)
    {
        for (const std::string &folder : {text, "Disk1:" + text}) {
            const bool taken = takes([&] {
                nasctl::UserChange change;
                change.password = "secret";
                change.folder = folder;
                nasctl::add_user("samba", "anna", change);
            });
            EXPECT_TRUE(!taken || (!has_control(folder) && !has_any(folder, "/,") && folder.size() <= 255));
            if (taken) {
                EXPECT_EQ(folder, private_root::stored("config.db")["nas_user_samba.folder"]);
            }
        }
    }
}

// Every text setting of every service: taken whole, or refused and nothing changed. Names of disks are plain; a cloud
// service's folder cannot end its module's name (row "cloudbackup.conf").
TEST_F(Entry, ServiceSettings)
{
    for (const NasServiceInfo *service = nas_service_table; service->name != nullptr; service++) {
        const nasctl::ServiceControl &control = nasctl::service_control(service->name);
        for (const std::string &part : nashost::split(control.keys, ',')) {
            const std::string key(nashost::trimmed(part));
            FOR_EACH_TEXT(text, 43)
            {
                const bool taken = takes([&] {
                    control.set({{key, text}}, true);
                    const auto now = control.show()[key];
                    private_root::put_file("/nas/now", now.is_string() ? now.get<std::string>() : now.dump());
                });
                if (!taken) {
                    EXPECT_EQ(private_root::Pairs{}, private_root::stored("config.db")) << service->name << " " << key;
                    continue;
                }
                EXPECT_FALSE(has_control(text)) << service->name << " " << key;
                const std::string now = private_root::contents("/nas/now");
                EXPECT_TRUE(now == text || now == "true" || now == "false") << now;
                EXPECT_TRUE(key != "disk" || (consists_of(text, plain) && text.size() <= 15));
                EXPECT_TRUE(key != "name" || !has_any(text, ","));
                const std::string name = service->name;
                const bool is_module = key == "folder" && (name == "rsync" || name == "nalvexcloud");
                EXPECT_TRUE(!is_module || !has_any(text, "]/"));
            }
        }
    }
}

// Row "usbmount, usbumount": devices of events.
TEST(Events, NameNothingButDisks)
{
    for (const std::string &text : whole_corpus()) {
        SCOPED_TRACE(shown(text));
        const std::string disk = "/devices/pci0000:00/usb1/1-1/1-1:1.0/host0/target0:0:0/0:0:0:0/block/";
        for (const std::string &path : {text, disk + text, disk + "sda" + text, disk + "sda/sda1" + text,
                                        disk + "sda/sda" + text, "/class/usb/lp0" + text, "/class/net/usb0" + text}) {
            for (const char *action : {"add", "remove"}) {
                const auto event = hotplug::accepted_event(action, path);
                if (!event)
                    continue;
                const size_t block = event->path.find("/block/");
                if (block == std::string::npos)
                    continue;
                const std::string device = event->path.substr(block + 7);
                EXPECT_TRUE(consists_of(device, "sdabcdefghijklmnopqrstuvwxyz/0123456789")) << device;
                EXPECT_EQ("sd", device.substr(0, 2));
                EXPECT_LE(device.size(), 12U);
            }
            EXPECT_FALSE(hotplug::accepted_event(text == "add" || text == "remove" ? "x" : text, disk + "sda"));
        }
    }
}

// Row "umount, mount.exfat-fuse": the folder is the host's own name for the volume, whatever the label says.
TEST(Labels, BecomePlainFolderNames)
{
    for (const std::string &text : whole_corpus()) {
        SCOPED_TRACE(shown(text));
        const std::string reduced = usbmount::reduced_label(text);
        EXPECT_TRUE(consists_of(reduced, plain)) << reduced;
        EXPECT_LE(reduced.size(), 15U);
        EXPECT_TRUE(reduced.empty() || (reduced[0] != '.' && reduced[0] != '-'));
        int asked = 0;
        const std::string folder =
            usbmount::free_folder_name(reduced, [&](const std::string &) { return asked++ < 12; });
        EXPECT_TRUE(!folder.empty() && consists_of(folder, plain) && folder.size() <= 15) << folder;
    }
}

// Row "a format": the product text.
TEST_F(Entry, ProductTextIsNoFormat)
{
    FOR_EACH_TEXT(text, 44)
    {
        private_root::clear();
        private_root::put_file("/nas/conf", private_root::contents("/nas/conf") + "product = " + text + "\n");
        EXPECT_TRUE(private_root::in_child([] {
            char product[NAS_PRODUCT_SIZE] = "";
            get_si("pi", product);
            private_root::put_file("/nas/product", product);
        }));
        const std::string product = private_root::contents("/nas/product");
        EXPECT_FALSE(has_any(product, "%\"") || has_control(product)) << product;
    }
}

} // namespace
