// Signals on the hosted service's connection: emitting, subscribing, dispatching
// to the application's handlers in the "mainLoop" thread.
#include <pthread.h>
#include <syslog.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kName[] = "com.example.sigtest1";
constexpr const char kSigPath[] = "/com/quv/igd1/Test/Sig";
constexpr const char kSigIface[] = "com.quv.igd1.Test";

// What one handler saw; written in the thread that dispatches signals.
struct Seen {
    std::atomic<int> count{0};
    std::mutex mu;
    std::string thread, sender, path, iface, signal, params;
};

void record(const char *sender, const char *path, const char *iface, const char *signal, OvanVariant *params,
            void *user_data)
{
    auto *seen = static_cast<Seen *>(user_data);
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    {
        std::lock_guard<std::mutex> lock(seen->mu);
        seen->thread = name;
        seen->sender = sender ? sender : "";
        seen->path = path ? path : "";
        seen->iface = iface ? iface : "";
        seen->signal = signal ? signal : "";
        GStr text(params ? g_variant_print(params, TRUE) : g_strdup("NULL"));
        seen->params = text.get();
    }
    seen->count++;
}

size_t subscriptions()
{
    size_t n = 0;
    for (auto *r = qzr_dbus_sigsubst_list_head; r; r = r->next)
        n++;
    return n;
}

TEST_F(SimTest, NothingWithoutAService)
{
    Seen seen;
    EXPECT_EQ(OvanDBusSubscribeSignal(nullptr, kSigPath, kSigIface, "Changed", record, &seen), 0u);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusSubscribeSignal",
                            "sender_name(), object_path(/com/quv/igd1/Test/Sig), interface_name(com.quv.igd1.Test), "
                            "signal_name(Changed)"))
        << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusSubscribeSignal", "connection is NULL, just return.")) << dump();
    EXPECT_EQ(qzr_dbus_sigsubst_list_head, nullptr);

    // A floating parameter tuple is consumed even though nothing is sent.
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, kSigPath, kSigIface, "Changed", g_variant_new("(s)", "x")), 0);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusEmitSignal", "connection is NULL.")) << dump();

    OvanDBusUnSubscribeSignal(4);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusUnSubscribeSignal", "subid (4)")) << dump();

    // A context without a connection is no better.
    ScopedContext ctx;
    EXPECT_EQ(OvanDBusSubscribeSignal(kGw, kSigPath, kSigIface, "Changed", record, &seen), 0u);
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, kSigPath, kSigIface, "Changed", nullptr), 0);
    EXPECT_EQ(qzr_dbus_sigsubst_list_head, nullptr);
}

class Signals : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        ASSERT_EQ(OvanDBusStartService(kName), 0) << dump();
        log.clear();
    }
    void TearDown() override
    {
        if (qzr_dbus_service_context)
            OvanDBusStopService();
        SimTest::TearDown();
    }

    // One round trip on the service connection: the bus has seen every match rule
    // this connection sent before.
    void settle()
    {
        ASSERT_EQ(OvanDBusCallMethod("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
                                     nullptr, nullptr, -1),
                  0);
    }
};

TEST_F(Signals, IdenticalSubscriptionsBothGetTheSignal)
{
    Seen a, b;
    const uint32_t id_a = OvanDBusSubscribeSignal(kGw, kSigPath, kSigIface, "Changed", record, &a);
    const uint32_t id_b = OvanDBusSubscribeSignal(kGw, kSigPath, kSigIface, "Changed", record, &b);
    ASSERT_GT(id_a, 0u);
    ASSERT_GT(id_b, 0u);
    EXPECT_NE(id_a, id_b);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusSubscribeSignal", "subid (" + std::to_string(id_a) + ")"));
    // Newest first, filters copied.
    ASSERT_EQ(subscriptions(), 2u);
    const OvanDBusSigSubst_t *head = qzr_dbus_sigsubst_list_head;
    EXPECT_EQ(head->subid, id_b);
    EXPECT_EQ(head->next->subid, id_a);
    EXPECT_STREQ(head->sender_name, kGw);
    EXPECT_STREQ(head->object_path, kSigPath);
    EXPECT_STREQ(head->interface_name, kSigIface);
    EXPECT_STREQ(head->signal_name, "Changed");
    EXPECT_EQ(head->user_data, &b);
    settle();

    ASSERT_TRUE(sim.emit_signal(kSigPath, kSigIface, "Changed", g_variant_new("(si)", "level", 3)));
    ASSERT_TRUE(wait_until([&] { return a.count == 1 && b.count == 1; })) << a.count << " " << b.count;
    for (Seen *s : {&a, &b}) {
        std::lock_guard<std::mutex> lock(s->mu);
        EXPECT_EQ(s->thread, "mainLoop");
        EXPECT_EQ(s->sender, name_owner(bus, kGw));
        EXPECT_EQ(s->path, kSigPath);
        EXPECT_EQ(s->iface, kSigIface);
        EXPECT_EQ(s->signal, "Changed");
        EXPECT_EQ(s->params, "('level', 3)");
    }
    // Filters apply: another member reaches neither; a second one reaches each once more.
    ASSERT_TRUE(sim.emit_signal(kSigPath, kSigIface, "Other", g_variant_new("(i)", 1)));
    ASSERT_TRUE(sim.emit_signal(kSigPath, kSigIface, "Changed", g_variant_new("(si)", "level", 4)));
    ASSERT_TRUE(wait_until([&] { return a.count == 2 && b.count == 2; })) << a.count << " " << b.count;
    EXPECT_TRUE(log_mentions(log, "Received a signal: sender(")) << dump();

    // Subscriptions outlive the service; without its connection none is removed.
    ASSERT_EQ(OvanDBusStopService(), 0);
    EXPECT_EQ(subscriptions(), 2u) << "stopping does not clear the list";
    log.clear();
    OvanDBusUnSubscribeSignal(id_a);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusUnSubscribeSignal", "connection is NULL, just return.")) << dump();
    EXPECT_EQ(subscriptions(), 2u) << "and the record stays";
}

TEST_F(Signals, UnsubscribeRemovesOnlyTheGivenId)
{
    Seen gone, barrier;
    const uint32_t id = OvanDBusSubscribeSignal(nullptr, kSigPath, kSigIface, "Changed", record, &gone);
    const uint32_t id_barrier = OvanDBusSubscribeSignal(nullptr, kSigPath, kSigIface, "Barrier", record, &barrier);
    ASSERT_GT(id, 0u);
    ASSERT_GT(id_barrier, 0u);
    EXPECT_EQ(qzr_dbus_sigsubst_list_head->sender_name, nullptr) << "a NULL filter stays NULL";

    const OvanDBusSigSubst_t *head = qzr_dbus_sigsubst_list_head;
    OvanDBusUnSubscribeSignal(id + id_barrier + 100);
    EXPECT_EQ(qzr_dbus_sigsubst_list_head, head);
    EXPECT_EQ(subscriptions(), 2u);

    OvanDBusUnSubscribeSignal(id);
    ASSERT_EQ(subscriptions(), 1u);
    EXPECT_EQ(qzr_dbus_sigsubst_list_head->subid, id_barrier);
    settle();

    // Signals come in order: once the barrier arrived, the removed one would have too.
    ASSERT_TRUE(sim.emit_signal(kSigPath, kSigIface, "Changed", g_variant_new("(i)", 1)));
    ASSERT_TRUE(sim.emit_signal(kSigPath, kSigIface, "Barrier", g_variant_new("(i)", 2)));
    ASSERT_TRUE(wait_until([&] { return barrier.count == 1; }));
    EXPECT_EQ(gone.count, 0);

    OvanDBusUnSubscribeSignal(id_barrier);
    EXPECT_EQ(qzr_dbus_sigsubst_list_head, nullptr);
}

TEST_F(Signals, HandlerOfARemovedSubscriptionIsNotCalled)
{
    Seen seen;
    OvanDBusSigSubst_t stale{};
    stale.subid = 999;
    stale.callback = record;
    stale.user_data = &seen;
    GPtr<GVariant> params = lumo::ref_sink(g_variant_new("(i)", 1));
    _OvanBusGenericSignalFunction(nullptr, ":1.9", "/p/q", "a.b", "Sig", params.get(), &stale);
    EXPECT_EQ(seen.count, 0);
    EXPECT_TRUE(logged(LOG_ERR, "_OvanBusGenericSignalFunction",
                            "Signal [sender(:1.9) path(/p/q), interface(a.b), signal(Sig)] not Subscribed by any APP."))
        << dump();
    _OvanBusGenericSignalFunction(nullptr, ":1.9", "/p/q", "a.b", "Sig", params.get(), nullptr);
    EXPECT_TRUE(logged(LOG_DEBUG, "_OvanBusGenericSignalFunction", "Empty user_data, illegal."));
}

// Broadcast, sent to one peer, without parameters or with a value the caller keeps:
// emitted without an error line.
TEST_F(Signals, EmittedToOtherProcesses)
{
    // `gdbus monitor` as another process on the bus; it subscribes asynchronously:
    // emit until it shows the signal.
    Background monitor({"gdbus", "monitor", "--address", bus.address(), "--dest", kName});
    auto shown = [](const std::string &t) { return t.find("com.example.Test.Hello ('world', uint32 7)") != std::string::npos; };
    bool seen = false;
    for (int i = 0; i < 100 && !seen; ++i) {
        ASSERT_EQ(OvanDBusEmitSignal(nullptr, "/com/example/Obj", "com.example.Test", "Hello",
                                     g_variant_new("(su)", "world", 7u)),
                  1);
        seen = monitor.read_until(false, shown, 50);
    }
    EXPECT_TRUE(seen) << monitor.out;

    EXPECT_EQ(OvanDBusEmitSignal(kGw, "/com/example/Obj", "com.example.Test", "Direct", g_variant_new("(b)", TRUE)),
              1);
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, "/com/example/Obj", "com.example.Test", "Bare", nullptr), 1);
    GVariant *kept = g_variant_ref_sink(g_variant_new("(i)", 5));
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, "/com/example/Obj", "com.example.Test", "Kept", kept), 1);
    EXPECT_EQ(printed(kept), "(5,)") << "a value the caller holds stays usable";
    g_variant_unref(kept);
    for (const auto &l : log.lines())
        EXPECT_FALSE(l.priority == LOG_ERR && l.text.find("] OvanDBusEmitSignal: ") != std::string::npos) << l.text;
}

TEST_F(Signals, EmitErrorNamesNullDestination)
{
    // Refused before sending: not an object path.
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, "not/a/path", "com.example.Test", "Hello", g_variant_new("(i)", 1)), 0);
    EXPECT_TRUE(log.contains("OvanDBusEmitSignal: S(NULL), O(not/a/path), I(com.example.Test), S(Hello): E<", LOG_ERR))
        << dump();
    ASSERT_NE(OvanGetErrMsg(), nullptr);

    // Refused by the bus library: the connection is gone.
    g_dbus_connection_close_sync(qzr_dbus_service_context->connection, nullptr, nullptr);
    // The name is lost with the connection; that is logged from the "mainLoop" thread.
    ASSERT_TRUE(
        wait_until([] { return __atomic_load_n(&qzr_dbus_service_context->errState, __ATOMIC_ACQUIRE) == 1; }));
    log.clear();
    EXPECT_EQ(OvanDBusEmitSignal(nullptr, "/com/example/Obj", "com.example.Test", "Hello", nullptr), 0);
    const char *err = OvanGetErrMsg();
    ASSERT_NE(err, nullptr);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusEmitSignal",
                            std::string("S(NULL), O(/com/example/Obj), I(com.example.Test), S(Hello): E<") + err + ">"))
        << dump();
}

}  // namespace
