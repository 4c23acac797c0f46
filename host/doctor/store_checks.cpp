/* platform/store.h */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "platform/store.h"

namespace nasdoctor
{
namespace
{

struct Store {
    const char *name;
    decltype(&iconfig_get_value_direct) get;
    decltype(&iconfig_set_value_direct) set;
    decltype(&iconfig_get_intvalue_direct) get_number;
    decltype(&iconfig_set_intvalue_direct) set_number;
    decltype(&iconfig_remove_config_tag) remove;
};

Store config()
{
    return {"iconfig",
            EXAMINED(iconfig_get_value_direct),
            EXAMINED(iconfig_set_value_direct),
            EXAMINED(iconfig_get_intvalue_direct),
            EXAMINED(iconfig_set_intvalue_direct),
            EXAMINED(iconfig_remove_config_tag)};
}

Store status()
{
    return {"istatus",
            EXAMINED(istatus_get_value_direct),
            EXAMINED(istatus_set_value_direct),
            EXAMINED(istatus_get_intvalue_direct),
            EXAMINED(istatus_set_intvalue_direct),
            EXAMINED(istatus_remove_status_tag)};
}

constexpr char key[] = "nas_doctor";
constexpr char absent[] = "nas_doctor_absent";

std::string absent_text(const Store &store)
{
    Guarded value(NAS_STORE_VALUE_SIZE);
    const int answer = store.get(absent, value.data());
    return first_of({defect_of_answer("get_value of an absent key", answer, -1),
                     value.untouched() ? "" : "get_value of an absent key changes the buffer"});
}

std::string round_trip(const Store &store, const std::string &text)
{
    const int written = store.set(key, text.c_str());
    Guarded value(NAS_STORE_VALUE_SIZE);
    const int read = store.get(key, value.data());
    return first_of({defect_of_answer("set_value", written, 0), defect_of_answer("get_value", read, 0),
                     defect_of_text(value),
                     value.text() == text ? "" : shown(text) + " was stored, " + shown(value.text()) + " comes back"});
}

std::string texts(const Store &store)
{
    return first_of({round_trip(store, "1,2121,9000,UTF-8,0"), round_trip(store, "1,Living room,"),
                     round_trip(store, ""), round_trip(store, "a'b\"c\\d$e`f;g|h&i%s"),
                     round_trip(store, "K\xc3\xbc"
                                       "che"),
                     round_trip(store, "second")});
}

std::string longest_text(const Store &store)
{
    return round_trip(store, std::string(NAS_STORE_VALUE_SIZE - 1, 'x'));
}

/* Refused or cut, but never handed out longer than a reader's buffer. */
std::string too_long_text(const Store &store)
{
    store.set(key, std::string(2UL * NAS_STORE_VALUE_SIZE, 'y').c_str());
    Guarded value(NAS_STORE_VALUE_SIZE);
    const int read = store.get(key, value.data());
    return read == 0 ? defect_of_text(value) : value.overrun();
}

std::string numbers(const Store &store)
{
    for (const int number : {42, 0, -7, 2147483647}) {
        const int written = store.set_number(key, number);
        std::string defect = first_of({defect_of_answer("set_intvalue", written, 0),
                                       defect_of_answer("get_intvalue", store.get_number(key), number)});
        if (!defect.empty())
            return defect;
    }
    return defect_of_answer("get_intvalue of an absent key", store.get_number(absent), -1);
}

std::string removal(const Store &store)
{
    store.set(key, "1");
    const int removed = store.remove(key);
    Guarded value(NAS_STORE_VALUE_SIZE);
    return first_of({defect_of_answer("removal", removed, 0),
                     defect_of_answer("get_value after the removal", store.get(key, value.data()), -1),
                     defect_of_answer("removal of an absent key", store.remove(absent), -1)});
}

std::string separation()
{
    status().remove(key);
    config().set(key, "1");
    Guarded value(NAS_STORE_VALUE_SIZE);
    return status().get(key, value.data()) == -1 ? "" : "a key of iconfig is seen in istatus";
}

} // namespace

std::vector<Check> store_checks()
{
    std::vector<Check> checks;
    for (Store (*const store)() : {config, status}) {
        const char *const name = store == config ? "iconfig_*" : "istatus_*";
        auto add = [&](const char *contract, std::string (*check)(const Store &)) {
            checks.push_back({name, contract, Needs::private_world, [=] { return check(store()); }});
        };
        add("an absent key is -1, and its buffer stays as it was", absent_text);
        add("a text comes back as it was stored", texts);
        add("a text of 1023 characters comes back", longest_text);
        add("no reader gets more than 1024 bytes", too_long_text);
        add("a number comes back as it was stored", numbers);
        add("a removed key is absent", removal);
    }
    checks.push_back({"iconfig_*, istatus_*", "the stores are two", Needs::private_world, separation});
    return checks;
}

} // namespace nasdoctor
