// Property tables of the PPPoE, DHCP server, port mapping and platform service records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_netsvc.h"

namespace lumo::gw::netsvc {

inline constexpr Field kPPPoE[] = {LUMO_F(OvanPPPoEConfig_t, PPPoEUserName, 's')};

using D = OvanDHCPServer_t;
inline constexpr Field kDHCPServer[] = {
    LUMO_F(D, Enable, 'b'),     LUMO_F(D, MinAddress, 's'), LUMO_F(D, MaxAddress, 's'),
    LUMO_F(D, IPAddr, 's'),     LUMO_F(D, SubnetMask, 's'), LUMO_F(D, LeaseTime, 'u'),
};

using M = OvanPortMapping_t;
inline constexpr Field kPortMapping[] = {
    LUMO_F(M, Enable, 'b'),       LUMO_F(M, LeaseDuration, 'u'),       LUMO_F(M, RemoteHost, 's'),
    LUMO_F(M, ExternalPort, 'u'), LUMO_F(M, InternalPort, 'u'),        LUMO_F(M, PortMappingProtocol, 's'),
    LUMO_F(M, InternalClient, 's'), LUMO_F(M, Description, 's'),
};

using S = OvanPlatformService_t;
inline constexpr Field kPlatformService[] = {
    LUMO_F(S, Appmodel, 'y'),      LUMO_F(S, InitUAPwd, 's'),    LUMO_F(S, InitSSID, 's'),
    LUMO_F(S, InitSSIDPwd, 's'),   LUMO_F(S, DistAddr, 's'),     LUMO_F(S, Port, 'u'),
    LUMO_F(S, Heartbeat, 'u'),     LUMO_F(S, Ability, 'u'),      LUMO_F(S, LocalPort, 'u'),
    LUMO_F(S, Version, 's'),       LUMO_F(S, SSN, 's'),          LUMO_F(S, DistStatus, 'y'),
    LUMO_F(S, DistErrorMsg, 's'),  LUMO_F(S, OperAddr, 's'),     LUMO_F(S, OperStatus, 'y'),
    LUMO_F(S, OperErrorMsg, 's'),  LUMO_F(S, PluginAddr, 's'),   LUMO_F(S, PluginStatus, 'y'),
    LUMO_F(S, PluginErrorMsg, 's'), LUMO_F(S, BSSAddr, 's'),
};

// What OvanSetPlatformService writes for each mask bit, in the order it writes the
// groups.
struct PlatformGroup {
    uint32_t bit;
    Fields fields;
};
inline constexpr auto kDistGroup = pick(kPlatformService, {"DistAddr", "Port", "Heartbeat", "Ability", "LocalPort",
                                                            "Version", "SSN"});
inline constexpr auto kDistStatusGroup = pick(kPlatformService, {"DistStatus", "DistErrorMsg"});
inline constexpr auto kOperAddrGroup = pick(kPlatformService, {"OperAddr"});
inline constexpr auto kOperStatusGroup = pick(kPlatformService, {"OperStatus", "OperErrorMsg"});
inline constexpr auto kPluginAddrGroup = pick(kPlatformService, {"PluginAddr"});
inline constexpr auto kPluginStatusGroup = pick(kPlatformService, {"PluginStatus", "PluginErrorMsg"});
inline constexpr auto kBSSAddrGroup = pick(kPlatformService, {"BSSAddr"});
inline constexpr PlatformGroup kPlatformGroups[] = {
    {OVAN_PLATFORM_DIST, kDistGroup},           {OVAN_PLATFORM_DIST_STATUS, kDistStatusGroup},
    {OVAN_PLATFORM_OPER_ADDR, kOperAddrGroup},  {OVAN_PLATFORM_OPER_STATUS, kOperStatusGroup},
    {OVAN_PLATFORM_PLUGIN_ADDR, kPluginAddrGroup}, {OVAN_PLATFORM_PLUGIN_STATUS, kPluginStatusGroup},
    {OVAN_PLATFORM_BSS_ADDR, kBSSAddrGroup},
};

inline constexpr RecordTable kPPPoETable{"OvanPPPoEConfig_t", "com.quv.igd1.PPPoE", kPPPoE, sizeof(OvanPPPoEConfig_t)};
inline constexpr RecordTable kDHCPServerTable{"OvanDHCPServer_t", "com.quv.igd1.DHCPServer", kDHCPServer,
                                              sizeof(OvanDHCPServer_t)};
inline constexpr RecordTable kPortMappingTable{"OvanPortMapping_t", "com.quv.igd1.PortMapping", kPortMapping,
                                               sizeof(OvanPortMapping_t)};
inline constexpr RecordTable kPlatformServiceTable{"OvanPlatformService_t", "com.quv.igd1.PlatformService",
                                                   kPlatformService, sizeof(OvanPlatformService_t)};

}  // namespace lumo::gw::netsvc
