// Bounded text: every copy knows its destination, always terminates it, and cuts what does not fit.
#ifndef NAS_SUPPORT_TEXT_H
#define NAS_SUPPORT_TEXT_H

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string_view>

namespace nas
{

// Arrays convert to the span by themselves: copy_text(entry.disk, name).
inline void copy_text(std::span<char> to, std::string_view from)
{
    if (to.empty())
        return;
    const size_t length = from.size() < to.size() ? from.size() : to.size() - 1;
    if (length > 0)
        memcpy(to.data(), from.data(), length);
    to[length] = '\0';
}

// False when the text was cut.
[[gnu::format(printf, 2, 3)]] bool format_text(std::span<char> to, const char *format, ...);

// Ends the text at its first line feed.
void end_at_line_feed(char *text);

// Would the text break a generated file? It must hold no byte below a blank and no DEL, and not end in a backslash,
// which joins the next line, be there blanks behind it or not.
bool breaks_file(std::string_view text);

// Cuts off what would break a generated file: all from the first line feed on, and backslashes at the end
// with the blanks behind them.
void keep_unbroken_line(char *text);

// string_view's own starts_with calls into the C++ runtime when it is not inlined.
inline bool begins_with(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && memcmp(text.data(), prefix.data(), prefix.size()) == 0;
}

// The leading decimal number, as strtol reads it; what an int cannot hold becomes the nearest one. 0 without a number.
int parse_int(const char *text);

// A text that is built piece by piece. Always terminated; grows past its first size unless the memory is somebody
// else's. What does not fit into memory is left out whole, as is all that follows: `cut` latches.
struct TextBuffer {
    char *data = nullptr;
    size_t size = 0;
    size_t length = 0;
    bool cut = false;
    bool borrowed = false;

    TextBuffer() = default;
    TextBuffer(const TextBuffer &) = delete;
    TextBuffer &operator=(const TextBuffer &) = delete;
    ~TextBuffer();
};

inline std::string_view as_view(const TextBuffer &text)
{
    return {text.data, text.length};
}

// Makes a buffer empty and gives it memory of its own (false when there is none), or
// somebody else's.
bool allocate(TextBuffer &text, size_t size);
void borrow(TextBuffer &text, std::span<char> memory);

// Appends one piece, or all pieces of a section: the whole of it or nothing.
void append(TextBuffer &text, std::string_view piece);
void append(TextBuffer &text, std::initializer_list<std::string_view> section);
[[gnu::format(printf, 2, 3)]] void appendf(TextBuffer &text, const char *format, ...);

} // namespace nas

#endif
