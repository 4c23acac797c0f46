// What is killed: setters, which write records, and callbacks, which write files and run programs.
#ifndef NAS_TESTS_KILL_ACTIONS_H
#define NAS_TESTS_KILL_ACTIONS_H

#include <ostream>

namespace kill_test
{

// What is there before: five FTP users (one of them of old), two of Samba, one of each other service, a disk with
// folders, all services switched on.
void prepare();

struct Action {
    const char *name;
    void (*act)();
    bool is_setter;
};

extern const Action *const actions;
extern const int action_count;

inline std::ostream &operator<<(std::ostream &out, const Action &action)
{
    return out << action.name;
}

} // namespace kill_test

#endif
