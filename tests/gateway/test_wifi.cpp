// WiFi information and radio actions against the simulator; also the WiFi
// capability guard that every WiFi-family function runs first.
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_wifi.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kWiFi[] = "/com/quv/igd1/Info/WiFi";
constexpr const char kWiFiIface[] = "com.quv.igd1.WiFiInfo";
constexpr const char kDevice[] = "/com/quv/igd1/Info/Device";
constexpr const char kMac[] = "0C4B54A1B2C3";
char kUntouchedText[] = "untouched";

class WiFi : public SimTest {
protected:
    size_t wifi_calls(const std::string &method = "") { return sim.count_calls(kWiFi, "", method); }
    std::string args_of(const std::string &method) { return printed(last_args(sim, method).get()); }
    void set_device(const char *name, const char *value)
    {
        ASSERT_TRUE(sim.set_property(kDevice, kDeviceIface, name, value));
    }
};

// ---- the capability guard ----

// (A gateway without WiFi: test_registry.cpp, over every guarded function and command.)
TEST_F(WiFi, Version1GatewaySkipsTheCapabilityQuestion)
{
    set_device("DBusInterfaceVersion", "'1.1.0'");
    set_device("Capability", "'1;1;1;0;0'");
    ASSERT_TRUE(sim.clear_call_log());
    uint32_t status = 77;
    EXPECT_EQ(OvanWiFiCancelSameSSID(&status, nullptr), 0);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(OvanWiFiSetEnable(1, 0), 0);
    EXPECT_EQ(gwdbusver, 1);
    EXPECT_EQ(wifivalinit, 0) << "never asked";
    EXPECT_EQ(sim.count_calls(kDevice), 1u) << "only the version is read, once";
    EXPECT_EQ(wifi_calls(), 2u);
    EXPECT_EQ(wifi_calls("Set"), 1u);
}

TEST_F(WiFi, FailedCapabilityReadIsAFailureAndIsAskedAgain)
{
    ASSERT_TRUE(sim.remove_property(kDevice, kDeviceIface, "Capability"));
    uint32_t status = 77;
    char *msg = kUntouchedText;
    EXPECT_EQ(OvanWiFiCancelSameSSID(&status, &msg), -1);
    EXPECT_EQ(status, 77u);
    EXPECT_EQ(msg, kUntouchedText);
    EXPECT_EQ(OvanWiFiSetRatePriority(0, 1), -1);
    EXPECT_EQ(wifivalinit, 0);
    EXPECT_EQ(wifi_calls(), 0u);

    set_device("Capability", "'1;1;1;1;1'");
    EXPECT_EQ(OvanWiFiCancelSameSSID(&status, nullptr), 0);
    EXPECT_EQ(wifivalinit, 1);
    EXPECT_EQ(supportwifi, 1u);
}

// ---- actions ----

struct Action {
    const char *tag;
    const char *method;
    const char *reply_lead;  // what the reply carries before (word, message)
    std::function<int32_t(uint32_t *, char **)> call;
    const char *fail_line;
    const char *fail_message;
    const char *message_line;  // with "%s"
};

std::vector<Action> actions()
{
    return {
        {"OvanWiFiDiscClient", "KickOutDevice", "",
         [](uint32_t *s, char **m) { return OvanWiFiDiscClient(kMac, "3", s, m); }, "Call OvanDiscWiFiClient() fail.",
         "Failed to call KickOutDevice() function.", "Call OvanDiscWiFiClient() errmsg [%s]."},
        {"OvanWiFiSetSameSSID", "SetSameSSID", "",
         [](uint32_t *s, char **m) { return OvanWiFiSetSameSSID("1", "5", s, m); },
         "Call OvanWiFiSetSameSSID() fail.", "Failed to call SetSameSSID() function.",
         "Call OvanWiFiSetSameSSID() errmsg [%s]."},
        {"OvanWiFiCancelSameSSID", "CancelSameSSID", "",
         [](uint32_t *s, char **m) { return OvanWiFiCancelSameSSID(s, m); }, "Call OvanWiFiCancelSameSSID() fail.",
         "Failed to call CancelSameSSID() function.", "Call OvanWiFiCancelSameSSID() errmsg [%s]."},
        {"OvanWiFiSwitchChannel", "ChannelSwitch", "",
         [](uint32_t *s, char **m) { return OvanWiFiSwitchChannel("5G", s, m); }, "Call ChannelSwitch() fail.",
         "Failed to call ChannelSwitch() function.", "Call OvanWiFiSwitchChannel() errmsg [%s]."},
        {"OvanWiFiChannelCollectionRequest", "ChannelCollectionRequest", "",
         [](uint32_t *s, char **m) { return OvanWiFiChannelCollectionRequest("2.4G", s, m); },
         "Call ChannelCollectionRequest() fail.", "Failed to call ChannelCollectionRequest() function.",
         "Call OvanWiFiChannelCollectionRequest() errmsg [%s]."},
        {"OvanWiFiChannelCollection", "ChannelCollection", "'1:50', ",
         [](uint32_t *s, char **m) {
             char *score = kUntouchedText;
             int32_t ret = OvanWiFiChannelCollection("2.4G", &score, s, m);
             if (score != kUntouchedText)
                 g_free(score);
             return ret;
         },
         "Call ChannelCollection() fail.", "Failed to call ChannelCollection() function.",
         "Call OvanWiFiChannelCollection() errmsg [%s]."},
    };
}

std::string with(const char *format, const std::string &text)
{
    GStr s(g_strdup_printf(format, text.c_str()));
    return s.get();
}

// The word and message themselves: test_registry.cpp; here each action's own lines
// (the scripted method also proves which method the action calls).
TEST_F(WiFi, ActionsLogTheirOwnLines)
{
    for (const Action &a : actions()) {
        SCOPED_TRACE(a.tag);
        const std::string busy = std::string("(") + a.reply_lead + "uint32 4, 'radio busy')";
        ASSERT_TRUE(sim.script_reply(kWiFi, kWiFiIface, a.method, busy.c_str(), 0, true));
        StatusOut refused;
        EXPECT_EQ(a.call(&refused.status, &refused.errmsg), -1);
        EXPECT_TRUE(logged(LOG_ERR, a.tag, with(a.message_line, "radio busy"))) << dump();

        ASSERT_TRUE(sim.script_error(kWiFi, kWiFiIface, a.method, "org.freedesktop.DBus.Error.Failed", "down", 0,
                                     true));
        StatusOut failed;
        EXPECT_EQ(a.call(&failed.status, &failed.errmsg), -1);
        EXPECT_EQ(failed.msg(), a.fail_message);
        EXPECT_TRUE(logged(LOG_ERR, a.tag, a.fail_line)) << dump();
    }
}

TEST_F(WiFi, DiscClientChecksMacAndSsidIndex)
{
    struct Case {
        const char *mac, *idx;
        bool ok;
    } cases[] = {
        {kMac, "1", true},        {kMac, "8", true},      {kMac, "08", true},   {kMac, "0", false},
        {kMac, "9", false},       {kMac, "10", false},    {kMac, "", false},    {kMac, nullptr, false},
        {kMac, "1a", false},      {kMac, "-1", false},    {kMac, "99999999999999999999", false},
        {"0C:4B:54:A1:B2:C3", "1", false},                {"", "1", false},     {nullptr, "1", false},
        {"0C4B54A1B2CZ", "1", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.mac ? c.mac : "(null)") + " / " + (c.idx ? c.idx : "(null)"));
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        StatusOut out;
        const int32_t ret = OvanWiFiDiscClient(c.mac, c.idx, &out.status, &out.errmsg);
        EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiDiscClient",
                           std::string("enter, devMac (") + (c.mac ? c.mac : "") + "), ssidIdx (" +
                               (c.idx ? c.idx : "") + ")"))
            << dump();
        EXPECT_EQ(ret, c.ok ? 0 : -1);
        if (c.ok) {
            EXPECT_EQ(args_of("KickOutDevice"), std::string("('") + c.mac + "', '" + c.idx + "')");
        } else {
            EXPECT_EQ(out.status, 1u);
            EXPECT_EQ(out.msg(), "Invalid Parameter.");
            EXPECT_EQ(wifi_calls(), 0u);
        }
    }
}

TEST_F(WiFi, SetSameSSIDWantsTwoDigitStrings)
{
    const char *bad[][2] = {{"1", ""}, {"", "5"}, {nullptr, "5"}, {"1", nullptr}, {"a", "5"}, {"1", "5G"}};
    for (const auto &b : bad) {
        StatusOut out;
        EXPECT_EQ(OvanWiFiSetSameSSID(b[0], b[1], &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Invalid Parameters.");
    }
    EXPECT_TRUE(logged(LOG_ERR, "OvanWiFiSetSameSSID", "Invalid Parameters")) << dump();
    EXPECT_EQ(wifi_calls(), 0u);

    EXPECT_EQ(OvanWiFiSetSameSSID("01", "5", nullptr, nullptr), 0);
    EXPECT_EQ(args_of("SetSameSSID"), "('01', '5')");
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiSetSameSSID", "enter, ssidIdx24(01), ssidIdx58(5)")) << dump();
}

TEST_F(WiFi, ChannelFunctionsRefuseAMissingBandThroughTheLogOnly)
{
    char score_buf[] = "mine";
    for (const char *band : {static_cast<const char *>(nullptr), ""}) {
        uint32_t status = 77;
        char *msg = kUntouchedText;
        char *score = score_buf;
        EXPECT_EQ(OvanWiFiSwitchChannel(band, &status, &msg), -1);
        EXPECT_EQ(OvanWiFiChannelCollectionRequest(band, &status, &msg), -1);
        EXPECT_EQ(OvanWiFiChannelCollection(band, &score, &status, &msg), -1);
        EXPECT_EQ(status, 77u);
        EXPECT_EQ(msg, kUntouchedText);
        EXPECT_EQ(score, score_buf);
    }
    uint32_t status = 77;
    EXPECT_EQ(OvanWiFiChannelCollection("5G", nullptr, &status, nullptr), -1);
    EXPECT_EQ(status, 77u);
    EXPECT_EQ(wifi_calls(), 0u);
    for (const char *tag : {"OvanWiFiSwitchChannel", "OvanWiFiChannelCollectionRequest"})
        EXPECT_TRUE(logged(LOG_DEBUG, tag, "Invalid band, should not be empty.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiChannelCollection", "Invalid band or channelscore, should not be NULL."))
        << dump();
}

TEST_F(WiFi, ChannelCollectionHandsOutTheScoreOnlyOnSuccess)
{
    char *score = nullptr;
    ASSERT_EQ(OvanWiFiChannelCollection("2.4G", &score, nullptr, nullptr), 0);
    ASSERT_NE(score, nullptr);
    EXPECT_STREQ(score, "1:82,6:64,11:90");
    g_free(score);
    EXPECT_EQ(args_of("ChannelCollection"), "('2.4G',)");

    ASSERT_TRUE(sim.script_reply(kWiFi, kWiFiIface, "ChannelCollection", "('1:10', uint32 2, 'scanning')"));
    score = kUntouchedText;
    EXPECT_EQ(OvanWiFiChannelCollection("5G", &score, nullptr, nullptr), -1);
    EXPECT_EQ(score, kUntouchedText);
}

TEST_F(WiFi, RadioSwitchesPickThePropertyByBand)
{
    struct Case {
        int32_t (*fn)(uint32_t, uint32_t);
        uint32_t band;
        const char *property;
    } cases[] = {
        {OvanWiFiSetEnable, 0, "Enable2G"},          {OvanWiFiSetEnable, 1, "Enable5G"},
        {OvanWiFiSetEnable, 2, "Enable5G"},          {OvanWiFiSetRatePriority, 0, "RatePriority"},
        {OvanWiFiSetRatePriority, 7, "RatePriority5G"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.property) + " band " + std::to_string(c.band));
        ASSERT_TRUE(sim.set_property(kWiFi, kWiFiIface, "Enable2G", "true"));
        ASSERT_TRUE(sim.set_property(kWiFi, kWiFiIface, "Enable5G", "true"));
        ASSERT_TRUE(sim.set_property(kWiFi, kWiFiIface, "RatePriority", "true"));
        ASSERT_TRUE(sim.set_property(kWiFi, kWiFiIface, "RatePriority5G", "true"));
        ASSERT_TRUE(sim.clear_call_log());
        EXPECT_EQ(c.fn(c.band, 0), 0);
        EXPECT_EQ(wifi_calls(), 1u);
        for (const char *p : {"Enable2G", "Enable5G", "RatePriority", "RatePriority5G"}) {
            GPtr<GVariant> v = sim.property(kWiFi, kWiFiIface, p);
            ASSERT_TRUE(v);
            EXPECT_EQ(g_variant_get_boolean(v.get()), std::strcmp(p, c.property) != 0) << p;
        }
    }
    // Any non-zero value switches on.
    EXPECT_EQ(OvanWiFiSetEnable(0, 42), 0);
    GPtr<GVariant> v = sim.property(kWiFi, kWiFiIface, "Enable2G");
    EXPECT_TRUE(g_variant_get_boolean(v.get()));
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiSetEnable", "Enter")) << dump();
}

}  // namespace
