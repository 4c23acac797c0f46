// Bounded text: every copy knows its destination, always terminates it, and cuts what does not fit.
#ifndef NAS_SUPPORT_TEXT_H
#define NAS_SUPPORT_TEXT_H

#include <cstddef>
#include <span>
#include <string_view>

namespace nas
{

// Arrays convert to the span by themselves: copy_text(entry.disk, name).
void copy_text(std::span<char> to, std::string_view from);

[[gnu::format(printf, 2, 3)]] void format_text(std::span<char> to, const char *format, ...);

// Ends the text at its first line feed.
void end_at_line_feed(char *text);

// string_view's own starts_with calls into the C++ runtime when it is not inlined.
bool begins_with(const char *text, std::string_view prefix);

// The leading decimal number, as strtol reads it; what an int cannot hold becomes the nearest one. 0 without a number.
int parse_int(const char *text);

// A text that is built piece by piece. Always terminated; grows past its first size. When memory ends, `cut`
// latches: the piece that did not fit and all that follow are left out, and it is looked at once, at the end.
struct TextBuffer {
    char *data = nullptr;
    size_t size = 0;
    size_t length = 0;
    bool cut = false;

    TextBuffer() = default;
    TextBuffer(const TextBuffer &) = delete;
    TextBuffer &operator=(const TextBuffer &) = delete;
    ~TextBuffer();
};

// Gives an empty buffer its first memory. False when there is none.
bool allocate(TextBuffer &text, size_t size);
void append(TextBuffer &text, std::string_view piece);
[[gnu::format(printf, 2, 3)]] void appendf(TextBuffer &text, const char *format, ...);

} // namespace nas

#endif
