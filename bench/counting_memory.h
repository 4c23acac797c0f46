// Counts the memory that the library allocates; what the host allocates is not counted.
#ifndef NAS_BENCH_COUNTING_MEMORY_H
#define NAS_BENCH_COUNTING_MEMORY_H

#include <cstddef>

namespace nas_bench
{

// While it lives it counts whole blocks of the heap, each with what the allocator keeps beside it. A block that grows
// counts as one block, the larger one: large ones are moved without being copied.
class CountingMemory
{
  public:
    CountingMemory();
    ~CountingMemory();
    CountingMemory(const CountingMemory &) = delete;
    CountingMemory &operator=(const CountingMemory &) = delete;

    std::size_t peak() const;
    std::size_t left() const; // not given back
};

} // namespace nas_bench

#endif
