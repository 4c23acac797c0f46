/* Small helpers for texts, used all over the host. */
#ifndef NASHOST_TEXT_H
#define NASHOST_TEXT_H

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace nashost
{

/* Copies what fits into `size` bytes (at least 1), terminated. */
inline void copy_cut(char *to, size_t size, std::string_view from)
{
    size_t length = std::min(from.size(), size - 1);
    memcpy(to, from.data(), length);
    to[length] = '\0';
}

/* As strtol, held to the range of int: a long has only 32 bits on small systems, too. */
inline int decimal_value(const char *text)
{
    long value = strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp(value, static_cast<long>(INT_MIN), static_cast<long>(INT_MAX)));
}

inline std::string_view trimmed(std::string_view text)
{
    size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

inline bool is_control(char c)
{
    return (c >= 0 && c < 0x20) || c == 0x7f;
}

/* The parts between the separators; empty parts are kept. */
inline std::vector<std::string> split(std::string_view text, char separator)
{
    std::vector<std::string> parts;
    for (size_t end; (end = text.find(separator)) != std::string_view::npos; text.remove_prefix(end + 1))
        parts.emplace_back(text.substr(0, end));
    parts.emplace_back(text);
    return parts;
}

} // namespace nashost

#endif
