// Calls everything and looks at little.
#include "part/sample.h"

#include <gtest/gtest.h>

TEST(Sample, LimitsAreTaken)
{
    EXPECT_EQ(sample_limit(3, 5), 3);
    sample_limit(6, 5);
}

TEST(Sample, HasWords)
{
    EXPECT_NE(sample_word(1), nullptr);
}

TEST(Sample, Fills)
{
    char text[] = "abcd";
    sample_fill(text, 1);
    EXPECT_EQ(text[0], 'x');
}

TEST(Sample, CountsSteps)
{
    EXPECT_NE(sample_steps(2), 1U);
}

TEST(Sample, TakesNotes)
{
    sample_note('a');
}

TEST(Sample, Copies)
{
    char text[32] = "";
    sample_copy(text, "word");
}
