#include "plan.h"

#include <algorithm>

namespace upnp
{
namespace
{

/* More than any set of services asks for; a sender that has gone wild must not fill the memory. */
constexpr size_t most_entries = 256;

bool same_port(const Mapping &a, const Mapping &b)
{
    return a.protocol == b.protocol && a.external == b.external;
}

} // namespace

bool Plan::take(const Request &request)
{
    std::erase_if(entries_, [&](const Entry &entry) { return same_port(entry.job.request.mapping, request.mapping); });
    if (entries_.size() >= most_entries)
        return false;
    Entry entry;
    entry.job = {++last_number_, request};
    entries_.push_back(entry);
    return true;
}

std::vector<Job> Plan::pending() const
{
    std::vector<Job> jobs;
    for (const Entry &entry : entries_) {
        if (entry.pending)
            jobs.push_back(entry.job);
    }
    return jobs;
}

void Plan::settle(unsigned number, Outcome outcome, int error)
{
    auto entry = std::find_if(entries_.begin(), entries_.end(), [&](const Entry &e) { return e.job.number == number; });
    if (entry == entries_.end())
        return;
    if (!entry->job.request.add) {
        // A gateway that will not close a port does not do so the next time either.
        entries_.erase(entry);
        return;
    }
    entry->pending = false;
    entry->standing = outcome == Outcome::done ? Standing::mapped : Standing::refused;
    entry->error = outcome == Outcome::done ? 0 : error;
}

void Plan::renew()
{
    for (Entry &entry : entries_)
        entry.pending = true;
}

std::vector<WantedMapping> Plan::wanted() const
{
    std::vector<WantedMapping> mappings;
    for (const Entry &entry : entries_) {
        if (entry.job.request.add)
            mappings.push_back({entry.job.request.mapping, entry.standing, entry.error});
    }
    return mappings;
}

std::vector<Mapping> Plan::closing() const
{
    std::vector<Mapping> mappings;
    for (const Entry &entry : entries_) {
        if (!entry.job.request.add)
            mappings.push_back(entry.job.request.mapping);
    }
    return mappings;
}

} // namespace upnp
