/* liblumo3 gateway objects: the LAN host manager, the LAN host collection, the
 * online device list and snapshot, and the user-assigned device names. */
#ifndef LUMO3_LANHOST_H
#define LUMO3_LANHOST_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Config/LANHosts", "com.quv.igd1.LANHostManager" */
typedef struct OvanLANHostMgr {
    char path[256];
    int32_t EnableStats;
    uint32_t LANHostMaxNumber;
    uint32_t LANHostNumber;
    uint32_t ControlListMaxNumber;
    uint32_t ControlListNumber;
} OvanLANHostMgr_t;

/* Fields shared by the three LAN host layouts. DevName is the name the user gave the
 * device (kept by the library, never the gateway's). */
#define OVAN_LAN_HOST_FIELDS              \
    char path[256];                       \
    char MAC[13];                         \
    char HostName[64];                    \
    char DevName[64];                     \
    int32_t ControlStatus;                \
    uint8_t InternetAccess; /* 0..2 */    \
    int32_t StorageAccess;                \
    uint32_t MaxUSBandwidth;              \
    uint32_t MaxDSBandwidth;              \
    char DevType[17];                     \
    char IP[17];                          \
    uint8_t ConnectionType;               \
    uint8_t Port;                         \
    char Brand[64];                       \
    char Model[64];                       \
    char OS[64];                          \
    int32_t Active;                       \
    char LatestActiveTime[33];            \
    char LatestInactiveTime[33];          \
    uint32_t OnlineTime;                  \
    uint64_t RxBytes;                     \
    uint64_t TxBytes;                     \
    int32_t PowerLevel;                   \
    int32_t DeviceOnlineNofication;

/* Instances "/com/quv/igd1/Config/LANHosts/...", "com.quv.igd1.LANHost" */
typedef struct OvanLANHost {
    OVAN_LAN_HOST_FIELDS
} OvanLANHost_t;

typedef struct OvanLANHostExt {
    OVAN_LAN_HOST_FIELDS
    uint32_t NegoRate;
} OvanLANHostExt_t;

typedef struct OvanLANHostExtWithIPv6 {
    OVAN_LAN_HOST_FIELDS
    uint32_t NegoRate;
    char IPv6[48];
} OvanLANHostExtWithIPv6_t;

/* One entry of the snapshot of the devices online now. */
typedef struct OvanOnlineDeviceSnapShot {
    char path[256];
    char MAC[13];
    char DevName[64];
    uint8_t InternetAccess;
    char DevType[17];
    char IP[17];
    uint8_t ConnectionType;
    uint8_t Port;
    char Brand[64];
    char OS[64];
    uint32_t OnlineTime;
} OvanOnlineDeviceSnapShot_t;

/* The manager. The setter writes EnableStats, LANHostMaxNumber and
 * ControlListMaxNumber. */
LUMO3_API int32_t OvanGetLANHostMgr(OvanLANHostMgr_t *obj);
LUMO3_API int32_t OvanSetLANHostMgr(OvanLANHostMgr_t *obj);

/* Every host the gateway has seen. *count must be given; a NULL objs asks for the
 * count only; otherwise *objs receives one block (NULL for none) freed with g_free. */
LUMO3_API int32_t OvanGetLANHostObjs(OvanLANHost_t **objs, uint32_t *count);
LUMO3_API int32_t OvanGetLANHostExtObjs(OvanLANHostExt_t **objs, uint32_t *count);
LUMO3_API int32_t OvanGetLANHostExtWithIPv6Objs(OvanLANHostExtWithIPv6_t **objs, uint32_t *count);

/* One host by its path. Here and in the other functions taking a host's path, a
 * path without its terminator within its 256 bytes is refused, never cut (see
 * OvanObjPath_t). */
LUMO3_API int32_t OvanGetLANHost(OvanObjPath_t path, OvanLANHost_t *obj);
LUMO3_API int32_t OvanGetLANHostExt(OvanObjPath_t path, OvanLANHostExt_t *obj);
LUMO3_API int32_t OvanGetLANHostExtWithIPv6(OvanObjPath_t path, OvanLANHostExtWithIPv6_t *obj);

/* The path of the host with a MAC of 12 hex digits. *lanhostpath receives a copy
 * (g_free) when the service's word is 0, else NULL. status and errmsg may be NULL;
 * *errmsg receives a copy (g_free) of the service's or the library's message. */
LUMO3_API int32_t OvanGetLANHostPathbyMAC(const char *mac, char **lanhostpath, uint32_t *status, char **errmsg);

/* One host by its MAC. */
LUMO3_API int32_t OvanGetLANHostByMAC(const char *mac, OvanLANHost_t *obj);
LUMO3_API int32_t OvanGetLANHostExtByMAC(const char *mac, OvanLANHostExt_t *obj);
LUMO3_API int32_t OvanGetLANHostExtWithIPv6ByMAC(const char *mac, OvanLANHostExtWithIPv6_t *obj);

/* The negotiated rate of one host. */
LUMO3_API int32_t OvanGetLANHostNegoRateByPath(OvanObjPath_t path, uint32_t *negorate);
LUMO3_API int32_t OvanGetLANHostNegoRateByMAC(const char *mac, uint32_t *negorate);

/* Stores DevName (at most 62 characters, UTF-8 like every text field) in the
 * library's device-name store under the record's MAC, then writes DevType, Brand, Model, OS, InternetAccess (0..2),
 * StorageAccess, MaxUSBandwidth, MaxDSBandwidth and DeviceOnlineNofication to the
 * host. The stored name is kept even when the gateway refuses the write. */
LUMO3_API int32_t OvanSetLANHost(OvanObjPath_t path, OvanLANHost_t *obj);
LUMO3_API int32_t OvanDelLANHost(OvanObjPath_t path);

/* The devices online now. *status receives the service's word (1 for a local
 * failure), *errmsg a copy of its message when the word is non-zero; the records the
 * service sent are handed out whatever the word (objs and count as for
 * OvanGetLANHostObjs). */
LUMO3_API int32_t OvanGetOnlineDeviceList(OvanLANHost_t **objs, uint32_t *count, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetOnlineDeviceListExt(OvanLANHostExt_t **objs, uint32_t *count, uint32_t *status,
                                             char **errmsg);
LUMO3_API int32_t OvanGetOnlineDeviceListExtWithIPv6(OvanLANHostExtWithIPv6_t **objs, uint32_t *count,
                                                     uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetOnlineDevicesSnapShot(OvanOnlineDeviceSnapShot_t **objs, uint32_t *count, uint32_t *status,
                                               char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_LANHOST_H */
