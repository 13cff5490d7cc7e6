// The network families against the simulator, one namespace each: their own checks,
// texts and quirks (the shapes: test_shapes.cpp; what every object shares:
// test_registry.cpp).
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "gateway_support.hpp"
#include "lumo3_access.h"
#include "lumo3_dns.h"
#include "lumo3_netsvc.h"
#include "lumo3_qos.h"
#include "lumo3_vpn.h"
#include "lumo3_wan.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

// QoS, DNS speed limit and IPTV: their own checks, texts and quirks against the
// simulator (the shapes are tested in test_shapes.cpp).
namespace qos {

constexpr const char kIPTV[] = "/com/quv/igd1/Network/IPTV";
constexpr const char kIPTVIface[] = "com.quv.igd1.IPTV";
constexpr const char kRule1[] = "/com/quv/igd1/Network/QoS/Classification/1";
constexpr const char kTypes1[] = "/com/quv/igd1/Network/QoS/Classification/1/Type";
constexpr const char kType2[] = "/com/quv/igd1/Network/QoS/Classification/1/Type/2";
constexpr const char kOM[] = "com.quv.igd1.ObjectManager";

using QoS = GwTest;

template <typename R>
std::function<int32_t()> read_write(int32_t (*get)(R *), int32_t (*set)(R *))
{
    return [=] {
        R r{};
        return get(&r) == 0 ? set(&r) : -2;
    };
}

// Sets the record `make` gives (a zeroed one without it) at `path`.
template <typename R>
std::function<int32_t()> write_at(const char *path, int32_t (*set)(OvanObjPath_t, R *), R (*make)() = nullptr)
{
    return [=] {
        R r = make ? make() : R{};
        return set(obj_path(path), &r);
    };
}

template <typename R>
std::function<int32_t()> read_write_at(const char *path, int32_t (*get)(OvanObjPath_t, R *),
                                       int32_t (*set)(OvanObjPath_t, R *))
{
    return [=] {
        R r{};
        return get(obj_path(path), &r) == 0 ? set(obj_path(path), &r) : -2;
    };
}

TEST_F(QoS, IPTVSnoopingIsNeverReadBack)
{
    OvanIPTVConfigv4_t v4{};
    v4.SnoopingEnable = 1;
    ASSERT_EQ(OvanSetIPTVConfigv4(&v4), 0);
    EXPECT_EQ(printed(sim.property(kIPTV, kIPTVIface, "SnoopingEnable").get()), "true") << "the gateway has it";

    OvanIPTVConfigv4_t back{};
    ASSERT_EQ(OvanGetIPTVConfigv4(&back), 0);
    EXPECT_EQ(back.SnoopingEnable, 0);
    OvanIPTVConfig_t v1{};
    ASSERT_EQ(OvanGetIPTVConfig(&v1), 0);
    EXPECT_EQ(v1.SnoopingEnable, 0);
}

// ---- refusals ----

OvanDNSSpeedLimit_t limit(const char *action)
{
    OvanDNSSpeedLimit_t r{};
    std::strcpy(r.Domain, "example.com");
    std::strcpy(r.LimitAction, action);
    return r;
}

OvanObjPath_t unterminated(const char *start)
{
    OvanObjPath_t p;
    std::memset(p.str, 'T', sizeof p.str);
    std::memcpy(p.str, start, std::strlen(start));
    return p;
}

// The family's own refusals, each with its line at priority 3 and nothing sent (the
// path and null-record refusals every object shares: test_registry.cpp).
TEST_F(QoS, RefusalsSendNothing)
{
    struct Case {
        const char *line;  // "tag: message"
        std::function<int32_t()> call;
    };
    const Case cases[] = {
        {"OvanSetIPTVConfigv4: Parameter 'obj' should not be NULL.", [] { return OvanSetIPTVConfigv4(nullptr); }},
        {"OvanSetDNSSpeedLimit: Invalid LimitAction Parameter: alert",
         [] {
             auto r = limit("alert");
             return OvanSetDNSSpeedLimit(&r);
         }},
        {"OvanSetDNSSpeedLimit: Invalid LimitAction Parameter: DDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDD",
         [] {
             auto r = limit("");
             std::memset(r.LimitAction, 'D', sizeof r.LimitAction);
             return OvanSetDNSSpeedLimit(&r);
         }},
        {"OvanGetQoSClassTypeObjs: invalid path /com/quv/igd1/Network/QoS/Classification/1",
         [] {
             uint32_t n = 0;
             return OvanGetQoSClassTypeObjs(obj_path(kRule1), nullptr, &n);
         }},
        {"OvanGetQoSClassTypeObjs: invalid path /com/quv/igd1/Network/QoS/Classification/1/TypeTTT",
         [] {
             uint32_t n = 0;
             return OvanGetQoSClassTypeObjs(unterminated(kTypes1), nullptr, &n);
         }},
        {"OvanAddQoSClassType: Invalid parameters.",
         [] {
             OvanQoSClassType_t type{};
             return OvanAddQoSClassType(obj_path(kRule1), &type);
         }},
        {"OvanAddQoSClassType: Invalid parameters.", [] { return OvanAddQoSClassType(obj_path(kTypes1), nullptr); }},
        // A rule is not a type: deleting it through the type members would remove the rule.
        {"OvanDelQoSClassType: Invalid Parameter.", [] { return OvanDelQoSClassType(obj_path(kRule1)); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        log.clear();
        EXPECT_EQ(c.call(), -1);
        EXPECT_TRUE(log.contains(c.line, LOG_ERR)) << dump();
    }
    EXPECT_EQ(sim.count_calls(), 0u);
}

// ---- classification types below a rule ----

// (The listing below a rule, field by field: test_registry.cpp.)
TEST_F(QoS, TypesAddedAndDeletedBelowTheirRule)
{
    OvanQoSClassType_t t{};
    std::strcpy(t.Max, "8080");
    std::strcpy(t.Min, "80");
    ASSERT_EQ(OvanAddQoSClassType(obj_path(kTypes1), &t), 0) << dump();
    EXPECT_EQ(sim.count_calls(kTypes1, kOM, "AddObject"), 1u);
    ASSERT_EQ(OvanDelQoSClassType(obj_path(t.path)), 0);
    EXPECT_EQ(sim.count_calls(kTypes1, kOM, "DeleteObject"), 1u) << "deleted from the rule's own collection";
    uint32_t n = 0;
    ASSERT_EQ(OvanGetQoSClassTypeObjs(obj_path(kTypes1), nullptr, &n), 0);
    EXPECT_EQ(n, 2u);
}

// ---- line detection ----

TEST_F(QoS, LineDetectionDuration)
{
    struct Case {
        uint32_t duration;
        bool sent;
    };
    for (const Case &c : {Case{0, false}, Case{1, false}, Case{2, true}, Case{60, true}, Case{61, false}}) {
        sim.clear_call_log();
        StatusOut out;
        const int32_t ret = OvanIPTVStartDetectQobLineStatus(c.duration, &out.status, &out.errmsg);
        EXPECT_EQ(ret, c.sent ? 0 : -1) << c.duration;
        EXPECT_EQ(out.status, c.sent ? 0u : 77u) << c.duration;
        EXPECT_EQ(sim.count_calls(kIPTV, kIPTVIface, "StartDetectQobLineStatus"), c.sent ? 1u : 0u);
        if (c.sent) {
            EXPECT_EQ(args_of("StartDetectQobLineStatus"), "(uint32 " + std::to_string(c.duration) + ",)");
        }
    }
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanIPTVStartDetectQobLineStatus", "Invalid 'duration', should between 2 to 60."));
}

}  // namespace qos

// PPPoE, DHCP server, port mapping, platform service and incoming filter: the checks,
// texts and quirks of their own (the shapes are tested in test_shapes.cpp).
namespace netsvc {

constexpr const char kFilter[] = "/com/quv/igd1/Config/IncomingFilter";

using NetSvc = GwTest;

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
    EXPECT_TRUE(log.contains("OvanSetDHCPServer: Invalid parameter.", 3));
    EXPECT_EQ(sim.count_calls(), 0u);
}

// The rule checks (the reason each refusal names: lumoctl's tests).
TEST_F(NetSvc, PortMappingSetterChecks)
{
    constexpr const char kRule[] = "/com/quv/igd1/Config/PortMapping/1";
    struct Case {
        const char *name;
        void (*change)(OvanPortMapping_t &);
        bool ok;
    } cases[] = {
        {"valid", [](OvanPortMapping_t &) {}, true},
        {"remote_host", [](OvanPortMapping_t &r) { g_strlcpy(r.RemoteHost, "10.0.0.1", 64); }, true},
        {"bad_remote_host", [](OvanPortMapping_t &r) { g_strlcpy(r.RemoteHost, "example.com", 64); }, false},
        {"no_client", [](OvanPortMapping_t &r) { r.InternalClient[0] = '\0'; }, false},
        {"ports_1_65535",
         [](OvanPortMapping_t &r) {
             r.InternalPort = 1;
             r.ExternalPort = 65535;
         },
         true},
        {"internal_port_0", [](OvanPortMapping_t &r) { r.InternalPort = 0; }, false},
        {"external_port_65536", [](OvanPortMapping_t &r) { r.ExternalPort = 65536; }, false},
        {"both", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "BOTH", 8); }, true},
        {"udp", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "UDP", 8); }, true},
        {"lower_case", [](OvanPortMapping_t &r) { g_strlcpy(r.PortMappingProtocol, "tcp", 8); }, false},
        {"unterminated_protocol",
         [](OvanPortMapping_t &r) { std::memset(r.PortMappingProtocol, 'T', sizeof r.PortMappingProtocol); }, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        OvanPortMapping_t rule = valid_rule();
        c.change(rule);
        EXPECT_EQ(OvanSetPortMapping(obj_path(kRule), &rule), c.ok ? 0 : -1);
        EXPECT_EQ(sim.count_calls(), c.ok ? 1u : 0u);
        EXPECT_EQ(sim.count_calls(kRule, "com.quv.igd1.Properties", "SetMulti"), c.ok ? 1u : 0u);
        EXPECT_EQ(log.contains("OvanSetPortMapping: Invalid parameters.", 3), !c.ok);
    }
}

// (Ability 1, the gateway's own, is written back by the platform rows of Sends.)
TEST_F(NetSvc, PlatformAbilityChecked)
{
    OvanPlatformService_t ps{};
    ps.Ability = 2;
    EXPECT_EQ(OvanSetPlatformService(0x08, &ps), -1);
    EXPECT_EQ(OvanSetPlatformService(0, &ps), -1) << "whatever the mask";
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(NetSvc, IncomingFilterArgumentsChecked)
{
    struct Case {
        const char *ip;
        int32_t protocol, port, interface;
        bool ok;
    } cases[] = {
        {"10.0.0.1", 0, 0, 0, true},
        {nullptr, 2, 65535, 1, true},
        {"", 1, 80, 0, true},
        {"10.0.0.1", 0, 65536, 0, false},
        {"10.0.0.1", 3, 80, 0, false},
        {"10.0.0.1", 0, 80, 2, false},
        {"10.0.0.1", -1, 80, 0, false},
        {"10.0.0.300", 0, 80, 0, false},
    };
    for (const Case &c : cases) {
        GPtr<char> args(g_strdup_printf("('%s', byte 0x%02x, uint32 %d, byte 0x%02x)", c.ip ? c.ip : "",
                                        c.protocol, c.port, c.interface));
        SCOPED_TRACE(args.get());
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        uint32_t status = 42;
        char *errmsg = nullptr;
        const int32_t ret = OvanIncomingFilterAddEntry(c.ip, c.protocol, c.port, c.interface, &status, &errmsg);
        if (c.ok) {
            EXPECT_EQ(ret, 0);
            EXPECT_EQ(status, 0u);
            EXPECT_EQ(sim.count_calls(), 1u);
            EXPECT_EQ(args_of("AddIncomingEntry"), args.get());
        } else {
            EXPECT_EQ(ret, -1);
            EXPECT_EQ(status, 42u) << "a refusal leaves the outputs alone";
            EXPECT_EQ(errmsg, nullptr);
            EXPECT_TRUE(log.contains("OvanIncomingFilterAddEntry: Invalid Parameters.", 3));
            EXPECT_EQ(sim.count_calls(), 0u);
        }
        g_free(errmsg);
    }
}

TEST_F(NetSvc, IncomingFilterRefusalLine)
{
    ASSERT_TRUE(sim.script_reply(kFilter, "com.quv.igd1.IncomingFilter", "DelIncomingEntry", "(uint32 4, 'no such')"));
    EXPECT_EQ(OvanIncomingFilterDelEntry("10.0.0.1", 0, 80, 0, nullptr, nullptr), -1);
    EXPECT_TRUE(log.contains("Call OvanIncomingFilterDelEntry() errmsg [no such].", 3));
}

}  // namespace netsvc

// MAC black and white lists, URL and DNS filters: their path checks and texts, the
// two filter generations and the schedule a first-generation set clears (the shapes
// themselves are tested in test_shapes.cpp).
namespace access {

constexpr const char kURL[] = "/com/quv/igd1/Network/URLFilter";

using Access = GwTest;

// Paths, records and the WiFi gate as every object's: test_registry.cpp. Here the
// family's own refusal texts, and an unterminated path logged cut.
TEST_F(Access, RefusalTextsAndCutEntryLine)
{
    uint32_t n = 0;
    ASSERT_EQ(OvanGetMACBlackListObjs(nullptr, &n), 0) << "the WiFi question, asked once beforehand";
    OvanObjPath_t cut;
    std::memset(cut.str, '1', sizeof cut.str);
    std::memcpy(cut.str, "/com/quv/igd1/Network/DNSFilter/", 32);
    OvanDNSFilter_t d{};
    EXPECT_EQ(OvanGetDNSFilter(cut, &d), -1);
    EXPECT_EQ(OvanSetURLFilter(obj_path("/com/quv/igd1/Network/DNSFilter/1"), nullptr), -1);
    EXPECT_EQ(OvanDelMACWhiteList(obj_path("/com/quv/igd1/Network/MACBlackList/1")), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetURLFilter", "Invalid parameters.")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanDelMACWhiteList", "Invalid Parameter.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetURLFilter", "enter, path = /com/quv/igd1/Network/DNSFilter/1"));
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetDNSFilter",
                       "enter, path (/com/quv/igd1/Network/DNSFilter/" + std::string(255 - 32, '1') + ")"));
}

TEST_F(Access, PathsOf255CharactersArriveWhole)
{
    const std::string longest = std::string(kURL) + "/" + std::string(255 - std::strlen(kURL) - 1, '9');
    ASSERT_TRUE(sim.add_object(longest, "{'com.quv.igd1.URLFilter': {'Name': <'longest'>}}"));
    OvanURLFilter_t *u = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetURLFilterObjs(&u, &n), 0);
    ASSERT_EQ(n, 3u);
    EXPECT_EQ(u[2].path, longest);
    OvanURLFilter_t one{};
    ASSERT_EQ(OvanGetURLFilter(obj_path(longest), &one), 0);
    EXPECT_EQ(one.path, longest);
    g_free(u);
}

char kLists[3][256] = {"one.example", "two.example", "three.example"};

OvanURLFilterv4_t url_v4()
{
    OvanURLFilterv4_t r{};
    r.Enable = 1;
    g_strlcpy(r.URL, "x.example.com", sizeof r.URL);
    r.Mode = 3;
    r.URLListNum = 2;
    r.URLList = kLists;
    g_strlcpy(r.WeekDays, "6,7", sizeof r.WeekDays);
    g_strlcpy(r.Time, "08:00-09:00", sizeof r.Time);
    return r;
}

OvanDNSFilterv4_t dns_v4()
{
    OvanDNSFilterv4_t r{};
    g_strlcpy(r.Hostname, "h.example", sizeof r.Hostname);
    r.Action = 1;
    r.Mode = 2;
    r.HostNameListNum = 3;
    r.HostNameList = kLists;
    g_strlcpy(r.WeekDays, "1", sizeof r.WeekDays);
    return r;
}

const char *kU1 = "/com/quv/igd1/Network/URLFilter/1";
const char *kD1 = "/com/quv/igd1/Network/DNSFilter/1";

TEST_F(Access, FirstGenerationSetClearsTheSchedule)
{
    OvanURLFilter_t r{};
    ASSERT_EQ(OvanGetURLFilter(obj_path(kU1), &r), 0);
    g_strlcpy(r.Name, "renamed", sizeof r.Name);
    ASSERT_EQ(OvanSetURLFilter(obj_path(kU1), &r), 0);
    EXPECT_NE(args_of("SetMulti").find("'Mode': <byte 0x00>, 'WeekDays': <''>, 'Time': <''>"), std::string::npos)
        << args_of("SetMulti");  // the list is not a first-generation key: Sends/url_v1
}

TEST_F(Access, V4SetSendsExactlyTheCountedEntries)
{
    OvanURLFilterv4_t r = url_v4();
    ASSERT_EQ(OvanSetURLFilterv4(obj_path(kU1), &r), 0);
    EXPECT_NE(args_of("SetMulti").find("'URLList': <['one.example', 'two.example']>"), std::string::npos)
        << args_of("SetMulti");
    r.URLList = nullptr;
    ASSERT_EQ(OvanSetURLFilterv4(obj_path(kU1), &r), 0);
    EXPECT_NE(args_of("SetMulti").find("'URLList': <@as []>"), std::string::npos) << args_of("SetMulti");

    ASSERT_TRUE(sim.clear_call_log());
    r.URLList = kLists;
    r.URLListNum = -1;
    EXPECT_EQ(OvanSetURLFilterv4(obj_path(kU1), &r), -1);
    OvanDNSFilterv4_t d = dns_v4();
    d.HostNameListNum = -3;
    EXPECT_EQ(OvanSetDNSFilterv4(obj_path(kD1), &d), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetDNSFilterv4", "Invalid parameters."));
}

}  // namespace access

// DNS servers, DNS tunnels and DDNS: their own checks, the merge and removal of
// tunnel domains, and the write-back of DDNS instances.
namespace dns {

constexpr const char kDns[] = "/com/quv/igd1/Network/dns";
constexpr const char kTunnelIface[] = "com.quv.igd1.DNSTunnel";
constexpr const char kDDNS1[] = "/com/quv/igd1/Network/ddns/1";

class Dns : public GwTest {
protected:
    // The domains stored in tunnel `path`.
    std::string domains(const char *path)
    {
        GPtr<GVariant> v = sim.property(path, kTunnelIface, "DomainName");
        return v ? printed(v.get()) : "<none>";
    }
};

TEST_F(Dns, ServerChecks)
{
    struct Case {
        const char *s1, *s2;
        int expect;
        const char *message;
    } cases[] = {
        {"1.1.1.1", "", 0, nullptr},
        {"", "dns.example.net", 0, nullptr},        // a name with a dot is taken as it is
        {"", "", -1, "Invalid parameter."},
        {"resolver", "", -1, "Invalid dns Server1."},  // dotless and not an address
        {"1.1.1.1", "localhost", -1, "Invalid dns Server2."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.s1) + "," + c.s2);
        sim.clear_call_log();
        OvanDNSServerConfig_t r{};
        g_strlcpy(r.Server1, c.s1, sizeof r.Server1);
        g_strlcpy(r.Server2, c.s2, sizeof r.Server2);
        EXPECT_EQ(OvanSetDNSServerConfig(&r), c.expect);
        EXPECT_EQ(sim.count_calls("", "", "SetMulti"), c.expect == 0 ? 1u : 0u);
        if (c.message) {
            EXPECT_TRUE(logged(3, "OvanSetDNSServerConfig", c.message)) << dump();
        }
    }
    OvanDNSServerConfig_t v4{};
    ASSERT_EQ(OvanGetDNSServerConfig(&v4), 0);
    EXPECT_STREQ(v4.Server1, "");  // the empty one was sent too
    EXPECT_STREQ(v4.Server2, "dns.example.net");
}

TEST_F(Dns, Flush)
{
    EXPECT_EQ(OvanFlushDNS(nullptr, nullptr), 0);
    EXPECT_TRUE(logged(7, "OvanFlushDNS", "OvanFlushDNS(OVAN_OK)"));
}

TEST_F(Dns, TunnelListingAndWrites)
{
    const OvanObjPath_t t1 = obj_path("/com/quv/igd1/Network/dns/1");
    EXPECT_EQ(OvanSetDNSTunnel(t1, "10.8.0.54", ";a.example;;b.example;"), 0);
    EXPECT_EQ(domains("/com/quv/igd1/Network/dns/1"), "['a.example', 'b.example']");
    struct Bad {
        OvanObjPath_t path;
        const char *server, *domains;
    } bad[] = {
        {t1, "10.8.0.54", ""},        {t1, nullptr, "a.example"},
        {t1, "dns.example", "a.example"}, {obj_path("/com/quv/igd1/Network/dnsv6"), "10.0.0.1", "a.example"},
        {obj_path("/com/quv/igd1/Network/ddns/1"), "10.0.0.1", "a.example"},
    };
    sim.clear_call_log();
    for (const Bad &b : bad)
        EXPECT_EQ(OvanSetDNSTunnel(b.path, b.server, b.domains), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_TRUE(logged(3, "OvanSetDNSTunnel", "invalid parameter.")) << dump();
}

TEST_F(Dns, AddKeepsATunnelTheWriteRefuses)
{
    ASSERT_EQ(OvanAddDNSTunnel("10.7.0.53", "x.example"), 0);
    EXPECT_EQ(domains("/com/quv/igd1/Network/dns/3"), "['x.example']");
    sim.clear_call_log();
    EXPECT_EQ(OvanAddDNSTunnel("not-an-ip", "y.example"), -1);
    EXPECT_EQ(sim.count_calls("", "", "AddObject"), 1u);
    EXPECT_EQ(sim.count_calls("", "", "DeleteObject"), 0u);  // no roll-back here
    EXPECT_EQ(OvanAddDNSTunnel("", "y.example"), -1);
    sim.script_error(kDns, "com.quv.igd1.ObjectManager", "AddObject", "org.freedesktop.DBus.Error.Failed", "x");
    EXPECT_EQ(OvanAddDNSTunnel("10.7.0.53", "x.example"), -1);
    EXPECT_TRUE(logged(3, "OvanAddDNSTunnel", "AddObject failed.")) << dump();
}

TEST_F(Dns, AttachMergesDetachRemoves)
{
    constexpr const char t2[] = "/com/quv/igd1/Network/dns/2";  // holds lab.example
    struct Step {
        bool attach;
        const char *list;
        int expect;
        const char *after;  // "<none>": the tunnel is gone
    } steps[] = {
        {true, "lab.example;new.example", 0, "['lab.example', 'new.example']"},
        {true, "example;other.example", 0, "['lab.example', 'new.example', 'other.example']"},  // within a stored one
        {false, "absent.example", 0, "['lab.example', 'new.example', 'other.example']"},       // nothing removed
        {false, "new.example,other.example", 0, "['lab.example']"},
        {false, "lab.example", 0, "<none>"},
        {true, "lab.example", -1, "<none>"},
    };
    for (const Step &s : steps) {
        SCOPED_TRACE(std::string(s.attach ? "attach " : "detach ") + s.list);
        sim.clear_call_log();
        EXPECT_EQ(s.attach ? OvanDNSTunnelAttachDomain("10.9.0.53", s.list)
                           : OvanDNSTunnelDetachDomain("10.9.0.53", s.list),
                  s.expect);
        EXPECT_EQ(domains(t2), s.after);
    }
    EXPECT_TRUE(logged(3, "OvanDNSTunnelAttachDomain", "did not found the specified tunnel(10.9.0.53)")) << dump();

    // The attach check only logs; detach refuses.
    sim.clear_call_log();
    EXPECT_EQ(OvanDNSTunnelAttachDomain(nullptr, "a.example"), -1);
    EXPECT_TRUE(logged(3, "OvanDNSTunnelAttachDomain", "Invalid Parameters."));
    EXPECT_EQ(sim.count_calls("", "", "GetManagedObjects"), 1u);
    EXPECT_EQ(OvanDNSTunnelDetachDomain("10.8.0.53", ""), -1);
    EXPECT_EQ(OvanDNSTunnelDetachDomain(nullptr, "a.example"), -1);
    EXPECT_EQ(sim.count_calls("", "", "GetManagedObjects"), 1u);
}

TEST_F(Dns, DDNSInstances)
{
    OvanDDNSServer_t d{};
    ASSERT_EQ(OvanGetDDNSServerInstance(obj_path(kDDNS1), &d), 0);

    for (uint32_t port : {65535u, 65536u}) {
        sim.clear_call_log();
        d.ServicePort = port;
        EXPECT_EQ(OvanSetDDNSServerInstance(obj_path(kDDNS1), &d), port < 65536 ? 0 : -1);
        EXPECT_EQ(sim.count_calls("", "", "SetMulti"), port < 65536 ? 1u : 0u);
    }
    EXPECT_TRUE(logged(3, "OvanSetDDNSServerInstance", "Invalid ServicePort"));
    d.ServicePort = 8080;
    ASSERT_EQ(OvanSetDDNSServerInstance(obj_path(kDDNS1), &d), 0);
    EXPECT_FALSE(log_mentions(log, "ddns-secret")) << dump();
}

}  // namespace dns

// VPN connections: value checks, what a write sends, attach and detach of
// destinations, by-name look-ups, statistics, and the external client service.
namespace vpn {

constexpr const char kConn1[] = "/com/quv/igd1/Network/VPN/Connection/1";
constexpr const char kClientConn1[] = "/com/morvane/vpnclient1/conn/1";

// The strings the last SetMulti sent under `key`; "<absent>" when not sent.
std::vector<std::string> sent_list(Simulator &sim, const char *key)
{
    GPtr<GVariant> args = last_args(sim, "SetMulti");
    if (!args)
        return {"<no SetMulti>"};
    GPtr<GVariant> dict(g_variant_get_child_value(args.get(), 1));
    GPtr<GVariant> v(g_variant_lookup_value(dict.get(), key, nullptr));
    if (!v)
        return {"<absent>"};
    if (g_variant_is_of_type(v.get(), G_VARIANT_TYPE_STRING))
        return {g_variant_get_string(v.get(), nullptr)};
    std::vector<std::string> out;
    for (size_t i = 0; i < g_variant_n_children(v.get()); i++) {
        GPtr<GVariant> s(g_variant_get_child_value(v.get(), i));
        out.emplace_back(g_variant_get_string(s.get(), nullptr));
    }
    return out;
}

using List = std::vector<std::string>;

OvanVPNConnection_t valid_connection()
{
    OvanVPNConnection_t r{};
    g_strlcpy(r.vpn_type, "l2tp", sizeof r.vpn_type);
    g_strlcpy(r.tunnel_name, "lab", sizeof r.tunnel_name);
    g_strlcpy(r.vpn_mode, "steady", sizeof r.vpn_mode);
    g_strlcpy(r.vpn_priority, "7", sizeof r.vpn_priority);
    g_strlcpy(r.vpn_pwd, "top-secret-pw", sizeof r.vpn_pwd);
    g_strlcpy(r.attach_mode, "1", sizeof r.attach_mode);
    r.vpn_enable = 1;
    return r;
}

using Vpn = GwTest;

TEST_F(Vpn, SetChecksValues)
{
    struct Case {
        const char *type, *mode, *proxy, *priority;
        int expect;
    } cases[] = {
        {"l2tp", "steady", "", "0", 0},      {"pptp", "steady", "", "7", 0},
        {"l2tp", "random", "p.example", "3", 0},
        {"l2tp", "steady", "", "8", -1},     {"l2tp", "steady", "", "7a", -1},
        {"l2tp", "random", "", "1", -1},     {"ipsec", "steady", "", "1", -1},
        {"l2tp", "fixed", "", "1", -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.type) + "/" + c.mode + "/" + c.proxy + "/" + c.priority);
        sim.clear_call_log();
        OvanVPNConnection_t r = valid_connection();
        g_strlcpy(r.vpn_type, c.type, sizeof r.vpn_type);
        g_strlcpy(r.vpn_mode, c.mode, sizeof r.vpn_mode);
        g_strlcpy(r.account_proxy, c.proxy, sizeof r.account_proxy);
        g_strlcpy(r.vpn_priority, c.priority, sizeof r.vpn_priority);
        EXPECT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), c.expect);
        EXPECT_EQ(sim.count_calls("", "", "SetMulti"), c.expect == 0 ? 1u : 0u);
    }
    EXPECT_TRUE(logged(3, "OvanSetVPNConnection", "Invalid parameters.")) << dump();

    // The client's collection is not the gateway's; and fields that fill their whole
    // width (no terminator) are read within it.
    sim.clear_call_log();
    OvanVPNConnection_t r = valid_connection();
    std::memset(r.vpn_mode, 's', sizeof r.vpn_mode);
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), -1);
    r = valid_connection();
    std::memset(r.vpn_priority, '1', sizeof r.vpn_priority);  // "11111111": digits, but above 7
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), -1);
    r = valid_connection();
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kClientConn1), &r), -1);
    EXPECT_TRUE(logged(3, "OvanSetVPNConnection", "Invalid Path.")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Vpn, PasswordNeverLogged)
{
    OvanVPNConnection_t r = valid_connection();
    g_strlcpy(r.tunnel_name, "office", sizeof r.tunnel_name);
    ASSERT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), 0);
    ASSERT_EQ(OvanAttachVPNConnection("office", "10.1.1.1", nullptr, nullptr), 0);
    EXPECT_FALSE(log_mentions(log, "top-secret-pw")) << dump();
    EXPECT_EQ(sent_list(sim, "vpn_pwd"), List{"top-secret-pw"});  // sent all the same
}

TEST_F(Vpn, AttachSortsPiecesAndReplaces)
{
    struct Case {
        const char *ips, *domains, *macs;
        const char *attach_mode;
        List domains_sent, ips_sent, macs_sent;
    } cases[] = {
        {nullptr, "files.example;10.0.0.1-10.0.0.9", nullptr, "1", {"files.example"}, {"10.0.0.1-10.0.0.9"},
         {"<absent>"}},
        {"192.0.2.1;;host.example", "198.51.100.9", "", "1", {"host.example"}, {"198.51.100.9", "192.0.2.1"},
         {"<absent>"}},
        {"", nullptr, "A4C3F0000001;A4C3F0000002", "2", {"<absent>"}, {"<absent>"},
         {"A4C3F0000001", "A4C3F0000002"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.ips ? c.ips : "-") + " | " + (c.domains ? c.domains : "-"));
        ASSERT_EQ(OvanAttachVPNConnection("office", c.ips, c.domains, c.macs), 0) << dump();
        EXPECT_EQ(sent_list(sim, "attach_mode"), List{c.attach_mode});
        EXPECT_EQ(sent_list(sim, "domains"), c.domains_sent);
        EXPECT_EQ(sent_list(sim, "ips"), c.ips_sent);
        EXPECT_EQ(sent_list(sim, "terminal_mac"), c.macs_sent);
    }
    EXPECT_EQ(printed(sim.property(kConn1, "com.quv.igd1.VPNConnection", "terminal_mac").get()),
              "['A4C3F0000001', 'A4C3F0000002']");

    // Only the first 511 characters of a list count.
    std::string longlist(505, 'x');
    longlist += ";abcdefgh";
    ASSERT_EQ(OvanAttachVPNConnection("office", nullptr, longlist.c_str(), nullptr), 0);
    EXPECT_EQ(sent_list(sim, "domains"), (List{std::string(505, 'x'), "abcde"}));
}

TEST_F(Vpn, AttachRefusals)
{
    struct Case {
        const char *name, *ips, *domains, *macs, *message;
    } cases[] = {
        {nullptr, "10.0.0.1", nullptr, nullptr, "Invalid Parameter."},
        {"", "10.0.0.1", nullptr, nullptr, "Invalid Parameter."},
        {"office", "", "", nullptr, "Invalid Parameter."},
        {"office", "10.0.0.1", nullptr, "A4C3F0000001", "Invalid Parameter."},
        {"office", nullptr, "a.example", "A4C3F0000001", "Invalid Parameter."},
        {"nosuch", "10.0.0.1", nullptr, nullptr, "Failed to find specified VPN Connections."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_EQ(OvanAttachVPNConnection(c.name, c.ips, c.domains, c.macs), -1);
        EXPECT_TRUE(logged(3, "OvanAttachVPNConnection", c.message)) << dump();
    }
    EXPECT_EQ(sim.count_calls("", "", "SetMulti"), 0u);
    EXPECT_EQ(sim.count_calls("", "", "GetManagedObjects"), 1u);  // only the unknown tunnel got that far

    sim.script_error("/com/quv/igd1/Network/VPN/Connection", "com.quv.igd1.ObjectManager", "GetManagedObjects",
                     "org.freedesktop.DBus.Error.Failed", "down");
    EXPECT_EQ(OvanAttachVPNConnection("office", "10.0.0.1", nullptr, nullptr), -1);
    EXPECT_TRUE(logged(3, "OvanAttachVPNConnection", "Failed to get VPN Connections.")) << dump();
}

TEST_F(Vpn, DetachBySubstring)
{
    ASSERT_TRUE(sim.set_property(kConn1, "com.quv.igd1.VPNConnection", "ips",
                                 "['10.0.0.1', '10.0.0.10', '192.0.2.5']"));
    // 10.0.0.10 in the argument also takes the stored 10.0.0.1; separators play no part.
    ASSERT_EQ(OvanDetachVPNConnection("office", "10.0.0.10", "wiki.office.example,x", nullptr), 0) << dump();
    EXPECT_EQ(sent_list(sim, "ips"), List{"192.0.2.5"});
    EXPECT_EQ(sent_list(sim, "domains"), List{"intranet.office.example"});
    EXPECT_EQ(sent_list(sim, "terminal_mac"), List{});
    EXPECT_EQ(sent_list(sim, "attach_mode"), List{"1"});  // the stored mode stays
    EXPECT_TRUE(logged(7, "OvanDetachVPNConnection",
                       "enter, tunnelName (office), ipAddrList, domainList (wiki.office.example,x), macList ()"));

    EXPECT_EQ(OvanDetachVPNConnection("nosuch", "10.0.0.1", nullptr, nullptr), -1);
    EXPECT_EQ(OvanDetachVPNConnection(nullptr, "10.0.0.1", nullptr, nullptr), -1);
}

TEST_F(Vpn, AddDeleteAndDeleteByName)
{
    OvanVPNConnection_t r = valid_connection();
    ASSERT_EQ(OvanAddVPNConnection(&r), 0);
    EXPECT_STREQ(r.path, "/com/quv/igd1/Network/VPN/Connection/3");
    ASSERT_EQ(OvanDelVPNConnByName("lab"), 0);
    EXPECT_EQ(args_of("DeleteObject"), "(objectpath '/com/quv/igd1/Network/VPN/Connection/3',)");

    EXPECT_EQ(OvanDelVPNConnByName("lab"), -1);
    EXPECT_TRUE(logged(3, "OvanDelVPNConnByName", "did not found tunnelName (lab)")) << dump();
}

// Only a connection's own statistics object.
TEST_F(Vpn, StatisticsPath)
{
    OvanVPNConnectionStats_t st{};
    for (const char *bad : {kConn1, "/com/quv/igd1/Network/VPN/Stats/1", ""}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(OvanGetVPNConnectionStatus(obj_path(bad), &st), -1);
    }
    EXPECT_TRUE(logged(3, "OvanGetVPNConnectionStatus", "Invalid Path")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Vpn, ClientSetAttachAndDeleteGoToTheClient)
{
    OvanUptVPNConnection_t r{};
    g_strlcpy(r.vpn_type, "pptp", sizeof r.vpn_type);
    g_strlcpy(r.tunnel_name, "edge", sizeof r.tunnel_name);
    g_strlcpy(r.vpn_mode, "steady", sizeof r.vpn_mode);
    g_strlcpy(r.vpn_priority, "2", sizeof r.vpn_priority);
    g_strlcpy(r.attach_mode, "1", sizeof r.attach_mode);
    ASSERT_EQ(OvanAddUptVPNConnection(&r), 0) << dump();
    EXPECT_STREQ(r.path, "/com/morvane/vpnclient1/conn/2");
    ASSERT_EQ(OvanAttachUptVPNConnection("edge", nullptr, "a.example;192.0.2.0/24", nullptr), 0);
    EXPECT_EQ(sent_list(sim, "ips"), List{"192.0.2.0/24"});
    EXPECT_EQ(args_of("SetMulti").rfind("('com.morvane.vpnclient1', ", 0), 0u) << args_of("SetMulti");
    ASSERT_EQ(OvanDelUptVPNConnByName("edge"), 0);
    EXPECT_EQ(OvanDelUptVPNConnection(obj_path(kConn1)), -1);  // the gateway's prefix
}

// Without the client on the bus only its functions fail.
class VpnNoClient : public BusTest {
protected:
    void SetUp() override
    {
        BusTest::SetUp();
        ASSERT_TRUE(sim.ok());
    }
    static SimulatorOptions without_client()
    {
        SimulatorOptions o;
        o.vpn_client = false;
        return o;
    }
    Simulator sim{bus, without_client()};
};

TEST_F(VpnNoClient, OnlyClientFunctionsFail)
{
    uint32_t n = 0;
    EXPECT_EQ(OvanGetUptVPNConnObjs(nullptr, &n), -1);
    EXPECT_EQ(OvanDelUptVPNConnByName("cloud"), -1);
    EXPECT_EQ(OvanAttachUptVPNConnection("cloud", "10.0.0.1", nullptr, nullptr), -1);
    OvanUptVPNConnection_t r{};
    EXPECT_EQ(OvanAddUptVPNConnection(&r), -1);
    EXPECT_TRUE(logged(3, "OvanGetUptVPNConnObjs", "GetManagedObjects failed with ret(-1)")) << dump();
    EXPECT_EQ(OvanGetVPNConnObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 3u);
}

}  // namespace vpn

// WAN connections: both record layouts, the path checks, and the two look-ups with
// their status and message rules.
namespace wan {

constexpr const char kDb[] = "/com/quv/igd1/Info/Network/WANConnectionDb";
constexpr const char kDbIface[] = "com.quv.igd1.WANConnectionDb";
const std::string kConn1 = std::string(kDb) + "/1";
const std::string kConn2 = std::string(kDb) + "/2";

using Wan = GwTest;

// 255 characters: the instance getter keeps them all.
TEST_F(Wan, InstanceGetterKeepsPathsOfFullWidth)
{
    const std::string longest = std::string(kDb) + "/" + std::string(255 - std::strlen(kDb) - 1, 'w');
    ASSERT_TRUE(sim.add_object(longest, "{'com.quv.igd1.WANConnectionInfo': {'Index': <'9'>}}"));
    OvanWANConnection_t one{};
    ASSERT_EQ(OvanGetWANConnection(obj_path(longest), &one), 0);
    EXPECT_EQ(one.path, longest);
    EXPECT_STREQ(one.Index, "9");
}

TEST_F(Wan, InstanceGetterReadFailures)
{
    ASSERT_TRUE(sim.script_error(kConn1, "", "GetAll", "org.freedesktop.DBus.Error.Failed", "down", 0, true));
    OvanWANConnection_t rec{};
    EXPECT_EQ(OvanGetWANConnection(obj_path(kConn1), &rec), -1);
    EXPECT_TRUE(logged(3, "OvanGetWANConnection", "OvanDBusGetAllProperty() failed with -1 or dict = NULL."));

    const std::string empty = std::string(kDb) + "/7";
    ASSERT_TRUE(sim.add_object(empty, "{'com.quv.igd1.WANConnectionInfo': @a{sv} {}}"));
    OvanWANConnectionv4_t rec4{};
    EXPECT_EQ(OvanGetWANConnectionv4(obj_path(empty), &rec4), -1);
    EXPECT_TRUE(logged(3, "OvanGetWANConnectionv4", "Failed with the reason: no items in the returned connection <" + empty + ">."));
}

TEST_F(Wan, ByNameFindsTheConnection)
{
    ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetWANConnByName",
                                 "(objectpath '/com/quv/igd1/Info/Network/WANConnectionDb/2', uint32 0, '')"));
    sim.clear_call_log();
    OvanWANConnection_t rec{};
    ASSERT_EQ(OvanGetWANConnectionByName("2_TR069_VOICE_R_VID_46", &rec, nullptr, nullptr), 0);
    EXPECT_EQ(rec.path, kConn2);
    EXPECT_EQ(args_of("GetWANConnByName"), "('2_TR069_VOICE_R_VID_46',)");
    EXPECT_TRUE(logged(7, "OvanGetWANConnectionByName", "name(2_TR069_VOICE_R_VID_46)"));

    OvanWANConnectionv4_t rec4{};
    ASSERT_EQ(OvanGetWANConnectionByNamev4("x", &rec4, nullptr, nullptr), 0);
    EXPECT_EQ(rec4.path, kConn2);
}

TEST_F(Wan, InternetConnection)
{
    OvanWANConnection_t rec{};
    ASSERT_EQ(OvanGetInternetWANConnection(&rec, nullptr, nullptr), 0);
    EXPECT_EQ(rec.path, kConn1);
    EXPECT_TRUE(logged(7, "OvanGetInternetWANConnection", "Enter"));
    EXPECT_TRUE(logged(7, "OvanGetInternetWANConnection", "GetInternetConnIndex() return [(objectpath '" + kConn1 + "', uint32 0, '')]"));

    OvanWANConnectionv4_t rec4{};
    ASSERT_EQ(OvanGetInternetWANConnectionv4(&rec4, nullptr, nullptr), 0);
    EXPECT_EQ(rec4.SpeedLimit_DOWN, 512000u);
}

// How both look-ups report: arguments refused with nothing sent, a failed call, the
// service's refusal with and without a message (no read follows), and a connection
// found that cannot be read.
TEST_F(Wan, LookupStatusAndMessages)
{
    using Call = std::function<int32_t(StatusOut &)>;
    struct Case {
        const char *name;
        const char *method;  // null: nothing may be sent
        const char *reply;   // null: the call fails
        Call call;
        uint32_t status;
        const char *message;
        int level = 0;  // the line below, at this level, tagged by `tag`
        const char *tag = nullptr, *line = nullptr;
    };
    static OvanWANConnection_t rec;
    static OvanWANConnectionv4_t rec4;
    const Call by_name = [](StatusOut &o) { return OvanGetWANConnectionByName("a", &rec, &o.status, &o.errmsg); };
    const Call by_name4 = [](StatusOut &o) { return OvanGetWANConnectionByNamev4("a", &rec4, &o.status, &o.errmsg); };
    const Call internet = [](StatusOut &o) { return OvanGetInternetWANConnection(&rec, &o.status, &o.errmsg); };
    const Call internet4 = [](StatusOut &o) { return OvanGetInternetWANConnectionv4(&rec4, &o.status, &o.errmsg); };
    const char *const invalid = "Invalid parameters.";
    const char *const unreadable = "(objectpath '/com/quv/igd1/Info/Network/WANConnectionDb/9', uint32 0, 'fine')";
    const Case cases[] = {
        {"name_null", nullptr, nullptr,
         [](StatusOut &o) { return OvanGetWANConnectionByName(nullptr, &rec, &o.status, &o.errmsg); }, 1, invalid},
        {"name_empty", nullptr, nullptr,
         [](StatusOut &o) { return OvanGetWANConnectionByName("", &rec, &o.status, &o.errmsg); }, 1, invalid},
        {"name_no_record", nullptr, nullptr,
         [](StatusOut &o) { return OvanGetWANConnectionByNamev4("a", nullptr, &o.status, &o.errmsg); }, 1, invalid},
        {"internet_no_record", nullptr, nullptr,
         [](StatusOut &o) { return OvanGetInternetWANConnectionv4(nullptr, &o.status, &o.errmsg); }, 1, invalid, 3,
         "OvanGetInternetWANConnectionv4", "Invalid parameter."},
        {"name_call_fails", "GetWANConnByName", nullptr, by_name, 1, "Internal Error"},
        // The v4 line names the first-layout function.
        {"name_refused", "GetWANConnByName", "(objectpath '/', uint32 3, 'no such')", by_name4, 3, "no such", 3,
         "OvanGetWANConnectionByNamev4", "Call OvanGetWANConnectionByName() errmsg [no such]."},
        {"name_unreadable", "GetWANConnByName", unreadable, by_name, 1, "Get WanConnection failed."},
        {"internet_call_fails", "GetInternetConnIndex", nullptr, internet, 1, "Call GetInternetConnIndex() failed."},
        {"internet_refused", "GetInternetConnIndex", "(objectpath '/', uint32 2, 'no wan')", internet4, 2, "no wan", 6,
         "OvanGetInternetWANConnectionv4", "Call OvanGetInternetWANConnection() errmsg [no wan]."},
        // An unreadable connection is the getter's failure alone: status and message stay.
        {"internet_unreadable", "GetInternetConnIndex", unreadable, internet, 0, "<untouched>"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(sim.clear_scripts());
        ASSERT_TRUE(sim.clear_call_log());
        if (c.method && c.reply) {
            ASSERT_TRUE(sim.script_reply(kDb, kDbIface, c.method, c.reply));
        } else if (c.method) {
            ASSERT_TRUE(sim.script_error(kDb, kDbIface, c.method, "org.freedesktop.DBus.Error.Failed", "x"));
        }
        StatusOut out;
        EXPECT_EQ(c.call(out), -1);
        EXPECT_EQ(out.status, c.status);
        EXPECT_EQ(out.msg(), c.message);
        if (c.line) {
            EXPECT_TRUE(logged(c.level, c.tag, c.line)) << dump();
        }
        if (!c.method) {
            EXPECT_EQ(sim.count_calls(), 0u);
        } else if (c.reply != unreadable) {
            EXPECT_EQ(sim.count_calls("", "", "GetAll"), 0u);
        }
    }
}

}  // namespace wan

// ---- what each setter writes, over the families ----

using Sends = GwTest;

// The platform service's groups, by mask.
std::function<int32_t()> platform(uint32_t mask)
{
    return [=] {
        OvanPlatformService_t ps{};
        return OvanGetPlatformService(&ps) == 0 ? OvanSetPlatformService(mask, &ps) : -2;
    };
}

// A VPN connection of `mode` and attach mode, with a MAC list and a domain count
// whose block is null (an empty list is sent).
std::function<int32_t()> vpn_mode(const char *mode, const char *attach)
{
    return [=] {
        static char macs[1][64] = {"A4C3F0AABBCC"};
        OvanVPNConnection_t r = vpn::valid_connection();
        g_strlcpy(r.vpn_mode, mode, sizeof r.vpn_mode);
        g_strlcpy(r.account_proxy, "proxy.example", sizeof r.account_proxy);
        g_strlcpy(r.attach_mode, attach, sizeof r.attach_mode);
        r.terminal_mac_num = 1;
        r.terminal_mac = macs;
        r.domains_num = 3;
        return OvanSetVPNConnection(obj_path(vpn::kConn1), &r);
    };
}

using access::kD1;
using access::kU1;
using qos::read_write;
using qos::read_write_at;
using qos::write_at;
constexpr const char kVpnFirst[] = "vpn_type,tunnel_name,user_id,vpn_enable,vpn_mode,vpn_priority,vpn_idletime,";

// One dictionary of the setter's keys, in order, for each interface version named
// (none: the simulator's, 1.2).
TEST_F(Sends, OneDictionaryOfItsKeysInOrder)
{
    struct Case {
        const char *name;
        const char *version;  // DBusInterfaceVersion; null: the simulator's
        std::function<int32_t()> call;
        std::string keys;
    };
    const Case cases[] = {
        {"qos_config", nullptr, read_write(OvanGetQoSConfig, OvanSetQoSConfig),
         "Mode,Enable,Bandwidth,Plan,EnableForceWeight,EnableDSCPMark,Enable8021P"},
        {"qos_classification", nullptr, read_write_at(qos::kRule1, OvanGetQoSClassification, OvanSetQoSClassification),
         "ClassQueue,DSCPMarkValue,VLAN8021PValue"},
        {"qos_class_type", nullptr, read_write_at(qos::kType2, OvanGetQoSClassType, OvanSetQoSClassType),
         "Max,Min,ProtocolList"},
        {"qos_queue_car_only", nullptr,
         read_write_at("/com/quv/igd1/Network/QoS/PriorityQueue/2", OvanGetQoSPriorityQueue, OvanSetQoSPriorityQueue),
         "Car"},
        {"qos_app", nullptr, read_write_at("/com/quv/igd1/Network/QoS/App/1", OvanGetQoSApp, OvanSetQoSApp),
         "AppName,ClassQueue"},
        {"dns_speed_limit", nullptr, read_write(OvanGetDNSSpeedLimit, OvanSetDNSSpeedLimit), "Domain,LimitAction"},
        {"iptv", nullptr, read_write(OvanGetIPTVConfig, OvanSetIPTVConfig), "ProxyEnable,SnoopingEnable"},
        {"iptv_v4", nullptr, read_write(OvanGetIPTVConfigv4, OvanSetIPTVConfigv4),
         "ProxyEnable,SnoopingEnable,NoStbEnable"},
        // NoStbEnable is left to gateways of interface version 2.
        {"iptv_v4_bus1", "'1.1.0'", read_write(OvanGetIPTVConfigv4, OvanSetIPTVConfigv4), "ProxyEnable,SnoopingEnable"},
        {"url_v1", "'1.2.0'", write_at(kU1, OvanSetURLFilter), "Enable,URL,MAC,Name,Mode,WeekDays,Time"},
        {"url_v4_bus1", "'1.1.0'", write_at(kU1, OvanSetURLFilterv4, access::url_v4), "Enable,URL,MAC,Name"},
        {"url_v4_bus2", "'1.2.0'", write_at(kU1, OvanSetURLFilterv4, access::url_v4),
         "Enable,URL,MAC,Name,Mode,URLList,WeekDays,Time"},
        {"dns_v1", "'1.1.0'", write_at(kD1, OvanSetDNSFilter), "Enable,Name,Hostname,Action,MAC,Mode,WeekDays,Time"},
        {"dns_v4_bus1", "'1.1.0'", write_at(kD1, OvanSetDNSFilterv4, access::dns_v4),
         "Enable,Name,Hostname,Action,MAC"},
        {"dns_v4_bus2", "'1.2.0'", write_at(kD1, OvanSetDNSFilterv4, access::dns_v4),
         "Enable,Name,Hostname,Action,MAC,Mode,HostNameList,WeekDays,Time"},
        {"blacklist", "'1.1.0'", write_at("/com/quv/igd1/Network/MACBlackList/2", OvanSetMACBlackList), "MAC,Name"},
        {"platform_bit_0_unused", nullptr, platform(0x01), ""},
        {"platform_dist", nullptr, platform(0x08), "DistAddr,Port,Heartbeat,Ability,LocalPort,Version,SSN"},
        {"platform_status_and_oper", nullptr, platform(0x02 | 0x10), "DistStatus,DistErrorMsg,OperAddr"},
        {"platform_all", nullptr, platform(0xFF),
         "DistAddr,Port,Heartbeat,Ability,LocalPort,Version,SSN,DistStatus,DistErrorMsg,OperAddr,"
         "OperStatus,OperErrorMsg,PluginAddr,PluginStatus,PluginErrorMsg,BSSAddr"},
        {"vpn_steady_by_address", nullptr, vpn_mode("steady", "1"),
         std::string(kVpnFirst) + "vpn_addr,vpn_account,vpn_pwd,vpn_port,attach_mode,domains,ips"},
        {"vpn_random_by_mac", nullptr, vpn_mode("random", "2"),
         std::string(kVpnFirst) + "account_proxy,vpn_addr,vpn_account,vpn_pwd,vpn_port,attach_mode,terminal_mac"},
        {"vpn_unattached", nullptr, vpn_mode("steady", "0"),
         std::string(kVpnFirst) + "vpn_addr,vpn_account,vpn_pwd,vpn_port,attach_mode"},
        {"ddns", nullptr, read_write_at(dns::kDDNS1, OvanGetDDNSServerInstance, OvanSetDDNSServerInstance),
         "DDNSCfgEnabled,DDNSProvider,DDNSUsername,DDNSPassword,ServicePort,DDNSDomainName,DDNSHostName"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(
            sim.set_property(kDevicePath, kDeviceIface, "DBusInterfaceVersion", c.version ? c.version : "'1.2.0'"));
        gwdbusver = -1;  // asked once per process: each case asks again
        ASSERT_TRUE(sim.clear_call_log());
        ASSERT_EQ(c.call(), 0) << dump();
        EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 1u);
        EXPECT_EQ(keys(), c.keys);
    }
}

}  // namespace
