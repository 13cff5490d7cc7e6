// WLAN devices (SSIDs) and WPS against the simulator.
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_wlan.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kColl[] = "/com/quv/igd1/Config/WLAN/Devices";
constexpr const char kIface[] = "com.quv.igd1.WLANConfiguration";
constexpr const char kWPSIface[] = "com.quv.igd1.WPS";
constexpr const char kDev1[] = "/com/quv/igd1/Config/WLAN/Devices/1";
constexpr const char kDev5[] = "/com/quv/igd1/Config/WLAN/Devices/5";
constexpr const char kWPS1[] = "/com/quv/igd1/Config/WLAN/Devices/1/WPS";
constexpr const char kWPS5[] = "/com/quv/igd1/Config/WLAN/Devices/5/WPS";
constexpr const char kOwnerFile[] = "/tmp/.uci/wlandevice-owner";

OvanObjPath_t at(const std::string &path) { return obj_path(path); }

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

class WLAN : public SimTest {
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
    std::vector<std::string> sent_keys() { return lumo::test::sent_keys(sim); }
    bool exists(const std::string &path)
    {
        return sim.call(path, "com.quv.igd1.Properties", "GetAll", g_variant_new("(s)", kIface)) != nullptr;
    }
};

TEST_F(WLAN, SetSendsTheWritableFieldsInOrder)
{
    OvanWLANDevice_t d = valid_device();
    ASSERT_EQ(OvanSetWLANDevice(at(kDev1), &d), 0) << dump();
    const std::vector<std::string> expected = {
        "SSID",        "Enable",        "Channel",      "BeaconType",   "Standard",     "WEPEncryptionLevel",
        "BasicAuthenticationMode",      "WPAEncryptionModes",           "SSIDHide",     "ChannelWidth",
        "GuardInterval", "RetryTimeout", "Powerlevel",  "PWD",          "Owner",        "Service",
        "MACAccessMode", "AccessRule",  "AllowedIPPort", "USBandwidth", "DSBandwidth"};
    EXPECT_EQ(sent_keys(), expected);
    EXPECT_EQ(wlan_calls("SetMulti"), 1u);
    GPtr<GVariant> v = sim.property(kDev1, kIface, "SSID");
    EXPECT_STREQ(g_variant_get_string(v.get(), nullptr), "Lab-Net");
    v = sim.property(kDev1, kIface, "ChannelInUse");
    EXPECT_EQ(g_variant_get_uint32(v.get()), 6u) << "read-only, not written";
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
        {"auth open", [](OvanWLANDevice_t &d) { std::strcpy(d.BasicAuthenticationMode, "open"); }, false},
        {"wpa TKIP+AES", [](OvanWLANDevice_t &d) { std::strcpy(d.WPAEncryptionModes, "TKIPandAESEncryption"); }, true},
        {"wpa empty", [](OvanWLANDevice_t &d) { d.WPAEncryptionModes[0] = 0; }, false},
        {"beacon WPA2/WPA3", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "WPA2/WPA3"); }, true},
        {"beacon 11i", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "11i"); }, true},
        {"beacon wpa2", [](OvanWLANDevice_t &d) { std::strcpy(d.BeaconType, "wpa2"); }, false},
        {"beacon empty", [](OvanWLANDevice_t &d) { d.BeaconType[0] = 0; }, false},
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
        EXPECT_EQ(OvanSetWLANDevice(at(kDev1), &d), c.ok ? 0 : -1);
        EXPECT_EQ(wlan_calls("SetMulti"), c.ok ? 1u : 0u);
        if (!c.ok) {
            const std::string line = "Invalid parameters (" + std::string(d.WEPEncryptionLevel) + "/" +
                                     d.BasicAuthenticationMode + "/" + d.WPAEncryptionModes + "/" + d.BeaconType +
                                     ").";
            EXPECT_TRUE(logged(LOG_ERR, "OvanSetWLANDevice", line)) << dump();
        }
    }
}

// ---- add and delete ----

TEST_F(WLAN, RefusedWriteAfterAddLeavesNoObject)
{
    // Refused by the setter's own checks once the object exists.
    OvanWLANDevice_t d = valid_device();
    std::strcpy(d.BeaconType, "WEP");
    EXPECT_EQ(OvanAddWLANDevice(&d), -1);
    EXPECT_STREQ(d.path, "/com/quv/igd1/Config/WLAN/Devices/6");
    EXPECT_FALSE(exists("/com/quv/igd1/Config/WLAN/Devices/6"));
    EXPECT_EQ(wlan_calls("DeleteObject"), 1u);
}

TEST_F(WLAN, HostedApplicationOwnsTheSSIDsItAdds)
{
    TempRoot root;
    root.write(kOwnerFile, "/com/quv/igd1/Config/WLAN/Devices/3 com.example.other\n");
    ASSERT_EQ(OvanDBusStartService("com.example.app1"), 0) << dump();
    OvanWLANDevice_t d = valid_device();
    ASSERT_EQ(OvanAddWLANDevice(&d), 0) << dump();
    EXPECT_EQ(root.read(kOwnerFile), "/com/quv/igd1/Config/WLAN/Devices/3 com.example.other\n"
                                     "/com/quv/igd1/Config/WLAN/Devices/6 com.example.app1\n");

    ASSERT_EQ(OvanDelWLANDevice(at(d.path)), 0);
    EXPECT_EQ(root.read(kOwnerFile), "/com/quv/igd1/Config/WLAN/Devices/3 com.example.other\n");
    EXPECT_FALSE(exists(d.path));
    EXPECT_EQ(OvanDBusStopService(), 0);
}

TEST_F(WLAN, RefusedAddByHostedApplicationRecordsNothing)
{
    TempRoot root;
    root.write(kOwnerFile, "");
    ASSERT_EQ(OvanDBusStartService("com.example.app1"), 0) << dump();
    ASSERT_TRUE(sim.script_error("", "", "SetMulti", "org.freedesktop.DBus.Error.Failed", "refused", 0, true));
    OvanWLANDevice_t d = valid_device();
    EXPECT_EQ(OvanAddWLANDevice(&d), -1);
    EXPECT_EQ(root.read(kOwnerFile), "");
    EXPECT_EQ(OvanDBusStopService(), 0);
}

TEST_F(WLAN, FrameworkDeletesWithoutTouchingTheOwnerFile)
{
    TempRoot root;
    const std::string owners = "/com/quv/igd1/Config/WLAN/Devices/3 com.quv.appframework1\n"
                               "/com/quv/igd1/Config/WLAN/Devices/4 com.example.other\n";
    root.write(kOwnerFile, owners);
    ASSERT_EQ(OvanDBusStartService("com.quv.appframework1"), 0) << dump();
    ASSERT_EQ(OvanDelWLANDevice(at("/com/quv/igd1/Config/WLAN/Devices/3")), 0);
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
    uint32_t index = 0;
    EXPECT_EQ(OvanGetWLANDeviceBySSID((ssid32 + "q").c_str(), &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID("", &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID(nullptr, &d), -1);
    EXPECT_EQ(OvanGetWLANDeviceBySSID("Quv-Guest", nullptr), -1);
    EXPECT_EQ(OvanGetSSIDIndexBySSID((ssid32 + "q").c_str(), &index), -1);
    EXPECT_EQ(OvanGetSSIDIndexBySSID("Quv-Guest", nullptr), -1);
    EXPECT_EQ(wlan_calls(), 0u);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetWLANDeviceBySSID", "Invalid parameter")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetSSIDIndexBySSID", "Invalid parameter.")) << dump();
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetWLANDeviceBySSID", "enter, ssid()")) << dump();

    ASSERT_EQ(OvanGetWLANDeviceBySSID(ssid32.c_str(), &d), 0);
    EXPECT_STREQ(d.path, "/com/quv/igd1/Config/WLAN/Devices/3");
    ASSERT_EQ(OvanGetSSIDIndexBySSID(ssid32.c_str(), &index), 0);
    EXPECT_EQ(index, 3u);
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
    EXPECT_EQ(OvanGetWPSConfig(at("/com/quv/igd1/Config/WLAN/Devices/2/WPS"), &w), -1);
    EXPECT_TRUE(log.contains("OvanGetWPSConfig: GetAll failed, return [", LOG_ERR)) << dump();
}

TEST_F(WLAN, WPSPathsMustLieUnderTheCollectionAndNameWPS)
{
    uint32_t status = 77;
    char *msg = nullptr;
    OvanWPSConfig_t w{};
    for (const char *p : {kDev1, "/com/quv/igd1/Info/WPS", "", "/com/quv/igd1/Config/WLAN/Devices/1/wps"}) {
        SCOPED_TRACE(p);
        EXPECT_EQ(OvanGetWPSConfig(at(p), &w), -1);
        EXPECT_EQ(OvanSetWPSEnable(at(p), 1), -1);
        status = 77;
        EXPECT_EQ(OvanSetWPS(at(p), 1, 0, &status, &msg), -1);
        EXPECT_EQ(status, 1u);
        ASSERT_NE(msg, nullptr);
        EXPECT_STREQ(msg, "Invalid Parameters.");
        g_free(msg);
        msg = nullptr;
    }
    EXPECT_EQ(OvanGetWPSConfig(at(kWPS1), nullptr), -1);
    EXPECT_EQ(wlan_calls(), 0u);
    for (const char *tag : {"OvanGetWPSConfig", "OvanSetWPSEnable", "OvanSetWPS"})
        EXPECT_TRUE(logged(LOG_ERR, tag, "Invalid parameters.")) << dump();
}

TEST_F(WLAN, SetWPSEnableWritesOnlyEnable)
{
    ASSERT_EQ(OvanSetWPSEnable(at(kWPS1), 0), 0);
    EXPECT_EQ(sent_keys(), std::vector<std::string>{"Enable"});
    GPtr<GVariant> v = sim.property(kWPS1, kWPSIface, "Enable");
    EXPECT_FALSE(g_variant_get_boolean(v.get()));
    ASSERT_EQ(OvanSetWPSEnable(at(kWPS5), 7), 0);
    v = sim.property(kWPS5, kWPSIface, "Enable");
    EXPECT_TRUE(g_variant_get_boolean(v.get()));
}

// The word and message: test_registry.cpp. The mode goes signed, the time unsigned.
TEST_F(WLAN, SetWPSSendsItsArgumentsAndLogsSuccessOnly)
{
    ASSERT_EQ(OvanSetWPS(at(kWPS1), 2, 120, nullptr, nullptr), 0) << dump();
    EXPECT_EQ(printed(last_args(sim, "SetWPS").get()), "(2, uint32 120)");
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetWPS", "OvanSetWPS(OVAN_OK)")) << dump();
    log.clear();
    ASSERT_TRUE(sim.script_error(kWPS1, kWPSIface, "SetWPS", "org.freedesktop.DBus.Error.Failed", "down", 0, true));
    EXPECT_EQ(OvanSetWPS(at(kWPS1), 1, 0, nullptr, nullptr), -1);
    EXPECT_FALSE(log.contains("OvanSetWPS(OVAN_OK)")) << "no answer, no success line";
}

}  // namespace
