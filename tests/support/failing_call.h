// Lets a call of the library to the C library say that it failed.
#ifndef NAS_TESTS_FAILING_CALL_H
#define NAS_TESTS_FAILING_CALL_H

#include <string_view>

namespace nas_test
{

enum class Call { none, fwrite, fflush, ferror, fclose, vsnprintf };

// While it lives, every such call of the library is done, and then says that it failed; of vsnprintf, those with a
// format that begins so.
class FailingCall
{
  public:
    explicit FailingCall(Call call, std::string_view format = "");
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;
};

} // namespace nas_test

#endif
