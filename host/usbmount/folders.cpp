#include "folders.h"

#include "files.h"
#include "folder_name.h"
#include "mounting.h"
#include "settings.h"
#include "text.h"

#include <dirent.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace usbmount
{
namespace
{

constexpr size_t known_volumes_limit = 64;
constexpr size_t file_limit = 64UL * 1024;

std::string path_of(const std::string &name)
{
    return std::string(mount_folder) + "/" + name;
}

std::vector<std::string> entries_of(const std::string &folder)
{
    std::vector<std::string> names;
    std::unique_ptr<DIR, int (*)(DIR *)> directory(opendir(folder.c_str()), closedir);
    while (const dirent *entry = directory ? readdir(directory.get()) : nullptr) {
        if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    return names;
}

/* An empty folder where nothing is mounted is one that was left behind: removing it tells all of that at once. */
bool is_taken(const std::string &name)
{
    for (const std::string &entry : entries_of(mount_folder)) {
        if (is_same_name(entry, name) && rmdir(path_of(entry).c_str()) != 0)
            return true;
    }
    return false;
}

/* A UUID is whatever the disk says; as a word of the file it must be one word. */
std::string word_of(const std::string &uuid)
{
    constexpr size_t longest = 64;
    std::string word;
    for (char c : uuid) {
        const bool plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-';
        if (plain && word.size() < longest)
            word += c;
    }
    return word;
}

/* The label's own word in the file; a volume without one has a word, too. */
std::string label_word(const std::string &label)
{
    const std::string name = reduced_label(label);
    return name.empty() ? "-" : name;
}

bool is_of(const std::vector<std::string> &words, const std::string &uuid)
{
    return words.size() >= 2 && !uuid.empty() && words[0] == uuid;
}

std::string records_folder()
{
    return nashost::setting("run_dir") + "/volumes";
}

} // namespace

std::string known_folder(const std::string &text, const FileSystem &volume)
{
    for (const std::string &line : nashost::split(text, '\n')) {
        const std::vector<std::string> words = nashost::split(line, ' ');
        if (!is_of(words, word_of(volume.uuid)) || (words.size() > 2 && words[2] != label_word(volume.label)))
            continue;
        return reduced_label(words[1]) == words[1] ? words[1] : "";
    }
    return {};
}

std::string with_folder(const std::string &text, const FileSystem &volume, const std::string &folder)
{
    const std::string word = word_of(volume.uuid);
    if (word.empty())
        return text;
    std::vector<std::string> lines = nashost::split(text, '\n');
    std::erase_if(lines,
                  [&](const std::string &line) { return line.empty() || is_of(nashost::split(line, ' '), word); });
    lines.push_back(word + " " + folder + " " + label_word(volume.label));
    std::string result;
    for (size_t i = lines.size() - std::min(lines.size(), known_volumes_limit); i < lines.size(); i++)
        result += lines[i] + "\n";
    return result;
}

std::string make_folder(const FileSystem &volume)
{
    const std::string known =
        known_folder(nashost::read_text(nashost::setting("volume_folders"), file_limit).value_or(""), volume);
    const std::string wanted = known.empty() || is_taken(known) ? reduced_label(volume.label) : known;
    std::string path = path_of(free_folder_name(wanted, is_taken));
    nashost::make_parent_folders(path);
    if (mkdir(path.c_str(), 0755) == 0)
        return path;
    syslog(LOG_ERR, "%s: %s", path.c_str(), strerror(errno));
    return {};
}

void remember_folder(const std::string &volume_name, const FileSystem &volume, const std::string &folder)
{
    const std::string name = folder.substr(folder.rfind('/') + 1);
    const std::string record = records_folder() + "/" + volume_name;
    nashost::make_parent_folders(record);
    nashost::replace_file(record, name);

    const std::string file = nashost::setting("volume_folders");
    const std::string text = nashost::read_text(file, file_limit).value_or("");
    if (!known_folder(text, volume).empty())
        return; // also where another one has its folder now: it shall have it again. The file may be flash
    nashost::make_parent_folders(file);
    if (!nashost::replace_file(file, with_folder(text, volume, name)))
        syslog(LOG_WARNING, "%s cannot be written: the volume's folder may be another one next time", file.c_str());
}

void remove_folder(const std::string &folder)
{
    const size_t parent = strlen(mount_folder);
    if (folder.compare(0, parent + 1, path_of("")) != 0 || folder.find('/', parent + 1) != std::string::npos)
        return;
    if (rmdir(folder.c_str()) != 0 && errno != ENOENT)
        syslog(LOG_WARNING, "%s stays: %s", folder.c_str(), strerror(errno));
}

void remove_left_folders(const std::string &name)
{
    for (const std::string &volume : entries_of(records_folder())) {
        if (volume != name && !(name.size() == 3 && volume.compare(0, name.size(), name) == 0))
            continue;
        const std::string record = records_folder() + "/" + volume;
        const std::string folder = nashost::read_text(record, file_limit).value_or("");
        unlink(record.c_str());
        if (!folder.empty() && reduced_label(folder) == folder)
            rmdir(path_of(folder).c_str()); // another volume may be mounted there by now, and stays
    }
}

} // namespace usbmount
