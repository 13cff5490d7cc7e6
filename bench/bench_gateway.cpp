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
constexpr const char kControlPath[] = "/org/lumo3/Simulator";
constexpr const char kControlIface[] = "org.lumo3.Simulator1";

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

// Makes the LAN host collection hold exactly n hosts.
bool populate_lan_hosts(int n)
{
    GPtr<GVariant> listing = raw_call(kLanHosts, "com.quv.igd1.ObjectManager", "GetManagedObjects", nullptr,
                                  "(a{oa{sa{sv}}})");
    if (!listing)
        return false;
    GPtr<GVariant> map(g_variant_get_child_value(listing.get(), 0));
    GVariantIter it;
    g_variant_iter_init(&it, map.get());
    const char *path = nullptr;
    GVariant *ifaces = nullptr;
    while (g_variant_iter_next(&it, "{&o@a{sa{sv}}}", &path, &ifaces)) {
        g_variant_unref(ifaces);
        raw_call(kControlPath, kControlIface, "RemoveObject", g_variant_new("(s)", path));
    }
    for (int i = 0; i < n; i++) {
        std::string host = std::string(kLanHosts) + "/" + std::to_string(1000 + i);
        char mac[13];
        g_snprintf(mac, sizeof mac, "0200%08X", static_cast<unsigned>(i));
        GPtr<GVariant> props(g_variant_ref_sink(g_variant_new_parsed(
            "{'com.quv.igd1.LANHost': {'MAC': <%s>, 'HostName': <'host'>, 'IP': <'192.168.1.20'>, "
            "'DevType': <'PC'>, 'Active': <true>, 'OnlineTime': <uint32 100>, 'RxBytes': <uint64 1>, "
            "'TxBytes': <uint64 2>, 'InternetAccess': <byte 1>, 'Brand': <'Brand'>, 'OS': <'Linux'>}}",
            mac)));
        if (!raw_call(kControlPath, kControlIface, "AddObject", g_variant_new("(s@a{sa{sv}})", host.c_str(), props.get())))
            return false;
    }
    return true;
}

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
