// Property tables of the band steering, WiFi timer, LED and sleep timer records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_timers.h"

namespace lumo::gw::timers {

using B = OvanWiFiBandSteering_t;
inline constexpr Field kBandSteering[] = {
    LUMO_F(B, Enable, 'b'),
    LUMO_F(B, Capability, 'b'),
    LUMO_F(B, RSSIThreshold, 'i'),
    LUMO_F(B, RSSIThreshold5G, 'i'),
    LUMO_F(B, ChannelUtilization5G, 'u'),
    LUMO_F(B, ChannelUtilizationThreshold5G, 'u'),
    LUMO_F(B, STALoadThreshold2G, 'u'),
    LUMO_F(B, SteeringDetectInterval, 'u'),
};
inline constexpr auto kBandSteeringWritable =
    pick(kBandSteering, {"Enable", "RSSIThreshold", "RSSIThreshold5G", "ChannelUtilizationThreshold5G",
                         "STALoadThreshold2G", "SteeringDetectInterval"});

using T = OvanWiFiTimer_t;
inline constexpr Field kWiFiTimer[] = {
    LUMO_F(T, StartTime, 's'), LUMO_F(T, EndTime, 's'), LUMO_F(T, ControlCycle, 's'),
    LUMO_F(T, Enable, 'b'),    LUMO_F(T, SSIDMask, 'u'),
};

using L = OvanLED_t;
inline constexpr Field kLED[] = {
    LUMO_F(L, Status, 's'),       LUMO_F(L, StartTime, 's'), LUMO_F(L, EndTime, 's'),
    LUMO_F(L, ControlCycle, 's'), LUMO_F(L, Enable, 'b'),
};

using X = OvanWiFiExTimer_t;
inline constexpr Field kWiFiExTimer[] = {
    LUMO_F(X, Time, 's'), LUMO_F(X, Active, 's'), LUMO_F(X, Enable, 'b'), LUMO_F(X, SSIDMask, 'u'),
    LUMO_AS(X, WeekDayNum, WeekDay),
};
// The service lists the days first.
inline constexpr auto kWiFiExTimerWritable = pick(kWiFiExTimer, {"WeekDay", "Time", "Active", "Enable", "SSIDMask"});

using S = OvanSleepTimer_t;
inline constexpr Field kSleepTimer[] = {
    LUMO_F(S, Time, 's'), LUMO_F(S, Active, 's'), LUMO_F(S, Enable, 'b'), LUMO_AS(S, DayNum, Day),
};
inline constexpr auto kSleepTimerWritable = pick(kSleepTimer, {"Day", "Time", "Active", "Enable"});

inline constexpr RecordTable kBandSteeringTable{"OvanWiFiBandSteering_t", "com.quv.igd1.WiFiBandSteering",
                                                kBandSteering, sizeof(B)};
inline constexpr RecordTable kWiFiTimerTable{"OvanWiFiTimer_t", "com.quv.igd1.WiFiTimer", kWiFiTimer, sizeof(T)};
inline constexpr RecordTable kLEDTable{"OvanLED_t", "com.quv.igd1.LED", kLED, sizeof(L)};
inline constexpr RecordTable kWiFiExTimerTable{"OvanWiFiExTimer_t", "com.quv.igd1.WiFiTimer1", kWiFiExTimer,
                                               sizeof(X)};
inline constexpr RecordTable kSleepTimerTable{"OvanSleepTimer_t", "com.quv.igd1.SleepTimer", kSleepTimer, sizeof(S)};

}  // namespace lumo::gw::timers
