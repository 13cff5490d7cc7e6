#include "bench_main.hpp"

#include <cstdio>
#include <map>
#include <string>
#include <syslog.h>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace lumo::bench {

namespace {

std::vector<std::pair<std::string, std::string>> &ratios()
{
    static std::vector<std::pair<std::string, std::string>> r;
    return r;
}

// Keeps each benchmark's time per iteration while printing as usual. With
// --benchmark_repetitions the median stands for the benchmark.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            const Times t{run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                medians_[plain_name(run)] = t;
            else if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                singles_[plain_name(run)] = t;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    struct Times {
        double real = -1, cpu = -1;  // per iteration; negative: did not run
    };

    Times time_of(const std::string &name) const
    {
        if (auto m = medians_.find(name); m != medians_.end())
            return m->second;
        auto s = singles_.find(name);
        return s != singles_.end() ? s->second : Times{};
    }

private:
    // "BM_X/16/real_time" is known as "BM_X/16".
    static std::string plain_name(const Run &run)
    {
        std::string name = run.run_name.str();
        const std::string suffix = "/real_time";
        if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            name.resize(name.size() - suffix.size());
        return name;
    }

    std::map<std::string, Times> medians_, singles_;
};

}  // namespace

GPtr<GVariant> raw_call(const char *path, const char *iface, const char *method, GVariant *args,
                        const char *reply_type)
{
    static GDBusConnection *conn = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    return GPtr<GVariant>(g_dbus_connection_call_sync(conn, "com.quv.igd1", path, iface, method, args,
                                                      reply_type ? G_VARIANT_TYPE(reply_type) : nullptr,
                                                      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
}

bool populate_lan_hosts(int n)
{
    static const char kLanHosts[] = "/com/quv/igd1/Config/LANHosts";
    static const char kControlPath[] = "/org/lumo3/Simulator";
    static const char kControlIface[] = "org.lumo3.Simulator1";
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

void add_ratio(const std::string &library_benchmark, const std::string &raw_benchmark)
{
    ratios().emplace_back(library_benchmark, raw_benchmark);
}

}  // namespace lumo::bench

int main(int argc, char **argv)
{
    // A gateway's syslog filters debug lines; measure the library the same way
    // (it still formats everything it would log at error level).
    setlogmask(LOG_UPTO(LOG_ERR));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    lumo::bench::RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto &[lib, raw] : lumo::bench::ratios()) {
        // Real time includes the service's own work and the bus daemon; the calling
        // process's CPU time shows the library's overhead alone.
        const auto l = reporter.time_of(lib), r = reporter.time_of(raw);
        if (l.real < 0 || r.real <= 0 || r.cpu <= 0)
            continue;
        std::printf("ratio %-32s / %-28s real %.3f  cpu %.3f\n", lib.c_str(), raw.c_str(), l.real / r.real,
                    l.cpu / r.cpu);
    }
    benchmark::Shutdown();
    return 0;
}
