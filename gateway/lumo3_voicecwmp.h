/* liblumo3 gateway objects: voice diagnostics (IAD registration test, poor-quality
 * call statistics, simulated call test, phone line connectivity), the IPv6 LAN
 * services (LAN addressing, DHCPv6 server, router advertisements) and access to the
 * gateway's remote-management (CWMP) parameter tree.
 *
 * The test and CWMP functions take optional places for the gateway's result code
 * and a text: *status receives the code, or 1 when the library itself fails or
 * refuses the arguments; *errmsg (free with g_free) receives the gateway's text when
 * the code is nonzero and the text is not empty, or the library's own message. They
 * return 0 when the code is 0, else -1.
 *
 * An OvanObjPath_t argument must hold its terminator within its 256 bytes; one that
 * does not is refused (-1, nothing sent). */
#ifndef LUMO3_VOICECWMP_H
#define LUMO3_VOICECWMP_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Diagnostics/IADTest", "com.quv.igd1.IADDiagnostics". */
typedef struct OvanIADDiagnostics {
    char path[256];
    uint32_t RegistResult;
    uint32_t Reason;
} OvanIADDiagnostics_t;

/* "/com/quv/igd1/Diagnostics/VoiceSimulateTest", "com.quv.igd1.VOIPSimulateTest".
 * Only CalledNumber, DialDTMFConfirmEnable and DialDTMFConfirmNumber are written. */
typedef struct OvanVOIPSimulateTest {
    char path[256];
    char CalledNumber[33];
    int32_t DialDTMFConfirmEnable;
    char DialDTMFConfirmNumber[33];
    uint8_t DialDTMFConfirmResult;
    char Status[33];
    uint8_t Conclusion;
    char CallerFailReason[33];
    char CalledFailReason[33];
    uint32_t FailedResponseCode;
} OvanVOIPSimulateTest_t;

/* "/com/quv/igd1/Info/PhoneConnectivity", "com.quv.igd1.PhoneConnectivity". */
typedef struct OvanPhoneConnectivity {
    char path[256];
    int32_t PhoneConnectivity;
    int32_t OffHookAlarmStatus;
} OvanPhoneConnectivity_t;

/* Instances of "/com/quv/igd1/Info/Voice/PoorQualityStats",
 * "com.quv.igd1.VoicePoorQualityStats"; read only. StartTime is in seconds since
 * the epoch, delays and jitter in milliseconds, MosLq times ten. */
typedef struct OvanVoicePoorQualityStats {
    char path[256];
    uint32_t StartTime;
    uint32_t TxPackets;
    uint32_t RxPackets;
    uint32_t MeanDelay;
    uint32_t MeanJitter;
    uint32_t FractionLoss;
    char LocalIPAddress[16];
    uint32_t LocalUDPPort;
    char FarEndIPAddress[16];
    uint32_t FarEndUDPPort;
    uint32_t MosLq;
    char Codec[17];
} OvanVoicePoorQualityStats_t;

/* "/com/quv/igd1/Config/IPV6/LAN", "com.quv.igd1.IPv6LANConfig". */
typedef struct OvanIPv6LANConfig {
    char path[256];
    char LocalAddress[48];
    char ConfigType[33]; /* "WANConnection", "HGWProxy" or "Static" */
    char DNSWAN[128];
    char Servers[257]; /* comma-separated IPv6 addresses */
    char PrefixMode[33]; /* "WANDelegated" or "Static" */
    char DelegatedWAN[128];
    char Prefix[48];
    uint32_t PreferredLifeTime;
    uint32_t ValidLifeTime;
} OvanIPv6LANConfig_t;

/* "/com/quv/igd1/Config/IPV6/DHCPV6S", "com.quv.igd1.DHCPv6Server". */
typedef struct OvanDHCPv6Server {
    char path[256];
    int32_t Enable;
    char MinAddress[48];
    char MaxAddress[48];
    uint32_t PreferredLifeTime;
    uint32_t ValidLifeTime;
    int32_t Option16Enable;
    int32_t Option17Enable;
} OvanDHCPv6Server_t;

/* "/com/quv/igd1/Config/IPV6/RA", "com.quv.igd1.RouterAdvertisement". Intervals in
 * seconds. */
typedef struct OvanRAConfig {
    char path[256];
    int32_t Enable;
    uint32_t MaxRtrAdvInterval; /* 4..1800 */
    uint32_t MinRtrAdvInterval; /* 3..MaxRtrAdvInterval*3/4 */
    int32_t AdvManagedFlag;
    int32_t AdvOtherConfigFlag;
} OvanRAConfig_t;

/* One CWMP parameter and its value. */
typedef struct OvanCWMPParamValue {
    char Name[512];
    char Value[512];
} OvanCWMPParamValue_t;

/* One entry of a CWMP name listing. */
typedef struct OvanCWMPParamName {
    char Name[512];
    int32_t Writable;
} OvanCWMPParamName_t;

LUMO3_API int32_t OvanGetIADDiagnostics(OvanIADDiagnostics_t *info);
/* server: 1 or 2. */
LUMO3_API int32_t OvanStartIADDiagTest(uint32_t server, uint32_t *status, char **errmsg);

/* *objs: one g_free'd block of *num records (NULL objs: count only). */
LUMO3_API int32_t OvanGetVoicePoorQualityStatsObjs(OvanVoicePoorQualityStats_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetVoicePoorQualityStats(OvanObjPath_t path, OvanVoicePoorQualityStats_t *rec);

LUMO3_API int32_t OvanGetVOIPSimulateTestConfig(OvanVOIPSimulateTest_t *info);
LUMO3_API int32_t OvanSetVOIPSimulateTestConfig(OvanVOIPSimulateTest_t *rec);
/* Starts the simulated call test configured above; testType is the gateway's. */
LUMO3_API int32_t OvanStartVoIPSimulateTest(uint32_t testType, uint32_t *status, char **errmsg);

LUMO3_API int32_t OvanGetPhoneConnectvityInfo(OvanPhoneConnectivity_t *info);
LUMO3_API int32_t OvanStartPhoneConnectivityTest(uint32_t *status, char **errmsg);

LUMO3_API int32_t OvanGetIPV6LANConfig(OvanIPv6LANConfig_t *info);
/* LocalAddress an IPv6 address, ConfigType and PrefixMode one of their words,
 * Prefix empty or an IPv6 prefix, every server in Servers an IPv6 address, and
 * PreferredLifeTime at most ValidLifeTime. */
LUMO3_API int32_t OvanSetIPV6LANConfig(OvanIPv6LANConfig_t *rec);

LUMO3_API int32_t OvanGetDHCPV6Server(OvanDHCPv6Server_t *info);
/* MinAddress and MaxAddress IPv6 addresses. */
LUMO3_API int32_t OvanSetDHCPV6Server(OvanDHCPv6Server_t *rec);

LUMO3_API int32_t OvanGetRAConfig(OvanRAConfig_t *info);
LUMO3_API int32_t OvanSetRAConfig(OvanRAConfig_t *rec);

/* Adds an instance of the CWMP object objName (e.g. "InternetGatewayDevice.
 * WANDevice.1.WANConnectionDevice."); *instance (may be NULL) receives its number. */
LUMO3_API int32_t OvanCWMPAddObject(const char *objName, uint32_t *instance, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanCWMPDeleteObject(const char *objName, uint32_t *status, char **errmsg);
/* Sets num parameters (at least one) in one request. */
LUMO3_API int32_t OvanCWMPSetParameterValues(const OvanCWMPParamValue_t *paraValObjs, uint32_t num,
                                             uint32_t *status, char **errmsg);
/* names: parameter names separated by "," (non-empty, under 4096 characters). *num
 * receives the number of values; *vals (NULL: count only) one g_free'd block of
 * them, NULL for none. num is required. */
LUMO3_API int32_t OvanCWMPGetParameterValues(const char *names, OvanCWMPParamValue_t **vals, uint32_t *num,
                                             uint32_t *status, char **errmsg);
/* The names below path (nextLevel nonzero: its direct children only), as above. */
LUMO3_API int32_t OvanCWMPGetParameterNames(const char *path, int32_t nextLevel, OvanCWMPParamName_t **names,
                                            uint32_t *num, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_VOICECWMP_H */
