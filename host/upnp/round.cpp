#include "round.h"

#include "platform/network.h"

#include "files.h"
#include "gateway.h"
#include "settings.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace upnp
{
namespace
{

/* A worker that has not ended by then has met a gateway that keeps it talking. */
constexpr unsigned longest_round_seconds = 120;

[[noreturn]] void be_worker(const std::function<void()> &work)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // it would keep the agent's socket in use
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int number : {SIGTERM, SIGINT, SIGHUP, SIGALRM})
        signal(number, SIG_DFL);
    alarm(longest_round_seconds);
    work();
    _exit(0);
}

} // namespace

void work_at_gateway(const std::vector<Job> &jobs, const std::string &known_gateway, const Report &report)
{
    char own_address[NAS_ADDRESS_SIZE] = "";
    if (get_wan_ip("wan1", own_address) == 0)
        return;
    std::unique_ptr<Gateway> gateway = Gateway::find(known_gateway, nashost::setting("wan"));
    if (gateway == nullptr)
        return;
    report("gateway " + gateway->description());
    for (const Job &job : jobs) {
        const Mapping &mapping = job.request.mapping;
        int error = job.request.add ? gateway->open(mapping, own_address) : gateway->close(mapping);
        if (error < 0)
            return;
        report("job " + std::to_string(job.number) + " " + std::to_string(error));
    }
}

bool Round::start(const std::vector<Job> &jobs, const std::string &known_gateway, const Work &work)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    worker_ = fork();
    if (worker_ == 0) {
        close(ends[0]);
        auto report = [&](const std::string &line) { nashost::write_all(ends[1], line + "\n"); };
        be_worker([&] { work(jobs, known_gateway, report); });
    }
    close(ends[1]);
    if (worker_ < 0) {
        close(ends[0]);
        return false;
    }
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    fd_ = ends[0];
    rest_.clear();
    return true;
}

std::vector<std::string> Round::take_lines()
{
    std::vector<std::string> lines;
    char part[4096];
    ssize_t got = 0;
    while (runs() && (got = read(fd_, part, sizeof part)) > 0)
        rest_.append(part, static_cast<size_t>(got));
    if (runs() && (got == 0 || (errno != EAGAIN && errno != EINTR)))
        finish();
    for (size_t end; (end = rest_.find('\n')) != std::string::npos; rest_.erase(0, end + 1))
        lines.push_back(rest_.substr(0, end));
    return lines;
}

void Round::abandon()
{
    if (!runs())
        return;
    kill(worker_, SIGKILL);
    finish();
}

/* The worker has closed its end, or was killed: it ends now. */
void Round::finish()
{
    close(fd_);
    fd_ = -1;
    while (waitpid(worker_, nullptr, 0) < 0 && errno == EINTR)
        continue;
    worker_ = -1;
}

} // namespace upnp
