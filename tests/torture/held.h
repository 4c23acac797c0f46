// What the library holds: memory, streams, folders and process lists, each from the call that gave it to the one that
// takes it back.
#ifndef NAS_TESTS_HELD_H
#define NAS_TESTS_HELD_H

#include <cstdint>
#include <string>

namespace nas_torture
{

using Address = std::uintptr_t; // 0 stands for nothing

void hold(const char *what, Address thing);
void give_back(Address thing);

std::string held();
void forget_held();

} // namespace nas_torture

#endif
