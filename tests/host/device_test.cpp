#include "platform/device.h"

#include "fixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

TEST(Device, TellsProductAndHardware)
{
    host_test::use_settings("product = Box 3\nmodel = B-3\nusb_port_count = 3\nusb_port_kinds = 3,2\n");
    char product[NAS_PRODUCT_SIZE];
    EXPECT_EQ(0, get_si("pi", product));
    EXPECT_STREQ("Box 3", product);
    HardwareInfo info;
    memset(&info, 'G', sizeof info);
    EXPECT_EQ(0, get_si("hw", &info));
    EXPECT_EQ(3, info.usb_port_count);
    EXPECT_EQ(3, info.usb_port_kind[0]);
    EXPECT_EQ(2, info.usb_port_kind[1]);
    EXPECT_EQ(2, info.usb_port_kind[2]);
    EXPECT_EQ(0, info.usb_port_kind[3]);
    EXPECT_STREQ("B-3", info.model);
    EXPECT_EQ(0, info.reserved[863]);
    EXPECT_EQ(-1, get_si("xx", product));
    host_test::use_settings();
}

TEST(Device, TellsAModelThatMayStandInACommand)
{
    host_test::use_settings("model = NX $(id)`id`;|&<>(){}*?[]~#!'\"\\%/\t2_a.B-3\n");
    HardwareInfo info;
    EXPECT_EQ(0, get_si("hw", &info));
    EXPECT_STREQ("NXidid2_a.B-3", info.model);
    host_test::use_settings();
}

TEST(Device, CutsAndCleansWhatTheSettingsHold)
{
    host_test::use_settings("product = 50% \"Box\" " + std::string(300, 'p') + "\nmodel = " + std::string(300, 'm') +
                            "\nusb_port_count = 400\n");
    char product[NAS_PRODUCT_SIZE + 4];
    memset(product, 'G', sizeof product);
    get_si("pi", product);
    EXPECT_EQ("50 Box " + std::string(120, 'p'), product);
    EXPECT_EQ('G', product[NAS_PRODUCT_SIZE]);
    HardwareInfo info;
    get_si("hw", &info);
    EXPECT_EQ(23, info.usb_port_count);
    EXPECT_EQ(std::string(63, 'm'), info.model);
    host_test::use_settings();
}

TEST(Device, ReadsItsSettingsAnewWhenTheyChange)
{
    EXPECT_EQ(0, check_diag_flag());
    EXPECT_EQ(0, is_factory_test_mode());
    host_test::use_settings("  diag=1\n#factory_test_mode = 0\nfactory_test_mode =1\nno key\n=\n");
    EXPECT_NE(0, check_diag_flag());
    EXPECT_NE(0, is_factory_test_mode());
    host_test::use_settings();
    EXPECT_EQ(0, check_diag_flag());
}

TEST(Device, KnowsLoadedModules)
{
    std::string modules = host_test::folder() + "/modules";
    host_test::put_contents(modules, "usb_storage 81920 1 uas, Live 0x0\nvfat 20480 0\nlast");
    host_test::use_settings("modules_file = " + modules + "\n");
    for (const char *loaded : {"usb_storage", "usb-storage", "vfat", "last"})
        EXPECT_NE(0, check_module_installed(loaded)) << loaded;
    for (const char *absent : {"usb", "uas", "81920", "fat", ""})
        EXPECT_EQ(0, check_module_installed(absent)) << absent;
    host_test::use_settings("modules_file = /no/such/file\n");
    EXPECT_EQ(0, check_module_installed("vfat"));
    host_test::use_settings();
}

TEST(Device, SwitchesLeds)
{
    EXPECT_EQ(0, set_usbled(1, 1));
    EXPECT_EQ("1\n", host_test::contents(host_test::folder() + "/led/1"));
    EXPECT_EQ(0, set_usbled(1, 0));
    EXPECT_EQ("0\n", host_test::contents(host_test::folder() + "/led/1"));
    EXPECT_EQ(-1, set_usbled(-1, 1));
    EXPECT_EQ(-1, set_usbled(1000, 1));
}

TEST(Device, TellsWhenLedsAreDark)
{
    LedSilentControl control = {7, 7, 7};
    EXPECT_EQ(-1, get_led_silent_control(&control));
    EXPECT_EQ(7, control.mode);
    const std::pair<const char *, int> modes[] = {{"on", 0}, {"off", 1}, {"schedule", 2}};
    for (const auto &[text, mode] : modes) {
        host_test::use_settings(std::string("led_mode = ") + text + "\nled_dark_from = 22\nled_dark_until = 70\n");
        EXPECT_EQ(0, get_led_silent_control(&control));
        EXPECT_EQ(mode, control.mode);
        EXPECT_EQ(22, control.start_hour);
        EXPECT_EQ(23, control.end_hour);
    }
    host_test::use_settings();
}
