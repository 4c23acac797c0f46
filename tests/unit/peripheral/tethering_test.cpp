#include "support/fixture.h"

#include "nas/tethering.h"

namespace
{

using Tethering = nas_test::LibraryTest;

TEST_F(Tethering, SettingIsOffUntilItIsSet)
{
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
    EXPECT_EQ(host.call(set_usb_tethering_op, 1), 0);
    EXPECT_EQ(host.call(get_usb_tethering_op), 1);
    EXPECT_EQ(host.call(set_usb_tethering_op, 0), 0);
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
    EXPECT_EQ(host.transcript(), "set usb_tethering = 1\n"
                                 "set usb_tethering = 0\n");
}

TEST_F(Tethering, StoresResultIsPassedOn)
{
    host.config.refuses_writes = true;
    EXPECT_EQ(host.call(set_usb_tethering_op, 1), -1);
    EXPECT_EQ(host.call(get_usb_tethering_op), 0);
}

} // namespace
