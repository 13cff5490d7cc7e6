// Property tables of the cached records: what each cache reads from its proxies, in
// order. The information caches read a subset of the direct getters' tables.
#pragma once

#include "gateway/device_tables.hpp"
#include "gateway/record.hpp"
#include "gateway/wifi_tables.hpp"
#include "lumo3_cache.h"

namespace lumo::cache {

using gw::Field;

inline constexpr auto kDeviceInfo =
    gw::pick(gw::device::kDeviceInfo,
             {"BusinessStatus", "Manufacturer", "MAC", "SWVersion", "HDVersion", "ITMSProtocolVersion",
              "SpecVersion", "DBusInterfaceVersion", "ProductClass", "CPUClass", "DevType", "DevType1", "DevType2",
              "Capability", "FlashSize", "RamSize", "DevName", "HGWSleep"});

// UPLink is read with the type the gateway sends it with ("u"), which is also the
// record member's.
inline constexpr auto kNetworkInfo = gw::pick(
    gw::device::kNetworkInfo,
    {"UPLink", "IPv6", "VLANbind", "WiFiMode", "LAN1Status", "LAN2Status", "LAN3Status", "LAN4Status",
     "WANLinkStatus", "WIFIModuleStatus", "WANConnectionStatus", "PPPoEDialReason", "IPv6_WANConnectionStatus",
     "IPv6_PPPoEDialReason", "LANIPAddr", "LANIPv6Addr", "WANIPAddr", "WANIPv6Addr"});

inline constexpr auto kWiFiInfo = gw::pick(
    gw::wifi::kWiFiInfo, {"Enable2G", "Enable5G", "WiFiMode", "DualBand", "SameSSIDStatus", "RatePriority",
                          "RatePriority5G"});

using H = OvanLANHostCache_t;
inline constexpr Field kLANHost[] = {
    LUMO_F(H, MAC, 's'),          LUMO_F(H, HostName, 's'),       LUMO_F(H, DevName, 's'),
    LUMO_F(H, InternetAccess, 'y'), LUMO_F(H, MaxUSBandwidth, 'u'), LUMO_F(H, MaxDSBandwidth, 'u'),
    LUMO_F(H, DevType, 's'),      LUMO_F(H, IP, 's'),             LUMO_F(H, IPv6, 's'),
    LUMO_F(H, ConnectionType, 'y'), LUMO_F(H, Port, 'y'),         LUMO_F(H, Brand, 's'),
    LUMO_F(H, Model, 's'),        LUMO_F(H, OS, 's'),             LUMO_F(H, Active, 'b'),
};

using W = OvanWLANDeviceCache_t;
inline constexpr Field kWLANDevice[] = {
    LUMO_F(W, SSID, 's'),
    LUMO_F(W, Enable, 'b'),
    LUMO_F(W, Channel, 'u'),
    LUMO_F(W, ChannelInUse, 'u'),
    LUMO_F(W, BeaconType, 's'),
    LUMO_F(W, Standard, 's'),
    LUMO_F(W, WEPEncryptionLevel, 's'),
    LUMO_F(W, BasicAuthenticationMode, 's'),
    LUMO_F(W, WPAEncryptionModes, 's'),
    LUMO_F(W, SSIDHide, 'b'),
    LUMO_F(W, RFBand, 'u'),
    LUMO_F(W, ChannelWidth, 'u'),
    LUMO_F(W, GuardInterval, 'u'),
    LUMO_F(W, RetryTimeout, 'u'),
    LUMO_F(W, Powerlevel, 'u'),
    LUMO_F(W, PowerValue, 'u'),
    LUMO_F(W, SSIDAlias, 's'),
    LUMO_F(W, Owner, 's'),
    LUMO_F(W, Service, 's'),
    LUMO_F(W, MACAccessMode, 'u'),
    LUMO_F(W, AccessRule, 'u'),
    LUMO_F(W, AllowedIPPort, 's'),
    LUMO_F(W, USBandwidth, 'u'),
    LUMO_F(W, DSBandwidth, 'u'),
};

using S = OvanOnlineDeviceSnapShotCache_t;
inline constexpr Field kSnapShot[] = {
    LUMO_F(S, MAC, 's'),      LUMO_F(S, HostName, 's'),       LUMO_F(S, DevName, 's'),
    LUMO_F(S, InternetAccess, 'y'), LUMO_F(S, IP, 's'),       LUMO_F(S, ConnectionType, 'y'),
    LUMO_F(S, Port, 'y'),     LUMO_F(S, MaxUSBandwidth, 'u'), LUMO_F(S, MaxDSBandwidth, 'u'),
    LUMO_F(S, Brand, 's'),    LUMO_F(S, OS, 's'),
};

inline constexpr gw::RecordTable kLANHostTable{"OvanLANHostCache_t", "com.quv.igd1.LANHost", kLANHost,
                                               sizeof(OvanLANHostCache_t)};
inline constexpr gw::RecordTable kWLANDeviceTable{"OvanWLANDeviceCache_t", "com.quv.igd1.WLANConfiguration",
                                                  kWLANDevice, sizeof(OvanWLANDeviceCache_t)};
inline constexpr gw::RecordTable kSnapShotTable{"OvanOnlineDeviceSnapShotCache_t", "com.quv.igd1.LANHost",
                                                kSnapShot, sizeof(OvanOnlineDeviceSnapShotCache_t)};

}  // namespace lumo::cache
