#include "output.h"

#include "text.h"

#include <algorithm>
#include <cstdio>

namespace nasctl
{

bool json_wanted = false;

namespace
{

/* Text from disks and records must not steer the terminal. */
std::string printable(std::string text)
{
    std::replace_if(text.begin(), text.end(), nashost::is_control, '?');
    return text;
}

/* Every UTF-8 character has one byte that is no continuation byte. */
size_t width_of(const std::string &text)
{
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; }));
}

} // namespace

void print_json(const Json &value)
{
    printf("%s\n", value.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

void print_line(const std::string &line)
{
    printf("%s\n", printable(line).c_str());
}

void print_table(const std::vector<std::vector<std::string>> &rows)
{
    std::vector<size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); i++)
            widths[i] = std::max(widths[i], width_of(row[i]));
    }
    for (const auto &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++)
            line += row[i] + std::string(i + 1 < row.size() ? widths[i] - width_of(row[i]) + 2 : 0, ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        print_line(line);
    }
}

void print_progress(const std::string &line)
{
    if (!json_wanted)
        fprintf(stderr, "%s\n", line.c_str());
}

void print_error(const std::string &message)
{
    std::string text = json_wanted ? Json({{"error", message}}).dump(-1, ' ', false, Json::error_handler_t::replace)
                                   : "nasctl: " + printable(message);
    fprintf(stderr, "%s\n", text.c_str());
}

std::string yes_or_no(bool value)
{
    return value ? "yes" : "no";
}

} // namespace nasctl
