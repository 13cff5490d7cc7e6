/* liblumo3 gateway objects: FTP, Samba, HTTP and Telnet servers and their accounts. */
#ifndef LUMO3_SERVERS_H
#define LUMO3_SERVERS_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Storage/Ftpserver", "com.quv.igd1.FTPServer" */
typedef struct OvanFTPServer {
    char path[256];
    uint8_t Enable; /* 0..3 */
    int32_t AllowAnonymous;
    uint32_t Port;
} OvanFTPServer_t;

/* "/com/quv/igd1/Storage/SambaServer", "com.quv.igd1.SambaServer" */
typedef struct OvanSambaServer {
    char path[256];
    uint8_t Enable; /* 0..3 */
    int32_t AllowAnonymous;
} OvanSambaServer_t;

/* Instances of "/com/quv/igd1/Storage/Ftpserver/Accounts" ("com.quv.igd1.FTPAccount")
 * and "/com/quv/igd1/Storage/SambaServer/Accounts" ("com.quv.igd1.SambaAccount"). */
typedef struct OvanFileAccount {
    char path[256];
    char UserName[48];
    char Password[48];
} OvanFileAccount_t;

/* "/com/quv/igd1/Network/HTTPServer", "com.quv.igd1.HTTPServer" */
typedef struct OvanHttpServer {
    char path[256];
    char AdminPassword[48];
} OvanHttpServer_t;

/* "/com/quv/igd1/Network/Telnetserver", "com.quv.igd1.TelnetServer" */
typedef struct OvanTelnetServer {
    char path[256];
    uint8_t Enable;
    uint32_t LANPort;
    uint32_t WANPort;
} OvanTelnetServer_t;

/* Instances of "/com/quv/igd1/Network/Telnetserver/Accounts", "com.quv.igd1.TelnetAccount" */
typedef struct OvanTelnetAccount {
    char path[256];
    char UserName[48];
    char Password[48];
    char Type[8];
} OvanTelnetAccount_t;

/* The FTP and Samba functions are storage features: on a gateway without USB they
 * return 1 and leave every output untouched. Every function taking an OvanObjPath_t
 * refuses (-1, nothing sent) a path without a terminator in its 256 bytes and one
 * outside its collection. *objs of the Objs functions: one g_free'd block of *num
 * records (NULL objs: count only). */

/* path of the FTP record reads "/com/quv/igd1/Storage/ftpserver" (lower-case f). */
LUMO3_API int32_t Ovan_GetFTPServer(OvanFTPServer_t *obj);
/* Writes Enable (0..3) and AllowAnonymous. */
LUMO3_API int32_t Ovan_SetFtpServer(OvanFTPServer_t *obj);
LUMO3_API int32_t Ovan_GetFTPAccountObjs(OvanFileAccount_t **objs, uint32_t *num);
LUMO3_API int32_t Ovan_GetFTPAccount(OvanObjPath_t path, OvanFileAccount_t *obj);
/* Writes UserName (non-empty) and Password. */
LUMO3_API int32_t Ovan_SetFTPAccount(OvanObjPath_t path, OvanFileAccount_t *obj);
/* Creates an account and writes obj into it; on success obj->path names it. An
 * account the write refuses is deleted again. */
LUMO3_API int32_t Ovan_AddFtpAccount(OvanFileAccount_t *obj);
LUMO3_API int32_t Ovan_DelFtpAccount(OvanObjPath_t path);

LUMO3_API int32_t Ovan_GetSambaServer(OvanSambaServer_t *obj);
LUMO3_API int32_t Ovan_SetSambaServer(OvanSambaServer_t *obj);
LUMO3_API int32_t Ovan_GetSambaAccountObjs(OvanFileAccount_t **objs, uint32_t *num);
LUMO3_API int32_t Ovan_GetSambaAccount(OvanObjPath_t path, OvanFileAccount_t *obj);
LUMO3_API int32_t Ovan_SetSambaAccount(OvanObjPath_t path, OvanFileAccount_t *obj);
LUMO3_API int32_t Ovan_AddSambaAccount(OvanFileAccount_t *obj);
LUMO3_API int32_t Ovan_DelSambaAccount(OvanObjPath_t path);

LUMO3_API int32_t Ovan_GetHttpServer(OvanHttpServer_t *obj);

LUMO3_API int32_t OvanGetTelnetServerConfig(OvanTelnetServer_t *obj);
/* enable 0..3 */
LUMO3_API int32_t OvanEnableTelnetServer(uint32_t enable);
LUMO3_API int32_t OvanGetTelnetAccountObjs(OvanTelnetAccount_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetTelnetAccount(OvanObjPath_t path, OvanTelnetAccount_t *obj);

LUMO3_END_DECLS

#endif /* LUMO3_SERVERS_H */
