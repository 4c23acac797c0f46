// What is allocated while it lives is not reported by the leak checker (where there is one).
#ifndef NAS_TESTS_KNOWN_LEAK_H
#define NAS_TESTS_KNOWN_LEAK_H

extern "C" {
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);
}

namespace nas_test
{

struct KnownLeak {
    KnownLeak()
    {
        if (__lsan_disable != nullptr)
            __lsan_disable();
    }
    ~KnownLeak()
    {
        if (__lsan_enable != nullptr)
            __lsan_enable();
    }
    KnownLeak(const KnownLeak &) = delete;
    KnownLeak &operator=(const KnownLeak &) = delete;
};

} // namespace nas_test

#endif
