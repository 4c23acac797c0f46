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
