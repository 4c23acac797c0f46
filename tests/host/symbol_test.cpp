#include "fixture.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

namespace
{

std::set<std::string> exported()
{
    std::set<std::string> names;
    std::istringstream text(host_test::output_of("nm -D --defined-only -j " NASHOST));
    for (std::string name; std::getline(text, name);)
        names.insert(name);
    return names;
}

} // namespace

TEST(Symbols, AreExactlyTheOperationsThatTheLibraryCalls)
{
    std::set<std::string> names = host_test::declared_operations();
    EXPECT_GT(names.size(), 50U);
    EXPECT_EQ(names, exported());
}
