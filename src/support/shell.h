// Words for the shell, and the one question that every service asks it.
#ifndef NAS_SUPPORT_SHELL_H
#define NAS_SUPPORT_SHELL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace nas
{

// Copies `text`, cut at `max_length` characters and at the destination, and escapes it there to stand between single
// quotes.
void quote_text(std::span<char> to, std::string_view text, size_t max_length = SIZE_MAX);

// Shortens a command line that was cut until it ends inside single quotes: the shell then refuses it, instead of
// running a part of it.
void leave_quote_open(char *command);

// May the text stand in a command as it is, without quotes?
bool is_plain_word(const char *text);

// Does pidof find a daemon of that name?
bool daemon_runs(const char *name);

} // namespace nas

#endif
