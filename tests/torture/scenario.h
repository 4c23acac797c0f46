// What is tortured: a world, and what is done in it.
#ifndef NAS_TESTS_SCENARIO_H
#define NAS_TESTS_SCENARIO_H

#include "support/recording_host.h"
#include "support/sandbox.h"

#include <functional>
#include <string>
#include <vector>

namespace nas_torture
{

struct World {
    nas_test::Sandbox &sandbox;
    nas_test::RecordingHost &host;
};

struct Scenario {
    std::string function;
    std::string name;
    std::function<void(World &world)> set_up;
    std::function<void(World &world)> run;
};

// The setters, and the callbacks and lists that no golden case has.
std::vector<Scenario> own_scenarios();

// Every golden case.
std::vector<Scenario> golden_scenarios();

} // namespace nas_torture

#endif
