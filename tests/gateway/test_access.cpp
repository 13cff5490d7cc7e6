// MAC black and white lists, URL and DNS filters: their path checks and texts, the
// two filter generations, the schedule a first-generation set clears, and the WiFi
// gate of the MAC lists (the shapes themselves are tested in test_shapes.cpp).
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

OvanObjPath_t unterminated(const char *prefix)
{
    OvanObjPath_t p;
    std::memset(p.str, '1', sizeof p.str);
    std::memcpy(p.str, prefix, std::strlen(prefix));
    return p;
}

// ---- paths and records refused before any bus traffic ----

enum class Kind { Get, Set, Del };

struct PathMember {
    const char *tag;
    Kind kind;
    const char *prefix;  // the collection's own instance prefix
    std::function<int32_t(OvanObjPath_t, bool with_record)> call;
};

template <typename R>
R *rec_or_null(R &r, bool with)
{
    return with ? &r : nullptr;
}

const std::vector<PathMember> &path_members()
{
    static OvanMACBlackList_t b;
    static OvanMACWhiteList_t w;
    static OvanURLFilter_t u;
    static OvanURLFilterv4_t u4;
    static OvanDNSFilter_t d;
    static OvanDNSFilterv4_t d4;
    static const char *B = "/com/quv/igd1/Network/MACBlackList/", *W = "/com/quv/igd1/Network/MACWhiteList/",
                      *U = "/com/quv/igd1/Network/URLFilter/", *D = "/com/quv/igd1/Network/DNSFilter/";
    static const std::vector<PathMember> all = {
        {"OvanGetMACBlackList", Kind::Get, B,
         [](OvanObjPath_t p, bool r) { return OvanGetMACBlackList(p, rec_or_null(b, r)); }},
        {"OvanSetMACBlackList", Kind::Set, B,
         [](OvanObjPath_t p, bool r) { return OvanSetMACBlackList(p, rec_or_null(b, r)); }},
        {"OvanDelMACBlackList", Kind::Del, B, [](OvanObjPath_t p, bool) { return OvanDelMACBlackList(p); }},
        {"OvanGetMACWhiteList", Kind::Get, W,
         [](OvanObjPath_t p, bool r) { return OvanGetMACWhiteList(p, rec_or_null(w, r)); }},
        {"OvanSetMACWhiteList", Kind::Set, W,
         [](OvanObjPath_t p, bool r) { return OvanSetMACWhiteList(p, rec_or_null(w, r)); }},
        {"OvanDelMACWhiteList", Kind::Del, W, [](OvanObjPath_t p, bool) { return OvanDelMACWhiteList(p); }},
        {"OvanGetURLFilter", Kind::Get, U,
         [](OvanObjPath_t p, bool r) { return OvanGetURLFilter(p, rec_or_null(u, r)); }},
        {"OvanSetURLFilter", Kind::Set, U,
         [](OvanObjPath_t p, bool r) { return OvanSetURLFilter(p, rec_or_null(u, r)); }},
        {"OvanGetURLFilterv4", Kind::Get, U,
         [](OvanObjPath_t p, bool r) { return OvanGetURLFilterv4(p, rec_or_null(u4, r)); }},
        {"OvanSetURLFilterv4", Kind::Set, U,
         [](OvanObjPath_t p, bool r) { return OvanSetURLFilterv4(p, rec_or_null(u4, r)); }},
        {"OvanDelURLFilter", Kind::Del, U, [](OvanObjPath_t p, bool) { return OvanDelURLFilter(p); }},
        {"OvanGetDNSFilter", Kind::Get, D,
         [](OvanObjPath_t p, bool r) { return OvanGetDNSFilter(p, rec_or_null(d, r)); }},
        {"OvanSetDNSFilter", Kind::Set, D,
         [](OvanObjPath_t p, bool r) { return OvanSetDNSFilter(p, rec_or_null(d, r)); }},
        {"OvanGetDNSFilterv4", Kind::Get, D,
         [](OvanObjPath_t p, bool r) { return OvanGetDNSFilterv4(p, rec_or_null(d4, r)); }},
        {"OvanSetDNSFilterv4", Kind::Set, D,
         [](OvanObjPath_t p, bool r) { return OvanSetDNSFilterv4(p, rec_or_null(d4, r)); }},
        {"OvanDelDNSFilter", Kind::Del, D, [](OvanObjPath_t p, bool) { return OvanDelDNSFilter(p); }},
    };
    return all;
}

const char *refusal(Kind k)
{
    switch (k) {
    case Kind::Get: return "invalid parameter.";
    case Kind::Set: return "Invalid parameters.";
    case Kind::Del: return "Invalid Parameter.";
    }
    return "";
}

TEST_F(Access, BadPathsAndRecordsAreRefusedWithTheirOwnTexts)
{
    uint32_t n = 0;
    ASSERT_EQ(OvanGetMACBlackListObjs(nullptr, &n), 0) << "the WiFi question, asked once beforehand";
    ASSERT_TRUE(sim.clear_call_log());
    for (const PathMember &m : path_members()) {
        SCOPED_TRACE(m.tag);
        // Another collection whose name starts the same, the collection itself, the
        // DNS/URL mix-up, garbage, empty, and a path with no terminator.
        const std::string other = std::string(m.prefix).substr(0, std::strlen(m.prefix) - 1) + "X/1";
        const char *wrong = std::strstr(m.prefix, "URL") ? "/com/quv/igd1/Network/DNSFilter/1"
                                                         : "/com/quv/igd1/Network/URLFilter/1";
        const std::string whole = std::string(m.prefix).substr(0, std::strlen(m.prefix) - 1);
        for (const std::string &p : {other, whole, std::string(wrong), std::string("no/path"), std::string()})
            EXPECT_EQ(m.call(obj_path(p), true), -1) << p;
        EXPECT_EQ(m.call(unterminated(m.prefix), true), -1);
        if (m.kind != Kind::Del) {
            EXPECT_EQ(m.call(obj_path(std::string(m.prefix) + "1"), false), -1) << "NULL record";
        }
        EXPECT_EQ(errors_from(log, m.tag), m.kind == Kind::Del ? 6u : 7u) << dump();
        EXPECT_TRUE(logged(LOG_ERR, m.tag, refusal(m.kind)));
    }
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetURLFilter", "enter, path = /com/quv/igd1/Network/URLFilter/1"));
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanDelDNSFilter", "enter, path (/com/quv/igd1/Network/URLFilter/1)"));
    // An unterminated path is logged cut, never read past its 256 bytes.
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetDNSFilter",
                       "enter, path (/com/quv/igd1/Network/DNSFilter/" + std::string(255 - 32, '1') + ")"));
}

TEST_F(Access, AddWithoutARecordIsRefused)
{
    EXPECT_EQ(OvanAddMACBlackList(nullptr), -1);
    EXPECT_EQ(OvanAddMACWhiteList(nullptr), -1);
    EXPECT_EQ(OvanAddURLFilter(nullptr), -1);
    EXPECT_EQ(OvanAddURLFilterv4(nullptr), -1);
    EXPECT_EQ(OvanAddDNSFilter(nullptr), -1);
    EXPECT_EQ(OvanAddDNSFilterv4(nullptr), -1);
    EXPECT_EQ(OvanGetURLFilterObjs(nullptr, nullptr), -1);
    EXPECT_EQ(sim.count_calls(kBlack) + sim.count_calls(kURL) + sim.count_calls(kDNS), 0u);
}

// ---- listing and reading ----

TEST_F(Access, ListsFillBothGenerations)
{
    OvanURLFilterv4_t *u4 = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetURLFilterObjsv4(&u4, &n), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(u4[0].path, "/com/quv/igd1/Network/URLFilter/1");
    EXPECT_EQ(u4[0].Mode, 1);
    ASSERT_EQ(u4[0].URLListNum, 2);
    EXPECT_STREQ(u4[0].URLList[1], "play.example.net");
    EXPECT_STREQ(u4[0].Time, "20:00-23:59");
    EXPECT_EQ(u4[1].URLListNum, 0);
    EXPECT_EQ(u4[1].URLList, nullptr);
    for (uint32_t i = 0; i < n; i++)
        g_free(u4[i].URLList);
    g_free(u4);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetURLFilterObjsv4", "entry num (2)"));

    OvanDNSFilter_t *d = nullptr;
    ASSERT_EQ(OvanGetDNSFilterObjs(&d, &n), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(d[1].Hostname, "social.example.com");
    EXPECT_EQ(d[1].Action, 1);
    EXPECT_STREQ(d[1].MAC, "3C2AF4D01122");
    EXPECT_EQ(d[0].BlockedTimes, 311u);
    g_free(d);

    OvanMACBlackList_t b{};
    ASSERT_EQ(OvanGetMACBlackList(obj_path("/com/quv/igd1/Network/MACBlackList/1"), &b), 0);
    EXPECT_STREQ(b.Name, "old-tablet");
    EXPECT_EQ(b.BlockedTimes, 17u);
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

TEST_F(Access, HostileReplyIsCutAndLeaksNothing)
{
    // Over-long texts, a wrongly typed counter, and the list sent twice.
    const std::string reply =
        "({'URL': <'" + std::string(300, 'u') + "'>, 'BlockedTimes': <uint64 7>, 'URLList': <['a', '" +
            std::string(300, 'b') + "']>, 'URLList': <['c', 'd', 'e']>, 'Time': <'" + std::string(80, 't') +
            "'>, 'Mode': <'x'>},)";
    ASSERT_TRUE(sim.script_reply("/com/quv/igd1/Network/URLFilter/1", "", "GetAll", reply.c_str()));
    OvanURLFilterv4_t r{};
    r.BlockedTimes = 99;
    ASSERT_EQ(OvanGetURLFilterv4(obj_path("/com/quv/igd1/Network/URLFilter/1"), &r), 0);
    EXPECT_EQ(std::string(r.URL), std::string(255, 'u'));
    EXPECT_EQ(std::string(r.Time), std::string(63, 't'));
    EXPECT_EQ(r.BlockedTimes, 99u);
    EXPECT_EQ(r.Mode, 0);
    ASSERT_EQ(r.URLListNum, 3) << "the later list holds";
    EXPECT_EQ(std::string(r.URLList[2]), "e");
    g_free(r.URLList);
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

// ---- add and delete ----

TEST_F(Access, AddReadDeleteV4Filter)
{
    OvanDNSFilterv4_t r = dns_v4();
    ASSERT_EQ(OvanAddDNSFilterv4(&r), 0) << dump();
    EXPECT_STREQ(r.path, "/com/quv/igd1/Network/DNSFilter/3");
    OvanDNSFilterv4_t back{};
    ASSERT_EQ(OvanGetDNSFilterv4(obj_path(r.path), &back), 0);
    EXPECT_STREQ(back.Hostname, "h.example");
    ASSERT_EQ(back.HostNameListNum, 3);
    EXPECT_STREQ(back.HostNameList[2], "three.example");
    g_free(back.HostNameList);
    ASSERT_EQ(OvanDelDNSFilter(obj_path(r.path)), 0);
    uint32_t n = 0;
    ASSERT_EQ(OvanGetDNSFilterObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 2u);
}

TEST_F(Access, AddWhoseWriteFailsLeavesNoObject)
{
    ASSERT_TRUE(sim.script_error("", "", "SetMulti", "org.freedesktop.DBus.Error.InvalidArgs", "no"));
    OvanMACWhiteList_t w{};
    EXPECT_EQ(OvanAddMACWhiteList(&w), -1);
    OvanURLFilter_t u{};
    EXPECT_EQ(OvanAddURLFilter(&u), -1);
    EXPECT_EQ(sim.count_calls(kURL, kOM, "AddObject"), 1u);
    EXPECT_EQ(sim.count_calls(kURL, kOM, "DeleteObject"), 1u);
    uint32_t n = 0;
    ASSERT_EQ(OvanGetMACWhiteListObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 2u);
    ASSERT_EQ(OvanGetURLFilterObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 2u);
}

// ---- the WiFi gate of the MAC lists ----

TEST_F(Access, MACListsAnswer1OnAGatewayWithoutWiFi)
{
    set_device("DBusInterfaceVersion", "'1.2.0'");
    set_device("Capability", "'1;1;1;0;0'");
    ASSERT_TRUE(sim.clear_call_log());
    const OvanObjPath_t b1 = obj_path("/com/quv/igd1/Network/MACBlackList/1");
    const OvanObjPath_t w1 = obj_path("/com/quv/igd1/Network/MACWhiteList/1");
    OvanMACBlackList_t b{}, *bs = nullptr;
    OvanMACWhiteList_t w{}, *ws = nullptr;
    uint32_t n = 77;
    const std::vector<std::function<int32_t()>> calls = {
        [&] { return OvanGetMACBlackListObjs(&bs, &n); }, [&] { return OvanGetMACBlackList(b1, &b); },
        [&] { return OvanSetMACBlackList(b1, &b); },      [&] { return OvanAddMACBlackList(&b); },
        [&] { return OvanDelMACBlackList(b1); },          [&] { return OvanGetMACWhiteListObjs(&ws, &n); },
        [&] { return OvanGetMACWhiteList(w1, &w); },      [&] { return OvanSetMACWhiteList(w1, &w); },
        [&] { return OvanAddMACWhiteList(&w); },          [&] { return OvanDelMACWhiteList(w1); },
    };
    for (size_t i = 0; i < calls.size(); i++)
        EXPECT_EQ(calls[i](), 1) << i;
    EXPECT_EQ(n, 77u);
    EXPECT_EQ(bs, nullptr);
    EXPECT_EQ(b.path[0], '\0');
    EXPECT_EQ(sim.count_calls(), 2u) << "the version and the capability, once each";
    EXPECT_FALSE(log.contains("OvanGetMACBlackList: enter"));

    // The filters have no gate.
    EXPECT_EQ(OvanGetURLFilterObjs(nullptr, &n), 0);
}

TEST_F(Access, MACListsSkipTheGateOnVersion1)
{
    set_device("DBusInterfaceVersion", "'1.1.0'");
    set_device("Capability", "'1;1;1;0;0'");
    uint32_t n = 0;
    EXPECT_EQ(OvanGetMACBlackListObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 2u);
    EXPECT_EQ(wifivalinit, 0);
}

}  // namespace
