#include "event_log.h"

#include "files.h"
#include "settings.h"
#include "text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <istream>
#include <sstream>

namespace nashost
{
namespace
{

constexpr size_t text_limit = 512;

std::string old_log(const std::string &path)
{
    return path + ".1";
}

std::string present_time()
{
    time_t now = time(nullptr);
    struct tm utc;
    char text[32] = "";
    if (gmtime_r(&now, &utc) != nullptr)
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

/* One event is one line of fields between tabs, whatever the texts hold. */
std::string field(const std::string &text)
{
    std::string clean = text.substr(0, text_limit);
    for (char &c : clean) {
        if (is_control(c))
            c = ' ';
    }
    return clean;
}

std::string log_line(const Event &event)
{
    return present_time() + "\t" + std::to_string(event.level) + "\t" + field(event.id) + "\t" + field(event.detail) +
           "\t" + field(event.text) + "\n";
}

void make_room(const std::string &path, size_t needed)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return;
    off_t limit = setting_number("event_log_size");
    if (status.st_size + static_cast<off_t>(needed) > limit)
        rename(path.c_str(), old_log(path).c_str());
}

bool append_line(const std::string &path, const std::string &line)
{
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    bool written = write_all(fd, line);
    return close(fd) == 0 && written;
}

void read_events(std::istream &&file, std::vector<Event> &events)
{
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> parts = split(line, '\t');
        if (parts.size() == 5)
            events.push_back({parts[0], decimal_value(parts[1].c_str()), parts[2], parts[3], parts[4]});
    }
}

struct stat state_of(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        status = {};
    return status;
}

/* The file's lines behind `place`, which moves behind them; all of them when `place` is in another file. A line that is
 * just being written comes the next time. */
std::string lines_behind(const std::string &path, LogPlace &place)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0)
        status = {};
    if (status.st_ino != place.file)
        place = {status.st_ino, 0};
    std::string lines(static_cast<size_t>(std::max<off_t>(status.st_size - place.position, 0)), '\0');
    const ssize_t length = fd < 0 ? 0 : pread(fd, lines.data(), lines.size(), place.position);
    if (fd >= 0)
        close(fd);
    lines.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
    lines.resize(lines.rfind('\n') + 1);
    place.position += static_cast<off_t>(lines.size());
    return lines;
}

} // namespace

std::string message_text(std::string_view id)
{
    std::ifstream file(setting("language_file"));
    for (std::string line; std::getline(file, line);) {
        size_t tab = line.find('\t');
        if (tab != std::string::npos && std::string_view(line).substr(0, tab) == id)
            return std::string(trimmed(std::string_view(line).substr(tab + 1)));
    }
    return std::string(id);
}

std::string filled_in(const std::string &text, std::string_view value)
{
    size_t place = std::min(text.find("%s"), text.find("%d"));
    if (place == std::string::npos)
        return text + ": " + std::string(value);
    return text.substr(0, place) + std::string(value) + text.substr(place + 2);
}

/* A lock file of its own, because the log itself changes its name. */
bool append_event(const Event &event)
{
    std::string path = setting("event_log");
    make_parent_folders(path);
    int lock = open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lock < 0)
        return false;
    flock(lock, LOCK_EX);
    std::string line = log_line(event);
    make_room(path, line.size());
    bool written = append_line(path, line);
    close(lock);
    return written;
}

LogPlace end_of_log()
{
    const struct stat log = state_of(setting("event_log"));
    return {log.st_ino, log.st_size};
}

/* When the log is another file, the end of the one before is read as well; it has had its last line by then. */
std::vector<Event> next_events(LogPlace &place)
{
    const std::string path = setting("event_log");
    LogPlace before = place;
    std::vector<Event> events;
    const std::string news = lines_behind(path, place);
    if (place.file != before.file && before.file != 0 && state_of(old_log(path)).st_ino == before.file)
        read_events(std::istringstream(lines_behind(old_log(path), before)), events);
    read_events(std::istringstream(news), events);
    return events;
}

std::vector<Event> last_events(size_t limit, LogPlace &place)
{
    place = {state_of(old_log(setting("event_log"))).st_ino, 0};
    std::vector<Event> events = next_events(place);
    if (events.size() > limit)
        events.erase(events.begin(), events.end() - static_cast<std::ptrdiff_t>(limit));
    return events;
}

/* The folder is watched: the log may be a new file. What was written before the watch began is not missed. */
bool wait_for_events(const LogPlace &place)
{
    const std::string path = setting("event_log");
    make_parent_folders(path);
    const int fd = inotify_init1(IN_CLOEXEC);
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    bool waits = fd >= 0 && inotify_add_watch(fd, folder.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) >= 0;
    const LogPlace end = end_of_log();
    char news[4096];
    if (waits && end.file == place.file && end.position == place.position)
        waits = read(fd, news, sizeof news) > 0;
    if (fd >= 0)
        close(fd);
    return waits;
}

} // namespace nashost
