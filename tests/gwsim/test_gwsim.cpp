// The gateway simulator and the private bus, exercised as the library and gateway
// developers will use them: through D-Bus only.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <glib/gstdio.h>

#include "bus_support/private_bus.hpp"

namespace lumo::test {
namespace {

constexpr const char *kDevice = "/com/quv/igd1/Info/Device";
constexpr const char *kDeviceIface = "com.quv.igd1.DeviceInfo";
constexpr const char *kQuvProps = "com.quv.igd1.Properties";
constexpr const char *kDBusProps = "org.freedesktop.DBus.Properties";
constexpr const char *kOM = "com.quv.igd1.ObjectManager";
constexpr const char *kPortMapping = "/com/quv/igd1/Config/PortMapping";
constexpr const char *kSysCmd = "com.quv.igd1.SysCmd";
constexpr const char *kSystem = "/com/quv/igd1/Tevra/System";


class Gwsim : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok());
        ASSERT_TRUE(sim.ok());
    }
    void TearDown() override
    {
        // A clean exit also means no leak report from a sanitizer build.
        EXPECT_EQ(sim.stop(), 0);
    }

    GPtr<GVariant> ok(const std::string &path, const std::string &iface, const std::string &method,
                      GVariant *args = nullptr)
    {
        GPtr<GError> err;
        GPtr<GVariant> r = sim.call(path, iface, method, args, out(err));
        EXPECT_TRUE(r) << iface << "." << method << " on " << path << ": " << (err ? err->message : "");
        return r;
    }

    // The D-Bus error name of a call that must fail.
    std::string fails(const std::string &path, const std::string &iface, const std::string &method,
                      GVariant *args = nullptr)
    {
        GPtr<GError> err;
        GPtr<GVariant> r = sim.call(path, iface, method, args, out(err));
        EXPECT_FALSE(r) << "unexpected reply " << printed(r.get());
        if (!err)
            return "";
        GStr name(g_dbus_error_get_remote_error(err.get()));
        return name ? name.get() : "";
    }

    std::vector<std::string> children(const std::string &path)
    {
        GPtr<GVariant> r = ok(path, "org.freedesktop.DBus.Introspectable", "Introspect");
        std::vector<std::string> names;
        if (!r)
            return names;
        const char *xml = nullptr;
        g_variant_get(r.get(), "(&s)", &xml);
        GPtr<GError> err;
        GPtr<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(xml, out(err)));
        EXPECT_TRUE(node) << (err ? err->message : "");
        for (GDBusNodeInfo **n = node ? node->nodes : nullptr; n && *n; ++n)
            names.push_back((*n)->path);
        return names;
    }

    PrivateBus bus;
    Simulator sim{bus};
};

// The standard properties interface answers besides the gateway's own, which is the
// one the library's tests go through.
TEST_F(Gwsim, StandardPropertiesInterfaceReadsAndWrites)
{
    ok(kDevice, kDBusProps, "Set", g_variant_new("(ssv)", kDeviceIface, "DevName", g_variant_new_string("gw")));
    GPtr<GVariant> got = ok(kDevice, kDBusProps, "Get", g_variant_new("(ss)", kDeviceIface, "DevName"));
    EXPECT_EQ(printed(got.get()), "(<'gw'>,)");
}

// The refusals the library's property tests do not already provoke from the simulator.
TEST_F(Gwsim, PropertyErrors)
{
    struct Case {
        const char *path, *iface, *method, *args, *error;
    };
    const Case cases[] = {
        {"/com/quv/igd1/Info", kQuvProps, "GetAll", "('com.quv.igd1.DeviceInfo',)", "UnknownInterface"},
        {kDevice, kDBusProps, "Get", "('com.quv.igd1.DeviceInfo', 'NoSuch')", "UnknownProperty"},
        {kDevice, kQuvProps, "Get", "('com.quv.igd1.DeviceInfo',)", "InvalidArgs"},
        {kDevice, kDBusProps, "SetMulti", "('com.quv.igd1.DeviceInfo', @a{sv} {})", "UnknownMethod"},
        // One bad entry refuses the whole write.
        {kDevice, kQuvProps, "SetMulti", "('com.quv.igd1.DeviceInfo', {'DevName': <'x'>, 'RamSize': <'big'>})",
         "InvalidArgs"},
        {kDevice, "com.quv.igd1.Other", "Frob", "()", "UnknownInterface"},
        {kDevice, kDeviceIface, "Frob", "()", "UnknownMethod"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.method) + " " + c.args);
        GPtr<GVariant> args = parse_variant(c.args);
        EXPECT_EQ(fails(c.path, c.iface, c.method, args.get()), std::string("org.freedesktop.DBus.Error.") + c.error);
    }
    GPtr<GVariant> name = sim.property(kDevice, kDeviceIface, "DevName");
    EXPECT_EQ(printed(name.get()), "'HomeGateway'");
}

TEST_F(Gwsim, CollectionsAddListAndDelete)
{
    // Listing, adding and deleting as such are what lumoctl's tests go through; here
    // the numbering, the template and the refusals.
    GPtr<GVariant> made = ok(kPortMapping, kOM, "AddObject");
    EXPECT_EQ(printed(made.get()), "(objectpath '/com/quv/igd1/Config/PortMapping/2',)");
    GPtr<GVariant> proto = sim.property("/com/quv/igd1/Config/PortMapping/2", "com.quv.igd1.PortMapping",
                                        "PortMappingProtocol");
    EXPECT_EQ(printed(proto.get()), "'TCP'");
    ok(kPortMapping, kOM, "DeleteObject", g_variant_new("(o)", "/com/quv/igd1/Config/PortMapping/2"));
    // Numbers are never handed out twice.
    made = ok(kPortMapping, kOM, "AddObject");
    EXPECT_EQ(printed(made.get()), "(objectpath '/com/quv/igd1/Config/PortMapping/3',)");

    EXPECT_EQ(fails(kPortMapping, kOM, "DeleteObject", g_variant_new("(o)", "/com/quv/igd1/Config/PortMapping/2")),
              "org.freedesktop.DBus.Error.UnknownObject");
    EXPECT_EQ(fails(kPortMapping, kOM, "DeleteObject", g_variant_new("(o)", "/com/quv/igd1/Config/LANHosts/1")),
              "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(fails(kDevice, kOM, "AddObject"), "org.freedesktop.DBus.Error.UnknownInterface");

    // Objects added through the control interface push the numbering on.
    ASSERT_TRUE(sim.add_object("/com/quv/igd1/Config/PortMapping/9",
                               "{'com.quv.igd1.PortMapping': {'ExternalPort': <uint32 22>}}"));
    made = ok(kPortMapping, kOM, "AddObject");
    EXPECT_EQ(printed(made.get()), "(objectpath '/com/quv/igd1/Config/PortMapping/10',)");
    ASSERT_TRUE(sim.remove_object("/com/quv/igd1/Config/PortMapping/9"));
}

TEST_F(Gwsim, IntrospectionListsChildrenAndInterfaces)
{
    // The built-in model grows with every family: its branches come in path order and
    // include the first families' ones.
    std::vector<std::string> branches = children("/com/quv/igd1");
    EXPECT_TRUE(std::is_sorted(branches.begin(), branches.end()));
    for (const char *branch : {"Config", "Info", "Tevra"})
        EXPECT_NE(std::find(branches.begin(), branches.end(), branch), branches.end()) << branch;
    EXPECT_EQ(children("/com/quv/igd1/Info/Network/WANConnectionDb"), (std::vector<std::string>{"1", "2"}));
    ok("/com/quv/igd1/Info/Network/WANConnectionDb", kOM, "AddObject");
    EXPECT_EQ(children("/com/quv/igd1/Info/Network/WANConnectionDb").size(), 3u);
    EXPECT_TRUE(children(kDevice).empty());
    // The control object stays out of the gateway tree.
    std::vector<std::string> top = children("/");
    EXPECT_EQ(std::set<std::string>(top.begin(), top.end()), (std::set<std::string>{"com", "org"}));

    EXPECT_EQ(fails("/com/quv/igd1/Nowhere", "org.freedesktop.DBus.Introspectable", "Introspect"),
              "org.freedesktop.DBus.Error.UnknownObject");
}

// The script features the library tests do not lean on (the others they all use): a
// reply that is not a tuple is wrapped, and the newest of two matching scripts wins.
TEST_F(Gwsim, ScriptedReplyIsWrappedAndTheNewestWins)
{
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "Reboot", "uint32 7"));
    EXPECT_EQ(printed(ok(kSystem, kSysCmd, "Reboot").get()), "(uint32 7,)");
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "Reboot", "(uint32 1, 'busy')"));
    EXPECT_EQ(printed(ok(kSystem, kSysCmd, "Reboot").get()), "(uint32 1, 'busy')");
}

TEST_F(Gwsim, SimulatorComesBackAfterABusRestartWithItsModel)
{
    ASSERT_TRUE(sim.set_property(kDevice, kDeviceIface, "DevName", "'kept'"));
    ASSERT_TRUE(bus.restart());
    ASSERT_TRUE(sim.wait_ready());
    // The model survives the bus restart.
    GPtr<GVariant> v = sim.property(kDevice, kDeviceIface, "DevName");
    EXPECT_EQ(printed(v.get()), "'kept'");
}

// Runs lumo-gwsim directly.
RunResult run_gwsim(std::vector<std::string> args)
{
    args.insert(args.begin(), gwsim_path());
    return run_program(args);
}

TEST(GwsimModel, CustomModelFileAndAddressFile)
{
    const char *dir = getenv("LUMO_GWSIM_TEST_DIR");
    ASSERT_TRUE(dir);
    PrivateBus bus;
    ASSERT_TRUE(bus.ok());
    std::string addr_file = bus.dir() + "/root/var/run/dbus/server_address";
    SimulatorOptions options;
    options.model = std::string(dir) + "/tiny.model";
    options.address_file = addr_file;
    Simulator sim(bus, options);
    ASSERT_TRUE(sim.ok());

    GStr text;
    ASSERT_TRUE(g_file_get_contents(addr_file.c_str(), lumo::out(text), nullptr, nullptr));
    EXPECT_EQ(std::string(text.get()), bus.address() + "\n");

    GPtr<GVariant> v = sim.property("/com/quv/igd1/Config/Peripheral/LED", "com.quv.igd1.LED", "Status");
    EXPECT_EQ(printed(v.get()), "byte 0x01");
    EXPECT_FALSE(sim.property(kDevice, kDeviceIface, "DevName"));  // not in this model

    // New instances continue after the highest number present.
    GPtr<GVariant> r = sim.call("/com/quv/igd1/Config/Things", kOM, "AddObject");
    EXPECT_EQ(printed(r.get()), "(objectpath '/com/quv/igd1/Config/Things/8',)");
    v = sim.property("/com/quv/igd1/Config/Things/8", "com.quv.igd1.Thing", "Name");
    EXPECT_EQ(printed(v.get()), "'new'");

    // A model method with a delay and one with an error.
    gint64 start = g_get_monotonic_time();
    r = sim.call("/com/quv/igd1/Config/Things", "com.quv.igd1.Things", "Slow", g_variant_new("(s)", "x"));
    EXPECT_EQ(printed(r.get()), "(uint32 0, 'slow')");
    EXPECT_GE(g_get_monotonic_time() - start, 300000);
    GPtr<GError> err;
    r = sim.call("/com/quv/igd1/Config/Things", "com.quv.igd1.Things", "Broken", nullptr, out(err));
    ASSERT_FALSE(r);
    GStr name(g_dbus_error_get_remote_error(err.get()));
    EXPECT_STREQ(name.get(), "com.quv.igd1.Error.Busy");
    EXPECT_NE(std::string(err->message).find("try again later"), std::string::npos);
    EXPECT_EQ(sim.stop(), 0);
}

TEST(GwsimModel, BadModelsAreRefusedWithTheGroupNamed)
{
    GStr dir(g_dir_make_tmp("lumo3-model-XXXXXX", nullptr));
    ASSERT_TRUE(dir);
    struct Case {
        const char *text, *needle;
    };
    const Case cases[] = {
        {"[/com/quv/igd1/X com.quv.igd1.X]\nP=uint32 'text'\n", "[/com/quv/igd1/X com.quv.igd1.X]: P: bad value"},
        {"[collection com/quv com.quv.igd1.X]\n", "not a valid object path"},
        {"[/a b]\n", "not a valid interface name"},
        {"[method /a com.quv.igd1.X Go]\nRepyl=(0,)\n", "unknown key Repyl"},
        {"[method /a com.quv.igd1.X Go]\nIn=s\n", "In: not a tuple type"},
        {"[widget /a]\n", "expected [PATH INTERFACE]"},
        {"no group\n", "tiny-bad.model"},
    };
    std::string path = std::string(dir.get()) + "/tiny-bad.model";
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        ASSERT_TRUE(g_file_set_contents(path.c_str(), c.text, -1, nullptr));
        RunResult r = run_gwsim({"--model", path, "--address", "unix:path=/nonexistent/bus"});
        EXPECT_EQ(r.exit_status, 2);
        EXPECT_NE(r.err.find(c.needle), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
    g_unlink(path.c_str());
    g_rmdir(dir.get());

    const struct {
        std::vector<std::string> args;
        int status;
        const char *needle;  // in standard output on success, else in standard error
    } runs[] = {
        {{"--print-default-model"}, 0, "[/com/quv/igd1/Info/Device com.quv.igd1.DeviceInfo]"},
        {{"--address", "unix:path=/nonexistent/bus"}, 1, "cannot connect"},  // a clear failure, not a hang
    };
    for (const auto &c : runs) {
        RunResult r = run_gwsim(c.args);
        EXPECT_EQ(r.exit_status, c.status) << c.args[0];
        EXPECT_NE((c.status ? r.err : r.out).find(c.needle), std::string::npos) << r.out << r.err;
    }
}

TEST_F(Gwsim, SecondSimulatorOnTheSameBusFails)
{
    RunResult r = run_gwsim({"--address", bus.address()});
    EXPECT_EQ(r.exit_status, 1);
    EXPECT_NE(r.err.find("has another owner"), std::string::npos) << r.err;
}

}  // namespace
}  // namespace lumo::test
