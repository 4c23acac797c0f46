/* The host library that is examined. */
#ifndef NASDOCTOR_EXAMINED_HOST_H
#define NASDOCTOR_EXAMINED_HOST_H

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace nasdoctor
{

/* Throws when it cannot be loaded. */
void load_examined_host(const std::string &library);

/* Null when the library lacks it. */
void *find_operation(const char *name);

/* The operation of that name, as the platform's headers declare it. */
#define EXAMINED(name) (reinterpret_cast<decltype(&::name)>(::nasdoctor::find_operation(#name)))

/* A buffer with room for `size` bytes and guard bytes behind it. */
class Guarded
{
  public:
    explicit Guarded(size_t size) : size_(size), bytes_(size + guard_size, filling)
    {
    }
    char *data()
    {
        return bytes_.data();
    }
    void put(const std::string &text)
    {
        memcpy(bytes_.data(), text.c_str(), text.size() + 1);
    }
    /* Its text; all of it when it has no end. */
    std::string text() const
    {
        return {bytes_.data(), strnlen(bytes_.data(), size_)};
    }
    bool ends() const
    {
        return text().size() < size_;
    }
    bool untouched() const
    {
        return bytes_ == std::vector<char>(bytes_.size(), filling);
    }
    /* Empty when nothing was written behind it. */
    std::string overrun() const
    {
        size_t end = bytes_.size();
        while (end > size_ && bytes_[end - 1] == filling)
            end--;
        return end == size_
                   ? ""
                   : "writes " + std::to_string(end - size_) + " bytes past a buffer of " + std::to_string(size_);
    }

  private:
    static constexpr size_t guard_size = 8192;
    static constexpr char filling = '\x5a';
    size_t size_;
    std::vector<char> bytes_;
};

/* Empty for the text that is there within its bounds. */
std::string defect_of_text(const Guarded &buffer);

/* "FUNCTION answers 3 instead of -1"; empty for equal answers. */
std::string defect_of_answer(const std::string &call, long answer, long expected);

/* Shows a text in a message: in quotes, cut. */
std::string shown(const std::string &text);

/* The first that is not empty. */
std::string first_of(std::initializer_list<std::string> defects);

} // namespace nasdoctor

#endif
