// Lets the library's own allocations fail.
#ifndef NAS_TESTS_FAILING_MEMORY_H
#define NAS_TESTS_FAILING_MEMORY_H

namespace nas_test
{

// Can they be made to fail here? Not under a sanitizer, and with glibc alone.
bool memory_can_fail();

// While it lives, the library's first `succeed` allocations of `size` bytes or more succeed and all later ones fail.
// What the host allocates is not counted.
class FailingMemory
{
  public:
    FailingMemory(int succeed, unsigned long size);
    ~FailingMemory();
    FailingMemory(const FailingMemory &) = delete;
    FailingMemory &operator=(const FailingMemory &) = delete;

    int failures() const;
};

} // namespace nas_test

#endif
