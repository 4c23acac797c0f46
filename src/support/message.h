// Ids of the events that the user sees; their texts live in the host's language files.
#ifndef NAS_SUPPORT_MESSAGE_H
#define NAS_SUPPORT_MESSAGE_H

#include "platform/request.h"

namespace nas
{

inline constexpr char event_disk_not_mounted[] = "@{105}";
inline constexpr char event_started[] = "@{106}";
inline constexpr char event_stopped[] = "@{107}";

inline constexpr char source_cloud_backup[] = "@{97}";
inline constexpr char source_cloud_sync[] = "@{138}";
inline constexpr char source_ftp[] = "@{98}";
inline constexpr char source_media[] = "@{100}";
inline constexpr char source_samba[] = "@{102}";
inline constexpr char source_torrent[] = "@{103}";
inline constexpr char source_web[] = "@{104}";

inline void log_event(const char *event, const char *source)
{
    syslog_msg(1, event, source);
}

} // namespace nas

#endif
