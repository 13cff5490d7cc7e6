// The management object an application hosts, seen from outside through gdbus as
// the framework sees it, and the application's alarm signal.
#include <pthread.h>
#include <syslog.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "appframework/app_support.hpp"
#include "lumo3_app.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kDemo[] = "com.quv.demo";
constexpr const char kDemoPath[] = "/com/quv/demo";
constexpr const char kMgt[] = "com.quv.demo.management";

std::atomic<int> g_stops{0};
std::atomic<bool> g_in_loop_thread{false};
std::mutex g_message_lock;  // the message arrives in the "mainLoop" thread
std::string g_last_message;

std::string last_message()
{
    std::lock_guard<std::mutex> hold(g_message_lock);
    return g_last_message;
}

OvanDBusServiceContext_t *published_context()
{
    return __atomic_load_n(&qzr_dbus_service_context, __ATOMIC_ACQUIRE);
}

bool in_main_loop()
{
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return std::string(name) == "mainLoop";
}
int stop_ok()
{
    g_in_loop_thread = in_main_loop();
    g_stops++;
    return 0;
}
int reload_fails() { return 3; }
int restore_ok() { return 0; }
const char *echo(const char *msg)
{
    std::lock_guard<std::mutex> hold(g_message_lock);
    g_last_message = msg;
    return msg;
}
const char *stats() { return "{\"uptime\":42}"; }
const char *null_text() { return nullptr; }
const char *null_msg(const char *) { return nullptr; }
int stop_service_from_callback() { return OvanDBusStopService(); }

const OvanAppMgtFuncs_t kFull = {stop_ok, reload_fails, restore_ok, echo, stats};

class Management : public BusTest {
protected:
    void TearDown() override
    {
        for (GDBusNodeInfo *n : nodes)
            OvanDBusNodeInfoUnref(n);
        if (published_context())
            OvanDBusStopService();
        BusTest::TearDown();
    }
    GDBusNodeInfo *reg(const OvanAppMgtFuncs_t *funcs)
    {
        GDBusNodeInfo *n = OvanAppRegisterMgtFuncs(funcs);
        if (n)
            nodes.push_back(n);
        return n;
    }
    RunResult call(const char *method, std::vector<std::string> args = {}, const char *dest = kDemo,
                   const char *path = kDemoPath, const std::string &iface = kMgt)
    {
        return gdbus_call(bus, dest, path, iface + "." + method, args);
    }
    std::vector<GDBusNodeInfo *> nodes;
};

using Names = std::vector<std::string>;

TEST_F(Management, RegistrationNeedsAStartedService)
{
    EXPECT_EQ(OvanAppRegisterMgtFuncs(&kFull), nullptr);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAppRegisterMgtFuncs", "Please call OvanDBusStartService before this func."))
        << dump();
}

TEST_F(Management, InterfaceHasAMethodPerCallbackInFixedOrder)
{
    ASSERT_EQ(OvanDBusStartService(kDemo), 0) << dump();
    static const OvanAppMgtFuncs_t only_stop = {stop_ok, nullptr, nullptr, nullptr, nullptr};
    static const OvanAppMgtFuncs_t msg_and_restore = {nullptr, nullptr, restore_ok, echo, nullptr};
    const struct {
        const char *label;
        const OvanAppMgtFuncs_t *funcs;
        Names want;
    } cases[] = {
        {"no table", nullptr, {}},  // registered first: an empty interface still goes on the bus
        {"only stop", &only_stop, {"Stop"}},
        {"message and restore", &msg_and_restore, {"PostMsg", "Restore"}},
        {"all", &kFull, {"Stop", "Reload", "PostMsg", "Restore", "GetStatistics"}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        GDBusNodeInfo *node = reg(c.funcs);
        ASSERT_NE(node, nullptr) << dump();
        EXPECT_STREQ(node->interfaces[0]->name, kMgt);
        Names names;
        for (GDBusMethodInfo **m = node->interfaces[0]->methods; m && *m; ++m)
            names.emplace_back((*m)->name);
        EXPECT_EQ(names, c.want);
        EXPECT_EQ(qzr_dbus_service_context->mgt_funcs, c.funcs);
    }
    // Only the first registration reached the bus; the later ones were refused.
    EXPECT_EQ(errors_from(log, "OvanAppRegisterMgtFuncs"), 3u) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanAppRegisterMgtFuncs", "Failed to register management object com.quv.demo."));
    RunResult r = run_program({"gdbus", "introspect", "--address", bus.address(), "--dest", kDemo, "--object-path",
                               kDemoPath});
    EXPECT_EQ(r.exit_status, 0) << r.err;
    EXPECT_NE(r.out.find("interface com.quv.demo.management {"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("Stop"), std::string::npos) << r.out;
}

// Each method as the framework calls it, with the full table, then with a table of
// missing callbacks (the object keeps its methods; the table is read at each call),
// then with callbacks that answer NULL.
TEST_F(Management, FrameworkCallsReachTheCallbacksOrAnswerWithoutThem)
{
    ASSERT_EQ(OvanDBusStartService(kDemo), 0) << dump();
    static const OvanAppMgtFuncs_t empty = {};
    static const OvanAppMgtFuncs_t nulls = {nullptr, nullptr, nullptr, null_msg, null_text};
    const struct {
        const OvanAppMgtFuncs_t *funcs;
        const char *method;
        std::vector<std::string> args;
        int exit_status;
        const char *out;    // in standard output on success, in standard error on failure
        const char *field;  // the callback logged as missing
    } cases[] = {
        {&kFull, "Stop", {}, 0, "(0,)", nullptr},
        {&kFull, "Reload", {}, 1, "org.freedesktop.DBus.Error.Failed", nullptr},  // a non-zero result is an error
        {&kFull, "Restore", {}, 0, "(0,)", nullptr},
        {&kFull, "PostMsg", {"héllo there"}, 0, "('héllo there',)", nullptr},
        {&kFull, "GetStatistics", {}, 0, "('{\"uptime\":42}',)", nullptr},
        {&empty, "Stop", {}, 0, "(0,)", "stop"},
        {&empty, "Reload", {}, 0, "(0,)", "reload"},
        {&empty, "Restore", {}, 0, "(0,)", "restore_factory"},
        {&empty, "PostMsg", {"x"}, 0, "('',)", "post_msg"},
        {&empty, "GetStatistics", {}, 1, "com.quv.demo do not provide GetStatistics callback", "get_stats"},
        {&nulls, "PostMsg", {"x"}, 0, "('',)", nullptr},
        {&nulls, "GetStatistics", {}, 1, "com.quv.demo get_stats callback returned no valid text", nullptr},
    };
    const OvanAppMgtFuncs_t *registered = nullptr;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.method);
        if (c.funcs != registered) {
            ASSERT_NE(reg(registered = c.funcs), nullptr) << dump();
        }
        RunResult r = call(c.method, c.args);
        EXPECT_EQ(r.exit_status, c.exit_status) << r.out << r.err;
        EXPECT_NE((c.exit_status == 0 ? r.out : r.err).find(c.out), std::string::npos) << r.out << r.err;
        if (c.field) {
            EXPECT_TRUE(logged(LOG_INFO, "_handle_method_call",
                               std::string("com.quv.demo ") + c.field + " callback is null"))
                << dump();
        }
        if (c.funcs == &empty && c.exit_status) {
            EXPECT_STREQ(OvanGetErrMsg(), "com.quv.demo do not provide GetStatistics callback");
        }
    }
    EXPECT_EQ(g_stops, 1);
    EXPECT_TRUE(g_in_loop_thread);
    EXPECT_EQ(last_message(), "héllo there");
}

TEST_F(Management, DispatcherIgnoresUnknownMethods)
{
    ScopedContext ctx(kDemo);
    OvanVariant *reply = nullptr;
    EXPECT_EQ(interface_vtable.method_call(kDemoPath, kMgt, "Frobnicate", nullptr, &reply, nullptr), 0);
    EXPECT_EQ(reply, nullptr);
    // No context at all (the service is being torn down): answers, never crashes.
    qzr_dbus_service_context = nullptr;
    EXPECT_EQ(interface_vtable.method_call(kDemoPath, kMgt, "Stop", nullptr, &reply, nullptr), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(printed(reply), "(0,)");
    g_variant_unref(g_variant_ref_sink(reply));
}

TEST_F(Management, StopCallbackMayStopTheService)
{
    ASSERT_EQ(OvanDBusStartService(kDemo), 0) << dump();
    static const OvanAppMgtFuncs_t funcs = {stop_service_from_callback, nullptr, nullptr, nullptr, nullptr};
    ASSERT_NE(reg(&funcs), nullptr);
    RunResult r = call("Stop");
    EXPECT_EQ(r.exit_status, 0) << r.err;
    EXPECT_NE(r.out.find("(0,)"), std::string::npos) << r.out;
    EXPECT_TRUE(wait_until([] { return published_context() == nullptr; }));
}

TEST_F(Management, LongServiceNamesAreCutBeforeTheDotsBecomeSlashes)
{
    const std::string x(30, 'x'), y(31, 'y');
    const std::string name = "com.quv." + x + "." + y;  // 70 characters
    ASSERT_EQ(name.size(), 70u);
    ASSERT_EQ(OvanDBusStartService(name.c_str()), 0) << dump();
    static const OvanAppMgtFuncs_t only_stop = {stop_ok, nullptr, nullptr, nullptr, nullptr};
    GDBusNodeInfo *node = reg(&only_stop);
    ASSERT_NE(node, nullptr) << dump();
    const std::string kept = name.substr(0, 63);  // the service context holds 63
    EXPECT_EQ(std::string(node->interfaces[0]->name), kept + ".management");
    const std::string path = "/com/quv/" + x + "/" + y.substr(0, 23);  // 62 characters of the name
    RunResult r = call("Stop", {}, name.c_str(), path.c_str(), kept + ".management");
    EXPECT_EQ(r.exit_status, 0) << r.err << dump();
}

class Alarm : public Management {
protected:
    void SetUp() override
    {
        Management::SetUp();
        root.write("/etc/config/appmgr", "config app 'demo'\n\toption appid '7'\nconfig app 'zero'\n\toption appid '0'\n"
                                         "config app 'big'\n\toption appid '4294967295'\n"
                                         "config app 'over'\n\toption appid '4294967296'\n");
    }
    TempRoot root;
};

// From any thread, on the path of the application's id (all 32 bits of it).
TEST_F(Alarm, SentFromTheApplicationsFrameworkPath)
{
    for (const auto &[service, id] : {std::pair{"com.quv.demo1", "7"}, std::pair{"com.quv.big1", "4294967295"}}) {
        ASSERT_EQ(OvanDBusStartService(service), 0) << dump();
        AlarmWatch alarms(bus);
        int32_t ret = -2;
        std::thread other([&] { ret = OvanAppSendAlarm("disk full"); });
        other.join();
        EXPECT_EQ(ret, 0) << dump();
        EXPECT_TRUE(alarms.wait());
        const std::string path = std::string("/com/quv/appframework1/apps/") + id;
        EXPECT_EQ(alarms.path, path);
        EXPECT_EQ(alarms.args, "('disk full',)");
        EXPECT_TRUE(logged(LOG_INFO, "OvanAppSendAlarm", "object path is " + path + " (" + service + ")")) << dump();
        ASSERT_EQ(OvanDBusStopService(), 0);
    }
}

TEST_F(Alarm, RefusedWithoutServiceMessageOrApplicationId)
{
    EXPECT_EQ(OvanAppSendAlarm("x"), -1);
    EXPECT_TRUE(logged(LOG_INFO, "OvanAppSendAlarm", "Please call OvanDBusStartService first.")) << dump();
    const char *names[] = {"com.quv.other", "com.quv.zero", "com.quv.over", "com.quv"};
    for (const char *name : names) {
        SCOPED_TRACE(name);
        ASSERT_EQ(OvanDBusStartService(name), 0) << dump();
        EXPECT_EQ(OvanAppSendAlarm(nullptr), -1);
        EXPECT_EQ(OvanAppSendAlarm(""), -1);
        EXPECT_EQ(OvanAppSendAlarm("x"), -1);
        EXPECT_TRUE(logged(LOG_INFO, "OvanAppSendAlarm", std::string("Failed to get object path (") + name + ")"))
            << dump();
        ASSERT_EQ(OvanDBusStopService(), 0);
    }
}

}  // namespace
