// How much is done: a few seconds' worth, or everything (NAS_KILL_TEST=long).
#ifndef NAS_TESTS_KILL_EFFORT_H
#define NAS_TESTS_KILL_EFFORT_H

namespace kill_test
{

struct Effort {
    int store_kills;     // of eight writers
    int setter_stride;   // every so many system calls a setter is killed
    int callback_stride; // and a callback

    int stride(bool is_setter) const
    {
        return is_setter ? setter_stride : callback_stride;
    }
};

const Effort &effort();

} // namespace kill_test

#endif
