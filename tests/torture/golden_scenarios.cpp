#include "torture/scenario.h"

#include "golden/golden_call.h"
#include "golden/golden_case.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>

namespace nas_torture
{
namespace
{

[[noreturn]] void fail(const std::string &name, const std::string &what)
{
    std::fprintf(stderr, "%s: %s\n", name.c_str(), what.c_str());
    std::abort();
}

Scenario golden_scenario(const std::string &name)
{
    const auto golden = std::make_shared<nas_test::GoldenCase>();
    const auto set_up = [name, golden](World &world) {
        *golden = nas_test::set_up_golden_case(name, world.sandbox, world.host);
        if (!golden->complaint.empty())
            fail(name, golden->complaint);
    };
    const auto run = [name, golden](World &world) {
        if (nas_test::call_golden(*golden, world.host).empty())
            fail(name, "calls no function that is known");
    };
    return {"", name, set_up, run};
}

} // namespace

std::vector<Scenario> golden_scenarios()
{
    std::vector<Scenario> all;
    for (const std::string &name : nas_test::find_golden_cases()) {
        all.push_back(golden_scenario(name));
        all.back().function = nas_test::golden_function(name);
    }
    return all;
}

} // namespace nas_torture
