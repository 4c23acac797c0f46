#include "support/shell.h"

#include "platform/process.h"
#include "support/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace nas
{

void quote_text(std::span<char> to, std::string_view text, size_t max_length)
{
    copy_text(to, {text.data(), std::min(text.size(), max_length)});
    quote_r(to.data(), static_cast<int>(to.size()));
}

void leave_quote_open(char *command)
{
    bool open = false;
    char *end = command;
    for (char *next = command; *next != '\0'; next++) {
        if (!open && next[0] == '\\' && next[1] != '\0')
            next++;
        else if (*next == '\'')
            open = !open;
        if (open)
            end = next + 1;
    }
    *end = '\0';
}

bool is_plain_word(const char *text)
{
    return strpbrk(text, " \t\n!\"#$&'()*;<>?[\\]^`{|}~") == nullptr;
}

bool daemon_runs(const char *name)
{
    char command[64];
    format_text(command, "/bin/pidof %s", name);
    return system(command) == 0;
}

} // namespace nas
