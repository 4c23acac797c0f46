/* What should be mapped, and what is still to be done for it. It knows nothing of networks. */
#ifndef UPNP_PLAN_H
#define UPNP_PLAN_H

#include "message.h"

#include <vector>

namespace upnp
{

/* One thing to do at the gateway. The number tells it from what is asked for the same port later. */
struct Job {
    unsigned number = 0;
    Request request;
};

enum class Outcome {
    done,    /* the gateway did it */
    refused, /* the gateway answered, and will not */
};

enum class Standing { waiting, mapped, refused };

struct WantedMapping {
    Mapping mapping;
    Standing standing = Standing::waiting;
    int error = 0; /* the gateway's word for a refusal */
};

class Plan
{
  public:
    /* Takes a request in. The latest one for a port is the only one: what waited for that port is dropped, and the
     * new request stands behind all others. False when too many ports are kept already. */
    bool take(const Request &request);

    /* What is to be done, in order. */
    std::vector<Job> pending() const;

    /* Tells how a job ended. What was asked for its port since then still has to be done. */
    void settle(unsigned number, Outcome outcome, int error);

    /* All that should be mapped is to be mapped once more: the gateway may have forgotten it, or changed its mind. */
    void renew();

    std::vector<WantedMapping> wanted() const;

    /* The ports that are still to be closed. */
    std::vector<Mapping> closing() const;

  private:
    struct Entry {
        Job job;
        bool pending = true;
        Standing standing = Standing::waiting;
        int error = 0;
    };

    std::vector<Entry> entries_; // by number
    unsigned last_number_ = 0;
};

} // namespace upnp

#endif
