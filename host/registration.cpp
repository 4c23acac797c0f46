/* The registration's account and cipher: platform/registration.h. */
#include "platform/registration.h"

#include "platform/store.h"

#include "settings.h"
#include "text.h"

#include <openssl/evp.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace
{

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

constexpr int block_size = 16;
using Key = std::array<unsigned char, 64>;
using Tweak = std::array<unsigned char, block_size>;

/* AES-256-XTS wants two keys of 32 bytes: the SHA-512 of the secret gives both, whatever its length. */
bool derive_key(const std::string &secret, Key &key)
{
    unsigned length = 0;
    return EVP_Digest(secret.data(), secret.size(), key.data(), &length, EVP_sha512(), nullptr) == 1 &&
           length == key.size();
}

void put_little_endian(unsigned char *to, int value)
{
    auto bits = static_cast<unsigned>(value);
    for (int i = 0; i < 4; i++)
        to[i] = static_cast<unsigned char>(bits >> (8 * i));
}

/* Both sides know the two options, so they serve as the tweak. */
Tweak tweak_of(int option1, int option2)
{
    Tweak tweak = {};
    put_little_endian(tweak.data(), option1);
    put_little_endian(tweak.data() + 4, option2);
    return tweak;
}

} // namespace

/* The store of a firmware has its own DDNS client's records; here one key holds "<host name>,<credential>". */
int ddnsapi_read_config_by_service_type(int index, const char *type, struct DdnsConfig *record)
{
    char key[128];
    char value[NAS_STORE_VALUE_SIZE];
    snprintf(key, sizeof key, "host_ddns_%s_%d", type, index);
    if (iconfig_get_value_direct(key, value) != 0)
        return 0;
    std::string_view text = value;
    size_t comma = text.find(',');
    if (comma == 0 || comma == std::string_view::npos)
        return 0;
    *record = {};
    nashost::copy_cut(record->host_name, sizeof record->host_name, text.substr(0, comma));
    nashost::copy_cut(record->credential, sizeof record->credential, text.substr(comma + 1));
    return 1;
}

/* AES-256-XTS with the setting "registration_key": as long as its input, the same for the same input, and, unlike
 * a stream cipher that would use one key stream for every request, safe to use again with the same key. The
 * server deciphers with the same key and tweak. Nothing is produced without a key, for fewer than 16 bytes (XTS
 * has no shorter form) or without room for all: a cut result could not be deciphered. */
int encode_crypt(const char *input, unsigned char *output, int capacity, int option1, int option2, int length)
{
    std::string secret = nashost::setting("registration_key");
    Key key;
    Tweak tweak = tweak_of(option1, option2);
    if (secret.empty() || length < block_size || capacity < length || !derive_key(secret, key))
        return 0;

    CipherContext context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    const auto *bytes = reinterpret_cast<const unsigned char *>(input);
    int produced = 0;
    bool done = context &&
                EVP_EncryptInit_ex(context.get(), EVP_aes_256_xts(), nullptr, key.data(), tweak.data()) == 1 &&
                EVP_EncryptUpdate(context.get(), output, &produced, bytes, length) == 1 && produced == length;
    return done ? produced : 0;
}

int Base64encode(char *output, const char *input, int length)
{
    if (length <= 0) {
        output[0] = '\0';
        return 0;
    }
    return EVP_EncodeBlock(reinterpret_cast<unsigned char *>(output), reinterpret_cast<const unsigned char *>(input),
                           length);
}
