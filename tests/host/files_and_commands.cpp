#include "files_and_commands.h"

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace host_test
{

std::string contents(const std::string &path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

void put_contents(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::trunc) << text;
}

std::string output_of(const std::string &command, int *status)
{
    std::string output;
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return output;
    char part[4096];
    for (size_t got; (got = fread(part, 1, sizeof part, pipe)) > 0;)
        output.append(part, got);
    int result = pclose(pipe);
    if (status != nullptr)
        *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    return output;
}

} // namespace host_test
