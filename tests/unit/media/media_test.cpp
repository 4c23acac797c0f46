#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/media.h"

#include <cstring>
#include <string>

namespace
{

using nas_test::exists;
using nas_test::FailingMemory;
using nas_test::LibraryTest;
using nas_test::mode_of;
using nas_test::read_file;

constexpr const char *conf_path = "/etc/minidlna.conf";
constexpr const char *ordinary = nullptr;

struct Media : LibraryTest {
    // The record, read over garbage.
    MediaConfig get(int expected_result)
    {
        MediaConfig config;
        std::memset(&config, 0x5a, sizeof config);
        EXPECT_EQ(host.call(get_media_config, &config), expected_result);
        return config;
    }

    MediaConfig get_stored(const std::string &text)
    {
        host.set_config("media_conf", text);
        return get(1);
    }

    int callback(const char *mode)
    {
        return host.call(media_callback, mode);
    }
};

MediaConfig on_disk(const std::string &disk)
{
    MediaConfig config = {};
    disk.copy(config.disk_name, sizeof config.disk_name - 1);
    return config;
}

std::string whole_conf(const std::string &media_dir, const std::string &name, const std::string &disk)
{
    return "port=8200\n"
           "network_interface=br-lan\n"
           "media_dir=" +
           media_dir +
           "\n"
           "friendly_name=" +
           name +
           "\n"
           "db_dir=/mnt/" +
           disk +
           "/MediaDB\n"
           "inotify=yes\n"
           "enable_tivo=no\n"
           "strict_dlna=no\n"
           "notify_interval=895\n"
           "serial=12345678\n"
           "model_number=1\n"
           "album_art_names=Cover.jpg/cover.jpg/AlbumArtSmall.jpg/albumartsmall.jpg/AlbumArt.jpg/albumart.jpg/"
           "Album.jpg/album.jpg/Folder.jpg/folder.jpg/Thumb.jpg/thumb.jpg/front.jpg/Front.jpg\n";
}

// ---- the record

TEST_F(Media, RecordIsRead)
{
    host.set_config("media_hddname", "Disk1");
    host.set_config("media_folder", "Movies/New");
    const MediaConfig config = get_stored("1,Living room,");
    EXPECT_EQ(config.enabled, 1);
    EXPECT_STREQ(config.friendly_name, "Living room");
    EXPECT_STREQ(config.disk_name, "Disk1");
    EXPECT_STREQ(config.folder, "Movies/New");
    EXPECT_EQ(host.transcript(), "");
    EXPECT_EQ(host.config.total_reads, 3);
    EXPECT_EQ(host.status.total_reads, 0);
}

TEST_F(Media, AbsentRecordIsClearButForTheName)
{
    host.set_config("media_hddname", "Disk1");
    host.set_config("media_folder", "Movies");
    const MediaConfig config = get(0);
    MediaConfig expected;
    std::memset(&expected, 0, sizeof expected);
    std::memcpy(expected.friendly_name, "nalvex", 6);
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
}

TEST_F(Media, RestOfTheRecordIsClear)
{
    const MediaConfig config = get_stored("0,A,");
    MediaConfig expected;
    std::memset(&expected, 0, sizeof expected);
    expected.friendly_name[0] = 'A';
    EXPECT_EQ(std::memcmp(&config, &expected, sizeof config), 0);
}

TEST_F(Media, MissingFieldsAreDefaults)
{
    const struct {
        const char *stored;
        int enabled;
        const char *name;
    } records[] = {
        {"", 0, "nalvex"},          {"1", 1, "nalvex"},       {"1,", 1, "nalvex"},
        {"1,,", 1, "nalvex"},       {",Name,", 0, "Name"},    {",,", 0, "nalvex"},
        {"1,Name", 1, "Name"},      {"1,A,B,C", 1, "A"},      {"1,,B,", 1, "nalvex"},
        {"x,Name,", 0, "Name"},     {"12,Name,", 12, "Name"}, {"0,Name,", 0, "Name"},
        {"1, Name ,", 1, " Name "}, {"1,100%s,", 1, "100%s"}, {"1,$(reboot),", 1, "$(reboot)"},
    };
    for (const auto &record : records) {
        const MediaConfig config = get_stored(record.stored);
        EXPECT_EQ(config.enabled, record.enabled) << record.stored;
        EXPECT_STREQ(config.friendly_name, record.name) << record.stored;
    }
}

TEST_F(Media, TextsAreCut)
{
    host.set_config("media_hddname", "0123456789abcdefghij");
    host.set_config("media_folder", std::string(1000, 'f'));
    const MediaConfig config = get_stored("1," + std::string(1000, 'n'));
    EXPECT_EQ(std::string(config.friendly_name), std::string(127, 'n'));
    EXPECT_STREQ(config.disk_name, "0123456789abcde");
    EXPECT_EQ(std::string(config.folder), std::string(511, 'f'));
}

TEST_F(Media, LongestTextsFit)
{
    host.set_config("media_hddname", "0123456789abcde");
    host.set_config("media_folder", std::string(511, 'f'));
    const MediaConfig config = get_stored("1," + std::string(127, 'n') + ",");
    EXPECT_EQ(std::string(config.friendly_name), std::string(127, 'n'));
    EXPECT_STREQ(config.disk_name, "0123456789abcde");
    EXPECT_EQ(std::string(config.folder), std::string(511, 'f'));
}

TEST_F(Media, RecordIsWritten)
{
    MediaConfig config = on_disk("Disk1");
    config.enabled = 1;
    std::strcpy(config.friendly_name, "Living room");
    std::strcpy(config.folder, "Movies/New");
    EXPECT_EQ(host.call(set_media_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set media_conf = 1,Living room,\n"
                                 "set media_folder = Movies/New\n"
                                 "set media_hddname = Disk1\n");
    EXPECT_EQ(host.config.total_reads, 0);
}

TEST_F(Media, RecordIsWrittenWhateverTheStoreSays)
{
    host.config.refuses_writes = true;
    const MediaConfig config = {};
    EXPECT_EQ(host.call(set_media_config, &config), 0);
    EXPECT_EQ(host.transcript(), "set media_conf = 0,, -> failed\n"
                                 "set media_folder =  -> failed\n"
                                 "set media_hddname =  -> failed\n");
}

TEST_F(Media, WhatIsWrittenIsReadAgain)
{
    MediaConfig config = {};
    config.enabled = 1;
    std::memset(config.friendly_name, 'n', sizeof config.friendly_name - 1);
    std::memset(config.disk_name, 'd', sizeof config.disk_name - 1);
    std::memset(config.folder, 'f', sizeof config.folder - 1);
    host.call(set_media_config, &config);
    const MediaConfig again = get(1);
    EXPECT_EQ(std::memcmp(&config, &again, sizeof config), 0);
}

// ---- the database

TEST_F(Media, DatabaseLiesOnTheDisk)
{
    const MediaConfig config = on_disk("My Disk's");
    const char *const folder = get_media_db_folder(&config);
    const char *const file = get_media_db_filename(&config);
    EXPECT_STREQ(folder, "/mnt/My Disk's/MediaDB");
    EXPECT_STREQ(file, "/mnt/My Disk's/MediaDB/files.db");
    const MediaConfig other = on_disk("B");
    EXPECT_EQ(get_media_db_folder(&other), folder);
    EXPECT_STREQ(folder, "/mnt/B/MediaDB");
    EXPECT_STREQ(file, "/mnt/My Disk's/MediaDB/files.db");
    EXPECT_EQ(get_media_db_filename(&other), file);
    EXPECT_STREQ(file, "/mnt/B/MediaDB/files.db");
}

TEST_F(Media, RebuildIsAskedForByOneAlone)
{
    for (const char *value : {"0", "2", "-1", "11", "", "yes"}) {
        host.set_status("update_media_db", value);
        EXPECT_EQ(host.call([] { return check_reload_db(nullptr); }), 0) << value;
    }
    host.status.values.clear();
    EXPECT_EQ(host.call([] { return check_reload_db(nullptr); }), 0);
    host.set_config("update_media_db", "1");
    EXPECT_EQ(host.call([] { return check_reload_db(nullptr); }), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Media, RebuildIsAskedForOnce)
{
    const MediaConfig config = {};
    host.set_status("update_media_db", "1");
    EXPECT_EQ(host.call(check_reload_db, &config), 1);
    EXPECT_EQ(host.transcript(), "stderr: Media:Update DB Signal. Force to update DB\n"
                                 "remove-status update_media_db\n");
    EXPECT_EQ(host.call(check_reload_db, &config), 0);
}

TEST_F(Media, TouchOfAnEnabledServer)
{
    host.set_config("media_conf", "1,Film,");
    host.set_config("media_hddname", "Disk1");
    EXPECT_EQ(host.call(touch_media_db), 0);
    EXPECT_EQ(host.transcript(), "run touch '/mnt/Disk1/MediaDB/files.db' -> 0\n");
}

TEST_F(Media, TouchOfAnyFlagButZero)
{
    host.set_config("media_hddname", "Disk1");
    for (const char *record : {"2,Film,", "-1,Film,"}) {
        host.set_config("media_conf", record);
        host.forget();
        EXPECT_EQ(host.call(touch_media_db), 0);
        EXPECT_EQ(host.transcript(), "run touch '/mnt/Disk1/MediaDB/files.db' -> 0\n") << record;
    }
}

TEST_F(Media, TouchQuotesTheName)
{
    host.set_config("media_conf", "1,Film,");
    for (const char *disk : {"Bob's $(reboot)", "100% %s", "''''", "Ein Gerät"}) {
        host.set_config("media_hddname", disk);
        EXPECT_EQ(host.call(touch_media_db), 0);
    }
    EXPECT_EQ(host.transcript(), "run touch '/mnt/Bob'\\''s $(reboot)/MediaDB/files.db' -> 0\n"
                                 "run touch '/mnt/100% %s/MediaDB/files.db' -> 0\n"
                                 "run touch '/mnt/'\\'''\\'''\\'''\\''/MediaDB/files.db' -> 0\n"
                                 "run touch '/mnt/Ein Gerät/MediaDB/files.db' -> 0\n");
}

TEST_F(Media, TouchOfADisabledServerRunsNothing)
{
    host.set_config("media_hddname", "Disk1");
    EXPECT_EQ(host.call(touch_media_db), 0);
    host.set_config("media_conf", "0,Film,");
    EXPECT_EQ(host.call(touch_media_db), 0);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Media, TouchThatFailsDoesNotMatter)
{
    set_up_media();
    host.on_command_prefix("touch", {1});
    EXPECT_EQ(host.call(touch_media_db), 0);
    EXPECT_EQ(host.transcript(), "run touch '/mnt/Disk1/MediaDB/files.db' -> 1\n");
}

// ---- kill_and_wait_media_server

const std::string waiting = "run /bin/pidof minidlna -> 0\n"
                            "stdout: Waiting for Media Server to be dead\n"
                            "sleep 1\n";
const std::string waiting_forced = "run /bin/pidof minidlna -> 0\n"
                                   "stdout: Waiting for Media Server to be dead(SIGKILL)\n"
                                   "sleep 1\n";
const std::string forced = "stdout: Kill SIGKILL minidlna\n"
                           "run /usr/bin/killall -9 minidlna -> 0\n";
const std::string not_there = "run /bin/pidof minidlna -> 1\n";

TEST_F(Media, GoneServerIsLookedForOnce)
{
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 3U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 1\n" + not_there);
}

TEST_F(Media, ServerIsWaitedFor)
{
    host.add_process({.name = "minidlna", .looks = 2, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 3U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 0\n" + waiting + waiting + not_there);
}

TEST_F(Media, ServerThatSurvivesIsForced)
{
    host.add_process({.name = "minidlna", .only_forced = true});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 3U), 0);
    EXPECT_EQ(host.transcript(),
              "run /usr/bin/killall minidlna -> 0\n" + waiting + waiting + waiting + waiting + forced + not_there);
}

TEST_F(Media, ServerThatNeverEndsIsGivenUp)
{
    host.add_process({.name = "minidlna", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 3U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 0\n" + waiting + waiting + waiting + waiting +
                                     forced + waiting_forced + waiting_forced + waiting_forced + waiting_forced);
}

TEST_F(Media, BoundOfNoWaitsIsOnePassAPhase)
{
    host.add_process({.name = "minidlna", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 0U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 0\n" + waiting + forced + waiting_forced);
}

TEST_F(Media, AnyFlagButZeroBoundsTheWait)
{
    for (const int bounded : {2, -1}) {
        host.processes.clear();
        host.forget();
        host.add_process({.name = "minidlna", .looks = 6, .kills = -1});
        EXPECT_EQ(host.call(kill_and_wait_media_server, bounded, 0U), 0);
        EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 0\n" + waiting + forced + waiting_forced);
    }
}

TEST_F(Media, WithoutBoundItWaitsAsLongAsItTakes)
{
    host.add_process({.name = "minidlna", .looks = 50, .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 0, 3U), 0);
    std::string expected = "run /usr/bin/killall minidlna -> 0\n";
    for (int i = 0; i < 50; ++i)
        expected += waiting;
    EXPECT_EQ(host.transcript(), expected + not_there);
}

TEST_F(Media, ProcessesWithOtherNamesAreNotWaitedFor)
{
    host.add_process({.name = "minidlnad", .kills = -1});
    EXPECT_EQ(host.call(kill_and_wait_media_server, 1, 3U), 0);
    EXPECT_EQ(host.transcript(), "run /usr/bin/killall minidlna -> 1\n" + not_there);
}

// ---- media_callback: what the golden cases do not show

TEST_F(Media, StoresAreReadOncePerKey)
{
    set_up_media();
    EXPECT_EQ(callback(ordinary), 0);
    EXPECT_EQ(host.config.reads["media_conf"], 1);
    EXPECT_EQ(host.config.reads["media_hddname"], 1);
    EXPECT_EQ(host.config.reads["media_folder"], 1);
    EXPECT_EQ(host.config.total_reads, 3);
    EXPECT_EQ(host.status.reads["update_media_db"], 1);
    EXPECT_EQ(host.status.total_reads, 1);
    EXPECT_EQ(host.statfs_calls, 0);
}

TEST_F(Media, FolderThatIsThereIsNotMade)
{
    set_up_media();
    for (const int yes : {1, -1}) {
        host.yes = yes; // of the host, asked whether it is there
        host.forget();
        EXPECT_EQ(callback(ordinary), 0);
        EXPECT_EQ(host.count_lines("run mkdir"), 0) << yes;
        EXPECT_EQ(read_file(conf_path), whole_conf("/mnt/Disk1/Movies", "Film", "Disk1"));
    }
}

TEST_F(Media, UnknownModeIsAnOrdinaryRun)
{
    set_up_media();
    host.set_config("media_conf", "0,Film,");
    for (const char *mode : {"", "Forced", "forced ", "nomounts", "register"})
        EXPECT_EQ(callback(mode), 0) << mode;
    EXPECT_EQ(host.count_lines("log"), 0);
    EXPECT_EQ(host.count_lines("run /sbin/minidlna"), 0);
    host.set_config("media_conf", "1,Film,");
    for (const char *mode : {"", "Nomount", "nomount ", "register"})
        EXPECT_EQ(callback(mode), 0) << mode;
    EXPECT_EQ(host.count_lines("log 1 @{106} @{100}"), 4);
}

TEST_F(Media, StopThatTakesTimeIsLoggedAsOne)
{
    set_up_media();
    host.set_config("media_conf", "0,Film,");
    host.add_process({.name = "minidlna", .only_forced = true});
    EXPECT_EQ(callback(ordinary), 0);
    EXPECT_EQ(host.count_lines("sleep 1"), 4);
    EXPECT_EQ(host.lines().back(), "log 1 @{107} @{100}");
}

TEST_F(Media, OldFileIsReplacedWholeWithItsMode)
{
    set_up_media();
    sandbox.put_file(conf_path, std::string(10000, 'x'), 0600);
    callback(ordinary);
    EXPECT_EQ(read_file(conf_path), whole_conf("/mnt/Disk1/Movies", "Film", "Disk1"));
    EXPECT_EQ(mode_of(conf_path), 0644U);
}

TEST_F(Media, LongestTextsAreWrittenWhole)
{
    const std::string name(127, 'n');
    const std::string disk = "0123456789abcde";
    const std::string folder(490, 'f'); // "/mnt/", disk, "/" and this are 511 characters
    host.set_config("media_conf", "1," + name + ",");
    host.set_config("media_hddname", disk);
    host.set_config("media_folder", folder);
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/" + disk + " vfat rw 0 0\n");
    callback(ordinary);
    const std::string path = "/mnt/" + disk + "/" + folder;
    EXPECT_EQ(host.count_lines("run mkdir -p '" + path + "' -> 0"), 1);
    EXPECT_EQ(read_file(conf_path), whole_conf(path, name, disk));
}

TEST_F(Media, PathIsCutAt511Characters)
{
    const std::string disk = "0123456789abcde";
    host.set_config("media_conf", "1,Film,");
    host.set_config("media_hddname", disk);
    host.set_config("media_folder", std::string(511, 'f'));
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/" + disk + " vfat rw 0 0\n");
    callback(ordinary);
    const std::string path = "/mnt/" + disk + "/" + std::string(490, 'f');
    EXPECT_EQ(host.count_lines("run mkdir -p '" + path + "' -> 0"), 1);
    EXPECT_EQ(read_file(conf_path), whole_conf(path, "Film", disk));
}

TEST_F(Media, LongDiskNameIsCutBeforeItsDiskIsLookedFor)
{
    host.set_config("media_conf", "1,Film,");
    host.set_config("media_hddname", "0123456789abcdefghij");
    host.set_config("media_folder", "M");
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/0123456789abcde vfat rw 0 0\n");
    sandbox.put_dir("/mnt/0123456789abcde/M");
    callback(ordinary);
    EXPECT_EQ(read_file(conf_path), whole_conf("/mnt/0123456789abcde/M", "Film", "0123456789abcde"));
}

TEST_F(Media, LongestQuotedPathIsWrittenWhole)
{
    // The most apostrophes that fit: each becomes four characters, in the command and in the file.
    std::string quoted = "/mnt/D/";
    for (int i = 0; i < 504; ++i)
        quoted += "'\\''";
    host.set_config("media_conf", "1," + std::string(127, '\''));
    host.set_config("media_hddname", "D");
    host.set_config("media_folder", std::string(511, '\''));
    sandbox.set_mounts("/dev/sda1 /tmp/mnt/D vfat rw 0 0\n");
    callback(ordinary);
    EXPECT_EQ(host.count_lines("run mkdir -p '" + quoted + "' -> 0"), 1);
    EXPECT_EQ(read_file(conf_path), whole_conf(quoted, std::string(127, '\''), "D"));
    EXPECT_EQ(host.count_lines("run /sbin/minidlna -f /etc/minidlna.conf -> 0"), 1);
}

TEST_F(Media, OldFileStaysWhenTheNewOneHasNoMemory)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_media();
    sandbox.put_file(conf_path, "old\n", 0600);
    const FailingMemory memory(0, 4096);
    EXPECT_EQ(callback(ordinary), 0);
    EXPECT_EQ(host.transcript(), not_there + "run /usr/bin/killall minidlna -> 1\n" + not_there +
                                     "stdout: media:Can't malloc configbuf\n"
                                     "run /sbin/minidlna -f /etc/minidlna.conf -> 0\n"
                                     "log 1 @{106} @{100}\n");
    EXPECT_EQ(read_file(conf_path), "old\n");
    EXPECT_EQ(mode_of(conf_path), 0600U);
}

TEST_F(Media, RunComesToItsEndWhereverMemoryEnds)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    set_up_media();
    sandbox.put_file(conf_path, "old\n");
    // Wherever memory ends: the file is the old one or the whole new one, and the run comes to its end. Whatever
    // cannot be opened without memory (the mount table: no disk) may stop it before.
    const std::string fresh = whole_conf("/mnt/Disk1/Movies", "Film", "Disk1");
    bool ended_early = true;
    for (int allocations = 0; ended_early; ++allocations) {
        ASSERT_LT(allocations, 100);
        sandbox.put_file(conf_path, "old\n");
        host.forget();
        const FailingMemory memory(allocations, 1);
        EXPECT_EQ(callback(ordinary), 0);
        ended_early = memory.failures() > 0;
        const std::string text = read_file(conf_path);
        EXPECT_TRUE(text == "old\n" || text == fresh) << text;
        EXPECT_EQ(host.count_lines("log 1 @{105}") + host.count_lines("log 1 @{106}"), 1);
        EXPECT_EQ(host.count_lines("run /sbin/minidlna -f /etc/minidlna.conf"), host.count_lines("log 1 @{106}"));
    }
    EXPECT_EQ(read_file(conf_path), fresh);
}

} // namespace
