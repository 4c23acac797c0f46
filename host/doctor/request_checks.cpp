/* platform/request.h */
#include "doctor/checks.h"

#include "doctor/examined_host.h"
#include "platform/request.h"

#include <algorithm>
#include <chrono>

namespace nasdoctor
{
namespace
{

/* Within a second; on a busy machine one call of three. */
template <class Call>
std::string at_once(const char *name, Call call)
{
    constexpr int tries = 3;
    double shortest = 0;
    for (int i = 0; i < tries; i++) {
        const auto begin = std::chrono::steady_clock::now();
        call();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        if (took.count() < 1)
            return "";
        shortest = i == 0 ? took.count() : std::min(shortest, took.count());
    }
    return std::string(name) + " takes " + std::to_string(shortest) + " s";
}

std::string nas_requests()
{
    int first = -2, again = -2;
    const std::string slow = at_once("signal_nas", [&] {
        first = EXAMINED(signal_nas)("ftp");
        again = EXAMINED(signal_nas)("ftp");
        EXAMINED(signal_nas)("");
    });
    return first_of({slow, defect_of_answer("signal_nas(\"ftp\")", first, 0),
                     defect_of_answer("signal_nas(\"ftp\"), asked again,", again, 0)});
}

std::string agent_messages()
{
    return at_once("signal_start", [] { EXAMINED(signal_start)("upnp:service,D,tcp,2121,0,null"); });
}

std::string signals()
{
    return first_of({at_once("signal_update", EXAMINED(signal_update)), at_once("signal_wan", EXAMINED(signal_wan))});
}

std::string events()
{
    int answer = 0;
    for (const char *id : {"@{105}", "@{106}", "@{107}"})
        answer |= EXAMINED(syslog_msg)(1, id, "@{98}");
    for (const char *id : {"@{126}", "@{127}", "@{128}", "@{129}"})
        answer |= EXAMINED(syslog_msg)(1, id, 2);
    for (const char *id : {"@{83}", "@{124}", "@{125}", "@{99999}"})
        answer |= EXAMINED(syslog_msg)(1, id);
    return defect_of_answer("syslog_msg", answer, 0);
}

} // namespace

std::vector<Check> request_checks()
{
    return {{"signal_nas", "keeps a request and returns at once", Needs::private_world, nas_requests},
            {"signal_start", "returns at once, also when nobody listens", Needs::private_world, agent_messages},
            {"signal_update, signal_wan", "return at once", Needs::private_world, signals},
            {"syslog_msg", "looks only for the argument that its id has", Needs::private_world, events}};
}

} // namespace nasdoctor
