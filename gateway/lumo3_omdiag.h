/* liblumo3 gateway objects: OM diagnostics (health thresholds, watched resources and
 * processes) and the bridge data ACL. */
#ifndef LUMO3_OMDIAG_H
#define LUMO3_OMDIAG_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Tevra/OMDiag", "com.quv.igd1.OMDiag" */
typedef struct OvanDiagService {
    char path[256];
    uint32_t CPUTemperature;
    uint32_t CPUTempThreshold;
    uint32_t PONTempThreshold;
    uint32_t SystemFlashThreshold;
    uint32_t ConntrackNumber;
    uint32_t ConnNumThreshold;
    uint32_t LAN1NegoRate;
    uint32_t LAN2NegoRate;
    uint32_t LAN3NegoRate;
    uint32_t LAN4NegoRate;
} OvanDiagService_t;

/* Instances of "/com/quv/igd1/Tevra/OMDiag/Resource", "com.quv.igd1.OMDiagResource" */
typedef struct OvanDiagResource {
    char path[256];
    char ServiceName[32];
    uint32_t CPUPercentage;
    uint32_t MEMPercentage;
} OvanDiagResource_t;

/* Instances of "/com/quv/igd1/Tevra/OMDiag/Process", "com.quv.igd1.OMDiagProcess" */
typedef struct OvanDiagProcess {
    char path[256];
    char ServiceName[32];
} OvanDiagProcess_t;

/* "/com/quv/igd1/Tevra/BridgeData", "com.quv.igd1.bridgedata" */
typedef struct OvanBridgeDataConfig {
    char path[256];
    char InterfaceName[32];
    char SMAC[13];
    char DMAC[13];
    uint32_t SessionID;
    char IP[16];
} OvanBridgeDataConfig_t;

/* Instances of "/com/quv/igd1/Tevra/BridgeData/ACL", "com.quv.igd1.bridgedata.acl" */
typedef struct OvanBridgeDataAcl {
    char path[256];
    uint32_t Port;
    char Protocol[8];
    char IP[16];
} OvanBridgeDataAcl_t;

/* Every function taking an OvanObjPath_t refuses (-1, nothing sent) a path without a
 * terminator in its 256 bytes and one outside its collection. *objs of the Objs
 * functions: one g_free'd block of *num records (NULL objs: count only). */

LUMO3_API int32_t OvanSetSysTempThreshold(uint32_t cpuTempThreshold, uint32_t ponTempThreshold);
/* flashoccupy: percentage 0..100 */
LUMO3_API int32_t OvanSetWritableFlashThreshold(int32_t flashoccupy);
/* conntracknum >= 0 */
LUMO3_API int32_t OvanSetConntrackNumThreshold(int32_t conntracknum);
LUMO3_API int32_t OvanGetDiagService(OvanDiagService_t *info);

LUMO3_API int32_t OvanGetDiagResourceObjs(OvanDiagResource_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetDiagResource(OvanObjPath_t path, OvanDiagResource_t *obj);
/* Writes CPUPercentage and MEMPercentage; ServiceName must not be empty. */
LUMO3_API int32_t OvanSetDiagResource(OvanObjPath_t path, OvanDiagResource_t *obj);
/* Creates an entry holding ServiceName and both limits; on success obj->path names it.
 * An entry the write refuses is deleted again. */
LUMO3_API int32_t OvanAddDiagResource(OvanDiagResource_t *obj);
LUMO3_API int32_t OvanDelDiagResource(OvanObjPath_t path);
/* Updates the limits of the entry named serviceName, or adds one. Name non-empty,
 * both percentages at most 100. */
LUMO3_API int32_t OvanAddDiagResourceByServiceName(const char *serviceName, uint32_t cpuPercentage,
                                                   uint32_t memPercentage);
/* Deletes the first entry named serviceName; -1 when there is none. */
LUMO3_API int32_t OvanDelDiagResourceByName(const char *serviceName);

LUMO3_API int32_t OvanGetDiagProcessObjs(OvanDiagProcess_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetDiagProcess(OvanObjPath_t path, OvanDiagProcess_t *obj);
/* ServiceName must not be empty. */
LUMO3_API int32_t OvanSetDiagProcess(OvanObjPath_t path, OvanDiagProcess_t *obj);
LUMO3_API int32_t OvanAddDiagProcess(OvanDiagProcess_t *obj);
LUMO3_API int32_t OvanDelDiagProcess(OvanObjPath_t path);
/* Adds serviceName (1..31 characters) to the watch list. A name already listed adds
 * nothing and returns 0: the process is watched, as asked. */
LUMO3_API int32_t OvanAddDiagProcessByName(const char *serviceName);
/* Deletes the first entry named serviceName; -1 when there is none. */
LUMO3_API int32_t OvanDelDiagProcessByName(const char *serviceName);

LUMO3_API int32_t OvanGetBridgeDataConfigv4(OvanBridgeDataConfig_t *info);
LUMO3_API int32_t OvanGetBridgeDataACLObjsv4(OvanBridgeDataAcl_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetBridgeDataAclv4(OvanObjPath_t path, OvanBridgeDataAcl_t *obj);
/* Protocol and IP must not be empty. */
LUMO3_API int32_t OvanSetBridgeDataAclv4(OvanObjPath_t path, OvanBridgeDataAcl_t *obj);
LUMO3_API int32_t OvanAddBridgeDataAclv4(OvanBridgeDataAcl_t *obj);
LUMO3_API int32_t OvanDelBridgeDataAclv4(OvanObjPath_t path);

LUMO3_END_DECLS

#endif /* LUMO3_OMDIAG_H */
