#include "folder_name.h"

#include <algorithm>

namespace usbmount
{
namespace
{

/* Not isalnum: what a letter is must not depend on a locale. */
bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_allowed(char c)
{
    return is_letter(c) || (c >= '0' && c <= '9') || c == '.' || c == '_' || c == '-';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

std::string reduced_label(std::string_view label)
{
    std::string name;
    for (char c : label) {
        const bool leads = name.empty() && (c == '.' || c == '-');
        if (is_allowed(c) && !leads && name.size() < folder_name_limit)
            name += c;
    }
    return name;
}

std::string free_folder_name(const std::string &wanted, const std::function<bool(const std::string &)> &is_taken)
{
    if (!wanted.empty() && !is_taken(wanted))
        return wanted;
    for (int number = wanted.empty() ? 1 : 2;; number++) {
        const std::string end = (wanted.empty() ? "" : "_") + std::to_string(number);
        const std::string stem = wanted.empty() ? "Disk" : wanted.substr(0, folder_name_limit - end.size());
        if (!is_taken(stem + end))
            return stem + end;
    }
}

bool is_same_name(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

} // namespace usbmount
