// DNS servers, DNS tunnels and DDNS: their own checks, the merge and removal of
// tunnel domains, and the write-back of DDNS instances.
#include <cstring>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_dns.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kDns[] = "/com/quv/igd1/Network/dns";
constexpr const char kTunnelIface[] = "com.quv.igd1.DNSTunnel";
constexpr const char kDDNS1[] = "/com/quv/igd1/Network/ddns/1";

class Dns : public SimTest {
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
    EXPECT_EQ(OvanSetDNSServerConfig(nullptr), -1);
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
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"DDNSCfgEnabled", "DDNSProvider", "DDNSUsername",
                                                         "DDNSPassword", "ServicePort", "DDNSDomainName",
                                                         "DDNSHostName"}));
    EXPECT_FALSE(log_mentions(log, "ddns-secret")) << dump();

    d.ServicePort = 70000;
    sim.clear_call_log();
    EXPECT_EQ(OvanAddDDNSServerInstance(&d), -1);
    EXPECT_EQ(sim.count_calls("", "", "DeleteObject"), 1u);  // rolled back
    EXPECT_EQ(OvanGetDDNSServerInstance(obj_path("/com/quv/igd1/Network/dns/1"), &d), -1);
    EXPECT_EQ(OvanDelDDNSServerInstance(obj_path("/com/quv/igd1/Network/ddns")), -1);
}

}  // namespace
