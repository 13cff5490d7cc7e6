/* liblumo3 gateway objects: upstream DNS servers, DNS tunnels and dynamic DNS. */
#ifndef LUMO3_DNS_H
#define LUMO3_DNS_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Network/dns", "com.quv.igd1.DNSServerConfig" */
typedef struct OvanDNSServerConfig {
    char path[256];
    char Server1[24];
    char Server2[24];
} OvanDNSServerConfig_t;

/* "/com/quv/igd1/Network/dnsv6", "com.quv.igd1.DNSv6ServerConfig" */
typedef struct OvanDNS6ServerConfig {
    char path[256];
    char Server1[64];
    char Server2[64];
} OvanDNS6ServerConfig_t;

/* Instances of "/com/quv/igd1/Network/dns", "com.quv.igd1.DNSTunnel". DomainName is a
 * g_free'd block of DomainNameNum 64-byte slots, owned by the caller. */
typedef struct OvanDNSTunnel {
    char path[256];
    char ServerIP[24];
    uint32_t DomainNameNum;
    char (*DomainName)[64];
} OvanDNSTunnel_t;

/* Instances of "/com/quv/igd1/Network/ddns", "com.quv.igd1.DDNSServerConfig" */
typedef struct OvanDDNSServer {
    char path[256];
    int32_t DDNSCfgEnabled;
    uint8_t DDNSStatus; /* read only */
    char DDNSProvider[64];
    char DDNSUsername[32];
    char DDNSPassword[32];
    uint32_t ServicePort; /* below 65536 */
    char DDNSDomainName[64];
    char DDNSHostName[64];
    char DDNSIP[16];      /* read only */
    char DDNSErrMsg[64];  /* read only */
} OvanDDNSServer_t;

/* Paths (OvanObjPath_t) must hold their terminator within their 256 bytes, else the
 * call is refused (-1, nothing sent). Every function returns 0 or -1. */

LUMO3_API int32_t OvanGetDNSServerConfig(OvanDNSServerConfig_t *obj);
LUMO3_API int32_t OvanGetDNS6ServerConfig(OvanDNS6ServerConfig_t *obj);
/* At least one server; each one given is an address or a name with a dot. */
LUMO3_API int32_t OvanSetDNSServerConfig(OvanDNSServerConfig_t *obj);
LUMO3_API int32_t OvanSetDNS6ServerConfig(OvanDNS6ServerConfig_t *obj);
/* *errmsg: g_free'd; either output may be NULL. */
LUMO3_API int32_t OvanFlushDNS(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanFlushDNS6(uint32_t *status, char **errmsg);

/* *objs: one g_free'd block of *count tunnels; free each DomainName block first. */
LUMO3_API int32_t OvanGetDNSTunnelObjs(OvanDNSTunnel_t **objs, uint32_t *count);
/* server: an IPv4 address; domains: ";"-separated names (empty pieces skipped). */
LUMO3_API int32_t OvanSetDNSTunnel(OvanObjPath_t path, const char *server, const char *domains);
/* Creates a tunnel and writes it; a tunnel the write refuses is left in place. */
LUMO3_API int32_t OvanAddDNSTunnel(const char *server, const char *domains);
LUMO3_API int32_t OvanDelDNSTunnel(OvanObjPath_t path);
/* Adds to the tunnel of serverip the domains it does not hold yet (a name that occurs
 * within a stored one counts as held). */
LUMO3_API int32_t OvanDNSTunnelAttachDomain(const char *serverip, const char *domains);
/* Removes the stored domains that occur within `domains`; a tunnel left without domains
 * is deleted; nothing removed: 0 without a write. */
LUMO3_API int32_t OvanDNSTunnelDetachDomain(const char *serverip, const char *domains);

LUMO3_API int32_t OvanGetDDNSServerObjs(OvanDDNSServer_t **objs, uint32_t *count);
LUMO3_API int32_t OvanGetDDNSServerInstance(OvanObjPath_t path, OvanDDNSServer_t *obj);
/* ServicePort below 65536; DDNSStatus, DDNSIP and DDNSErrMsg are not written. */
LUMO3_API int32_t OvanSetDDNSServerInstance(OvanObjPath_t path, OvanDDNSServer_t *obj);
/* Creates an instance and writes obj into it (obj->path receives the new path); an
 * instance the write refuses is deleted again. */
LUMO3_API int32_t OvanAddDDNSServerInstance(OvanDDNSServer_t *obj);
LUMO3_API int32_t OvanDelDDNSServerInstance(OvanObjPath_t path);

LUMO3_END_DECLS

#endif /* LUMO3_DNS_H */
