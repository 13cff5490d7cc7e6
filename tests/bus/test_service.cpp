// Hosting a service: the bus name, the "mainLoop" thread answering outside
// clients, registered objects and their callbacks, the name from the control file.
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "bus_support/bus_fixture.hpp"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GStr;

constexpr const char kName[] = "com.example.bustest1";
constexpr const char kObj[] = "/com/example/Obj";
constexpr const char kTestIface[] = "com.example.Test";
constexpr const char kQuvProps[] = "com.quv.igd1.Properties";

constexpr const char kXml[] = R"(<node>
  <interface name="com.example.Test">
    <method name="Echo"><arg type="s" name="text" direction="in"/><arg type="s" name="echo" direction="out"/></method>
    <method name="Fail"/>
    <method name="Nothing"/>
    <method name="StopService"/>
    <method name="Untupled"><arg type="s" name="text" direction="out"/></method>
    <property name="Level" type="u" access="readwrite"/>
    <property name="Unset" type="s" access="readwrite"/>
  </interface>
  <interface name="com.example.Unrecorded">
    <method name="Ping"/>
    <property name="Name" type="s" access="read"/>
  </interface>
  <interface name="com.quv.igd1.Properties">
    <method name="Get"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/></method>
    <method name="GetAll"><arg type="s" direction="in"/><arg type="a{sv}" direction="out"/></method>
    <method name="Set"><arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/></method>
    <method name="SetMulti"><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/></method>
  </interface>
</node>)";

// What the application's callbacks saw; written in the "mainLoop" thread.
struct AppState {
    std::atomic<guint32> level{7};
    std::atomic<int> calls{0};
    std::atomic<int> props_record_calls{0};
    std::atomic<int> foreign_user_data{0};
    std::mutex mu;
    std::string thread_name;
    std::string last_iface, last_method;
};
// Never destroyed: a stopped service's loop thread is not joined, so its last writes
// are never ordered before the process's exit-time destructors.
AppState &g_state = *new AppState;

void note_call(void *user_data, const char *iface, const char *method)
{
    if (user_data != &g_state)
        g_state.foreign_user_data++;
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    std::lock_guard<std::mutex> lock(g_state.mu);
    g_state.thread_name = name;
    g_state.last_iface = iface ? iface : "";
    g_state.last_method = method ? method : "";
}

int32_t test_method(const char *, const char *iface, const char *method, OvanVariant *params, OvanVariant **reply,
                    void *user_data)
{
    note_call(user_data, iface, method);
    g_state.calls++;
    if (std::strcmp(iface, kQuvProps) == 0) {
        // Property requests arrive with the properties interface's name; the record of
        // the real interface takes them.
        if (std::strcmp(method, "Get") == 0) {
            *reply = g_variant_new("(v)", g_variant_new_uint32(g_state.level));
            return 0;
        }
        if (std::strcmp(method, "Set") == 0) {
            GVariant *v = nullptr;
            g_variant_get(params, "(&s&sv)", nullptr, nullptr, &v);
            if (g_variant_is_of_type(v, G_VARIANT_TYPE_UINT32))
                g_state.level = g_variant_get_uint32(v);
            g_variant_unref(v);
            return 0;
        }
        *reply = g_variant_new("(uis)", G_DBUS_ERROR, G_DBUS_ERROR_NOT_SUPPORTED, "no such request");
        return -1;
    }
    if (std::strcmp(method, "Echo") == 0) {
        const char *text = nullptr;
        g_variant_get(params, "(&s)", &text);
        *reply = g_variant_new("(s)", text);
        return 0;
    }
    if (std::strcmp(method, "Fail") == 0) {
        *reply = g_variant_new("(uis)", G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED, "not allowed here");
        return -1;
    }
    if (std::strcmp(method, "StopService") == 0)
        return OvanDBusStopService() == 0 ? 0 : -1;  // as a management "Stop" does
    if (std::strcmp(method, "Untupled") == 0) {
        *reply = g_variant_new_string("forgot the tuple");
        return 0;
    }
    return 0;  // "Nothing": an empty reply
}

int32_t test_get(const char *, const char *prop, OvanVariant **value, void *user_data)
{
    note_call(user_data, "get", prop);
    if (std::strcmp(prop, "Level") == 0)
        *value = g_variant_new_uint32(g_state.level);
    return 0;
}

int32_t test_set(const char *, const char *prop, OvanVariant *value, void *user_data)
{
    note_call(user_data, "set", prop);
    if (std::strcmp(prop, "Level") == 0)
        g_state.level = g_variant_get_uint32(value);
    return 0;
}

int32_t props_record_method(const char *, const char *, const char *, OvanVariant *, OvanVariant **, void *)
{
    g_state.props_record_calls++;
    return 0;
}

const OvanDBusInterfaceVTable_t kTestTable = {test_method, test_get, test_set};
const OvanDBusInterfaceVTable_t kPropsTable = {props_record_method, nullptr, nullptr};

// The threads of this process named as a service's loop thread.
size_t loop_threads()
{
    size_t n = 0;
    GDir *dir = g_dir_open("/proc/self/task", 0, nullptr);
    while (const char *task = dir ? g_dir_read_name(dir) : nullptr) {
        gchar *comm = nullptr;
        GStr path(g_strdup_printf("/proc/self/task/%s/comm", task));
        if (g_file_get_contents(path.get(), &comm, nullptr, nullptr) && std::strcmp(g_strchomp(comm), "mainLoop") == 0)
            n++;
        g_free(comm);
    }
    if (dir)
        g_dir_close(dir);
    return n;
}

size_t registrations()
{
    size_t n = 0;
    for (auto *r = qzr_dbus_obj_reg_list_head; r; r = r->next)
        n++;
    return n;
}

class Service : public SimTest {
protected:
    void TearDown() override
    {
        if (qzr_dbus_service_context)
            OvanDBusStopService();
        SimTest::TearDown();
    }

    void start()
    {
        ASSERT_EQ(OvanDBusStartService(kName), 0) << dump();
        ASSERT_NE(qzr_dbus_service_context, nullptr);
    }

    // Parses the test node and registers the test object: the test interface and
    // the properties interface with callbacks, one interface without.
    void register_object()
    {
        GDBusNodeInfo *node = OvanDBusNodeParseXml(kXml);
        ASSERT_NE(node, nullptr);
        EXPECT_GT(OvanDBusRegisterObject(kObj, OvanDBusNodeFindInterface(node, kTestIface), &kTestTable, &g_state), 0);
        EXPECT_GT(OvanDBusRegisterObject(kObj, OvanDBusNodeFindInterface(node, kQuvProps), &kPropsTable, &g_state), 0);
        GDBusInterfaceInfo *bare = OvanDBusNodeFindInterface(node, "com.example.Unrecorded");
        EXPECT_GT(OvanDBusRegisterObject(kObj, bare, nullptr, nullptr), 0);
        // The bus library keeps its own references to the interface descriptions.
        OvanDBusNodeInfoUnref(node);
    }

    RunResult call(const std::string &method, const std::vector<std::string> &args = {}, int timeout_s = 5)
    {
        return gdbus_call(bus, kName, kObj, method, args, timeout_s);
    }
};

TEST_F(Service, StartOwnsTheNameOnce)
{
    // Malformed names are refused first.
    for (const char *name : {"no_dots", "com..quv", ":1.5", "com.example.1x", "com.example.a b"}) {
        EXPECT_EQ(OvanDBusStartService(name), -1) << name;
        EXPECT_EQ(qzr_dbus_service_context, nullptr) << name;
    }
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusStartService", "Invalid Parameter.")) << dump();

    start();
    const OvanDBusServiceContext_t *ctx = qzr_dbus_service_context;
    EXPECT_STREQ(ctx->service_name, kName);
    EXPECT_EQ(ctx->is_service_started, 1);
    EXPECT_EQ(ctx->errState, 0);
    ASSERT_NE(ctx->connection, nullptr);
    EXPECT_EQ(name_owner(bus, kName), g_dbus_connection_get_unique_name(ctx->connection));
    EXPECT_TRUE(logged(LOG_NOTICE, "OvanDBusStartService", "DBUS Service 'com.example.bustest1' is Started."))
        << dump();

    // A second start is refused and changes nothing.
    EXPECT_EQ(OvanDBusStartService("com.example.other1"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusStartService", "Service com.example.bustest1 is already started."))
        << dump();
    EXPECT_EQ(qzr_dbus_service_context, ctx);
    EXPECT_EQ(ctx->is_service_started, 1);
    EXPECT_FALSE(name_has_owner(bus, "com.example.other1"));
    EXPECT_TRUE(name_has_owner(bus, kName));

    // The library's own calls go out on the service's connection.
    ASSERT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", nullptr), 0);
    ASSERT_EQ(OvanDBusCallMethod(kGw, kDevicePath, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr,
                                 nullptr, -1),
              0);
    const std::string unique = g_dbus_connection_get_unique_name(ctx->connection);
    ASSERT_EQ(sim.call_log().size(), 2u);
    EXPECT_EQ(sim.call_log()[0].sender, unique);
    EXPECT_EQ(sim.call_log()[1].sender, unique);
}

TEST_F(Service, NameOwnedByAnotherPeer)
{
    const std::string owner = name_owner(bus, kGw);
    EXPECT_EQ(OvanDBusStartService(kGw), -1);
    EXPECT_EQ(qzr_dbus_service_context, nullptr) << "the context is freed";
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusStartService",
                            "ERR: errState is 1, release dbus_service_context and return."))
        << dump();
    EXPECT_EQ(name_owner(bus, kGw), owner);
    // The library's calls still work.
    EXPECT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Manufacturer", nullptr), 0) << dump();
    // And a service can still be started.
    start();
    EXPECT_TRUE(name_has_owner(bus, kName));
}

TEST_F(Service, StartWithoutBus)
{
    ASSERT_TRUE(bus.stop());
    EXPECT_EQ(OvanDBusStartService(kName), -1);
    EXPECT_EQ(qzr_dbus_service_context, nullptr);
    // Without a bus the name is lost at once, as the name-lost handler reports it.
    EXPECT_TRUE(log.contains("on_name_lost: ", LOG_NOTICE)) << dump();
    EXPECT_TRUE(log.contains("connection = (nil), name = com.example.bustest1, loop ", LOG_NOTICE)) << dump();
}

// Stopped by the application or from its own handler (as a management "Stop" does):
// the name goes, and the process can host its service again.
TEST_F(Service, StopReleasesTheName)
{
    EXPECT_EQ(OvanDBusStopService(), -1) << "nothing started";
    for (const bool from_handler : {false, true}) {
        SCOPED_TRACE(from_handler ? "from its own handler" : "by the application");
        start();
        if (from_handler) {
            register_object();  // after a stop and a new start
            RunResult r = call("com.example.Test.StopService");
            EXPECT_EQ(r.exit_status, 0) << r.err;
            EXPECT_EQ(r.out, "()\n");
        } else {
            EXPECT_EQ(OvanDBusStopService(), 0);
        }
        // Maybe stopped in the "mainLoop" thread: read as the library publishes it.
        EXPECT_EQ(__atomic_load_n(&qzr_dbus_service_context, __ATOMIC_ACQUIRE), nullptr);
        EXPECT_TRUE(wait_until([&] { return !name_has_owner(bus, kName); }));
        EXPECT_EQ(OvanDBusStopService(), -1);
    }
    EXPECT_TRUE(log_mentions(log, "] OvanDBusStopService: ")) << dump();

    // Started again, it serves again.
    start();
    EXPECT_TRUE(name_has_owner(bus, kName));
    RunResult r = call("com.example.Test.Echo", {"'again'"});
    EXPECT_EQ(r.exit_status, 0) << r.err;
    EXPECT_EQ(r.out, "('again',)\n");
}

// The stopped service's loop thread may still be running the same main context when
// the next start waits for its name there; the answer must not be lost to it.
TEST_F(Service, StartedAgainRightAfterEachStop)
{
    for (int i = 0; i < 100; i++) {
        SCOPED_TRACE(i);
        ASSERT_EQ(OvanDBusStartService(i % 2 ? kName : "com.example.other1"), 0) << dump();
        ASSERT_EQ(OvanDBusStopService(), 0);
    }
    // Every stopped service's loop thread ends: none is left behind...
    EXPECT_TRUE(wait_until([] { return loop_threads() == 0; })) << loop_threads() << " mainLoop threads left";
    // ...also one whose loop was already running when the stop came.
    ASSERT_EQ(OvanDBusStartService(kName), 0) << dump();
    static std::atomic<bool> ran{false};
    g_idle_add([](gpointer) -> gboolean { ran = true; return G_SOURCE_REMOVE; }, nullptr);
    ASSERT_TRUE(wait_until([] { return ran.load(); }));
    EXPECT_EQ(loop_threads(), 1u);  // the count sees a running loop at all
    ASSERT_EQ(OvanDBusStopService(), 0);
    EXPECT_TRUE(wait_until([] { return loop_threads() == 0; })) << "the running loop did not end";
}

// Every kind of request an outside client sends, in one sequence: method callbacks,
// the standard properties through the getter and setter, the gateway's properties
// interface routed to the record of the real interface, and callbacks that leave
// no value (the client gets an error at once, the service lives on).
TEST_F(Service, OutsideClientsReachTheCallbacksInTheMainLoopThread)
{
    start();
    register_object();
    const struct {
        std::string method;
        std::vector<std::string> args;
        const char *out;  // the exact output; null: the call fails
        const char *err;  // in standard error when it fails
        int method_calls;  // calls of the method callback it makes
        const char *seen_iface, *seen_method;  // what the callback saw (null: not checked)
    } cases[] = {
        {"com.example.Test.Echo", {"'hello there'"}, "('hello there',)\n", "", 1, kTestIface, "Echo"},
        {"com.example.Test.Nothing", {}, "()\n", "", 1, kTestIface, "Nothing"},
        // A failure with an error tuple becomes a D-Bus error of that domain and code.
        {"com.example.Test.Fail", {}, nullptr, "org.freedesktop.DBus.Error.AccessDenied: not allowed here", 1,
         kTestIface, "Fail"},
        {"org.freedesktop.DBus.Properties.Get", {kTestIface, "Level"}, "(<uint32 7>,)\n", "", 0, "get", "Level"},
        {"org.freedesktop.DBus.Properties.Set", {kTestIface, "Level", "<uint32 42>"}, "()\n", "", 0, "set", "Level"},
        // A reply that is not a tuple cannot be sent; a getter leaving the value unset.
        {"com.example.Test.Untupled", {}, nullptr, "", 1, kTestIface, "Untupled"},
        {"org.freedesktop.DBus.Properties.Get", {kTestIface, "Unset"}, nullptr, "", 0, "get", "Unset"},
        {"org.freedesktop.DBus.Properties.GetAll", {kTestIface}, "({'Level': <uint32 42>},)\n", "", 0, nullptr,
         nullptr},
        // The callback sees the interface that was called.
        {"com.quv.igd1.Properties.Get", {kTestIface, "Level"}, "(<uint32 42>,)\n", "", 1, kQuvProps, "Get"},
        {"com.quv.igd1.Properties.Set", {kTestIface, "Level", "<uint32 6>"}, "()\n", "", 1, kQuvProps, "Set"},
        {"com.example.Test.Echo", {"'alive'"}, "('alive',)\n", "", 1, kTestIface, "Echo"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.method + (c.args.empty() ? "" : " " + c.args.back()));
        const int before = g_state.calls;
        RunResult r = call(c.method, c.args);
        if (c.out) {
            EXPECT_EQ(r.exit_status, 0) << r.err;
            EXPECT_EQ(r.out, c.out);
        } else {
            EXPECT_NE(r.exit_status, 0) << r.out;
            EXPECT_NE(r.err.find(c.err), std::string::npos) << r.err;
            EXPECT_EQ(r.err.find("Timeout"), std::string::npos) << "answered at once: " << r.err;
        }
        EXPECT_EQ(g_state.calls, before + c.method_calls);
        if (c.seen_iface) {
            std::lock_guard<std::mutex> lock(g_state.mu);
            EXPECT_EQ(g_state.thread_name, "mainLoop");
            EXPECT_EQ(g_state.last_iface, c.seen_iface);
            EXPECT_EQ(g_state.last_method, c.seen_method);
        }
    }
    EXPECT_EQ(g_state.level, 6u);
    EXPECT_EQ(g_state.props_record_calls, 0) << "the properties interface's own record is not asked";
    EXPECT_EQ(g_state.foreign_user_data, 0) << "user data is handed back unchanged";
}

TEST_F(Service, InterfaceWithoutRecordGetsNoAnswer)
{
    start();
    register_object();
    // Redirected to an interface registered without callbacks: nobody answers.
    const gint64 t0 = g_get_monotonic_time();
    RunResult r = call("com.quv.igd1.Properties.Get", {"com.example.Unrecorded", "Name"}, 1);
    EXPECT_NE(r.exit_status, 0) << r.out;
    EXPECT_NE(r.err.find("Timeout"), std::string::npos) << r.err;
    EXPECT_GE(g_get_monotonic_time() - t0, 900 * 1000) << "it waited for the answer";
    EXPECT_EQ(g_state.props_record_calls, 0);
    // The loop still serves afterwards.
    r = call("com.example.Test.Echo", {"'still here'"});
    EXPECT_EQ(r.exit_status, 0) << r.err;
}

// The node helpers, then registering objects made from their descriptions.
TEST_F(Service, RegistrationRules)
{
    EXPECT_EQ(OvanDBusNodeParseXml(nullptr), nullptr);
    EXPECT_EQ(OvanDBusNodeParseXml("<node><interface name="), nullptr);
    GDBusNodeInfo *node = OvanDBusNodeParseXml(kXml);
    ASSERT_NE(node, nullptr);
    GDBusInterfaceInfo *iface = OvanDBusNodeFindInterface(node, kTestIface);
    ASSERT_NE(iface, nullptr);
    EXPECT_STREQ(iface->name, kTestIface);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusNodeFindInterface", "interface_name(com.example.Test)"));
    EXPECT_EQ(OvanDBusNodeFindInterface(node, "com.example.None"), nullptr);
    EXPECT_EQ(OvanDBusNodeFindInterface(node, nullptr), nullptr);
    EXPECT_EQ(OvanDBusNodeFindInterface(nullptr, kTestIface), nullptr);

    EXPECT_EQ(OvanDBusRegisterObject(kObj, iface, &kTestTable, nullptr), -1) << "no service yet";
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusRegisterObject", "connection is NULL, just return.")) << dump();
    OvanDBusUnRegisterObject(3);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusUnRegisterObject", "connection is NULL, just return.")) << dump();
    EXPECT_EQ(registrations(), 0u);

    start();
    const int32_t id = OvanDBusRegisterObject(kObj, iface, &kTestTable, &g_state);
    ASSERT_GT(id, 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusRegisterObject", "object_path(/com/example/Obj)"));
    ASSERT_EQ(registrations(), 1u);
    EXPECT_EQ(qzr_dbus_obj_reg_list_head->reg_id, static_cast<uint32_t>(id));
    EXPECT_STREQ(qzr_dbus_obj_reg_list_head->object_path, kObj);
    EXPECT_STREQ(qzr_dbus_obj_reg_list_head->interface_name, kTestIface);
    EXPECT_EQ(qzr_dbus_obj_reg_list_head->callbacks, &kTestTable);

    EXPECT_EQ(OvanDBusRegisterObject(kObj, iface, &kTestTable, &g_state), 0) << "same path and interface again";
    EXPECT_EQ(OvanDBusRegisterObject(kObj, nullptr, &kTestTable, &g_state), 0) << "no interface description";
    EXPECT_EQ(registrations(), 1u);

    // Another path gets a record of its own, pushed at the head.
    const int32_t id2 = OvanDBusRegisterObject("/com/example/Obj2", iface, &kTestTable, &g_state);
    ASSERT_GT(id2, 0);
    EXPECT_NE(id2, id);
    EXPECT_EQ(qzr_dbus_obj_reg_list_head->reg_id, static_cast<uint32_t>(id2));
    EXPECT_EQ(registrations(), 2u);
    OvanDBusNodeInfoUnref(node);
    OvanDBusNodeInfoUnref(nullptr);
    EXPECT_EQ(log.count("] OvanDBusNodeInfoUnref: node_info("), 2u);

    RunResult r = gdbus_call(bus, kName, "/com/example/Obj2", "com.example.Test.Echo", {"'two'"});
    EXPECT_EQ(r.out, "('two',)\n") << r.err;

    // Unregistering: id 0 is refused, unknown ids change nothing, a real id goes.
    log.clear();
    OvanDBusUnRegisterObject(0);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusUnRegisterObject", "invalid registration id.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusUnRegisterObject", "id(0)")) << dump();
    OvanDBusUnRegisterObject(static_cast<unsigned>(id2) + 1000);
    EXPECT_EQ(registrations(), 2u);
    OvanDBusUnRegisterObject(static_cast<unsigned>(id2));
    EXPECT_EQ(registrations(), 1u);
    EXPECT_EQ(qzr_dbus_obj_reg_list_head->reg_id, static_cast<uint32_t>(id));
    r = gdbus_call(bus, kName, "/com/example/Obj2", "com.example.Test.Echo", {"'gone'"});
    EXPECT_NE(r.exit_status, 0) << r.out;
    r = call("com.example.Test.Echo", {"'one'"});
    EXPECT_EQ(r.out, "('one',)\n") << r.err;
}

// ---- the name from the package's control file -------------------------------------

// Without a name the service takes one from the package's control file, found by
// the process name (in a fake /proc): com.<vendor>.<package><DbusVersion>, in lower case.
TEST_F(Service, NameFromTheControlFile)
{
    struct Case {
        const char *what;
        const char *process;
        const char *control;  // null: no file
        const char *name;     // null: refused
    } cases[] = {
        {"complete", "myapp",
         "Package: MyApp  \nVersion: 1.0.3-r1\nDepends: libc\nVendor: ACME\t\nArchitecture: arm\n"
         "DbusVersion: 2\nDescription: test\n",
         "com.acme.myapp2"},
        {"no_dbus_version", "myapp", "Package: myapp\nVendor: acme\n", nullptr},
        {"empty_dbus_version", "myapp", "Package: myapp\nVendor: acme\nDbusVersion: \n", nullptr},
        {"no_vendor", "myapp", "Package: myapp\nDbusVersion: 1\n", nullptr},
        {"no_file", "myapp", nullptr, nullptr},
        {"process_name_too_long", "averyveryverylongname", "Package: x\nVendor: y\nDbusVersion: 1\n", nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        TempRoot root;
        setenv("LUMO_PROC_DIR", (root.dir() + "/proc").c_str(), 1);
        root.write("/proc/" + std::to_string(getpid()) + "/stat",
                   std::to_string(getpid()) + " (" + c.process + ") S 1 1 1 0 -1 4194560 0 0 0 0\n");
        if (c.control)
            root.write(std::string("/usr/lib/opkg/info/") + c.process + ".control", c.control);
        log.clear();
        for (const char *given : {static_cast<const char *>(nullptr), ""}) {
            if (!c.name) {
                EXPECT_EQ(OvanDBusStartService(given), -1);
                EXPECT_EQ(qzr_dbus_service_context, nullptr);
                continue;
            }
            ASSERT_EQ(OvanDBusStartService(given), 0) << dump();
            EXPECT_STREQ(qzr_dbus_service_context->service_name, c.name);
            EXPECT_TRUE(name_has_owner(bus, c.name));
            EXPECT_EQ(OvanDBusStopService(), 0);
        }
        if (!c.name) {
            EXPECT_TRUE(logged(LOG_ERR, "OvanDBusStartService", "Invalid Parameter.")) << dump();
        }
        if (!c.control) {
            EXPECT_TRUE(log_mentions(log, "myapp.control open failed")) << dump();
        }
    }
    unsetenv("LUMO_PROC_DIR");
}

}  // namespace
