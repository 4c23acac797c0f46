/* Tests that start daemons, mount and kill do so in namespaces of their own: nothing of it reaches the machine. */
#ifndef TESTS_HOST_PRIVATE_WORLD_H
#define TESTS_HOST_PRIVATE_WORLD_H

#include "host/files_and_commands.h"

#include <string>

namespace private_world
{

/* Runs `body` as a process of fresh mount, process, network, host name and IPC namespaces; whatever it leaves running
 * ends with it. Returns its result; says what is missing, and fails, when there are no namespaces. */
int run(int (*body)());

/* Can block devices be attached and mounted here? Says why not. */
bool can_mount(std::string &reason);

/* The folder of this run, a tmpfs; the host's settings (in NAS_HOST_CONF) point there. */
const std::string &folder();

/* Replaces the settings by those of the run and these further lines. */
void use_settings(const std::string &lines = "");

using host_test::contents;
using host_test::put_contents;

/* The output of a shell command, standard error included. */
std::string output_of(const std::string &command, int *status = nullptr);

} // namespace private_world

#endif
