// VPN connections: value checks, what a write sends, attach and detach of
// destinations, by-name look-ups, statistics, and the external client service.
#include <cstring>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_vpn.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

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

template <typename R>
void free_records(R *objs, uint32_t n)
{
    for (uint32_t i = 0; objs && i < n; i++) {
        g_free(objs[i].domains);
        g_free(objs[i].ips);
        g_free(objs[i].terminal_mac);
    }
    g_free(objs);
}

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

class Vpn : public SimTest {};

TEST_F(Vpn, SetChecksValues)
{
    struct Case {
        const char *type, *mode, *proxy, *priority;
        int expect;
    } cases[] = {
        {"l2tp", "steady", "", "0", 0},      {"pptp", "steady", "", "7", 0},
        {"l2tp", "random", "p.example", "3", 0},
        {"l2tp", "steady", "", "8", -1},     {"l2tp", "steady", "", "-1", -1},
        {"l2tp", "steady", "", "7a", -1},    {"l2tp", "steady", "", "", -1},
        {"l2tp", "random", "", "1", -1},     {"ipsec", "steady", "", "1", -1},
        {"L2TP", "steady", "", "1", -1},     {"l2tp", "fixed", "", "1", -1},
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

    // Paths: wrong collection, the client's collection, unterminated; and fields that
    // fill their whole width (no terminator) are read within it.
    sim.clear_call_log();
    OvanVPNConnection_t r = valid_connection();
    std::memset(r.vpn_mode, 's', sizeof r.vpn_mode);
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), -1);
    r = valid_connection();
    std::memset(r.vpn_priority, '1', sizeof r.vpn_priority);  // "11111111": digits, but above 7
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), -1);
    r = valid_connection();
    EXPECT_EQ(OvanSetVPNConnection(obj_path("/com/quv/igd1/Config/PortMapping/1"), &r), -1);
    EXPECT_EQ(OvanSetVPNConnection(obj_path(kClientConn1), &r), -1);
    OvanObjPath_t full;
    std::memset(full.str, 'a', sizeof full.str);
    EXPECT_EQ(OvanSetVPNConnection(full, &r), -1);
    EXPECT_EQ(OvanSetUptVPNConnection(obj_path(kConn1), nullptr), -1);
    EXPECT_TRUE(logged(3, "OvanSetVPNConnection", "Invalid Path.")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Vpn, SetSendsByModeAndAttachMode)
{
    struct Case {
        const char *mode, *attach;
        List keys;
    } cases[] = {
        {"steady", "1", {"vpn_type", "tunnel_name", "user_id", "vpn_enable", "vpn_mode", "vpn_priority",
                         "vpn_idletime", "vpn_addr", "vpn_account", "vpn_pwd", "vpn_port", "attach_mode", "domains",
                         "ips"}},
        {"random", "2", {"vpn_type", "tunnel_name", "user_id", "vpn_enable", "vpn_mode", "vpn_priority",
                         "vpn_idletime", "account_proxy", "vpn_addr", "vpn_account", "vpn_pwd", "vpn_port",
                         "attach_mode", "terminal_mac"}},
        {"steady", "0", {"vpn_type", "tunnel_name", "user_id", "vpn_enable", "vpn_mode", "vpn_priority",
                         "vpn_idletime", "vpn_addr", "vpn_account", "vpn_pwd", "vpn_port", "attach_mode"}},
    };
    char macs[1][64] = {"A4C3F0AABBCC"};
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.mode) + " attach " + c.attach);
        OvanVPNConnection_t r = valid_connection();
        g_strlcpy(r.vpn_mode, c.mode, sizeof r.vpn_mode);
        g_strlcpy(r.account_proxy, "proxy.example", sizeof r.account_proxy);
        g_strlcpy(r.attach_mode, c.attach, sizeof r.attach_mode);
        r.terminal_mac_num = 1;
        r.terminal_mac = macs;
        r.domains_num = 3;  // a null block sends an empty list
        ASSERT_EQ(OvanSetVPNConnection(obj_path(kConn1), &r), 0);
        EXPECT_EQ(sent_keys(sim), c.keys);
    }
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
        EXPECT_EQ(sent_list(sim, "account_proxy"), List{"<absent>"});  // the tunnel is "steady"
    }
    GPtr<GVariant> stored = sim.property(kConn1, "com.quv.igd1.VPNConnection", "terminal_mac");
    ASSERT_TRUE(stored);
    EXPECT_EQ(g_variant_n_children(stored.get()), 2u);

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
    GPtr<GVariant> del = last_args(sim, "DeleteObject");
    ASSERT_TRUE(del);
    EXPECT_EQ(printed(del.get()), "(objectpath '/com/quv/igd1/Network/VPN/Connection/3',)");

    EXPECT_EQ(OvanDelVPNConnByName("lab"), -1);
    EXPECT_TRUE(logged(3, "OvanDelVPNConnByName", "did not found tunnelName (lab)")) << dump();

    // A refused write leaves no connection behind.
    g_strlcpy(r.vpn_priority, "9", sizeof r.vpn_priority);
    sim.clear_call_log();
    EXPECT_EQ(OvanAddVPNConnection(&r), -1);
    EXPECT_EQ(sim.count_calls("", "", "DeleteObject"), 1u);
    EXPECT_EQ(OvanDelVPNConnection(obj_path(kClientConn1)), -1);
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
    GPtr<GVariant> set = last_args(sim, "SetMulti");
    GPtr<GVariant> iface(g_variant_get_child_value(set.get(), 0));
    EXPECT_EQ(printed(iface.get()), "'com.morvane.vpnclient1'");
    ASSERT_EQ(OvanDetachUptVPNConnection("edge", nullptr, "a.example", nullptr), 0);
    EXPECT_EQ(sent_list(sim, "domains"), List{});
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

}  // namespace
