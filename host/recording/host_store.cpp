// The two stores.
#include "recording/recording_host.h"

#include "platform/store.h"

#include <cstdlib>

namespace nas_recording
{

std::optional<std::string> Store::look_up(const std::string &key) const
{
    const auto found = values.find(key);
    if (found != values.end())
        return found->second;
    std::string value;
    if (live && live(key, value))
        return value;
    return std::nullopt;
}

std::optional<std::string> Store::read(const std::string &key)
{
    ++reads[key];
    ++total_reads;
    return look_up(key);
}

namespace
{

int get_text(Store &store, const char *key, char *value)
{
    const HostsOwnDoing mine;
    const std::optional<std::string> text = store.read(key);
    if (!text)
        return -1;
    copy_bounded(value, NAS_STORE_VALUE_SIZE, *text);
    return 0;
}

int get_number(Store &store, const char *key)
{
    const HostsOwnDoing mine;
    const std::optional<std::string> text = store.read(key);
    return text ? std::atoi(text->c_str()) : -1;
}

int set_text(Store &store, const char *act, const char *key, const std::string &value)
{
    const HostsOwnDoing mine;
    const bool written = !store.refuses_writes && !store.refused.contains(key);
    host().record_act(std::string(act) + " " + key + " = " + value, written);
    if (!written)
        return -1;
    store.values[key] = value.substr(0, NAS_STORE_VALUE_SIZE - 1);
    return 0;
}

int remove_key(Store &store, const char *act, const char *key)
{
    const HostsOwnDoing mine;
    const bool removed = store.look_up(key).has_value() && !store.refused.contains(key);
    host().record_act(std::string(act) + " " + key, removed);
    if (!removed)
        return -1;
    store.values[key] = std::nullopt;
    return 0;
}

} // namespace
} // namespace nas_recording

using nas_recording::host;

int iconfig_get_value_direct(const char *key, char *value)
{
    return nas_recording::get_text(host().config, key, value);
}

int istatus_get_value_direct(const char *key, char *value)
{
    return nas_recording::get_text(host().status, key, value);
}

int iconfig_set_value_direct(const char *key, const char *value)
{
    return nas_recording::set_text(host().config, "set", key, value);
}

int istatus_set_value_direct(const char *key, const char *value)
{
    return nas_recording::set_text(host().status, "set-status", key, value);
}

int iconfig_get_intvalue_direct(const char *key)
{
    return nas_recording::get_number(host().config, key);
}

int istatus_get_intvalue_direct(const char *key)
{
    return nas_recording::get_number(host().status, key);
}

int iconfig_set_intvalue_direct(const char *key, int value)
{
    return nas_recording::set_text(host().config, "set", key, std::to_string(value));
}

int istatus_set_intvalue_direct(const char *key, int value)
{
    return nas_recording::set_text(host().status, "set-status", key, std::to_string(value));
}

int iconfig_remove_config_tag(const char *key)
{
    return nas_recording::remove_key(host().config, "remove", key);
}

int istatus_remove_status_tag(const char *key)
{
    return nas_recording::remove_key(host().status, "remove-status", key);
}
