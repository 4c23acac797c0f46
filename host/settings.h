/* The host's own settings: /etc/nas-host.conf, lines "key = value". Every key has a default; the file
 * that NAS_HOST_CONF names is read instead when that variable is set. */
#ifndef NASHOST_SETTINGS_H
#define NASHOST_SETTINGS_H

#include <string>
#include <string_view>

namespace nashost
{

/* The value in the file, else the key's default, else the empty text. A changed file is read anew. */
std::string setting(std::string_view key);

/* The same as a decimal integer; 0 for the empty text. */
int setting_number(std::string_view key);

} // namespace nashost

#endif
