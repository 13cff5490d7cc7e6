// Runs the registered benchmarks and prints, for each pair registered with
// add_ratio(), the library call's time as a multiple of the raw GDBus call measured
// in the same run.
#pragma once

#include <string>

#include "core/glib_ptr.hpp"

namespace lumo::bench {

// A call to the gateway service on a connection held for the whole run: the raw
// GDBus baseline the library's calls are measured against.
GPtr<GVariant> raw_call(const char *path, const char *iface, const char *method, GVariant *args,
                        const char *reply_type = nullptr);

// Makes the simulator's LAN host collection hold exactly n hosts.
bool populate_lan_hosts(int n);

void add_ratio(const std::string &library_benchmark, const std::string &raw_benchmark);

}  // namespace lumo::bench
