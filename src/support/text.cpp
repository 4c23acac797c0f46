#include "support/text.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace nas
{

bool format_text(std::span<char> to, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(to.data(), to.size(), format, arguments);
    va_end(arguments);
    return length >= 0 && static_cast<size_t>(length) < to.size();
}

void end_at_line_feed(char *text)
{
    text[strcspn(text, "\n")] = '\0';
}

// Samba's parser skips blanks behind the backslash.
static bool joins_next_line(std::string_view text)
{
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return !text.empty() && text.back() == '\\';
}

bool breaks_file(std::string_view text)
{
    const auto is_control = [](unsigned char c) { return c < 0x20 || c == 0x7f; };
    return std::any_of(text.begin(), text.end(), is_control) || joins_next_line(text);
}

void keep_unbroken_line(char *text)
{
    end_at_line_feed(text);
    while (joins_next_line(text))
        text[strlen(text) - 1] = '\0';
}

int parse_int(const char *text)
{
    const long value = strtol(text, nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
}

TextBuffer::~TextBuffer()
{
    if (!borrowed)
        free(data);
}

bool allocate(TextBuffer &text, size_t size)
{
    text.data = static_cast<char *>(malloc(size));
    if (text.data == nullptr)
        return false;
    text.data[0] = '\0';
    text.size = size;
    return true;
}

void borrow(TextBuffer &text, std::span<char> memory)
{
    text.data = memory.data();
    text.data[0] = '\0';
    text.size = memory.size();
    text.length = 0;
    text.borrowed = true;
}

// Makes room for `more` characters and the terminator.
static bool reserve(TextBuffer &text, size_t more)
{
    // Small steps: the text is long-lived, and a router has no memory for a second half that stays empty.
    static constexpr size_t step = 8192;
    if (text.cut)
        return false;
    const size_t needed = text.length + more + 1;
    if (needed <= text.size)
        return true;
    const size_t grown = needed + step;
    char *data = text.borrowed ? nullptr : static_cast<char *>(realloc(text.data, grown));
    if (data == nullptr) {
        text.cut = true;
        return false;
    }
    text.data = data;
    text.size = grown;
    return true;
}

// mempcpy is a call also where the compiler, told to save room, would copy byte by byte.
static void put(TextBuffer &text, std::string_view piece)
{
    if (piece.empty()) // it may have no memory at all
        return;
    char *end = static_cast<char *>(mempcpy(text.data + text.length, piece.data(), piece.size()));
    text.length = static_cast<size_t>(end - text.data);
}

void append(TextBuffer &text, std::string_view piece)
{
    append(text, {piece});
}

void append(TextBuffer &text, std::initializer_list<std::string_view> section)
{
    size_t length = 0;
    for (const std::string_view piece : section)
        length += piece.size();
    if (!reserve(text, length))
        return;
    for (const std::string_view piece : section)
        put(text, piece);
    text.data[text.length] = '\0';
}

void appendf(TextBuffer &text, const char *format, ...)
{
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length < 0)
        text.cut = true;
    if (length > 0 && reserve(text, static_cast<size_t>(length))) {
        vsnprintf(text.data + text.length, text.size - text.length, format, again);
        text.length += static_cast<size_t>(length);
    }
    va_end(again);
}

} // namespace nas
