#include "plan/changed_files.h"

#include "plan/private_world.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>

namespace nasplan
{
namespace
{

struct Descriptor {
    explicit Descriptor(int opened) : fd(opened)
    {
    }
    ~Descriptor()
    {
        if (fd >= 0)
            close(fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int fd;
};

std::string whole_text(int folder, const std::string &path)
{
    const Descriptor file(openat(folder, path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::string text;
    char part[4096];
    for (ssize_t got; file.fd >= 0 && (got = read(file.fd, part, sizeof part)) > 0;)
        text.append(part, static_cast<size_t>(got));
    return text;
}

std::string link_target(int folder, const std::string &path)
{
    std::string target(4096, '\0');
    const ssize_t length = readlinkat(folder, path.c_str(), target.data(), target.size());
    target.resize(length < 0 ? 0 : static_cast<size_t>(length));
    return target;
}

FileState state_of(int folder, const std::string &path)
{
    FileState state;
    struct stat facts;
    if (fstatat(folder, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) != 0)
        return state;
    state.mode = facts.st_mode & 07777;
    state.kind = S_ISREG(facts.st_mode) ? 'f' : S_ISDIR(facts.st_mode) ? 'd' : S_ISLNK(facts.st_mode) ? 'l' : 'o';
    if (state.kind == 'f')
        state.text = whole_text(folder, path);
    else if (state.kind == 'l')
        state.text = link_target(folder, path);
    return state;
}

/* By its whole path: what is mounted in the private world hides some of it there. */
FileState real_state_of(const std::string &path)
{
    const RealWorld there;
    return state_of(AT_FDCWD, path);
}

std::set<std::string> names_in(int folder, const std::string &path)
{
    std::set<std::string> names;
    const int fd = openat(folder, path.empty() ? "." : path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(fd < 0 ? nullptr : fdopendir(fd), closedir);
    while (const dirent *entry = directory ? readdir(directory.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.insert(name);
    }
    return names;
}

std::set<std::string> real_names_in(const std::string &path)
{
    const RealWorld there;
    return names_in(AT_FDCWD, path);
}

std::string inside(const std::string &folder, const std::string &name)
{
    return folder.empty() || folder == "/" ? folder + name : folder + "/" + name;
}

bool is_whiteout(int folder, const std::string &path)
{
    struct stat facts;
    return fstatat(folder, path.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISCHR(facts.st_mode) &&
           facts.st_rdev == 0;
}

/* A folder of the layer that hides what lies below it. */
bool hides_what_was_there(int folder, const std::string &path)
{
    const Descriptor opened(openat(folder, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    char value = '\0';
    return opened.fd >= 0 && fgetxattr(opened.fd, "trusted.overlay.opaque", &value, 1) == 1 && value == 'y';
}

class Collector
{
  public:
    Collector(const Layer &layer, std::map<std::string, ChangedFile> &all) : layer_(layer), all_(all)
    {
    }

    void look_below(const std::string &folder)
    {
        std::set<std::string> names = names_in(layer_.changes, folder);
        if (!folder.empty() && hides_what_was_there(layer_.changes, folder))
            names.merge(real_names_in(inside(layer_.path, folder)));
        for (const std::string &name : names)
            look_at(inside(folder, name));
    }

  private:
    void look_at(const std::string &path)
    {
        const std::string full_path = inside(layer_.path, path);
        ChangedFile file = {full_path, real_state_of(full_path), {}};
        if (!is_whiteout(layer_.changes, path))
            file.after = state_of(layer_.changes, path);
        const bool folder_as_before = file.change() == Change::written_alike && file.after.kind == 'd';
        if (!folder_as_before && (file.before.kind != '\0' || file.after.kind != '\0'))
            all_.emplace(file.path, file);
        if (file.after.kind == 'd')
            look_below(path);
        else if (file.before.kind == 'd')
            look_at_lost(full_path);
    }

    void look_at_lost(const std::string &folder)
    {
        for (const std::string &name : real_names_in(folder)) {
            const ChangedFile file = {inside(folder, name), real_state_of(inside(folder, name)), {}};
            all_.emplace(file.path, file);
            if (file.before.kind == 'd')
                look_at_lost(file.path);
        }
    }

    const Layer &layer_;
    std::map<std::string, ChangedFile> &all_;
};

} // namespace

Change ChangedFile::change() const
{
    if (before.kind == '\0')
        return Change::made;
    if (after.kind == '\0')
        return Change::removed;
    const bool alike = before.kind == after.kind && before.mode == after.mode && before.text == after.text;
    return alike ? Change::written_alike : Change::changed;
}

std::vector<ChangedFile> changed_files()
{
    std::map<std::string, ChangedFile> all;
    for (const Layer &layer : layers())
        Collector(layer, all).look_below("");
    std::vector<ChangedFile> files;
    files.reserve(all.size());
    for (auto &[path, file] : all)
        files.push_back(std::move(file));
    return files;
}

} // namespace nasplan
