#include "spool.h"

#include "files.h"
#include "lock_file.h"

namespace nashost
{
namespace
{

constexpr size_t spool_limit = 256UL * 1024;

/* Every text ends in a NUL, so that an empty one counts, and none can look like two. */
std::string joined(const Texts &texts)
{
    std::string content;
    for (const std::string &text : texts)
        content.append(text.c_str(), text.size() + 1);
    return content;
}

Texts parted(const std::string &content)
{
    Texts texts;
    size_t begin = 0;
    for (size_t end; (end = content.find('\0', begin)) != std::string::npos; begin = end + 1)
        texts.push_back(content.substr(begin, end - begin));
    return texts;
}

} // namespace

/* The lock is a file of its own, because the spool is replaced as a whole. */
bool edit_spool(const std::string &path, const std::function<void(Texts &)> &edit)
{
    LockFile lock;
    if (!lock.take(path + ".lock"))
        return false;
    const std::string before = read_text(path, spool_limit).value_or("");
    Texts texts = parted(before);
    edit(texts);
    const std::string after = joined(texts);
    return after == before || (after.size() <= spool_limit && replace_file(path, after));
}

Texts read_spool(const std::string &path)
{
    return parted(read_text(path, spool_limit).value_or(""));
}

} // namespace nashost
