#include "validate.h"

#include "text.h"

#include <iconv.h>
#include <pwd.h>
#include <strings.h>

#include <algorithm>
#include <string_view>

namespace nasctl
{
namespace
{

constexpr size_t longest_disk = 15;
constexpr size_t longest_folder = 511;
constexpr size_t longest_network_name = 15;
constexpr size_t longest_user_name = 31;
constexpr size_t longest_password = 63;
constexpr size_t longest_restriction = 255;

/* The library cuts its command lines at 255 characters; the longest holds the password twice. */
constexpr std::string_view longest_command = "/bin/echo -en \"\\n\\n\" | /usr/bin/passwd '' > /dev/null 2>&1";
static_assert(longest_command.size() + 2 * longest_password + longest_user_name <= 255);

/* A folder's bytes once they are quoted for the shell, and may have become longer in UTF-8. With the longest names the
 * torrent daemon's command line, 1023 characters, then stays whole, and so does the environment's path, 255. */
constexpr size_t longest_path_in_command = 150;

/* Below this number accounts belong to the system. */
constexpr uid_t first_user_account = 1000;

/* What the daemons run as or take for somebody special, whether or not there is such an account now. */
constexpr const char *special_names[] = {"anonymous", "bin",     "daemon", "ftp",  "lp", "mail",
                                         "nobody",    "nogroup", "root",   "sync", "sys"};

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

bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_letter_or_digit(char c)
{
    return is_letter(c) || (c >= '0' && c <= '9');
}

bool is_plain(char c)
{
    return is_letter_or_digit(c) || c == '.' || c == '_' || c == '-';
}

std::string quoted_for_shell(const std::string &text)
{
    std::string quoted;
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted;
}

bool iconv_knows(const std::string &charset)
{
    iconv_t converter = iconv_open("UTF-8", charset.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1)) // NOLINT(performance-no-int-to-ptr): the interface's own word
        return false;
    iconv_close(converter);
    return true;
}

/* The daemon minds neither blanks nor capitals in it. */
bool is_global(std::string name)
{
    std::erase(name, ' ');
    return strcasecmp(name.c_str(), "global") == 0;
}

/* A shell reads some of these between double quotes, a record ends at others. */
bool may_stand_in_password(char c)
{
    constexpr std::string_view refused = ",\"'\\$`%";
    return c > ' ' && c < 0x7f && refused.find(c) == std::string_view::npos;
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

std::string problem_with_module(const std::string &folder, size_t longest)
{
    if (folder.empty())
        return "it is empty";
    if (folder == "." || folder == ".." || folder.find_first_of("/]") != std::string::npos)
        return "it is the name of a folder directly on the disk, without '/' and ']'";
    if (folder.front() == '#' || folder.front() == '-' || folder.back() == '\\')
        return "it must not begin with '#' or '-', nor end in '\\'";
    // The daemon would take these blanks away in the name, and put a variable's value between percent signs.
    if (folder.front() == ' ' || folder.back() == ' ' || folder.find("  ") != std::string::npos)
        return "there must be no blank at either end and no two together";
    if (std::count(folder.begin(), folder.end(), '%') > 1)
        return "more than one percent sign stands in it";
    if (is_global(folder))
        return "the daemon keeps this name for itself";
    std::string problem = problem_with_characters(folder);
    return problem.empty() ? problem_with_length(folder, longest) : problem;
}

std::string problem_with_torrent_folder(const std::string &folder)
{
    std::string problem = problem_with_folder(folder);
    return problem.empty() ? problem_with_length(quoted_for_shell(folder), longest_path_in_command) : problem;
}

std::string problem_with_environment_folder(const std::string &folder)
{
    if (folder.empty() || folder == ".")
        return "it would be the whole disk";
    return problem_with_torrent_folder(folder);
}

std::string problem_with_charset(const std::string &charset, size_t longest)
{
    if (charset == "AUTO" || charset == "UTF-8" || charset == "EUC-KR")
        return {};
    std::string problem = problem_with_length(charset, longest);
    if (!problem.empty())
        return problem;
    // More characters than these can ask iconv for more than a name.
    if (charset.empty() || !std::all_of(charset.begin(), charset.end(), is_plain) || !iconv_knows(charset))
        return "it is none of AUTO, UTF-8, EUC-KR and the names that iconv knows";
    return {};
}

std::string problem_with_network_name(const std::string &name)
{
    auto fits = [](char c) { return is_letter_or_digit(c) || c == '-'; };
    if (name.empty())
        return "it is empty";
    if (name.front() == '-' || !std::all_of(name.begin(), name.end(), fits))
        return "only letters, digits and '-' may stand in it, no '-' at its beginning";
    return problem_with_length(name, longest_network_name);
}

std::string problem_with_user_name(const std::string &name)
{
    if (name.empty())
        return "it is empty";
    if (!is_letter(name.front()) && name.front() != '_')
        return "it must begin with a letter or '_'";
    if (!std::all_of(name.begin(), name.end(), is_plain))
        return "only letters, digits, '.', '_' and '-' may stand in it";
    if (is_reserved_name(name))
        return "it belongs to the system";
    return problem_with_length(name, longest_user_name);
}

bool is_reserved_name(const std::string &name)
{
    // Samba looks for the spelling in small letters first.
    for (const char *special : special_names) {
        if (strcasecmp(special, name.c_str()) == 0)
            return true;
    }
    bool found = false;
    setpwent();
    for (const passwd *account; !found && (account = getpwent()) != nullptr;)
        found = account->pw_uid < first_user_account && strcasecmp(account->pw_name, name.c_str()) == 0;
    endpwent();
    return found;
}

std::string problem_with_password(const std::string &password)
{
    if (password.empty())
        return "it is empty";
    if (password.size() > longest_password)
        return "it is longer than " + std::to_string(longest_password) + " characters";
    if (!std::all_of(password.begin(), password.end(), may_stand_in_password))
        return "only printable ASCII characters may stand in it, no blank and none of , \" ' \\ $ ` %";
    return {};
}

std::string problem_with_restriction(const std::string &folder)
{
    if (folder.empty())
        return {};
    size_t colon = folder.find(':');
    std::string problem = problem_with_disk(folder.substr(0, colon));
    if (!problem.empty())
        return "its disk: " + problem;
    if (colon == std::string::npos)
        return {};
    std::string subfolder = folder.substr(colon + 1);
    if (subfolder.empty() || subfolder == "." || subfolder == "..")
        return "behind the colon stands no folder";
    if (subfolder.find_first_of(":,/") != std::string::npos)
        return "the folder behind the colon is one directly on the disk, without ':', ',' and '/'";
    problem = problem_with_characters(subfolder);
    return problem.empty() ? problem_with_length(folder, longest_restriction) : problem;
}

} // namespace nasctl
