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

} // namespace nasctl

#endif
