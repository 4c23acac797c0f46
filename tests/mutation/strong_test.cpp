// Notices every change of the sample that can be noticed, some with the sanitizers' help.
#include "part/sample.h"

#include <gtest/gtest.h>

TEST(Sample, LimitsAreTaken)
{
    EXPECT_EQ(sample_limit(-2, 5), -1);
    EXPECT_EQ(sample_limit(-1, 5), -1);
    EXPECT_EQ(sample_limit(0, 5), 0);
    EXPECT_EQ(sample_limit(5, 5), 5);
    EXPECT_EQ(sample_limit(6, 5), -1);
}

TEST(Sample, OneIsSingular)
{
    EXPECT_STREQ(sample_word(0), "files");
    EXPECT_STREQ(sample_word(1), "file");
    EXPECT_STREQ(sample_word(2), "files");
}

TEST(Sample, Fills)
{
    char text[] = "abcd";
    sample_fill(text + 1, 2);
    EXPECT_STREQ(text, "axxd");
}

TEST(Sample, CountsSteps)
{
    EXPECT_EQ(sample_steps(0), 0U);
    EXPECT_EQ(sample_steps(2), 2U);
}

TEST(Sample, NotesStandInOrder)
{
    static_assert(sizeof sample_notes == 4);
    sample_notes[1] = sample_notes[2] = '?';
    sample_note('a');
    EXPECT_STREQ(sample_notes, "a");
    sample_note('b');
    EXPECT_STREQ(sample_notes, "ab");
}

TEST(Sample, Copies)
{
    char text[32] = "";
    sample_copy(text, "a few words");
    EXPECT_STREQ(text, "a few words");
    sample_copy(text, "");
    EXPECT_STREQ(text, "");
}
