// The connection bus calls run on: kept across calls, replaced after the bus went
// away (when the application keeps the process alive), fatal by default.
#include <atomic>
#include <csignal>
#include <set>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "support/temp_root.hpp"
#include "core/log_sink.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

// The distinct senders of the calls the simulator logged.
std::set<std::string> senders(Simulator &sim, size_t expected_calls)
{
    std::set<std::string> out;
    auto calls = sim.call_log();
    EXPECT_EQ(calls.size(), expected_calls);
    for (const auto &c : calls)
        out.insert(c.sender);
    return out;
}

bool shared_connection_closed()
{
    GPtr<GDBusConnection> c(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return !c || g_dbus_connection_is_closed(c.get());
}

// Counts log lines from any thread (LogCapture is not made for several writers).
std::atomic<int> g_logged{0};
const lumo::logsink::Sink kCountingSink{[](const char *, int, int) {}, [](int, const char *) { g_logged++; },
                                        [] {}};

// Nobody but the library holds a connection of this process between calls, whatever
// the call and whichever thread makes it.
TEST_F(SimTest, CallsFromSeveralThreadsShareOneConnection)
{
    lumo::logsink::set(&kCountingSink);
    // The first call (and the log's implicit opening) happens alone.
    ASSERT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", nullptr), 0);
    ASSERT_TRUE(sim.clear_call_log());

    constexpr int kThreads = 4, kCalls = 25;
    std::atomic<int> failures{0};
    auto work = [](gpointer data) -> gpointer {
        auto *failed = static_cast<std::atomic<int> *>(data);
        for (int i = 0; i < kCalls; ++i) {
            OvanVariant *v = nullptr;
            if (OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", &v) != 0)
                (*failed)++;
            else
                OvanVariantUnRef(v);
            if (OvanDBusGetAllProperty(kGw, kDevicePath, kDeviceIface, nullptr) != 0 ||
                OvanDBusCallMethod(kGw, kDevicePath, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr,
                                   nullptr, -1) != 0 ||
                OvanGetNumOfNodes(kGw, "/com/quv/igd1", nullptr, nullptr) <= 0)
                (*failed)++;
        }
        return nullptr;
    };
    std::vector<GThread *> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.push_back(g_thread_new("caller", work, &failures));
    for (GThread *t : threads)
        g_thread_join(t);
    lumo::logsink::set(nullptr);
    EXPECT_EQ(failures, 0);
    EXPECT_GE(g_logged, 3 * 2 * kThreads * kCalls) << "entry and exit line of every call";

    EXPECT_EQ(senders(sim, 4 * kThreads * kCalls).size(), 1u) << "a new bus connection per call";
}

// How the application turns exit-on-close off (the parameter): keeping its own
// reference to the shared connection, or turning it off once the library made its
// first call.
class BusRestart : public SimTest, public ::testing::WithParamInterface<bool> {};

TEST_P(BusRestart, NextCallConnectsAfresh)
{
    const bool app_keeps_reference = GetParam();
    GPtr<GDBusConnection> app;
    if (app_keeps_reference) {
        app.reset(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        ASSERT_TRUE(app);
        g_dbus_connection_set_exit_on_close(app.get(), FALSE);
    }
    ASSERT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", nullptr), 0);
    if (!app_keeps_reference) {
        GPtr<GDBusConnection> c(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        ASSERT_TRUE(c);
        g_dbus_connection_set_exit_on_close(c.get(), FALSE);
    }

    ASSERT_TRUE(bus.restart());
    ASSERT_TRUE(sim.wait_ready());
    ASSERT_TRUE(sim.clear_call_log());
    ASSERT_TRUE(wait_until(shared_connection_closed)) << "the old connection noticed the restart";

    for (int i = 0; i < 2; ++i) {
        OvanVariant *value = nullptr;
        ASSERT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", &value), 0)
            << "call " << i << " after the restart\n"
            << dump();
        OvanVariantUnRef(value);
        EXPECT_EQ(OvanDBusCallMethod(kGw, kDevicePath, "org.freedesktop.DBus.Introspectable", "Introspect",
                                     nullptr, nullptr, -1),
                  0);
    }
    // (Unique names start over with the new daemon, so they cannot be compared with
    // the one from before.)
    EXPECT_EQ(senders(sim, 4).size(), 1u) << "connected afresh once, then kept";
}

INSTANTIATE_TEST_SUITE_P(ExitOnCloseOff, BusRestart, ::testing::Bool(), [](const ::testing::TestParamInfo<bool> &i) {
    return std::string(i.param ? "AppKeepsReference" : "AppKeepsNothing");
});

TEST(ConnectionDeathTest, BusGoingAwayEndsTheProcessByDefault)
{
    TempRoot tmp("TMPDIR");  // the children leave their private buses there
    EXPECT_EXIT(
        {
            PrivateBus bus;
            if (!bus.ok())
                std::exit(3);
            // Not answered (nobody owns the name), but the connection is made.
            OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", nullptr);
            bus.stop();
            // The end is delivered through the main context, as in any application
            // running a main loop.
            const gint64 deadline = g_get_monotonic_time() + 10 * G_USEC_PER_SEC;
            while (g_get_monotonic_time() < deadline) {
                g_main_context_iteration(nullptr, FALSE);
                g_usleep(5000);
            }
            std::exit(0);
        },
        ::testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
