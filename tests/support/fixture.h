// What most test cases stand on: a recording host and a sandbox of their own.
#ifndef NAS_TESTS_FIXTURE_H
#define NAS_TESTS_FIXTURE_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <gtest/gtest.h>

namespace nas_test
{

class LibraryTest : public testing::Test
{
  protected:
    // Every process list that the library got is released.
    void TearDown() override
    {
        EXPECT_EQ(host.open_process_lists, 0);
    }

    // Switches the media server on, on a mounted Disk1 whose folder Movies is there.
    void set_up_media()
    {
        host.set_config("media_conf", "1,Film,");
        host.set_config("media_hddname", "Disk1");
        host.set_config("media_folder", "Movies");
        sandbox.set_mounts("/dev/sda1 /tmp/mnt/Disk1 vfat rw 0 0\n");
        sandbox.put_dir("/mnt/Disk1/Movies");
    }

    Sandbox sandbox;
    RecordingHost host;
};

} // namespace nas_test

#endif
