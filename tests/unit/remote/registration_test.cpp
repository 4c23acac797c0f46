#include "support/fixture.h"
#include "support/guarded.h"

#include "nas/registration.h"
#include "platform/registration.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>

namespace
{

using nas_test::GuardedBuffer;
using nas_test::GuardedText;
using nas_test::LibraryTest;

struct Registration : LibraryTest {
    // The auth text for an account; without one: "untouched".
    std::string auth(const std::string &host_name, const std::string &credential)
    {
        DdnsConfig record = {};
        host_name.copy(record.host_name, sizeof record.host_name - 1);
        credential.copy(record.credential, sizeof record.credential - 1);
        const DdnsConfig before = record;
        const GuardedBuffer buffer(341);
        const int result = host.call(make_auth, static_cast<const DdnsConfig *>(&record), buffer.data());
        EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0);
        if (result == -1) {
            EXPECT_EQ(std::string(buffer.data(), 341), std::string(341, '#'));
            return "untouched";
        }
        EXPECT_EQ(result, 0);
        return buffer.data();
    }

    std::string nonce(std::time_t now)
    {
        host.now = now;
        const GuardedBuffer buffer(16);
        host.call(get_kvcloud_rand_str, buffer.data());
        return {buffer.data(), 16};
    }

    // The value text of a request, read up to its end in a buffer of its full size.
    std::string value(const std::string &request, int expected_result)
    {
        const GuardedText text(request);
        const GuardedBuffer buffer(2049);
        EXPECT_EQ(host.call(encode_kvcloud_crypt, static_cast<const char *>(text), buffer.data()), expected_result);
        return {buffer.data(), strnlen(buffer.data(), 2049)};
    }
};

// ---- make_auth

TEST_F(Registration, AuthIsTheFirstLabelAndTheCredential)
{
    EXPECT_EQ(auth("abc.nalvex.example", "k"), "YWJjOms="); // abc:k
    EXPECT_EQ(auth("abc.", "k"), "YWJjOms=");
    EXPECT_EQ(auth("abc..", "k"), "YWJjOms=");
    EXPECT_EQ(auth("my-router.home.nalvex.example", "a.b:c"), "bXktcm91dGVyOmEuYjpj"); // my-router:a.b:c
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registration, AuthOfEmptyTexts)
{
    EXPECT_EQ(auth(".nalvex.example", "k"), "Oms="); // :k
    EXPECT_EQ(auth("a.b", ""), "YTo=");              // a:
    EXPECT_EQ(auth(".", ""), "Og==");                // :
}

TEST_F(Registration, AuthTakesTextsAsTheyAre)
{
    EXPECT_EQ(auth("J\xc3\xbcrgen.x", "%s%n%d"), "SsO8cmdlbjolcyVuJWQ=");
    EXPECT_EQ(auth("abc.x", "\xff\x80\x01"), "YWJjOv+AAQ==");
}

TEST_F(Registration, HostNameWithoutDotHasNoAuth)
{
    EXPECT_EQ(auth("localhost", "k"), "untouched");
    EXPECT_EQ(auth("", "k"), "untouched");
    EXPECT_EQ(auth(std::string(127, 'h'), "k"), "untouched");
    EXPECT_EQ(auth("abc", "k.with.dots"), "untouched");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registration, LongestAuthFits)
{
    std::string expected;
    for (int i = 0; i < 42; ++i)
        expected += "aGho"; // hhh
    expected += "OmNj";     // :cc
    for (int i = 0; i < 41; ++i)
        expected += "Y2Nj"; // ccc
    expected += "Y2M=";     // cc
    const std::string longest = auth(std::string(126, 'h') + ".", std::string(127, 'c'));
    EXPECT_EQ(longest, expected);
    EXPECT_EQ(longest.size(), 340U);
}

// ---- get_kvcloud_rand_str

TEST_F(Registration, NonceIsDrawnFromTheAlphabetBySeedAndRemainder)
{
    EXPECT_EQ(nonce(0), "abcdefghijklmnop");
    EXPECT_EQ(nonce(1), "bcdefghijklmnopq");
    EXPECT_EQ(nonce(10), "klmnopqtstuvwxyz");
    EXPECT_EQ(nonce(26), "ABCDEFGHIJKLMNOP");
    EXPECT_EQ(nonce(42), "QTSTUVWXYZabcdef");
    EXPECT_EQ(nonce(51), "Zabcdefghijklmno");
    EXPECT_EQ(nonce(52), "abcdefghijklmnop");
    EXPECT_EQ(nonce(1'000'000'000), "mnopqtstuvwxyzAB");
    EXPECT_EQ(nonce(2'147'483'647), "xabcdefghijklmno"); // rand starts anew at 0
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registration, NonceIsTheSameWithinASecond)
{
    const std::string first = nonce(1'700'000'000);
    host.random = 12345;
    EXPECT_EQ(nonce(1'700'000'000), first);
    EXPECT_NE(nonce(1'700'000'001), first);
}

TEST_F(Registration, NonceKnowsNoRAndTwiceAsManyTs)
{
    std::map<char, int> drawn;
    for (int seed = 0; seed < 52; ++seed) {
        for (const char letter : nonce(seed))
            ++drawn[letter];
    }
    EXPECT_EQ(drawn.size(), 50U);
    for (const char letter : std::string("abcdefghijklmnopqsuvwxyzABCDEFGHIJKLMNOPQSUVWXYZ"))
        EXPECT_EQ(drawn[letter], 16) << letter;
    EXPECT_EQ(drawn['t'], 32);
    EXPECT_EQ(drawn['T'], 32);
    EXPECT_EQ(drawn.count('r') + drawn.count('R'), 0U);
}

TEST_F(Registration, NonceHasNoTerminator)
{
    const GuardedBuffer buffer(32);
    host.call(get_kvcloud_rand_str, buffer.data());
    EXPECT_EQ(std::string(buffer.data() + 15, 17), "B################");
}

// ---- encode_kvcloud_crypt

TEST_F(Registration, RequestBecomesLowerCaseHexadecimal)
{
    EXPECT_EQ(value("abc", 3), "9e9d9c");
    EXPECT_EQ(value("\x01", 1), "fe");
    EXPECT_EQ(value("\xff\xf0\x0f", 3), "000ff0");
    EXPECT_EQ(value("%s%n", 4), "da8cda91");
    EXPECT_EQ(host.transcript(), "");
}

TEST_F(Registration, CipherIsGivenTheRequestAndTheFixedOptions)
{
    int calls = 0;
    host.device.cipher = [&](const char *input, unsigned char *output, int capacity, int option1, int option2,
                             int length) {
        ++calls;
        EXPECT_STREQ(input, "rv=x&auth=y");
        EXPECT_EQ(capacity, 1024);
        EXPECT_EQ(option1, 10);
        EXPECT_EQ(option2, 0);
        EXPECT_EQ(length, 11);
        EXPECT_TRUE(std::all_of(output, output + 1024, [](unsigned char byte) { return byte == 0; }));
        output[0] = 0xa0;
        return 2;
    };
    EXPECT_EQ(value("rv=x&auth=y", 2), "a000");
    EXPECT_EQ(calls, 1);
}

TEST_F(Registration, EveryByteIsTwoDigits)
{
    host.device.cipher = [](const char *, unsigned char *output, int, int, int, int) {
        const unsigned char bytes[] = {0x00, 0x01, 0x09, 0x0a, 0x0f, 0x10, 0x7f, 0x80, 0x9f, 0xab, 0xcd, 0xef, 0xff};
        std::copy(std::begin(bytes), std::end(bytes), output);
        return 13;
    };
    EXPECT_EQ(value("x", 13), "0001090a0f107f809fabcdefff");
}

TEST_F(Registration, CipherThatGivesNothingLeavesTheValueUntouched)
{
    for (const int result : {0, -1, -1024, -2147483647 - 1}) {
        host.device.cipher = [result](const char *, unsigned char *output, int, int, int, int) {
            output[0] = 0x11;
            return result;
        };
        EXPECT_EQ(value("abc", result), std::string(2049, '#')) << result;
    }
}

TEST_F(Registration, FullWorkBufferFillsTheValue)
{
    host.device.cipher = [](const char *, unsigned char *output, int, int, int, int) {
        std::memset(output, 0xc5, 1024);
        return 1024;
    };
    std::string expected;
    for (int i = 0; i < 1024; ++i)
        expected += "c5";
    EXPECT_EQ(value("abc", 1024), expected);
}

TEST_F(Registration, CipherThatClaimsMoreIsBelievedUpToTheWorkBuffersEnd)
{
    for (const int claimed : {1025, 2048, 100000, 2147483647}) {
        host.device.cipher = [claimed](const char *, unsigned char *output, int, int, int, int) {
            output[1023] = 0x3d;
            return claimed;
        };
        EXPECT_EQ(value("abc", 1024), std::string(2046, '0') + "3d") << claimed;
    }
}

TEST_F(Registration, LongRequestIsEncipheredAsFarAsTheCipherGoes)
{
    std::string expected;
    for (int i = 0; i < 1024; ++i)
        expected += "9e";
    EXPECT_EQ(value(std::string(1024, 'a'), 1024), expected);
    EXPECT_EQ(value(std::string(3000, 'a'), 1024), expected);
    EXPECT_EQ(value(std::string(1023, 'a'), 1023), expected.substr(2));
}

TEST_F(Registration, EmptyRequestGivesNoValue)
{
    EXPECT_EQ(value("", 0), std::string(2049, '#'));
}

} // namespace
