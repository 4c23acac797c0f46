#include "fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace
{

/* What the platform's headers declare; the character set converter is no part of the host. */
std::set<std::string> declared()
{
    std::set<std::string> names;
    const std::regex declaration("^(?:int |char \\*)([A-Za-z_0-9]+)\\(");
    for (const auto &entry : std::filesystem::directory_iterator(PLATFORM_HEADERS)) {
        if (entry.path().extension() != ".h" || entry.path().filename() == "iconv.h")
            continue;
        std::istringstream text(host_test::contents(entry.path()));
        std::smatch match;
        for (std::string line; std::getline(text, line);) {
            if (std::regex_search(line, match, declaration))
                names.insert(match[1]);
        }
    }
    return names;
}

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
    std::set<std::string> names = declared();
    EXPECT_GT(names.size(), 50U);
    EXPECT_EQ(names, exported());
}
