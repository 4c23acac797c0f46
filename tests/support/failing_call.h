// Lets a call of the library to the C library say that it failed.
#ifndef NAS_TESTS_FAILING_CALL_H
#define NAS_TESTS_FAILING_CALL_H

namespace nas_test
{

enum class Call { none, fwrite, fflush, ferror, fclose, vsnprintf };

// While it lives, every such call of the library is done, and then says that it failed.
class FailingCall
{
  public:
    explicit FailingCall(Call call);
    ~FailingCall();
    FailingCall(const FailingCall &) = delete;
    FailingCall &operator=(const FailingCall &) = delete;
};

} // namespace nas_test

#endif
