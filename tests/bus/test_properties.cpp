// Property access against the gateway simulator: values, log lines, audit lines,
// refused input, bus errors and the last error.
#include <syslog.h>

#include <cstring>
#include <string>

#include "bus_support/bus_fixture.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kObj[] = "/com/quv/igd1/Test/Obj";
constexpr const char kIface[] = "com.quv.igd1.Test";
constexpr const char kProps[] = "com.quv.igd1.Properties";
// How every access to the test object begins its entry line.
const std::string kEntry =
    "service_name(com.quv.igd1), object_path(/com/quv/igd1/Test/Obj), interface_name(com.quv.igd1.Test)";

// One access chosen by what is given: Set with a property and a value (GVariant
// text), SetMulti with a value only, Get with a property only, GetAll with neither.
// *tag names the function; a read that fails must hand out nothing.
int32_t access(const char *service, const char *path, const char *iface, const char *prop, const char *value,
               std::string *tag)
{
    if (value) {
        *tag = prop ? "OvanDBusSetProperty" : "OvanDBusSetMultiProperty";
        GPtr<GVariant> v = parse_variant(value, prop ? nullptr : "a{sv}");
        return prop ? OvanDBusSetProperty(service, path, iface, prop, v.get())
                    : OvanDBusSetMultiProperty(service, path, iface, v.get());
    }
    *tag = prop ? "OvanDBusGetProperty" : "OvanDBusGetAllProperty";
    OvanVariant *out = nullptr;
    const int32_t ret = prop ? OvanDBusGetProperty(service, path, iface, prop, &out)
                             : OvanDBusGetAllProperty(service, path, iface, &out);
    GPtr<GVariant> hold(out);
    EXPECT_TRUE(ret == 0 || !out) << *tag << " failed but handed out a value";
    return ret;
}

class Properties : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        ASSERT_TRUE(sim.add_object(kObj, "{'com.quv.igd1.Test': {'Name': <'alpha'>, 'Level': <uint32 3>}}"));
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
    }
};

TEST_F(Properties, ReadsHandOutValuesAndLogEntryAndExit)
{
    OvanVariant *value = nullptr;
    ASSERT_EQ(OvanDBusGetProperty(kGw, kObj, kIface, "Name", &value), 0) << dump();
    GPtr<GVariant> hold(value);
    EXPECT_EQ(printed(value), "'alpha'");
    OvanVariant *dict = nullptr;
    ASSERT_EQ(OvanDBusGetAllProperty(kGw, kObj, kIface, &dict), 0) << dump();
    GPtr<GVariant> hold_dict(dict);
    EXPECT_EQ(printed(dict), "{'Name': <'alpha'>, 'Level': <uint32 3>}");

    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetProperty", kEntry + ", prop_name(Name)")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetProperty", "return (0), get value ('alpha')")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetAllProperty", kEntry)) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetAllProperty", "return (0), get value [" + printed(dict) + "]"))
        << dump();
    EXPECT_EQ(errors_from(log, "OvanDBusGetProperty"), 0u);

    auto calls = sim.call_log();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].iface, kProps);
    EXPECT_EQ(calls[0].method, "Get");
    EXPECT_EQ(calls[0].args_text(), "('com.quv.igd1.Test', 'Name')");
    EXPECT_EQ(calls[1].method, "GetAll");

    // The outputs are optional.
    EXPECT_EQ(OvanDBusGetProperty(kGw, kObj, kIface, "Level", nullptr), 0);
    EXPECT_EQ(OvanDBusGetAllProperty(kGw, kObj, kIface, nullptr), 0);
    EXPECT_EQ(sim.count_calls(kObj, kProps), 4u);
}

TEST_F(Properties, WritesReachTheGateway)
{
    ASSERT_EQ(OvanDBusSetProperty(kGw, kObj, kIface, "Name", g_variant_new_string("beta")), 0) << dump();
    const char *tag = "OvanDBusSetProperty";
    EXPECT_TRUE(logged(LOG_DEBUG, tag, kEntry + ", prop_name(Name), value('beta')")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, tag, "return with ret <0>.")) << dump();

    EXPECT_EQ(printed(sim.property(kObj, kIface, "Name").get()), "'beta'");

    // A value the caller keeps a reference to is not consumed.
    GVariant *kept = g_variant_ref_sink(g_variant_new_uint32(11));
    EXPECT_EQ(OvanDBusSetProperty(kGw, kObj, kIface, "Level", kept), 0);
    EXPECT_EQ(g_variant_get_uint32(kept), 11u);
    g_variant_unref(kept);
    EXPECT_EQ(printed(sim.property(kObj, kIface, "Level").get()), "uint32 11");

    // SetMulti writes all in one call.
    ASSERT_TRUE(sim.clear_call_log());
    GPtr<GVariant> dict = parse_variant("{'Name': <'gamma'>, 'Level': <uint32 9>}", "a{sv}");
    ASSERT_EQ(OvanDBusSetMultiProperty(kGw, kObj, kIface, dict.get()), 0) << dump();
    tag = "OvanDBusSetMultiProperty";
    EXPECT_TRUE(logged(LOG_DEBUG, tag, kEntry + ", value(" + printed(dict.get()) + ")")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, tag, "SetMulti() success.")) << dump();

    auto calls = sim.call_log();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].method, "SetMulti");
    EXPECT_EQ(calls[0].args_text(), "('com.quv.igd1.Test', " + printed(dict.get()) + ")");
}

TEST_F(Properties, ReplyOfWrongTypeFails)
{
    ASSERT_TRUE(sim.script_reply(kObj, kProps, "Get", "('not boxed',)"));
    ASSERT_TRUE(sim.script_reply(kObj, kProps, "GetAll", "(uint32 7,)"));
    std::string tag;
    EXPECT_EQ(access(kGw, kObj, kIface, "Name", nullptr, &tag), -1);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetProperty", "return (-1), get value (NULL)")) << dump();
    EXPECT_EQ(errors_from(log, "OvanDBusGetProperty"), 1u) << dump();

    EXPECT_EQ(access(kGw, kObj, kIface, nullptr, nullptr, &tag), -1);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDBusGetAllProperty", "return (-1), get value [NULL]"))
        << dump();
    EXPECT_EQ(errors_from(log, "OvanDBusGetAllProperty"), 1u) << dump();
}

// One failing access and the error text the gateway answers with.
struct BusErrorCase {
    const char *what;
    const char *service;
    const char *path;
    const char *iface;
    const char *prop;     // null for GetAll
    const char *set_to;   // GVariant text: Set (with prop) or SetMulti (without)
    const char *d_error;  // D-Bus error name expected in the message
};

const BusErrorCase kBusErrors[] = {
    {"service_not_on_the_bus", "com.quv.nosuch1", kObj, kIface, "Name", nullptr, "ServiceUnknown"},
    {"get_unknown_property", kGw, kObj, kIface, "NoSuch", nullptr, "UnknownProperty"},
    {"getall_unknown_object", kGw, "/com/quv/igd1/No/Such", kIface, nullptr, nullptr, "UnknownObject"},
    {"set_unknown_property", kGw, kObj, kIface, "NoSuch", "'x'", "UnknownProperty"},
    {"setmulti_unknown_property", kGw, kObj, kIface, nullptr, "{'NoSuch': <1>}", "UnknownProperty"},
};

TEST_F(Properties, BusErrorsFailWithErrorLineAndLastError)
{
    ScopedContext ctx;
    for (const BusErrorCase &c : kBusErrors) {
        SCOPED_TRACE(c.what);
        log.clear();
        OvanSetErrMsg("stale");
        std::string tag;
        EXPECT_EQ(access(c.service, c.path, c.iface, c.prop, c.set_to, &tag), -1);
        const char *err = OvanGetErrMsg();
        ASSERT_NE(err, nullptr) << "the bus error is kept as the last error";
        EXPECT_NE(std::string(err).find(c.d_error), std::string::npos) << err;
        std::string line = std::string("S(") + c.service + "), O(" + c.path + "), I(" + c.iface + ")";
        if (c.prop)
            line += std::string(", P(") + c.prop + ")";
        line += std::string(": E<") + err + ">";
        EXPECT_TRUE(logged(LOG_ERR, tag, line)) << line << "\n" << dump();
        if (tag == "OvanDBusSetMultiProperty") {
            EXPECT_FALSE(log_mentions(log, "SetMulti() success."));
        }
        if (tag == "OvanDBusSetProperty") {
            EXPECT_TRUE(logged(LOG_DEBUG, tag, "return with ret <-1>.")) << dump();
        }
        // The next successful access clears it.
        EXPECT_EQ(OvanDBusGetProperty(kGw, kObj, kIface, "Name", nullptr), 0);
        EXPECT_EQ(OvanGetErrMsg(), nullptr);
    }
}

// ---- audit lines -------------------------------------------------------------

struct AuditCase {
    const char *what;
    const char *path;
    const char *iface;
    const char *prop;   // Set: the property; null: SetMulti
    const char *value;  // GVariant text of the value or the dictionary
    bool audited;
};

constexpr const char kHost[] = "/com/quv/igd1/Test/Host";
constexpr const char kWlan[] = "/com/quv/igd1/Test/WLAN";
constexpr const char kLed[] = "/com/quv/igd1/Test/LED";
constexpr const char kWifi[] = "/com/quv/igd1/Test/WiFi";

class AuditedWrites : public Properties {
protected:
    void SetUp() override
    {
        Properties::SetUp();
        ASSERT_TRUE(sim.add_object(kHost, "{'com.quv.igd1.LANHost': {'InternetAccess': <byte 1>, 'HostName': <'pc'>}}"));
        ASSERT_TRUE(sim.add_object(kWlan, "{'com.quv.igd1.WLANConfiguration': {'SSID': <'home'>}}"));
        ASSERT_TRUE(sim.add_object(kLed, "{'com.quv.igd1.LED': {'Status': <'on'>}}"));
        ASSERT_TRUE(sim.add_object(kWifi, "{'com.quv.igd1.WiFiInfo': {'Enable': <true>}}"));
        log.clear();
    }
};

// Single writes name the interface before the object, dictionaries after it.
TEST_F(AuditedWrites, AuditLines)
{
    const AuditCase cases[] = {
        {"lanhost_internet_access", kHost, "com.quv.igd1.LANHost", "InternetAccess", "byte 0", true},
        {"lanhost_other", kHost, "com.quv.igd1.LANHost", "HostName", "'laptop'", false},
        {"wlan", kWlan, "com.quv.igd1.WLANConfiguration", "SSID", "'guest'", true},
        {"led", kLed, "com.quv.igd1.LED", "Status", "'off'", true},
        {"wifiinfo", kWifi, "com.quv.igd1.WiFiInfo", "Enable", "false", true},
        {"other", kObj, kIface, "Name", "'delta'", false},
        {"multi_lanhost_internet_access", kHost, "com.quv.igd1.LANHost", nullptr,
         "{'HostName': <'laptop'>, 'InternetAccess': <byte 0>}", true},
        {"multi_lanhost_other", kHost, "com.quv.igd1.LANHost", nullptr, "{'HostName': <'laptop'>}", false},
        {"multi_wlan", kWlan, "com.quv.igd1.WLANConfiguration", nullptr, "{'SSID': <'guest'>}", true},
        {"multi_led", kLed, "com.quv.igd1.LED", nullptr, "{'Status': <'off'>}", true},
        // Unlike single writes, WiFiInfo dictionaries are not audited.
        {"multi_wifiinfo_not_audited", kWifi, "com.quv.igd1.WiFiInfo", nullptr, "{'Enable': <false>}", false},
        {"multi_other", kObj, kIface, nullptr, "{'Name': <'delta'>}", false},
    };
    for (const AuditCase &c : cases) {
        SCOPED_TRACE(c.what);
        log.clear();
        std::string tag;
        ASSERT_EQ(access(kGw, c.path, c.iface, c.prop, c.value, &tag), 0) << dump();
        EXPECT_EQ(errors_from(log, tag), c.audited ? 1u : 0u) << dump();
        if (!c.audited)
            continue;
        const bool multi = c.prop == nullptr;
        const std::string S = "S(com.quv.igd1), ", O = std::string("O(") + c.path + "), ",
                          I = std::string("I(") + c.iface + "), ";
        const std::string line = (std::string(c.iface) == "com.quv.igd1.LANHost" ? S + O
                                  : multi                                      ? S + O + I
                                                                               : S + I + O) +
                                 printed(parse_variant(c.value, multi ? "a{sv}" : nullptr).get());
        EXPECT_TRUE(logged(LOG_ERR, tag, line)) << line << "\n" << dump();
    }

    // Audited even when the write fails.
    log.clear();
    EXPECT_EQ(OvanDBusSetProperty(kGw, "/com/quv/igd1/No/LED", "com.quv.igd1.LED", "Status", g_variant_new_string("x")),
              -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDBusSetProperty",
                            "S(com.quv.igd1), I(com.quv.igd1.LED), O(/com/quv/igd1/No/LED), 'x'"))
        << dump();
    EXPECT_EQ(errors_from(log, "OvanDBusSetProperty"), 2u) << "audit line and error line\n" << dump();
}

// ---- refused input -------------------------------------------------------------

struct BadInput {
    const char *what;
    const char *service;
    const char *path;
    const char *iface;
    const char *prop;
};

TEST_F(Properties, RefusedInputSendsNothing)
{
    const BadInput cases[] = {
        {"null_service", nullptr, kObj, kIface, "Name"},
        {"empty_service", "", kObj, kIface, "Name"},
        {"null_path", kGw, nullptr, kIface, "Name"},
        {"bad_path_chars", kGw, "/com/quv-igd1/x y", kIface, "Name"},
        {"null_interface", kGw, kObj, nullptr, "Name"},
        {"empty_interface", kGw, kObj, "", "Name"},
        {"null_property", kGw, kObj, kIface, nullptr},
    };
    for (const BadInput &c : cases) {
        SCOPED_TRACE(c.what);
        log.clear();
        OvanVariant *out = nullptr;
        EXPECT_EQ(OvanDBusGetProperty(c.service, c.path, c.iface, c.prop, &out), -1);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(OvanDBusSetProperty(c.service, c.path, c.iface, c.prop, g_variant_new_string("x")), -1);
        EXPECT_GE(errors_from(log, "OvanDBusGetProperty"), 1u) << dump();
        EXPECT_GE(errors_from(log, "OvanDBusSetProperty"), 1u) << dump();
        if (!c.prop)  // the property name is not part of the others
            continue;
        EXPECT_EQ(OvanDBusGetAllProperty(c.service, c.path, c.iface, &out), -1);
        EXPECT_EQ(out, nullptr);
        EXPECT_EQ(OvanDBusSetMultiProperty(c.service, c.path, c.iface, g_variant_new_parsed("{'Name': <'x'>}")), -1);
        EXPECT_GE(errors_from(log, "OvanDBusGetAllProperty"), 1u) << dump();
        EXPECT_GE(errors_from(log, "OvanDBusSetMultiProperty"), 1u) << dump();
    }

    // No value, or for SetMulti one that is not a dictionary.
    log.clear();
    const char *tag = "OvanDBusSetMultiProperty";
    EXPECT_EQ(OvanDBusSetMultiProperty(kGw, kObj, kIface, nullptr), -1);
    EXPECT_TRUE(logged(LOG_DEBUG, tag, kEntry + ", value(NULL)")) << dump();
    EXPECT_EQ(OvanDBusSetMultiProperty(kGw, kObj, kIface, g_variant_new_string("Name=x")), -1);
    EXPECT_EQ(OvanDBusSetMultiProperty(kGw, kObj, kIface, g_variant_new_parsed("{'Name': 'x'}")), -1);  // a{ss}
    EXPECT_EQ(OvanDBusSetMultiProperty(kGw, kObj, kIface, g_variant_new_parsed("('Name', <'x'>)")), -1);
    EXPECT_EQ(errors_from(log, tag), 4u) << dump();
    EXPECT_EQ(OvanDBusSetProperty(kGw, kObj, kIface, "Name", nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
}

// ---- the gateway's interface version ----------------------------------------

TEST_F(SimTest, DBusVersionUsesTheThirdCharacter)
{
    // The model's version, read with one call and left for the callers to store.
    EXPECT_EQ(OvanGetDBusVersion(), 2);
    EXPECT_EQ(gwdbusver, -1);
    EXPECT_EQ(sim.count_calls(kDevicePath, kProps, "Get"), 1u);
    struct {
        const char *value;
        int32_t expected;
    } cases[] = {
        {"'1.2.0'", 2}, {"'3.7'", 7}, {"'10.4'", '.' - '0'}, {"'ab9'", 9}, {"''", -1},
        // Shorter strings yield their terminator at index 2.
        {"'12'", -'0'}, {"'1'", -'0'},
    };
    for (const auto &c : cases) {
        ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "DBusInterfaceVersion", c.value));
        EXPECT_EQ(OvanGetDBusVersion(), c.expected) << c.value;
    }
    // A gateway answering with something else than a string has no usable version.
    ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "DBusInterfaceVersion", "uint32 2"));
    EXPECT_EQ(OvanGetDBusVersion(), -1);
    ASSERT_TRUE(sim.script_error(kDevicePath, kProps, "Get", "org.freedesktop.DBus.Error.AccessDenied", "no"));
    EXPECT_EQ(OvanGetDBusVersion(), -1);
}

}  // namespace
