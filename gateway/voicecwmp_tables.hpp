// Property tables of the voice diagnostics and IPv6 LAN records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_voicecwmp.h"

namespace lumo::gw::voicecwmp {

inline constexpr Field kIAD[] = {
    LUMO_F(OvanIADDiagnostics_t, RegistResult, 'u'),
    LUMO_F(OvanIADDiagnostics_t, Reason, 'u'),
};

using V = OvanVOIPSimulateTest_t;
inline constexpr Field kSimulateTest[] = {
    LUMO_F(V, CalledNumber, 's'),       LUMO_F(V, DialDTMFConfirmEnable, 'b'), LUMO_F(V, DialDTMFConfirmNumber, 's'),
    LUMO_F(V, DialDTMFConfirmResult, 'y'), LUMO_F(V, Status, 's'),             LUMO_F(V, Conclusion, 'y'),
    LUMO_F(V, CallerFailReason, 's'),   LUMO_F(V, CalledFailReason, 's'),      LUMO_F(V, FailedResponseCode, 'u'),
};
inline constexpr auto kSimulateTestWritable =
    pick(kSimulateTest, {"CalledNumber", "DialDTMFConfirmEnable", "DialDTMFConfirmNumber"});

inline constexpr Field kPhone[] = {
    LUMO_F(OvanPhoneConnectivity_t, PhoneConnectivity, 'b'),
    LUMO_F(OvanPhoneConnectivity_t, OffHookAlarmStatus, 'b'),
};

using Q = OvanVoicePoorQualityStats_t;
inline constexpr Field kPoorQuality[] = {
    LUMO_F(Q, StartTime, 'u'),      LUMO_F(Q, TxPackets, 'u'),     LUMO_F(Q, RxPackets, 'u'),
    LUMO_F(Q, MeanDelay, 'u'),      LUMO_F(Q, MeanJitter, 'u'),    LUMO_F(Q, FractionLoss, 'u'),
    LUMO_F(Q, LocalIPAddress, 's'), LUMO_F(Q, LocalUDPPort, 'u'),  LUMO_F(Q, FarEndIPAddress, 's'),
    LUMO_F(Q, FarEndUDPPort, 'u'),  LUMO_F(Q, MosLq, 'u'),         LUMO_F(Q, Codec, 's'),
};

using L = OvanIPv6LANConfig_t;
inline constexpr Field kIPv6LAN[] = {
    LUMO_F(L, LocalAddress, 's'), LUMO_F(L, ConfigType, 's'), LUMO_F(L, DNSWAN, 's'),
    LUMO_F(L, Servers, 's'),      LUMO_F(L, PrefixMode, 's'), LUMO_F(L, DelegatedWAN, 's'),
    LUMO_F(L, Prefix, 's'),       LUMO_F(L, PreferredLifeTime, 'u'), LUMO_F(L, ValidLifeTime, 'u'),
};

using D = OvanDHCPv6Server_t;
inline constexpr Field kDHCPv6[] = {
    LUMO_F(D, Enable, 'b'),        LUMO_F(D, MinAddress, 's'),     LUMO_F(D, MaxAddress, 's'),
    LUMO_F(D, PreferredLifeTime, 'u'), LUMO_F(D, ValidLifeTime, 'u'), LUMO_F(D, Option16Enable, 'b'),
    LUMO_F(D, Option17Enable, 'b'),
};

using R = OvanRAConfig_t;
inline constexpr Field kRA[] = {
    LUMO_F(R, Enable, 'b'),         LUMO_F(R, MaxRtrAdvInterval, 'u'),  LUMO_F(R, MinRtrAdvInterval, 'u'),
    LUMO_F(R, AdvManagedFlag, 'b'), LUMO_F(R, AdvOtherConfigFlag, 'b'),
};

inline constexpr RecordTable kIADTable{"OvanIADDiagnostics_t", "com.quv.igd1.IADDiagnostics", kIAD,
                                       sizeof(OvanIADDiagnostics_t)};
inline constexpr RecordTable kSimulateTestTable{"OvanVOIPSimulateTest_t", "com.quv.igd1.VOIPSimulateTest",
                                                kSimulateTest, sizeof(V)};
inline constexpr RecordTable kPhoneTable{"OvanPhoneConnectivity_t", "com.quv.igd1.PhoneConnectivity", kPhone,
                                         sizeof(OvanPhoneConnectivity_t)};
inline constexpr RecordTable kPoorQualityTable{"OvanVoicePoorQualityStats_t", "com.quv.igd1.VoicePoorQualityStats",
                                               kPoorQuality, sizeof(Q)};
inline constexpr RecordTable kIPv6LANTable{"OvanIPv6LANConfig_t", "com.quv.igd1.IPv6LANConfig", kIPv6LAN, sizeof(L)};
inline constexpr RecordTable kDHCPv6Table{"OvanDHCPv6Server_t", "com.quv.igd1.DHCPv6Server", kDHCPv6, sizeof(D)};
inline constexpr RecordTable kRATable{"OvanRAConfig_t", "com.quv.igd1.RouterAdvertisement", kRA, sizeof(R)};

}  // namespace lumo::gw::voicecwmp
