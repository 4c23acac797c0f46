#include "support/recording_host.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    return nas_test::in_sandbox([] {
        nas_test::refuse_unrecorded_acts();
        return RUN_ALL_TESTS();
    });
}
