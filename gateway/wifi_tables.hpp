// Property tables of the WiFi information records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_wifi.h"

namespace lumo::gw::wifi {

template <typename T>
inline constexpr Field kWiFiInfoHead[] = {
    LUMO_F(T, Enable2G, 'b'),
    LUMO_F(T, Enable5G, 'b'),
    LUMO_F(T, WiFiMode, 's'),
    LUMO_F(T, DualBand, 'b'),
};

template <typename T>
inline constexpr Field kWiFiInfoTail[] = {
    LUMO_F(T, SameSSIDStatus, 'b'),
    LUMO_F(T, RxBytes, 't'),
    LUMO_F(T, RxPkts, 't'),
    LUMO_F(T, RxErrorPkts, 't'),
    LUMO_F(T, RxDropPkts, 't'),
    LUMO_F(T, TxBytes, 't'),
    LUMO_F(T, TxPkts, 't'),
    LUMO_F(T, TxErrorPkts, 't'),
    LUMO_F(T, TxDropPkts, 't'),
    LUMO_F(T, RatePriority, 'b'),
    LUMO_F(T, RatePriority5G, 'b'),
    LUMO_F(T, ChannelScanStatus, 'y'),
    LUMO_F(T, ChannelScanFinishTime, 's'),
    LUMO_AS(T, ChannelScanScoreNum, ChannelScanScore),
    LUMO_F(T, ChannelScanStatus5G, 'y'),
    LUMO_F(T, ChannelScanFinishTime5G, 's'),
    LUMO_AS(T, ChannelScanScore5GNum, ChannelScanScore5G),
};

// The older layout knows the multi-AP flag but has no room for it.
inline constexpr Field kWiFiInfoOnly[] = {dropped("MAPAgent")};
inline constexpr Field kWiFiInfov4Only[] = {
    LUMO_F(OvanWiFiInfov4_t, SupportedBeaconType, 's'),
    LUMO_F(OvanWiFiInfov4_t, MAPAgent, 'y'),
};

inline constexpr auto kWiFiInfo =
    concat(kWiFiInfoHead<OvanWiFiInfo_t>, kWiFiInfoTail<OvanWiFiInfo_t>, kWiFiInfoOnly);
inline constexpr auto kWiFiInfov4 =
    concat(kWiFiInfoHead<OvanWiFiInfov4_t>, kWiFiInfov4Only, kWiFiInfoTail<OvanWiFiInfov4_t>);

inline constexpr RecordTable kWiFiInfoTable{"OvanWiFiInfo_t", "com.quv.igd1.WiFiInfo", kWiFiInfo,
                                            sizeof(OvanWiFiInfo_t)};
inline constexpr RecordTable kWiFiInfov4Table{"OvanWiFiInfov4_t", "com.quv.igd1.WiFiInfo", kWiFiInfov4,
                                              sizeof(OvanWiFiInfov4_t)};

}  // namespace lumo::gw::wifi
