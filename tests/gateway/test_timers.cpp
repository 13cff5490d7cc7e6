// Band steering, WiFi timers, LED and sleep timers: their own checks, texts and
// quirks against the simulator (the shapes are tested in test_shapes.cpp).
#include <algorithm>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_timers.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kExTimers[] = "/com/quv/igd1/Config/WLAN/ExTimers";
constexpr const char kExTimer1[] = "/com/quv/igd1/Config/WLAN/ExTimers/1";
constexpr const char kSleepTimers[] = "/com/quv/igd1/Config/Power/SleepTimers";
constexpr const char kSleepTimer1[] = "/com/quv/igd1/Config/Power/SleepTimers/1";
constexpr const char kOM[] = "com.quv.igd1.ObjectManager";

OvanWiFiTimer_t valid_wifi_timer()
{
    OvanWiFiTimer_t t{};
    std::strcpy(t.StartTime, "22:00");
    std::strcpy(t.EndTime, "6:00");
    std::strcpy(t.ControlCycle, "DAY");
    t.SSIDMask = 1;
    return t;
}

OvanLED_t valid_led()
{
    OvanLED_t l{};
    std::strcpy(l.Status, "OFF");
    std::strcpy(l.StartTime, "22:00");
    std::strcpy(l.EndTime, "24:00");
    std::strcpy(l.ControlCycle, "DAY");
    return l;
}

char g_days[2][64] = {"Sat", "Sun"};

OvanWiFiExTimer_t valid_ex_timer()
{
    OvanWiFiExTimer_t t{};
    std::strcpy(t.Time, "7:15");
    std::strcpy(t.Active, "1");
    t.Enable = 1;
    t.SSIDMask = 2;
    t.WeekDayNum = 2;
    t.WeekDay = g_days;
    return t;
}

OvanSleepTimer_t valid_sleep_timer()
{
    OvanSleepTimer_t t{};
    std::strcpy(t.Time, "2:00");
    std::strcpy(t.Active, "0");
    t.DayNum = 2;
    t.Day = g_days;
    return t;
}

class Timers : public SimTest {
protected:
    std::string keys()
    {
        std::string out;
        for (const auto &k : sent_keys(sim))
            out += (out.empty() ? "" : ",") + k;
        return out;
    }
    uint32_t count(const char *collection)
    {
        GPtr<GVariant> reply = sim.call(collection, kOM, "GetManagedObjects");
        if (!reply)
            return 0;
        GPtr<GVariant> map(g_variant_get_child_value(reply.get(), 0));
        return static_cast<uint32_t>(g_variant_n_children(map.get()));
    }
};

// ---- setter checks: one table over the four checked setters ----

struct SetCase {
    const char *name;
    std::function<int32_t()> call;
    const char *refusal;  // null: accepted
};

void PrintTo(const SetCase &c, std::ostream *os) { *os << c.name; }

template <typename R>
std::function<int32_t()> with(R (*make)(), void (*change)(R &), int32_t (*set)(R *))
{
    return [=] {
        R r = make();
        change(r);
        return set(&r);
    };
}

template <typename R>
std::function<int32_t()> at(const char *path, R (*make)(), void (*change)(R &), int32_t (*set)(OvanObjPath_t, R *))
{
    return [=] {
        R r = make();
        change(r);
        return set(obj_path(path), &r);
    };
}

class SetterChecks : public Timers, public testing::WithParamInterface<SetCase> {};

TEST_P(SetterChecks, RefusedBeforeTheBus)
{
    const SetCase &c = GetParam();
    const int32_t ret = c.call();
    if (!c.refusal) {
        EXPECT_EQ(ret, 0) << dump();
        EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 1u);
        return;
    }
    EXPECT_EQ(ret, -1);
    EXPECT_TRUE(log.contains(c.refusal, LOG_ERR)) << dump();
    EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 0u);
}

using T = OvanWiFiTimer_t;
using L = OvanLED_t;
using X = OvanWiFiExTimer_t;
using S = OvanSleepTimer_t;
constexpr const char kTimerBad[] = "OvanSetWiFiTimer: Invalid Parameter";
constexpr const char kLEDBad[] = "OvanSetLED: Invalid Parameter";
constexpr const char kExBad[] = "OvanSetWiFiExTimer: Invalid Time or Active value or SSIDMask is 0.";
constexpr const char kExPath[] = "OvanSetWiFiExTimer: Invalid Path.";
constexpr const char kSleepBad[] = "OvanSetSleepTimer: Invalid Time or Active value.";
constexpr const char kSleepPath[] = "OvanSetSleepTimer: Invalid Path or NULL obj.";

INSTANTIATE_TEST_SUITE_P(
    Cases, SetterChecks,
    testing::Values(
        SetCase{"timer_valid", with<T>(valid_wifi_timer, [](T &) {}, OvanSetWiFiTimer), nullptr},
        SetCase{"timer_cycle_lower", with<T>(valid_wifi_timer, [](T &r) { std::strcpy(r.ControlCycle, "day"); },
                                             OvanSetWiFiTimer), kTimerBad},
        SetCase{"timer_cycle_week", with<T>(valid_wifi_timer, [](T &r) { std::strcpy(r.ControlCycle, "WEEK"); },
                                            OvanSetWiFiTimer), kTimerBad},
        SetCase{"timer_mask_0", with<T>(valid_wifi_timer, [](T &r) { r.SSIDMask = 0; }, OvanSetWiFiTimer), kTimerBad},
        SetCase{"timer_end_24_01", with<T>(valid_wifi_timer, [](T &r) { std::strcpy(r.EndTime, "24:01"); },
                                           OvanSetWiFiTimer), kTimerBad},
        SetCase{"timer_start_unterminated",
                with<T>(valid_wifi_timer, [](T &r) { std::memset(r.StartTime, '1', sizeof r.StartTime); },
                        OvanSetWiFiTimer), kTimerBad},
        SetCase{"timer_null", [] { return OvanSetWiFiTimer(nullptr); },
                "OvanSetWiFiTimer: Invalid Parameter: obj is NULL."},
        SetCase{"led_valid", with<L>(valid_led, [](L &) {}, OvanSetLED), nullptr},
        SetCase{"led_on", with<L>(valid_led, [](L &r) { std::strcpy(r.Status, "ON"); }, OvanSetLED), nullptr},
        SetCase{"led_status_on_lower", with<L>(valid_led, [](L &r) { std::strcpy(r.Status, "on"); }, OvanSetLED),
                kLEDBad},
        SetCase{"led_status_blink", with<L>(valid_led, [](L &r) { std::strcpy(r.Status, "BLINK"); }, OvanSetLED),
                kLEDBad},
        SetCase{"led_start_empty", with<L>(valid_led, [](L &r) { r.StartTime[0] = '\0'; }, OvanSetLED), kLEDBad},
        SetCase{"led_null", [] { return OvanSetLED(nullptr); }, "OvanSetLED: Invalid Parameter: obj is NULL."},
        SetCase{"ex_valid", at<X>(kExTimer1, valid_ex_timer, [](X &) {}, OvanSetWiFiExTimer), nullptr},
        SetCase{"ex_active_00", at<X>(kExTimer1, valid_ex_timer, [](X &r) { std::strcpy(r.Active, "00"); },
                                      OvanSetWiFiExTimer), nullptr},
        SetCase{"ex_active_2", at<X>(kExTimer1, valid_ex_timer, [](X &r) { std::strcpy(r.Active, "2"); },
                                     OvanSetWiFiExTimer), kExBad},
        SetCase{"ex_active_empty", at<X>(kExTimer1, valid_ex_timer, [](X &r) { r.Active[0] = '\0'; },
                                         OvanSetWiFiExTimer), kExBad},
        SetCase{"ex_active_letter", at<X>(kExTimer1, valid_ex_timer, [](X &r) { std::strcpy(r.Active, "a"); },
                                          OvanSetWiFiExTimer), kExBad},
        SetCase{"ex_mask_0", at<X>(kExTimer1, valid_ex_timer, [](X &r) { r.SSIDMask = 0; }, OvanSetWiFiExTimer),
                kExBad},
        SetCase{"ex_time_bad", at<X>(kExTimer1, valid_ex_timer, [](X &r) { std::strcpy(r.Time, "7:5"); },
                                     OvanSetWiFiExTimer), kExBad},
        SetCase{"ex_collection_path", at<X>(kExTimers, valid_ex_timer, [](X &) {}, OvanSetWiFiExTimer), kExPath},
        SetCase{"ex_sleep_path", at<X>(kSleepTimer1, valid_ex_timer, [](X &) {}, OvanSetWiFiExTimer), kExPath},
        SetCase{"ex_null", [] { return OvanSetWiFiExTimer(obj_path(kExTimer1), nullptr); }, kExPath},
        SetCase{"ex_unterminated_path",
                [] {
                    OvanObjPath_t p;
                    std::memset(p.str, 'a', sizeof p.str);
                    std::memcpy(p.str, kExTimer1, sizeof kExTimer1 - 1);
                    X r = valid_ex_timer();
                    return OvanSetWiFiExTimer(p, &r);
                },
                kExPath},
        SetCase{"sleep_valid", at<S>(kSleepTimer1, valid_sleep_timer, [](S &) {}, OvanSetSleepTimer), nullptr},
        SetCase{"sleep_active_1x", at<S>(kSleepTimer1, valid_sleep_timer, [](S &r) { std::strcpy(r.Active, "1x"); },
                                         OvanSetSleepTimer), kSleepBad},
        SetCase{"sleep_time_25", at<S>(kSleepTimer1, valid_sleep_timer, [](S &r) { std::strcpy(r.Time, "25:00"); },
                                       OvanSetSleepTimer), kSleepBad},
        SetCase{"sleep_ex_path", at<S>(kExTimer1, valid_sleep_timer, [](S &) {}, OvanSetSleepTimer), kSleepPath},
        SetCase{"sleep_null", [] { return OvanSetSleepTimer(obj_path(kSleepTimer1), nullptr); }, kSleepPath}),
    [](const testing::TestParamInfo<SetCase> &i) { return std::string(i.param.name); });

// ---- what the setters send ----

TEST_F(Timers, SettersSendTheirPropertiesInOrder)
{
    OvanWiFiBandSteering_t bs{};
    ASSERT_EQ(OvanSetWiFiBandSteering(&bs), 0);
    EXPECT_EQ(keys(), "Enable,RSSIThreshold,RSSIThreshold5G,ChannelUtilizationThreshold5G,STALoadThreshold2G,"
                      "SteeringDetectInterval");

    X ex = valid_ex_timer();
    ASSERT_EQ(OvanSetWiFiExTimer(obj_path(kExTimer1), &ex), 0);
    EXPECT_EQ(keys(), "WeekDay,Time,Active,Enable,SSIDMask");

    S sleep = valid_sleep_timer();
    ASSERT_EQ(OvanSetSleepTimer(obj_path(kSleepTimer1), &sleep), 0);
    EXPECT_EQ(keys(), "Day,Time,Active,Enable");

    T timer = valid_wifi_timer();
    ASSERT_EQ(OvanSetWiFiTimer(&timer), 0);
    EXPECT_EQ(keys(), "StartTime,EndTime,ControlCycle,Enable,SSIDMask");
}

TEST_F(Timers, DayListsSentAsFarAsTheyReach)
{
    struct Case {
        uint32_t num;
        char (*days)[64];
        const char *sent;
    };
    for (const Case &c : {Case{3, nullptr, "@as []"}, Case{1, g_days, "['Sat']"}, Case{2, g_days, "['Sat', 'Sun']"},
                          Case{0, g_days, "@as []"}}) {
        X ex = valid_ex_timer();
        ex.WeekDayNum = c.num;
        ex.WeekDay = c.days;
        ASSERT_EQ(OvanSetWiFiExTimer(obj_path(kExTimer1), &ex), 0);
        GPtr<GVariant> days = sim.property(kExTimer1, "com.quv.igd1.WiFiTimer1", "WeekDay");
        ASSERT_TRUE(days);
        GPtr<gchar> text(g_variant_print(days.get(), TRUE));
        EXPECT_STREQ(text.get(), c.sent) << c.num;
    }
}

// ---- reads ----

// The longest path among the listed records (their day lists freed).
template <typename R, char (*R::*Days)[64]>
size_t longest_listed_path(int32_t (*list)(R **, uint32_t *))
{
    R *records = nullptr;
    uint32_t n = 0;
    if (list(&records, &n) != 0)
        return 0;
    size_t longest = 0;
    for (uint32_t i = 0; i < n; i++) {
        longest = std::max(longest, std::strlen(records[i].path));
        g_free(records[i].*Days);
    }
    g_free(records);
    return longest;
}

// The weekly WiFi timers keep a path of 255 characters whole; the sleep timers cut
// it to 254 as most collections do.
TEST_F(Timers, LongInstancePaths)
{
    struct Case {
        const char *collection, *iface;
        std::function<size_t()> longest;
        size_t kept;
    };
    const Case cases[] = {
        {kExTimers, "com.quv.igd1.WiFiTimer1",
         [] { return longest_listed_path<X, &X::WeekDay>(OvanGetWiFiExTimerObjs); }, 255},
        {kSleepTimers, "com.quv.igd1.SleepTimer",
         [] { return longest_listed_path<S, &S::Day>(OvanGetSleepTimerObjs); }, 254},
    };
    for (const Case &c : cases) {
        std::string path = std::string(c.collection) + "/";
        path += std::string(255 - path.size(), 'z');
        GPtr<gchar> ifaces(g_strdup_printf("{'%s': {'Time': <'1:00'>}}", c.iface));
        ASSERT_TRUE(sim.add_object(path, ifaces.get()));
        EXPECT_EQ(c.longest(), c.kept) << c.collection;
    }
}

TEST_F(Timers, FailedReadsLogTheirOwnLines)
{
    ASSERT_TRUE(sim.script_error("/com/quv/igd1/Config/Peripheral/LED", "", "GetAll",
                                 "org.freedesktop.DBus.Error.Failed", "down"));
    ASSERT_TRUE(sim.script_error(kSleepTimers, kOM, "GetManagedObjects", "org.freedesktop.DBus.Error.Failed", "down"));
    OvanLED_t led{};
    EXPECT_EQ(OvanGetLED(&led), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetLED", "OvanDBusGetAllProperty return -1")) << dump();
    uint32_t n = 77;
    EXPECT_EQ(OvanGetSleepTimerObjs(nullptr, &n), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetSleepTimerObjs", "GetManagedObjects() fails.")) << dump();
    EXPECT_EQ(OvanGetWiFiTimer(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetWiFiTimer", "invalid parameter."));
}

// A timer the setter's own checks refuse once it exists is removed again.
TEST_F(Timers, AddRefusedByTheChecksLeavesNothing)
{
    S bad = valid_sleep_timer();
    std::strcpy(bad.Active, "7");
    const uint32_t sleepers = count(kSleepTimers);
    EXPECT_EQ(OvanAddSleepTimer(&bad), -1);
    EXPECT_EQ(sim.count_calls(kSleepTimers, kOM, "DeleteObject"), 1u);
    EXPECT_EQ(count(kSleepTimers), sleepers);
}

TEST_F(Timers, FailedAddObjectKeepsTheRecord)
{
    ASSERT_TRUE(sim.script_error(kExTimers, kOM, "AddObject", "org.freedesktop.DBus.Error.Failed", "full"));
    X ex = valid_ex_timer();
    std::strcpy(ex.path, "caller's own");
    EXPECT_EQ(OvanAddWiFiExTimer(&ex), -1);
    EXPECT_STREQ(ex.path, "caller's own");
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddWiFiExTimer", "AddObject failed.")) << dump();
    EXPECT_EQ(sim.count_calls("", "", "SetMulti"), 0u);
}

}  // namespace
