// Words for the shell, and the one question that every service asks it.
#ifndef NAS_SUPPORT_SHELL_H
#define NAS_SUPPORT_SHELL_H

#include <span>
#include <string_view>

namespace nas
{

// Copies `text`, cut at the destination, and escapes it there to stand between single quotes.
void quote_text(std::span<char> to, std::string_view text);

// Does a process of that name run?
bool daemon_runs(const char *name);

} // namespace nas

#endif
