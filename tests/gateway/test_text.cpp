// What the library refuses to put on the bus: object-path arguments without their
// terminator, and text that is not UTF-8. Either is refused before anything is sent.
#include <cstring>
#include <ostream>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kPortMappings[] = "/com/quv/igd1/Config/PortMapping";
constexpr const char kLatin1[] = "caf\xe9";  // "café" typed on a Latin-1 system

// A path that fills all 256 bytes without a terminator. Cut to 255 it would still
// be a valid path of the family, so a wrapper that cuts instead of refusing sends it.
OvanObjPath_t unterminated(const std::string &start)
{
    OvanObjPath_t p;
    std::memset(p.str, 'x', sizeof p.str);
    std::memcpy(p.str, start.data(), start.size());
    return p;
}

// A rule the setter accepts but for its description.
OvanPortMapping_t rule(const char *description)
{
    OvanPortMapping_t r{};
    r.ExternalPort = r.InternalPort = 22;
    g_strlcpy(r.PortMappingProtocol, "TCP", sizeof r.PortMappingProtocol);
    g_strlcpy(r.InternalClient, "192.168.1.30", sizeof r.InternalClient);
    g_strlcpy(r.Description, description, sizeof r.Description);
    return r;
}

struct PathCase {
    const char *name;
    const char *tag;
    const char *start;  // what the path begins with
    int32_t (*call)(OvanObjPath_t path);
};

void PrintTo(const PathCase &c, std::ostream *os)
{
    *os << c.name;
}

template <typename R, int32_t (*F)(OvanObjPath_t, R *)>
int32_t with_record(OvanObjPath_t p)
{
    R rec{};
    return F(p, &rec);
}

constexpr const char kHost[] = "/com/quv/igd1/Config/LANHosts/1/";
constexpr const char kWan[] = "/com/quv/igd1/Info/Network/WANConnectionDb/1/";
constexpr const char kWlan[] = "/com/quv/igd1/Config/WLAN/Devices/1/";
constexpr const char kWps[] = "/com/quv/igd1/Config/WLAN/Devices/1/WPS/";
constexpr const char kRule[] = "/com/quv/igd1/Config/PortMapping/1/";

const PathCase kPathCases[] = {
    {"GetPortMapping", "OvanGetPortMapping", kRule, with_record<OvanPortMapping_t, OvanGetPortMapping>},
    {"SetPortMapping", "OvanSetPortMapping", kRule,
     [](OvanObjPath_t p) {
         OvanPortMapping_t r = rule("ssh");
         return OvanSetPortMapping(p, &r);
     }},
    {"DelPortMapping", "OvanDelPortMapping", kRule, OvanDelPortMapping},
    {"GetLANHost", "OvanGetLANHost", kHost, with_record<OvanLANHost_t, OvanGetLANHost>},
    {"GetLANHostExt", "OvanGetLANHostExt", kHost, with_record<OvanLANHostExt_t, OvanGetLANHostExt>},
    {"GetLANHostExtWithIPv6", "OvanGetLANHostExtWithIPv6", kHost,
     with_record<OvanLANHostExtWithIPv6_t, OvanGetLANHostExtWithIPv6>},
    {"GetLANHostNegoRateByPath", "OvanGetLANHostNegoRateByPath", kHost,
     with_record<uint32_t, OvanGetLANHostNegoRateByPath>},
    {"SetLANHost", "OvanSetLANHost", kHost, with_record<OvanLANHost_t, OvanSetLANHost>},
    {"DelLANHost", "OvanDelLANHost", kHost, OvanDelLANHost},
    {"GetWANConnection", "OvanGetWANConnection", kWan, with_record<OvanWANConnection_t, OvanGetWANConnection>},
    {"GetWANConnectionv4", "OvanGetWANConnectionv4", kWan,
     with_record<OvanWANConnectionv4_t, OvanGetWANConnectionv4>},
    {"GetWLANDevice", "OvanGetWLANDevice", kWlan, with_record<OvanWLANDevice_t, OvanGetWLANDevice>},
    {"SetWLANDevice", "OvanSetWLANDevice", kWlan, with_record<OvanWLANDevice_t, OvanSetWLANDevice>},
    {"DelWLANDevice", "OvanDelWLANDevice", kWlan, OvanDelWLANDevice},
    {"GetWPSConfig", "OvanGetWPSConfig", kWps, with_record<OvanWPSConfig_t, OvanGetWPSConfig>},
    {"SetWPSEnable", "OvanSetWPSEnable", kWps, [](OvanObjPath_t p) { return OvanSetWPSEnable(p, 1); }},
    {"SetWPS", "OvanSetWPS", kWps,
     [](OvanObjPath_t p) {
         StatusOut out;
         int32_t rc = OvanSetWPS(p, 1, 0, &out.status, &out.errmsg);
         EXPECT_EQ(out.status, 1u);
         return rc;
     }},
};

class UnterminatedPath : public SimTest, public ::testing::WithParamInterface<PathCase> {};

TEST_P(UnterminatedPath, RefusedWithNothingSent)
{
    const PathCase &c = GetParam();
    // The WiFi capability guard asks the gateway once per process: ask it beforehand.
    uint32_t n = 0;
    ASSERT_EQ(OvanGetWLANDeviceObjs(nullptr, &n), 0);
    ASSERT_TRUE(sim.clear_call_log());
    log.clear();

    EXPECT_EQ(c.call(unterminated(c.start)), -1);
    EXPECT_TRUE(sim.call_log().empty());
    EXPECT_GE(errors_from(log, c.tag), 1u) << dump();
}

INSTANTIATE_TEST_SUITE_P(OldFamilies, UnterminatedPath, ::testing::ValuesIn(kPathCases),
                         [](const auto &param) { return std::string(param.param.name); });

class Text : public SimTest {
protected:
    ScopedContext context;  // keeps the last error
};

// The case that was reported: the write came back 0 with Description silently left out.
TEST_F(Text, Latin1DescriptionRefusedBySetterAndAdder)
{
    static const char line[] = "Invalid parameter: Description is not valid UTF-8.";
    OvanPortMapping_t r = rule(kLatin1);
    EXPECT_EQ(OvanSetPortMapping(obj_path(std::string(kPortMappings) + "/1"), &r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetPortMapping", line)) << dump();
    EXPECT_STREQ(OvanGetErrMsg(), line);

    EXPECT_EQ(OvanAddPortMapping(&r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddPortMapping", line)) << dump();
    EXPECT_TRUE(sim.call_log().empty());  // not even a created-then-deleted object

    // Well-formed text beyond ASCII goes through whole.
    OvanPortMapping_t ok = rule("caf\xc3\xa9");
    ASSERT_EQ(OvanAddPortMapping(&ok), 0) << dump();
    GPtr<GVariant> args = last_args(sim, "SetMulti");
    ASSERT_TRUE(args);
    EXPECT_NE(printed(args.get()).find("'Description': <'caf\xc3\xa9'>"), std::string::npos) << printed(args.get());
}

// The bus layer's own string arguments (the wrappers' are swept through the lumoctl
// registry in test_registry_text).
TEST_F(Text, PropertyNamesRefused)
{
    GVariant *value = nullptr;
    EXPECT_EQ(OvanDBusGetProperty(kGw, kDevicePath, kDeviceIface, "Dev\xfe", &value), -1);
    EXPECT_EQ(OvanDBusSetProperty(kGw, kDevicePath, kDeviceIface, "Dev\xfe", g_variant_new_string("x")), -1);
    EXPECT_STREQ(OvanGetErrMsg(), "org.freedesktop.DBus.Error.InvalidArgs: property name is not valid UTF-8");
    EXPECT_TRUE(sim.call_log().empty());
}

}  // namespace
