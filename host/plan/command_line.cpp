#include "plan/command_line.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace nasplan
{
namespace
{

/* Reads a line as a shell does, but expands nothing. */
struct Reader {
    std::vector<std::vector<std::string>> commands = {{}};
    std::string word;
    bool in_word = false;
    bool redirected = false; /* the word names a file */

    void end_word()
    {
        if (in_word && !redirected)
            commands.back().push_back(word);
        if (in_word)
            redirected = false;
        word.clear();
        in_word = false;
    }

    void end_command()
    {
        end_word();
        redirected = false;
        if (!commands.back().empty())
            commands.emplace_back();
    }

    void add(char c)
    {
        word += c;
        in_word = true;
    }
};

/* The text between the quote at `at` and its end; `at` is left there. */
std::string quoted_text(const std::string &line, size_t &at)
{
    const char quote = line[at];
    std::string text;
    for (at++; at < line.size() && line[at] != quote; at++) {
        if (quote == '"' && line[at] == '\\' && at + 1 < line.size())
            at++;
        text += line[at];
    }
    return text;
}

/* "2>", ">>", "<", ">&1" */
void read_redirection(Reader &reader, const std::string &line, size_t &at)
{
    if (reader.word.find_first_not_of("0123456789") == std::string::npos) {
        reader.word.clear();
        reader.in_word = false;
    }
    reader.end_word();
    reader.redirected = true;
    while (at + 1 < line.size() && (line[at + 1] == '>' || line[at + 1] == '&'))
        at++;
}

void read_character(Reader &reader, const std::string &line, size_t &at)
{
    const char c = line[at];
    if (c == '\'' || c == '"') {
        reader.word += quoted_text(line, at);
        reader.in_word = true;
    } else if (c == '\\' && at + 1 < line.size()) {
        reader.add(line[++at]);
    } else if (c == ' ' || c == '\t') {
        reader.end_word();
    } else if (c == '>' || c == '<') {
        read_redirection(reader, line, at);
    } else if (c == ';' || c == '|' || c == '&' || c == '\n') {
        reader.end_command();
    } else {
        reader.add(c);
    }
}

bool expands_commands(const std::string &line)
{
    return line.find('`') != std::string::npos || line.find("$(") != std::string::npos;
}

/* "chmod -R": each of what may be many thousand files would be changed. */
bool changes_a_tree(const std::vector<std::string> &words)
{
    const std::string program = program_name(words.front());
    auto is_recursive = [](const std::string &word) {
        return word.starts_with("-") && word.find('R') != std::string::npos;
    };
    return (program == "chmod" || program == "chown") && std::any_of(words.begin(), words.end(), is_recursive);
}

} // namespace

std::vector<std::vector<std::string>> simple_commands(const std::string &line)
{
    Reader reader;
    for (size_t at = 0; at < line.size(); at++)
        read_character(reader, line, at);
    reader.end_command();
    reader.commands.pop_back();
    return reader.commands;
}

std::string program_name(const std::string &word)
{
    return word.substr(word.rfind('/') + 1);
}

CommandKind kind_of(const std::string &line)
{
    static const std::set<std::string> harmless = {
        "[",     "basename", "cat",  "chmod", "chown", "cp",    "cut", "dirname", "echo",   "find",     "grep",
        "head",  "htdigest", "ln",   "ls",    "mkdir", "mknod", "mv",  "pidof",   "printf", "readlink", "rm",
        "rmdir", "sed",      "sort", "tail",  "test",  "touch", "tr",  "true",    "false",  "uniq",     "wc"};
    const std::vector<std::vector<std::string>> commands = simple_commands(line);
    auto is_harmless = [](const std::vector<std::string> &words) {
        return harmless.contains(program_name(words.front())) && !changes_a_tree(words);
    };
    if (!commands.empty() && !expands_commands(line) && std::all_of(commands.begin(), commands.end(), is_harmless))
        return CommandKind::performed;
    const std::string first = commands.size() == 1 ? program_name(commands.front().front()) : "";
    return first == "killall" || first == "kill" ? CommandKind::kill : CommandKind::assumed;
}

} // namespace nasplan
