// The shell behind the library's commands: the real one, or none where a test only reads files.
#ifndef NAS_TESTS_HOSTILE_SHELL_H
#define NAS_TESTS_HOSTILE_SHELL_H

namespace hostile
{

void use_shell(bool real);

} // namespace hostile

#endif
