/* platform/device.h and platform/registration.h */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "platform/device.h"
#include "platform/registration.h"

namespace nasdoctor
{
namespace
{

std::string product()
{
    Guarded text(NAS_PRODUCT_SIZE);
    const int answer = EXAMINED(get_si)("pi", text.data());
    return first_of({defect_of_answer("get_si(\"pi\")", answer, 0), defect_of_text(text)});
}

std::string hardware()
{
    Guarded buffer(sizeof(HardwareInfo));
    const int answer = EXAMINED(get_si)("hw", buffer.data());
    HardwareInfo info;
    memcpy(&info, buffer.data(), sizeof info);
    if (std::string defect = first_of({defect_of_answer("get_si(\"hw\")", answer, 0), buffer.overrun()});
        !defect.empty())
        return defect;
    if (info.usb_port_count < 0 || info.usb_port_count > 23)
        return "there are " + std::to_string(info.usb_port_count) + " USB ports";
    return strnlen(info.model, sizeof info.model) < sizeof info.model ? "" : "the model has no end";
}

std::string other_section()
{
    Guarded buffer(sizeof(HardwareInfo));
    return first_of({defect_of_answer("get_si of another section", EXAMINED(get_si)("nas-doctor", buffer.data()), -1),
                     buffer.overrun()});
}

std::string flags()
{
    EXAMINED(is_factory_test_mode)();
    EXAMINED(check_diag_flag)();
    return defect_of_answer("check_module_installed of no module", EXAMINED(check_module_installed)("nas_doctor"), 0);
}

std::string leds()
{
    EXAMINED(set_usbled)(1, 1);
    EXAMINED(set_usbled)(1, 0);
    EXAMINED(set_usbled)(-1, 0);
    return "";
}

std::string dark_hours()
{
    Guarded buffer(sizeof(LedSilentControl));
    const int answer = EXAMINED(get_led_silent_control)(reinterpret_cast<LedSilentControl *>(buffer.data()));
    return first_of(
        {buffer.overrun(), answer == 0 || answer == -1 ? "" : defect_of_answer("get_led_silent_control", answer, 0)});
}

std::string absent_account()
{
    Guarded buffer(sizeof(DdnsConfig));
    const int answer =
        EXAMINED(ddnsapi_read_config_by_service_type)(0, "nas-doctor", reinterpret_cast<DdnsConfig *>(buffer.data()));
    return first_of(
        {defect_of_answer("ddnsapi_read_config_by_service_type of no account", answer, 0), buffer.overrun()});
}

std::string cipher()
{
    const std::string input(100, 'x');
    for (const size_t capacity : {256UL, 16UL, 1UL}) {
        Guarded output(capacity);
        const int produced = EXAMINED(encode_crypt)(input.c_str(), reinterpret_cast<unsigned char *>(output.data()),
                                                    static_cast<int>(capacity), 0, 0, static_cast<int>(input.size()));
        if (std::string defect = output.overrun(); !defect.empty())
            return defect;
        if (produced > static_cast<int>(capacity))
            return "says that it produced " + std::to_string(produced) + " bytes in " + std::to_string(capacity);
    }
    return "";
}

std::string base64()
{
    const struct {
        const char *plain, *encoded;
    } vectors[] = {{"", ""},
                   {"f", "Zg=="},
                   {"fo", "Zm8="},
                   {"foo", "Zm9v"},
                   {"foob", "Zm9vYg=="},
                   {"fooba", "Zm9vYmE="},
                   {"foobar", "Zm9vYmFy"}};
    for (const auto &vector : vectors) {
        Guarded output(strlen(vector.encoded) + 1);
        EXAMINED(Base64encode)(output.data(), vector.plain, static_cast<int>(strlen(vector.plain)));
        if (std::string defect = defect_of_text(output); !defect.empty())
            return defect;
        if (output.text() != vector.encoded)
            return shown(vector.plain) + " becomes " + shown(output.text()) + " instead of " + shown(vector.encoded);
    }
    return "";
}

} // namespace

std::vector<Check> device_checks()
{
    return {{"get_si", "\"pi\" is a text of at most 127 characters", Needs::nothing, product},
            {"get_si", "\"hw\" is 1024 bytes", Needs::nothing, hardware},
            {"get_si", "another section is -1", Needs::nothing, other_section},
            {"is_factory_test_mode, check_diag_flag, check_module_installed", "answer", Needs::nothing, flags},
            {"set_usbled", "takes a port, and -1 for none", Needs::private_world, leds},
            {"get_led_silent_control", "writes three numbers", Needs::nothing, dark_hours},
            {"ddnsapi_read_config_by_service_type", "no account is 0", Needs::nothing, absent_account},
            {"encode_crypt", "never writes past its capacity", Needs::nothing, cipher},
            {"Base64encode", "RFC 4648, terminated", Needs::nothing, base64}};
}

} // namespace nasdoctor
