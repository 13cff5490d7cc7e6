/* liblumo3 gateway objects: Wi-Fi vendor-specific information elements (beacons,
 * probe requests and responses), roaming and station steering. Every function runs
 * the WiFi capability guard first: 1 (outputs untouched) on a gateway without WiFi. */
#ifndef LUMO3_VSIE_H
#define LUMO3_VSIE_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/VSIE/BeaconTxVSIE", "com.quv.igd1.VSIE.BeaconTxVSIEManager" */
typedef struct OvanBeaconTxVSIEManager {
    char path[256];
    int32_t Enable;
    uint32_t MaxEntryNum;
    uint32_t CurrentEntryNum;
    uint32_t MaxConcurrentTask;
} OvanBeaconTxVSIEManager_t;

/* Instances of "/com/quv/igd1/VSIE/BeaconTxVSIE", "com.quv.igd1.VSIE.BeaconTxVSIE".
 * IEData: LenofIEData bytes allocated by the getter (NULL when empty), freed by the
 * caller with g_free; the count always describes the block. */
typedef struct OvanBeaconTxVSIE {
    char path[256];
    char ServiceName[64];
    uint8_t Status;
    uint8_t SSIDIndex;
    uint32_t Duration;
    uint32_t LenofIEData;
    uint8_t *IEData;
} OvanBeaconTxVSIE_t;

/* "/com/quv/igd1/VSIE/ProbeRxVSIE", "com.quv.igd1.VSIE.ProbeRxVSIEManager" */
typedef struct OvanProbeRxVSIEManager {
    char path[256];
    int32_t Enable;
    uint32_t MaxEntryNum;
    uint32_t CurrentEntryNum;
} OvanProbeRxVSIEManager_t;

/* Instances of "/com/quv/igd1/VSIE/ProbeRxVSIE", "com.quv.igd1.VSIE.ProbeRxVSIE" */
typedef struct OvanProbeRxVSIE {
    char path[256];
    char ServiceName[64];
    uint8_t ProbeBand;
    char OUI[16];
} OvanProbeRxVSIE_t;

/* "<probe-request entry>/Records", "com.quv.igd1.VSIE.ProbeRxVSIERecordManager" */
typedef struct OvanProbeRxVSIERecordManager {
    char path[256];
    uint32_t RecordNum;
} OvanProbeRxVSIERecordManager_t;

/* Instances of "<probe-request entry>/Records", "com.quv.igd1.VSIE.ProbeRxVSIERecord";
 * IEData as in OvanBeaconTxVSIE_t. */
typedef struct OvanProbeRxVSIERecord {
    char path[256];
    char MAC[13];
    uint8_t BAND;
    int32_t RSSI;
    uint32_t LenofIEData;
    uint8_t *IEData;
} OvanProbeRxVSIERecord_t;

/* "/com/quv/igd1/VSIE/ProbeRspTxVSIE", "com.quv.igd1.VSIE.ProbeRspTxVSIEManager" */
typedef struct OvanProbeRspTxVSIEManager {
    char path[256];
    uint32_t MaxEntryNum;
    uint32_t CurrentEntryNum;
} OvanProbeRspTxVSIEManager_t;

/* Instances of "/com/quv/igd1/VSIE/ProbeRspTxVSIE", "com.quv.igd1.VSIE.ProbeRspTxVSIE";
 * IEData as in OvanBeaconTxVSIE_t. */
typedef struct OvanProbeRspTxVSIE {
    char path[256];
    char MAC[13];
    uint8_t Band;
    uint32_t LenofIEData;
    uint8_t *IEData;
} OvanProbeRspTxVSIE_t;

/* "/com/quv/igd1/Config/WLAN/5G/Roaming", "com.quv.igd1.Roaming" */
typedef struct OvanRoamingConfig {
    char path[256];
    int32_t Enable;
    uint32_t Start_time;
    int32_t Threshold1_RSSI;
    int32_t Threshold2_RSSI;
    char BSSID[16];
} OvanRoamingConfig_t;

/* Instances of "/com/quv/igd1/Config/WLAN/STA" */
typedef struct OvanSTAInfo {
    char path[256];
    char MAC_STA[13];
    uint32_t Channel;
    char BSSID[18];
    int32_t BSS_Transition;
    int32_t Beacon_Report_Support;
    int32_t RSSI;
} OvanSTAInfo_t;

/* One AP of an RSSI query: its MAC and a number (a channel going out, an RSSI coming
 * back). */
typedef struct OvanAPRSSI {
    char MAC[18];
    uint32_t Value;
} OvanAPRSSI_t;

/* Functions taking an OvanObjPath_t refuse (-1, nothing sent) a path without a
 * terminator in its 256 bytes and one outside their collection. *objs of the Objs
 * functions: one g_free'd block of *num records (NULL objs: count only); free the
 * IEData blocks of its records first. Setters send IEData only when LenofIEData is
 * non-zero and IEData is set. Commands: *status the gateway's word (1 on a local
 * failure), *errmsg a g_free'd message; either may be NULL. */

LUMO3_API int32_t OvanGetBeaconTxVSIEManager(OvanBeaconTxVSIEManager_t *obj);
/* Writes Enable and MaxEntryNum. */
LUMO3_API int32_t OvanSetBeaconTxVSIEManager(OvanBeaconTxVSIEManager_t *obj);
LUMO3_API int32_t OvanGetBeaconTxVSIEByServiceName(const char *serviceName, OvanBeaconTxVSIE_t *obj,
                                                   uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetBeaconTxVSIEObjs(OvanBeaconTxVSIE_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetBeaconTxVSIE(OvanObjPath_t path, OvanBeaconTxVSIE_t *obj);
LUMO3_API int32_t OvanSetBeaconTxVSIE(OvanObjPath_t path, OvanBeaconTxVSIE_t *obj);
LUMO3_API int32_t OvanAddBeaconTxVSIE(OvanBeaconTxVSIE_t *obj);
LUMO3_API int32_t OvanDelBeaconTxVSIE(OvanObjPath_t path);
LUMO3_API int32_t OvanStartBeaconTxVSIE(OvanObjPath_t path, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanStopBeaconTxVSIE(OvanObjPath_t path, uint32_t *status, char **errmsg);

LUMO3_API int32_t OvanGetProbeRxVSIEManager(OvanProbeRxVSIEManager_t *obj);
/* Writes Enable. */
LUMO3_API int32_t OvanSetProbeRxVSIEManager(OvanProbeRxVSIEManager_t *obj);
LUMO3_API int32_t OvanGetProbeRxVSIEByServiceName(const char *serviceName, OvanProbeRxVSIE_t *obj,
                                                  uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetProbeRxVSIEObjs(OvanProbeRxVSIE_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetProbeRxVSIE(OvanObjPath_t path, OvanProbeRxVSIE_t *obj);
/* Writes ServiceName, ProbeBand and OUI. */
LUMO3_API int32_t OvanSetProbeRxVSIE(OvanObjPath_t path, OvanProbeRxVSIE_t *obj);
LUMO3_API int32_t OvanAddProbeRxVSIE(OvanProbeRxVSIE_t *obj);
LUMO3_API int32_t OvanDelProbeRxVSIE(OvanObjPath_t path);
/* entry: a probe-request entry's path; its records live below entry + "/Records". */
LUMO3_API int32_t OvanGetProbeRxVSIERecordManager(OvanObjPath_t entry, OvanProbeRxVSIERecordManager_t *obj);
LUMO3_API int32_t OvanFlushProbeRxVSIERecord(OvanObjPath_t entry, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetProbeRxVSIERecordObjs(OvanObjPath_t entry, OvanProbeRxVSIERecord_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetProbeRxVSIERecord(OvanObjPath_t path, OvanProbeRxVSIERecord_t *obj);

LUMO3_API int32_t OvanGetProbeRspTxVSIEManagerv4(OvanProbeRspTxVSIEManager_t *obj);
LUMO3_API int32_t OvanGetProbeRspTxVSIEObjsv4(OvanProbeRspTxVSIE_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetProbeRspTxVSIEv4(OvanObjPath_t path, OvanProbeRspTxVSIE_t *obj);
/* Writes MAC, Band, LenofIEData and IEData. */
LUMO3_API int32_t OvanSetProbeRspTxVSIEv4(OvanObjPath_t path, OvanProbeRspTxVSIE_t *obj);
LUMO3_API int32_t OvanAddProbeRspTxVSIEv4(OvanProbeRspTxVSIE_t *obj);
LUMO3_API int32_t OvanDelProbeRspTxVSIEv4(OvanObjPath_t path);

LUMO3_API int32_t OvanGetRoamingConfig(OvanRoamingConfig_t *obj);
/* Writes Enable, Start_time, Threshold1_RSSI and Threshold2_RSSI. */
LUMO3_API int32_t OvanSetRoamingConfig(OvanRoamingConfig_t *obj);
/* Asks the APs listed (MAC and channel each, num of them) for the RSSI of staMac
 * (12 hex digits) on channel. */
LUMO3_API int32_t OvanStartAPRSSIQuery(const char *staMac, uint32_t channel, const OvanAPRSSI_t *aps, uint32_t num,
                                       uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanStartSTABSSTransitionRequest(const char *staMac, uint32_t channel, const char *bssid,
                                                   uint32_t *status, char **errmsg);
/* The answers of the last RSSI query about staMac: *aps one g_free'd block of *num
 * entries (NULL when none). */
LUMO3_API int32_t OvanGetSTARSSIQuery(const char *staMac, OvanAPRSSI_t **aps, uint32_t *num, uint32_t *status,
                                      char **errmsg);
LUMO3_API int32_t OvanGetSTAInfoObjs(OvanSTAInfo_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetSTAInfo(OvanObjPath_t path, OvanSTAInfo_t *obj);
/* Asks the station at path to disassociate (staMac: its MAC, 12 hex digits). */
LUMO3_API int32_t OvanSetSTADeassociationRequest(OvanObjPath_t path, const char *staMac, uint32_t *status,
                                                 char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_VSIE_H */
