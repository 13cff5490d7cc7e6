// Property tables of the HTTP download test, the speed tests, the feature flags and
// the CloudVR account.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_speedtest.h"

namespace lumo::gw::speedtest {

using H = OvanHttpDownloadTestResult_t;
inline constexpr Field kHttpDownload[] = {LUMO_F(H, Status, 'u'), LUMO_F(H, Result, 's'), LUMO_F(H, URL, 's')};

using F = OvanSpeedTestFFResult_t;
inline constexpr Field kSpeedTestFF[] = {
    LUMO_F(F, TestingStatus, 'b'),     LUMO_F(F, Result, 'u'), LUMO_F(F, Ticket, 's'),
    LUMO_F(F, SpeedType, 'y'),         LUMO_F(F, URL, 's'),                     LUMO_F(F, DW_SPEED_MAX_RATE, 's'),
    LUMO_F(F, DW_SPEED_RATE, 's'),     LUMO_F(F, UP_SPEED_MAX_RATE, 's'),       LUMO_F(F, UP_SPEED_RATE, 's'),
    LUMO_F(F, BEGIN_TIME, 's'),        LUMO_F(F, END_TIME, 's'),
};
inline constexpr auto kSpeedTestFFConfig = pick(kSpeedTestFF, {"Ticket", "SpeedType", "URL"});

using F4 = OvanSpeedTestFFResultv4_t;
inline constexpr Field kSpeedTestFFv4[] = {
    LUMO_F(F4, TestingStatus, 'b'),  LUMO_F(F4, Result, 'u'),         LUMO_F(F4, Ticket, 's'),
    LUMO_F(F4, SpeedType, 'y'),      LUMO_F(F4, URL, 's'),            LUMO_F(F4, DW_SPEED_MAX_RATE, 's'),
    LUMO_F(F4, DW_SPEED_RATE, 's'),  LUMO_F(F4, UP_SPEED_MAX_RATE, 's'), LUMO_F(F4, UP_SPEED_RATE, 's'),
    LUMO_F(F4, BEGIN_TIME, 's'),     LUMO_F(F4, END_TIME, 's'),       LUMO_F(F4, MAX_TIME_DELAY, 's'),
    LUMO_F(F4, MIN_TIME_DELAY, 's'), LUMO_F(F4, AVG_TIME_DELAY, 's'), LUMO_F(F4, PACKET_LOSS, 's'),
    LUMO_F(F4, PACKET_SHAKE, 's'),
};

using L = OvanSpeedTestLocal_t;
inline constexpr Field kSpeedTestLocal[] = {
    LUMO_F(L, Enable, 'b'),        LUMO_F(L, TestingStatus, 'b'),     LUMO_F(L, Result, 'u'),
    LUMO_F(L, SpeedType, 'y'),     LUMO_F(L, URL, 's'),               LUMO_F(L, DW_SPEED_MAX_RATE, 's'),
    LUMO_F(L, DW_SPEED_RATE, 's'), LUMO_F(L, UP_SPEED_MAX_RATE, 's'), LUMO_F(L, UP_SPEED_RATE, 's'),
    LUMO_F(L, BEGIN_TIME, 's'),    LUMO_F(L, END_TIME, 's'),          LUMO_F(L, RFU1, 's'),
    LUMO_F(L, RFU2, 's'),
};
// What the local configuration writes, in order; RFU1 and RFU2 only when given.
inline constexpr auto kSpeedTestLocalConfig = pick(kSpeedTestLocal, {"Enable", "SpeedType", "RFU1", "RFU2"});

using G = OvanFeatureFlag_t;
inline constexpr Field kFeatureFlag[] = {LUMO_F(G, H248, 'b'), LUMO_F(G, PortBind, 'b'), LUMO_F(G, VlanBind, 'b'),
                                         LUMO_F(G, OnDemandDialin, 'b')};

using C = OvanCloudVR_t;
inline constexpr Field kCloudVR[] = {LUMO_F(C, Enable, 'b'), LUMO_F(C, UserID, 's'), LUMO_F(C, Password, 's')};

inline constexpr RecordTable kHttpDownloadTable{"OvanHttpDownloadTestResult_t", "com.quv.igd1.HttpDownloadTest",
                                                kHttpDownload, sizeof(H)};
inline constexpr RecordTable kSpeedTestFFTable{"OvanSpeedTestFFResult_t", "com.quv.igd1.SpeedTestFF", kSpeedTestFF,
                                               sizeof(F)};
inline constexpr RecordTable kSpeedTestFFv4Table{"OvanSpeedTestFFResultv4_t", "com.quv.igd1.SpeedTestFF",
                                                 kSpeedTestFFv4, sizeof(F4)};
inline constexpr RecordTable kSpeedTestLocalTable{"OvanSpeedTestLocal_t", "com.quv.igd1.SpeedTestLocal",
                                                  kSpeedTestLocal, sizeof(L)};
inline constexpr RecordTable kFeatureFlagTable{"OvanFeatureFlag_t", "com.quv.igd1.FeatureFlag", kFeatureFlag,
                                               sizeof(G)};
inline constexpr RecordTable kCloudVRTable{"OvanCloudVR_t", "com.quv.igd1.CLOUDVR", kCloudVR, sizeof(C)};

}  // namespace lumo::gw::speedtest
