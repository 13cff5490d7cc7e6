// Property tables of the vendor IE, roaming and station records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_vsie.h"

namespace lumo::gw::vsie {

using BM = OvanBeaconTxVSIEManager_t;
inline constexpr Field kBeaconManager[] = {LUMO_F(BM, Enable, 'b'), LUMO_F(BM, MaxEntryNum, 'u'),
                                           LUMO_F(BM, CurrentEntryNum, 'u'), LUMO_F(BM, MaxConcurrentTask, 'u')};
inline constexpr auto kBeaconManagerWritable = pick(kBeaconManager, {"Enable", "MaxEntryNum"});

// LenofIEData is sent by the setters but, when reading, always taken from IEData's
// own length, so that the count describes the block handed out.
using BT = OvanBeaconTxVSIE_t;
inline constexpr Field kBeacon[] = {LUMO_F(BT, ServiceName, 's'), LUMO_F(BT, Status, 'y'),
                                    LUMO_F(BT, SSIDIndex, 'y'),   LUMO_F(BT, Duration, 'u'),
                                    LUMO_LOCAL(BT, LenofIEData, 'u'), LUMO_AY(BT, LenofIEData, IEData)};
inline constexpr auto kBeaconWritable = pick(kBeacon, {"ServiceName", "Status", "SSIDIndex", "Duration", "IEData"});

using RM = OvanProbeRxVSIEManager_t;
inline constexpr Field kProbeRxManager[] = {LUMO_F(RM, Enable, 'b'), LUMO_F(RM, MaxEntryNum, 'u'),
                                            LUMO_F(RM, CurrentEntryNum, 'u')};
inline constexpr auto kProbeRxManagerWritable = pick(kProbeRxManager, {"Enable"});

inline constexpr Field kProbeRx[] = {LUMO_F(OvanProbeRxVSIE_t, ServiceName, 's'),
                                     LUMO_F(OvanProbeRxVSIE_t, ProbeBand, 'y'), LUMO_F(OvanProbeRxVSIE_t, OUI, 's')};
inline constexpr Field kRecordManager[] = {LUMO_F(OvanProbeRxVSIERecordManager_t, RecordNum, 'u')};
using RR = OvanProbeRxVSIERecord_t;
inline constexpr Field kRecord[] = {LUMO_F(RR, MAC, 's'), LUMO_F(RR, BAND, 'y'), LUMO_F(RR, RSSI, 'i'),
                                    LUMO_LOCAL(RR, LenofIEData, 'u'), LUMO_AY(RR, LenofIEData, IEData)};

inline constexpr Field kProbeRspManager[] = {LUMO_F(OvanProbeRspTxVSIEManager_t, MaxEntryNum, 'u'),
                                             LUMO_F(OvanProbeRspTxVSIEManager_t, CurrentEntryNum, 'u')};
using PR = OvanProbeRspTxVSIE_t;
inline constexpr Field kProbeRsp[] = {LUMO_F(PR, MAC, 's'), LUMO_F(PR, Band, 'y'), LUMO_LOCAL(PR, LenofIEData, 'u'),
                                      LUMO_AY(PR, LenofIEData, IEData)};
inline constexpr auto kProbeRspWritable = pick(kProbeRsp, {"MAC", "Band", "IEData"});

using RC = OvanRoamingConfig_t;
inline constexpr Field kRoaming[] = {LUMO_F(RC, Enable, 'b'), LUMO_F(RC, Start_time, 'u'),
                                     LUMO_F(RC, Threshold1_RSSI, 'i'), LUMO_F(RC, Threshold2_RSSI, 'i'),
                                     LUMO_F(RC, BSSID, 's')};
inline constexpr auto kRoamingWritable = pick(kRoaming, {"Enable", "Start_time", "Threshold1_RSSI", "Threshold2_RSSI"});

using ST = OvanSTAInfo_t;
inline constexpr Field kSTAInfo[] = {LUMO_F(ST, MAC_STA, 's'),        LUMO_F(ST, Channel, 'u'),
                                     LUMO_F(ST, BSSID, 's'),          LUMO_F(ST, BSS_Transition, 'b'),
                                     LUMO_F(ST, Beacon_Report_Support, 'b'), LUMO_F(ST, RSSI, 'i')};

// "a{su}" entries, by position.
inline constexpr Field kAPRSSI[] = {LUMO_F(OvanAPRSSI_t, MAC, 's'), LUMO_F(OvanAPRSSI_t, Value, 'u')};

inline constexpr RecordTable kBeaconManagerTable{"OvanBeaconTxVSIEManager_t", "com.quv.igd1.VSIE.BeaconTxVSIEManager",
                                                 kBeaconManager, sizeof(BM)};
inline constexpr RecordTable kBeaconTable{"OvanBeaconTxVSIE_t", "com.quv.igd1.VSIE.BeaconTxVSIE", kBeacon, sizeof(BT)};
inline constexpr RecordTable kProbeRxManagerTable{"OvanProbeRxVSIEManager_t", "com.quv.igd1.VSIE.ProbeRxVSIEManager",
                                                  kProbeRxManager, sizeof(RM)};
inline constexpr RecordTable kProbeRxTable{"OvanProbeRxVSIE_t", "com.quv.igd1.VSIE.ProbeRxVSIE", kProbeRx,
                                           sizeof(OvanProbeRxVSIE_t)};
inline constexpr RecordTable kRecordManagerTable{"OvanProbeRxVSIERecordManager_t",
                                                 "com.quv.igd1.VSIE.ProbeRxVSIERecordManager", kRecordManager,
                                                 sizeof(OvanProbeRxVSIERecordManager_t)};
inline constexpr RecordTable kRecordTable{"OvanProbeRxVSIERecord_t", "com.quv.igd1.VSIE.ProbeRxVSIERecord", kRecord,
                                          sizeof(RR)};
inline constexpr RecordTable kProbeRspManagerTable{"OvanProbeRspTxVSIEManager_t",
                                                   "com.quv.igd1.VSIE.ProbeRspTxVSIEManager", kProbeRspManager,
                                                   sizeof(OvanProbeRspTxVSIEManager_t)};
inline constexpr RecordTable kProbeRspTable{"OvanProbeRspTxVSIE_t", "com.quv.igd1.VSIE.ProbeRspTxVSIE", kProbeRsp,
                                            sizeof(PR)};
inline constexpr RecordTable kRoamingTable{"OvanRoamingConfig_t", "com.quv.igd1.Roaming", kRoaming, sizeof(RC)};
// The collection walk and the by-path getter know the station under two interface names.
inline constexpr RecordTable kSTAListTable{"OvanSTAInfo_t", "com.quv.igd1.Info.STAInfo", kSTAInfo, sizeof(ST)};
inline constexpr RecordTable kSTAInfoTable{"OvanSTAInfo_t", "com.quv.igd1.STAInfo", kSTAInfo, sizeof(ST)};
inline constexpr RecordTable kAPRSSITable{"OvanAPRSSI_t", "", kAPRSSI, sizeof(OvanAPRSSI_t)};

}  // namespace lumo::gw::vsie
