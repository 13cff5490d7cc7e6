/* liblumo3 core runtime: lifecycle, status codes, last error, bus address,
 * the hosted-service context and logging. */
#ifndef LUMO3_CORE_H
#define LUMO3_CORE_H

#include <stdint.h>
#include <gio/gio.h>

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* Status codes: 0 success, -1 any failure. These are the printable forms used
 * only inside debug lines. */
#define OVAN_OK_STR "OVAN_OK"
#define OVAN_NOK_STR "OVAN_NOK"

/* The application's management callbacks; the table is defined with the
 * application-management calls. */
typedef struct OvanAppMgtFuncs OvanAppMgtFuncs_t;

/* The one hosted service of a process. Zero-filled when made; the last error of
 * every bus call lives in errmsg. */
typedef struct OvanDBusServiceContext {
    char service_name[64];
    uint32_t owner_id;
    GDBusConnection *connection;
    GMainLoop *main_loop;
    GMainContext *main_context;
    GThread *thread;
    int32_t is_service_started;
    int32_t errState;
    char *errmsg;
    const OvanAppMgtFuncs_t *mgt_funcs;
} OvanDBusServiceContext_t;

/* NULL while no service is hosted. */
extern LUMO3_API OvanDBusServiceContext_t *qzr_dbus_service_context;
/* Cached major interface version of the gateway service; -1 until read. */
extern LUMO3_API int32_t gwdbusver;
/* Connection of the snapshot caches, filled lazily by them. */
extern LUMO3_API GDBusConnection *dbusconn;

/* Always 0. */
LUMO3_API int32_t OvanInit(void);
LUMO3_API void OvanDestroy(void);
/* Writes "v0.14" (6 bytes with the terminator) into buf and returns buf. */
LUMO3_API char *OvanGetAPIVersion(char *buf);
/* Exports the bus address file's first line as DBUS_SYSTEM_BUS_ADDRESS; ends the
 * process with status -1 when the file is missing. */
LUMO3_API int32_t OvanSetDbusEnv(void);
/* Stores a copy of msg as the last error of the hosted service (dropped when no
 * service is hosted). A text naming "Error.LimitsExceeded" ends the process. */
LUMO3_API void OvanSetErrMsg(const char *msg);
/* The last error, or NULL. Owned by the library. */
LUMO3_API const char *OvanGetErrMsg(void);

/* ---- logging ---- */

/* One entry of the facility and priority name tables; same layout as syslog's CODE. */
typedef struct OvanLogCode {
    const char *c_name;
    int c_val;
} OvanLogCode_t;

extern LUMO3_API const OvanLogCode_t facilitynames[];
extern LUMO3_API const OvanLogCode_t prioritynames[];
/* The ident given to OvanLogOpen (stale after OvanLogClose). */
extern LUMO3_API char *g_app_name;

LUMO3_API int32_t OvanLogOpen(int facility, const char *ident);
LUMO3_API void OvanLogClose(void);
/* The flags word: 0 closed, 1 open, 3 open with echo to standard output. */
LUMO3_API int32_t OvanIsLogInitialized(void);
LUMO3_API void OvanLog(int priority, const char *format, ...) LUMO3_PRINTF(2, 3);
LUMO3_API void lumo_log(const char *tag, int priority, const char *format, ...) LUMO3_PRINTF(3, 4);
LUMO3_API void lumo_dbg(const char *tag, const char *format, ...) LUMO3_PRINTF(2, 3);

LUMO3_END_DECLS

#endif /* LUMO3_CORE_H */
