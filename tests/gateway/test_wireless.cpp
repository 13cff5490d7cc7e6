// The WiFi families against the simulator, one namespace each: their own checks,
// texts and quirks (the shapes: test_shapes.cpp; what every object shares:
// test_registry.cpp).
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "gateway_support.hpp"
#include "lumo3_timers.h"
#include "lumo3_vsie.h"
#include "lumo3_wifi.h"
#include "lumo3_wlan.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

// WiFi information and radio actions against the simulator; also the WiFi
// capability guard that every WiFi-family function runs first.
namespace wifi {

constexpr const char kWiFi[] = "/com/quv/igd1/Info/WiFi";
constexpr const char kWiFiIface[] = "com.quv.igd1.WiFiInfo";
constexpr const char kDevice[] = "/com/quv/igd1/Info/Device";
constexpr const char kMac[] = "0C4B54A1B2C3";
char kUntouchedText[] = "untouched";

class WiFi : public GwTest {
protected:
    size_t wifi_calls(const std::string &method = "") { return sim.count_calls(kWiFi, "", method); }
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
    EXPECT_EQ(OvanWiFiCancelSameSSID(nullptr, nullptr), 0);
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
}

// ---- actions ----

struct Action {
    const char *tag;
    const char *method;
    const char *reply_lead;  // what the reply carries before (word, message)
    std::function<int32_t(uint32_t *, char **)> call;
    const char *fail_line;
    const char *fail_message;
    const char *message_line;  // when the gateway answers "radio busy"
};

std::vector<Action> actions()
{
    return {
        {"OvanWiFiDiscClient", "KickOutDevice", "",
         [](uint32_t *s, char **m) { return OvanWiFiDiscClient(kMac, "3", s, m); }, "Call OvanDiscWiFiClient() fail.",
         "Failed to call KickOutDevice() function.", "Call OvanDiscWiFiClient() errmsg [radio busy]."},
        {"OvanWiFiSetSameSSID", "SetSameSSID", "",
         [](uint32_t *s, char **m) { return OvanWiFiSetSameSSID("1", "5", s, m); },
         "Call OvanWiFiSetSameSSID() fail.", "Failed to call SetSameSSID() function.",
         "Call OvanWiFiSetSameSSID() errmsg [radio busy]."},
        {"OvanWiFiCancelSameSSID", "CancelSameSSID", "",
         [](uint32_t *s, char **m) { return OvanWiFiCancelSameSSID(s, m); }, "Call OvanWiFiCancelSameSSID() fail.",
         "Failed to call CancelSameSSID() function.", "Call OvanWiFiCancelSameSSID() errmsg [radio busy]."},
        {"OvanWiFiSwitchChannel", "ChannelSwitch", "",
         [](uint32_t *s, char **m) { return OvanWiFiSwitchChannel("5G", s, m); }, "Call ChannelSwitch() fail.",
         "Failed to call ChannelSwitch() function.", "Call OvanWiFiSwitchChannel() errmsg [radio busy]."},
        {"OvanWiFiChannelCollectionRequest", "ChannelCollectionRequest", "",
         [](uint32_t *s, char **m) { return OvanWiFiChannelCollectionRequest("2.4G", s, m); },
         "Call ChannelCollectionRequest() fail.", "Failed to call ChannelCollectionRequest() function.",
         "Call OvanWiFiChannelCollectionRequest() errmsg [radio busy]."},
        {"OvanWiFiChannelCollection", "ChannelCollection", "'1:50', ",
         [](uint32_t *s, char **m) {
             char *score = kUntouchedText;
             int32_t ret = OvanWiFiChannelCollection("2.4G", &score, s, m);
             if (score != kUntouchedText)
                 g_free(score);
             return ret;
         },
         "Call ChannelCollection() fail.", "Failed to call ChannelCollection() function.",
         "Call OvanWiFiChannelCollection() errmsg [radio busy]."},
    };
}

// The word and message themselves: test_registry.cpp; here each action's own lines
// (the scripted method also proves which method the action calls).
TEST_F(WiFi, ActionsLogTheirOwnLines)
{
    for (const Action &a : actions()) {
        SCOPED_TRACE(a.tag);
        const std::string busy = std::string("(") + a.reply_lead + "uint32 4, 'radio busy')";
        ASSERT_TRUE(sim.script_reply(kWiFi, kWiFiIface, a.method, busy.c_str(), 0, true));
        EXPECT_EQ(a.call(nullptr, nullptr), -1);
        EXPECT_TRUE(logged(LOG_ERR, a.tag, a.message_line)) << dump();

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
        {kMac, "1", true},  {kMac, "8", true}, {kMac, "08", true},      {kMac, "0", false},
        {kMac, "9", false}, {kMac, "", false}, {kMac, nullptr, false}, {kMac, "1a", false},
        {"0C:4B:54:A1:B2:C3", "1", false},     {nullptr, "1", false},
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
    EXPECT_EQ(OvanWiFiChannelCollection("5G", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(wifi_calls(), 0u);
    for (const char *tag : {"OvanWiFiSwitchChannel", "OvanWiFiChannelCollectionRequest"})
        EXPECT_TRUE(logged(LOG_DEBUG, tag, "Invalid band, should not be empty.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiChannelCollection", "Invalid band or channelscore, should not be NULL."))
        << dump();
}

// (A refusal hands out no leading value: test_shapes.cpp.)
TEST_F(WiFi, ChannelCollectionHandsOutTheScore)
{
    char *score = nullptr;
    ASSERT_EQ(OvanWiFiChannelCollection("2.4G", &score, nullptr, nullptr), 0);
    EXPECT_STREQ(score, "1:82,6:64,11:90");
    g_free(score);
    EXPECT_EQ(args_of("ChannelCollection"), "('2.4G',)");
}

TEST_F(WiFi, RadioSwitchesPickThePropertyByBand)
{
    struct Case {
        int32_t (*fn)(uint32_t, uint32_t);
        uint32_t band;
        const char *property;
    } cases[] = {
        {OvanWiFiSetEnable, 0, "Enable2G"},
        {OvanWiFiSetEnable, 2, "Enable5G"},
        {OvanWiFiSetRatePriority, 0, "RatePriority"},
        {OvanWiFiSetRatePriority, 7, "RatePriority5G"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.property) + " band " + std::to_string(c.band));
        ASSERT_TRUE(sim.set_property(kWiFi, kWiFiIface, c.property, "true"));
        ASSERT_TRUE(sim.clear_call_log());
        EXPECT_EQ(c.fn(c.band, 0), 0);
        EXPECT_EQ(wifi_calls(), 1u);
        EXPECT_EQ(printed(sim.property(kWiFi, kWiFiIface, c.property).get()), "false");
    }
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanWiFiSetEnable", "Enter")) << dump();
}

}  // namespace wifi

// WLAN devices (SSIDs) and WPS against the simulator.
namespace wlan {

constexpr const char kColl[] = "/com/quv/igd1/Config/WLAN/Devices";
constexpr const char kIface[] = "com.quv.igd1.WLANConfiguration";
constexpr const char kWPSIface[] = "com.quv.igd1.WPS";
constexpr const char kDev1[] = "/com/quv/igd1/Config/WLAN/Devices/1";
constexpr const char kDev5[] = "/com/quv/igd1/Config/WLAN/Devices/5";
constexpr const char kWPS1[] = "/com/quv/igd1/Config/WLAN/Devices/1/WPS";
constexpr const char kWPS5[] = "/com/quv/igd1/Config/WLAN/Devices/5/WPS";
constexpr const char kOwnerFile[] = "/tmp/.uci/wlandevice-owner";

// A record every check of the setter accepts.
OvanWLANDevice_t valid_device()
{
    OvanWLANDevice_t d{};
    std::strcpy(d.SSID, "Lab-Net");
    d.Enable = 1;
    d.Channel = 11;
    d.ChannelInUse = 99;  // read-only: never sent
    std::strcpy(d.BeaconType, "WPA2");
    std::strcpy(d.Standard, "b,g,n");
    std::strcpy(d.BasicAuthenticationMode, "OpenSystem");
    std::strcpy(d.WPAEncryptionModes, "AESEncryption");
    d.Powerlevel = 80;
    std::strcpy(d.PWD, "lab-secret");
    std::strcpy(d.SSIDAlias, "never-sent");
    std::strcpy(d.Service, "INTERNET");
    d.MACAccessMode = 2;
    d.AccessRule = 2;
    std::strcpy(d.AllowedIPPort, "192.168.1.1:80");
    d.USBandwidth = 1024;
    d.DSBandwidth = 4096;
    return d;
}

class WLAN : public GwTest {
protected:
    void TearDown() override
    {
        if (qzr_dbus_service_context)
            OvanDBusStopService();
        SimTest::TearDown();
    }
    size_t wlan_calls(const std::string &method = "")
    {
        size_t n = 0;
        for (const auto &c : sim.call_log())
            if (c.path.rfind(kColl, 0) == 0 && (method.empty() || c.method == method))
                n++;
        return n;
    }
};

TEST_F(WLAN, SetSendsTheWritableFieldsInOrder)
{
    OvanWLANDevice_t d = valid_device();
    ASSERT_EQ(OvanSetWLANDevice(obj_path(kDev1), &d), 0) << dump();
    EXPECT_EQ(keys(), "SSID,Enable,Channel,BeaconType,Standard,WEPEncryptionLevel,BasicAuthenticationMode,"
                      "WPAEncryptionModes,SSIDHide,ChannelWidth,GuardInterval,RetryTimeout,Powerlevel,PWD,Owner,"
                      "Service,MACAccessMode,AccessRule,AllowedIPPort,USBandwidth,DSBandwidth");
    EXPECT_EQ(wlan_calls("SetMulti"), 1u);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetWLANDevice", std::string("enter, path(") + kDev1 + ")")) << dump();
}

TEST_F(WLAN, SetChecksEveryConstrainedField)
{
    struct Case {
        const char *what;
        std::function<void(OvanWLANDevice_t &)> change;
        bool ok;
    } cases[] = {
        {"WEP empty", [](OvanWLANDevice_t &d) { d.WEPEncryptionLevel[0] = 0; }, true},
        {"WEP 40-bit", [](OvanWLANDevice_t &d) { std::strcpy(d.WEPEncryptionLevel, "40-bit"); }, true},
        {"WEP 104-bit", [](OvanWLANDevice_t &d) { std::strcpy(d.WEPEncryptionLevel, "104-bit"); }, true},
        {"WEP 128-bit", [](OvanWLANDevice_t &d) { std::strcpy(d.WEPEncryptionLevel, "128-bit"); }, false},
        {"auth Both", [](OvanWLANDevice_t &d) { std::strcpy(d.BasicAuthenticationMode, "Both"); }, true},
        {"auth empty with beacon None",
         [](OvanWLANDevice_t &d) {
             d.BasicAuthenticationMode[0] = 0;
             std::strcpy(d.BeaconType, "None");
         },
         false},
        {"wpa TKIP+AES", [](OvanWLANDevice_t &d) { std::strcpy(d.WPAEncryptionModes, "TKIPandAESEncryption"); }, true},
        {"wpa empty", [](OvanWLANDevice_t &d) { d.WPAEncryptionModes[0] = 0; }, false},
        {"beacon WPA2/WPA3", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "WPA2/WPA3"); }, true},
        {"beacon 11i", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "11i"); }, true},
        {"beacon wpa2", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "wpa2"); }, false},
        {"SSID 32", [](OvanWLANDevice_t &d) { std::memset(d.SSID, 'x', 32); }, true},
        {"SSID 33 (unterminated)", [](OvanWLANDevice_t &d) { std::memset(d.SSID, 'x', 33); }, false},
        {"SSID empty", [](OvanWLANDevice_t &d) { d.SSID[0] = 0; }, true},
        {"PWD 63", [](OvanWLANDevice_t &d) { std::memset(d.PWD, 'k', 63); }, true},
        {"PWD 64 (unterminated)", [](OvanWLANDevice_t &d) { std::memset(d.PWD, 'k', 64); }, false},
        {"MACAccessMode 3", [](OvanWLANDevice_t &d) { d.MACAccessMode = 3; }, false},
        {"AccessRule 3", [](OvanWLANDevice_t &d) { d.AccessRule = 3; }, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        OvanWLANDevice_t d = valid_device();
        c.change(d);
        EXPECT_EQ(OvanSetWLANDevice(obj_path(kDev1), &d), c.ok ? 0 : -1);
        EXPECT_EQ(wlan_calls("SetMulti"), c.ok ? 1u : 0u);
        if (!c.ok) {
            const std::string line = "Invalid parameters (" + std::string(d.WEPEncryptionLevel) + "/" +
                                     d.BasicAuthenticationMode + "/" + d.WPAEncryptionModes + "/" + d.BeaconType +
                                     ").";
            EXPECT_TRUE(logged(LOG_ERR, "OvanSetWLANDevice", line)) << dump();
        }
    }
}

// ---- the owners of SSIDs ----

// A refused add records nothing; an add that goes through records its path, and
// deleting it takes the line away again.
TEST_F(WLAN, HostedApplicationOwnsTheSSIDsItAdds)
{
    TempRoot root;
    const std::string other = "/com/quv/igd1/Config/WLAN/Devices/3 com.example.other\n";
    root.write(kOwnerFile, other);
    ASSERT_EQ(OvanDBusStartService("com.example.app1"), 0) << dump();
    OvanWLANDevice_t d = valid_device();
    ASSERT_TRUE(sim.script_error("", "", "SetMulti", "org.freedesktop.DBus.Error.Failed", "refused", 0, true));
    EXPECT_EQ(OvanAddWLANDevice(&d), -1);
    EXPECT_EQ(root.read(kOwnerFile), other);

    ASSERT_EQ(OvanAddWLANDevice(&d), 0) << dump();
    EXPECT_EQ(root.read(kOwnerFile), other + d.path + " com.example.app1\n");
    ASSERT_EQ(OvanDelWLANDevice(obj_path(d.path)), 0);
    EXPECT_EQ(root.read(kOwnerFile), other);
    EXPECT_EQ(OvanDBusStopService(), 0);
}

TEST_F(WLAN, FrameworkDeletesWithoutTouchingTheOwnerFile)
{
    TempRoot root;
    const std::string owners = "/com/quv/igd1/Config/WLAN/Devices/3 com.quv.appframework1\n"
                               "/com/quv/igd1/Config/WLAN/Devices/4 com.example.other\n";
    root.write(kOwnerFile, owners);
    ASSERT_EQ(OvanDBusStartService("com.quv.appframework1"), 0) << dump();
    ASSERT_EQ(OvanDelWLANDevice(obj_path("/com/quv/igd1/Config/WLAN/Devices/3")), 0);
    EXPECT_EQ(root.read(kOwnerFile), owners);
    EXPECT_EQ(OvanDBusStopService(), 0);
}

// ---- searches ----

// The search walks the whole listing and no further: the first match in the
// gateway's order, the last entry of the listing, and a name not in it.
TEST_F(WLAN, BySSIDSearchesTheWholeListingAndNoFurther)
{
    ASSERT_TRUE(sim.set_property("/com/quv/igd1/Config/WLAN/Devices/4", kIface, "SSID", "'Quv-Guest'"));
    ASSERT_TRUE(sim.remove_object(kWPS5));  // the listing now ends with Devices/5
    const struct {
        const char *ssid;
        const char *path;  // null: not found
        uint32_t index;
    } rows[] = {{"Quv-Guest", "/com/quv/igd1/Config/WLAN/Devices/2", 2},
                {"Quv-A1B2C3-5G", kDev5, 5},
                {"Quv-guest", nullptr, 0},  // exact comparison
                {"nowhere", nullptr, 0}};
    for (const auto &r : rows) {
        SCOPED_TRACE(r.ssid);
        OvanWLANDevice_t d{};
        uint32_t index = 77;
        EXPECT_EQ(OvanGetWLANDeviceBySSID(r.ssid, &d), r.path ? 0 : -1) << dump();
        EXPECT_EQ(OvanGetSSIDIndexBySSID(r.ssid, &index), r.path ? 0 : -1);
        EXPECT_STREQ(d.path, r.path ? r.path : "");
        EXPECT_EQ(index, r.path ? r.index : 77u);
    }
}

TEST_F(WLAN, SSIDTextsAreCheckedBeforeTheSearch)
{
    const std::string ssid32(32, 'q');
    ASSERT_TRUE(sim.set_property("/com/quv/igd1/Config/WLAN/Devices/3", kIface, "SSID", ("'" + ssid32 + "'").c_str()));
    ASSERT_TRUE(sim.clear_call_log());
    OvanWLANDevice_t d{};
    EXPECT_EQ(OvanGetWLANDeviceBySSID((ssid32 + "q").c_str(), &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID("", &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID(nullptr, &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID("Quv-Guest", nullptr), -1);
    EXPECT_EQ(OvanGetSSIDIndexBySSID("Quv-Guest", nullptr), -1);
    EXPECT_EQ(wlan_calls(), 0u);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetWLANDeviceBySSID", "Invalid parameter")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetSSIDIndexBySSID", "Invalid parameter.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetWLANDeviceBySSID", "enter, ssid()")) << dump();

    ASSERT_EQ(OvanGetWLANDeviceBySSID(ssid32.c_str(), &d), 0);
    EXPECT_STREQ(d.path, "/com/quv/igd1/Config/WLAN/Devices/3");
}

TEST_F(WLAN, ByIndexReadsTheNumberedInstance)
{
    OvanWLANDevice_t d{};
    ASSERT_EQ(OvanGetWLANDeviceBySSIDIndex(5, &d), 0);
    EXPECT_STREQ(d.path, kDev5);
    EXPECT_EQ(OvanGetWLANDeviceBySSIDIndex(9, &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSIDIndex(-1, &d), -1) << "not an object path";
    EXPECT_EQ(OvanGetWLANDeviceBySSIDIndex(1, nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetWLANDeviceBySSIDIndex", "Invalid wlanDevice, should not be NULL")) << dump();
    OvanWPSConfig_t w{};
    EXPECT_EQ(OvanGetWPSConfig(obj_path("/com/quv/igd1/Config/WLAN/Devices/2/WPS"), &w), -1);
    EXPECT_TRUE(log.contains("OvanGetWPSConfig: GetAll failed, return [", LOG_ERR)) << dump();
}

TEST_F(WLAN, WPSPathsMustLieUnderTheCollectionAndNameWPS)
{
    OvanWPSConfig_t w{};
    // (Paths outside the collection, and empty ones: test_registry.cpp.)
    for (const char *p : {kDev1, "/com/quv/igd1/Config/WLAN/Devices/1/wps"}) {
        SCOPED_TRACE(p);
        EXPECT_EQ(OvanGetWPSConfig(obj_path(p), &w), -1);
        EXPECT_EQ(OvanSetWPSEnable(obj_path(p), 1), -1);
        StatusOut out;
        EXPECT_EQ(OvanSetWPS(obj_path(p), 1, 0, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Invalid Parameters.");
    }
    EXPECT_EQ(OvanGetWPSConfig(obj_path(kWPS1), nullptr), -1);  // no listing: the registry sweep cannot reach it
    EXPECT_EQ(wlan_calls(), 0u);
    for (const char *tag : {"OvanGetWPSConfig", "OvanSetWPSEnable", "OvanSetWPS"})
        EXPECT_TRUE(logged(LOG_ERR, tag, "Invalid parameters.")) << dump();
}

TEST_F(WLAN, SetWPSEnableWritesOnlyEnable)
{
    ASSERT_EQ(OvanSetWPSEnable(obj_path(kWPS1), 0), 0);
    EXPECT_EQ(keys(), "Enable");
    EXPECT_EQ(printed(sim.property(kWPS1, kWPSIface, "Enable").get()), "false");
}

// The word and message: test_registry.cpp. The mode goes signed, the time unsigned.
TEST_F(WLAN, SetWPSSendsItsArgumentsAndLogsSuccessOnly)
{
    ASSERT_EQ(OvanSetWPS(obj_path(kWPS1), 2, 120, nullptr, nullptr), 0) << dump();
    EXPECT_EQ(args_of("SetWPS"), "(2, uint32 120)");
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetWPS", "OvanSetWPS(OVAN_OK)")) << dump();
    log.clear();
    ASSERT_TRUE(sim.script_error(kWPS1, kWPSIface, "SetWPS", "org.freedesktop.DBus.Error.Failed", "down", 0, true));
    EXPECT_EQ(OvanSetWPS(obj_path(kWPS1), 1, 0, nullptr, nullptr), -1);
    EXPECT_FALSE(log.contains("OvanSetWPS(OVAN_OK)")) << "no answer, no success line";
}

}  // namespace wlan

// Wi-Fi vendor IEs, roaming and stations: byte-array properties both ways, the
// look-ups by service name, the records below an entry, the RSSI query's dictionary
// and the station's two interface names.
namespace vsie {

constexpr const char kBeacon1[] = "/com/quv/igd1/VSIE/BeaconTxVSIE/1";
constexpr const char kProbeRx1[] = "/com/quv/igd1/VSIE/ProbeRxVSIE/1";
constexpr const char kRoaming[] = "/com/quv/igd1/Config/WLAN/5G/Roaming";

using VSIE = GwTest;

// Which keys each setter writes, its byte arrays among them (the byte-array shapes:
// test_reply_shapes.cpp; the bytes of an entry both ways: lumoctl's tests; paths of
// another collection: test_registry.cpp).
TEST_F(VSIE, SettersSendTheirKeysAndBytes)
{
    uint8_t ie[] = {0xdd, 0x03, 0x00, 0x50, 0xf2};
    OvanBeaconTxVSIE_t b{};
    g_strlcpy(b.ServiceName, "probe", sizeof b.ServiceName);
    b.LenofIEData = sizeof ie;
    b.IEData = ie;
    ASSERT_EQ(OvanAddBeaconTxVSIE(&b), 0);
    EXPECT_EQ(keys(), "ServiceName,Status,SSIDIndex,Duration,LenofIEData,IEData");

    OvanProbeRspTxVSIE_t r{};
    g_strlcpy(r.MAC, "A4C3F0445566", sizeof r.MAC);
    r.LenofIEData = 2;
    r.IEData = ie;
    ASSERT_EQ(OvanSetProbeRspTxVSIEv4(obj_path("/com/quv/igd1/VSIE/ProbeRspTxVSIE/1"), &r), 0);
    EXPECT_EQ(keys(), "MAC,Band,LenofIEData,IEData");
}

TEST_F(VSIE, LookupsByServiceName)
{
    OvanBeaconTxVSIE_t b{};
    ASSERT_EQ(OvanGetBeaconTxVSIEByServiceName("mesh-agent", &b, nullptr, nullptr), 0) << dump();
    EXPECT_STREQ(b.path, kBeacon1);
    g_free(b.IEData);
    EXPECT_TRUE(log.contains("GetBeaconTxVSIEByServiceName() return [(objectpath '/com/quv/igd1/VSIE/BeaconTxVSIE/1'"))
        << dump();

    sim.script_reply("/com/quv/igd1/VSIE/ProbeRxVSIE", "", "GetProbeRxVSIEByServiceName",
                     "(objectpath '/', uint32 3, 'no such service')", 0, true);
    StatusOut miss;
    OvanProbeRxVSIE_t p{};
    EXPECT_EQ(OvanGetProbeRxVSIEByServiceName("x", &p, &miss.status, &miss.errmsg), -1);
    EXPECT_EQ(miss.status, 3u);
    EXPECT_EQ(miss.msg(), "no such service");
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetProbeRxVSIEByServiceName",
                       "Call GetProbeRxVSIEByServiceName() errmsg [no such service]."))
        << dump();

    EXPECT_EQ(OvanGetProbeRxVSIEByServiceName("", &p, nullptr, nullptr), -1);  // outputs: SteeringCommands
}

// The records below an entry are neither entries nor reachable by an entry's path.
TEST_F(VSIE, RecordsBelowAnEntry)
{
    uint32_t n = 0;
    ASSERT_EQ(OvanGetProbeRxVSIEObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 1u);
    OvanProbeRxVSIERecord_t one{};
    ASSERT_EQ(OvanFlushProbeRxVSIERecord(obj_path(kProbeRx1), nullptr, nullptr), 0);

    sim.clear_call_log();
    EXPECT_EQ(OvanFlushProbeRxVSIERecord(obj_path(kBeacon1), nullptr, nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanFlushProbeRxVSIERecord", std::string("invalid path ") + kBeacon1)) << dump();
    EXPECT_EQ(OvanGetProbeRxVSIERecord(obj_path(kProbeRx1), &one), -1);
    EXPECT_EQ(OvanGetProbeRxVSIERecord(obj_path("/com/quv/igd1/VSIE/ProbeRxVSIE/1/RecordsX/1"), &one), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(VSIE, SteeringCommands)
{
    OvanAPRSSI_t aps[2] = {};
    g_strlcpy(aps[0].MAC, "A4:C3:F0:11:22:34", sizeof aps[0].MAC);
    aps[0].Value = 36;
    g_strlcpy(aps[1].MAC, "A4:C3:F0:99:88:77", sizeof aps[1].MAC);
    aps[1].Value = 149;
    ASSERT_EQ(OvanStartAPRSSIQuery("A4C3F0445566", 36, aps, 2, nullptr, nullptr), 0) << dump();
    EXPECT_EQ(args_of("StartAPRSSIQuery"),
              "('A4C3F0445566', uint32 36, {'A4:C3:F0:11:22:34': uint32 36, 'A4:C3:F0:99:88:77': 149})");

    OvanAPRSSI_t *answers = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetSTARSSIQuery("A4C3F0445566", &answers, &n, nullptr, nullptr), 0) << dump();
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(answers[1].MAC, "A4:C3:F0:99:88:77");
    EXPECT_EQ(answers[1].Value, 48u);
    g_free(answers);

    // A reply of another shape is refused whole.
    sim.script_reply(kRoaming, "", "GetSTARSSIQuery", "({'x': 'y'}, uint32 0, '')", 0, true);
    answers = nullptr;
    StatusOut wrong;
    EXPECT_EQ(OvanGetSTARSSIQuery("A4C3F0445566", &answers, &n, &wrong.status, &wrong.errmsg), -1);
    EXPECT_EQ(answers, nullptr);
    EXPECT_EQ(wrong.status, 1u);

    ASSERT_EQ(OvanSetSTADeassociationRequest(obj_path("/com/quv/igd1/Config/WLAN/STA/1"), "A4C3F0445566", nullptr,
                                             nullptr),
              0);
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Config/WLAN/STA/1", "com.quv.igd1.STAInfo",
                              "SetSTADeassociationRequest"),
              1u);

    // Refused with nothing sent; word 1 and the message as the family's refusal hands
    // them out to each of them.
    sim.clear_call_log();
    StatusOut bad_mac;
    EXPECT_EQ(OvanStartAPRSSIQuery("xyz", 1, nullptr, 0, &bad_mac.status, &bad_mac.errmsg), -1);
    EXPECT_EQ(bad_mac.status, 1u);
    EXPECT_EQ(bad_mac.msg(), "Invalid Parameter.");
    EXPECT_EQ(OvanStartAPRSSIQuery("A4C3F0445566", 1, nullptr, 2, nullptr, nullptr), -1);  // the aps missing
    EXPECT_EQ(OvanStartSTABSSTransitionRequest("A4C3F0445566", 1, "", nullptr, nullptr), -1);
    EXPECT_EQ(OvanGetSTARSSIQuery("A4C3F0445566", nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(OvanSetSTADeassociationRequest(obj_path(kBeacon1), "A4C3F0445566", nullptr, nullptr), -1);
    EXPECT_EQ(OvanStartBeaconTxVSIE(obj_path(kProbeRx1), nullptr, nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(VSIE, StationsUnderTwoInterfaceNames)
{
    // Only the listing's interface fills the listing; the getter reads the other.
    ASSERT_TRUE(sim.set_property("/com/quv/igd1/Config/WLAN/STA/2", "com.quv.igd1.STAInfo", "RSSI", "-1"));
    OvanSTAInfo_t *sta = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetSTAInfoObjs(&sta, &n), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_EQ(sta[1].RSSI, -71);
    g_free(sta);
    OvanSTAInfo_t one{};
    ASSERT_EQ(OvanGetSTAInfo(obj_path("/com/quv/igd1/Config/WLAN/STA/2"), &one), 0);
    EXPECT_EQ(one.RSSI, -1);

    OvanRoamingConfig_t r{};
    ASSERT_EQ(OvanSetRoamingConfig(&r), 0);
    EXPECT_EQ(keys(), "Enable,Start_time,Threshold1_RSSI,Threshold2_RSSI");
    EXPECT_EQ(OvanSetBeaconTxVSIEManager(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetBeaconTxVSIEManager", "NULL obj")) << dump();
}

}  // namespace vsie

// Band steering, WiFi timers, LED and sleep timers: their own checks, texts and
// quirks against the simulator (the shapes are tested in test_shapes.cpp).
namespace timers {

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

using Timers = GwTest;

// ---- setter checks: one table over the four checked setters ----

using T = OvanWiFiTimer_t;
using L = OvanLED_t;
using X = OvanWiFiExTimer_t;
using S = OvanSleepTimer_t;

// The family's valid record changed by `change`, handed to its setter.
template <typename R>
std::function<int32_t()> changed(R (*make)(), void (*change)(R &), int32_t (*set)(R *))
{
    return [=] {
        R r = make();
        change(r);
        return set(&r);
    };
}

template <typename R>
std::function<int32_t()> changed_at(const char *path, R (*make)(), void (*change)(R &),
                                    int32_t (*set)(OvanObjPath_t, R *))
{
    return [=] {
        R r = make();
        change(r);
        return set(obj_path(path), &r);
    };
}

const auto timer_set = [](void (*change)(T &)) { return changed<T>(valid_wifi_timer, change, OvanSetWiFiTimer); };
const auto led_set = [](void (*change)(L &)) { return changed<L>(valid_led, change, OvanSetLED); };
const auto ex_set = [](void (*change)(X &), const char *path = kExTimer1) {
    return changed_at<X>(path, valid_ex_timer, change, OvanSetWiFiExTimer);
};
const auto sleep_set = [](void (*change)(S &), const char *path = kSleepTimer1) {
    return changed_at<S>(path, valid_sleep_timer, change, OvanSetSleepTimer);
};

constexpr const char kTimerBad[] = "OvanSetWiFiTimer: Invalid Parameter";
constexpr const char kLEDBad[] = "OvanSetLED: Invalid Parameter";
constexpr const char kExBad[] = "OvanSetWiFiExTimer: Invalid Time or Active value or SSIDMask is 0.";
constexpr const char kExPath[] = "OvanSetWiFiExTimer: Invalid Path.";
constexpr const char kSleepBad[] = "OvanSetSleepTimer: Invalid Time or Active value.";
constexpr const char kSleepPath[] = "OvanSetSleepTimer: Invalid Path or NULL obj.";

// (A null record, refused by every setter: test_registry.cpp.)
TEST_F(Timers, SetterChecksRefuseBeforeTheBus)
{
    struct Case {
        const char *name;
        std::function<int32_t()> call;
        const char *refusal;  // null: accepted
    };
    const Case cases[] = {
        {"timer_valid", timer_set([](T &) {}), nullptr},
        {"timer_cycle_lower", timer_set([](T &r) { std::strcpy(r.ControlCycle, "day"); }), kTimerBad},
        {"timer_mask_0", timer_set([](T &r) { r.SSIDMask = 0; }), kTimerBad},
        {"timer_end_24_01", timer_set([](T &r) { std::strcpy(r.EndTime, "24:01"); }), kTimerBad},
        {"timer_start_unterminated", timer_set([](T &r) { std::memset(r.StartTime, '1', sizeof r.StartTime); }),
         kTimerBad},
        {"led_valid", led_set([](L &) {}), nullptr},
        {"led_on", led_set([](L &r) { std::strcpy(r.Status, "ON"); }), nullptr},
        {"led_status_on_lower", led_set([](L &r) { std::strcpy(r.Status, "on"); }), kLEDBad},
        {"led_start_empty", led_set([](L &r) { r.StartTime[0] = '\0'; }), kLEDBad},
        {"ex_valid", ex_set([](X &) {}), nullptr},
        {"ex_active_00", ex_set([](X &r) { std::strcpy(r.Active, "00"); }), nullptr},
        {"ex_active_2", ex_set([](X &r) { std::strcpy(r.Active, "2"); }), kExBad},
        {"ex_active_letter", ex_set([](X &r) { std::strcpy(r.Active, "a"); }), kExBad},
        {"ex_mask_0", ex_set([](X &r) { r.SSIDMask = 0; }), kExBad},
        {"ex_time_bad", ex_set([](X &r) { std::strcpy(r.Time, "7:5"); }), kExBad},
        {"ex_sleep_path", ex_set([](X &) {}, kSleepTimer1), kExPath},
        {"sleep_valid", sleep_set([](S &) {}), nullptr},
        {"sleep_active_1x", sleep_set([](S &r) { std::strcpy(r.Active, "1x"); }), kSleepBad},
        {"sleep_time_25", sleep_set([](S &r) { std::strcpy(r.Time, "25:00"); }), kSleepBad},
        {"sleep_ex_path", sleep_set([](S &) {}, kExTimer1), kSleepPath},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        EXPECT_EQ(c.call(), c.refusal ? -1 : 0) << dump();
        EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), c.refusal ? 0u : 1u);
        if (c.refusal) {
            EXPECT_TRUE(log.contains(c.refusal, LOG_ERR)) << dump();
        }
    }
}

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
        EXPECT_EQ(printed(sim.property(kExTimer1, "com.quv.igd1.WiFiTimer1", "WeekDay").get()), c.sent) << c.num;
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
    // The collection's name, a "/" and enough characters to make 255.
    const std::string ex = std::string(kExTimers) + "/" + std::string(255 - sizeof kExTimers, 'z');
    const std::string sleep = std::string(kSleepTimers) + "/" + std::string(255 - sizeof kSleepTimers, 'z');
    ASSERT_TRUE(sim.add_object(ex, "{'com.quv.igd1.WiFiTimer1': {'Time': <'1:00'>}}"));
    ASSERT_TRUE(sim.add_object(sleep, "{'com.quv.igd1.SleepTimer': {'Time': <'1:00'>}}"));
    EXPECT_EQ((longest_listed_path<X, &X::WeekDay>(OvanGetWiFiExTimerObjs)), 255u);
    EXPECT_EQ((longest_listed_path<S, &S::Day>(OvanGetSleepTimerObjs)), 254u);
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

}  // namespace timers

}  // namespace
