/* What the host's tests share: one temporary folder that the host's settings point into. */
#ifndef TESTS_HOST_FIXTURE_H
#define TESTS_HOST_FIXTURE_H

#include "files_and_commands.h"

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>

namespace host_test
{

/* The folder of this run; it ends with the run. */
const std::string &folder();

/* Replaces the host's settings by those that point into the folder, and these further lines. */
void use_settings(const std::string &lines = "");

/* Runs `body` in a child process; true when it returned true. */
bool in_child(const std::function<bool()> &body);

/* The child's pid; it leaves with 0 when `body` returns true, else with 1. */
pid_t start_child(const std::function<bool()> &body);
bool child_succeeded(pid_t child);

/* Waits until it holds, for a minute at most; whether it does. */
bool wait_until(const std::function<bool()> &condition);

/* What the platform's headers declare; the character set converter is no part of the host. */
std::set<std::string> declared_operations();

/* Runs nasctl as a user does, with `input` as its standard input; its standard output and standard error together. How
 * it ended is in `exit_status`. */
std::string nasctl(const std::string &arguments, const std::string &input = "");
extern int exit_status;

/* A record of the configuration store; "absent" for none. */
std::string stored(const std::string &key);

} // namespace host_test

#endif
