#include "support/failing_memory.h"
#include "support/fixture.h"
#include "support/guarded.h"
#include "support/known_leak.h"

#include "nas/util.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <iconv.h>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <vector>

// The collation of a language that does not care about case, when a test asks for it: the machine may have no such
// locale.
static bool collates_without_case;
extern "C" int nas_test_strcoll(const char *a, const char *b) __asm__("strcoll");
int nas_test_strcoll(const char *a, const char *b)
{
    return collates_without_case ? strcasecmp(a, b) : std::strcmp(a, b);
}

// A converter may lie anywhere in memory: here it lies in the upper half, where an address is below 0 as a number. One
// that could not be opened is not used.
#if defined(__GLIBC__) && !defined(__UCLIBC__)
extern "C" {
iconv_t nas_test_iconv_open(const char *to, const char *from) __asm__("iconv_open");
std::size_t nas_test_iconv(iconv_t, char **in, std::size_t *in_left, char **out,
                           std::size_t *out_left) __asm__("iconv");
int nas_test_iconv_close(iconv_t) __asm__("iconv_close");
}

template <class Function>
static Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

static iconv_t other_half(iconv_t converter)
{
    if (converter == reinterpret_cast<iconv_t>(-1))
        return converter;
    return reinterpret_cast<iconv_t>(reinterpret_cast<std::intptr_t>(converter) ^ INTPTR_MIN);
}

iconv_t nas_test_iconv_open(const char *to, const char *from)
{
    return other_half(next(nas_test_iconv_open, "iconv_open")(to, from));
}

std::size_t nas_test_iconv(iconv_t converter, char **in, std::size_t *in_left, char **out, std::size_t *out_left)
{
    EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1));
    return next(nas_test_iconv, "iconv")(other_half(converter), in, in_left, out, out_left);
}

int nas_test_iconv_close(iconv_t converter)
{
    return next(nas_test_iconv_close, "iconv_close")(other_half(converter));
}
#endif

namespace
{

using nas_test::exists;
using nas_test::FailingMemory;
using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::KnownLeak;
using nas_test::LibraryTest;
using nas_test::mode_of;

struct Util : LibraryTest {
    Util() : usual_umask(umask(022))
    {
    }
    ~Util() override
    {
        umask(usual_umask);
        collates_without_case = false;
    }

    int create(const char *path, unsigned mode)
    {
        return host.call(storlib_create_dir, path, mode);
    }

    mode_t usual_umask;
};

mode_t current_umask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// ---- copies

TEST_F(Util, CopyOfATextAndOfNothing)
{
    const GuardedBuffer buffer(6);
    EXPECT_EQ(safe_strcpy(buffer.data(), "hello"), buffer.data());
    EXPECT_STREQ(buffer.data(), "hello");
    EXPECT_EQ(safe_strcpy(buffer.data(), nullptr), buffer.data());
    EXPECT_STREQ(buffer.data(), "");
    EXPECT_EQ(safe_strcpy(nullptr, "x"), nullptr);
    EXPECT_EQ(safe_strcpy(nullptr, nullptr), nullptr);
}

TEST_F(Util, BoundedCopyPadsAndDoesNotTerminate)
{
    char text[9] = "########";
    EXPECT_EQ(safe_strncpy(text, "abc", 6), text);
    EXPECT_EQ(std::string(text, 8), std::string("abc\0\0\0##", 8));
    EXPECT_EQ(safe_strncpy(text, "vwxyz", 3), text);
    EXPECT_EQ(std::string(text, 8), std::string("vwx\0\0\0##", 8));
    EXPECT_EQ(safe_strncpy(text, "uvw", 3), text);
    EXPECT_EQ(std::string(text, 8), std::string("uvw\0\0\0##", 8));
    EXPECT_EQ(safe_strncpy(text, "q", 0), text);
    EXPECT_EQ(text[0], 'u');
}

TEST_F(Util, BoundedCopyOfNothing)
{
    char text[9] = "########";
    EXPECT_EQ(safe_strncpy(text, nullptr, 6), text);
    EXPECT_EQ(std::string(text, 8), std::string("\0#######", 8));
    EXPECT_EQ(safe_strncpy(nullptr, "x", 1), nullptr);
    EXPECT_EQ(safe_strncpy(nullptr, nullptr, 1), nullptr);
}

// ---- isdir

TEST_F(Util, DirectoriesAndOthers)
{
    sandbox.put_dir("/tmp/dir");
    sandbox.put_file("/tmp/file", "");
    sandbox.put_link("/tmp/to_dir", "dir");
    sandbox.put_link("/tmp/to_file", "file");
    sandbox.put_link("/tmp/to_nothing", "nothing");
    for (const char *path : {"/", "/tmp", "/tmp/dir", "/tmp/dir/", "/tmp/to_dir"})
        EXPECT_EQ(host.call(isdir, path), 1) << path;
    for (const char *path : {"/tmp/file", "/tmp/to_file", "/tmp/to_nothing", "/tmp/missing", "/tmp/file/x", ""})
        EXPECT_EQ(host.call(isdir, path), 0) << path;
}

// ---- storlib_create_dir

TEST_F(Util, MissingDirectoriesAreMadeAndTheFileGetsItsMode)
{
    sandbox.put_file("/etc/samba/smb.conf", "x", 0600);
    EXPECT_EQ(create("/etc/samba/smb.conf", 0644), 0);
    EXPECT_EQ(host.transcript(), "chmod 0644 /etc/samba/smb.conf\n");
    EXPECT_EQ(mode_of("/etc/samba/smb.conf"), 0644U);
    EXPECT_EQ(mode_of("/etc/samba"), 0755U);
}

TEST_F(Util, MissingFileGivesMinusTwoThoughTheDirectoriesAreMade)
{
    EXPECT_EQ(create("/etc/samba/smb.conf", 0644), -2);
    EXPECT_EQ(host.transcript(), "mkdir 0777 /etc/samba\n"
                                 "chmod 0644 /etc/samba\n"
                                 "chmod 0644 /etc/samba/smb.conf -> failed\n");
    EXPECT_EQ(mode_of("/etc/samba"), 0644U);
    EXPECT_EQ(mode_of("/etc"), 0755U);
    EXPECT_FALSE(exists("/etc/samba/smb.conf"));
}

TEST_F(Util, TrailingSlashMakesTheWholeChain)
{
    EXPECT_EQ(create("/tmp/a/b/c/", 0751), 0);
    EXPECT_EQ(mode_of("/tmp/a"), 0751U);
    EXPECT_EQ(mode_of("/tmp/a/b"), 0751U);
    EXPECT_EQ(mode_of("/tmp/a/b/c"), 0751U);
    EXPECT_EQ(mode_of("/tmp"), 01777U);
    EXPECT_EQ(host.transcript(), "mkdir 0777 /tmp/a\n"
                                 "chmod 0751 /tmp/a\n"
                                 "mkdir 0777 /tmp/a/b\n"
                                 "chmod 0751 /tmp/a/b\n"
                                 "mkdir 0777 /tmp/a/b/c\n"
                                 "chmod 0751 /tmp/a/b/c\n"
                                 "chmod 0751 /tmp/a/b/c/\n");
}

TEST_F(Util, ExistingDirectoriesKeepTheirMode)
{
    sandbox.put_dir("/tmp/a", 0700);
    sandbox.put_dir("/tmp/a/b", 0711);
    EXPECT_EQ(create("/tmp/a/b/c/", 0755), 0);
    EXPECT_EQ(mode_of("/tmp/a"), 0700U);
    EXPECT_EQ(mode_of("/tmp/a/b"), 0711U);
    EXPECT_EQ(mode_of("/tmp/a/b/c"), 0755U);
}

TEST_F(Util, LinkToADirectoryCountsAsOne)
{
    sandbox.put_dir("/tmp/real", 0700);
    sandbox.put_link("/tmp/link", "real");
    EXPECT_EQ(create("/tmp/link/sub/", 0755), 0);
    EXPECT_EQ(mode_of("/tmp/real/sub"), 0755U);
    EXPECT_EQ(mode_of("/tmp/real"), 0700U);
}

TEST_F(Util, PathItselfIsNotChanged)
{
    char path[] = "/tmp/a/b/";
    EXPECT_EQ(create(path, 0755), 0);
    EXPECT_STREQ(path, "/tmp/a/b/");
}

TEST_F(Util, OwnerCanAlwaysEnterAndWriteAfterwards)
{
    umask(0777);
    EXPECT_EQ(create("/tmp/a/", 0755), 0);
    EXPECT_EQ(current_umask(), 0477U);
    umask(0022);
    EXPECT_EQ(create("/tmp/b/", 0755), 0);
    EXPECT_EQ(current_umask(), 0022U);
}

TEST_F(Util, UmaskComesBackWhenADirectoryCannotBeMade)
{
    umask(0777);
    sandbox.put_file("/tmp/a", "in the way");
    EXPECT_EQ(create("/tmp/a/b/c", 0755), -2); // the file is not there either
    EXPECT_EQ(current_umask(), 0777U);
    EXPECT_EQ(mode_of("/tmp/a"), 0644U);
    EXPECT_EQ(host.transcript(), "mkdir 0777 /tmp/a -> failed\n"
                                 "mkdir 0777 /tmp/a/b -> failed\n"
                                 "chmod 0755 /tmp/a/b/c -> failed\n");
}

TEST_F(Util, DirectoryThatSomebodyElseMadeMeanwhileIsMinusOne)
{
    umask(0333);
    host.fails = [&](const std::string &path) {
        if (path != "/tmp/race" || exists(path))
            return false;
        sandbox.put_dir("/tmp/race", 0711);
        sandbox.put_file("/tmp/race/file", "", 0600);
        return true;
    };
    EXPECT_EQ(create("/tmp/race/file", 0644), -1);
    EXPECT_EQ(mode_of("/tmp/race"), 0711U);
    EXPECT_EQ(mode_of("/tmp/race/file"), 0644U);
    EXPECT_EQ(current_umask(), 0333U);
}

TEST_F(Util, ModeThatCannotBeSetOnADirectoryIsMinusTwo)
{
    host.fails = [](const std::string &path) { return path == "/tmp/a" && exists(path); };
    EXPECT_EQ(create("/tmp/a/b/", 0700), -2);
    EXPECT_EQ(mode_of("/tmp/a/b"), 0700U);
    EXPECT_EQ(host.transcript(), "mkdir 0777 /tmp/a\n"
                                 "chmod 0700 /tmp/a -> failed\n"
                                 "mkdir 0777 /tmp/a/b\n"
                                 "chmod 0700 /tmp/a/b\n"
                                 "chmod 0700 /tmp/a/b/\n");
}

TEST_F(Util, DoubleSlashesDoNoHarm)
{
    EXPECT_EQ(create("/tmp//a//b/", 0755), 0);
    EXPECT_EQ(mode_of("/tmp/a"), 0755U);
    EXPECT_EQ(mode_of("/tmp/a/b"), 0755U);
}

TEST_F(Util, RootAndShortPathsHaveNothingAboveThem)
{
    host.passes_files_on = false;
    EXPECT_EQ(create("/", 0755), 0);
    EXPECT_EQ(create("a", 0755), 0);
    EXPECT_EQ(create("", 0755), 0);
    EXPECT_EQ(host.transcript(), "chmod 0755 /\n"
                                 "chmod 0755 a\n"
                                 "chmod 0755 \n");
    host.forget();
    EXPECT_EQ(create("a/", 0755), 0);
    EXPECT_EQ(host.transcript(), "mkdir 0777 a\n"
                                 "chmod 0755 a\n"
                                 "chmod 0755 a/\n");
}

TEST_F(Util, NothingIsMadeWithoutMemory)
{
    if (!nas_test::memory_can_fail())
        GTEST_SKIP() << "memory cannot be made to fail in this build";
    umask(0777);
    int result = 0;
    {
        const FailingMemory memory(0, 1);
        result = create("/tmp/a/", 0755);
    }
    EXPECT_EQ(result, -1);
    EXPECT_EQ(current_umask(), 0777U);
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Util, LongPathIsMadeWhole)
{
    const std::string part = "/" + std::string(200, 'p');
    const std::string path = "/tmp" + part + part + part + part + "/";
    EXPECT_EQ(create(path.c_str(), 0755), 0);
    EXPECT_EQ(mode_of(path), 0755U);
}

// ---- what scandir is given

int filter(const char *name, unsigned char type)
{
    dirent entry = {};
    entry.d_type = type;
    std::strcpy(entry.d_name, name);
    return dir_filter(&entry) != 0 ? 1 : 0;
}

TEST_F(Util, FilterKeepsFoldersAndFiles)
{
    for (const char *name : {"Movies", "a.txt", ".hidden", "...", "nfs2", "NFS", "anfs", "lost", "lost+found2", " "})
        EXPECT_EQ(filter(name, DT_DIR), 1) << name;
    EXPECT_EQ(filter("a.txt", DT_REG), 1);
    EXPECT_EQ(filter("socket", DT_SOCK), 1);
    EXPECT_EQ(filter("device", DT_BLK), 1);
    EXPECT_EQ(filter("unknown", DT_UNKNOWN), 1);
}

TEST_F(Util, FilterDropsLinksAndFourNames)
{
    EXPECT_EQ(filter("Movies", DT_LNK), 0);
    for (const unsigned char type : {DT_DIR, DT_REG, DT_UNKNOWN, DT_LNK}) {
        for (const char *name : {".", "..", "lost+found", "nfs"})
            EXPECT_EQ(filter(name, type), 0) << name;
    }
}

int compare(const char *a, const char *b)
{
    dirent first = {};
    dirent second = {};
    std::strcpy(first.d_name, a);
    std::strcpy(second.d_name, b);
    const dirent *left = &first;
    const dirent *right = &second;
    const int result = real_alphasort(&left, &right);
    return (result > 0) - (result < 0);
}

TEST_F(Util, OrderIsTheLocales)
{
    EXPECT_EQ(compare("a", "b"), -1);
    EXPECT_EQ(compare("b", "a"), 1);
    EXPECT_EQ(compare("a", "a"), 0);
    EXPECT_EQ(compare("a", "aa"), -1);
    EXPECT_EQ(compare("Zebra", "apple"), -1);
    collates_without_case = true;
    EXPECT_EQ(compare("Zebra", "apple"), 1);
    EXPECT_EQ(compare("APPLE", "apple"), 0);
}

TEST_F(Util, ScandirListsAFolderWithThem)
{
    for (const char *name : {"b", "a", "lost+found", "nfs", "C"})
        sandbox.put_dir(std::string("/mnt/Disk1/") + name);
    sandbox.put_file("/mnt/Disk1/file", "");
    sandbox.put_link("/mnt/Disk1/link", "a");
    dirent **entries = nullptr;
    const int count = scandir("/mnt/Disk1", &entries, dir_filter, real_alphasort);
    ASSERT_EQ(count, 4);
    std::string names;
    for (int i = 0; i < count; ++i) {
        names += std::string(entries[i]->d_name) + " ";
        free(entries[i]);
    }
    free(entries);
    EXPECT_EQ(names, "C a b file ");
}

// ---- sizes

TEST_F(Util, ReadableSizes)
{
    const struct {
        std::uint64_t bytes;
        const char *text;
    } sizes[] = {
        {0, "0 B"},
        {1, "1 B"},
        {1023, "1023 B"},
        {1024, "1.0 KB"},
        {1075, "1.0 KB"},
        {1076, "1.1 KB"},
        {1536, "1.5 KB"},
        {1048575, "1024.0 KB"},
        {1048576, "1.0 MB"},
        {1572864, "1.5 MB"},
        {1073741823, "1024.0 MB"},
        {1073741824, "1.0 GB"},
        {UINT64_C(4294967296), "4.0 GB"},
        {UINT64_C(1099511627775), "1024.0 GB"},
        {UINT64_C(1099511627776), "1.0 TB"},
        {UINT64_C(3298534883328), "3.0 TB"},
        {UINT64_C(9223372036854775808), "8388608.0 TB"},
        {UINT64_C(18446744073709551615), "16777216.0 TB"},
    };
    for (const auto &size : sizes)
        EXPECT_STREQ(get_readable_sizestr(size.bytes), size.text) << size.bytes;
}

TEST_F(Util, ReadableSizeIsOverwrittenByTheNext)
{
    const char *const first = get_readable_sizestr(1);
    EXPECT_EQ(get_readable_sizestr(2048), first);
    EXPECT_STREQ(first, "2.0 KB");
}

// ---- character sets

struct Converted {
    int result;
    std::string text; // up to its NUL
};

// Converts into `size` bytes before a forbidden page.
Converted convert(nas_test::RecordingHost &host, const char *source, std::size_t size, const char *from, const char *to)
{
    const GuardedText text(source);
    const GuardedBuffer target(size);
    const int result =
        host.call(iconv_string, static_cast<const char *>(text), target.data(), static_cast<int>(size), from, to);
    return {result, std::string(target.data(), strnlen(target.data(), size))};
}

// A C library for development may come without its charsets but for the few that are built in.
bool knows_few_charsets()
{
#if defined(__GLIBC__) && !defined(__UCLIBC__)
    const iconv_t converter = iconv_open("EUC-KR", "UTF-8");
    if (converter == reinterpret_cast<iconv_t>(-1))
        return true;
    iconv_close(converter);
#endif
    return false;
}

void expect_converted(const Converted &converted, int result, const std::string &text)
{
    EXPECT_EQ(converted.result, result);
    EXPECT_EQ(converted.text, text);
}

TEST_F(Util, TextIsConvertedBetweenCharsets)
{
    if (knows_few_charsets())
        GTEST_SKIP() << "the C library came without its charsets";
    expect_converted(convert(host, "abc", 64, "UTF-8", "EUC-KR"), 0, "abc");
    expect_converted(convert(host, "한글", 64, "UTF-8", "EUC-KR"), 0, "\xc7\xd1\xb1\xdb");
    expect_converted(convert(host, "\xc7\xd1\xb1\xdb", 64, "EUC-KR", "UTF-8"), 0, "한글");
    expect_converted(convert(host, "\xe4\xf6", 64, "ISO-8859-1", "UTF-8"), 0, "äö");
    expect_converted(convert(host, "한a글", 64, "UTF-8", "CP949"), 0,
                     "\xc7\xd1"
                     "a"
                     "\xb1\xdb");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Util, InvalidSequenceInAnotherCharsetEndsTheTextToo)
{
    if (knows_few_charsets())
        GTEST_SKIP() << "the C library came without its charsets";
    expect_converted(convert(host,
                             "ab\xff"
                             "cd",
                             64, "UTF-8", "EUC-KR"),
                     0, "ab?");
    expect_converted(convert(host, "\xff", 64, "UTF-8", "EUC-KR"), 0, "?");
    expect_converted(convert(host, "ab\xed\x95", 64, "UTF-8", "EUC-KR"), 0, "ab?");
    expect_converted(convert(host, "ab€cd", 64, "UTF-8", "ISO-8859-1"), 0, "ab?");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Util, InvalidSequenceEndsTheTextInAQuestionMark)
{
    expect_converted(convert(host, "abc", 64, "UTF-8", "US-ASCII"), 0, "abc");
    expect_converted(convert(host,
                             "ab\xff"
                             "cd",
                             64, "UTF-8", "US-ASCII"),
                     0, "ab?");
    expect_converted(convert(host, "ab€cd", 64, "UTF-8", "US-ASCII"), 0, "ab?");
    expect_converted(convert(host, "\xff", 64, "UTF-8", "US-ASCII"), 0, "?");
    expect_converted(convert(host, "ab\xed\x95", 64, "UTF-8", "US-ASCII"), 0, "ab?");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Util, RoomMustBeMoreThanThreeTimesTheText)
{
    const KnownLeak converter; // stays open when the room is too small
    expect_converted(convert(host, "0123456789", 30, "UTF-8", "US-ASCII"), -1, std::string(30, '#'));
    EXPECT_EQ(host.transcript(), "stdout: ERROR:More Buf size is needed \n");
    host.forget();
    expect_converted(convert(host, "0123456789", 31, "UTF-8", "US-ASCII"), 0, "0123456789");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Util, EmptyTextNeedsOneByte)
{
    const KnownLeak converter; // stays open when the room is too small
    expect_converted(convert(host, "", 1, "UTF-8", "US-ASCII"), 0, "");
    EXPECT_EQ(host.transcript(), "");
    expect_converted(convert(host, "", 0, "UTF-8", "US-ASCII"), -1, "");
    EXPECT_EQ(host.transcript(), "stdout: ERROR:More Buf size is needed \n");
}

TEST_F(Util, NegativeRoomIsTooSmall)
{
    const KnownLeak converter; // stays open when the room is too small
    char target[8] = "#######";
    EXPECT_EQ(host.call(iconv_string, "a", &target[0], -1, "UTF-8", "US-ASCII"), -1);
    EXPECT_EQ(host.call(iconv_string, "", &target[0], -1, "UTF-8", "US-ASCII"), -1);
    EXPECT_STREQ(target, "#######");
    EXPECT_EQ(host.transcript(), "stdout: ERROR:More Buf size is needed \n"
                                 "stdout: ERROR:More Buf size is needed \n");
}

TEST_F(Util, UnknownCharsetIsReportedFirst)
{
    expect_converted(convert(host, "0123456789", 64, "NO-SUCH", "UTF-8"), -1, std::string(64, '#'));
    expect_converted(convert(host, "0123456789", 64, "UTF-8", "NO-SUCH"), -1, std::string(64, '#'));
    expect_converted(convert(host, "0123456789", 5, "NO-SUCH", "UTF-8"), -1, std::string(5, '#'));
    expect_converted(convert(host, "", 64, "%s", "UTF-8"), -1, std::string(64, '#'));
    EXPECT_EQ(host.transcript(), "stdout: FAIL 2 NO-SUCH UTF-8\n"
                                 "stdout: FAIL 2 UTF-8 NO-SUCH\n"
                                 "stdout: FAIL 2 NO-SUCH UTF-8\n"
                                 "stdout: FAIL 2 %s UTF-8\n");
}

TEST_F(Util, TextThatOutgrowsItsRoomStaysInsideIt)
{
    // Four bytes a character: three times the length is too little. The page behind the 13 bytes is forbidden.
    const GuardedBuffer target(13);
    EXPECT_EQ(host.call(iconv_string, "abcd", target.data(), 13, "US-ASCII", "UCS-4BE"), 0);
    EXPECT_EQ(std::string(target.data(), 8), std::string("\0\0\0a\0\0\0b", 8));
    EXPECT_EQ(target.data()[12], '\0');
}

TEST_F(Util, QuestionMarkTakesTheLastFreeByte)
{
    // Two of three characters have room, and behind them there are the question mark and the NUL.
    const GuardedBuffer target(10);
    EXPECT_EQ(host.call(iconv_string, "abc", target.data(), 10, "US-ASCII", "UCS-4BE"), 0);
    EXPECT_EQ(std::string(target.data(), 10), std::string("\0\0\0a\0\0\0b?\0", 10));
}

TEST_F(Util, NamesAreCopiedNotConverted)
{
    for (const auto copy : {iconv_to_utf8, iconv_to_local}) {
        char text[13] = "############";
        EXPECT_EQ(host.call(copy, "한a", &text[0], 6), 0);
        EXPECT_EQ(std::string(text, 12), std::string("한a\0\0######", 12));
        EXPECT_EQ(host.call(copy,
                            "\xff\xfe"
                            "bcdef",
                            &text[0], 4),
                  0);
        EXPECT_EQ(std::string(text, 12), std::string("\xff\xfe"
                                                     "bc\0\0######",
                                                     12));
        EXPECT_EQ(host.call(copy, "x", &text[0], 0), 0);
        EXPECT_EQ(text[0], '\xff');
    }
}

TEST_F(Util, NamesAreReadNoFurtherThanTheirLength)
{
    char text[4];
    const GuardedText source("abc");
    EXPECT_EQ(host.call(iconv_to_utf8, static_cast<const char *>(source), &text[0], 4), 0);
    EXPECT_STREQ(text, "abc");
}

// ---- update_time_for_nas

TEST_F(Util, UpdateTouchesTheMediaDatabase)
{
    set_up_media();
    EXPECT_EQ(host.call(update_time_for_nas), 1);
    EXPECT_EQ(host.transcript(), "run touch '/mnt/Disk1/MediaDB/files.db' -> 0\n");
}

TEST_F(Util, UpdateOfADisabledServerRunsNothing)
{
    EXPECT_EQ(host.call(update_time_for_nas), 1);
    EXPECT_EQ(host.transcript(), "");
}

} // namespace
