/* What both programs of tests share. */
#ifndef TESTS_HOST_FILES_AND_COMMANDS_H
#define TESTS_HOST_FILES_AND_COMMANDS_H

#include <string>

namespace host_test
{

std::string contents(const std::string &path);
void put_contents(const std::string &path, const std::string &text);

/* The output of a shell command. */
std::string output_of(const std::string &command, int *status = nullptr);

} // namespace host_test

#endif
