// Signal emission and subscriptions on the hosted service's connection.
#include <mutex>
#include <syslog.h>

#include "bus/connection.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"

namespace {

const char *nn(const char *s)
{
    return s ? s : "NULL";
}

void free_record(OvanDBusSigSubst_t *rec)
{
    g_free(rec->sender_name);
    g_free(rec->object_path);
    g_free(rec->interface_name);
    g_free(rec->signal_name);
    g_free(rec);
}

}  // namespace

extern "C" {

LUMO3_API OvanDBusSigSubst_t *qzr_dbus_sigsubst_list_head = nullptr;

// Guards the list: it is changed by the application's threads and walked by the
// thread that dispatches signals.
static std::mutex g_sigsubst_lock;

LUMO3_API int32_t OvanDBusEmitSignal(const char *destination_bus_name, const char *object_path,
                                     const char *interface_name, const char *signal_name, OvanVariant *parameters)
{
    static const char tag[] = "OvanDBusEmitSignal";
    lumo::GPtr<GVariant> params = lumo::ref_sink(parameters);
    lumo::GPtr<GDBusConnection> conn_ref = lumo::bus::service_connection();
    GDBusConnection *conn = conn_ref.get();
    if (!conn) {
        lumo_log(tag, LOG_ERR, "connection is NULL.");
        return 0;
    }
    const char *problem = nullptr;
    if (destination_bus_name && !g_dbus_is_name(destination_bus_name))
        problem = "org.freedesktop.DBus.Error.InvalidArgs: invalid destination bus name";
    else if (!object_path || !g_variant_is_object_path(object_path))
        problem = "org.freedesktop.DBus.Error.InvalidArgs: invalid object path";
    else if (!interface_name || !g_dbus_is_interface_name(interface_name))
        problem = "org.freedesktop.DBus.Error.InvalidArgs: invalid interface name";
    else if (!signal_name || !g_dbus_is_member_name(signal_name))
        problem = "org.freedesktop.DBus.Error.InvalidArgs: invalid signal name";
    else if (params && !g_variant_is_of_type(params.get(), G_VARIANT_TYPE_TUPLE))
        problem = "org.freedesktop.DBus.Error.InvalidArgs: parameters are not a tuple";
    lumo::GPtr<GError> err;
    gboolean ok = FALSE;
    if (!problem) {
        ok = g_dbus_connection_emit_signal(conn, destination_bus_name, object_path, interface_name, signal_name,
                                           params.get(), lumo::out(err));
        if (err)
            problem = err->message;
    }
    if (problem) {
        lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), S(%s): E<%s>", nn(destination_bus_name), nn(object_path),
                 nn(interface_name), nn(signal_name), problem);
        OvanSetErrMsg(problem);
        return 0;
    }
    return ok ? 1 : 0;
}

LUMO3_API uint32_t OvanDBusSubscribeSignal(const char *sender_name, const char *object_path,
                                           const char *interface_name, const char *signal_name,
                                           OvanDBusSignalHandler_t handler, void *user_data)
{
    static const char tag[] = "OvanDBusSubscribeSignal";
    lumo_log(tag, LOG_DEBUG, "sender_name(%s), object_path(%s), interface_name(%s), signal_name(%s)",
             sender_name ? sender_name : "", nn(object_path), nn(interface_name), nn(signal_name));
    lumo::GPtr<GDBusConnection> conn_ref = lumo::bus::service_connection();
    GDBusConnection *conn = conn_ref.get();
    if (!conn) {
        lumo_log(tag, LOG_ERR, "connection is NULL, just return.");
        return 0;
    }
    // GDBus refuses malformed filters with a critical warning; refuse them here.
    if ((sender_name && !g_dbus_is_name(sender_name)) || (object_path && !g_variant_is_object_path(object_path)) ||
        (interface_name && !g_dbus_is_interface_name(interface_name)) ||
        (signal_name && !g_dbus_is_member_name(signal_name))) {
        lumo_log(tag, LOG_ERR, "invalid signal filter, just return.");
        return 0;
    }
    auto *rec = static_cast<OvanDBusSigSubst_t *>(g_try_malloc0(sizeof(OvanDBusSigSubst_t)));
    if (!rec) {
        lumo_log(tag, LOG_ERR, "_OvanDBusAddCustomizedSignalFunction() failed, just return.");
        return 0;
    }
    rec->sender_name = g_strdup(sender_name);
    rec->object_path = g_strdup(object_path);
    rec->interface_name = g_strdup(interface_name);
    rec->signal_name = g_strdup(signal_name);
    rec->callback = handler;
    rec->user_data = user_data;
    {
        std::lock_guard<std::mutex> hold(g_sigsubst_lock);
        rec->next = qzr_dbus_sigsubst_list_head;
        qzr_dbus_sigsubst_list_head = rec;
    }
    rec->subid = g_dbus_connection_signal_subscribe(conn, sender_name, interface_name, signal_name, object_path,
                                                    nullptr, G_DBUS_SIGNAL_FLAGS_NONE, _OvanBusGenericSignalFunction,
                                                    rec, nullptr);
    lumo_log(tag, LOG_DEBUG, "subid (%d)", static_cast<int>(rec->subid));
    return rec->subid;
}

LUMO3_API void OvanDBusUnSubscribeSignal(unsigned int subid)
{
    static const char tag[] = "OvanDBusUnSubscribeSignal";
    lumo_log(tag, LOG_DEBUG, "subid (%u)", subid);
    lumo::GPtr<GDBusConnection> conn_ref = lumo::bus::service_connection();
    GDBusConnection *conn = conn_ref.get();
    if (!conn) {
        lumo_log(tag, LOG_ERR, "connection is NULL, just return.");
        return;
    }
    g_dbus_connection_signal_unsubscribe(conn, subid);
    OvanDBusSigSubst_t *rec;
    {
        std::lock_guard<std::mutex> hold(g_sigsubst_lock);
        rec = lumo::bus::unlink_first(&qzr_dbus_sigsubst_list_head, &OvanDBusSigSubst_t::subid,
                                      static_cast<uint32_t>(subid));
    }
    if (rec)
        free_record(rec);
}

LUMO3_API void _OvanBusGenericSignalFunction(GDBusConnection *, const char *sender_name, const char *object_path,
                                             const char *interface_name, const char *signal_name,
                                             GVariant *parameters, gpointer user_data)
{
    static const char tag[] = "_OvanBusGenericSignalFunction";
    lumo_log(tag, LOG_DEBUG, "Received a signal: sender(%s), path(%s), interface(%s), signal(%s)", nn(sender_name),
             nn(object_path), nn(interface_name), nn(signal_name));
    if (!user_data) {
        lumo_log(tag, LOG_DEBUG, "Empty user_data, illegal.");
        return;
    }
    // The record may have been unsubscribed meanwhile: find it in the list before
    // touching it (records are unique per subscription id).
    OvanDBusSignalHandler_t callback = nullptr;
    void *callback_data = nullptr;
    bool found = false;
    {
        std::lock_guard<std::mutex> hold(g_sigsubst_lock);
        for (OvanDBusSigSubst_t *rec = qzr_dbus_sigsubst_list_head; rec && !found; rec = rec->next) {
            if (rec == user_data) {
                found = true;
                callback = rec->callback;
                callback_data = rec->user_data;
            }
        }
    }
    if (found) {
        // Called without the lock: a handler may subscribe or unsubscribe.
        if (callback)
            callback(sender_name, object_path, interface_name, signal_name, parameters, callback_data);
        return;
    }
    lumo_log(tag, LOG_ERR, "Signal [sender(%s) path(%s), interface(%s), signal(%s)] not Subscribed by any APP.",
             nn(sender_name), nn(object_path), nn(interface_name), nn(signal_name));
}

}  // extern "C"
