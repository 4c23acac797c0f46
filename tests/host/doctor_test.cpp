/* nasctl doctor: a sound host is right, and every defect of another one is named. */
#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <regex>
#include <set>

namespace
{

int exit_status;

std::string doctor(const std::string &arguments, const std::string &defect = "")
{
    host_test::use_settings("doctor_program = " NAS_DOCTOR "\n");
    return host_test::output_of("NAS_BROKEN=" + defect + " " NASCTL " doctor " + arguments + " 2>&1", &exit_status);
}

struct Defect {
    const char *name;
    const char *complaint;
    bool needs_root = true;
};

void PrintTo(const Defect &defect, std::ostream *out)
{
    *out << defect.name;
}

constexpr Defect defects[] = {
    {"absent-is-empty", "iconfig_*: an absent key is -1, and its buffer stays as it was: get_value of an absent key "
                        "answers 0 instead of -1"},
    {"absent-changes", "get_value of an absent key changes the buffer"},
    {"overrun", "writes 76 bytes past a buffer of 1024"},
    {"cuts", "iconfig_*: a text of 1023 characters comes back: "},
    {"absent-is-0", "istatus_*: a number comes back as it was stored: get_intvalue of an absent key answers 0"},
    {"one-store", "the stores are two: a key of iconfig is seen in istatus"},
    {"hangs", "signal_start: returns at once, also when nobody listens: did not return within 10 s"},
    {"slow", "signal_start: returns at once, also when nobody listens: signal_start takes 1."},
    {"takes-an-argument", "syslog_msg: looks only for the argument that its id has: ended the process by signal 11"},
    {"exit-code", "the status of \"exit 3\" is 3, which is no wait status of 3"},
    {"short-line", "a command line of 4000 characters is cut"},
    {"miscounts", "get_process_list, free_process_list: lists every process: answers ", false},
    {"whole-path", "the name \"/sbin/x\" has a folder or a blank", false},
    {"zombie-runs", "check_process2 takes a zombie for running"},
    {"kills-groups", "kill_process2: signals no group of processes: ended the process by signal 15"},
    {"does-not-quote", "\"it's\" becomes \"the shell refuses it\" in a shell", false},
    {"ignores-capacity", "quote_r: never writes past its capacity, cuts no escape: ", false},
    {"no-end", "sf_strncpy: copies size - 1 characters and ends the text: leaves a text without an end", false},
    {"keeps-newline", "reads \"line one?\" instead of \"line one\"", false},
    {"wants-a-mask", "get_ifconfig: the mask may be null: ended the process by signal 11", false},
    {"crashes", "get_si: \"hw\" is 1024 bytes: ended the process by signal 6", false},
    {"no-padding", "\"f\" becomes \"Zg\" instead of \"Zg==\"", false},
    {"long-cipher", "encode_crypt: never writes past its capacity: writes ", false},
};

struct BrokenHost : testing::TestWithParam<Defect> {
};

TEST_P(BrokenHost, IsNamed)
{
    if (GetParam().needs_root && geteuid() != 0)
        GTEST_SKIP() << "needs root";
    const std::string report = doctor("--host " BROKEN_HOST, GetParam().name);
    EXPECT_EQ(1, exit_status);
    EXPECT_NE(std::string::npos, report.find(GetParam().complaint)) << report;
}

std::string test_name(const testing::TestParamInfo<Defect> &info)
{
    return std::regex_replace(std::string(info.param.name), std::regex("-"), "_");
}

INSTANTIATE_TEST_SUITE_P(Doctor, BrokenHost, testing::ValuesIn(defects), test_name);

} // namespace

TEST(Doctor, FindsNothingWrongWithTheReferenceHost)
{
    const std::string report = doctor("--host " NASHOST);
    EXPECT_EQ(0, exit_status) << report;
    EXPECT_TRUE(std::regex_search(report, std::regex(": [1-9][0-9]* right, 0 wrong, [0-9]+ not checked\n"))) << report;
}

TEST(Doctor, ChecksWithoutADefectAreRightInTheBrokenHost)
{
    doctor("--host " BROKEN_HOST);
    EXPECT_EQ(0, exit_status);
}

TEST(Doctor, NamesEveryOperationThatIsMissing)
{
    const nlohmann::json report = nlohmann::json::parse(doctor("--json --host " EMPTY_HOST));
    EXPECT_EQ(1, exit_status);
    std::set<std::string> missing;
    for (const auto &finding : report["findings"]) {
        EXPECT_NE("right", finding["verdict"]) << finding;
        if (finding["verdict"] == "wrong" && finding["contract"] == "is there")
            missing.insert(finding["operations"]);
    }
    EXPECT_EQ(host_test::declared_operations(), missing);
}

TEST(Doctor, ChecksEveryOperation)
{
    const nlohmann::json report = nlohmann::json::parse(doctor("--json --host " NASHOST));
    std::string checked;
    for (const auto &finding : report["findings"])
        checked += finding["operations"].get<std::string>() + ", ";
    for (const std::string &name : host_test::declared_operations()) {
        const std::string stores = name.substr(0, name.find('_')) + "_*";
        EXPECT_TRUE(checked.find(name) != std::string::npos || checked.find(stores) != std::string::npos) << name;
    }
}

TEST(Doctor, SaysWhatIsNoLibrary)
{
    const std::string report = doctor("--host /dev/null");
    EXPECT_EQ(1, exit_status);
    EXPECT_NE(std::string::npos, report.find("it cannot be loaded")) << report;
    doctor("--nonsense");
    EXPECT_EQ(2, exit_status);
}
