#include "support/failing_memory.h"

#include "support/recording_host.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>

// uClibc calls itself glibc, too, but has no second name for its malloc.
#if defined(__GLIBC__) && !defined(__UCLIBC__) && !defined(NAS_SANITIZE)
#define NAS_MEMORY_CAN_FAIL 1
#else
#define NAS_MEMORY_CAN_FAIL 0
#endif

namespace
{

bool armed;
int left;
unsigned long smallest;
int failed;

#if NAS_MEMORY_CAN_FAIL
bool fails(std::size_t size)
{
    if (!armed || size < smallest || !nas_test::in_library())
        return false;
    if (left > 0) {
        --left;
        return false;
    }
    ++failed;
    errno = ENOMEM;
    return true;
}
#endif

} // namespace

#if NAS_MEMORY_CAN_FAIL
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *memory, std::size_t size);

void *malloc(std::size_t size)
{
    return fails(size) ? nullptr : __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size)
{
    return fails(count * size) ? nullptr : __libc_calloc(count, size);
}

void *realloc(void *memory, std::size_t size)
{
    return fails(size) ? nullptr : __libc_realloc(memory, size);
}
}
#endif

namespace nas_test
{

bool memory_can_fail()
{
    return NAS_MEMORY_CAN_FAIL != 0;
}

FailingMemory::FailingMemory(int succeed, unsigned long size)
{
    left = succeed;
    smallest = size;
    failed = 0;
    armed = true;
}

FailingMemory::~FailingMemory()
{
    armed = false;
}

int FailingMemory::failures() const
{
    return failed;
}

} // namespace nas_test
