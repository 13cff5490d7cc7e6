// Each _Cache getter against its direct getter in the same run (the ratios printed at
// the end: below 0.01 means the cache answers over 100 times faster), and the cached
// LAN host list's CPU time per host. Run through scripts/bench.sh.
#include <benchmark/benchmark.h>

#include "bench_main.hpp"
#include <lumo3/lumo3.h>

namespace {

template <typename Record, int32_t (*Get)(Record *)>
void info(benchmark::State &state)
{
    for (auto _ : state) {
        Record r{};
        if (Get(&r) != 0) {
            state.SkipWithError("getter failed (is the simulator running?)");
            break;
        }
        benchmark::DoNotOptimize(r);
    }
}
BENCHMARK(info<OvanDeviceInfo_t, OvanGetDeviceInfo>)->Name("BM_DeviceInfo");
BENCHMARK(info<OvanDeviceInfo_t, OvanGetDeviceInfo_Cache>)->Name("BM_DeviceInfo_Cache");
BENCHMARK(info<OvanNetworkInfo_t, OvanGetNetworkInfo>)->Name("BM_NetworkInfo");
BENCHMARK(info<OvanNetworkInfo_t, OvanGetNetworkInfo_Cache>)->Name("BM_NetworkInfo_Cache");
BENCHMARK(info<OvanWiFiInfo_t, OvanGetWiFiInfo>)->Name("BM_WiFiInfo");
BENCHMARK(info<OvanWiFiInfo_t, OvanGetWiFiInfo_Cache>)->Name("BM_WiFiInfo_Cache");

template <typename Record, int32_t (*Get)(Record **, uint32_t *)>
void list(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    if (n > 0 && !lumo::bench::populate_lan_hosts(n)) {
        state.SkipWithError("could not populate the LAN host table");
        return;
    }
    // The caches follow the population through signals: wait until they hold it.
    for (int tries = 0; n > 0 && tries < 500; tries++) {
        uint32_t count = 0;
        if (Get(nullptr, &count) == 0 && count == static_cast<uint32_t>(n))
            break;
        g_usleep(10000);
    }
    for (auto _ : state) {
        Record *records = nullptr;
        uint32_t count = 0;
        if (Get(&records, &count) != 0 || (n > 0 && count != static_cast<uint32_t>(n))) {
            state.SkipWithError("list getter failed");
            break;
        }
        g_free(records);
    }
    // CPU seconds per host (shown with an SI prefix).
    if (n > 0)
        state.counters["per_host"] = benchmark::Counter(
            static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(list<OvanLANHostExtWithIPv6_t, OvanGetLANHostExtWithIPv6Objs>)
    ->Name("BM_LANHosts")->Arg(64)->Unit(benchmark::kMicrosecond);
BENCHMARK(list<OvanLANHostCache_t, OvanGetLANHostObjs_Cache>)
    ->Name("BM_LANHosts_Cache")->Arg(64)->Unit(benchmark::kMicrosecond);
BENCHMARK(list<OvanWLANDevice_t, OvanGetWLANDeviceObjs>)->Name("BM_WLANDevices")->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(list<OvanWLANDeviceCache_t, OvanGetWLANDeviceObjs_Cache>)
    ->Name("BM_WLANDevices_Cache")->Arg(0)->Unit(benchmark::kMicrosecond);

const bool registered = (lumo::bench::add_ratio("BM_DeviceInfo_Cache", "BM_DeviceInfo"),
                         lumo::bench::add_ratio("BM_NetworkInfo_Cache", "BM_NetworkInfo"),
                         lumo::bench::add_ratio("BM_WiFiInfo_Cache", "BM_WiFiInfo"),
                         lumo::bench::add_ratio("BM_LANHosts_Cache/64", "BM_LANHosts/64"),
                         lumo::bench::add_ratio("BM_WLANDevices_Cache/0", "BM_WLANDevices/0"), true);

}  // namespace
