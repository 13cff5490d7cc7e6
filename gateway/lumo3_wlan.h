/* liblumo3 gateway objects: WLAN devices (one per SSID) and their WPS objects.
 *
 * Every function first asks whether the gateway has WiFi at all (once per process):
 * on a gateway without WiFi it returns 1 and leaves every output untouched, and -1
 * when the question itself cannot be answered. */
#ifndef LUMO3_WLAN_H
#define LUMO3_WLAN_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* One SSID: an instance of the collection "/com/quv/igd1/Config/WLAN/Devices",
 * interface "com.quv.igd1.WLANConfiguration"; the path ends in the SSID index. */
typedef struct OvanWLANDevice {
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
    char PWD[64]; /* the SSID's key */
    uint64_t RxBytes;
    uint64_t RxPkts;
    uint64_t RxErrorPkts;
    uint64_t RxDropPkts;
    uint64_t TxBytes;
    uint64_t TxPkts;
    uint64_t TxErrorPkts;
    uint64_t TxDropPkts;
    char SSIDAlias[32];
    char Owner[32];
    char Service[32];
    uint32_t MACAccessMode; /* 0..2 */
    uint32_t AccessRule;    /* 0..2 */
    char AllowedIPPort[257];
    uint32_t USBandwidth;
    uint32_t DSBandwidth;
} OvanWLANDevice_t;

/* The WPS object of one SSID (a path under the collection containing "WPS"),
 * interface "com.quv.igd1.WPS". DevInfo is a block of DevInfoNum 128-byte strings
 * allocated by the getter (free it with g_free), NULL when the list is empty. */
typedef struct OvanWPSConfig {
    char path[256];
    int32_t Enable;
    uint8_t WPSStatus;
    uint32_t DevInfoNum;
    char (*DevInfo)[128];
} OvanWPSConfig_t;

/* All SSIDs: *objs receives a block of *count records (NULL for none; free it with
 * g_free); a NULL objs asks for the count only. */
LUMO3_API int32_t OvanGetWLANDeviceObjs(OvanWLANDevice_t **objs, uint32_t *count);
/* The functions taking an SSID's or its WPS object's path refuse one without its
 * terminator within its 256 bytes (see OvanObjPath_t). */
LUMO3_API int32_t OvanGetWLANDevice(OvanObjPath_t path, OvanWLANDevice_t *obj);
/* Writes the writable fields; ChannelInUse, RFBand, PowerValue, SSIDAlias and the
 * counters are never sent. */
LUMO3_API int32_t OvanSetWLANDevice(OvanObjPath_t path, OvanWLANDevice_t *obj);
/* Creates an SSID with obj's attributes; its path comes back in obj->path. A
 * refused write deletes the new object again. */
LUMO3_API int32_t OvanAddWLANDevice(OvanWLANDevice_t *obj);
LUMO3_API int32_t OvanDelWLANDevice(OvanObjPath_t path);
/* The first SSID (in the gateway's order) whose SSID text equals ssid. */
LUMO3_API int32_t OvanGetWLANDeviceBySSID(const char *ssid, OvanWLANDevice_t *obj);
LUMO3_API int32_t OvanGetWLANDeviceBySSIDIndex(int index, OvanWLANDevice_t *obj);
LUMO3_API int32_t OvanGetSSIDIndexBySSID(const char *ssid, uint32_t *index);

LUMO3_API int32_t OvanGetWPSConfig(OvanObjPath_t path, OvanWPSConfig_t *obj);
LUMO3_API int32_t OvanSetWPSEnable(OvanObjPath_t path, uint32_t enable);
/* Starts a WPS action; *status and *errmsg (either may be NULL) as for the WiFi
 * actions. */
LUMO3_API int32_t OvanSetWPS(OvanObjPath_t path, int mode, uint32_t value, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_WLAN_H */
