// Property tables of the WAN connection records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_wan.h"

namespace lumo::gw::wan {

inline constexpr const char kInterface[] = "com.quv.igd1.WANConnectionInfo";

template <typename T>
inline constexpr Field kHead[] = {
    LUMO_F(T, Index, 's'),         LUMO_F(T, WANName, 's'),    LUMO_F(T, IfName, 's'),
    LUMO_F(T, ServiceList, 's'),   LUMO_F(T, ConnectionType, 's'), LUMO_F(T, VLANID, 'u'),
    LUMO_F(T, VLAN8021P, 'u'),     LUMO_F(T, Protocol, 's'),   LUMO_F(T, ConnectionStatus, 's'),
    LUMO_F(T, IPAddress, 's'),     LUMO_F(T, SubnetMask, 's'), LUMO_F(T, Gateway, 's'),
};

template <typename T>
inline constexpr Field kMiddle[] = {
    LUMO_F(T, DNS1, 's'),         LUMO_F(T, DNS2, 's'),         LUMO_F(T, IPv6_ConnectionStatus, 's'),
    LUMO_F(T, IPv6_IPAddress, 's'), LUMO_F(T, IPv6_PrefixLength, 's'), LUMO_F(T, IPv6_Gateway, 's'),
    LUMO_F(T, IPv6_DNS1, 's'),    LUMO_F(T, IPv6_DNS2, 's'),    LUMO_F(T, IPv6_Prefix, 's'),
};

template <typename T>
inline constexpr Field kTail[] = {
    LUMO_F(T, RxBytes, 't'),           LUMO_F(T, TxBytes, 't'),           LUMO_F(T, RxPkts, 't'),
    LUMO_F(T, TxPkts, 't'),            LUMO_F(T, IPv6_AddressOrigin, 's'), LUMO_F(T, IPv6_PrefixOrigin, 's'),
    LUMO_F(T, IPv6_PrefixPltime, 'u'), LUMO_F(T, IPv6_PrefixVltime, 'u'), LUMO_F(T, DSLite_Enable, 'b'),
    LUMO_F(T, DSLite_AftrMode, 'y'),   LUMO_F(T, DSLite_Aftr, 's'),
};

using W4 = OvanWANConnectionv4_t;
// Spliced in after Gateway, and after IPv6_Prefix.
inline constexpr Field kv4AfterGateway[] = {
    LUMO_F(W4, PPPoEPassthrough, 'b'),
    LUMO_F(W4, SpeedLimit_UP, 'u'),
    LUMO_F(W4, SpeedLimit_DOWN, 'u'),
};
inline constexpr Field kv4AfterPrefix[] = {LUMO_F(W4, NPTv6Enable, 'b')};

using W = OvanWANConnection_t;
inline constexpr auto kConnection = concat(kHead<W>, kMiddle<W>, kTail<W>);
inline constexpr auto kConnectionv4 = concat(kHead<W4>, kv4AfterGateway, kMiddle<W4>, kv4AfterPrefix, kTail<W4>);

inline constexpr RecordTable kConnectionTable{"OvanWANConnection_t", kInterface, kConnection,
                                              sizeof(OvanWANConnection_t)};
inline constexpr RecordTable kConnectionv4Table{"OvanWANConnectionv4_t", kInterface, kConnectionv4,
                                                sizeof(OvanWANConnectionv4_t)};

}  // namespace lumo::gw::wan
