// The framework client calls against lumo-gwsim owning the framework's bus name:
// what is sent, what comes back, and the refusals and failures that send nothing or
// fall back to the described results.
#include <syslog.h>

#include <atomic>
#include <functional>
#include <string>

#include "appframework/app_support.hpp"
#include "lumo3_app.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kFwPath[] = "/com/quv/appframework1";
constexpr const char kAgent[] = "com.quv.appframework1.AppAgent";

class FrameworkSim : public BusTest {
protected:
    void SetUp() override
    {
        BusTest::SetUp();
        ASSERT_TRUE(sim.ok());
    }
    void reply(const char *method, const char *text) { ASSERT_TRUE(sim.script_reply(kFwPath, kAgent, method, text)); }
    std::string sent(const char *method)
    {
        GPtr<GVariant> args = last_args(sim, method);
        return args ? printed(args.get()) : "<not sent>";
    }

    Simulator sim{bus, framework_options()};
};

class AppClient : public FrameworkSim {
protected:
    ScopedContext ctx{"com.example.apptest1"};  // keeps the last error
};

TEST_F(AppClient, IntegerCallsSendTheirArgumentsAndReturnTheFrameworksWord)
{
    const struct {
        const char *label, *method, *reply, *sent;
        std::function<int32_t()> run;
        int32_t expected;
    } cases[] = {
        {"start", "Run", "(int32 3,)", "('demo',)", [] { return OvanStartApp("demo"); }, 3},
        {"stop", "Stop", "(int32 -2,)", "('demo',)", [] { return OvanStopApp("demo"); }, -2},
        {"reload", "Reload", "(int32 5,)", "('demo',)", [] { return OvanReloadApp("demo"); }, 5},
        {"uninstall", "Uninstall", "(int32 0,)", "('demo',)", [] { return OvanUninstallApp("demo"); }, 0},
        {"restore", "Restore", "(int32 9,)", "('demo',)", [] { return OvanFactoryPlugin("demo"); }, 9},
        {"kmod load", "HandleKernelMod", "(int32 1,)", "('demo', true, 'usb_storage', '')",
         [] { return OvanHandleKernelModules("demo", 4, "usb_storage", nullptr); }, 1},
        {"kmod unload", "HandleKernelMod", "(int32 2,)", "('demo', false, 'ext4', 'force')",
         [] { return OvanHandleKernelModules("demo", 0, "ext4", "force"); }, 2},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        ASSERT_TRUE(sim.clear_call_log());
        reply(c.method, c.reply);
        EXPECT_EQ(c.run(), c.expected);
        EXPECT_EQ(sent(c.method), c.sent);
        EXPECT_EQ(sim.count_calls(kFwPath, kAgent, c.method), 1u);
    }
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanStartApp", "Call Run ret [3].")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanFactoryPlugin", "Call Restore ret [9].")) << dump();
}

TEST_F(AppClient, RefusedArgumentsSendNothing)
{
    const char bad_utf8[] = "de\xffmo";
    OvanAppInfo_t *list = nullptr;
    uint32_t count = 0;
    const struct {
        const char *label;
        std::function<int64_t()> run;
        int64_t expected;
    } cases[] = {
        {"start empty", [] { return OvanStartApp(""); }, -1},
        {"stop empty", [] { return OvanStopApp(""); }, 0},
        {"reload null", [] { return OvanReloadApp(nullptr); }, 0},
        {"uninstall empty", [] { return OvanUninstallApp(""); }, -1},
        {"restore empty", [] { return OvanFactoryPlugin(""); }, 0},
        {"status null", [] { return OvanGetAppStatus(nullptr); }, -1},
        {"list no count", [&] { return OvanListApp(&list, nullptr); }, -1},
        {"list no list", [&] { return OvanListApp(nullptr, &count); }, -1},
        {"kmod no package", [] { return OvanHandleKernelModules("", 1, "m", nullptr); }, -1},
        {"kmod no module", [] { return OvanHandleKernelModules("p", 1, nullptr, nullptr); }, -1},
        {"kmod bad text", [&] { return OvanHandleKernelModules("p", 1, "m", bad_utf8); }, -1},
        {"start bad text", [&] { return OvanStartApp(bad_utf8); }, -1},
        {"post no app", [] { return reinterpret_cast<int64_t>(OvanPostMsg(nullptr, "hi")); }, 0},
        {"post bad text", [&] { return reinterpret_cast<int64_t>(OvanPostMsg("demo", bad_utf8)); }, 0},
        {"stats empty", [] { return reinterpret_cast<int64_t>(OvanGetAppStatistics("")); }, 0},
        {"install no service", [] { return int64_t{OvanInstallApp("/tmp/a.ipk", nullptr, nullptr)}; }, -1},
        {"upgrade empty", [] { return int64_t{OvanUpgradeApp("", nullptr, nullptr)}; }, -1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.run(), c.expected) << c.label;
    OvanAppStatus_t unterminated;
    memset(&unterminated, 'x', sizeof unterminated);
    EXPECT_EQ(OvanGetAppStatus(&unterminated), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_TRUE(logged(LOG_ERR, "OvanUninstallApp", "empty app name.")) << dump();
}

TEST_F(AppClient, FailedOrMistypedAnswersFallBackToZeroAndLeaveOutputsAlone)
{
    OvanAppStatus_t st{};
    g_strlcpy(st.name, "demo", sizeof st.name);
    g_strlcpy(st.status, "before", sizeof st.status);
    OvanAppInfo_t *list = reinterpret_cast<OvanAppInfo_t *>(&st);
    uint32_t count = 77;
    // An error, a reply of the wrong type, and no answer at all.
    ASSERT_TRUE(sim.script_error(kFwPath, kAgent, "Run", "org.freedesktop.DBus.Error.Failed", "busy"));
    reply("Stop", "('zero',)");
    reply("GetStatus", "(int32 1,)");
    reply("List", "(['a'],)");
    reply("PostMsg", "(int32 1,)");
    ASSERT_TRUE(sim.script_error(kFwPath, kAgent, "GetStatistics", "org.freedesktop.DBus.Error.Failed", "nope"));

    EXPECT_EQ(OvanStartApp("demo"), 0);
    EXPECT_STREQ(OvanGetErrMsg(), "GDBus.Error:org.freedesktop.DBus.Error.Failed: busy");
    EXPECT_EQ(OvanStopApp("demo"), 0);
    EXPECT_NE(std::string(OvanGetErrMsg()).find("InvalidSignature"), std::string::npos);
    EXPECT_EQ(OvanGetAppStatus(&st), 0);
    EXPECT_STREQ(st.status, "before");
    EXPECT_EQ(OvanListApp(&list, &count), 0);
    EXPECT_EQ(count, 77u);
    EXPECT_EQ(list, reinterpret_cast<OvanAppInfo_t *>(&st));
    EXPECT_EQ(OvanPostMsg("demo", "hi"), nullptr);
    EXPECT_EQ(OvanGetAppStatistics("demo"), nullptr);
}

TEST_F(AppClient, StatusIsCutToItsField)
{
    reply("GetStatus", "('running-but-degraded',)");
    OvanAppStatus_t st{};
    g_strlcpy(st.name, "demo", sizeof st.name);
    EXPECT_EQ(OvanGetAppStatus(&st), 0);
    EXPECT_STREQ(st.status, "running-but-deg");
    EXPECT_EQ(sent("GetStatus"), "('demo',)");
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetAppStatus", "Call GetStatus name demo, status [running-but-degraded].")) << dump();
}

TEST_F(AppClient, ListTakesApplicationsAndLibrariesInReplyOrder)
{
    const std::string long_text(200, 't');
    const std::string reply_text = "({'demo': <('Demo app', 'running', uint32 4, -1)>, 'libfoo': <('Foo lib', 'ok')>,"
                                   " 'odd': <'not a tuple'>, 'long': <('" + long_text + "', 'installed-and-stopped', "
                                   "uint32 2, 0)>},)";
    reply("List", reply_text.c_str());
    OvanAppInfo_t *list = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(OvanListApp(&list, &count), 0);
    ASSERT_EQ(count, 4u);
    struct Want {
        const char *name, *text, *state;
        uint32_t flag;
    };
    const std::string cut_text(127, 't');
    const Want want[] = {{"demo", "Demo app", "running", 4},
                         {"libfoo", "Foo lib", "ok", 1},
                         {"odd", "", "", 0},
                         {"long", cut_text.c_str(), "installed-and-s", 2}};
    for (uint32_t i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        EXPECT_STREQ(list[i].name, want[i].name);
        EXPECT_STREQ(list[i].text, want[i].text);
        EXPECT_STREQ(list[i].state, want[i].state);
        EXPECT_EQ(list[i].flag, want[i].flag);
    }
    g_free(list);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanListApp", "Call List app count [4].")) << dump();

    reply("List", "(@a{sv} {},)");
    list = nullptr;
    count = 9;
    ASSERT_EQ(OvanListApp(&list, &count), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_NE(list, nullptr);
    g_free(list);
}

TEST_F(AppClient, MessagesAndStatisticsComeBackAsNewStrings)
{
    reply("PostMsg", "('pong',)");
    reply("GetStatistics", "('{\"rx\":1}',)");
    char *answer = OvanPostMsg("demo", "ping");
    ASSERT_NE(answer, nullptr);
    EXPECT_STREQ(answer, "pong");
    g_free(answer);
    EXPECT_EQ(sent("PostMsg"), "('demo', 'ping')");
    char *stats = OvanGetAppStatistics("demo");
    ASSERT_NE(stats, nullptr);
    EXPECT_STREQ(stats, "{\"rx\":1}");
    g_free(stats);
    // Messages wait twice as long as every other framework call.
    EXPECT_TRUE(log.contains("method_name(PostMsg), timeout(20000)")) << dump();
    EXPECT_TRUE(log.contains("method_name(GetStatistics), timeout(10000)")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanPostMsg", "Call PostMsg retmsg [pong].")) << dump();
}

struct InstallResult {
    std::atomic<bool> done{false};
    GObject *source = nullptr;
    std::string answer;
};

void install_done(GObject *source, GAsyncResult *res, gpointer data)
{
    auto *r = static_cast<InstallResult *>(data);
    r->source = source;
    GPtr<GError> err;
    GPtr<GVariant> v(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), res, lumo::out(err)));
    r->answer = v ? printed(v.get()) : std::string("error: ") + err->message;
    r->done = true;
}

// Runs an install-like call to its answer; the callback must get the hosted
// service's connection as its source. The service's loop thread runs the context the
// callback is dispatched in, so the test only waits for it (a loop of its own on that
// context could miss a quit given before it ran).
std::string install(int32_t (*fn)(const char *, void *, GAsyncReadyCallback), const char *file)
{
    InstallResult r;
    EXPECT_EQ(fn(file, &r, install_done), 0);
    EXPECT_TRUE(wait_until([&] { return r.done.load(); }, 30000));
    EXPECT_EQ(r.source, G_OBJECT(qzr_dbus_service_context->connection));
    return r.answer;
}

TEST_F(FrameworkSim, AsyncInstallsGoOutOnTheHostedConnection)
{
    ASSERT_EQ(OvanDBusStartService("com.example.installer1"), 0) << dump();
    ASSERT_TRUE(sim.script_reply(kFwPath, kAgent, "Upgrade", "(0, 'demo', 'done')", 200));
    EXPECT_EQ(install(OvanUpgradeApp, "/tmp/demo 1.ipk"), "(0, 'demo', 'done')");
    EXPECT_EQ(sent("Upgrade"), "('/tmp/demo 1.ipk',)");
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanUpgradeApp", "Call Upgrade, file /tmp/demo 1.ipk.")) << dump();
    // A wrong answer reaches the callback as an error, never as a crash.
    ASSERT_TRUE(sim.script_reply(kFwPath, kAgent, "Install", "(int32 1,)"));
    EXPECT_EQ(install(OvanInstallApp, "/tmp/x.ipk").rfind("error: ", 0), 0u);
    for (const auto &c : sim.call_log())
        EXPECT_EQ(c.sender, g_dbus_connection_get_unique_name(qzr_dbus_service_context->connection));
    EXPECT_EQ(OvanDBusStopService(), 0);
}

// The simulated framework itself: packages from the model, state changes, and calls
// forwarded to an application's management object.
class FrameworkLoop : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok());
        ASSERT_TRUE(sim.ok());
    }
    void TearDown() override
    {
        if (qzr_dbus_service_context)
            OvanDBusStopService();
        quiet_shared_connection();
    }
    std::string status(const char *app)
    {
        OvanAppStatus_t st{};
        g_strlcpy(st.name, app, sizeof st.name);
        EXPECT_EQ(OvanGetAppStatus(&st), 0);
        return st.status;
    }
    std::vector<std::string> names()
    {
        OvanAppInfo_t *list = nullptr;
        uint32_t count = 0;
        EXPECT_EQ(OvanListApp(&list, &count), 0);
        std::vector<std::string> out;
        for (uint32_t i = 0; i < count; ++i)
            out.push_back(std::string(list[i].name) + ":" + list[i].state + ":" + std::to_string(list[i].flag));
        g_free(list);
        return out;
    }
    TempRoot root;  // before the simulator: it finds control files under it
    PrivateBus bus;
    Simulator sim{bus, framework_options()};
    LogCapture log;
};

using Strings = std::vector<std::string>;

TEST_F(FrameworkLoop, LifecycleCallsChangeThePackages)
{
    EXPECT_EQ(names(), (Strings{"demo:running:1", "libjson:installed:1", "parental:stopped:2"}));
    EXPECT_EQ(OvanStartApp("parental"), 0);
    EXPECT_EQ(status("parental"), "running");
    EXPECT_EQ(OvanStopApp("demo"), 0);  // not on the bus: the framework only marks it
    EXPECT_EQ(status("demo"), "stopped");
    EXPECT_EQ(OvanReloadApp("ghost"), -1);
    EXPECT_EQ(OvanUninstallApp("parental"), 0);
    EXPECT_EQ(status("parental"), "not installed");
    EXPECT_EQ(OvanHandleKernelModules("demo", 1, "usb_storage", nullptr), 0);
    EXPECT_EQ(OvanHandleKernelModules("demo", 1, "ext4", "x"), 0);
    EXPECT_EQ(OvanHandleKernelModules("demo", 0, "usb_storage", nullptr), 0);
    GPtr<GVariant> mods = sim.property("/com/quv/appframework1", "org.lumo3.Simulator1.Framework", "KernelModules");
    EXPECT_EQ(printed(mods.get()), "['demo ext4']");

    ASSERT_EQ(OvanDBusStartService("com.example.installer1"), 0);
    EXPECT_EQ(install(OvanInstallApp, "/tmp/newapp_1.0_arm.ipk"), "(0, 'newapp', 'installed')");
    EXPECT_EQ(install(OvanUpgradeApp, "/tmp/ghost.ipk"), "(1, 'ghost', 'not installed')");
    EXPECT_EQ(install(OvanReinstallApp, "/tmp/newapp.ipk"), "(0, 'newapp', 'reinstalled')");
    EXPECT_EQ(names(), (Strings{"demo:stopped:1", "libjson:installed:1", "newapp:installed:2"}));  // the next free number
}

}  // namespace
