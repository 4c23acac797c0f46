#include "platform/registration.h"

#include "platform/store.h"

#include "fixture.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstring>
#include <memory>
#include <string>

namespace
{

/* What a server does: the same key and tweak, the other way round. */
std::string deciphered(const unsigned char *bytes, int length, const std::string &secret)
{
    unsigned char key[64], tweak[16] = {10};
    unsigned size = 0;
    EVP_Digest(secret.data(), secret.size(), key, &size, EVP_sha512(), nullptr);
    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    std::string text(static_cast<size_t>(length), '\0');
    int produced = 0;
    EVP_DecryptInit_ex(context.get(), EVP_aes_256_xts(), nullptr, key, tweak);
    EVP_DecryptUpdate(context.get(), reinterpret_cast<unsigned char *>(text.data()), &produced, bytes, length);
    return text;
}

} // namespace

TEST(Registration, CipherIsUndoneByTheServer)
{
    host_test::use_settings("registration_key = a shared secret\n");
    for (size_t length : {16U, 17U, 100U, 1000U, 1024U}) {
        std::string text;
        for (size_t i = 0; i < length; i++)
            text += static_cast<char>('a' + i % 26);
        unsigned char output[1024 + 4];
        memset(output, 'G', sizeof output);
        int produced = encode_crypt(text.c_str(), output, 1024, 10, 0, static_cast<int>(length));
        ASSERT_EQ(static_cast<int>(length), produced);
        EXPECT_EQ('G', output[1024]);
        EXPECT_NE(0, memcmp(output, text.data(), length));
        EXPECT_EQ(text, deciphered(output, produced, "a shared secret"));
        EXPECT_NE(text, deciphered(output, produced, "another secret"));
    }
    host_test::use_settings();
}

TEST(Registration, CipherProducesAllOrNothing)
{
    unsigned char output[1024];
    std::string text(600, 't');
    EXPECT_EQ(0, encode_crypt(text.c_str(), output, 1024, 10, 0, 600)) << "without a key";
    host_test::use_settings("registration_key = k\n");
    EXPECT_EQ(0, encode_crypt(text.c_str(), output, 599, 10, 0, 600));
    EXPECT_EQ(0, encode_crypt(text.c_str(), output, 1024, 10, 0, 15));
    EXPECT_EQ(0, encode_crypt(text.c_str(), output, 1024, 10, 0, -1));
    EXPECT_EQ(600, encode_crypt(text.c_str(), output, 600, 10, 0, 600));
    host_test::use_settings();
}

TEST(Registration, WritesBase64)
{
    const std::pair<const char *, const char *> cases[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
    for (const auto &[text, expected] : cases) {
        char output[16];
        memset(output, 'G', sizeof output);
        size_t length = strlen(text), room = (length + 2) / 3 * 4 + 1;
        EXPECT_EQ(static_cast<int>(strlen(expected)), Base64encode(output, text, static_cast<int>(length)));
        EXPECT_STREQ(expected, output);
        EXPECT_EQ('G', output[room]);
    }
    char output[16];
    EXPECT_EQ(0, Base64encode(output, "x", -1));
    EXPECT_STREQ("", output);
}

TEST(Registration, ReadsTheDdnsAccount)
{
    DdnsConfig record;
    memset(&record, 'G', sizeof record);
    EXPECT_EQ(0, ddnsapi_read_config_by_service_type(0, "kelsto_router", &record));
    iconfig_set_value_direct("host_ddns_kelsto_router_0", "abc.example.net,key,with comma");
    EXPECT_NE(0, ddnsapi_read_config_by_service_type(0, "kelsto_router", &record));
    EXPECT_STREQ("abc.example.net", record.host_name);
    EXPECT_STREQ("key,with comma", record.credential);
    EXPECT_EQ(0, ddnsapi_read_config_by_service_type(1, "kelsto_router", &record));
    iconfig_set_value_direct("host_ddns_kelsto_router_0",
                             (std::string(300, 'h') + "," + std::string(300, 'c')).c_str());
    EXPECT_NE(0, ddnsapi_read_config_by_service_type(0, "kelsto_router", &record));
    EXPECT_EQ(std::string(127, 'h'), record.host_name);
    EXPECT_EQ(std::string(127, 'c'), record.credential);
    iconfig_set_value_direct("host_ddns_kelsto_router_0", ",nameless");
    EXPECT_EQ(0, ddnsapi_read_config_by_service_type(0, "kelsto_router", &record));
    iconfig_remove_config_tag("host_ddns_kelsto_router_0");
}
