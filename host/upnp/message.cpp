#include "message.h"

#include "text.h"

#include <charconv>

namespace upnp
{
namespace
{

constexpr size_t longest_name = 127;
constexpr int highest_port = 65535;

std::optional<int> parse_number(std::string_view text)
{
    int number = 0;
    auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || rest != text.data() + text.size() || number < 0 || number > highest_port)
        return std::nullopt;
    return number;
}

bool is_name(std::string_view text)
{
    auto fits = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
               c == '-';
    };
    return !text.empty() && text.size() <= longest_name && std::all_of(text.begin(), text.end(), fits);
}

/* The last four fields of both forms; 0 stands for no port. */
std::optional<Mapping> parse_fields(const std::string &protocol, const std::string &external,
                                    const std::string &internal, const std::string &name)
{
    std::optional<int> outside = parse_number(external), inside = parse_number(internal);
    if ((protocol != "tcp" && protocol != "udp") || !outside || *outside == 0 || !inside || !is_name(name))
        return std::nullopt;
    return Mapping{protocol, *outside, *inside, name};
}

} // namespace

std::optional<Request> parse_request(std::string_view message)
{
    std::vector<std::string> fields = nashost::split(message, ',');
    if (fields.size() != 6 || fields[0] != "upnp:service" || (fields[1] != "A" && fields[1] != "D"))
        return std::nullopt;
    std::optional<Mapping> mapping = parse_fields(fields[2], fields[3], fields[4], fields[5]);
    bool add = fields[1] == "A";
    if (!mapping || (add && mapping->internal == 0))
        return std::nullopt;
    return Request{add, *mapping};
}

std::string mapping_word(const Mapping &mapping)
{
    return mapping.protocol + "," + std::to_string(mapping.external) + "," + std::to_string(mapping.internal) + "," +
           mapping.name;
}

std::optional<Mapping> parse_mapping(std::string_view word)
{
    std::vector<std::string> fields = nashost::split(word, ',');
    if (fields.size() != 4)
        return std::nullopt;
    return parse_fields(fields[0], fields[1], fields[2], fields[3]);
}

} // namespace upnp
