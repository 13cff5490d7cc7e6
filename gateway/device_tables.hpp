// Property tables of the device, network, PON and VoIP information records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_device.h"

namespace lumo::gw::device {

template <typename T>
inline constexpr Field kDeviceInfoFields[] = {
    LUMO_F(T, BusinessStatus, 'y'),  LUMO_F(T, Manufacturer, 's'), LUMO_F(T, MAC, 's'),
    LUMO_F(T, SWVersion, 's'),       LUMO_F(T, HDVersion, 's'),    LUMO_F(T, ITMSProtocolVersion, 's'),
    LUMO_F(T, SpecVersion, 's'),     LUMO_F(T, DBusInterfaceVersion, 's'), LUMO_F(T, ProductClass, 's'),
    LUMO_F(T, CPUClass, 's'),        LUMO_F(T, DevType, 's'),      LUMO_F(T, DevType1, 's'),
    LUMO_F(T, DevType2, 's'),        LUMO_F(T, Capability, 's'),   LUMO_F(T, FlashSize, 'u'),
    LUMO_F(T, RamSize, 'u'),         LUMO_F(T, DevName, 's'),      LUMO_F(T, CPUUsage, 'y'),
    LUMO_F(T, MEMUsage, 'y'),        LUMO_F(T, FlashUsage, 'y'),   LUMO_F(T, SysDuration, 'u'),
    LUMO_F(T, HGWSleep, 'y'),
};

inline constexpr Field kDeviceInfoOnly[] = {dropped("DevStyle")};
inline constexpr Field kDeviceInfov4Only[] = {LUMO_F(OvanDeviceInfov4_t, DevStyle, 's')};
inline constexpr auto kDeviceInfo = concat(kDeviceInfoFields<OvanDeviceInfo_t>, kDeviceInfoOnly);
inline constexpr auto kDeviceInfov4 = concat(kDeviceInfoFields<OvanDeviceInfov4_t>, kDeviceInfov4Only);

using N = OvanNetworkInfo_t;
inline constexpr Field kNetworkInfo[] = {
    LUMO_F(N, UPLink, 'u'),         LUMO_F(N, IPv6, 'y'),          LUMO_F(N, VLANbind, 'y'),
    LUMO_F(N, WiFiMode, 's'),       LUMO_F(N, PONDuration, 'u'),   LUMO_F(N, PPPOEDuration, 'u'),
    LUMO_F(N, LAN1Status, 'y'),     LUMO_F(N, LAN2Status, 'y'),    LUMO_F(N, LAN3Status, 'y'),
    LUMO_F(N, LAN4Status, 'y'),     LUMO_F(N, LAN1TXByte, 't'),    LUMO_F(N, LAN1RXByte, 't'),
    LUMO_F(N, LAN2TXByte, 't'),     LUMO_F(N, LAN2RXByte, 't'),    LUMO_F(N, LAN3TXByte, 't'),
    LUMO_F(N, LAN3RXByte, 't'),     LUMO_F(N, LAN4TXByte, 't'),    LUMO_F(N, LAN4RXByte, 't'),
    LUMO_F(N, WANLinkStatus, 's'),  LUMO_F(N, WIFIModuleStatus, 's'), LUMO_F(N, WANConnectionStatus, 's'),
    LUMO_F(N, PPPoEDialReason, 's'), LUMO_F(N, IPv6_WANConnectionStatus, 's'), LUMO_F(N, IPv6_PPPoEDialReason, 's'),
    LUMO_F(N, LANIPAddr, 's'),      LUMO_F(N, LANIPv6Addr, 's'),   LUMO_F(N, WANIPAddr, 's'),
    LUMO_F(N, WANIPv6Addr, 's'),    LUMO_F(N, WiFiBytes, 't'),     LUMO_F(N, WiFiTxBytes, 't'),
    LUMO_F(N, WiFiRxBytes, 't'),    LUMO_F(N, WANBytes, 't'),      LUMO_F(N, WANTxBytes, 't'),
    LUMO_F(N, WANRxBytes, 't'),
};

using P = OvanPONInfo_t;
inline constexpr Field kPONInfo[] = {
    LUMO_F(P, LOID, 's'),        LUMO_F(P, Password, 's'),        LUMO_F(P, Temperature, 'd'),
    LUMO_F(P, Voltage, 'd'),     LUMO_F(P, Current, 'd'),         LUMO_F(P, TXPower, 'd'),
    LUMO_F(P, RXPower, 'd'),     LUMO_F(P, SupportPONStatusQuery, 'b'), LUMO_F(P, PONStatus, 's'),
    LUMO_F(P, BytesSent, 't'),   LUMO_F(P, BytesReceived, 't'),   LUMO_F(P, PacketsSent, 't'),
    LUMO_F(P, PacketsReceived, 't'), LUMO_F(P, FECError, 't'),    LUMO_F(P, DropPackets, 't'),
};

using V = OvanVoIPInfo_t;
inline constexpr Field kVoIPInfo[] = {
    LUMO_F(V, VoIPName1, 's'),
    LUMO_F(V, VoIPName2, 's'),
    LUMO_F(V, Line1Status, 's'),
    LUMO_F(V, Line2Status, 's'),
};

inline constexpr RecordTable kDeviceInfoTable{"OvanDeviceInfo_t", "com.quv.igd1.DeviceInfo", kDeviceInfo,
                                              sizeof(OvanDeviceInfo_t)};
inline constexpr RecordTable kDeviceInfov4Table{"OvanDeviceInfov4_t", "com.quv.igd1.DeviceInfo", kDeviceInfov4,
                                                sizeof(OvanDeviceInfov4_t)};
inline constexpr RecordTable kNetworkInfoTable{"OvanNetworkInfo_t", "com.quv.igd1.NetworkInfo", kNetworkInfo,
                                               sizeof(OvanNetworkInfo_t)};
inline constexpr RecordTable kPONInfoTable{"OvanPONInfo_t", "com.quv.igd1.PONInfo", kPONInfo, sizeof(OvanPONInfo_t)};
inline constexpr RecordTable kVoIPInfoTable{"OvanVoIPInfo_t", "com.quv.igd1.VoIPInfo", kVoIPInfo,
                                            sizeof(OvanVoIPInfo_t)};

}  // namespace lumo::gw::device
