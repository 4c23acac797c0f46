/* The entry for text that later stands in configuration files and command lines: what could break one is refused
 * here. Every function returns an empty text when the value is fine, else what is wrong with it. */
#ifndef NASCTL_VALIDATE_H
#define NASCTL_VALIDATE_H

#include <string>

namespace nasctl
{

/* A text field of a comma-separated record. */
std::string problem_with_record_text(const std::string &text, size_t longest);

/* A volume's folder name below /tmp/mnt. */
std::string problem_with_disk(const std::string &disk);

/* A folder inside a volume; the empty text is the volume itself. */
std::string problem_with_folder(const std::string &folder);

/* A folder directly on a volume whose name becomes that of an rsync daemon's module. */
std::string problem_with_module(const std::string &folder, size_t longest);

/* A folder for torrents, which stands in one command line three times. */
std::string problem_with_torrent_folder(const std::string &folder);

/* The package environment's folder: the root of a system of its own. */
std::string problem_with_environment_folder(const std::string &folder);

/* "AUTO", or a character set that iconv knows. */
std::string problem_with_charset(const std::string &charset, size_t longest);

/* A computer's or a workgroup's name on a Windows network. */
std::string problem_with_network_name(const std::string &name);

/* A user's name: it becomes an account's, stands between single quotes in command lines, and in lists with commas. */
std::string problem_with_user_name(const std::string &name);

/* Is it, in whatever spelling, an account of the system's own? To such a one no user may be given, or lost. */
bool is_reserved_name(const std::string &name);

/* A user's password: it stands between double quotes in a command line. The text never shows it. */
std::string problem_with_password(const std::string &password);

/* What a user is restricted to: "", "Disk1" or "Disk1:Film". */
std::string problem_with_restriction(const std::string &folder);

} // namespace nasctl

#endif
