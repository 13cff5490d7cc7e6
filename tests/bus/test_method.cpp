// Method calls and child-node listing against the gateway simulator.
#include <syslog.h>

#include <cstring>
#include <string>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_uci.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kCmd[] = "/com/quv/igd1/Test/Cmd";
constexpr const char kCmdIface[] = "com.quv.igd1.TestCmd";
constexpr const char kIntrospectable[] = "org.freedesktop.DBus.Introspectable";
constexpr const char kTag[] = "OvanDBusCallMethod";

class Methods : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        ASSERT_TRUE(sim.script_reply(kCmd, kCmdIface, "Run", "(uint32 0, 'OK')"));
        log.clear();
    }
};

TEST_F(Methods, ReplyHandedOutWithEntryAndExitLines)
{
    GVariant *in = g_variant_new("(si)", "a", 5);
    const std::string in_text = printed(in);
    OvanVariant *reply = nullptr;
    ASSERT_EQ(OvanDBusCallMethod(kGw, kCmd, kCmdIface, "Run", in, &reply, 3000), 0) << dump();
    GPtr<GVariant> hold(reply);
    EXPECT_EQ(printed(reply), "(uint32 0, 'OK')");
    EXPECT_TRUE(logged(LOG_DEBUG, kTag,
                            "service_name(com.quv.igd1), object_path(/com/quv/igd1/Test/Cmd), "
                            "interface_name(com.quv.igd1.TestCmd), method_name(Run), timeout(3000), inargs(" +
                                in_text + ")"))
        << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, kTag, "ret 0, outargs[(us)][(uint32 0, 'OK')]")) << dump();
    EXPECT_EQ(errors_from(log, kTag), 0u);

    auto calls = sim.call_log();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].args_text(), in_text);

    // No arguments and no out pointer: the reply is released inside (the sanitizer
    // build sees a leak otherwise).
    EXPECT_EQ(OvanDBusCallMethod(kGw, kCmd, kCmdIface, "Run", nullptr, nullptr, -1), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, kTag,
                       "service_name(com.quv.igd1), object_path(/com/quv/igd1/Test/Cmd), "
                       "interface_name(com.quv.igd1.TestCmd), method_name(Run), timeout(-1), inargs(NULL)"))
        << dump();
    EXPECT_EQ(sim.call_log().at(1).args_text(), "()");
}

TEST_F(Methods, BusErrorFailsWithErrorLineAndLastError)
{
    ScopedContext ctx;
    ASSERT_TRUE(sim.script_error(kCmd, kCmdIface, "Broken", "com.quv.igd1.Error.Busy", "try later"));
    OvanVariant *reply = g_variant_ref_sink(g_variant_new_string("sentinel"));
    OvanVariant *sentinel = reply;
    EXPECT_EQ(OvanDBusCallMethod(kGw, kCmd, kCmdIface, "Broken", g_variant_new("(s)", "x"), &reply, -1), -1);
    EXPECT_EQ(reply, nullptr) << "a failed call hands out nothing";
    g_variant_unref(sentinel);
    const char *err = OvanGetErrMsg();
    ASSERT_NE(err, nullptr);
    EXPECT_NE(std::string(err).find("com.quv.igd1.Error.Busy"), std::string::npos) << err;
    EXPECT_NE(std::string(err).find("try later"), std::string::npos) << err;
    EXPECT_TRUE(logged(LOG_ERR, kTag,
                            std::string("S(com.quv.igd1), O(/com/quv/igd1/Test/Cmd), I(com.quv.igd1.TestCmd), "
                                        "M(Broken): E<") +
                                err + ">"))
        << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, kTag, "ret (-1), retValue = NULL.")) << dump();

    // The next successful call clears it.
    EXPECT_EQ(OvanDBusCallMethod(kGw, kCmd, kCmdIface, "Run", nullptr, nullptr, -1), 0);
    EXPECT_EQ(OvanGetErrMsg(), nullptr);
}

TEST_F(Methods, ManagedObjectsListingIsCheckedAndNeverPrinted)
{
    const char *coll = "/com/quv/igd1/Test/Coll";
    const char *om = "com.quv.igd1.ObjectManager";
    ASSERT_TRUE(sim.add_collection(coll, "com.quv.igd1.Item", g_variant_new_parsed("@a{sv} {'Secret': <''>}")));
    ASSERT_TRUE(sim.add_object(std::string(coll) + "/1", "{'com.quv.igd1.Item': {'Secret': <'hunter2'>}}"));
    log.clear();

    OvanVariant *reply = nullptr;
    ASSERT_EQ(OvanDBusCallMethod(kGw, coll, om, "GetManagedObjects", nullptr, &reply, -1), 0) << dump();
    GPtr<GVariant> hold(reply);
    EXPECT_STREQ(g_variant_get_type_string(reply), "(a{oa{sa{sv}}})");
    EXPECT_NE(printed(reply).find("hunter2"), std::string::npos);
    EXPECT_TRUE(logged(LOG_DEBUG, kTag, "return with ret (0)")) << dump();
    EXPECT_FALSE(log_mentions(log, "hunter2")) << dump();

    // Another reply type is refused by the bus library.
    ASSERT_TRUE(sim.script_reply(coll, om, "GetManagedObjects", "(uint32 0, 'OK')"));
    OvanVariant *bad = nullptr;
    EXPECT_EQ(OvanDBusCallMethod(kGw, coll, om, "GetManagedObjects", nullptr, &bad, -1), -1);
    EXPECT_EQ(bad, nullptr);
    EXPECT_EQ(errors_from(log, kTag), 1u) << dump();
}

// The password getters' replies are logged by their type only (the wrappers' side of
// it: test_system).
TEST_F(Methods, PasswordReplyLoggedByTypeOnly)
{
    const char *sys = "/com/quv/igd1/Test/System";
    ASSERT_TRUE(sim.script_reply(sys, "com.quv.igd1.SysCmd", "GetTAPasswd", "('ta-T0pSecret', uint32 0, '')"));
    EXPECT_EQ(OvanDBusCallMethod(kGw, sys, "com.quv.igd1.SysCmd", "GetTAPasswd", nullptr, nullptr, -1), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, kTag, "ret 0, outargs[(sus)]")) << dump();
    EXPECT_FALSE(log_mentions(log, "ta-T0pSecret")) << dump();
}

// ---- audit trail -------------------------------------------------------------------

struct AuditCase {
    const char *service;
    const char *iface;
    const char *method;
    bool audited;
};

constexpr const char kKest[] = "com.quv.kest1.framework";

TEST_F(Methods, DangerousOperationsAreAudited)
{
    const AuditCase cases[] = {
        {kGw, "com.quv.igd1.SysCmd", "Reboot", true},
        {kGw, "com.quv.igd1.SysCmd", "Restore", true},
        {kGw, "com.quv.igd1.SysCmd", "LocalRecovery", true},
        {kGw, "com.quv.igd1.SysCmd", "Upgrade", true},
        {kGw, "com.quv.igd1.SysCmd", "SetUAPasswd", true},
        {kGw, "com.quv.igd1.SysCmd", "CheckLOID", false},
        {kGw, "com.quv.igd1.SysCmd", "RebootLater", false},
        {kGw, "com.quv.igd1.WiFiInfo", "SetWiFiEnable", true},
        {kGw, "com.quv.igd1.WiFiInfo", "Anything", true},
        {kGw, "com.quv.igd1.LED", "Reboot", false},
        {kKest, kKest, "Install", true},
        {kKest, kKest, "DiagService", false},
        {kKest, kKest, "ReloadDBUSConf", false},
    };
    for (const AuditCase &c : cases) {
        SCOPED_TRACE(std::string(c.iface) + "." + c.method);
        // Answer anything on these interfaces; the framework service is not on the bus.
        ASSERT_TRUE(sim.script_reply("", c.iface, "", "(uint32 0, 'OK')"));
        log.clear();
        TempRoot root;  // in case anything writes UCI options
        OvanDBusCallMethod(c.service, "/com/quv/igd1/Test/System", c.iface, c.method, nullptr, nullptr, 2000);
        const std::string line = std::string("S(") + c.service + "), I(" + c.iface + "), M(" + c.method + ")";
        EXPECT_EQ(logged(LOG_ERR, kTag, line), c.audited) << dump();
        if (!c.audited && std::strcmp(c.service, kGw) == 0) {
            EXPECT_EQ(errors_from(log, kTag), 0u) << dump();
        }
        EXPECT_FALSE(root.exists("/etc/config/cloudclient")) << "only the framework's Restore writes UCI";
    }
}

// The framework's Restore marks the cloud client even when the call fails; the
// gateway's leaves it.
TEST_F(Methods, OnlyTheFrameworksRestoreMarksCloudClient)
{
    ASSERT_TRUE(sim.script_reply("", "com.quv.igd1.SysCmd", "Restore", "(uint32 0, 'OK')"));
    const struct {
        const char *service, *path, *iface;
        int32_t ret;
        const char *enable;
    } cases[] = {
        {kKest, "/com/quv/kest1/framework", kKest, -1, "kest.restore"},  // not on the bus
        {kGw, "/com/quv/igd1/Test/System", "com.quv.igd1.SysCmd", 0, "1"},
    };
    for (const auto &c : cases) {
        TempRoot root;
        root.write("/etc/config/cloudclient", "config cloudclient 'global'\n\toption enable '1'\n");
        EXPECT_EQ(OvanDBusCallMethod(c.service, c.path, c.iface, "Restore", nullptr, nullptr, 2000), c.ret);
        char value[256] = "";
        EXPECT_EQ(uci_read_option("cloudclient", "global", "enable", value), 0);
        EXPECT_STREQ(value, c.enable) << c.service;
    }
    EXPECT_TRUE(logged(LOG_ERR, kTag, "S(com.quv.kest1.framework), I(com.quv.kest1.framework), M(Restore)"))
        << dump();
}

// ---- refused input, unreachable and silent peers ---------------------------------------

struct BadCall {
    const char *what;
    const char *service;
    const char *path;
    const char *iface;
    const char *method;
    const char *inargs;  // GVariant text, null for none
};

TEST_F(Methods, RefusedCallSendsNothing)
{
    const BadCall cases[] = {
        {"null_service", nullptr, kCmd, kCmdIface, "Run", nullptr},
        {"empty_service", "", kCmd, kCmdIface, "Run", nullptr},
        {"null_path", kGw, nullptr, kCmdIface, "Run", nullptr},
        {"invalid_path", kGw, "/com//quv", kCmdIface, "Run", nullptr},
        {"null_interface", kGw, kCmd, nullptr, "Run", nullptr},
        {"invalid_interface", kGw, kCmd, "com.quv..x", "Run", nullptr},
        {"null_method", kGw, kCmd, kCmdIface, nullptr, nullptr},
        {"dotted_method", kGw, kCmd, kCmdIface, "Run.Now", nullptr},
        {"string_inargs", kGw, kCmd, kCmdIface, "Run", "'not a tuple'"},
        {"array_inargs", kGw, kCmd, kCmdIface, "Run", "[1, 2]"},
    };
    for (const BadCall &c : cases) {
        SCOPED_TRACE(c.what);
        log.clear();
        GVariant *in = c.inargs ? g_variant_new_parsed(c.inargs) : nullptr;  // floating: consumed
        OvanVariant *reply = g_variant_ref_sink(g_variant_new_string("sentinel"));
        OvanVariant *sentinel = reply;
        EXPECT_EQ(OvanDBusCallMethod(c.service, c.path, c.iface, c.method, in, &reply, 1000), -1);
        EXPECT_EQ(reply, nullptr);
        g_variant_unref(sentinel);
        EXPECT_GE(errors_from(log, kTag), 1u) << dump();
    }
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Methods, SilentPeerRunsIntoTheCallersTimeout)
{
    ScopedContext ctx;
    ASSERT_TRUE(sim.script_delay(kCmd, kCmdIface, "Run", 3000));
    const gint64 start = g_get_monotonic_time();
    EXPECT_EQ(OvanDBusCallMethod(kGw, kCmd, kCmdIface, "Run", nullptr, nullptr, 200), -1);
    const gint64 took_ms = (g_get_monotonic_time() - start) / 1000;
    EXPECT_GE(took_ms, 150);
    EXPECT_LT(took_ms, 2000) << "the caller's timeout applies, not the default";
    ASSERT_NE(OvanGetErrMsg(), nullptr);
    EXPECT_NE(std::string(OvanGetErrMsg()).find("Timeout"), std::string::npos) << OvanGetErrMsg();
    EXPECT_EQ(sim.count_calls(kCmd, kCmdIface, "Run"), 1u);
}

// ---- child nodes ---------------------------------------------------------------

constexpr const char kTree[] = "/com/quv/igd1/Test/Tree";

class Nodes : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        for (const char *child : {"/b", "/a", "/a/deep", "/c"})
            ASSERT_TRUE(sim.add_object(std::string(kTree) + child, "{'com.quv.igd1.Item': {'X': <1>}}"));
        log.clear();
    }

    static std::string entry(const char *paths, int i) { return std::string(paths + 256 * i); }
};

TEST_F(Nodes, ListsDirectChildrenInPathSlots)
{
    char *paths = nullptr;
    int count = -1;
    ASSERT_EQ(OvanGetNumOfNodes(kGw, kTree, &paths, &count), 3) << dump();
    EXPECT_EQ(count, 3);
    ASSERT_NE(paths, nullptr);
    EXPECT_EQ(entry(paths, 0), "/com/quv/igd1/Test/Tree/a");
    EXPECT_EQ(entry(paths, 1), "/com/quv/igd1/Test/Tree/b");
    EXPECT_EQ(entry(paths, 2), "/com/quv/igd1/Test/Tree/c");
    g_free(paths);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetNumOfNodes",
                            "Enter (service com.quv.igd1, objpath /com/quv/igd1/Test/Tree)"))
        << dump();
    EXPECT_EQ(sim.count_calls(kTree, kIntrospectable, "Introspect"), 1u);

    // Neither output is required.
    count = -1;
    EXPECT_EQ(OvanGetNumOfNodes(kGw, kTree, nullptr, &count), 3);
    EXPECT_EQ(count, 3);

    // A joined path too long for its slot is cut.
    const std::string longname(300, 'n');
    const std::string xml = "<node><node name=\"" + longname + "\"/><node name=\"short\"/></node>";
    ASSERT_TRUE(sim.script_reply(kTree, kIntrospectable, "Introspect", g_variant_new("(s)", xml.c_str())));
    ASSERT_EQ(OvanGetNumOfNodes(kGw, kTree, &paths, &count), 2) << dump();
    ASSERT_NE(paths, nullptr);
    const std::string full = std::string(kTree) + "/" + longname;
    EXPECT_EQ(entry(paths, 0), full.substr(0, 254));
    EXPECT_EQ(entry(paths, 1), std::string(kTree) + "/short");
    g_free(paths);
}

// A leaf, an absent peer, no path and unusable introspection data: zero, and the
// paths are left alone.
TEST_F(Nodes, NothingToListCountsZero)
{
    ScopedContext ctx;
    const std::string leaf = std::string(kTree) + "/b";
    const struct {
        const char *service, *path;
        const char *introspection;  // a scripted answer (used once), null: the model's
        bool last_error;  // the bus's or the parser's message is kept
    } cases[] = {
        {kGw, leaf.c_str(), nullptr, false},
        {"com.quv.absent1", kTree, nullptr, true},
        {kGw, nullptr, nullptr, false},
        {kGw, kTree, "('<node><node name=\"x\"></nod>',)", true},
        {kGw, kTree, "(uint32 5,)", false},  // not a string
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.introspection ? c.introspection : c.service);
        if (c.introspection) {
            ASSERT_TRUE(sim.script_reply(kTree, kIntrospectable, "Introspect", c.introspection, 0, true));
        }
        OvanSetErrMsg(nullptr);
        char sentinel[] = "untouched";
        char *paths = sentinel;
        int count = -1;
        EXPECT_EQ(OvanGetNumOfNodes(c.service, c.path, &paths, &count), 0);
        EXPECT_EQ(paths, sentinel);
        EXPECT_EQ(count, 0);
        if (c.last_error) {
            ASSERT_NE(OvanGetErrMsg(), nullptr);
        }
        if (c.last_error && c.introspection) {
            EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetNumOfNodes",
                               std::string("failed to create node info ") + OvanGetErrMsg()))
                << dump();
        }
    }
}

TEST(NoBus, CallsFailWithTheConnectionLine)
{
    // A bus nobody listens on: GIO cannot connect at all.
    TempRoot dir(nullptr);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + dir.path("/nobus")).c_str(), 1);
    LogCapture log;
    GVariant *out = reinterpret_cast<GVariant *>(0x1);
    EXPECT_EQ(OvanDBusCallMethod("com.quv.igd1", "/com/quv/igd1", "com.quv.igd1.SysCmd", "Poke", nullptr, &out, 100),
              -1);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(log.contains("OvanDBusCallMethod: connection is NULL, just return.", LOG_ERR));
    EXPECT_FALSE(log.contains("connection is invalid"));
    EXPECT_EQ(OvanDBusGetProperty("com.quv.igd1", "/com/quv/igd1", "com.quv.igd1.X", "P", nullptr), -1);
    EXPECT_TRUE(log.contains("OvanDBusGetProperty: connection is NULL, just return.", LOG_ERR));
}

}  // namespace
