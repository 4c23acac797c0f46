#include "support/shell.h"

#include "platform/process.h"
#include "support/text.h"

namespace nas
{

void quote_text(std::span<char> to, std::string_view text)
{
    copy_text(to, text);
    quote_r(to.data(), static_cast<int>(to.size()));
}

bool daemon_runs(const char *name)
{
    return system2("/bin/pidof %s", name) == 0;
}

} // namespace nas
