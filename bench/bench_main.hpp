// Runs the registered benchmarks and prints, for each pair registered with
// add_ratio(), the library call's time as a multiple of the raw GDBus call measured
// in the same run.
#pragma once

#include <string>

namespace lumo::bench {

void add_ratio(const std::string &library_benchmark, const std::string &raw_benchmark);

}  // namespace lumo::bench
