// A gateway flooding the bus with object-manager announcements while the log is slow:
// the cache still handles every signal and stays current, and the log lines it could
// not afford are counted in one line instead of holding it back.
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "core/log_sink.hpp"
#include "lumo3_cache.h"

namespace {

using namespace lumo::test;

constexpr const char kHosts[] = "/com/quv/igd1/Config/LANHosts";
constexpr const char kOM[] = "com.quv.igd1.ObjectManager";

// Never destroyed: the cache thread may still log while the test process exits.
std::mutex g_lock;
std::vector<std::string> &g_lines = *new std::vector<std::string>;  // under g_lock

void open_nothing(const char *, int, int) {}
void close_nothing() {}
void slow_write(int, const char *message)
{
    g_usleep(10 * 1000);  // a console: a hundred lines a second
    std::lock_guard<std::mutex> hold(g_lock);
    g_lines.emplace_back(message ? message : "");
}
const lumo::logsink::Sink kSlowLog{open_nothing, slow_write, close_nothing};

size_t lines_with(const std::string &needle)
{
    std::lock_guard<std::mutex> hold(g_lock);
    size_t n = 0;
    for (const auto &l : g_lines)
        n += l.find(needle) != std::string::npos;
    return n;
}

uint32_t host_count()
{
    OvanLANHostCache_t *list = nullptr;
    uint32_t n = 0;
    if (OvanGetLANHostObjs_Cache(&list, &n) != 0)
        n = 0;
    g_free(list);
    return n;
}

using CacheFlood = SimTest;

TEST_F(CacheFlood, SlowLogDoesNotHoldTheCacheBack)
{
    const uint32_t before = host_count();
    ASSERT_GT(before, 0u);
    lumo::logsink::set(&kSlowLog);
    const gint64 start = g_get_monotonic_time();
    // 300 signals would take the log six seconds: two lines each.
    constexpr size_t kSignals = 300;
    const char *gone = "(@o '/com/quv/igd1/Config/LANHosts/900', ['com.quv.igd1.LANHost'])";
    for (size_t i = 0; i < kSignals; i++)
        ASSERT_TRUE(sim.emit_signal(kHosts, kOM, "InterfacesRemoved", parse_variant(gone).release()));
    ASSERT_TRUE(sim.add_object("/com/quv/igd1/Config/LANHosts/901", "{'com.quv.igd1.LANHost': {'MAC': <'020000000901'>}}"));
    // The announcement after the flood is handled, whether it got its lines or not.
    EXPECT_TRUE(wait_until([&] { return host_count() == before + 1; }, 20000));
    EXPECT_LT(lines_with("/com/quv/igd1/Config/LANHosts/900"), kSignals) << "every signal got its lines";

    // The next signal after the second is over counts what was left out (on a slow
    // machine the flood itself may have spanned more than one second).
    g_usleep(static_cast<gulong>(std::max<gint64>(0, start + 1100 * 1000 - g_get_monotonic_time())));
    ASSERT_TRUE(sim.emit_signal(kHosts, kOM, "InterfacesRemoved", parse_variant(gone).release()));
    EXPECT_TRUE(wait_until([] { return lines_with("signals left out: the log is too slow for them") >= 1; }));
}

}  // namespace
