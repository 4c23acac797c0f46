#include "validate.h"

#include "text.h"

#include <algorithm>

namespace nasctl
{
namespace
{

constexpr size_t longest_disk = 15;
constexpr size_t longest_folder = 511;

std::string problem_with_length(const std::string &text, size_t longest)
{
    if (text.size() <= longest)
        return {};
    return "it is longer than " + std::to_string(longest) + " bytes";
}

std::string problem_with_characters(const std::string &text)
{
    return std::any_of(text.begin(), text.end(), nashost::is_control) ? "it holds a control character" : "";
}

bool is_plain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
           c == '-';
}

} // namespace

std::string problem_with_record_text(const std::string &text, size_t longest)
{
    if (text.empty())
        return "it is empty";
    if (text.find(',') != std::string::npos)
        return "it holds a comma";
    std::string problem = problem_with_characters(text);
    return problem.empty() ? problem_with_length(text, longest) : problem;
}

std::string problem_with_disk(const std::string &disk)
{
    if (disk.empty())
        return "it is empty";
    if (disk == "." || disk == ".." || !std::all_of(disk.begin(), disk.end(), is_plain))
        return "only letters, digits, '.', '_' and '-' may stand in it";
    return problem_with_length(disk, longest_disk);
}

std::string problem_with_folder(const std::string &folder)
{
    if (!folder.empty() && folder.front() == '/')
        return "it must be relative to the disk, without a leading '/'";
    for (const std::string &part : nashost::split(folder, '/')) {
        if (part == "..")
            return "it must not lead out of the disk with '..'";
    }
    std::string problem = problem_with_characters(folder);
    return problem.empty() ? problem_with_length(folder, longest_folder) : problem;
}

} // namespace nasctl
