/* liblumo3 snapshot caches: device, network and WiFi information, the LAN host list,
 * the WLAN device list and the online devices, answered from local copies that bus
 * signals keep current instead of from a bus round trip.
 *
 * The first call of a getter makes its proxies (and, for a collection, fills its
 * table from the direct getter); every later call copies from memory and sends
 * nothing. A property the cache does not hold (or holds with a type other than the
 * field's) leaves the field as the caller passed it, or at its last good value.
 *
 * Threads: the getters may be called from any thread at once. The caches are kept
 * current by the library's own "lumoCache" thread, which runs a main context of its
 * own; the application need not run any loop, whether or not it hosts a service.
 * When the gateway service leaves the bus and comes back, the LAN host and WLAN
 * tables are refilled on the next call. */
#ifndef LUMO3_CACHE_H
#define LUMO3_CACHE_H

#include <stdint.h>
#include <gio/gio.h>

#include "lumo3_export.h"
#include "lumo3_device.h"
#include "lumo3_wifi.h"

LUMO3_BEGIN_DECLS

/* One LAN host, as the cache keeps it (path left zero). */
typedef struct OvanLANHostCache {
    char path[256];
    char MAC[13];
    char HostName[64];
    char DevName[64];
    uint8_t InternetAccess;
    uint32_t MaxUSBandwidth;
    uint32_t MaxDSBandwidth;
    char DevType[17];
    char IP[17];
    char IPv6[48];
    uint8_t ConnectionType;
    uint8_t Port;
    char Brand[64];
    char Model[64];
    char OS[64];
    int32_t Active;
} OvanLANHostCache_t;

/* One active host of the snapshot: MAC keeps its first 11 characters only. */
typedef struct OvanOnlineDeviceSnapShotCache {
    char path[256];
    char MAC[13];
    char HostName[64];
    char DevName[64];
    uint8_t InternetAccess;
    char IP[17];
    uint8_t ConnectionType;
    uint8_t Port;
    uint32_t MaxUSBandwidth;
    uint32_t MaxDSBandwidth;
    char Brand[64];
    char OS[64];
} OvanOnlineDeviceSnapShotCache_t;

/* One WLAN device (SSID), as the cache keeps it (path left zero). */
typedef struct OvanWLANDeviceCache {
    char path[256];
    char SSID[33];
    int32_t Enable;
    uint32_t Channel;
    uint32_t ChannelInUse;
    char BeaconType[33];
    char Standard[16];
    char WEPEncryptionLevel[64];
    char BasicAuthenticationMode[16];
    char WPAEncryptionModes[32];
    int32_t SSIDHide;
    uint32_t RFBand;
    uint32_t ChannelWidth;
    uint32_t GuardInterval;
    uint32_t RetryTimeout;
    uint32_t Powerlevel;
    uint32_t PowerValue;
    char SSIDAlias[32];
    char Owner[32];
    char Service[32];
    uint32_t MACAccessMode;
    uint32_t AccessRule;
    char AllowedIPPort[257];
    uint32_t USBandwidth;
    uint32_t DSBandwidth;
} OvanWLANDeviceCache_t;

#define OVAN_PROXY_TABLE_SLOTS 64

typedef struct OvanProxySlot {
    uint32_t in_use;
    char path[256];
    GDBusProxy *proxy;
} OvanProxySlot_t;

/* Members of a collection, one proxy per slot; the lowest free slot is taken first.
 * The library writes it under its own lock: read it for diagnostics only. */
typedef struct OvanProxyTable {
    uint32_t initialized;
    int32_t count;
    OvanProxySlot_t slots[OVAN_PROXY_TABLE_SLOTS];
} OvanProxyTable;

/* (The connection every cache proxy is made on is `dbusconn`, lumo3_core.h.) The
 * information proxies (null until first asked for) and the collection tables. */
LUMO3_API extern GDBusProxy *devinfoproxy;
LUMO3_API extern GDBusProxy *ntwkinfoproxy;
LUMO3_API extern GDBusProxy *wifiinfoproxy;
LUMO3_API extern OvanProxyTable lanpxyctx;
LUMO3_API extern OvanProxyTable wlanpxyctx;

/* 0; -1 for a null record or when no bus connection can be had. */
LUMO3_API int32_t OvanGetDeviceInfo_Cache(OvanDeviceInfo_t *info);
LUMO3_API int32_t OvanGetNetworkInfo_Cache(OvanNetworkInfo_t *info);
LUMO3_API int32_t OvanGetWiFiInfo_Cache(OvanWiFiInfo_t *info);

/* *list: a zero-filled array of *count records in slot order, freed with g_free (not
 * set when the count is 0 or list is null). Either pointer may be null. 0; -1 on no
 * connection or no memory; the direct getter's status when the first fill fails. */
LUMO3_API int32_t OvanGetLANHostObjs_Cache(OvanLANHostCache_t **list, uint32_t *count);
LUMO3_API int32_t OvanGetWLANDeviceObjs_Cache(OvanWLANDeviceCache_t **list, uint32_t *count);

/* The active hosts only. 0; -1 when the LAN host cache fails, is empty, has no active
 * host (*count is then 0) or memory runs out. */
LUMO3_API int32_t OvanGetOnlineDeviceList_Cache(OvanLANHostCache_t **list, uint32_t *count);
LUMO3_API int32_t OvanGetOnlineDevicesSnapShot_Cache(OvanOnlineDeviceSnapShotCache_t **list, uint32_t *count);

LUMO3_END_DECLS

#endif /* LUMO3_CACHE_H */
