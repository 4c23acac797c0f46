// Memory that ends at a page nobody may touch: one byte too far ends the program, with any compiler and machine.
#ifndef NAS_TESTS_GUARDED_H
#define NAS_TESTS_GUARDED_H

#include <cstddef>
#include <cstring>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace nas_test
{

// `size` writable bytes, filled with '#', directly before the forbidden page.
class GuardedBuffer
{
  public:
    explicit GuardedBuffer(std::size_t size) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE)))
    {
        const std::size_t room = (size + page_ - 1) / page_ * page_;
        whole_ = room + page_;
        void *const memory = mmap(nullptr, whole_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start_ = static_cast<char *>(memory);
        mprotect(start_ + room, page_, PROT_NONE);
        data_ = start_ + room - size;
        std::memset(data_, '#', size);
    }
    ~GuardedBuffer()
    {
        munmap(start_, whole_);
    }
    GuardedBuffer(const GuardedBuffer &) = delete;
    GuardedBuffer &operator=(const GuardedBuffer &) = delete;

    char *data() const
    {
        return data_;
    }

  private:
    std::size_t page_;
    std::size_t whole_;
    char *start_;
    char *data_;
};

// A text whose NUL is the last byte before the forbidden page.
class GuardedText
{
  public:
    explicit GuardedText(std::string_view text) : buffer_(text.size() + 1)
    {
        std::memcpy(buffer_.data(), text.data(), text.size());
        buffer_.data()[text.size()] = '\0';
    }
    operator const char *() const
    {
        return buffer_.data();
    }

  private:
    GuardedBuffer buffer_;
};

} // namespace nas_test

#endif
