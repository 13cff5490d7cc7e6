/* liblumo3 gateway objects: the system commands of "/com/quv/igd1/Tevra/System"
 * (LOID, date and time, reboot, restore, upgrade, account passwords, trouble
 * locating) and its small configuration block. */
#ifndef LUMO3_SYSCMD_H
#define LUMO3_SYSCMD_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Tevra/System", "com.quv.igd1.SysCmd" */
typedef struct OvanSystemCmdConfig {
    char path[256];
    uint8_t UpgradeStatus;
    char UpgradeSWVersion[64];
    uint8_t RestoreStatus;
    char Province[9];
    uint8_t MemAlarm;
    uint8_t MemLimit;
} OvanSystemCmdConfig_t;

LUMO3_API int32_t OvanGetSystemCmdConfig(OvanSystemCmdConfig_t *info);
/* Writes MemAlarm and MemLimit (each 50 to 100) only. */
LUMO3_API int32_t OvanSetSystemCmdConfig(OvanSystemCmdConfig_t *rec);

/* Every command: 0 or -1; status receives the service's result word (1 when the
 * call could not be made) and errmsg a g_free'd message. Either may be NULL unless
 * said otherwise. A text argument that is not UTF-8 is refused before the call:
 * status 1 and a message naming the argument. */
LUMO3_API int32_t OvanSysCmdSetLOID(const char *loid, const char *password, const char *province, uint32_t *status,
                                    char **errmsg);
LUMO3_API int32_t OvanSysCmdRegisterLOID(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdCheckLOID(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdSetDateTime(const char *datetime, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdReboot(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdRestore(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdLocalRecovery(uint32_t *status, char **errmsg);
/* mode 0 to 6, method 0 or 1, needreboot sent as a boolean. */
LUMO3_API int32_t OvanSysCmdUpgrade(const char *url, uint32_t mode, int32_t method, uint32_t needreboot,
                                    uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdClearUpgradeStatus(uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdClearRestoreStatus(uint32_t *status, char **errmsg);
/* At least 5 characters. */
LUMO3_API int32_t OvanSysCmdCheckUAPasswd(const char *passwd, uint32_t *status, char **errmsg);
/* 5 to 20 characters. */
LUMO3_API int32_t OvanSysCmdSetUAPasswd(const char *passwd, uint32_t *status, char **errmsg);
/* status is mandatory here and in the two trouble-locating commands. */
LUMO3_API int32_t OvanSysCmdCheckTAPasswd(const char *passwd, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdUploadTroubleLocationInfo(const char *uploadurl, const char *faultcategory,
                                                      uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdStartCollectionDebugInfo(const char *uploadurl, const char *category, uint16_t timeout,
                                                     uint32_t *status, char **errmsg);
/* *passwd receives a g_free'd copy of a non-empty password, even with a non-zero
 * result word; NULL when the call fails. */
LUMO3_API int32_t OvanSysCmdGetTAPasswd(char **passwd, uint32_t *status, char **errmsg);
LUMO3_API int32_t OvanSysCmdGetUAPasswd(char **passwd, uint32_t *status, char **errmsg);

LUMO3_END_DECLS

#endif /* LUMO3_SYSCMD_H */
