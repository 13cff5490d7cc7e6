// Gateway wrappers against a raw GDBus call of the same object, and the cost per
// host of listing the LAN host table, against the gateway simulator on the bus named
// by DBUS_SYSTEM_BUS_ADDRESS (run through scripts/bench.sh).
#include <string>

#include <benchmark/benchmark.h>

#include "bench_main.hpp"
#include "core/glib_ptr.hpp"
#include <lumo3/lumo3.h>

namespace {

using lumo::GPtr;

constexpr const char kLanHosts[] = "/com/quv/igd1/Config/LANHosts";

using lumo::bench::populate_lan_hosts;
using lumo::bench::raw_call;

void BM_RawGetAllDevice(benchmark::State &state)
{
    for (auto _ : state) {
        GPtr<GVariant> reply = raw_call("/com/quv/igd1/Info/Device", "com.quv.igd1.Properties", "GetAll",
                                    g_variant_new("(s)", "com.quv.igd1.DeviceInfo"), "(a{sv})");
        if (!reply) {
            state.SkipWithError("raw GetAll failed (is the simulator running?)");
            break;
        }
    }
}
BENCHMARK(BM_RawGetAllDevice)->UseRealTime();

void BM_OvanGetDeviceInfo(benchmark::State &state)
{
    for (auto _ : state) {
        OvanDeviceInfo_t info{};
        if (OvanGetDeviceInfo(&info) != 0) {
            state.SkipWithError("OvanGetDeviceInfo failed");
            break;
        }
        benchmark::DoNotOptimize(info.SysDuration);
    }
}
BENCHMARK(BM_OvanGetDeviceInfo)->UseRealTime();

void BM_RawLANHostObjects(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    if (!populate_lan_hosts(n)) {
        state.SkipWithError("could not populate the LAN host table");
        return;
    }
    for (auto _ : state) {
        GPtr<GVariant> reply = raw_call(kLanHosts, "com.quv.igd1.ObjectManager", "GetManagedObjects", nullptr,
                                    "(a{oa{sa{sv}}})");
        if (!reply) {
            state.SkipWithError("raw GetManagedObjects failed");
            break;
        }
    }
}
BENCHMARK(BM_RawLANHostObjects)->Arg(16)->Arg(256)->Arg(1024)->UseRealTime()->Unit(benchmark::kMicrosecond);

void BM_OvanGetLANHostObjs(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    if (!populate_lan_hosts(n)) {
        state.SkipWithError("could not populate the LAN host table");
        return;
    }
    for (auto _ : state) {
        OvanLANHost_t *hosts = nullptr;
        uint32_t count = 0;
        if (OvanGetLANHostObjs(&hosts, &count) != 0 || count != static_cast<uint32_t>(n)) {
            state.SkipWithError("OvanGetLANHostObjs failed");
            break;
        }
        g_free(hosts);
    }
    // Seconds per host (shown with an SI prefix): should stay flat as n grows.
    state.counters["per_host"] = benchmark::Counter(
        static_cast<double>(n), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_OvanGetLANHostObjs)->Arg(16)->Arg(256)->Arg(1024)->UseRealTime()->Unit(benchmark::kMicrosecond);

const bool registered = (lumo::bench::add_ratio("BM_OvanGetDeviceInfo", "BM_RawGetAllDevice"),
                          lumo::bench::add_ratio("BM_OvanGetLANHostObjs/16", "BM_RawLANHostObjects/16"),
                          lumo::bench::add_ratio("BM_OvanGetLANHostObjs/256", "BM_RawLANHostObjects/256"),
                          lumo::bench::add_ratio("BM_OvanGetLANHostObjs/1024", "BM_RawLANHostObjects/1024"), true);

}  // namespace
