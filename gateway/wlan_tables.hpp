// Property tables of the WLAN device and WPS records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_wlan.h"

namespace lumo::gw::wlan {

using D = OvanWLANDevice_t;
inline constexpr Field kWLANDevice[] = {
    LUMO_F(D, SSID, 's'),          LUMO_F(D, Enable, 'b'),
    LUMO_F(D, Channel, 'u'),       LUMO_F(D, ChannelInUse, 'u'),
    LUMO_F(D, BeaconType, 's'),    LUMO_F(D, Standard, 's'),
    LUMO_F(D, WEPEncryptionLevel, 's'), LUMO_F(D, BasicAuthenticationMode, 's'),
    LUMO_F(D, WPAEncryptionModes, 's'), LUMO_F(D, SSIDHide, 'b'),
    LUMO_F(D, RFBand, 'u'),        LUMO_F(D, ChannelWidth, 'u'),
    LUMO_F(D, GuardInterval, 'u'), LUMO_F(D, RetryTimeout, 'u'),
    LUMO_F(D, Powerlevel, 'u'),    LUMO_F(D, PowerValue, 'u'),
    LUMO_F(D, PWD, 's'),           LUMO_F(D, RxBytes, 't'),
    LUMO_F(D, RxPkts, 't'),        LUMO_F(D, RxErrorPkts, 't'),
    LUMO_F(D, RxDropPkts, 't'),    LUMO_F(D, TxBytes, 't'),
    LUMO_F(D, TxPkts, 't'),        LUMO_F(D, TxErrorPkts, 't'),
    LUMO_F(D, TxDropPkts, 't'),    LUMO_F(D, SSIDAlias, 's'),
    LUMO_F(D, Owner, 's'),         LUMO_F(D, Service, 's'),
    LUMO_F(D, MACAccessMode, 'u'), LUMO_F(D, AccessRule, 'u'),
    LUMO_F(D, AllowedIPPort, 's'), LUMO_F(D, USBandwidth, 'u'),
    LUMO_F(D, DSBandwidth, 'u'),
};

// What OvanSetWLANDevice sends, in its order.
inline constexpr auto kWLANDeviceWritable = pick(kWLANDevice, {
    "SSID", "Enable", "Channel", "BeaconType", "Standard", "WEPEncryptionLevel", "BasicAuthenticationMode",
    "WPAEncryptionModes", "SSIDHide", "ChannelWidth", "GuardInterval", "RetryTimeout", "Powerlevel", "PWD",
    "Owner", "Service", "MACAccessMode", "AccessRule", "AllowedIPPort", "USBandwidth", "DSBandwidth",
});

using W = OvanWPSConfig_t;
inline constexpr Field kWPSConfig[] = {
    LUMO_F(W, Enable, 'b'),
    LUMO_F(W, WPSStatus, 'y'),
    LUMO_AS(W, DevInfoNum, DevInfo, kNullWhenEmpty),
};

inline constexpr auto kWPSEnable = pick(kWPSConfig, {"Enable"});

inline constexpr RecordTable kWLANDeviceTable{"OvanWLANDevice_t", "com.quv.igd1.WLANConfiguration", kWLANDevice,
                                              sizeof(OvanWLANDevice_t)};
inline constexpr RecordTable kWPSConfigTable{"OvanWPSConfig_t", "com.quv.igd1.WPS", kWPSConfig,
                                             sizeof(OvanWPSConfig_t)};

}  // namespace lumo::gw::wlan
