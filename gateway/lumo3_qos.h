/* liblumo3 gateway objects: QoS (global settings, classification rules and their
 * types, priority queues, applications), the DNS speed limit and IPTV.
 *
 * An OvanObjPath_t argument must hold its terminator within its 256 bytes; one that
 * does not is refused (-1, nothing sent). */
#ifndef LUMO3_QOS_H
#define LUMO3_QOS_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Network/QoS", "com.quv.igd1.QoS". */
typedef struct OvanQoSConfig {
    char path[256];
    char Mode[33];
    int32_t Enable;
    uint32_t Bandwidth;
    char Plan[17];
    int32_t EnableForceWeight;
    int32_t EnableDSCPMark;
    uint32_t Enable8021P; /* a mode number */
} OvanQoSConfig_t;

/* Instances of "/com/quv/igd1/Network/QoS/Classification",
 * "com.quv.igd1.QoSClassification". */
typedef struct OvanQoSClassification {
    char path[256];
    uint32_t ClassQueue;
    uint32_t DSCPMarkValue;
    uint32_t VLAN8021PValue;
} OvanQoSClassification_t;

/* Instances of "/com/quv/igd1/Network/QoS/PriorityQueue",
 * "com.quv.igd1.QoSPriorityQueue"; only Car is written. */
typedef struct OvanQoSPriorityQueue {
    char path[256];
    int32_t Enable;
    uint32_t Priority;
    uint32_t Weight;
    int32_t Car;
} OvanQoSPriorityQueue_t;

/* Instances of "/com/quv/igd1/Network/QoS/App", "com.quv.igd1.QoSApp". */
typedef struct OvanQoSApp {
    char path[256];
    char AppName[17];
    uint32_t ClassQueue;
} OvanQoSApp_t;

/* The types of one classification rule: instances of a collection below the rule
 * (".../Classification/N/Type"), "com.quv.igd1.QoSClassificationType". */
typedef struct OvanQoSClassType {
    char path[256];
    char Type[64];
    char Max[512];
    char Min[512];
    char ProtocolList[24];
} OvanQoSClassType_t;

/* "/com/quv/igd1/Network/DNSSpeedLimit", "com.quv.igd1.DNSSpeedLimit".
 * HgwInfo and DeviceInfo are read only. */
typedef struct OvanDNSSpeedLimit {
    char path[256];
    char Domain[1024];
    char LimitAction[33]; /* "Alert" or "Drop" */
    char HgwInfo[64];
    char DeviceInfo[1024];
} OvanDNSSpeedLimit_t;

/* "/com/quv/igd1/Network/IPTV", "com.quv.igd1.IPTV". SnoopingEnable is written but
 * never read back (the getters leave it 0); STBNumber and QobLineStatus are read
 * only. */
#define OVAN_IPTV_CONFIG_FIELDS \
    char path[256];             \
    int32_t IGMPEnable;         \
    int32_t ProxyEnable;        \
    int32_t SnoopingEnable;     \
    uint32_t STBNumber;         \
    uint32_t QobLineStatus;

typedef struct OvanIPTVConfig {
    OVAN_IPTV_CONFIG_FIELDS
} OvanIPTVConfig_t;

typedef struct OvanIPTVConfigv4 {
    OVAN_IPTV_CONFIG_FIELDS
    int32_t NoStbEnable;
} OvanIPTVConfigv4_t;

LUMO3_API int32_t OvanGetQoSConfig(OvanQoSConfig_t *info);
LUMO3_API int32_t OvanSetQoSConfig(OvanQoSConfig_t *rec);

/* *objs: one g_free'd block of *num records (NULL objs: count only). */
LUMO3_API int32_t OvanGetQoSClassificationObjs(OvanQoSClassification_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetQoSClassification(OvanObjPath_t path, OvanQoSClassification_t *rec);
LUMO3_API int32_t OvanSetQoSClassification(OvanObjPath_t path, OvanQoSClassification_t *rec);
/* Creates a rule and writes rec into it; on success rec->path names it. A rule the
 * write refuses is deleted again. The same holds for the other Add functions. */
LUMO3_API int32_t OvanAddQoSClassification(OvanQoSClassification_t *rec);
LUMO3_API int32_t OvanDelQoSClassification(OvanObjPath_t path);

/* collection: the type collection of one rule, a path under
 * "/com/quv/igd1/Network/QoS/Classification/" containing "Type". Instance paths are
 * below it. */
LUMO3_API int32_t OvanGetQoSClassTypeObjs(OvanObjPath_t collection, OvanQoSClassType_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetQoSClassType(OvanObjPath_t path, OvanQoSClassType_t *rec);
/* Writes Max, Min and ProtocolList. */
LUMO3_API int32_t OvanSetQoSClassType(OvanObjPath_t path, OvanQoSClassType_t *rec);
LUMO3_API int32_t OvanAddQoSClassType(OvanObjPath_t collection, OvanQoSClassType_t *rec);
LUMO3_API int32_t OvanDelQoSClassType(OvanObjPath_t path);

LUMO3_API int32_t OvanGetQoSPriorityQueueObjs(OvanQoSPriorityQueue_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetQoSPriorityQueue(OvanObjPath_t path, OvanQoSPriorityQueue_t *rec);
LUMO3_API int32_t OvanSetQoSPriorityQueue(OvanObjPath_t path, OvanQoSPriorityQueue_t *rec);

LUMO3_API int32_t OvanGetQoSAppObjs(OvanQoSApp_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetQoSApp(OvanObjPath_t path, OvanQoSApp_t *rec);
LUMO3_API int32_t OvanSetQoSApp(OvanObjPath_t path, OvanQoSApp_t *rec);
LUMO3_API int32_t OvanAddQoSApp(OvanQoSApp_t *rec);
LUMO3_API int32_t OvanDelQoSApp(OvanObjPath_t path);

LUMO3_API int32_t OvanGetDNSSpeedLimit(OvanDNSSpeedLimit_t *info);
/* Writes Domain and LimitAction ("Alert" or "Drop", exactly). */
LUMO3_API int32_t OvanSetDNSSpeedLimit(OvanDNSSpeedLimit_t *rec);

LUMO3_API int32_t OvanGetIPTVConfig(OvanIPTVConfig_t *info);
/* Writes ProxyEnable and SnoopingEnable (this record has no NoStbEnable to write). */
LUMO3_API int32_t OvanSetIPTVConfig(OvanIPTVConfig_t *rec);
LUMO3_API int32_t OvanGetIPTVConfigv4(OvanIPTVConfigv4_t *info);
/* Writes ProxyEnable, SnoopingEnable and, when the gateway's bus version is above 1,
 * NoStbEnable. */
LUMO3_API int32_t OvanSetIPTVConfigv4(OvanIPTVConfigv4_t *rec);
/* Detects the IPTV line for duration seconds (2..60; otherwise -1 with status and
 * errmsg untouched). status: the gateway's code, 1 when the call failed; errmsg
 * (g_free) its text when the code is nonzero. Either may be NULL. */
LUMO3_API int32_t OvanIPTVStartDetectQobLineStatus(uint32_t duration, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_QOS_H */
