/* A round of work at the gateway, in a process of its own: a gateway that is slow, gone, or talks nonsense must not
 * keep the agent from taking the next message. */
#ifndef UPNP_ROUND_H
#define UPNP_ROUND_H

#include "plan.h"

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace upnp
{

/* What the worker is given: `report` takes one line. */
using Report = std::function<void(const std::string &line)>;
using Work = std::function<void(const std::vector<Job> &jobs, const std::string &known_gateway, const Report &report)>;

/* Finds the gateway and does the jobs in order, until one gets no answer. Reports "gateway ADDRESS" once, then
 * "job NUMBER ERROR" for each. */
void work_at_gateway(const std::vector<Job> &jobs, const std::string &known_gateway, const Report &report);

class Round
{
  public:
    Round() = default;
    ~Round()
    {
        abandon();
    }
    Round(const Round &) = delete;
    Round &operator=(const Round &) = delete;

    /* False when no process could be started. */
    bool start(const std::vector<Job> &jobs, const std::string &known_gateway, const Work &work = work_at_gateway);

    bool runs() const
    {
        return fd_ >= 0;
    }

    /* Readable when there is something to take; -1 while no round runs. */
    int descriptor() const
    {
        return fd_;
    }

    /* The whole lines that have come; the round is over when it does not run any more then. */
    std::vector<std::string> take_lines();

    /* Ends the worker wherever it is. */
    void abandon();

  private:
    void finish();

    int fd_ = -1;
    pid_t worker_ = -1;
    std::string rest_; // the beginning of a line
};

} // namespace upnp

#endif
