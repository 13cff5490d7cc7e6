// Property tables of the QoS, DNS speed limit and IPTV records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_qos.h"

namespace lumo::gw::qos {

using Q = OvanQoSConfig_t;
inline constexpr Field kConfig[] = {
    LUMO_F(Q, Mode, 's'),           LUMO_F(Q, Enable, 'b'),         LUMO_F(Q, Bandwidth, 'u'),
    LUMO_F(Q, Plan, 's'),           LUMO_F(Q, EnableForceWeight, 'b'), LUMO_F(Q, EnableDSCPMark, 'b'),
    LUMO_F(Q, Enable8021P, 'u'),
};

using C = OvanQoSClassification_t;
inline constexpr Field kClassification[] = {
    LUMO_F(C, ClassQueue, 'u'), LUMO_F(C, DSCPMarkValue, 'u'), LUMO_F(C, VLAN8021PValue, 'u'),
};

using P = OvanQoSPriorityQueue_t;
inline constexpr Field kPriorityQueue[] = {
    LUMO_F(P, Enable, 'b'), LUMO_F(P, Priority, 'u'), LUMO_F(P, Weight, 'u'), LUMO_F(P, Car, 'i'),
};
inline constexpr auto kPriorityQueueWritable = pick(kPriorityQueue, {"Car"});

using A = OvanQoSApp_t;
inline constexpr Field kApp[] = {LUMO_F(A, AppName, 's'), LUMO_F(A, ClassQueue, 'u')};

using T = OvanQoSClassType_t;
inline constexpr Field kClassType[] = {
    LUMO_F(T, Type, 's'), LUMO_F(T, Max, 's'), LUMO_F(T, Min, 's'), LUMO_F(T, ProtocolList, 's'),
};
inline constexpr auto kClassTypeWritable = pick(kClassType, {"Max", "Min", "ProtocolList"});

using D = OvanDNSSpeedLimit_t;
inline constexpr Field kDNSSpeedLimit[] = {
    LUMO_F(D, Domain, 's'), LUMO_F(D, LimitAction, 's'), LUMO_F(D, HgwInfo, 's'), LUMO_F(D, DeviceInfo, 's'),
};
inline constexpr auto kDNSSpeedLimitWritable = pick(kDNSSpeedLimit, {"Domain", "LimitAction"});

// SnoopingEnable is never read back from the gateway: the getters leave it 0.
using I = OvanIPTVConfig_t;
inline constexpr Field kIPTV[] = {
    LUMO_F(I, IGMPEnable, 'b'), LUMO_F(I, ProxyEnable, 'b'),   LUMO_LOCAL(I, SnoopingEnable, 'b'),
    LUMO_F(I, STBNumber, 'u'),  LUMO_F(I, QobLineStatus, 'u'), dropped("NoStbEnable"),
};
inline constexpr auto kIPTVWritable = pick(kIPTV, {"ProxyEnable", "SnoopingEnable"});

using I4 = OvanIPTVConfigv4_t;
inline constexpr Field kIPTVv4[] = {
    LUMO_F(I4, IGMPEnable, 'b'), LUMO_F(I4, ProxyEnable, 'b'),   LUMO_LOCAL(I4, SnoopingEnable, 'b'),
    LUMO_F(I4, STBNumber, 'u'),  LUMO_F(I4, QobLineStatus, 'u'), LUMO_F(I4, NoStbEnable, 'b'),
};
inline constexpr auto kIPTVv4Writable = pick(kIPTVv4, {"ProxyEnable", "SnoopingEnable", "NoStbEnable"});

inline constexpr RecordTable kConfigTable{"OvanQoSConfig_t", "com.quv.igd1.QoS", kConfig, sizeof(Q)};
inline constexpr RecordTable kClassificationTable{"OvanQoSClassification_t", "com.quv.igd1.QoSClassification",
                                                  kClassification, sizeof(C)};
inline constexpr RecordTable kPriorityQueueTable{"OvanQoSPriorityQueue_t", "com.quv.igd1.QoSPriorityQueue",
                                                 kPriorityQueue, sizeof(P)};
inline constexpr RecordTable kAppTable{"OvanQoSApp_t", "com.quv.igd1.QoSApp", kApp, sizeof(A)};
inline constexpr RecordTable kClassTypeTable{"OvanQoSClassType_t", "com.quv.igd1.QoSClassificationType", kClassType,
                                             sizeof(T)};
inline constexpr RecordTable kDNSSpeedLimitTable{"OvanDNSSpeedLimit_t", "com.quv.igd1.DNSSpeedLimit",
                                                 kDNSSpeedLimit, sizeof(D)};
inline constexpr RecordTable kIPTVTable{"OvanIPTVConfig_t", "com.quv.igd1.IPTV", kIPTV, sizeof(I)};
inline constexpr RecordTable kIPTVv4Table{"OvanIPTVConfigv4_t", "com.quv.igd1.IPTV", kIPTVv4, sizeof(I4)};

}  // namespace lumo::gw::qos
