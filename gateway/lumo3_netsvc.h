/* liblumo3 gateway objects: PPPoE account, DHCP server, port mapping, platform
 * service and incoming filter. */
#ifndef LUMO3_NETSVC_H
#define LUMO3_NETSVC_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Tevra/PPPoE", "com.quv.igd1.PPPoE" */
typedef struct OvanPPPoEConfig {
    char path[256];
    char PPPoEUserName[64];
} OvanPPPoEConfig_t;

/* "/com/quv/igd1/Config/DHCPServer", "com.quv.igd1.DHCPServer" */
typedef struct OvanDHCPServer {
    char path[256];
    int32_t Enable;
    char MinAddress[16];
    char MaxAddress[16];
    char IPAddr[16];
    char SubnetMask[16];
    uint32_t LeaseTime;
} OvanDHCPServer_t;

/* Instances of "/com/quv/igd1/Config/PortMapping", "com.quv.igd1.PortMapping" */
typedef struct OvanPortMapping {
    char path[256];
    int32_t Enable;
    uint32_t LeaseDuration;
    char RemoteHost[64];
    uint32_t ExternalPort;
    uint32_t InternalPort;
    char PortMappingProtocol[8]; /* "TCP", "UDP" or "BOTH" */
    char InternalClient[16];
    char Description[33];
} OvanPortMapping_t;

/* "/com/quv/igd1/Tevra/PlatformService", "com.quv.igd1.PlatformService" */
typedef struct OvanPlatformService {
    char path[256];
    uint8_t Appmodel;
    char InitUAPwd[33];
    char InitSSID[33];
    char InitSSIDPwd[64];
    char DistAddr[33];
    uint32_t Port;
    uint32_t Heartbeat;
    uint32_t Ability;
    uint32_t LocalPort;
    char Version[17];
    char SSN[64];
    uint8_t DistStatus;
    char DistErrorMsg[64];
    char OperAddr[33];
    uint8_t OperStatus;
    char OperErrorMsg[64];
    char PluginAddr[33];
    uint8_t PluginStatus;
    char PluginErrorMsg[64];
    char BSSAddr[64];
} OvanPlatformService_t;

/* Groups of OvanSetPlatformService's mask. */
#define OVAN_PLATFORM_OPER_ADDR 0x02u   /* OperAddr */
#define OVAN_PLATFORM_PLUGIN_ADDR 0x04u /* PluginAddr */
#define OVAN_PLATFORM_DIST 0x08u        /* DistAddr, Port, Heartbeat, Ability, LocalPort, Version, SSN */
#define OVAN_PLATFORM_DIST_STATUS 0x10u /* DistStatus, DistErrorMsg */
#define OVAN_PLATFORM_OPER_STATUS 0x20u /* OperStatus, OperErrorMsg */
#define OVAN_PLATFORM_PLUGIN_STATUS 0x40u /* PluginStatus, PluginErrorMsg */
#define OVAN_PLATFORM_BSS_ADDR 0x80u    /* BSSAddr */

LUMO3_API int32_t OvanGetPPPoEConfig(OvanPPPoEConfig_t *info);
LUMO3_API int32_t OvanGetDHCPServer(OvanDHCPServer_t *info);
/* The four addresses must be valid IPv4 addresses. */
LUMO3_API int32_t OvanSetDHCPServer(OvanDHCPServer_t *rec);

/* *objs: one g_free'd block of *num records (NULL objs: count only). Get, Set and
 * Del take the rule's path; one without its terminator within its 256 bytes is
 * refused, never cut. Text fields must be UTF-8 (see OvanObjPath_t). */
LUMO3_API int32_t OvanGetPortMappingObjs(OvanPortMapping_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetPortMapping(OvanObjPath_t path, OvanPortMapping_t *rec);
/* RemoteHost empty or an IPv4 address, InternalClient an IPv4 address, both ports
 * 1..65535, protocol "TCP", "UDP" or "BOTH". */
LUMO3_API int32_t OvanSetPortMapping(OvanObjPath_t path, OvanPortMapping_t *rec);
/* Creates a rule and writes rec into it; on success rec->path names it. A rule the
 * write refuses is deleted again. */
LUMO3_API int32_t OvanAddPortMapping(OvanPortMapping_t *rec);
LUMO3_API int32_t OvanDelPortMapping(OvanObjPath_t path);

LUMO3_API int32_t OvanGetPlatformService(OvanPlatformService_t *info);
/* Writes the groups selected by mask (OVAN_PLATFORM_*); Ability must be 0 or 1. */
LUMO3_API int32_t OvanSetPlatformService(uint32_t mask, OvanPlatformService_t *rec);

/* remoteIp NULL/empty (any host) or IPv4; protocol 0..2; port 0..65535; interface
 * 0 or 1. */
LUMO3_API int32_t OvanIncomingFilterAddEntry(const char *remoteIp, int32_t protocol, int32_t port,
                                             int32_t interface, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanIncomingFilterDelEntry(const char *remoteIp, int32_t protocol, int32_t port,
                                             int32_t interface, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_NETSVC_H */
