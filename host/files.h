/* Small helpers for files. Every descriptor is closed on exec: a daemon started later inherits none. */
#ifndef NASHOST_FILES_H
#define NASHOST_FILES_H

#include <optional>
#include <string>
#include <string_view>

namespace nashost
{

/* Creates the folders above the last "/" of `path`, mode 0755. */
void make_parent_folders(const std::string &path);

/* Writes all of `text`; false when the file system refuses. */
bool write_all(int fd, std::string_view text);

/* At most `limit` bytes of the file. */
std::optional<std::string> read_text(const std::string &path, size_t limit);

/* Puts a new file in the old one's place: a reader sees the old text or the new one, never half of one. */
bool replace_file(const std::string &path, std::string_view text);

} // namespace nashost

#endif
