// soak: a plug-in's long life in one process. It hosts a service with a management
// object, uses the caches, and runs a mixed workload on several threads (every getter
// and lister the lumoctl registry knows, its harmless commands, adds, writes and
// deletes that must read back, the cache getters, management calls), while the
// gateway simulator is killed and restarted every few seconds and the bus daemon once
// half-way. It reports the call rate, failures outside the restart windows, memory,
// descriptors and threads over the run, and how fast the caches agree with the gateway
// again after each restart. Exit status 1 when a goal is missed (see --help).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <malloc.h>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "cache/cache_tables.hpp"
#include "gateway/device_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/records.hpp"
#include "tools/lumoctl/registry.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using lumo::GPtr;
using lumo::GStr;
using lumo::gw::Field;
using lumo::gw::Fields;

constexpr const char kServiceName[] = "com.quv.soak1";

struct Options {
    uint64_t calls = 1000000;
    double seconds = 0;  // > 0: run this long instead of a number of calls
    double restart_every = 10;
    unsigned threads = 4;
    bool ci = false;  // goals tolerant of a loaded machine, for a short run
    unsigned flood = 0;  // > 0: the gateway sends this many signals a second, no restarts
};

double now_s(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// ---- process figures ----

struct Sample {
    double at;
    uint64_t calls;
    long rss_kb, fds, threads;
    long anon_kb, file_kb;  // RSS split: private memory, and pages of mapped files (code)
    long heap_kb;           // held by the program as malloc sees it (its per-thread caches count as held)
};

long status_field(const char *name)
{
    FILE *f = fopen("/proc/self/status", "r");
    if (!f)
        return -1;
    char line[256];
    long value = -1;
    const size_t n = strlen(name);
    while (fgets(line, sizeof line, f))
        if (strncmp(line, name, n) == 0 && line[n] == ':')
            value = strtol(line + n + 1, nullptr, 10);
    fclose(f);
    return value;
}

long open_fds()
{
    DIR *d = opendir("/proc/self/fd");
    if (!d)
        return -1;
    long n = 0;
    while (readdir(d))
        n++;
    closedir(d);
    return n - 3;  // ".", ".." and the directory's own descriptor
}

Sample sample(double at, uint64_t calls)
{
#ifdef __GLIBC__
    const struct mallinfo2 m = mallinfo2();
    const long heap_kb = static_cast<long>((m.uordblks + m.hblkhd) / 1024);
#else
    const long heap_kb = -1;
#endif
    return {at, calls, status_field("VmRSS"), open_fds(), status_field("Threads"), status_field("RssAnon"),
            status_field("RssFile"), heap_kb};
}

// The soak's own figures take fixed memory, or they would show in what they measure.

// Latencies in 1% steps from 1 us to 100 s.
class Latencies {
public:
    void add(double ms)
    {
        const double step = std::log(std::max(ms, kLowMs) / kLowMs) / std::log(kRatio);
        buckets_[std::min(static_cast<size_t>(step), kBuckets - 1)]++;
        count_++;
        max_ = std::max(max_, ms);
    }
    uint64_t count() const { return count_; }
    double max() const { return max_; }
    // The upper bound of the bucket that holds quantile q.
    double at(double q) const
    {
        const auto want = static_cast<uint64_t>(q * static_cast<double>(count_ - 1));
        uint64_t seen = 0;
        for (size_t i = 0; i < kBuckets; i++)
            if ((seen += buckets_[i]) > want)
                return std::min(max_, kLowMs * std::pow(kRatio, static_cast<double>(i + 1)));
        return max_;
    }

private:
    static constexpr double kLowMs = 0.001, kRatio = 1.01;
    static constexpr size_t kBuckets = 1852;  // log(1e8) / log(1.01)
    uint64_t buckets_[kBuckets] = {};
    uint64_t count_ = 0;
    double max_ = 0;
};

// Least-squares slope of (s, KiB) samples, summed as they come.
struct Slope {
    double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    void add(double x, double y) { n++, sx += x, sy += y, sxx += x * x, sxy += x * y; }
    double value() const
    {
        const double d = n * sxx - sx * sx;
        return d > 0 ? (n * sxy - sx * sy) / d : 0;
    }
};

// ---- the hosted service ----

std::atomic<unsigned> g_messages{0};
char g_stats[64];  // mainLoop thread only

int on_reload()
{
    g_messages = 0;
    return 0;
}
const char *on_post(const char *)
{
    g_messages++;
    return "ok";
}
const char *on_stats()
{
    snprintf(g_stats, sizeof g_stats, "%u", g_messages.load());
    return g_stats;
}
const OvanAppMgtFuncs_t kMgt = {nullptr, on_reload, on_reload, on_post, on_stats};
GDBusNodeInfo *g_node = nullptr;

// Starts (again) the plug-in's service. GIO's shared connection would end the
// process when the bus goes away: a long-lived plug-in turns that off.
bool host_service()
{
    if (g_node) {
        OvanDBusStopService();
        OvanDBusNodeInfoUnref(g_node);
        g_node = nullptr;
    }
    if (OvanDBusStartService(kServiceName) != 0)
        return false;
    if (qzr_dbus_service_context && qzr_dbus_service_context->connection)
        g_dbus_connection_set_exit_on_close(qzr_dbus_service_context->connection, FALSE);
    if (GDBusConnection *shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {
        g_dbus_connection_set_exit_on_close(shared, FALSE);
        g_object_unref(shared);
    }
    g_node = OvanAppRegisterMgtFuncs(&kMgt);
    return g_node != nullptr;
}

// ---- the workload ----

struct Op {
    std::string name;
    int (*run)(const void *arg, unsigned thread, uint64_t n);
    const void *arg;
};

int run_get(const void *arg, unsigned, uint64_t)
{
    const auto &e = *static_cast<const lumoctl::Entry *>(arg);
    std::vector<unsigned char> rec(e.table->record_size);
    int rc = e.get(rec.data());
    lumoctl::release_lists(*e.table, rec.data());
    return rc;
}

int run_list(const void *arg, unsigned, uint64_t)
{
    const auto &e = *static_cast<const lumoctl::Entry *>(arg);
    void *objs = nullptr;
    uint32_t count = 0, status = 0;
    char *message = nullptr;
    int rc = e.list(&objs, &count, &status, &message);
    if (objs)
        lumoctl::release_lists(*e.table, objs, count);
    g_free(objs);
    g_free(message);
    return rc;
}

int run_command(const void *arg, unsigned, uint64_t)
{
    const auto &c = *static_cast<const lumoctl::Command *>(arg);
    lumoctl::CommandResult out;
    return c.run({}, out);
}

template <typename R, int32_t (*F)(R *)>
int run_cached_info(const void *, unsigned, uint64_t)
{
    R rec{};
    return F(&rec);
}

template <typename R, int32_t (*F)(R **, uint32_t *)>
int run_cached_list(const void *, unsigned, uint64_t)
{
    R *list = nullptr;
    uint32_t n = 0;
    int rc = F(&list, &n);
    g_free(list);
    return rc;
}

// Counters are word-sized: 32-bit MIPS has no 64-bit atomics without libatomic.
std::atomic<unsigned long> g_lost{0};

// Add, read back, write, read back, delete, and the rule must be gone: a value that
// does not read back is lost (a failed call is only a failure).
int run_write(const void *, unsigned thread, uint64_t n)
{
    OvanPortMapping_t rec{};
    rec.Enable = 1;
    rec.ExternalPort = 20000 + static_cast<uint32_t>(n % 20000);
    rec.InternalPort = 1 + thread;
    g_strlcpy(rec.PortMappingProtocol, "TCP", sizeof rec.PortMappingProtocol);
    g_strlcpy(rec.InternalClient, "192.168.1.20", sizeof rec.InternalClient);
    snprintf(rec.Description, sizeof rec.Description, "soak-%u-%" PRIu64, thread, n);
    if (OvanAddPortMapping(&rec) != 0)
        return -1;
    OvanObjPath_t path{};
    g_strlcpy(path.str, rec.path, sizeof path.str);
    OvanPortMapping_t back{};
    int rc = OvanGetPortMapping(path, &back);
    if (rc == 0 && (strcmp(back.Description, rec.Description) != 0 || back.ExternalPort != rec.ExternalPort))
        g_lost++;
    rec.InternalPort = 100 + thread;
    if (rc == 0)
        rc = OvanSetPortMapping(path, &rec);
    if (rc == 0 && OvanGetPortMapping(path, &back) == 0 && back.InternalPort != rec.InternalPort)
        g_lost++;
    int del = OvanDelPortMapping(path);
    return rc != 0 ? rc : del;
}

// A management call as the framework makes it, on a connection of its own.
GDBusConnection *g_client = nullptr;
std::mutex g_client_mutex;

int run_management(const void *, unsigned, uint64_t n)
{
    GDBusConnection *conn;
    {
        std::lock_guard<std::mutex> lock(g_client_mutex);
        if (g_client && g_dbus_connection_is_closed(g_client))
            g_clear_object(&g_client);
        if (!g_client) {
            GStr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
            g_client = g_dbus_connection_new_for_address_sync(
                address.get(),
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, nullptr);
            if (!g_client)
                return -1;
            g_dbus_connection_set_exit_on_close(g_client, FALSE);
        }
        conn = G_DBUS_CONNECTION(g_object_ref(g_client));
    }
    const char *method = n % 2 ? "PostMsg" : "GetStatistics";
    GPtr<GError> error;
    GPtr<GVariant> reply(g_dbus_connection_call_sync(
        conn, kServiceName, "/com/quv/soak1", "com.quv.soak1.management", method,
        n % 2 ? g_variant_new("(s)", "soak") : nullptr, G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, 5000,
        nullptr, lumo::out(error)));
    if (error && getenv("SOAK_DEBUG"))
        fprintf(stderr, "management: %s\n", error->message);
    g_object_unref(conn);
    return reply ? 0 : -1;
}

std::vector<Op> all_ops()
{
    std::vector<Op> ops;
    for (const auto &e : lumoctl::entries()) {
        std::string name = std::string(e.object) + (*e.layout ? "." : "") + e.layout;
        if (e.get)
            ops.push_back({"get " + name, run_get, &e});
        if (e.list)
            ops.push_back({"list " + name, run_list, &e});
    }
    for (const auto &c : lumoctl::commands())
        if (!c.destructive && c.args.empty())
            ops.push_back({std::string("command ") + c.object + " " + c.name, run_command, &c});
    ops.push_back({"cache device", run_cached_info<OvanDeviceInfo_t, OvanGetDeviceInfo_Cache>, nullptr});
    ops.push_back({"cache network", run_cached_info<OvanNetworkInfo_t, OvanGetNetworkInfo_Cache>, nullptr});
    ops.push_back({"cache wifi", run_cached_info<OvanWiFiInfo_t, OvanGetWiFiInfo_Cache>, nullptr});
    ops.push_back({"cache lanhosts", run_cached_list<OvanLANHostCache_t, OvanGetLANHostObjs_Cache>, nullptr});
    ops.push_back({"cache wlan", run_cached_list<OvanWLANDeviceCache_t, OvanGetWLANDeviceObjs_Cache>, nullptr});
    ops.push_back({"cache online", run_cached_list<OvanLANHostCache_t, OvanGetOnlineDeviceList_Cache>, nullptr});
    ops.push_back({"write portmap", run_write, nullptr});
    ops.push_back({"management", run_management, nullptr});
    return ops;
}

// ---- caches against the gateway ----

bool same_fields(Fields fields, const void *a, const void *b)
{
    for (const Field &f : fields) {
        const char *x = static_cast<const char *>(a) + f.offset;
        const char *y = static_cast<const char *>(b) + f.offset;
        if (f.type == lumo::gw::Type::Str ? strncmp(x, y, f.size) != 0 : memcmp(x, y, f.size) != 0)
            return false;
    }
    return true;
}

// Frees the blocks a direct getter hands out with a record ("as" lists, bytes).
void release_blocks(Fields whole, void *record)
{
    for (const Field &f : whole)
        if (f.type == lumo::gw::Type::StrList || f.type == lumo::gw::Type::Bytes) {
            void *block = nullptr;
            memcpy(&block, static_cast<char *>(record) + f.aux, sizeof block);
            g_free(block);
        }
}

// The cached record against the direct one, on the fields the cache keeps.
template <typename R>
bool info_agrees(Fields kept, Fields whole, int32_t (*cached)(R *), int32_t (*direct)(R *))
{
    R c{}, d{};
    const bool same = cached(&c) == 0 && direct(&d) == 0 && same_fields(kept, &c, &d);
    release_blocks(whole, &d);
    return same;
}

bool hosts_agree()
{
    OvanLANHostCache_t *c = nullptr;
    OvanLANHostExtWithIPv6_t *d = nullptr;
    uint32_t nc = 0, nd = 0;
    bool ok = OvanGetLANHostObjs_Cache(&c, &nc) == 0 && OvanGetLANHostExtWithIPv6Objs(&d, &nd) == 0 && nc == nd;
    for (uint32_t i = 0; ok && i < nc; i++) {
        bool found = false;
        for (uint32_t j = 0; j < nd && !found; j++)
            found = strcmp(c[i].MAC, d[j].MAC) == 0 && strcmp(c[i].HostName, d[j].HostName) == 0;
        ok = found;
    }
    g_free(c);
    g_free(d);
    return ok;
}

bool caches_agree()
{
    using namespace lumo::cache;
    namespace gw = lumo::gw;
    return info_agrees<OvanDeviceInfo_t>(kDeviceInfo, gw::device::kDeviceInfo, OvanGetDeviceInfo_Cache,
                                         OvanGetDeviceInfo) &&
           info_agrees<OvanNetworkInfo_t>(kNetworkInfo, gw::device::kNetworkInfo, OvanGetNetworkInfo_Cache,
                                          OvanGetNetworkInfo) &&
           info_agrees<OvanWiFiInfo_t>(kWiFiInfo, gw::wifi::kWiFiInfo, OvanGetWiFiInfo_Cache, OvanGetWiFiInfo) &&
           hosts_agree();
}

// ---- the run ----

// Stops the workers between two calls. The gate keeps a stream of readers from
// starving the one who wants everything to stand still.
class Pause {
public:
    std::shared_lock<std::shared_mutex> call()
    {
        { std::lock_guard<std::mutex> wait(gate_); }
        return std::shared_lock<std::shared_mutex>(calls_);
    }
    struct Hold {
        std::lock_guard<std::mutex> gate;
        std::unique_lock<std::shared_mutex> all;
    };
    std::unique_ptr<Hold> stop() { return std::unique_ptr<Hold>(new Hold{std::lock_guard<std::mutex>(gate_), std::unique_lock<std::shared_mutex>(calls_)}); }

private:
    std::mutex gate_;
    std::shared_mutex calls_;
};

struct Window {
    double from, to;
};

struct Run {
    Options opt;
    Clock::time_point start = Clock::now();
    std::vector<Op> ops;
    Pause pause;
    std::atomic<unsigned long> calls{0};
    std::atomic<bool> done{false};
    std::mutex mutex;  // guards the rest
    std::vector<Window> windows;
    std::vector<std::pair<double, size_t>> failures;  // time, op; not yet told inside from outside
    std::vector<uint64_t> op_failures;                // outside the windows, per op
    uint64_t inside = 0, outside = 0;
};

void worker(Run &run, unsigned thread)
{
    uint64_t n = thread;
    while (!run.done) {
        const size_t k = n % run.ops.size();
        int rc;
        {
            auto hold = run.pause.call();
            rc = run.ops[k].run(run.ops[k].arg, thread, n);
        }
        if (rc != 0) {
            std::lock_guard<std::mutex> lock(run.mutex);
            run.failures.emplace_back(now_s(run.start), k);
        }
        n += run.opt.threads;
        run.calls++;
    }
}

bool in_window(const Run &run, double t)
{
    for (const Window &w : run.windows)
        if (t >= w.from && t <= w.to)
            return true;
    return false;
}

// Counts the failures so far as inside or outside the windows known now (every later
// window opens after them), so that the soak's own records stay bounded.
void tally(Run &run)
{
    std::lock_guard<std::mutex> lock(run.mutex);
    for (const auto &[t, k] : run.failures) {
        if (in_window(run, t)) {
            run.inside++;
        } else {
            run.outside++;
            run.op_failures[k]++;
            if (getenv("SOAK_DEBUG"))
                fprintf(stderr, "failure at %.2f s: %s\n", t, run.ops[k].name.c_str());
        }
    }
    run.failures.clear();
    // Later failures come after now: only a window still open can hold them.
    const double now = now_s(run.start);
    run.windows.erase(std::remove_if(run.windows.begin(), run.windows.end(),
                                     [now](const Window &w) { return w.to < now; }),
                      run.windows.end());
}

int usage(int code)
{
    fprintf(code ? stderr : stdout,
            "usage: soak [--calls N] [--seconds S] [--restart-every S] [--threads N] [--ci] [--flood RATE]\n"
            "Goals: no failure outside the restart windows, nothing written lost, caches equal\n"
            "to the gateway within 1 s of each restart, no descriptor or thread growth, and at\n"
            "most 1%% growth of resident memory and of the heap after warm-up, which ends\n"
            "with the bus restart (--ci: from the first restart, 25%% + 4 MiB resident,\n"
            "256 KiB heap, 2 descriptors or threads, for a short run on a loaded machine).\n"
            "Run it with GLib's slices and malloc's per-thread caches off, as scripts/soak.sh\n"
            "does, so that the heap figure counts live blocks. --flood: the gateway sends RATE\n"
            "signals a second and nothing restarts; resident memory and the latency of the\n"
            "management calls are reported.\n");
    return code;
}

}  // namespace

int main(int argc, char **argv)
{
    Options opt;
    for (int i = 1; i < argc; i++) {
        std::string a = argv[i];
        const char *v = i + 1 < argc ? argv[i + 1] : nullptr;
        if (a == "--calls" && v)
            opt.calls = strtoull(argv[++i], nullptr, 10);
        else if (a == "--seconds" && v)
            opt.seconds = strtod(argv[++i], nullptr);
        else if (a == "--restart-every" && v)
            opt.restart_every = strtod(argv[++i], nullptr);
        else if (a == "--threads" && v)
            opt.threads = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
        else if (a == "--flood" && v)
            opt.flood = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
        else if (a == "--ci")
            opt.ci = true;
        else
            return usage(a == "--help" ? 0 : 2);
    }
    if (opt.threads == 0 || opt.restart_every <= 0 || (opt.calls == 0 && opt.seconds <= 0))
        return usage(2);

    lumo::test::PrivateBus bus;
    lumo::test::SimulatorOptions sim_options;
    sim_options.reconnect = true;
    if (opt.flood) {
        sim_options.extra_args.push_back("--flood=" + std::to_string(opt.flood));
        opt.restart_every = 1e9;
    }
    auto sim = std::make_unique<lumo::test::Simulator>(bus, sim_options);
    if (!bus.ok() || !sim->ok() || !host_service()) {
        fprintf(stderr, "soak: cannot start the bus, the simulator or the service\n");
        return 1;
    }

    Run run;
    run.opt = opt;
    // Only what works against a healthy gateway goes into the mix.
    for (Op &op : all_ops()) {
        auto t0 = Clock::now();
        int rc = op.run(op.arg, 0, 0);
        double ms = std::chrono::duration<double, std::milli>(Clock::now() - t0).count();
        if (getenv("SOAK_DEBUG"))
            fprintf(stderr, "%8.2f ms rc %d %s\n", ms, rc, op.name.c_str());
        if (rc == 0)
            run.ops.push_back(std::move(op));
    }
    run.op_failures.assign(run.ops.size(), 0);
    // Failures between two restarts wait here; room for them up front keeps the vector's
    // growth out of the heap figure.
    run.failures.reserve(8192);
    printf("soak: %zu operations on %u threads, %s, ", run.ops.size(), opt.threads,
           opt.seconds > 0 ? (std::to_string(opt.seconds) + " s").c_str()
                           : (std::to_string(opt.calls) + " calls").c_str());
    if (opt.flood) {
        printf("the gateway sending %u signals/s\n", opt.flood);
        // The caches log every object-manager signal. Without a syslog daemon those lines
        // go to the console, whose speed then decides whether the cache thread keeps up.
        if (!g_file_test("/dev/log", G_FILE_TEST_EXISTS))
            printf("note: no syslog daemon (/dev/log): the library's log lines go to the console\n");
    } else
        printf("gateway restart every %.0f s, bus restart half-way\n", opt.restart_every);
    auto env_has = [](const char *name, const char *what) {
        const char *v = getenv(name);
        return v && strstr(v, what);
    };
    const bool slices_off = env_has("G_SLICE", "always-malloc");
    const bool tcache_off = env_has("GLIBC_TUNABLES", "tcache_count=0");
    printf("allocator caches: GLib's slices %s, malloc's per-thread caches %s\n", slices_off ? "off" : "on",
           tcache_off ? "off" : "on");
    fflush(stdout);

    std::vector<std::thread> threads;
    run.start = Clock::now();
    for (unsigned t = 0; t < opt.threads; t++)
        threads.emplace_back(worker, std::ref(run), t);

    auto progress = [&] {
        return opt.seconds > 0 ? now_s(run.start) / opt.seconds
                               : static_cast<double>(run.calls) / static_cast<double>(opt.calls);
    };
    // Samples are taken with the workers paused: at 10 %, 50 % and 100 %, and before each
    // restart, of which the first, the first after the bus restart and the latest are kept.
    const double marks[] = {0.1, 0.5, 1.0};
    Sample samples[3];
    size_t next_mark = 0;
    std::optional<Sample> first_steady, after_bus;
    Sample steady{};
    unsigned disagreements = 0, restarts = 0;
    double slowest_agree = 0;
    bool bus_restarted = false;
    double next_restart = opt.restart_every;

    auto take = [&] {
        auto stop = run.pause.stop();
        return sample(now_s(run.start), run.calls);
    };

    Latencies latency;  // management calls probed every 100 ms
    long rss_max = 0;
    Slope rss_trend;  // over the second half of the run
    double next_probe = 0;
    while (next_mark < 3) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (now_s(run.start) >= next_probe) {
            next_probe = now_s(run.start) + 0.1;
            auto t0 = Clock::now();
            if (run_management(nullptr, 0, 1) == 0)
                latency.add(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
            const long rss = status_field("VmRSS");
            rss_max = std::max(rss_max, rss);
            if (progress() >= 0.5)
                rss_trend.add(now_s(run.start), static_cast<double>(rss));
        }
        const double p = progress();
        if (p >= marks[next_mark]) {
            Sample &s = samples[next_mark++] = take();
            // The last figures are the lowest of three takes: a leak does not shrink, while
            // a reply or a cache reload under way when one take is made does.
            for (int i = 0; next_mark == 3 && i < 2; i++) {
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
                const Sample again = take();
                s.rss_kb = std::min(s.rss_kb, again.rss_kb);
                s.anon_kb = std::min(s.anon_kb, again.anon_kb);
                s.heap_kb = std::min(s.heap_kb, again.heap_kb);
            }
            continue;
        }
        if (now_s(run.start) < next_restart)
            continue;
        steady = take();
        if (!first_steady)
            first_steady = steady;
        if (bus_restarted && !after_bus)
            after_bus = steady;
        OvanDeviceSetDevName(("before-" + std::to_string(restarts + 1)).c_str());
        Window w{now_s(run.start), 0};
        const bool whole_bus = !bus_restarted && p >= 0.5;
        if (whole_bus) {
            auto stop = run.pause.stop();
            bus_restarted = true;
            bus.restart();
            sim->wait_ready();
            if (!host_service())
                fprintf(stderr, "soak: the service did not come back after the bus restart\n");
        } else {
            sim.reset();
            // A loaded machine may fail a spawn now and then: that is not the library's.
            // A failed attempt is stopped before the next starts, or it may still hold
            // the gateway's name.
            for (int tries = 0; tries < 3 && !(sim && sim->ok()); tries++) {
                sim.reset();
                sim = std::make_unique<lumo::test::Simulator>(bus, sim_options);
            }
        }
        restarts++;
        // The gateway's values came back without a change signal; then a change
        // right after the restart must reach the caches too.
        double back = 0, took = 0;
        bool agreed = false;
        for (int round = 0; round < 2; round++) {
            auto stop = run.pause.stop();  // calls in flight may take a while to fail
            back = now_s(run.start);
            if (round == 1)
                OvanDeviceSetDevName(("after-" + std::to_string(restarts)).c_str());
            while (!(agreed = caches_agree()) && now_s(run.start) - back < 1.0)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            took = std::max(took, now_s(run.start) - back);
            if (!agreed)
                break;
        }
        slowest_agree = std::max(slowest_agree, took);
        fprintf(stderr, "soak: %.1f s: %s restarted, caches %s after %.3f s; before it RSS %ld KiB, heap %ld KiB\n",
                back, whole_bus ? "bus daemon" : "gateway", agreed ? "agree" : "DISAGREE", took, steady.rss_kb,
                steady.heap_kb);
        if (!agreed)
            disagreements++;
        w.to = now_s(run.start) + 1.0;  // calls in flight at the restart end by then
        {
            std::lock_guard<std::mutex> lock(run.mutex);
            run.windows.push_back(w);
        }
        tally(run);
        next_restart = now_s(run.start) + opt.restart_every;
    }
    run.done = true;
    for (auto &t : threads)
        t.join();
    const double elapsed = now_s(run.start);

    tally(run);
    const uint64_t outside = run.outside, inside = run.inside;
    printf("calls: %lu in %.1f s, %.0f calls/s\n", run.calls.load(), elapsed,
           static_cast<double>(run.calls) / elapsed);
    printf("restarts: %u of the gateway%s\n", restarts, bus_restarted ? " (one of them of the bus daemon)" : "");
    printf("failures: %" PRIu64 " outside the restart windows, %" PRIu64 " inside\n", outside, inside);
    for (size_t k = 0; k < run.ops.size(); k++)
        if (run.op_failures[k])
            printf("  %s: %" PRIu64 "\n", run.ops[k].name.c_str(), run.op_failures[k]);
    printf("written values lost: %lu\n", g_lost.load());
    printf("caches equal to the gateway after each restart: %u of %u, slowest %.3f s\n", restarts - disagreements,
           restarts, slowest_agree);
    for (size_t i = 0; i < next_mark; i++)
        printf("at %3.0f%%: %" PRIu64 " calls, RSS %ld KiB (anon %ld, file %ld), heap in use %ld KiB, %ld fds, "
               "%ld threads\n",
               marks[i] * 100, samples[i].calls, samples[i].rss_kb, samples[i].anon_kb, samples[i].file_kb,
               samples[i].heap_kb, samples[i].fds, samples[i].threads);

    // Warm-up lasts until every kind of event has run once, the bus daemon's restart
    // half-way included, and the allocator's pools have grown to the workload: memory is
    // judged from the first sample after the bus restart. Descriptors and threads must
    // not grow at all, from the first restart on.
    bool leak = false;
    auto growth = [](long from, long to) {
        return 100.0 * static_cast<double>(to - from) / static_cast<double>(from);
    };
    if (first_steady) {
        const Sample &first = *first_steady, &b = samples[next_mark - 1];
        const Sample &a = after_bus ? *after_bus : first;
        if (&a != &first)
            printf("warm-up (%.1f to %.1f s): RSS %+.2f%% (anon %+ld KiB, file %+ld KiB), heap in use %+ld KiB\n",
                   first.at, a.at, growth(first.rss_kb, a.rss_kb), a.anon_kb - first.anon_kb,
                   a.file_kb - first.file_kb, a.heap_kb - first.heap_kb);
        printf("after warm-up (%.1f s): RSS %+.2f%% (anon %+ld KiB, file %+ld KiB), heap in use %+ld KiB; "
               "from the first restart: fds %+ld, threads %+ld\n",
               a.at, growth(a.rss_kb, b.rss_kb), b.anon_kb - a.anon_kb, b.file_kb - a.file_kb, b.heap_kb - a.heap_kb,
               b.fds - first.fds, b.threads - first.threads);
        const long slack = opt.ci ? 2 : 0;
        // A short run judges from the first restart, with room for a loaded machine.
        // "Heap in use" counts live blocks exactly only with the allocator's caches off.
        const Sample &from = opt.ci ? first : a;
        const double rss_limit_kb = opt.ci ? static_cast<double>(from.rss_kb) * 0.25 + 4096
                                           : static_cast<double>(from.rss_kb) * 0.01;
        const long heap_limit_kb = opt.ci ? 256 : from.rss_kb / 100;
        const bool heap_exact = slices_off && tcache_off && from.heap_kb >= 0;
        leak = b.fds - first.fds > slack || b.threads - first.threads > slack ||
               static_cast<double>(b.rss_kb - from.rss_kb) > rss_limit_kb ||
               (heap_exact && b.heap_kb - from.heap_kb > heap_limit_kb);
    }
    if (latency.count())
        printf("management calls: %" PRIu64 " probes, median %.2f ms, 99%% %.2f ms, max %.2f ms; highest RSS %ld KiB\n",
               latency.count(), latency.at(0.5), latency.at(0.99), latency.max(), rss_max);
    if (opt.flood && rss_trend.n > 10)
        printf("RSS slope over the second half: %+.1f KiB/s\n", rss_trend.value());
    if (opt.flood && !caches_agree()) {
        printf("caches differ from the gateway under the flood\n");
        disagreements++;
    }
    const bool failed = outside > 0 || g_lost > 0 || disagreements > 0 || leak;
    printf("soak: %s\n", failed ? "FAILED" : "ok");
    {
        std::lock_guard<std::mutex> lock(g_client_mutex);
        g_clear_object(&g_client);
    }
    OvanDBusStopService();
    OvanDBusNodeInfoUnref(g_node);
    return failed ? 1 : 0;
}
