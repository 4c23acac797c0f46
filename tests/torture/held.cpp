#include "torture/held.h"

#include <map>

namespace nas_torture
{
namespace
{

std::map<Address, const char *> &things()
{
    static std::map<Address, const char *> all;
    return all;
}

} // namespace

void hold(const char *what, Address thing)
{
    if (thing != 0)
        things()[thing] = what;
}

void give_back(Address thing)
{
    things().erase(thing);
}

std::string held()
{
    std::map<std::string, int> counts;
    for (const auto &[thing, what] : things())
        ++counts[what];
    std::string text;
    for (const auto &[what, count] : counts)
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " of " + what;
    return text;
}

void forget_held()
{
    things().clear();
}

} // namespace nas_torture
