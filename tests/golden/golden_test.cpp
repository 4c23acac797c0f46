// Runs every golden case. NAS_UPDATE_GOLDEN=1 rewrites the expectations instead and says so.
#include "golden/golden_call.h"
#include "golden/golden_case.h"

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
    const std::string ending = nas_test::call_golden(golden, host);
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
