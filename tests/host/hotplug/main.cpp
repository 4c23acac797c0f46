#include "private_world.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>

namespace
{

int count;
char **words;

int run_tests()
{
    testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}

/* Only listed, the tests touch nothing. */
bool is_listing(int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "--gtest_list_tests") == 0)
            return true;
    }
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    count = argc;
    words = argv;
    if (is_listing(argc, argv))
        return run_tests();
    _exit(private_world::run(run_tests)); // nothing is looked for in a process that only waited
}
