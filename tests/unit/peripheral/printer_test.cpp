#include "support/fixture.h"

#include "nas/printer.h"

namespace
{

using Printer = nas_test::LibraryTest;

TEST_F(Printer, PrintingIsOffInThisVersion)
{
    for (const char *value : {"", "0", "1"}) {
        host.set_config("cupsd_conf", value);
        host.set_config("cupsd_remote_conf", value);
        CupsdConfig config = {.enable = 7, .remote = 7};
        EXPECT_EQ(host.call(get_cupsd_config, &config), 0) << value;
        EXPECT_EQ(config.enable, 0) << value;
        EXPECT_EQ(config.remote, 0) << value;
        EXPECT_EQ(host.call(get_cupsd_config, static_cast<CupsdConfig *>(nullptr)), 0) << value;
    }
    EXPECT_EQ(host.transcript(), "");
}

} // namespace
