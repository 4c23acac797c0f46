#include "support/failing_call.h"

#include "support/recording_host.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <dlfcn.h>

#define SYMBOL(name) __asm__(name)

namespace
{

using nas_test::Call;

Call failing = Call::none;
std::string_view failing_format;

bool fails(Call call)
{
    return call == failing && nas_test::in_library();
}

template <class Function>
Function *real(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {
std::size_t failing_fwrite(const void *data, std::size_t size, std::size_t count, std::FILE *file) SYMBOL("fwrite");
int failing_fflush(std::FILE *file) SYMBOL("fflush");
int failing_ferror(std::FILE *file) SYMBOL("ferror");
int failing_fclose(std::FILE *file) SYMBOL("fclose");
int failing_vsnprintf(char *to, std::size_t size, const char *format, std::va_list arguments) SYMBOL("vsnprintf");

std::size_t failing_fwrite(const void *data, std::size_t size, std::size_t count, std::FILE *file)
{
    static const auto next = real(failing_fwrite, "fwrite");
    const std::size_t written = next(data, size, count, file);
    return fails(Call::fwrite) && written > 0 ? written - 1 : written;
}

int failing_fflush(std::FILE *file)
{
    static const auto next = real(failing_fflush, "fflush");
    const int result = next(file);
    return fails(Call::fflush) ? EOF : result;
}

int failing_ferror(std::FILE *file)
{
    static const auto next = real(failing_ferror, "ferror");
    const int result = next(file);
    return fails(Call::ferror) ? 1 : result;
}

int failing_fclose(std::FILE *file)
{
    static const auto next = real(failing_fclose, "fclose");
    const int result = next(file);
    return fails(Call::fclose) ? EOF : result;
}

int failing_vsnprintf(char *to, std::size_t size, const char *format, std::va_list arguments)
{
    static const auto next = real(failing_vsnprintf, "vsnprintf");
    const int length = next(to, size, format, arguments);
    return fails(Call::vsnprintf) && std::string_view(format).starts_with(failing_format) ? -1 : length;
}
}

namespace nas_test
{

FailingCall::FailingCall(Call call, std::string_view format)
{
    failing = call;
    failing_format = format;
}

FailingCall::~FailingCall()
{
    failing = Call::none;
}

} // namespace nas_test
