#include "agent.h"

#include "message.h"
#include "settings.h"
#include "state.h"
#include "text.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

namespace upnp
{
namespace
{

using std::chrono::seconds;

/* A service that is started anew closes its ports and opens them again: what comes together is looked at together. */
constexpr std::chrono::milliseconds gathering{300};
constexpr seconds first_patience{5}, longest_patience{60};

seconds renewal_interval()
{
    constexpr int usual = 300;
    int wanted = nashost::setting_number("upnp_renew");
    return seconds(wanted > 0 ? wanted : usual);
}

std::string described(const Request &request)
{
    return std::string(request.add ? "opening " : "closing ") + request.mapping.protocol + " port " +
           std::to_string(request.mapping.external);
}

/* A sender's bytes must not forge lines of the log. */
std::string printable(std::string_view text)
{
    constexpr size_t longest = 200;
    std::string shown(text.substr(0, longest));
    std::replace_if(shown.begin(), shown.end(), nashost::is_control, '?');
    return shown;
}

} // namespace

Agent::Agent(Work work) : work_(std::move(work)), renewal_(Clock::now() + renewal_interval()), patience_(first_patience)
{
    State left = read_state();
    gateway_ = left.gateway;
    for (const Mapping &mapping : left.closing)
        plan_.take({false, mapping});
    for (const WantedMapping &wanted : left.wanted)
        plan_.take({true, wanted.mapping});
    if (!plan_.pending().empty())
        attempt_ = Clock::now();
    store();
}

void Agent::take_message(std::string_view message, Clock::time_point now)
{
    std::optional<Request> request = parse_request(message);
    if (!request) {
        syslog(LOG_WARNING, "no request: \"%s\"", printable(message).c_str());
        return;
    }
    if (!plan_.take(*request)) {
        syslog(LOG_ERR, "%s: too many ports are kept already", described(*request).c_str());
        return;
    }
    patience_ = first_patience;
    attempt_ = now + gathering;
    store();
}

void Agent::work_when_due(Clock::time_point now)
{
    if (now >= renewal_) {
        plan_.renew();
        renewal_ = now + renewal_interval();
        attempt_ = now;
    }
    if (round_.runs() || !attempt_ || now < *attempt_)
        return;
    attempt_.reset();
    jobs_ = plan_.pending();
    if (!jobs_.empty() && !round_.start(jobs_, gateway_, work_))
        end_round(now);
}

void Agent::take_results(Clock::time_point now)
{
    for (const std::string &line : round_.take_lines())
        take_line(line);
    if (!round_.runs())
        end_round(now);
    store();
}

void Agent::take_line(const std::string &line)
{
    std::vector<std::string> words = nashost::split(line, ' ');
    if (words.size() == 2 && words[0] == "gateway") {
        if (gateway_ != words[1])
            syslog(LOG_NOTICE, "the gateway is %s", printable(words[1]).c_str());
        gateway_ = words[1];
    }
    if (words.size() != 3 || words[0] != "job")
        return;
    int error = nashost::decimal_value(words[2].c_str());
    auto job = std::find_if(jobs_.begin(), jobs_.end(),
                            [&](const Job &each) { return std::to_string(each.number) == words[1]; });
    if (job == jobs_.end())
        return;
    if (error != 0)
        syslog(LOG_WARNING, "%s: the gateway refuses it with %d", described(job->request).c_str(), error);
    plan_.settle(job->number, error == 0 ? Outcome::done : Outcome::refused, error);
    jobs_.erase(job);
}

/* The jobs without an answer are still in the plan. */
void Agent::end_round(Clock::time_point now)
{
    if (jobs_.empty()) {
        patience_ = first_patience;
        return;
    }
    if (patience_ == first_patience)
        syslog(LOG_WARNING, "no gateway answers; %zu ports wait", jobs_.size());
    gateway_.clear();
    if (!attempt_)
        attempt_ = now + patience_;
    patience_ = std::min(2 * patience_, longest_patience);
}

Clock::time_point Agent::next_event() const
{
    return attempt_ && !round_.runs() ? std::min(*attempt_, renewal_) : renewal_;
}

void Agent::store() const
{
    if (!write_state({gateway_, plan_.wanted(), plan_.closing()}))
        syslog(LOG_ERR, "%s cannot be written", state_path().c_str());
}

} // namespace upnp
