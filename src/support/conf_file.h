// Generated configuration files.
#ifndef NAS_SUPPORT_CONF_FILE_H
#define NAS_SUPPORT_CONF_FILE_H

#include "support/text.h"

#include <sys/types.h>

namespace nas
{

// Replaces a file's text; a new file has the mode that the umask leaves. False when it cannot be opened; it is then as
// it was. Says on standard error when the file system ended before the text.
bool write_text(const char *path, std::string_view text);

// The same for a whole configuration file, which is given `mode`. Says on standard error when memory ended before the
// text.
bool write_conf_file(const char *path, const TextBuffer &text, mode_t mode);

} // namespace nas

#endif
