// Property tables of the LAN host manager, the LAN host layouts and the online
// device snapshot.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_lanhost.h"

namespace lumo::gw::lanhost {

inline constexpr const char kManagerIface[] = "com.quv.igd1.LANHostManager";
inline constexpr const char kHostIface[] = "com.quv.igd1.LANHost";

using M = OvanLANHostMgr_t;
inline constexpr Field kLANHostMgr[] = {
    LUMO_F(M, EnableStats, 'b'),          LUMO_F(M, LANHostMaxNumber, 'u'),  LUMO_F(M, LANHostNumber, 'u'),
    LUMO_F(M, ControlListMaxNumber, 'u'), LUMO_F(M, ControlListNumber, 'u'),
};
inline constexpr auto kLANHostMgrWritable =
    pick(kLANHostMgr, {"EnableStats", "LANHostMaxNumber", "ControlListMaxNumber"});

// The gateway's own "DevName" is dropped: the name shown is the user's, from UCI.
template <typename T>
inline constexpr Field kLANHostFields[] = {
    LUMO_F(T, MAC, 's'),
    LUMO_F(T, HostName, 's'),
    LUMO_LOCAL(T, DevName, 's'),
    LUMO_F(T, ControlStatus, 'b'),
    LUMO_F(T, InternetAccess, 'y'),
    LUMO_F(T, StorageAccess, 'b'),
    LUMO_F(T, MaxUSBandwidth, 'u'),
    LUMO_F(T, MaxDSBandwidth, 'u'),
    LUMO_F(T, DevType, 's'),
    LUMO_F(T, IP, 's'),
    LUMO_F(T, ConnectionType, 'y'),
    LUMO_F(T, Port, 'y'),
    LUMO_F(T, Brand, 's'),
    LUMO_F(T, Model, 's'),
    LUMO_F(T, OS, 's'),
    LUMO_F(T, Active, 'b'),
    LUMO_F(T, LatestActiveTime, 's'),
    LUMO_F(T, LatestInactiveTime, 's'),
    LUMO_F(T, OnlineTime, 'u'),
    LUMO_F(T, RxBytes, 't'),
    LUMO_F(T, TxBytes, 't'),
    LUMO_F(T, PowerLevel, 'i'),
    LUMO_F(T, DeviceOnlineNofication, 'b'),
};

inline constexpr Field kLANHostOnly[] = {dropped("NegoRate"), dropped("IPv6")};
inline constexpr Field kLANHostExtOnly[] = {LUMO_F(OvanLANHostExt_t, NegoRate, 'u'), dropped("IPv6")};
inline constexpr Field kLANHostExtWithIPv6Only[] = {
    LUMO_F(OvanLANHostExtWithIPv6_t, NegoRate, 'u'),
    LUMO_F(OvanLANHostExtWithIPv6_t, IPv6, 's'),
};
inline constexpr auto kLANHost = concat(kLANHostFields<OvanLANHost_t>, kLANHostOnly);
inline constexpr auto kLANHostExt = concat(kLANHostFields<OvanLANHostExt_t>, kLANHostExtOnly);
inline constexpr auto kLANHostExtWithIPv6 = concat(kLANHostFields<OvanLANHostExtWithIPv6_t>, kLANHostExtWithIPv6Only);

// What OvanSetLANHost sends, in this order; the name and ControlStatus are not written.
inline constexpr auto kLANHostWritable =
    pick(kLANHostFields<OvanLANHost_t>, {"DevType", "Brand", "Model", "OS", "InternetAccess", "StorageAccess",
                                         "MaxUSBandwidth", "MaxDSBandwidth", "DeviceOnlineNofication"});

using S = OvanOnlineDeviceSnapShot_t;
inline constexpr Field kOnlineDeviceSnapShot[] = {
    LUMO_F(S, MAC, 's'),  LUMO_LOCAL(S, DevName, 's'),  LUMO_F(S, InternetAccess, 'y'), LUMO_F(S, DevType, 's'),
    LUMO_F(S, IP, 's'),   LUMO_F(S, ConnectionType, 'y'), LUMO_F(S, Port, 'y'),         LUMO_F(S, Brand, 's'),
    LUMO_F(S, OS, 's'),   LUMO_F(S, OnlineTime, 'u'),
};

inline constexpr RecordTable kLANHostMgrTable{"OvanLANHostMgr_t", kManagerIface, kLANHostMgr, sizeof(M)};
inline constexpr RecordTable kLANHostTable{"OvanLANHost_t", kHostIface, kLANHost, sizeof(OvanLANHost_t)};
inline constexpr RecordTable kLANHostExtTable{"OvanLANHostExt_t", kHostIface, kLANHostExt, sizeof(OvanLANHostExt_t)};
inline constexpr RecordTable kLANHostExtWithIPv6Table{"OvanLANHostExtWithIPv6_t", kHostIface, kLANHostExtWithIPv6,
                                                      sizeof(OvanLANHostExtWithIPv6_t)};
inline constexpr RecordTable kOnlineDeviceSnapShotTable{"OvanOnlineDeviceSnapShot_t", kHostIface,
                                                        kOnlineDeviceSnapShot, sizeof(S)};

}  // namespace lumo::gw::lanhost
