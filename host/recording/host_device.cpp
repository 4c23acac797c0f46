// Device, product and registration, as they are set up. The cipher turns every bit over: easy to undo by a test, and no
// secret.
#include "recording/recording_host.h"

#include "platform/device.h"
#include "platform/registration.h"

#include <algorithm>
#include <cstring>

using nas_recording::copy_bounded;
using nas_recording::host;
using nas_recording::HostsOwnDoing;

int get_si(const char *section, void *out)
{
    const HostsOwnDoing mine;
    const std::string_view name = section;
    if (name == "pi") {
        copy_bounded(static_cast<char *>(out), NAS_PRODUCT_SIZE, host().device.product);
        return 0;
    }
    if (name == "hw") {
        std::memcpy(out, &host().device.hardware, sizeof(HardwareInfo));
        return 0;
    }
    return -1;
}

int is_factory_test_mode(void)
{
    return host().device.factory_test_mode ? host().yes : 0;
}

int check_diag_flag(void)
{
    return host().device.diagnostics ? host().yes : 0;
}

int check_module_installed(const char *module)
{
    const HostsOwnDoing mine;
    return host().device.modules.contains(module) ? host().yes : 0;
}

int get_led_silent_control(LedSilentControl *control)
{
    if (!host().device.silent_leds)
        return -1;
    *control = *host().device.silent_leds;
    return 0;
}

int ddnsapi_read_config_by_service_type(int index, const char *type, DdnsConfig *record)
{
    const HostsOwnDoing mine;
    const auto found = host().device.ddns.find(type);
    if (found == host().device.ddns.end() || index < 0 || static_cast<std::size_t>(index) >= found->second.size())
        return 0;
    *record = found->second[static_cast<std::size_t>(index)];
    return host().yes;
}

int encode_crypt(const char *input, unsigned char *output, int capacity, int option1, int option2, int length)
{
    if (host().device.cipher) {
        const HostsOwnDoing mine;
        return host().device.cipher(input, output, capacity, option1, option2, length);
    }
    const int produced = std::min(capacity, length);
    for (int i = 0; i < produced; ++i)
        output[i] = static_cast<unsigned char>(~static_cast<unsigned char>(input[i]));
    return produced;
}

int Base64encode(char *output, const char *input, int length)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    char *end = output;
    for (int at = 0; at < length; at += 3) {
        unsigned bits = 0;
        for (int i = 0; i < 3; ++i)
            bits = bits << 8 | (at + i < length ? static_cast<unsigned char>(input[at + i]) : 0U);
        for (int i = 0; i < 4; ++i)
            *end++ = i <= length - at ? digits[bits >> (18 - 6 * i) & 63U] : '=';
    }
    *end = '\0';
    return static_cast<int>(end - output);
}
