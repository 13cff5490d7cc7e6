// Wi-Fi vendor IEs, roaming and stations: byte-array properties both ways, the
// look-ups by service name, the records below an entry, the RSSI query's dictionary
// and the station's two interface names.
#include <cstring>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_vsie.h"

namespace {

using namespace lumo::test;

constexpr const char kBeacon1[] = "/com/quv/igd1/VSIE/BeaconTxVSIE/1";
constexpr const char kBeaconIface[] = "com.quv.igd1.VSIE.BeaconTxVSIE";
constexpr const char kProbeRx1[] = "/com/quv/igd1/VSIE/ProbeRxVSIE/1";
constexpr const char kRoaming[] = "/com/quv/igd1/Config/WLAN/5G/Roaming";

class VSIE : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        gwdbusver = -1;
        wifivalinit = 0;
    }
};

std::vector<uint8_t> bytes_of(const uint8_t *p, uint32_t n)
{
    return p ? std::vector<uint8_t>(p, p + n) : std::vector<uint8_t>{};
}

// Which keys each setter writes, and byte arrays of the right collection only (the
// byte-array shapes themselves: test_reply_shapes.cpp).
TEST_F(VSIE, SettersSendTheirKeysAndBytes)
{
    uint8_t ie[] = {0xdd, 0x03, 0x00, 0x50, 0xf2};
    OvanBeaconTxVSIE_t b{};
    g_strlcpy(b.ServiceName, "probe", sizeof b.ServiceName);
    b.LenofIEData = sizeof ie;
    b.IEData = ie;
    ASSERT_EQ(OvanAddBeaconTxVSIE(&b), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"ServiceName", "Status", "SSIDIndex", "Duration",
                                                        "LenofIEData", "IEData"}));
    OvanBeaconTxVSIE_t back{};
    ASSERT_EQ(OvanGetBeaconTxVSIE(obj_path(b.path), &back), 0);
    EXPECT_EQ(bytes_of(back.IEData, back.LenofIEData), std::vector<uint8_t>(ie, ie + sizeof ie));
    g_free(back.IEData);

    OvanProbeRspTxVSIE_t r{};
    g_strlcpy(r.MAC, "A4C3F0445566", sizeof r.MAC);
    r.LenofIEData = 2;
    r.IEData = ie;
    ASSERT_EQ(OvanSetProbeRspTxVSIEv4(obj_path("/com/quv/igd1/VSIE/ProbeRspTxVSIE/1"), &r), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"MAC", "Band", "LenofIEData", "IEData"}));
    auto v = sim.property("/com/quv/igd1/VSIE/ProbeRspTxVSIE/1", "com.quv.igd1.VSIE.ProbeRspTxVSIE", "IEData");
    ASSERT_TRUE(v);
    EXPECT_EQ(printed(v.get()), "[byte 0xdd, 0x03]");

    sim.clear_call_log();
    EXPECT_EQ(OvanSetBeaconTxVSIE(obj_path("/com/quv/igd1/VSIE/ProbeRspTxVSIE/1"), &b), -1);
    EXPECT_EQ(OvanSetProbeRspTxVSIEv4(obj_path(kBeacon1), &r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetBeaconTxVSIE", "Invalid parameters.")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(VSIE, LookupsByServiceName)
{
    StatusOut out;
    OvanBeaconTxVSIE_t b{};
    ASSERT_EQ(OvanGetBeaconTxVSIEByServiceName("mesh-agent", &b, &out.status, &out.errmsg), 0) << out.msg();
    EXPECT_STREQ(b.path, kBeacon1);
    EXPECT_EQ(b.LenofIEData, 9u);
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

    OvanBeaconTxVSIE_t other{};
    ASSERT_EQ(OvanGetBeaconTxVSIEByServiceName("iot-onboard", &other, nullptr, nullptr), 0);
    EXPECT_STREQ(other.path, "/com/quv/igd1/VSIE/BeaconTxVSIE/2");
    g_free(other.IEData);
    StatusOut none;
    EXPECT_EQ(OvanGetBeaconTxVSIEByServiceName("nobody", &other, &none.status, &none.errmsg), -1);
    EXPECT_EQ(none.status, 1u);

    StatusOut bad;
    EXPECT_EQ(OvanGetProbeRxVSIEByServiceName("", &p, &bad.status, &bad.errmsg), -1);
    EXPECT_EQ(bad.status, 1u);
    EXPECT_EQ(bad.msg(), "Invalid Parameter.");
}

// The records below an entry are neither entries nor reachable by an entry's path.
TEST_F(VSIE, RecordsBelowAnEntry)
{
    uint32_t n = 0;
    ASSERT_EQ(OvanGetProbeRxVSIEObjs(nullptr, &n), 0);
    EXPECT_EQ(n, 1u);
    OvanProbeRxVSIERecord_t one{};
    StatusOut out;
    ASSERT_EQ(OvanFlushProbeRxVSIERecord(obj_path(kProbeRx1), &out.status, &out.errmsg), 0);

    sim.clear_call_log();
    StatusOut bad;
    EXPECT_EQ(OvanFlushProbeRxVSIERecord(obj_path(kBeacon1), &bad.status, &bad.errmsg), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanFlushProbeRxVSIERecord", std::string("invalid path ") + kBeacon1)) << dump();
    EXPECT_EQ(OvanGetProbeRxVSIERecord(obj_path(kProbeRx1), &one), -1);
    EXPECT_EQ(OvanGetProbeRxVSIERecord(obj_path("/com/quv/igd1/VSIE/ProbeRxVSIE/1/RecordsX/1"), &one), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(VSIE, SteeringCommands)
{
    StatusOut q;
    OvanAPRSSI_t aps[2] = {};
    g_strlcpy(aps[0].MAC, "A4:C3:F0:11:22:34", sizeof aps[0].MAC);
    aps[0].Value = 36;
    g_strlcpy(aps[1].MAC, "A4:C3:F0:99:88:77", sizeof aps[1].MAC);
    aps[1].Value = 149;
    ASSERT_EQ(OvanStartAPRSSIQuery("A4C3F0445566", 36, aps, 2, &q.status, &q.errmsg), 0) << q.msg();
    auto args = last_args(sim, "StartAPRSSIQuery");
    ASSERT_TRUE(args);
    EXPECT_EQ(printed(args.get()),
              "('A4C3F0445566', uint32 36, {'A4:C3:F0:11:22:34': uint32 36, 'A4:C3:F0:99:88:77': 149})");

    OvanAPRSSI_t *answers = nullptr;
    uint32_t n = 0;
    StatusOut g;
    ASSERT_EQ(OvanGetSTARSSIQuery("A4C3F0445566", &answers, &n, &g.status, &g.errmsg), 0) << g.msg();
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

    StatusOut d;
    ASSERT_EQ(OvanSetSTADeassociationRequest(obj_path("/com/quv/igd1/Config/WLAN/STA/1"), "A4C3F0445566", &d.status,
                                             &d.errmsg),
              0);
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Config/WLAN/STA/1", "com.quv.igd1.STAInfo",
                              "SetSTADeassociationRequest"),
              1u);

    sim.clear_call_log();
    struct Refused {
        const char *name;
        int32_t (*call)(StatusOut &);
    };
    const Refused refused[] = {
        {"query: bad MAC", [](StatusOut &o) { return OvanStartAPRSSIQuery("xyz", 1, nullptr, 0, &o.status, &o.errmsg); }},
        {"query: aps missing",
         [](StatusOut &o) { return OvanStartAPRSSIQuery("A4C3F0445566", 1, nullptr, 2, &o.status, &o.errmsg); }},
        {"transition: no BSSID",
         [](StatusOut &o) { return OvanStartSTABSSTransitionRequest("A4C3F0445566", 1, "", &o.status, &o.errmsg); }},
        {"rssi: no outputs",
         [](StatusOut &o) { return OvanGetSTARSSIQuery("A4C3F0445566", nullptr, nullptr, &o.status, &o.errmsg); }},
        {"deassoc: wrong path",
         [](StatusOut &o) {
             return OvanSetSTADeassociationRequest(obj_path(kBeacon1), "A4C3F0445566", &o.status, &o.errmsg);
         }},
        {"start: wrong path",
         [](StatusOut &o) { return OvanStartBeaconTxVSIE(obj_path(kProbeRx1), &o.status, &o.errmsg); }},
    };
    for (const Refused &r : refused) {
        StatusOut o;
        EXPECT_EQ(r.call(o), -1) << r.name;
        EXPECT_EQ(o.status, 1u) << r.name;
        EXPECT_EQ(o.msg(), "Invalid Parameter.") << r.name;
    }
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
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Config/WLAN/STA/2", "", "GetAll"), 1u);

    OvanRoamingConfig_t r{};
    ASSERT_EQ(OvanSetRoamingConfig(&r), 0);
    EXPECT_EQ(sent_keys(sim),
              (std::vector<std::string>{"Enable", "Start_time", "Threshold1_RSSI", "Threshold2_RSSI"}));
    EXPECT_EQ(OvanSetRoamingConfig(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetRoamingConfig", "Invalid parameter.")) << dump();
    EXPECT_EQ(OvanSetBeaconTxVSIEManager(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetBeaconTxVSIEManager", "NULL obj")) << dump();
}

}  // namespace
