// Runs every golden case. NAS_UPDATE_GOLDEN=1 rewrites the expectations instead and says so.
#include "golden/golden_case.h"

#include "nas/cloud.h"
#include "nas/entware.h"
#include "nas/exposure.h"
#include "nas/ftp.h"
#include "nas/media.h"
#include "nas/printer.h"
#include "nas/samba.h"
#include "nas/tethering.h"
#include "nas/torrent.h"
#include "nas/web.h"
#include "platform/device.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/stat.h>

namespace
{

using nas_test::GoldenCase;
using nas_test::GoldenState;

using Callback = int (*)(const char *mode, const char *origin);

// Most have no origin.
template <int (*function)(const char *mode)>
int without_origin(const char *mode, const char *)
{
    return function(mode);
}

Callback find_callback(const std::string &name)
{
    static const std::map<std::string, Callback> callbacks = {
        {"entware_callback", without_origin<entware_callback>},
        {"ftp_callback", without_origin<ftp_callback>},
        {"lighttpd_callback", lighttpd_callback},
        {"media_callback", without_origin<media_callback>},
        {"nalvexcloud_callback", without_origin<nalvexcloud_callback>},
        {"rsync_callback", without_origin<rsync_callback>},
        {"samba_callback", without_origin<samba_callback>},
        {"torrent_callback", without_origin<torrent_callback>},
        {"configure_iptables_for_nas", [](const char *, const char *) { return configure_iptables_for_nas(); }},
        {"prepare_kelsto_server", [](const char *, const char *) { return prepare_kelsto_server(); }},
        {"sweep_kelsto_server", [](const char *, const char *) { return sweep_kelsto_server(); }},
    };
    const auto found = callbacks.find(name);
    return found == callbacks.end() ? nullptr : found->second;
}

using PeriodicCallback = int (*)(PeriodicCallbackRecord *record);

PeriodicCallback find_periodic_callback(const std::string &name)
{
    static const std::map<std::string, PeriodicCallback> callbacks = {
        {"lp_callback", lp_callback},
        {"tethering_callback", tethering_callback},
    };
    const auto found = callbacks.find(name);
    return found == callbacks.end() ? nullptr : found->second;
}

// Calls the function. Returns the last lines of the transcript: what a periodic callback left in its record, and the
// result; an empty text when nothing is so named.
std::string call(const GoldenCase &golden, nas_test::RecordingHost &host)
{
    if (const Callback callback = find_callback(golden.function)) {
        const int result = host.call(callback, golden.mode ? golden.mode->c_str() : nullptr,
                                     golden.origin ? golden.origin->c_str() : nullptr);
        return "result " + std::to_string(result) + "\n";
    }
    if (const PeriodicCallback callback = find_periodic_callback(golden.function)) {
        PeriodicCallbackRecord record;
        std::memset(&record, 0x5a, sizeof record);
        record.run_count = golden.run_count;
        const int result = host.call(callback, &record);
        return "record active " + std::to_string(record.active) + ", interval " + std::to_string(record.interval) +
               "\nresult " + std::to_string(result) + "\n";
    }
    return {};
}

bool updates()
{
    const char *const wish = std::getenv("NAS_UPDATE_GOLDEN");
    return wish != nullptr && std::strcmp(wish, "1") == 0;
}

struct Golden : testing::TestWithParam<std::string> {
    Golden() : usual_umask(umask(022))
    {
    }
    ~Golden() override
    {
        umask(usual_umask);
    }
    mode_t usual_umask;
    nas_test::Sandbox sandbox;
    nas_test::RecordingHost host;
};

TEST_P(Golden, Case)
{
    const GoldenCase golden = nas_test::set_up_golden_case(GetParam(), sandbox, host);
    ASSERT_EQ(golden.complaint, "");
    const std::string ending = call(golden, host);
    ASSERT_NE(ending, "") << "no callback is named \"" << golden.function << "\"";
    const GoldenState actual = {host.transcript() + ending, nas_test::list_tree(), nas_test::read_tree_files()};
    if (updates()) {
        nas_test::write_expectation(GetParam(), actual);
        std::cout << "REWRITTEN: the expectation of " << GetParam() << "; read the difference before you commit it\n";
        GTEST_SKIP();
    }
    const GoldenState expected = nas_test::read_expectation(GetParam());
    EXPECT_EQ(actual.transcript, expected.transcript);
    EXPECT_EQ(actual.tree, expected.tree);
    for (const auto &[path, text] : expected.files) {
        const auto found = actual.files.find(path);
        ASSERT_NE(found, actual.files.end()) << path << " is missing";
        EXPECT_EQ(found->second, text) << path;
    }
    EXPECT_EQ(actual.files.size(), expected.files.size());
}

std::string test_name(const testing::TestParamInfo<std::string> &golden)
{
    std::string name = golden.param;
    for (char &c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Golden, Golden, testing::ValuesIn(nas_test::find_golden_cases()), test_name);

// The folder was found: an empty suite would pass without looking at anything.
TEST(GoldenFolder, HoldsCases)
{
    EXPECT_GE(nas_test::find_golden_cases().size(), 20U);
}

} // namespace
