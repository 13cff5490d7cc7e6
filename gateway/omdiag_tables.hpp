// Property tables of the OM diagnostics and bridge data records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_omdiag.h"

namespace lumo::gw::omdiag {

using S = OvanDiagService_t;
inline constexpr Field kDiagService[] = {
    LUMO_F(S, CPUTemperature, 'u'),  LUMO_F(S, CPUTempThreshold, 'u'), LUMO_F(S, PONTempThreshold, 'u'),
    LUMO_F(S, SystemFlashThreshold, 'u'), LUMO_F(S, ConntrackNumber, 'u'), LUMO_F(S, ConnNumThreshold, 'u'),
    LUMO_F(S, LAN1NegoRate, 'u'),    LUMO_F(S, LAN2NegoRate, 'u'),     LUMO_F(S, LAN3NegoRate, 'u'),
    LUMO_F(S, LAN4NegoRate, 'u'),
};
inline constexpr auto kTempThresholds = pick(kDiagService, {"CPUTempThreshold", "PONTempThreshold"});

inline constexpr Field kDiagResource[] = {LUMO_F(OvanDiagResource_t, ServiceName, 's'),
                                          LUMO_F(OvanDiagResource_t, CPUPercentage, 'u'),
                                          LUMO_F(OvanDiagResource_t, MEMPercentage, 'u')};
inline constexpr auto kDiagResourceLimits = pick(kDiagResource, {"CPUPercentage", "MEMPercentage"});
inline constexpr Field kDiagProcess[] = {LUMO_F(OvanDiagProcess_t, ServiceName, 's')};

using B = OvanBridgeDataConfig_t;
inline constexpr Field kBridgeData[] = {LUMO_F(B, InterfaceName, 's'), LUMO_F(B, SMAC, 's'), LUMO_F(B, DMAC, 's'),
                                        LUMO_F(B, SessionID, 'u'), LUMO_F(B, IP, 's')};
inline constexpr Field kBridgeDataAcl[] = {LUMO_F(OvanBridgeDataAcl_t, Port, 'u'),
                                           LUMO_F(OvanBridgeDataAcl_t, Protocol, 's'),
                                           LUMO_F(OvanBridgeDataAcl_t, IP, 's')};

inline constexpr RecordTable kDiagServiceTable{"OvanDiagService_t", "com.quv.igd1.OMDiag", kDiagService,
                                               sizeof(OvanDiagService_t)};
inline constexpr RecordTable kDiagResourceTable{"OvanDiagResource_t", "com.quv.igd1.OMDiagResource", kDiagResource,
                                                sizeof(OvanDiagResource_t)};
inline constexpr RecordTable kDiagProcessTable{"OvanDiagProcess_t", "com.quv.igd1.OMDiagProcess", kDiagProcess,
                                               sizeof(OvanDiagProcess_t)};
inline constexpr RecordTable kBridgeDataTable{"OvanBridgeDataConfig_t", "com.quv.igd1.bridgedata", kBridgeData,
                                              sizeof(OvanBridgeDataConfig_t)};
inline constexpr RecordTable kBridgeDataAclTable{"OvanBridgeDataAcl_t", "com.quv.igd1.bridgedata.acl",
                                                 kBridgeDataAcl, sizeof(OvanBridgeDataAcl_t)};

}  // namespace lumo::gw::omdiag
