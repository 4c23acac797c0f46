#include "doctor/examined_host.h"

#include "text.h"

#include <dlfcn.h>

#include <stdexcept>

namespace nasdoctor
{
namespace
{

void *library_handle;

} // namespace

void load_examined_host(const std::string &library)
{
    library_handle = dlopen(library.c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (library_handle == nullptr)
        throw std::runtime_error(std::string("it cannot be loaded: ") + dlerror());
}

void *find_operation(const char *name)
{
    return dlsym(library_handle, name);
}

std::string defect_of_text(const Guarded &buffer)
{
    const std::string overrun = buffer.overrun();
    return overrun.empty() && !buffer.ends() ? "leaves a text without an end" : overrun;
}

std::string defect_of_answer(const std::string &call, long answer, long expected)
{
    if (answer == expected)
        return "";
    return call + " answers " + std::to_string(answer) + " instead of " + std::to_string(expected);
}

std::string shown(const std::string &text)
{
    constexpr size_t limit = 40;
    std::string result = text.substr(0, limit);
    for (char &c : result) {
        if (nashost::is_control(c))
            c = '?';
    }
    return '"' + result + (text.size() > limit ? "...\"" : "\"");
}

std::string first_of(std::initializer_list<std::string> defects)
{
    for (const std::string &defect : defects) {
        if (!defect.empty())
            return defect;
    }
    return "";
}

} // namespace nasdoctor
