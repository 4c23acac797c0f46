// What is counted of a program that runs under callgrind.
#ifndef NAS_BENCH_MEASURED_H
#define NAS_BENCH_MEASURED_H

// Callgrind collects from its entry to its return (--toggle-collect) and at no other time.
extern "C" void nas_bench_measured(void (*function)(void *), void *context);

namespace nas_bench
{

template <class Function>
void measure(Function &&function)
{
    nas_bench_measured([](void *context) { (*static_cast<Function *>(context))(); }, &function);
}

} // namespace nas_bench

#endif
