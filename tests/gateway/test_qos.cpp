// QoS, DNS speed limit and IPTV: their own checks, texts and quirks against the
// simulator (the shapes are tested in test_shapes.cpp).
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_qos.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kIPTV[] = "/com/quv/igd1/Network/IPTV";
constexpr const char kIPTVIface[] = "com.quv.igd1.IPTV";
constexpr const char kRule1[] = "/com/quv/igd1/Network/QoS/Classification/1";
constexpr const char kTypes1[] = "/com/quv/igd1/Network/QoS/Classification/1/Type";
constexpr const char kType2[] = "/com/quv/igd1/Network/QoS/Classification/1/Type/2";
constexpr const char kOM[] = "com.quv.igd1.ObjectManager";

class QoS : public SimTest {
protected:
    std::string keys()
    {
        std::string out;
        for (const auto &k : sent_keys(sim))
            out += (out.empty() ? "" : ",") + k;
        return out;
    }
};

// ---- what each setter sends ----

struct SendCase {
    const char *name;
    std::function<int32_t()> call;
    const char *keys;
};

void PrintTo(const SendCase &c, std::ostream *os) { *os << c.name; }

class Sends : public QoS, public testing::WithParamInterface<SendCase> {};

TEST_P(Sends, OnlyItsWritableProperties)
{
    ASSERT_EQ(GetParam().call(), 0) << dump();
    EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 1u);
    EXPECT_EQ(keys(), GetParam().keys);
}

template <typename R>
std::function<int32_t()> read_write(int32_t (*get)(R *), int32_t (*set)(R *))
{
    return [=] {
        R r{};
        return get(&r) == 0 ? set(&r) : -2;
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

INSTANTIATE_TEST_SUITE_P(
    Setters, Sends,
    testing::Values(
        SendCase{"config", read_write(OvanGetQoSConfig, OvanSetQoSConfig),
                 "Mode,Enable,Bandwidth,Plan,EnableForceWeight,EnableDSCPMark,Enable8021P"},
        SendCase{"classification",
                 read_write_at(kRule1, OvanGetQoSClassification, OvanSetQoSClassification),
                 "ClassQueue,DSCPMarkValue,VLAN8021PValue"},
        SendCase{"class_type", read_write_at(kType2, OvanGetQoSClassType, OvanSetQoSClassType),
                 "Max,Min,ProtocolList"},
        SendCase{"queue_car_only",
                 read_write_at("/com/quv/igd1/Network/QoS/PriorityQueue/2", OvanGetQoSPriorityQueue,
                               OvanSetQoSPriorityQueue),
                 "Car"},
        SendCase{"app", read_write_at("/com/quv/igd1/Network/QoS/App/1", OvanGetQoSApp, OvanSetQoSApp),
                 "AppName,ClassQueue"},
        SendCase{"dns_speed_limit", read_write(OvanGetDNSSpeedLimit, OvanSetDNSSpeedLimit), "Domain,LimitAction"},
        SendCase{"iptv", read_write(OvanGetIPTVConfig, OvanSetIPTVConfig), "ProxyEnable,SnoopingEnable"},
        SendCase{"iptv_v4", read_write(OvanGetIPTVConfigv4, OvanSetIPTVConfigv4),
                 "ProxyEnable,SnoopingEnable,NoStbEnable"}),
    [](const testing::TestParamInfo<SendCase> &i) { return std::string(i.param.name); });

TEST_F(QoS, IPTVv4LeavesNoStbEnableToVersion2Gateways)
{
    ASSERT_TRUE(sim.set_property("/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo", "DBusInterfaceVersion",
                                 "'1.1.0'"));
    OvanIPTVConfigv4_t rec{};
    rec.NoStbEnable = 1;
    ASSERT_EQ(OvanSetIPTVConfigv4(&rec), 0);
    EXPECT_EQ(keys(), "ProxyEnable,SnoopingEnable");
}

TEST_F(QoS, IPTVSnoopingIsNeverReadBack)
{
    OvanIPTVConfigv4_t v4{};
    v4.ProxyEnable = 1;
    v4.SnoopingEnable = 1;
    v4.NoStbEnable = 1;
    ASSERT_EQ(OvanSetIPTVConfigv4(&v4), 0);
    GPtr<GVariant> snooping = sim.property(kIPTV, kIPTVIface, "SnoopingEnable");
    ASSERT_TRUE(snooping);
    EXPECT_TRUE(g_variant_get_boolean(snooping.get())) << "the gateway has it";

    OvanIPTVConfigv4_t back{};
    ASSERT_EQ(OvanGetIPTVConfigv4(&back), 0);
    EXPECT_EQ(back.SnoopingEnable, 0);
    EXPECT_EQ(back.NoStbEnable, 1);
    EXPECT_EQ(back.STBNumber, 1u);
    OvanIPTVConfig_t v1;
    std::memset(&v1, 0, sizeof v1);
    ASSERT_EQ(OvanGetIPTVConfig(&v1), 0);
    EXPECT_EQ(v1.SnoopingEnable, 0);
    EXPECT_EQ(v1.ProxyEnable, 1);
}

// ---- refusals ----

struct RefusalCase {
    const char *name;
    std::function<int32_t()> call;
    const char *line;  // "tag: message" at priority 3
};

void PrintTo(const RefusalCase &c, std::ostream *os) { *os << c.name; }

class Refusals : public QoS, public testing::WithParamInterface<RefusalCase> {};

TEST_P(Refusals, NothingSent)
{
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_TRUE(log.contains(GetParam().line, LOG_ERR)) << dump();
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Network"), 0u);
}

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

INSTANTIATE_TEST_SUITE_P(
    Cases, Refusals,
    testing::Values(
        RefusalCase{"config_null", [] { return OvanSetQoSConfig(nullptr); }, "OvanSetQoSConfig: Invalid parameters."},
        RefusalCase{"dns_null", [] { return OvanSetDNSSpeedLimit(nullptr); },
                    "OvanSetDNSSpeedLimit: Invalid Parameter: obj is NULL."},
        RefusalCase{"dns_lower_case",
                    [] {
                        auto r = limit("alert");
                        return OvanSetDNSSpeedLimit(&r);
                    },
                    "OvanSetDNSSpeedLimit: Invalid LimitAction Parameter: alert"},
        RefusalCase{"dns_empty",
                    [] {
                        auto r = limit("");
                        return OvanSetDNSSpeedLimit(&r);
                    },
                    "OvanSetDNSSpeedLimit: Invalid LimitAction Parameter: "},
        RefusalCase{"dns_unterminated",
                    [] {
                        auto r = limit("");
                        std::memset(r.LimitAction, 'D', sizeof r.LimitAction);
                        return OvanSetDNSSpeedLimit(&r);
                    },
                    "OvanSetDNSSpeedLimit: Invalid LimitAction Parameter: DDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDDD"},
        RefusalCase{"iptv_null", [] { return OvanSetIPTVConfig(nullptr); },
                    "OvanSetIPTVConfig: Parameter 'obj' should not be NULL."},
        RefusalCase{"iptv_v4_null", [] { return OvanSetIPTVConfigv4(nullptr); },
                    "OvanSetIPTVConfigv4: Parameter 'obj' should not be NULL."},
        RefusalCase{"types_of_rule_itself",
                    [] {
                        uint32_t n = 0;
                        return OvanGetQoSClassTypeObjs(obj_path(kRule1), nullptr, &n);
                    },
                    "OvanGetQoSClassTypeObjs: invalid path /com/quv/igd1/Network/QoS/Classification/1"},
        RefusalCase{"types_outside_classification",
                    [] {
                        uint32_t n = 0;
                        return OvanGetQoSClassTypeObjs(obj_path("/com/quv/igd1/Network/QoS/App/Type"), nullptr, &n);
                    },
                    "OvanGetQoSClassTypeObjs: invalid path /com/quv/igd1/Network/QoS/App/Type"},
        RefusalCase{"types_unterminated",
                    [] {
                        uint32_t n = 0;
                        return OvanGetQoSClassTypeObjs(unterminated(kTypes1), nullptr, &n);
                    },
                    "OvanGetQoSClassTypeObjs: invalid path /com/quv/igd1/Network/QoS/Classification/1/TypeTTT"},
        RefusalCase{"add_type_to_rule",
                    [] {
                        OvanQoSClassType_t type{};
                        return OvanAddQoSClassType(obj_path(kRule1), &type);
                    },
                    "OvanAddQoSClassType: Invalid parameters."},
        RefusalCase{"add_type_null", [] { return OvanAddQoSClassType(obj_path(kTypes1), nullptr); },
                    "OvanAddQoSClassType: Invalid parameters."},
        // A rule is not a type: deleting it through the type members would remove the rule.
        RefusalCase{"delete_rule_as_type", [] { return OvanDelQoSClassType(obj_path(kRule1)); },
                    "OvanDelQoSClassType: Invalid Parameter."},
        RefusalCase{"queue_from_app_path",
                    [] {
                        OvanQoSPriorityQueue_t q{};
                        return OvanSetQoSPriorityQueue(obj_path("/com/quv/igd1/Network/QoS/App/1"), &q);
                    },
                    "OvanSetQoSPriorityQueue: Invalid parameters."},
        RefusalCase{"app_unterminated",
                    [] {
                        OvanQoSApp_t a{};
                        return OvanGetQoSApp(unterminated("/com/quv/igd1/Network/QoS/App/1"), &a);
                    },
                    "OvanGetQoSApp: invalid parameter."},
        RefusalCase{"delete_collection_itself",
                    [] { return OvanDelQoSClassification(obj_path("/com/quv/igd1/Network/QoS/Classification")); },
                    "OvanDelQoSClassification: Invalid Parameter."}),
    [](const testing::TestParamInfo<RefusalCase> &i) { return std::string(i.param.name); });

// ---- classification types below a rule ----

TEST_F(QoS, TypesListedAddedAndDeletedBelowTheirRule)
{
    OvanQoSClassType_t *types = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetQoSClassTypeObjs(obj_path(kTypes1), &types, &n), 0) << dump();
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(types[1].path, kType2);
    EXPECT_STREQ(types[1].Max, "192.168.1.200");
    EXPECT_STREQ(types[1].ProtocolList, "TCP,UDP");
    g_free(types);

    OvanQoSClassType_t t{};
    std::strcpy(t.Max, "8080");
    std::strcpy(t.Min, "80");
    ASSERT_EQ(OvanAddQoSClassType(obj_path(kTypes1), &t), 0) << dump();
    EXPECT_EQ(std::strncmp(t.path, kTypes1, std::strlen(kTypes1)), 0) << t.path;
    EXPECT_EQ(sim.count_calls(kTypes1, kOM, "AddObject"), 1u);
    ASSERT_EQ(OvanDelQoSClassType(obj_path(t.path)), 0);
    EXPECT_EQ(sim.count_calls(kTypes1, kOM, "DeleteObject"), 1u) << "deleted from the rule's own collection";
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
        EXPECT_EQ(out.msg(), "<untouched>") << c.duration;
        EXPECT_EQ(sim.count_calls(kIPTV, kIPTVIface, "StartDetectQobLineStatus"), c.sent ? 1u : 0u);
        if (c.sent) {
            GPtr<GVariant> args = last_args(sim, "StartDetectQobLineStatus");
            ASSERT_TRUE(args);
            EXPECT_EQ(g_variant_get_uint32(GPtr<GVariant>(g_variant_get_child_value(args.get(), 0)).get()),
                      c.duration);
        }
    }
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanIPTVStartDetectQobLineStatus", "Invalid 'duration', should between 2 to 60."));
}

}  // namespace
