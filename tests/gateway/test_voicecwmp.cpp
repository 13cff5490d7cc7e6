// Voice diagnostics, IPv6 LAN services and CWMP parameters: their own checks,
// texts and reply handling against the simulator (the shapes are tested in
// test_shapes.cpp).
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_voicecwmp.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kCWMP[] = "/com/quv/igd1/Tevra/CWMP";
constexpr const char kCWMPIface[] = "com.quv.igd1.CWMP";
constexpr const char kIAD[] = "/com/quv/igd1/Diagnostics/IADTest";

class VoiceCWMP : public SimTest {
protected:
    std::string printed_args(const char *method)
    {
        GPtr<GVariant> args = last_args(sim, method);
        if (!args)
            return "<none>";
        GPtr<gchar> text(g_variant_print(args.get(), FALSE));
        return text.get();
    }
};

// ---- commands: refusals give status 1 and a message, and send nothing ----

struct CommandCase {
    const char *name;
    std::function<int32_t(uint32_t *, char **)> call;
    const char *refusal;  // null: sent and answered 0
};

void PrintTo(const CommandCase &c, std::ostream *os) { *os << c.name; }

class Commands : public VoiceCWMP, public testing::WithParamInterface<CommandCase> {};

TEST_P(Commands, RefusedOrSent)
{
    const CommandCase &c = GetParam();
    StatusOut out;
    const int32_t ret = c.call(&out.status, &out.errmsg);
    if (!c.refusal) {
        EXPECT_EQ(ret, 0) << dump();
        EXPECT_EQ(out.status, 0u);
        EXPECT_EQ(sim.count_calls(), 1u);
        return;
    }
    EXPECT_EQ(ret, -1);
    EXPECT_EQ(out.status, 1u);
    EXPECT_EQ(out.msg(), c.refusal);
    EXPECT_TRUE(log.contains(c.refusal, LOG_ERR)) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

const std::string kLongNames(4096, 'n');
const std::string kLongestNames(4095, 'n');
OvanCWMPParamValue_t g_pair = {"InternetGatewayDevice.ManagementServer.PeriodicInformInterval", "3600"};

INSTANTIATE_TEST_SUITE_P(
    Cases, Commands,
    testing::Values(
        CommandCase{"iad_0", [](uint32_t *s, char **m) { return OvanStartIADDiagTest(0, s, m); },
                    "Invalid 'server', should be 1 or 2."},
        CommandCase{"iad_1", [](uint32_t *s, char **m) { return OvanStartIADDiagTest(1, s, m); }, nullptr},
        CommandCase{"iad_2", [](uint32_t *s, char **m) { return OvanStartIADDiagTest(2, s, m); }, nullptr},
        CommandCase{"iad_3", [](uint32_t *s, char **m) { return OvanStartIADDiagTest(3, s, m); },
                    "Invalid 'server', should be 1 or 2."},
        CommandCase{"simulate", [](uint32_t *s, char **m) { return OvanStartVoIPSimulateTest(1, s, m); }, nullptr},
        CommandCase{"phone", [](uint32_t *s, char **m) { return OvanStartPhoneConnectivityTest(s, m); }, nullptr},
        CommandCase{"add_empty", [](uint32_t *s, char **m) { return OvanCWMPAddObject("", nullptr, s, m); },
                    "Parameter 'objName' should not be empty."},
        CommandCase{"delete_null", [](uint32_t *s, char **m) { return OvanCWMPDeleteObject(nullptr, s, m); },
                    "Parameter 'objName' should not be empty."},
        CommandCase{"set_none", [](uint32_t *s, char **m) { return OvanCWMPSetParameterValues(&g_pair, 0, s, m); },
                    "Parameter 'paraValObjs' should not be empty."},
        CommandCase{"set_null", [](uint32_t *s, char **m) { return OvanCWMPSetParameterValues(nullptr, 1, s, m); },
                    "Parameter 'paraValObjs' should not be empty."},
        CommandCase{"set_one", [](uint32_t *s, char **m) { return OvanCWMPSetParameterValues(&g_pair, 1, s, m); },
                    nullptr},
        CommandCase{"values_4096",
                    [](uint32_t *s, char **m) {
                        uint32_t n = 0;
                        return OvanCWMPGetParameterValues(kLongNames.c_str(), nullptr, &n, s, m);
                    },
                    "Invalid Parameters"},
        CommandCase{"values_4095",
                    [](uint32_t *s, char **m) {
                        uint32_t n = 0;
                        return OvanCWMPGetParameterValues(kLongestNames.c_str(), nullptr, &n, s, m);
                    },
                    nullptr},
        CommandCase{"values_empty",
                    [](uint32_t *s, char **m) {
                        uint32_t n = 0;
                        return OvanCWMPGetParameterValues("", nullptr, &n, s, m);
                    },
                    "Invalid Parameters"},
        CommandCase{"values_no_count",
                    [](uint32_t *s, char **m) { return OvanCWMPGetParameterValues("A.B", nullptr, nullptr, s, m); },
                    "Invalid Parameters"},
        CommandCase{"names_null_path",
                    [](uint32_t *s, char **m) {
                        uint32_t n = 0;
                        return OvanCWMPGetParameterNames(nullptr, 1, nullptr, &n, s, m);
                    },
                    "Invalid Parameters"},
        CommandCase{"names_no_count",
                    [](uint32_t *s, char **m) { return OvanCWMPGetParameterNames("A.", 1, nullptr, nullptr, s, m); },
                    "Invalid Parameters"}),
    [](const testing::TestParamInfo<CommandCase> &i) { return std::string(i.param.name); });

TEST_F(VoiceCWMP, CommandFailuresAndGatewayTexts)
{
    ASSERT_TRUE(sim.script_error(kIAD, "", "StartIADDiagTest", "org.freedesktop.DBus.Error.Failed", "x"));
    StatusOut iad;
    EXPECT_EQ(OvanStartIADDiagTest(1, &iad.status, &iad.errmsg), -1);
    EXPECT_EQ(iad.msg(), "Failed to call StartDetectQobLineStatus() function.");  // sic


    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "AddObject", "(uint32 0, uint32 9003, 'Invalid object')"));
    StatusOut add;
    uint32_t instance = 77;
    EXPECT_EQ(OvanCWMPAddObject("X.", &instance, &add.status, &add.errmsg), -1);
    EXPECT_EQ(add.status, 9003u);
    EXPECT_EQ(add.msg(), "Invalid object");
    EXPECT_EQ(instance, 77u) << "no instance on failure";
}

TEST_F(VoiceCWMP, AddObjectHandsBackTheInstance)
{
    uint32_t instance = 0;
    StatusOut out;
    ASSERT_EQ(OvanCWMPAddObject("InternetGatewayDevice.X.", &instance, &out.status, &out.errmsg), 0);
    EXPECT_EQ(instance, 3u);
    EXPECT_EQ(printed_args("AddObject"), "('InternetGatewayDevice.X.',)");
}

// ---- CWMP values and names ----

TEST_F(VoiceCWMP, GetParameterValuesSplitsNamesAndFillsPairs)
{
    OvanCWMPParamValue_t *vals = nullptr;
    uint32_t n = 0;
    StatusOut out;
    ASSERT_EQ(OvanCWMPGetParameterValues("A.B,C.D", &vals, &n, &out.status, &out.errmsg), 0);
    EXPECT_EQ(printed_args("GetParameterValues"), "(['A.B', 'C.D'],)");
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(vals[1].Name, "InternetGatewayDevice.DeviceInfo.SoftwareVersion");
    EXPECT_STREQ(vals[1].Value, "V3.2.1");
    g_free(vals);

    // Over-long texts are cut to 511 characters.
    const std::string big(700, 'v');
    GPtr<gchar> reply(g_strdup_printf("([('N', '%s')], uint32 0, '')", big.c_str()));
    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "GetParameterValues", reply.get()));
    ASSERT_EQ(OvanCWMPGetParameterValues("N", &vals, &n, nullptr, nullptr), 0);
    ASSERT_EQ(n, 1u);
    EXPECT_EQ(std::strlen(vals[0].Value), 511u);
    g_free(vals);

    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "GetParameterValues", "(@a(ss) [], uint32 0, '')"));
    vals = &g_pair;
    ASSERT_EQ(OvanCWMPGetParameterValues("N", &vals, &n, nullptr, nullptr), 0);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(vals, nullptr);
}

TEST_F(VoiceCWMP, ListingRepliesThatDoNotFit)
{
    struct Case {
        const char *method;
        const char *reply;
        uint32_t status;
        const char *message;
    };
    for (const Case &c : {
             Case{"GetParameterValues", "(@a(ss) [], uint32 5, 'busy')", 5, "busy"},
             Case{"GetParameterValues", "([('N', 'V')], uint32 0)", 1, "Return value is of incorrect variant type."},
             Case{"GetParameterValues", "([('N', true)], uint32 0, '')", 1,
                  "Return value is of incorrect variant type."},
             Case{"GetParameterNames", "([('N', 'V')], uint32 0, '')", 1, "Return value is of incorrect variant type."},
             Case{"GetParameterNames", "(@a(sb) [], uint32 2, 'no such path')", 2, "no such path"},
         }) {
        ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, c.method, c.reply));
        StatusOut out;
        uint32_t n = 77;
        void *rows = nullptr;
        const int32_t ret =
            std::strcmp(c.method, "GetParameterNames") == 0
                ? OvanCWMPGetParameterNames("A.", 0, reinterpret_cast<OvanCWMPParamName_t **>(&rows), &n, &out.status,
                                            &out.errmsg)
                : OvanCWMPGetParameterValues("A", reinterpret_cast<OvanCWMPParamValue_t **>(&rows), &n, &out.status,
                                             &out.errmsg);
        EXPECT_EQ(ret, -1) << c.reply;
        EXPECT_EQ(out.status, c.status) << c.reply;
        EXPECT_EQ(out.msg(), c.message) << c.reply;
        EXPECT_EQ(n, 77u) << c.reply;
        EXPECT_EQ(rows, nullptr) << c.reply;
    }
}

TEST_F(VoiceCWMP, GetParameterNamesFillsWritable)
{
    OvanCWMPParamName_t *names = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanCWMPGetParameterNames("InternetGatewayDevice.", 1, &names, &n, nullptr, nullptr), 0);
    EXPECT_EQ(printed_args("GetParameterNames"), "('InternetGatewayDevice.', true)");
    ASSERT_EQ(n, 3u);
    EXPECT_STREQ(names[2].Name, "InternetGatewayDevice.ManagementServer.URL");
    EXPECT_EQ(names[2].Writable, 1);
    EXPECT_EQ(names[0].Writable, 0);
    g_free(names);
}

TEST_F(VoiceCWMP, SetParameterValuesSendsEveryPairInOrder)
{
    OvanCWMPParamValue_t pairs[2] = {{"A.B", "1"}, {"", "x"}};
    std::memset(pairs[1].Name, 'N', sizeof pairs[1].Name);  // filled to the last byte
    ASSERT_EQ(OvanCWMPSetParameterValues(pairs, 2, nullptr, nullptr), 0);
    GPtr<GVariant> args = last_args(sim, "SetParameterValues");
    ASSERT_TRUE(args);
    GPtr<GVariant> list(g_variant_get_child_value(args.get(), 0));
    ASSERT_EQ(g_variant_n_children(list.get()), 2u);
    const char *name = nullptr, *value = nullptr;
    g_variant_get_child(list.get(), 0, "(&s&s)", &name, &value);
    EXPECT_STREQ(name, "A.B");
    EXPECT_STREQ(value, "1");
    g_variant_get_child(list.get(), 1, "(&s&s)", &name, &value);
    EXPECT_EQ(std::strlen(name), 512u);
    EXPECT_STREQ(value, "x");
}

// ---- setters' checks ----

struct SetCase {
    const char *name;
    std::function<int32_t()> call;
    const char *refusal;  // "tag: message" at priority 3; null: accepted
};

void PrintTo(const SetCase &c, std::ostream *os) { *os << c.name; }

class Setters : public VoiceCWMP, public testing::WithParamInterface<SetCase> {};

TEST_P(Setters, CheckedBeforeTheBus)
{
    const int32_t ret = GetParam().call();
    const size_t writes = sim.count_calls("", "com.quv.igd1.Properties", "SetMulti");
    if (!GetParam().refusal) {
        EXPECT_EQ(ret, 0) << dump();
        EXPECT_EQ(writes, 1u);
        return;
    }
    EXPECT_EQ(ret, -1);
    EXPECT_EQ(writes, 0u);
    EXPECT_TRUE(log.contains(GetParam().refusal, LOG_ERR)) << dump();
}

// Reads the gateway's record, changes it, writes it back.
template <typename R>
std::function<int32_t()> change(int32_t (*get)(R *), int32_t (*set)(R *), void (*edit)(R &))
{
    return [=] {
        R r{};
        if (get(&r) != 0)
            return -2;
        edit(r);
        return set(&r);
    };
}

using L = OvanIPv6LANConfig_t;
using D = OvanDHCPv6Server_t;
using R = OvanRAConfig_t;
constexpr const char kLANBad[] = "OvanSetIPV6LANConfig: Invalid parameter.";
constexpr const char kRABad[] = "OvanSetRAConfig: Invalid parameter.";
auto lan(void (*edit)(L &)) { return change(OvanGetIPV6LANConfig, OvanSetIPV6LANConfig, edit); }
auto dhcp(void (*edit)(D &)) { return change(OvanGetDHCPV6Server, OvanSetDHCPV6Server, edit); }
auto ra(void (*edit)(R &)) { return change(OvanGetRAConfig, OvanSetRAConfig, edit); }

INSTANTIATE_TEST_SUITE_P(
    Cases, Setters,
    testing::Values(
        SetCase{"lan_as_read", lan([](L &) {}), nullptr},
        SetCase{"lan_static_no_servers",
                lan([](L &r) {
                    std::strcpy(r.ConfigType, "Static");
                    r.Servers[0] = '\0';
                    std::strcpy(r.PrefixMode, "Static");
                    r.Prefix[0] = '\0';
                }),
                nullptr},
        SetCase{"lan_address_v4", lan([](L &r) { std::strcpy(r.LocalAddress, "192.168.1.1"); }), kLANBad},
        SetCase{"lan_config_type_lower", lan([](L &r) { std::strcpy(r.ConfigType, "static"); }), kLANBad},
        SetCase{"lan_prefix_mode", lan([](L &r) { std::strcpy(r.PrefixMode, "Delegated"); }), kLANBad},
        SetCase{"lan_second_server_bad", lan([](L &r) { std::strcpy(r.Servers, "2408::8,2408::g"); }), kLANBad},
        SetCase{"lan_prefix_bad", lan([](L &r) { std::strcpy(r.Prefix, "2408::/129"); }), kLANBad},
        SetCase{"lan_lifetimes", lan([](L &r) { r.PreferredLifeTime = r.ValidLifeTime + 1; }), kLANBad},
        SetCase{"lan_unterminated_wan",
                lan([](L &r) { std::memset(r.DNSWAN, 'w', sizeof r.DNSWAN); }), kLANBad},
        SetCase{"lan_null", [] { return OvanSetIPV6LANConfig(nullptr); }, kLANBad},
        SetCase{"dhcp_as_read", dhcp([](D &) {}), nullptr},
        SetCase{"dhcp_min_v4", dhcp([](D &r) { std::strcpy(r.MinAddress, "10.0.0.2"); }),
                "OvanSetDHCPV6Server: Invalid parameter MinAddress (10.0.0.2) / MaxAddress (::ffff)."},
        SetCase{"dhcp_max_empty", dhcp([](D &r) { r.MaxAddress[0] = '\0'; }),
                "OvanSetDHCPV6Server: Invalid parameter MinAddress (::2) / MaxAddress ()."},
        SetCase{"ra_as_read", ra([](R &) {}), nullptr},
        SetCase{"ra_bounds",
                ra([](R &r) {
                    r.MaxRtrAdvInterval = 4;
                    r.MinRtrAdvInterval = 3;
                }),
                nullptr},
        SetCase{"ra_max_3", ra([](R &r) { r.MaxRtrAdvInterval = 3; }), kRABad},
        SetCase{"ra_max_1801", ra([](R &r) { r.MaxRtrAdvInterval = 1801; }), kRABad},
        SetCase{"ra_min_over_three_quarters",
                ra([](R &r) {
                    r.MaxRtrAdvInterval = 600;
                    r.MinRtrAdvInterval = 451;
                }),
                kRABad},
        SetCase{"simulate_null", [] { return OvanSetVOIPSimulateTestConfig(nullptr); },
                "OvanSetVOIPSimulateTestConfig: Parameter 'obj' should not be NULL."}),
    [](const testing::TestParamInfo<SetCase> &i) { return std::string(i.param.name); });

TEST_F(VoiceCWMP, SimulatedCallSettingsSendThreeKeys)
{
    OvanVOIPSimulateTest_t t{};
    ASSERT_EQ(OvanGetVOIPSimulateTestConfig(&t), 0);
    EXPECT_STREQ(t.CalledNumber, "10086");
    std::strcpy(t.DialDTMFConfirmNumber, "1");
    ASSERT_EQ(OvanSetVOIPSimulateTestConfig(&t), 0);
    std::string keys;
    for (const auto &k : sent_keys(sim))
        keys += (keys.empty() ? "" : ",") + k;
    EXPECT_EQ(keys, "CalledNumber,DialDTMFConfirmEnable,DialDTMFConfirmNumber");
}

}  // namespace
