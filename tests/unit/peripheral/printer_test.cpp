#include "support/fixture.h"

#include "nas/printer.h"

namespace
{

using Printer = nas_test::LibraryTest;

TEST_F(Printer, SharingIsOnForTheLanUntilItIsSet)
{
    CupsdConfig config = {.enable = 7, .remote = 7};
    EXPECT_EQ(host.call(get_cupsd_config, &config), 1);
    EXPECT_EQ(config.enable, 1);
    EXPECT_EQ(config.remote, 0);
    host.set_config("cupsd_conf", "0");
    host.set_config("cupsd_remote_conf", "1");
    EXPECT_EQ(host.call(get_cupsd_config, &config), 0);
    EXPECT_EQ(config.enable, 0);
    EXPECT_EQ(config.remote, 1);
}

} // namespace
