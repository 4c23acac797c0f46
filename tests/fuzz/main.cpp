// Runs a target inside of the sandbox. One sandbox and one process for all inputs: between two it is emptied, and every
// input has a host of its own. What the library prints goes into the recording host's transcript; the report of a crash
// that was caught there is printed by the outer process.
#include "fuzz/fuzz.h"

#include <cstdint>
#include <sys/stat.h>

extern "C" int LLVMFuzzerRunDriver(int *argc, char ***argv, int (*try_one)(const std::uint8_t *data, std::size_t size));

namespace
{

int arguments;
char **argument;

int try_one(const std::uint8_t *data, std::size_t size)
{
    static nas_test::Sandbox sandbox(nas_test::KernelProc::kept);
    sandbox.clear();
    nas_test::RecordingHost host;
    nas_fuzz::World world{sandbox, host};
    nas_fuzz::try_input(nas_fuzz::Input({reinterpret_cast<const char *>(data), size}), world);
    nas_fuzz::require(host.open_process_lists == 0, "every process list is released");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    arguments = argc;
    argument = argv;
    umask(022);
    return nas_test::in_sandbox([] { return LLVMFuzzerRunDriver(&arguments, &argument, try_one); });
}
