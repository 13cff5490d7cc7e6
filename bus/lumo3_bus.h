/* liblumo3 bus layer: property access, method calls, signals and service hosting. */
#ifndef LUMO3_BUS_H
#define LUMO3_BUS_H

#include <stdint.h>
#include <gio/gio.h>

#include "lumo3_export.h"
#include "lumo3_variant.h"

LUMO3_BEGIN_DECLS

/* ---- properties (interface "com.quv.igd1.Properties") and method calls ---- */

/* *value receives a new reference (release with OvanVariantUnRef). */
LUMO3_API int32_t OvanDBusGetProperty(const char *service_name, const char *object_path, const char *interface_name,
                                      const char *prop_name, OvanVariant **value);
/* A floating value is consumed. */
LUMO3_API int32_t OvanDBusSetProperty(const char *service_name, const char *object_path, const char *interface_name,
                                      const char *prop_name, OvanVariant *value);
/* *dict receives the "a{sv}" dictionary (a new reference). */
LUMO3_API int32_t OvanDBusGetAllProperty(const char *service_name, const char *object_path,
                                         const char *interface_name, OvanVariant **dict);
/* dict is an "a{sv}" dictionary; a floating one is consumed. */
LUMO3_API int32_t OvanDBusSetMultiProperty(const char *service_name, const char *object_path,
                                           const char *interface_name, OvanVariant *dict);
/* inargs may be NULL (a floating tuple is consumed); *outargs receives the reply
 * tuple (a new reference) when outargs is not NULL. timeout_msec -1: the default. */
LUMO3_API int32_t OvanDBusCallMethod(const char *service_name, const char *object_path, const char *interface_name,
                                     const char *method_name, OvanVariant *inargs, OvanVariant **outargs,
                                     int timeout_msec);
/* Number of child nodes of object_path (0 on any failure). *paths receives a block of
 * count entries of 256 bytes, each a child's full path; free it with g_free. */
LUMO3_API int32_t OvanGetNumOfNodes(const char *service_name, const char *object_path, char **paths, int *count);
/* Major interface version of the gateway service, or -1. */
LUMO3_API int32_t OvanGetDBusVersion(void);

/* ---- signals (on the hosted service's connection) ---- */

/* An application's signal handler; parameters are borrowed for the call. */
typedef void (*OvanDBusSignalHandler_t)(const char *sender_name, const char *object_path,
                                        const char *interface_name, const char *signal_name,
                                        OvanVariant *parameters, void *user_data);

/* One subscription; new ones are pushed at the head of qzr_dbus_sigsubst_list_head. */
typedef struct OvanDBusSigSubst {
    uint32_t subid;
    char *sender_name;
    char *object_path;
    char *interface_name;
    char *signal_name;
    OvanDBusSignalHandler_t callback;
    void *user_data;
    struct OvanDBusSigSubst *next;
} OvanDBusSigSubst_t;

extern LUMO3_API OvanDBusSigSubst_t *qzr_dbus_sigsubst_list_head;

/* 1 on success, 0 on failure. destination_bus_name NULL broadcasts; a floating
 * parameters tuple is consumed. */
LUMO3_API int32_t OvanDBusEmitSignal(const char *destination_bus_name, const char *object_path,
                                     const char *interface_name, const char *signal_name, OvanVariant *parameters);
/* The subscription id, 0 on failure. Filters may be NULL (match anything). */
LUMO3_API uint32_t OvanDBusSubscribeSignal(const char *sender_name, const char *object_path,
                                           const char *interface_name, const char *signal_name,
                                           OvanDBusSignalHandler_t handler, void *user_data);
LUMO3_API void OvanDBusUnSubscribeSignal(unsigned int subid);
/* The GDBus signal callback every subscription goes through; its user data is the
 * subscription record. */
LUMO3_API void _OvanBusGenericSignalFunction(GDBusConnection *connection, const char *sender_name,
                                             const char *object_path, const char *interface_name,
                                             const char *signal_name, GVariant *parameters, gpointer user_data);

/* ---- service hosting ---- */

/* Callbacks of a registered object, each may be NULL. method_call returns 0 with
 * *reply the reply tuple (or NULL), or non-zero with *reply an optional "(ui&s)"
 * error tuple (GLib error quark, code, message). */
typedef struct OvanDBusInterfaceVTable {
    int32_t (*method_call)(const char *object_path, const char *interface_name, const char *method_name,
                           OvanVariant *parameters, OvanVariant **reply, void *user_data);
    int32_t (*get_property)(const char *object_path, const char *property_name, OvanVariant **value,
                            void *user_data);
    int32_t (*set_property)(const char *object_path, const char *property_name, OvanVariant *value,
                            void *user_data);
} OvanDBusInterfaceVTable_t;

/* One object registered with callbacks; new ones are pushed at the head of
 * qzr_dbus_obj_reg_list_head. */
typedef struct OvanDBusObjReg {
    uint32_t reg_id;
    char *object_path;
    char *interface_name;
    const OvanDBusInterfaceVTable_t *callbacks;
    struct OvanDBusObjReg *next;
} OvanDBusObjReg_t;

extern LUMO3_API OvanDBusObjReg_t *qzr_dbus_obj_reg_list_head;
/* The application-management callbacks' table (method slot only), filled by the
 * application framework's management dispatcher. */
extern LUMO3_API OvanDBusInterfaceVTable_t interface_vtable;

/* Owns service_name (NULL or empty: derived from the package's control file) and
 * starts the "mainLoop" thread. 0 or -1. */
LUMO3_API int32_t OvanDBusStartService(const char *service_name);
LUMO3_API int32_t OvanDBusStopService(void);
LUMO3_API GDBusNodeInfo *OvanDBusNodeParseXml(const char *xml);
LUMO3_API GDBusInterfaceInfo *OvanDBusNodeFindInterface(GDBusNodeInfo *node_info, const char *interface_name);
LUMO3_API void OvanDBusNodeInfoUnref(GDBusNodeInfo *node_info);
/* The registration id; 0 when nothing was registered; -1 without a connection.
 * callbacks (may be NULL) must outlive the registration. */
LUMO3_API int32_t OvanDBusRegisterObject(const char *object_path, GDBusInterfaceInfo *interface_info,
                                         const OvanDBusInterfaceVTable_t *callbacks, void *user_data);
LUMO3_API void OvanDBusUnRegisterObject(unsigned int reg_id);

LUMO3_END_DECLS

#endif /* LUMO3_BUS_H */
