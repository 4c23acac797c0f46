#include "hostile/corpus.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace hostile
{
namespace
{

constexpr size_t quick_stride = 60;

std::string unescaped(const std::string &line)
{
    std::string text;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] != '\\') {
            text += line[i];
            continue;
        }
        switch (line[++i]) {
        case 'n':
            text += '\n';
            break;
        case 't':
            text += '\t';
            break;
        case 'x':
            text += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16));
            i += 2;
            break;
        default:
            text += line[i];
        }
    }
    return text;
}

// A test without texts would pass.
std::vector<std::string> read_corpus()
{
    std::vector<std::string> all;
    std::ifstream file(NAS_HOSTILE_CORPUS);
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#')
            all.push_back(unescaped(line));
    if (all.empty()) {
        std::fputs("no texts in " NAS_HOSTILE_CORPUS "\n", stderr);
        std::abort();
    }
    return all;
}

bool is_long_run()
{
    const char *wanted = std::getenv("NAS_HOSTILE_TEST");
    return wanted != nullptr && std::strcmp(wanted, "long") == 0;
}

// Read before the tests go to a root where the file is not.
[[maybe_unused]] const std::vector<std::string> &read_early = whole_corpus();

} // namespace

const std::vector<std::string> &whole_corpus()
{
    static const std::vector<std::string> texts = read_corpus();
    return texts;
}

std::vector<std::string> corpus(size_t start)
{
    static const size_t stride = is_long_run() ? 1 : quick_stride;
    std::vector<std::string> some;
    for (size_t i = start % stride; i < whole_corpus().size(); i += stride)
        some.push_back(whole_corpus()[i]);
    return some;
}

std::string shown(std::string_view text)
{
    std::string line;
    for (const char c : text) {
        char code[8] = {c, '\0'};
        if (c < ' ' || c == 0x7f)
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
        line += code;
    }
    return line;
}

std::string up_to(std::string_view text, const char *ends)
{
    return std::string(text.substr(0, text.find_first_of(ends)));
}

std::string cut(std::string_view text, size_t length)
{
    return std::string(text.substr(0, length));
}

std::string in_quotes(std::string_view text)
{
    std::string result;
    for (const char c : text)
        result += c == '\'' ? "'\\''" : std::string(1, c);
    return result;
}

bool has_any(std::string_view text, std::string_view characters)
{
    return text.find_first_of(characters) != std::string_view::npos;
}

bool has_control(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; });
}

bool is_file_name(const std::string &text)
{
    return !text.empty() && text.size() <= 255 && text != "." && text != ".." && !has_any(text, "/");
}

bool is_prefix(const std::string &part, const std::string &whole)
{
    return whole.compare(0, part.size(), part) == 0;
}

} // namespace hostile
