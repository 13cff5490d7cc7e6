/* liblumo3 gateway objects: WAN connections (read only). */
#ifndef LUMO3_WAN_H
#define LUMO3_WAN_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* The version-4 layout splices extra fields into the first one in two places, so
 * the shared fields come in three blocks. */
#define OVAN_WAN_CONNECTION_HEAD \
    char path[256];              \
    char Index[9];               \
    char WANName[64];            \
    char IfName[33];             \
    char ServiceList[33];        \
    char ConnectionType[33];     \
    uint32_t VLANID;             \
    uint32_t VLAN8021P;          \
    char Protocol[33];           \
    char ConnectionStatus[33];   \
    char IPAddress[16];          \
    char SubnetMask[16];         \
    char Gateway[16];

#define OVAN_WAN_CONNECTION_MIDDLE   \
    char DNS1[16];                   \
    char DNS2[16];                   \
    char IPv6_ConnectionStatus[33];  \
    char IPv6_IPAddress[48];         \
    char IPv6_PrefixLength[9];       \
    char IPv6_Gateway[48];           \
    char IPv6_DNS1[48];              \
    char IPv6_DNS2[48];              \
    char IPv6_Prefix[48];

#define OVAN_WAN_CONNECTION_TAIL  \
    uint64_t RxBytes;             \
    uint64_t TxBytes;             \
    uint64_t RxPkts;              \
    uint64_t TxPkts;              \
    char IPv6_AddressOrigin[33];  \
    char IPv6_PrefixOrigin[33];   \
    uint32_t IPv6_PrefixPltime;   \
    uint32_t IPv6_PrefixVltime;   \
    int32_t DSLite_Enable;        \
    uint8_t DSLite_AftrMode;      \
    char DSLite_Aftr[64];

/* Instances of "/com/quv/igd1/Info/Network/WANConnectionDb",
 * "com.quv.igd1.WANConnectionInfo" */
typedef struct OvanWANConnection {
    OVAN_WAN_CONNECTION_HEAD
    OVAN_WAN_CONNECTION_MIDDLE
    OVAN_WAN_CONNECTION_TAIL
} OvanWANConnection_t;

typedef struct OvanWANConnectionv4 {
    OVAN_WAN_CONNECTION_HEAD
    int32_t PPPoEPassthrough;
    uint32_t SpeedLimit_UP;
    uint32_t SpeedLimit_DOWN;
    OVAN_WAN_CONNECTION_MIDDLE
    int32_t NPTv6Enable;
    OVAN_WAN_CONNECTION_TAIL
} OvanWANConnectionv4_t;

/* All connections: *objs is one g_free'd block of *num records (NULL when there are
 * none); objs NULL asks for the count only. */
LUMO3_API int32_t OvanGetWANConnectionObjs(OvanWANConnection_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetWANConnectionObjsv4(OvanWANConnectionv4_t **objs, uint32_t *num);

/* One connection by its object path (refused when it lacks its terminator within
 * its 256 bytes, see OvanObjPath_t). */
LUMO3_API int32_t OvanGetWANConnection(OvanObjPath_t path, OvanWANConnection_t *rec);
LUMO3_API int32_t OvanGetWANConnectionv4(OvanObjPath_t path, OvanWANConnectionv4_t *rec);

/* One connection by its name; status and errmsg (g_free'd) may be NULL. */
LUMO3_API int32_t OvanGetWANConnectionByName(const char *name, OvanWANConnection_t *rec, uint32_t *status,
                                             char **errmsg);
LUMO3_API int32_t OvanGetWANConnectionByNamev4(const char *name, OvanWANConnectionv4_t *rec, uint32_t *status,
                                               char **errmsg);

/* The connection that carries Internet service; status and errmsg may be NULL. */
LUMO3_API int32_t OvanGetInternetWANConnection(OvanWANConnection_t *rec, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanGetInternetWANConnectionv4(OvanWANConnectionv4_t *rec, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_WAN_H */
