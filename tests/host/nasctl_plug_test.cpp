/* nasctl plug and unplug: what they make of the program that stands for the USB ports, and what they say without
 * one. */
#include "fixture.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <string>

using host_test::exit_status;
using host_test::nasctl;
using nlohmann::json;

namespace
{

class NasctlPlug : public testing::Test
{
  protected:
    static void use_port(const std::string &script)
    {
        const std::string program = host_test::folder() + "/port";
        host_test::put_contents(program, "#!/bin/sh\n" + script);
        chmod(program.c_str(), 0755);
        host_test::use_settings("usb_port_program = " + program + "\n");
    }

    void TearDown() override
    {
        host_test::use_settings();
    }
};

} // namespace

TEST_F(NasctlPlug, RealPortsTakeNoImage)
{
    for (const char *command : {"plug disk.img", "unplug sda"}) {
        EXPECT_EQ("nasctl: the USB ports of this device are real ones: disks are plugged in by hand\n",
                  nasctl(command));
        EXPECT_EQ(1, exit_status);
    }
}

TEST_F(NasctlPlug, TheProgramIsToldAndItsAnswerShown)
{
    use_port("echo \"$*\" > \"$0.words\"; echo sda /tmp/mnt/A /tmp/mnt/B");
    EXPECT_EQ("sda /tmp/mnt/A /tmp/mnt/B\n", nasctl("plug '/a b.img' --disk sda --folder Films"));
    EXPECT_EQ(0, exit_status);
    EXPECT_EQ("plug /a b.img --disk sda --folder Films\n", host_test::contents(host_test::folder() + "/port.words"));

    const json answer = json::parse(nasctl("plug disk.img --json"));
    EXPECT_EQ(json({{"disk", "sda"}, {"mount_points", {"/tmp/mnt/A", "/tmp/mnt/B"}}}), answer);
    nasctl("unplug sda");
    EXPECT_EQ("unplug sda\n", host_test::contents(host_test::folder() + "/port.words"));
}

TEST_F(NasctlPlug, ANameThatLooksLikeAnOptionIsAFile)
{
    use_port("echo \"$2\" > \"$0.words\"; echo sda /tmp/mnt/A");
    nasctl("plug -- --disk.img");
    EXPECT_EQ('/', host_test::contents(host_test::folder() + "/port.words")[0]);
}

TEST_F(NasctlPlug, TheProgramsFailuresAreOurs)
{
    use_port("echo 'port: serviced does not answer' >&2; echo 'port: no such disk' >&2; exit 1");
    EXPECT_EQ("nasctl: serviced does not answer; no such disk\n", nasctl("unplug sda"));
    EXPECT_EQ(1, exit_status);
    use_port("echo 'port: not a disk' >&2; exit 2");
    EXPECT_EQ("nasctl: not a disk\n", nasctl("unplug hda"));
    EXPECT_EQ(2, exit_status);
    use_port("kill -9 $$");
    EXPECT_EQ("nasctl: " + host_test::folder() + "/port failed\n", nasctl("plug disk.img"));
    EXPECT_EQ(1, exit_status);
    host_test::use_settings("usb_port_program = /nowhere\n");
    EXPECT_EQ("nasctl: /nowhere failed\n", nasctl("plug disk.img"));
    EXPECT_EQ(1, exit_status);
}

TEST_F(NasctlPlug, WhatIsSaidBesidesIsPassedOn)
{
    use_port("echo sda /tmp/mnt/A; echo 'port: one volume is damaged' >&2");
    EXPECT_EQ("nasctl: one volume is damaged\nsda /tmp/mnt/A\n", nasctl("plug disk.img"));
    EXPECT_EQ(0, exit_status);
}
