#include "support/fixture.h"

#include "nas/partition.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace
{

// Tables are read in pieces of 2 KB.
struct LineReader : nas_test::LibraryTest {
    // The last line must have been read as it is: no more, no less, and once.
    void expect_last_line(const std::string &table)
    {
        sandbox.set_partitions(table);
        EXPECT_EQ(get_partition_numofblock("sdz"), 700U) << table.size();
        EXPECT_EQ(get_partition_num("sdz"), 0U) << table.size();
    }
};

TEST_F(LineReader, TableMayEndWhereAPieceEnds)
{
    const std::string last = "8 0 700 sdz";
    for (const std::size_t pieces : {1U, 2U})
        for (std::size_t size = 2048 * pieces - 16; size <= 2048 * pieces + 16; ++size) {
            std::string table;
            while (table.size() + 100 < size)
                table += "8 0 100 " + std::string(50, 'o') + "\n";
            table += std::string(size - table.size() - last.size() - 1, 'o') + "\n" + last;
            ASSERT_EQ(table.size(), size);
            expect_last_line(table);
            table.erase(0, 1);
            expect_last_line(table + "\n");
        }
}

TEST_F(LineReader, OverlongLineMayEndWhereAPieceEnds)
{
    for (std::size_t length = 2030; length <= 2064; ++length) {
        expect_last_line(std::string(length, 'o') + "\n8 0 700 sdz\n");
        EXPECT_EQ(get_partition_num("o"), 0U) << length; // one line
    }
}

TEST_F(LineReader, OverlongLineMayBeTheLast)
{
    for (std::size_t length = 2030; length <= 2064; ++length) {
        sandbox.set_partitions("8 0 700 sdz\n" + std::string(length, 'o'));
        EXPECT_EQ(get_partition_num("o"), 0U) << length;
        EXPECT_EQ(get_partition_num("ooo"), 0U) << length;
    }
}

int next_descriptor()
{
    const int descriptor = open("/", O_RDONLY);
    close(descriptor);
    return descriptor;
}

TEST_F(LineReader, TableIsClosed)
{
    sandbox.set_partitions("8 0 700 sdz\n");
    const int before = next_descriptor();
    EXPECT_EQ(get_partition_num("sdz"), 0U);          // read to its end
    EXPECT_EQ(get_partition_numofblock("sdz"), 700U); // and not
    EXPECT_EQ(next_descriptor(), before);
}

} // namespace
