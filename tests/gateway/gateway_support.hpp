// What the gateway family tests share: one fixture over the simulator, with the
// questions they ask about what was sent.
#pragma once

#include <string>

#include "bus_support/bus_fixture.hpp"

namespace lumo::test {

// The keys of the last SetMulti, joined by commas ("" when none was sent).
inline std::string joined_keys(Simulator &sim)
{
    std::string out;
    for (const auto &k : sent_keys(sim))
        out += (out.empty() ? "" : ",") + k;
    return out;
}

class GwTest : public SimTest {
protected:
    std::string keys() { return joined_keys(sim); }
    // The printed arguments of the last call of `method` ("(null)" when none).
    std::string args_of(const std::string &method) { return printed(last_args(sim, method).get()); }
};

}  // namespace lumo::test
