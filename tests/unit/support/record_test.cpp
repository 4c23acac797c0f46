#include "support/fixture.h"

#include "nas/entware.h"
#include "nas/web.h"

#include <string>

namespace
{

using RecordText = nas_test::LibraryTest;

TEST_F(RecordText, LongestValueOfTheStoreCountsToItsEnd)
{
    const std::string begin = "1,8080,";
    host.set_config("url_conf", begin + std::string(1022 - begin.size(), '0') + "7");
    UrlServiceConfig config = {};
    EXPECT_EQ(host.call(get_urlsvc_config, &config), 1);
    EXPECT_EQ(config.enable, 1);
    EXPECT_EQ(config.port, 8080);
    EXPECT_EQ(config.auth, 7);
}

TEST_F(RecordText, LongestValueOfAKeyOfItsOwnCountsToItsEnd)
{
    host.set_config("entware_run", std::string(1022, '0') + "7");
    EXPECT_EQ(host.call(get_entware_config, static_cast<EntwareConfig *>(nullptr)), 7);
}

} // namespace
