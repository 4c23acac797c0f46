// Stands between the library and everything that it calls: its table of imported functions is rewritten, so that each
// call is seen, counted when it is one that can fail, and failed on request. What the library holds of memory, streams
// and folders is known at any time.
#ifndef NAS_TESTS_CALLS_H
#define NAS_TESTS_CALLS_H

#include <span>
#include <string>
#include <vector>

namespace nas_torture
{

// Rewrites the table; names what the library imports and faults.cpp does not know how to fail.
std::vector<std::string> stand_in_front();

enum class Fault {
    none,
    once,   // the n-th call fails
    onward, // the n-th and all later ones fail
    killed, // instead of the n-th call the process ends by SIGKILL
};

// What a process that is to be killed does before.
void set_last_act(void (*act)());

// From now on the library's calls are counted from 1. The name of the one that fails first is written to `failed` at
// once.
void arm(Fault fault, int call, std::span<char> failed);

struct Outcome {
    int calls;     // since arm
    bool answered; // the call that failed first gave an answer that the host might give as well, such as "absent"
};

// Counts and fails no longer.
Outcome disarm();

// What the library has taken and not given back, in words; empty when there is nothing.
std::string held();
void forget_held();

} // namespace nas_torture

#endif
