#include "counting_memory.h"

#include "support/recording_host.h"

#include <algorithm>
#include <malloc.h>
#include <unordered_map>
#include <utility>

namespace
{

std::unordered_map<void *, std::size_t> *blocks; // there while it is counted
bool own_doing;                                  // of the counter
std::size_t now, highest;

struct OwnDoing {
    OwnDoing()
    {
        own_doing = true;
    }
    ~OwnDoing()
    {
        own_doing = false;
    }
};

void note_allocated(void *block)
{
    if (block == nullptr || blocks == nullptr || own_doing || !nas_test::in_library())
        return;
    const OwnDoing mine;
    const std::size_t size = malloc_usable_size(block) + sizeof(std::size_t);
    (*blocks)[block] = size;
    now += size;
    highest = std::max(highest, now);
}

void note_freed(void *block)
{
    if (block == nullptr || blocks == nullptr || own_doing)
        return;
    const OwnDoing mine;
    const auto found = blocks->find(block);
    if (found == blocks->end())
        return;
    now -= found->second;
    blocks->erase(found);
}

} // namespace

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);

void *malloc(std::size_t size)
{
    void *const block = __libc_malloc(size);
    note_allocated(block);
    return block;
}

void *calloc(std::size_t count, std::size_t size)
{
    void *const block = __libc_calloc(count, size);
    note_allocated(block);
    return block;
}

void *realloc(void *block, std::size_t size)
{
    note_freed(block);
    void *const grown = __libc_realloc(block, size);
    note_allocated(grown == nullptr && size != 0 ? block : grown);
    return grown;
}

void free(void *block)
{
    note_freed(block);
    __libc_free(block);
}
}

namespace nas_bench
{

CountingMemory::CountingMemory()
{
    now = highest = 0;
    blocks = new std::unordered_map<void *, std::size_t>;
}

CountingMemory::~CountingMemory()
{
    delete std::exchange(blocks, nullptr);
}

std::size_t CountingMemory::peak() const
{
    return highest;
}

std::size_t CountingMemory::left() const
{
    return now;
}

} // namespace nas_bench
