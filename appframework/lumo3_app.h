/* liblumo3 application framework: driving the framework that installs, runs and
 * queries plug-in applications, and the management object through which the
 * framework stops, reloads, restores and queries the application that hosts it. */
#ifndef LUMO3_APP_H
#define LUMO3_APP_H

#include <gio/gio.h>
#include <stdint.h>

#include "lumo3_core.h"
#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* ---- calls to the framework ----
 * Synchronous calls wait up to 10 s (OvanPostMsg 20 s). A failed bus call is NOT
 * told apart from a framework answer of 0 by the result: Start, Stop, Reload,
 * Uninstall and HandleKernelModules return 0, GetAppStatus and ListApp return 0
 * leaving their outputs untouched. Callers that must know consult OvanGetErrMsg()
 * (set from the D-Bus error; a reply of an unexpected type counts as a failure). */

/* Input `name` (NUL-terminated); output `status`, cut to 15 characters. */
typedef struct OvanAppStatus {
    char name[32];
    char status[16];
} OvanAppStatus_t;

/* One entry of OvanListApp. `flag` is the framework's number for an application
 * package and 1 for a library package (a name starting with "lib"). */
typedef struct OvanAppInfo {
    char name[128];
    char text[128];
    char state[16];
    uint32_t flag;
} OvanAppInfo_t;

/* "Run"; -1 for a NULL or empty name. */
LUMO3_API int32_t OvanStartApp(const char *app_name);
/* "Stop"; 0 for a NULL or empty name (nothing sent). */
LUMO3_API int32_t OvanStopApp(const char *app_name);
/* "Reload"; 0 for a NULL or empty name (nothing sent). */
LUMO3_API int32_t OvanReloadApp(const char *app_name);
/* "Uninstall"; -1 for a NULL or empty name. */
LUMO3_API int32_t OvanUninstallApp(const char *app_name);
/* Fills status->status from status->name; -1 for a NULL record. */
LUMO3_API int32_t OvanGetAppStatus(OvanAppStatus_t *status);
/* *list receives count entries (one block, g_free it; zero entries still give a
 * block); -1 when either pointer is NULL. */
LUMO3_API int32_t OvanListApp(OvanAppInfo_t **list, uint32_t *count);
/* Loads (action non-zero) or unloads a kernel module for a package; extra may be
 * NULL. -1 for a NULL or empty package or module name. */
LUMO3_API int32_t OvanHandleKernelModules(const char *pkg_name, int action, const char *mod_name,
                                          const char *extra);

/* Install, upgrade or reinstall a package file without waiting: 0 once the call is
 * sent, -1 for a NULL or empty path or when this process hosts no service
 * (OvanDBusStartService) with a bus connection. The call goes out on the hosted
 * service's connection with no time-out; `callback` receives that connection as
 * source object and `user_data`, and finishes the call itself
 * (g_dbus_connection_call_finish) to read the "(iss)" answer.
 * The callback is dispatched by the thread-default main context of the calling
 * thread: that thread must run a main loop on that context, or the callback never
 * runs. */
LUMO3_API int32_t OvanInstallApp(const char *file_path, void *user_data, GAsyncReadyCallback callback);
LUMO3_API int32_t OvanUpgradeApp(const char *file_path, void *user_data, GAsyncReadyCallback callback);
LUMO3_API int32_t OvanReinstallApp(const char *file_path, void *user_data, GAsyncReadyCallback callback);

/* Runs `cmd options /var<src> dst` (cmd NULL or empty: "mount") and waits for it.
 * No shell is involved: cmd and options are split into words by shell quoting
 * rules, src and dst stay one word each whatever they hold. src and dst must start
 * with "/"; any argument holding ';' is refused. 0 once the command ran (its exit
 * status is not examined), -1 on refusal. */
LUMO3_API int32_t OvanAppMountUsbDevice(const char *cmd, const char *src, const char *dst, const char *options);
/* Runs `cmd options path` (cmd NULL or empty: "umount"); the same rules. */
LUMO3_API int32_t OvanAppUnmountUsbDevice(const char *cmd, const char *path, const char *options);

/* Asks the framework to restore an application to factory state; the framework's
 * integer, 0 for a NULL or empty name or a failed call. */
LUMO3_API int32_t OvanFactoryPlugin(const char *app_name);
/* Posts a message to an application through the framework; its answer (g_free it)
 * or NULL. */
LUMO3_API char *OvanPostMsg(const char *app_name, const char *message);
/* An application's statistics (g_free it) or NULL. */
LUMO3_API char *OvanGetAppStatistics(const char *app_name);

/* ---- the management object an application hosts ---- */

/* The application's management callbacks, each may be NULL. They run in the hosted
 * service's "mainLoop" thread. stop, reload and restore_factory return 0 for
 * success (a non-zero result reaches the framework as a D-Bus error). The strings
 * returned by post_msg and get_stats are copied into the reply and never freed by
 * the library. The table is not copied: it must outlive the service.
 * (OvanAppMgtFuncs_t is declared with the service context.) */
struct OvanAppMgtFuncs {
    int (*stop)(void);
    int (*reload)(void);
    int (*restore_factory)(void);
    const char *(*post_msg)(const char *message);
    const char *(*get_stats)(void);
};

/* Registers the management object "<service name>.management" at the path made of
 * the service name (at most 62 characters of it, dots become slashes), with a
 * method for each callback that is set. Needs a started service. Returns the
 * parsed description (release it with OvanDBusNodeInfoUnref), NULL on failure. A
 * later call replaces the table at once (the object itself is registered once).
 * The table is read at each call, in the service's "mainLoop" thread: keep it
 * valid (static, or allocated) until the service is stopped or another is set. */
LUMO3_API GDBusNodeInfo *OvanAppRegisterMgtFuncs(const OvanAppMgtFuncs_t *funcs);

/* Broadcasts "Alarm" of com.quv.appframework1.AppStatus from
 * /com/quv/appframework1/apps/<appid>, appid read from the UCI package "appmgr"
 * (section: the third component of the service name, one trailing digit dropped).
 * Callable from any thread. 0 when sent, -1 otherwise. */
LUMO3_API int32_t OvanAppSendAlarm(const char *message);

LUMO3_END_DECLS

#endif /* LUMO3_APP_H */
