// Generated configuration files.
#ifndef NAS_SUPPORT_CONF_FILE_H
#define NAS_SUPPORT_CONF_FILE_H

#include "support/text.h"

#include <sys/types.h>

namespace nas
{

// Replaces the file and gives it `mode`. False when it cannot be opened; it is then as it was. Says on standard error
// when memory or the file system ended before the text.
bool write_conf_file(const char *path, const TextBuffer &text, mode_t mode);

} // namespace nas

#endif
