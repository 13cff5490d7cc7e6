/* liblumo3 gateway objects: VPN connections, on the gateway and on the external VPN
 * client service "com.morvane.vpnclient1". */
#ifndef LUMO3_VPN_H
#define LUMO3_VPN_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* Instances of "/com/quv/igd1/Network/VPN/Connection", "com.quv.igd1.VPNConnection".
 * The three lists are g_free'd blocks of 64-byte slots, owned by the caller. */
typedef struct OvanVPNConnection {
    char path[256];
    char vpn_type[16];      /* "l2tp" or "pptp" */
    char tunnel_name[64];   /* the key of the by-name functions */
    char user_id[64];
    uint8_t vpn_enable;
    uint8_t vpn_status;     /* read only */
    char vpn_mode[16];      /* "random" or "steady" */
    char vpn_priority[8];   /* "0" .. "7" */
    char vpn_idletime[16];
    char account_proxy[64]; /* required with mode "random" */
    char vpn_addr[64];
    char vpn_account[64];
    char vpn_pwd[64];
    char vpn_port[8];
    char attach_mode[8];    /* "1": addresses and domains, "2": LAN devices by MAC */
    uint32_t domains_num;
    char (*domains)[64];
    uint32_t ips_num;
    char (*ips)[64];
    uint32_t terminal_mac_num;
    char (*terminal_mac)[64];
} OvanVPNConnection_t;

/* Instances of "/com/morvane/vpnclient1/conn" on "com.morvane.vpnclient1",
 * interface "com.morvane.vpnclient1". */
typedef struct OvanUptVPNConnection {
    char path[256];
    char vpn_type[16];
    char tunnel_name[64];
    char user_id[64];
    uint8_t vpn_enable;
    uint8_t vpn_debug;
    char vpn_mode[16];
    char vpn_priority[8];
    char vpn_idletime[16];
    char account_proxy[64];
    char vpn_addr[64];
    char vpn_account[64];
    char vpn_pwd[64];
    char vpn_port[8];
    char attach_mode[8];
    char ifname[16];
    char localip[48];
    char remoteip[48];
    char status[24];
    uint32_t reserved; /* left zero */
    uint32_t domains_num;
    char (*domains)[64];
    uint32_t ips_num;
    char (*ips)[64];
    uint32_t terminal_mac_num;
    char (*terminal_mac)[64];
} OvanUptVPNConnection_t;

/* "com.quv.igd1.VPNConnectionStats" of a connection's statistics object. */
typedef struct OvanVPNConnectionStats {
    char path[256];
    uint32_t data_num;
    char (*data)[64]; /* g_free'd by the caller */
} OvanVPNConnectionStats_t;

/* Paths (OvanObjPath_t) must hold their terminator within their 256 bytes, else the
 * call is refused (-1, nothing sent). Every function returns 0 or -1. */

/* *objs: one g_free'd block of *num records; free each record's list blocks first. */
LUMO3_API int32_t OvanGetVPNConnObjs(OvanVPNConnection_t **objs, uint32_t *num);
/* vpn_type "l2tp"/"pptp", vpn_mode "random" (with a non-empty account_proxy) or
 * "steady", vpn_priority "0".."7". attach_mode "2" sends terminal_mac, "1" domains and
 * ips; vpn_status is never sent. */
LUMO3_API int32_t OvanSetVPNConnection(OvanObjPath_t path, OvanVPNConnection_t *rec);
/* Creates a connection and writes rec into it (rec->path receives the new path); a
 * connection the write refuses is deleted again. */
LUMO3_API int32_t OvanAddVPNConnection(OvanVPNConnection_t *rec);
LUMO3_API int32_t OvanDelVPNConnection(OvanObjPath_t path);
/* Deletes the first connection whose tunnel_name is tunnelName. */
LUMO3_API int32_t OvanDelVPNConnByName(const char *tunnelName);
/* Replaces the tunnel's destinations. Lists are ";"-separated (first 511 characters).
 * A MAC list (attach mode "2") cannot be combined with the others; pieces of the IP and
 * domain lists that are addresses or address ranges go to ips, the rest to domains. */
LUMO3_API int32_t OvanAttachVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                          const char *macList);
/* Removes every stored destination that occurs as a substring of the matching list
 * (so detaching 10.0.0.10 also removes 10.0.0.1). */
LUMO3_API int32_t OvanDetachVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                          const char *macList);
/* path: a connection's statistics object (it contains "Stats"). */
LUMO3_API int32_t OvanGetVPNConnectionStatus(OvanObjPath_t path, OvanVPNConnectionStats_t *stats);

/* The same on the external VPN client service; they fail (-1) when it is absent. */
LUMO3_API int32_t OvanGetUptVPNConnObjs(OvanUptVPNConnection_t **objs, uint32_t *num);
LUMO3_API int32_t OvanSetUptVPNConnection(OvanObjPath_t path, OvanUptVPNConnection_t *rec);
LUMO3_API int32_t OvanAddUptVPNConnection(OvanUptVPNConnection_t *rec);
LUMO3_API int32_t OvanDelUptVPNConnection(OvanObjPath_t path);
LUMO3_API int32_t OvanDelUptVPNConnByName(const char *tunnelName);
LUMO3_API int32_t OvanAttachUptVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                             const char *macList);
LUMO3_API int32_t OvanDetachUptVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                             const char *macList);

LUMO3_END_DECLS

#endif /* LUMO3_VPN_H */
