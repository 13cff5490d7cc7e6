/* liblumo3 gateway objects: WiFi information and radio actions.
 *
 * Every function first asks whether the gateway has WiFi at all (once per process):
 * on a gateway without WiFi it returns 1 and leaves every output untouched, and -1
 * when the question itself cannot be answered. */
#ifndef LUMO3_WIFI_H
#define LUMO3_WIFI_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* Fields both WiFi information layouts begin with. */
#define OVAN_WIFI_INFO_HEAD_FIELDS \
    char path[256];                \
    int32_t Enable2G;              \
    int32_t Enable5G;              \
    char WiFiMode[64];             \
    int32_t DualBand;

/* Fields both layouts end with. Each channel-scan score list is a count and a block
 * of count 64-byte strings (cut to 63 characters), allocated by the getter: free it
 * with g_free. An empty list leaves the pointer as it was, so zero the record first. */
#define OVAN_WIFI_INFO_TAIL_FIELDS          \
    int32_t SameSSIDStatus;                 \
    uint64_t RxBytes;                       \
    uint64_t RxPkts;                        \
    uint64_t RxErrorPkts;                   \
    uint64_t RxDropPkts;                    \
    uint64_t TxBytes;                       \
    uint64_t TxPkts;                        \
    uint64_t TxErrorPkts;                   \
    uint64_t TxDropPkts;                    \
    int32_t RatePriority;                   \
    int32_t RatePriority5G;                 \
    uint8_t ChannelScanStatus;              \
    char ChannelScanFinishTime[33];         \
    uint32_t ChannelScanScoreNum;           \
    char (*ChannelScanScore)[64];           \
    uint8_t ChannelScanStatus5G;            \
    char ChannelScanFinishTime5G[33];       \
    uint32_t ChannelScanScore5GNum;         \
    char (*ChannelScanScore5G)[64];

/* "/com/quv/igd1/Info/WiFi", "com.quv.igd1.WiFiInfo" */
typedef struct OvanWiFiInfo {
    OVAN_WIFI_INFO_HEAD_FIELDS
    OVAN_WIFI_INFO_TAIL_FIELDS
} OvanWiFiInfo_t;

typedef struct OvanWiFiInfov4 {
    OVAN_WIFI_INFO_HEAD_FIELDS
    char SupportedBeaconType[65];
    uint8_t MAPAgent;
    OVAN_WIFI_INFO_TAIL_FIELDS
} OvanWiFiInfov4_t;

/* Singleton getters: 0, -1 for a NULL record, a failed read or an empty answer. */
LUMO3_API int32_t OvanGetWiFiInfo(OvanWiFiInfo_t *info);
LUMO3_API int32_t OvanGetWiFiInfov4(OvanWiFiInfov4_t *info);

/* Actions. *status receives the gateway's result word (1 when the call could not be
 * made or the arguments were refused), *errmsg a message to free with g_free; either
 * may be NULL. 0 when the gateway reports success, else -1. */

/* Disconnects the client devMac (12 hexadecimal digits) from SSID ssidIdx (1..8). */
LUMO3_API int32_t OvanWiFiDiscClient(const char *devMac, const char *ssidIdx, uint32_t *status, char **errmsg);
/* Gives the 2.4 GHz and 5 GHz SSIDs of the given indices one common SSID. */
LUMO3_API int32_t OvanWiFiSetSameSSID(const char *ssidIdx24, const char *ssidIdx58, uint32_t *status,
                                      char **errmsg);
LUMO3_API int32_t OvanWiFiCancelSameSSID(uint32_t *status, char **errmsg);
/* The channel functions refuse a NULL or empty band with -1 without touching
 * *status and *errmsg. */
LUMO3_API int32_t OvanWiFiSwitchChannel(const char *band, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanWiFiChannelCollectionRequest(const char *band, uint32_t *status, char **errmsg);
/* On success *channelscore receives the scan's score text (free with g_free). */
LUMO3_API int32_t OvanWiFiChannelCollection(const char *band, char **channelscore, uint32_t *status,
                                            char **errmsg);

/* Radio switch and rate priority: band 0 is the 2.4 GHz radio, any other the 5 GHz
 * one. 0 or -1. */
LUMO3_API int32_t OvanWiFiSetEnable(uint32_t band, uint32_t enable);
LUMO3_API int32_t OvanWiFiSetRatePriority(uint32_t band, uint32_t enable);

LUMO3_END_DECLS

#endif /* LUMO3_WIFI_H */
