// How every function fails that the library imports.
#ifndef NAS_TESTS_FAULTS_H
#define NAS_TESTS_FAULTS_H

namespace nas_torture
{

using Function = void (*)();

struct Import {
    const char *name;
    Function failing; // stands in for a call that fails; null: the call cannot fail
    Function passing; // stands in for one that does not; null: the function itself
    bool answers;     // failing, it gives an answer of its own: "absent", "no"
};

// Null when the name is not known.
const Import *find_import(const char *name);

} // namespace nas_torture

#endif
