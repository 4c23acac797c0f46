/* The part of platform/process.h about texts and small files. */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "files.h"
#include "platform/process.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace nasdoctor
{
namespace
{

constexpr size_t file_limit = 65536;

/* What a shell makes of the text between single quotes; "-" before it, so that nothing is taken for an option. */
std::string through_shell(const std::string &quoted)
{
    std::string output;
    FILE *pipe = popen(("printf '%s' '-" + quoted + "' 2>&1").c_str(), "r");
    char part[4096];
    for (size_t got; pipe != nullptr && (got = fread(part, 1, sizeof part, pipe)) > 0;)
        output.append(part, got);
    const int status = pipe != nullptr ? pclose(pipe) : -1;
    return status == 0 && !output.empty() ? output.substr(1) : "the shell refuses it";
}

std::string quoting()
{
    for (const std::string text : {"Film", "it's", "'", "''''", "a'b\"c\\d$HOME`id`;e|f&g\n(h)*", "\\'",
                                   "K\xc3\xbc"
                                   "che"}) {
        Guarded buffer(256);
        buffer.put(text);
        if (EXAMINED(quote_r)(buffer.data(), 256) != buffer.data())
            return "does not return its text";
        if (std::string defect = defect_of_text(buffer); !defect.empty())
            return defect;
        if (const std::string seen = through_shell(buffer.text()); seen != text)
            return shown(text) + " becomes " + shown(seen) + " in a shell";
    }
    return "";
}

std::string quoting_within_bounds()
{
    const std::string text = "'a''b'c''''d'";
    for (int capacity = 1; capacity <= 64; capacity++) {
        Guarded buffer(static_cast<size_t>(capacity));
        buffer.put(text.substr(0, static_cast<size_t>(capacity) - 1));
        EXAMINED(quote_r)(buffer.data(), capacity);
        std::string defect = defect_of_text(buffer), seen = through_shell(buffer.text());
        const std::string where = " (capacity " + std::to_string(capacity) + ")";
        if (!defect.empty())
            return defect + where;
        if (text.compare(0, seen.size(), seen) != 0)
            return "is cut in the middle of an escape" + where;
    }
    return "";
}

std::string bounded_copy()
{
    for (const size_t size : {1UL, 2UL, 5UL, 6UL, 7UL}) {
        Guarded buffer(size);
        char *const answer = EXAMINED(sf_strncpy)(buffer.data(), "Disk1", static_cast<int>(size));
        std::string defect = defect_of_text(buffer), expected = std::string("Disk1").substr(0, size - 1);
        if (!defect.empty())
            return defect;
        if (answer != buffer.data())
            return "does not return its destination";
        if (buffer.text() != expected)
            return "copies " + shown(buffer.text()) + " instead of " + shown(expected);
    }
    return "";
}

/* A folder of the check's own, removed at its end. */
struct Folder {
    Folder()
    {
        char name[] = "/tmp/nas-doctor.XXXXXX";
        path = mkdtemp(name) != nullptr ? name : "/tmp";
    }
    ~Folder()
    {
        unlink(file().c_str());
        rmdir(path.c_str());
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    std::string file() const
    {
        return path + "/file";
    }
    std::string path;
};

std::string writing()
{
    const Folder folder;
    for (const std::string text : {"a long first text\n", "short", ""}) {
        const int answer = EXAMINED(write_file)(folder.file().c_str(), text.c_str());
        const std::string found = nashost::read_text(folder.file(), file_limit).value_or("no file");
        if (answer != 0)
            return defect_of_answer("write_file", answer, 0);
        if (found != text)
            return shown(text) + " was written, " + shown(found) + " is in the file";
    }
    const int answer = EXAMINED(write_file)((folder.path + "/none/file").c_str(), "text");
    return defect_of_answer("write_file in a folder that is not there", answer, -1);
}

std::string reading()
{
    const Folder folder;
    nashost::replace_file(folder.file(), "line one\n");
    Guarded whole(64), part(5);
    if (EXAMINED(get_file_string)(folder.file().c_str(), whole.data(), 64) == 0)
        return "answers 0 for a file that is there";
    if (whole.text() != "line one")
        return "reads " + shown(whole.text()) + " instead of \"line one\", without the trailing newline";
    EXAMINED(get_file_string)(folder.file().c_str(), part.data(), 5);
    if (std::string defect = defect_of_text(part); !defect.empty())
        return defect;
    if (part.text() != "line")
        return "reads " + shown(part.text()) + " into five bytes instead of \"line\"";
    return defect_of_answer("get_file_string of no file",
                            EXAMINED(get_file_string)((folder.path + "/none").c_str(), whole.data(), 64), 0);
}

std::string file_numbers()
{
    const Folder folder;
    for (const int number : {12, -3, 0}) {
        nashost::replace_file(folder.file(), std::to_string(number) + "\n");
        const int answer = EXAMINED(get_file_value)(folder.file().c_str(), 1);
        if (answer != number)
            return defect_of_answer("get_file_value", answer, number);
    }
    return defect_of_answer("get_file_value of no file", EXAMINED(get_file_value)((folder.path + "/none").c_str(), 1),
                            0);
}

std::string existence()
{
    const Folder folder;
    if (EXAMINED(file_exists)(folder.path.c_str()) == 0)
        return "answers 0 for a folder that is there";
    return defect_of_answer("file_exists of no file", EXAMINED(file_exists)(folder.file().c_str()), 0);
}

} // namespace

std::vector<Check> text_checks()
{
    return {{"quote_r", "a text between single quotes is one word, unchanged", Needs::nothing, quoting},
            {"quote_r", "never writes past its capacity, cuts no escape", Needs::nothing, quoting_within_bounds},
            {"sf_strncpy", "copies size - 1 characters and ends the text", Needs::nothing, bounded_copy},
            {"write_file", "replaces the file's content", Needs::nothing, writing},
            {"get_file_string", "reads size - 1 bytes without a trailing newline", Needs::nothing, reading},
            {"get_file_value", "reads a decimal number; 0 for no file", Needs::nothing, file_numbers},
            {"file_exists", "tells what is there", Needs::nothing, existence}};
}

} // namespace nasdoctor
