#include "platform/process.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace
{

/* Quotes in a buffer of `capacity` bytes between guards. */
std::string quoted(const std::string &text, size_t capacity)
{
    std::vector<char> room(capacity + 16, 'G');
    memcpy(room.data(), text.c_str(), std::min(text.size() + 1, capacity));
    EXPECT_EQ(room.data(), quote_r(room.data(), static_cast<int>(capacity)));
    for (size_t i = capacity; i < room.size(); i++)
        EXPECT_EQ('G', room[i]) << "written behind the capacity";
    return std::string(room.data(), strnlen(room.data(), capacity));
}

/* What a real shell makes of every text between single quotes. */
std::vector<std::string> as_shell_words(const std::vector<std::string> &texts)
{
    std::string script;
    for (const std::string &text : texts)
        script += "printf '%s\\0' '" + text + "'\n";
    std::string path = host_test::folder() + "/script";
    host_test::put_contents(path, script);
    std::string output = host_test::output_of("sh '" + path + "'");
    std::vector<std::string> words;
    for (size_t at = 0; at < output.size(); at += words.back().size() + 1)
        words.emplace_back(output.c_str() + at);
    return words;
}

} // namespace

TEST(Quote, EscapesQuotesAlone)
{
    EXPECT_EQ("plain $HOME `ls` \"x\" \\", quoted("plain $HOME `ls` \"x\" \\", 64));
    EXPECT_EQ("it'\\''s", quoted("it's", 64));
    EXPECT_EQ("'\\'''\\''", quoted("''", 64));
    EXPECT_EQ("", quoted("", 64));
}

TEST(Quote, CutsBetweenEscapes)
{
    EXPECT_EQ("ab'\\''", quoted("ab'c", 7));
    EXPECT_EQ("ab", quoted("ab'c", 6));
    EXPECT_EQ("ab", quoted("ab'c", 5));
    EXPECT_EQ("", quoted("'", 4));
    EXPECT_EQ("'\\''", quoted("'", 5));
    EXPECT_EQ("", quoted("abc", 1));
    char text[] = "kept";
    EXPECT_STREQ("kept", quote_r(text, 0));
}

TEST(Quote, IsUndoneByARealShell)
{
    std::mt19937 random(7);
    std::vector<std::string> originals, results;
    for (int i = 0; i < 3000; i++) {
        std::string text;
        for (size_t length = random() % 40; text.size() < length;)
            text += random() % 3 == 0 ? '\'' : static_cast<char>(1 + random() % 255);
        size_t capacity = random() % 2 == 0 ? 256 : 1 + random() % 60;
        if (capacity <= text.size())
            text.resize(capacity - 1);
        originals.push_back(text);
        results.push_back(quoted(text, capacity));
        if (capacity == 256) {
            EXPECT_EQ(text.size() + 3U * static_cast<size_t>(std::count(text.begin(), text.end(), '\'')),
                      results.back().size());
        }
    }
    std::vector<std::string> words = as_shell_words(results);
    ASSERT_EQ(originals.size(), words.size());
    for (size_t i = 0; i < words.size(); i++)
        EXPECT_EQ(originals[i].substr(0, words[i].size()), words[i]) << results[i];
}

TEST(BoundedCopy, CopiesWhatFits)
{
    char room[8] = "GGGGGGG";
    EXPECT_EQ(room, sf_strncpy(room, "abcdef", 4));
    EXPECT_STREQ("abc", room);
    EXPECT_EQ('G', room[4]);
    sf_strncpy(room, "ab", 4);
    EXPECT_STREQ("ab", room);
    sf_strncpy(room, "zz", 1);
    EXPECT_STREQ("", room);
    char kept[] = "kept";
    EXPECT_STREQ("kept", sf_strncpy(kept, "x", 0));
    EXPECT_STREQ("kept", sf_strncpy(kept, "x", -1));
    // The source need not be terminated behind what is copied.
    const char raw[3] = {'a', 'b', 'c'};
    sf_strncpy(room, raw, 3);
    EXPECT_STREQ("ab", room);
}
