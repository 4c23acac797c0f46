/* What the agent leaves for `nasctl upnp`, and for itself when it is started anew. */
#ifndef UPNP_STATE_H
#define UPNP_STATE_H

#include "plan.h"

#include <string>
#include <vector>

namespace upnp
{

struct State {
    std::string gateway; /* the address of its description; empty while none is known */
    std::vector<WantedMapping> wanted;
    std::vector<Mapping> closing;
};

/* The setting "upnp_state"; beside the socket by default. */
std::string state_path();

State read_state();
bool write_state(const State &state);

/* "waiting", "mapped" or "refused" */
const char *standing_word(Standing standing);

} // namespace upnp

#endif
