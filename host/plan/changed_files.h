/* What a run in the private world has left different from the real one. */
#ifndef NASPLAN_CHANGED_FILES_H
#define NASPLAN_CHANGED_FILES_H

#include <string>
#include <vector>

namespace nasplan
{

enum class Change { made, changed, written_alike, removed };

struct FileState {
    char kind = '\0'; /* 'f' file, 'd' folder, 'l' link, 'o' other, none: not there */
    unsigned mode = 0;
    std::string text; /* a file's content, a link's target */
};

struct ChangedFile {
    std::string path;
    FileState before, after;

    Change change() const;
};

/* Every file, folder and link that was made, written, given other rights or removed, by path. */
std::vector<ChangedFile> changed_files();

} // namespace nasplan

#endif
