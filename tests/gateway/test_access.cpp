// MAC black and white lists, URL and DNS filters: their path checks and texts, the
// two filter generations and the schedule a first-generation set clears (the shapes
// themselves are tested in test_shapes.cpp).
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_access.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kDevice[] = "/com/quv/igd1/Info/Device";
constexpr const char kBlack[] = "/com/quv/igd1/Network/MACBlackList";
constexpr const char kURL[] = "/com/quv/igd1/Network/URLFilter";
constexpr const char kDNS[] = "/com/quv/igd1/Network/DNSFilter";
constexpr const char kURLIface[] = "com.quv.igd1.URLFilter";
constexpr const char kOM[] = "com.quv.igd1.ObjectManager";

class Access : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        gwdbusver = -1;
        wifivalinit = 0;
    }
    void set_device(const char *name, const char *value)
    {
        ASSERT_TRUE(sim.set_property(kDevice, kDeviceIface, name, value));
    }
    std::string keys()
    {
        std::string out;
        for (const auto &k : sent_keys(sim))
            out += (out.empty() ? "" : ",") + k;
        return out;
    }
    std::string set_args() { return printed(last_args(sim, "SetMulti").get()); }
};

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
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetDNSFilter", "invalid parameter.")) << dump();
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

// ---- what the setters send ----

struct SendCase {
    const char *name;
    const char *version;  // DBusInterfaceVersion
    std::function<int32_t()> call;
    const char *keys;
};

void PrintTo(const SendCase &c, std::ostream *os) { *os << c.name; }

class FilterSends : public Access, public testing::WithParamInterface<SendCase> {};

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

TEST_P(FilterSends, KeysInOrder)
{
    set_device("DBusInterfaceVersion", GetParam().version);
    ASSERT_EQ(GetParam().call(), 0) << dump();
    EXPECT_EQ(keys(), GetParam().keys);
}

const char *kU1 = "/com/quv/igd1/Network/URLFilter/1";
const char *kD1 = "/com/quv/igd1/Network/DNSFilter/1";

INSTANTIATE_TEST_SUITE_P(
    Cases, FilterSends,
    testing::Values(
        SendCase{"url_v1", "'1.2.0'",
                 [] {
                     OvanURLFilter_t r{};
                     return OvanSetURLFilter(obj_path(kU1), &r);
                 },
                 "Enable,URL,MAC,Name,Mode,WeekDays,Time"},
        SendCase{"url_v4_bus1", "'1.1.0'", [] { auto r = url_v4(); return OvanSetURLFilterv4(obj_path(kU1), &r); },
                 "Enable,URL,MAC,Name"},
        SendCase{"url_v4_bus2", "'1.2.0'", [] { auto r = url_v4(); return OvanSetURLFilterv4(obj_path(kU1), &r); },
                 "Enable,URL,MAC,Name,Mode,URLList,WeekDays,Time"},
        SendCase{"dns_v1", "'1.1.0'",
                 [] {
                     OvanDNSFilter_t r{};
                     return OvanSetDNSFilter(obj_path(kD1), &r);
                 },
                 "Enable,Name,Hostname,Action,MAC,Mode,WeekDays,Time"},
        SendCase{"dns_v4_bus1", "'1.1.0'", [] { auto r = dns_v4(); return OvanSetDNSFilterv4(obj_path(kD1), &r); },
                 "Enable,Name,Hostname,Action,MAC"},
        SendCase{"dns_v4_bus2", "'1.2.0'", [] { auto r = dns_v4(); return OvanSetDNSFilterv4(obj_path(kD1), &r); },
                 "Enable,Name,Hostname,Action,MAC,Mode,HostNameList,WeekDays,Time"},
        SendCase{"blacklist", "'1.1.0'",
                 [] {
                     OvanMACBlackList_t r{};
                     r.BlockedTimes = 5;
                     return OvanSetMACBlackList(obj_path("/com/quv/igd1/Network/MACBlackList/2"), &r);
                 },
                 "MAC,Name"}),
    [](const testing::TestParamInfo<SendCase> &i) { return std::string(i.param.name); });

TEST_F(Access, FirstGenerationSetClearsTheSchedule)
{
    OvanURLFilter_t r{};
    ASSERT_EQ(OvanGetURLFilter(obj_path(kU1), &r), 0);
    g_strlcpy(r.Name, "renamed", sizeof r.Name);
    ASSERT_EQ(OvanSetURLFilter(obj_path(kU1), &r), 0);
    EXPECT_NE(set_args().find("'Mode': <byte 0x00>, 'WeekDays': <''>, 'Time': <''>"), std::string::npos)
        << set_args();
    OvanURLFilterv4_t back{};
    ASSERT_EQ(OvanGetURLFilterv4(obj_path(kU1), &back), 0);
    EXPECT_STREQ(back.Name, "renamed");
    EXPECT_EQ(back.Mode, 0);
    EXPECT_STREQ(back.WeekDays, "");
    EXPECT_EQ(back.URLListNum, 2) << "the list is not a first-generation key";
    g_free(back.URLList);
}

TEST_F(Access, V4SetSendsExactlyTheCountedEntries)
{
    OvanURLFilterv4_t r = url_v4();
    ASSERT_EQ(OvanSetURLFilterv4(obj_path(kU1), &r), 0);
    EXPECT_NE(set_args().find("'URLList': <['one.example', 'two.example']>"), std::string::npos) << set_args();
    r.URLList = nullptr;
    ASSERT_EQ(OvanSetURLFilterv4(obj_path(kU1), &r), 0);
    EXPECT_NE(set_args().find("'URLList': <@as []>"), std::string::npos) << set_args();

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

}  // namespace
