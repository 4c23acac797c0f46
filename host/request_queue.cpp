#include "request_queue.h"

#include "settings.h"
#include "text.h"

#include <algorithm>

namespace nashost
{
namespace
{

constexpr size_t request_limit = 1023;
constexpr size_t queue_limit = 256; // different requests

bool contains(const Texts &waiting, std::string_view request)
{
    return std::find(waiting.begin(), waiting.end(), request) != waiting.end();
}

} // namespace

void merge_request(Texts &waiting, const std::string &request)
{
    if (!contains(waiting, request))
        waiting.push_back(request);
}

std::optional<std::string> take_first_request(Texts &waiting,
                                              const std::function<bool(const std::string &)> &is_service)
{
    if (contains(waiting, all_services_request))
        std::erase_if(waiting, is_service);
    if (waiting.empty())
        return std::nullopt;
    std::string first = waiting.front();
    waiting.erase(waiting.begin());
    return first;
}

std::string request_queue_path()
{
    return setting("run_dir") + "/requests";
}

bool add_request(const std::string &request)
{
    if (request.size() > request_limit || std::any_of(request.begin(), request.end(), is_control))
        return false;
    bool room = false;
    bool stored = edit_spool(request_queue_path(), [&](Texts &waiting) {
        room = contains(waiting, request) || waiting.size() < queue_limit;
        if (room)
            merge_request(waiting, request);
    });
    return stored && room;
}

std::optional<std::string> take_request(const std::function<bool(const std::string &)> &is_service, bool *stored)
{
    std::optional<std::string> request;
    const bool done =
        edit_spool(request_queue_path(), [&](Texts &waiting) { request = take_first_request(waiting, is_service); });
    if (stored != nullptr)
        *stored = done;
    return done ? request : std::nullopt;
}

bool requests_wait()
{
    return !read_spool(request_queue_path()).empty();
}

} // namespace nashost
