/* The agent: takes messages, keeps the plan, and has rounds of work done when they are due. */
#ifndef UPNP_AGENT_H
#define UPNP_AGENT_H

#include "plan.h"
#include "round.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace upnp
{

using Clock = std::chrono::steady_clock;

class Agent
{
  public:
    /* Goes on with what an earlier agent left. */
    explicit Agent(Work work = work_at_gateway);

    /* A message as it came over the socket. */
    void take_message(std::string_view message, Clock::time_point now);

    /* To be called when the round has something to say, and when `next_event` is due. */
    void take_results(Clock::time_point now);
    void work_when_due(Clock::time_point now);

    /* When something is due by itself. */
    Clock::time_point next_event() const;

    const Round &round() const
    {
        return round_;
    }

  private:
    void take_line(const std::string &line);
    void end_round(Clock::time_point now);
    void store() const;

    Work work_;
    Plan plan_;
    Round round_;
    std::string gateway_;
    std::vector<Job> jobs_;                    // of the round that runs
    std::optional<Clock::time_point> attempt_; // the next round, when there is something to do
    Clock::time_point renewal_;
    std::chrono::seconds patience_; // until the next attempt after one that failed
};

} // namespace upnp

#endif
