// Property tables of the VPN connection records (gateway and external client).
#pragma once

#include "gateway/record.hpp"
#include "lumo3_vpn.h"

namespace lumo::gw::vpn {

using V = OvanVPNConnection_t;
inline constexpr Field kConnection[] = {
    LUMO_F(V, vpn_type, 's'),      LUMO_F(V, tunnel_name, 's'),  LUMO_F(V, user_id, 's'),
    LUMO_F(V, vpn_enable, 'y'),    LUMO_F(V, vpn_status, 'y'),   LUMO_F(V, vpn_mode, 's'),
    LUMO_F(V, vpn_priority, 's'),  LUMO_F(V, vpn_idletime, 's'), LUMO_F(V, account_proxy, 's'),
    LUMO_F(V, vpn_addr, 's'),      LUMO_F(V, vpn_account, 's'),  LUMO_F(V, vpn_pwd, 's'),
    LUMO_F(V, vpn_port, 's'),      LUMO_F(V, attach_mode, 's'),  LUMO_AS(V, domains_num, domains),
    LUMO_AS(V, ips_num, ips),      LUMO_AS(V, terminal_mac_num, terminal_mac),
};

using U = OvanUptVPNConnection_t;
inline constexpr Field kUptConnection[] = {
    LUMO_F(U, vpn_type, 's'),      LUMO_F(U, tunnel_name, 's'),  LUMO_F(U, user_id, 's'),
    LUMO_F(U, vpn_enable, 'y'),    LUMO_F(U, vpn_debug, 'y'),    LUMO_F(U, vpn_mode, 's'),
    LUMO_F(U, vpn_priority, 's'),  LUMO_F(U, vpn_idletime, 's'), LUMO_F(U, account_proxy, 's'),
    LUMO_F(U, vpn_addr, 's'),      LUMO_F(U, vpn_account, 's'),  LUMO_F(U, vpn_pwd, 's'),
    LUMO_F(U, vpn_port, 's'),      LUMO_F(U, attach_mode, 's'),  LUMO_F(U, ifname, 's'),
    LUMO_F(U, localip, 's'),       LUMO_F(U, remoteip, 's'),     LUMO_F(U, status, 's'),
    LUMO_AS(U, domains_num, domains), LUMO_AS(U, ips_num, ips),  LUMO_AS(U, terminal_mac_num, terminal_mac),
};

using S = OvanVPNConnectionStats_t;
inline constexpr Field kStats[] = {LUMO_AS(S, data_num, data)};

// What a write sends, in its order; account_proxy goes only with mode "random".
template <const auto &T>
struct Send {
    static constexpr auto head = pick(T, {"vpn_type", "tunnel_name", "user_id", "vpn_enable", "vpn_mode",
                                          "vpn_priority", "vpn_idletime"});
    static constexpr auto proxy = pick(T, {"account_proxy"});
    static constexpr auto tail = pick(T, {"vpn_addr", "vpn_account", "vpn_pwd", "vpn_port"});
    static constexpr auto attach_mode = pick(T, {"attach_mode"});
    static constexpr auto macs = pick(T, {"terminal_mac"});
    static constexpr auto addresses = pick(T, {"domains", "ips"});
};

inline constexpr RecordTable kConnectionTable{"OvanVPNConnection_t", "com.quv.igd1.VPNConnection", kConnection,
                                              sizeof(OvanVPNConnection_t)};
inline constexpr RecordTable kUptConnectionTable{"OvanUptVPNConnection_t", "com.morvane.vpnclient1",
                                                 kUptConnection, sizeof(OvanUptVPNConnection_t)};
inline constexpr RecordTable kStatsTable{"OvanVPNConnectionStats_t", "com.quv.igd1.VPNConnectionStats", kStats,
                                         sizeof(OvanVPNConnectionStats_t)};

}  // namespace lumo::gw::vpn
