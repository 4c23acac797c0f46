/* What the host's tests share: one temporary folder that the host's settings point into. */
#ifndef TESTS_HOST_FIXTURE_H
#define TESTS_HOST_FIXTURE_H

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

std::string contents(const std::string &path);
void put_contents(const std::string &path, const std::string &text);

/* Runs `body` in a child process; true when it returned true. */
bool in_child(const std::function<bool()> &body);

/* The child's pid; it leaves with 0 when `body` returns true, else with 1. */
pid_t start_child(const std::function<bool()> &body);
bool child_succeeded(pid_t child);

/* Waits until it holds, for a minute at most; whether it does. */
bool wait_until(const std::function<bool()> &condition);

/* What the platform's headers declare; the character set converter is no part of the host. */
std::set<std::string> declared_operations();

/* The output of a shell command. */
std::string output_of(const std::string &command, int *status = nullptr);

} // namespace host_test

#endif
