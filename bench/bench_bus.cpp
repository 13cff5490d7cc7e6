// The bus layer's overhead over a raw GDBus call on a held connection, against the
// gateway simulator on the bus named by DBUS_SYSTEM_BUS_ADDRESS
// (run through scripts/bench.sh).
#include <cstdlib>

#include <benchmark/benchmark.h>

#include "bench_main.hpp"
#include "core/glib_ptr.hpp"
#include <lumo3/lumo3.h>

namespace {

constexpr const char kService[] = "com.quv.igd1";
constexpr const char kDevicePath[] = "/com/quv/igd1/Info/Device";
constexpr const char kDeviceIface[] = "com.quv.igd1.DeviceInfo";

void BM_RawGetAll(benchmark::State &state)
{
    for (auto _ : state) {
        lumo::GPtr<GVariant> reply = lumo::bench::raw_call(kDevicePath, "com.quv.igd1.Properties", "GetAll",
                                                           g_variant_new("(s)", kDeviceIface), "(a{sv})");
        if (!reply) {
            state.SkipWithError("raw GetAll failed (is the simulator running?)");
            break;
        }
        benchmark::DoNotOptimize(reply.get());
    }
}
BENCHMARK(BM_RawGetAll)->UseRealTime();

void BM_OvanDBusGetAllProperty(benchmark::State &state)
{
    for (auto _ : state) {
        OvanVariant *dict = nullptr;
        if (OvanDBusGetAllProperty(kService, kDevicePath, kDeviceIface, &dict) != 0) {
            state.SkipWithError("OvanDBusGetAllProperty failed");
            break;
        }
        OvanVariantUnRef(dict);
    }
}
BENCHMARK(BM_OvanDBusGetAllProperty)->UseRealTime();

const bool registered = (lumo::bench::add_ratio("BM_OvanDBusGetAllProperty", "BM_RawGetAll"), true);

}  // namespace
