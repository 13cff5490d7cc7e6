// PPPoE, DHCP server, port mapping, platform service and incoming filter: the checks,
// texts and quirks of their own (the shapes are tested in test_shapes.cpp).
#include <algorithm>
#include <cstring>
#include <ostream>
#include <string>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_netsvc.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kPortMappings[] = "/com/quv/igd1/Config/PortMapping";
constexpr const char kPlatform[] = "/com/quv/igd1/Tevra/PlatformService";
constexpr const char kFilter[] = "/com/quv/igd1/Config/IncomingFilter";

class NetSvc : public SimTest {
protected:
    uint32_t port_mapping_count()
    {
        uint32_t n = 0;
        EXPECT_EQ(OvanGetPortMappingObjs(nullptr, &n), 0);
        return n;
    }
};

OvanObjPath_t path_of(const char *p) { return obj_path(p); }

OvanPortMapping_t valid_rule()
{
    OvanPortMapping_t r{};
    r.Enable = 1;
    r.ExternalPort = 2222;
    r.InternalPort = 22;
    g_strlcpy(r.PortMappingProtocol, "TCP", sizeof r.PortMappingProtocol);
    g_strlcpy(r.InternalClient, "192.168.1.30", sizeof r.InternalClient);
    g_strlcpy(r.Description, "ssh", sizeof r.Description);
    return r;
}

TEST_F(NetSvc, DHCPServerAddressesChecked)
{
    OvanDHCPServer_t dhcp{};
    ASSERT_EQ(OvanGetDHCPServer(&dhcp), 0);
    EXPECT_EQ(OvanSetDHCPServer(&dhcp), 0);
    sim.clear_call_log();
    OvanDHCPServer_t bad = dhcp;
    bad.SubnetMask[0] = '\0';  // empty is refused
    EXPECT_EQ(OvanSetDHCPServer(&bad), -1);
    bad = dhcp;
    g_strlcpy(bad.MaxAddress, "192.168.1.256", sizeof bad.MaxAddress);
    EXPECT_EQ(OvanSetDHCPServer(&bad), -1);
    EXPECT_EQ(OvanSetDHCPServer(nullptr), -1);
    EXPECT_TRUE(log.contains("OvanSetDHCPServer: Invalid parameter.", 3));
    EXPECT_EQ(sim.count_calls(), 0u);
}

struct RuleCase {
    const char *name;
    void (*change)(OvanPortMapping_t &);
    bool ok;
    const char *reason = nullptr;  // named before the refusal line, if any
};

void PrintTo(const RuleCase &c, std::ostream *os) { *os << c.name; }

class PortMappingRules : public NetSvc, public testing::WithParamInterface<RuleCase> {};

TEST_P(PortMappingRules, SetterChecks)
{
    OvanPortMapping_t rule = valid_rule();
    GetParam().change(rule);
    int32_t ret = OvanSetPortMapping(path_of("/com/quv/igd1/Config/PortMapping/1"), &rule);
    if (GetParam().ok) {
        EXPECT_EQ(ret, 0);
        EXPECT_EQ(sim.count_calls("/com/quv/igd1/Config/PortMapping/1", "com.quv.igd1.Properties", "SetMulti"), 1u);
    } else {
        EXPECT_EQ(ret, -1);
        EXPECT_TRUE(log.contains("OvanSetPortMapping: Invalid parameters.", 3));
        EXPECT_EQ(sim.count_calls(), 0u);
    }
    const auto lines = log.lines();
    auto first = [&](const std::string &text) {
        return std::find_if(lines.begin(), lines.end(), [&](const lumo::test::LogLine &l) {
            return l.priority == 3 && l.text.find(text) != std::string::npos;
        });
    };
    if (GetParam().reason)
        EXPECT_LT(first(std::string("OvanSetPortMapping: Invalid parameter: ") + GetParam().reason + "."),
                  first("OvanSetPortMapping: Invalid parameters."));
    else
        EXPECT_EQ(first("Invalid parameter: "), lines.end());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PortMappingRules,
    testing::Values(
        RuleCase{"valid", [](OvanPortMapping_t &) {}, true},
        RuleCase{"remote_host", [](OvanPortMapping_t &r) { g_strlcpy(r.RemoteHost, "10.0.0.1", 64); }, true},
        RuleCase{"bad_remote_host", [](OvanPortMapping_t &r) { g_strlcpy(r.RemoteHost, "example.com", 64); }, false,
                 "RemoteHost: 'example.com' is not an IPv4 address"},
        RuleCase{"no_client", [](OvanPortMapping_t &r) { r.InternalClient[0] = '\0'; }, false,
                 "InternalClient: '' is not an IPv4 address"},
        RuleCase{"ports_1_65535",
                 [](OvanPortMapping_t &r) {
                     r.InternalPort = 1;
                     r.ExternalPort = 65535;
                 },
                 true},
        RuleCase{"internal_port_0", [](OvanPortMapping_t &r) { r.InternalPort = 0; }, false,
                 "InternalPort: 0 is outside 1..65535"},
        RuleCase{"external_port_65536", [](OvanPortMapping_t &r) { r.ExternalPort = 65536; }, false,
                 "ExternalPort: 65536 is outside 1..65535"},
        RuleCase{"both", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "BOTH", 8); }, true},
        RuleCase{"udp", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "UDP", 8); }, true},
        RuleCase{"lower_case", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "tcp", 8); }, false,
                 "PortMappingProtocol: 'tcp' is not one of TCP, UDP, BOTH"},
        RuleCase{"unterminated_protocol",
                 [](OvanPortMapping_t &r) { std::memset(r.PortMappingProtocol, 'T', sizeof r.PortMappingProtocol); },
                 false}),
    [](const testing::TestParamInfo<RuleCase> &i) { return std::string(i.param.name); });

TEST_F(NetSvc, AddWithInvalidRuleLeavesNoObject)
{
    const uint32_t before = port_mapping_count();
    OvanPortMapping_t rule = valid_rule();
    rule.InternalPort = 0;
    EXPECT_EQ(OvanAddPortMapping(&rule), -1);
    EXPECT_EQ(sim.count_calls(kPortMappings, "com.quv.igd1.ObjectManager", "AddObject"), 1u);
    EXPECT_EQ(sim.count_calls(kPortMappings, "com.quv.igd1.ObjectManager", "DeleteObject"), 1u);
    EXPECT_EQ(port_mapping_count(), before);
    EXPECT_EQ(OvanAddPortMapping(nullptr), -1);
}

struct MaskCase {
    uint32_t mask;
    const char *keys;  // the dictionary's keys in order, joined by ','
};

void PrintTo(const MaskCase &c, std::ostream *os) { *os << c.mask; }

class PlatformMask : public NetSvc, public testing::WithParamInterface<MaskCase> {};

TEST_P(PlatformMask, GroupsInTheirOrder)
{
    OvanPlatformService_t ps{};
    ASSERT_EQ(OvanGetPlatformService(&ps), 0);
    sim.clear_call_log();
    ASSERT_EQ(OvanSetPlatformService(GetParam().mask, &ps), 0);
    ASSERT_EQ(sim.count_calls(), 1u);
    std::string keys;
    for (const auto &k : sent_keys(sim))
        keys += (keys.empty() ? "" : ",") + k;
    EXPECT_EQ(keys, GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(
    Masks, PlatformMask,
    testing::Values(MaskCase{0x00, ""}, MaskCase{0x01, ""},
                    MaskCase{0x08, "DistAddr,Port,Heartbeat,Ability,LocalPort,Version,SSN"},
                    MaskCase{0x02 | 0x10, "DistStatus,DistErrorMsg,OperAddr"},
                    MaskCase{0xFF, "DistAddr,Port,Heartbeat,Ability,LocalPort,Version,SSN,DistStatus,DistErrorMsg,"
                                   "OperAddr,OperStatus,OperErrorMsg,PluginAddr,PluginStatus,PluginErrorMsg,BSSAddr"}));

TEST_F(NetSvc, PlatformAbilityChecked)
{
    OvanPlatformService_t ps{};
    ps.Ability = 2;
    EXPECT_EQ(OvanSetPlatformService(0x08, &ps), -1);
    EXPECT_EQ(OvanSetPlatformService(0, &ps), -1) << "whatever the mask";
    EXPECT_EQ(OvanSetPlatformService(0x08, nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
    ps.Ability = 1;
    EXPECT_EQ(OvanSetPlatformService(0, &ps), 0);
    EXPECT_EQ(sim.count_calls(kPlatform, "com.quv.igd1.Properties", "SetMulti"), 1u);
}

struct FilterCase {
    const char *ip;
    int32_t protocol, port, interface;
    bool ok;
};

void PrintTo(const FilterCase &c, std::ostream *os)
{
    *os << (c.ip ? c.ip : "(null)") << '/' << c.protocol << '/' << c.port << '/' << c.interface;
}

class IncomingFilter : public NetSvc, public testing::WithParamInterface<FilterCase> {};

TEST_P(IncomingFilter, ArgumentsChecked)
{
    const FilterCase &c = GetParam();
    uint32_t status = 42;
    char *errmsg = nullptr;
    int32_t ret = OvanIncomingFilterAddEntry(c.ip, c.protocol, c.port, c.interface, &status, &errmsg);
    if (c.ok) {
        EXPECT_EQ(ret, 0);
        EXPECT_EQ(status, 0u);
        auto calls = sim.call_log();
        ASSERT_EQ(calls.size(), 1u);
        GPtr<char> expected(g_strdup_printf("('%s', byte 0x%02x, uint32 %d, byte 0x%02x)", c.ip ? c.ip : "",
                                            c.protocol, c.port, c.interface));
        EXPECT_EQ(calls[0].args_text(), expected.get());
    } else {
        EXPECT_EQ(ret, -1);
        EXPECT_EQ(status, 42u) << "a refusal leaves the outputs alone";
        EXPECT_EQ(errmsg, nullptr);
        EXPECT_TRUE(log.contains("OvanIncomingFilterAddEntry: Invalid Parameters.", 3));
        EXPECT_EQ(sim.count_calls(), 0u);
    }
    g_free(errmsg);
}

INSTANTIATE_TEST_SUITE_P(Entries, IncomingFilter,
                         testing::Values(FilterCase{"10.0.0.1", 0, 0, 0, true}, FilterCase{nullptr, 2, 65535, 1, true},
                                         FilterCase{"", 1, 80, 0, true}, FilterCase{"10.0.0.1", 0, 65536, 0, false},
                                         FilterCase{"10.0.0.1", 3, 80, 0, false},
                                         FilterCase{"10.0.0.1", 0, 80, 2, false},
                                         FilterCase{"10.0.0.1", -1, 80, 0, false},
                                         FilterCase{"10.0.0.300", 0, 80, 0, false}));

TEST_F(NetSvc, IncomingFilterRefusalLine)
{
    ASSERT_TRUE(sim.script_reply(kFilter, "com.quv.igd1.IncomingFilter", "DelIncomingEntry", "(uint32 4, 'no such')"));
    EXPECT_EQ(OvanIncomingFilterDelEntry("10.0.0.1", 0, 80, 0, nullptr, nullptr), -1);
    EXPECT_TRUE(log.contains("Call OvanIncomingFilterDelEntry() errmsg [no such].", 3));
}

}  // namespace
