// Generated configuration files.
#ifndef NAS_SUPPORT_CONF_FILE_H
#define NAS_SUPPORT_CONF_FILE_H

#include <string_view>
#include <sys/types.h>

namespace nas
{

// Replaces the file and gives it `mode`. False when it cannot be opened; it is then as it was.
bool write_conf_file(const char *path, std::string_view text, mode_t mode);

} // namespace nas

#endif
