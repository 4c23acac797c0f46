/* What serviced is asked for, in the order in which it was asked. A request is a service's name, "all", an event
 * ("mount:sda"), or a word of the host. The queue is a spool: it is there while serviced is not. */
#ifndef NASHOST_REQUEST_QUEUE_H
#define NASHOST_REQUEST_QUEUE_H

#include "spool.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace nashost
{

constexpr std::string_view all_services_request = "all";

/* ---- the rules ---- */

/* A request that waits already is not added again. */
void merge_request(Texts &waiting, const std::string &request);

/* Takes the first request out. Single services are left out while "all" waits: it will run them, too. */
std::optional<std::string> take_first_request(Texts &waiting,
                                              const std::function<bool(const std::string &)> &is_service);

/* ---- the queue ---- */

std::string request_queue_path();

/* False for a text that is too long, for one with control characters, and when the queue is full. */
bool add_request(const std::string &request);

/* Nothing when no request waits, or when the queue cannot be stored: what could not be taken out would be done again
 * and again. `stored` tells which. */
std::optional<std::string> take_request(const std::function<bool(const std::string &)> &is_service,
                                        bool *stored = nullptr);
bool requests_wait();

} // namespace nashost

#endif
