#include "nas/registration.h"

#include "platform/registration.h"
#include "support/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

using namespace nas;

int make_auth(const DdnsConfig *record, char *auth)
{
    char label[sizeof record->host_name];
    copy_text(label, record->host_name);
    char *dot = strchr(label, '.');
    if (dot == nullptr)
        return -1;
    *dot = '\0';
    char plain[256];
    format_text(plain, "%s:%s", label, record->credential);
    Base64encode(auth, plain, static_cast<int>(strlen(plain)));
    return 0;
}

void get_kvcloud_rand_str(char *nonce)
{
    // Without r and R, and with t and T twice: the servers expect no other letters.
    static constexpr std::string_view letters = "abcdefghijklmnopqtstuvwxyzABCDEFGHIJKLMNOPQTSTUVWXYZ";
    srand(static_cast<unsigned>(time(nullptr)));
    for (int i = 0; i < NAS_NONCE_LENGTH; i++)
        nonce[i] = letters[static_cast<size_t>(rand()) % letters.size()];
}

int encode_kvcloud_crypt(const char *request, char *value)
{
    static constexpr char digits[] = "0123456789abcdef";
    unsigned char work[1024] = {};
    const int capacity = static_cast<int>(sizeof work);
    const int length =
        std::min(encode_crypt(request, work, capacity, 10, 0, static_cast<int>(strlen(request))), capacity);
    if (length <= 0)
        return length;
    for (int i = 0; i < length; i++) {
        *value++ = digits[work[i] >> 4];
        *value++ = digits[work[i] & 0x0f];
    }
    *value = '\0';
    return length;
}
