// Hosting an application's own D-Bus service: the bus name, the "mainLoop" thread,
// and objects whose calls are routed to the application's callbacks.
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <syslog.h>
#include <unistd.h>

#include "core/service_context.hpp"
#include "bus/connection.hpp"
#include "core/paths.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"

namespace {

using lumo::GPtr;
using lumo::GStr;

const char *nn(const char *s)
{
    return s ? s : "NULL";
}

// The temporary loop that StartService runs until the name is acquired or lost.
// Kept outside the handlers' user data so that a name lost long after the start
// returned finds no loop rather than a freed one.
// Set by the starting thread, read by whichever thread GIO calls the name callbacks in.
std::atomic<GMainLoop *> g_owning_loop{nullptr};
// Whether the name request has been answered. The answer may be dispatched by the
// loop thread of a service stopped just before (it runs the same main context until
// it sees its quit), even before the starting thread runs the temporary loop; a quit
// given then would be lost, so the starting thread also looks at this flag.
std::atomic<bool> g_owning_answered{false};

void answer_owning()
{
    g_owning_answered = true;
    if (GMainLoop *loop = g_owning_loop.load())
        g_main_loop_quit(loop);
}

gboolean quit_when_answered(gpointer loop)
{
    if (g_owning_answered.load())
        g_main_loop_quit(static_cast<GMainLoop *>(loop));
    return G_SOURCE_CONTINUE;
}

void free_context(OvanDBusServiceContext_t *ctx)
{
    if (ctx->connection)
        g_object_unref(ctx->connection);
    if (ctx->main_loop)
        g_main_loop_unref(ctx->main_loop);
    if (ctx->main_context)
        g_main_context_unref(ctx->main_context);
    if (ctx->thread)
        g_thread_unref(ctx->thread);
    g_free(ctx->errmsg);
    g_free(ctx);
}

void on_name_acquired(GDBusConnection *, const gchar *, gpointer)
{
    answer_owning();
}

void on_name_lost(GDBusConnection *connection, const gchar *name, gpointer)
{
    OvanDBusServiceContext_t *ctx = lumo::service_context();
    lumo_log("on_name_lost", LOG_NOTICE, "%d: connection = %p, name = %s, loop %p, ctx %p",
             static_cast<int>(gettid()), static_cast<void *>(connection), nn(name),
             static_cast<void *>(g_owning_loop.load()), static_cast<void *>(ctx ? ctx->main_context : nullptr));
    if (ctx)
        __atomic_store_n(&ctx->errState, 1, __ATOMIC_RELEASE);  // read by the starting thread
    answer_owning();
}

struct LoopThreadArgs {
    GMainContext *context;
    GMainLoop *loop;
    bool stop;  // under g_loop_lock
};

// The loop thread of the started service, so that a stop reaches it even before its
// loop runs: another thread iterating the same context (the next start, or the loop
// thread of a service stopped before) may dispatch the quit first, and a quit given
// before the loop runs is lost. The thread clears it, under the lock, before it ends.
std::mutex g_loop_lock;
LoopThreadArgs *g_current_loop = nullptr;

bool stop_requested(LoopThreadArgs *args)
{
    std::lock_guard<std::mutex> hold(g_loop_lock);
    return args->stop;
}

gpointer main_loop_thread(gpointer data)
{
    auto *args = static_cast<LoopThreadArgs *>(data);
    // Another thread may own the context for a while (a stopped service's loop thread
    // until it has seen its quit, or the next start): wait for it rather than push a
    // context that another thread holds, unless this service is stopped meanwhile.
    bool acquired = false;
    for (gulong pause = 1000; !(acquired = g_main_context_acquire(args->context)) && !stop_requested(args);
         pause = MIN(pause * 2, 50000))
        g_usleep(pause);
    // Held from the last look at the stop flag until the loop runs, so that nobody
    // else can dispatch the quit in between.
    if (acquired && !stop_requested(args)) {
        g_main_context_push_thread_default(args->context);
        g_main_loop_run(args->loop);
        g_main_context_pop_thread_default(args->context);
    }
    if (acquired)
        g_main_context_release(args->context);
    {
        std::lock_guard<std::mutex> hold(g_loop_lock);
        if (g_current_loop == args)
            g_current_loop = nullptr;
    }
    g_main_loop_unref(args->loop);
    g_main_context_unref(args->context);
    g_free(args);
    return nullptr;
}

gboolean quit_loop(gpointer loop)
{
    g_main_loop_quit(static_cast<GMainLoop *>(loop));
    return G_SOURCE_REMOVE;
}

// Copies what follows a control-file key (from `offset` on) into `out`.
template <size_t N>
void take_value(const char *line, size_t offset, char (&out)[N])
{
    out[0] = '\0';
    if (std::strlen(line) > offset)
        g_strlcpy(out, line + offset, N);
}

// "com.<vendor>.<package><dbus version>" in lower case, from the control file of the
// package named after this process; null when any part is missing.
GStr derive_service_name()
{
    static const char tag[] = "_get_service_name";
    char first[256] = {0};
    {
        GStr stat_path = lumo::paths::proc_self_stat();
        FILE *fp = std::fopen(stat_path.get(), "r");
        if (!fp)
            return {};
        if (!std::fgets(first, sizeof first, fp))
            first[0] = '\0';
        std::fclose(fp);
    }
    const char *open = std::strchr(first, '(');
    const char *close = open ? std::strchr(open + 1, ')') : nullptr;
    if (!close || close == open + 1 || close - open - 1 > 15)
        return {};
    char process[16] = {0};
    std::memcpy(process, open + 1, static_cast<size_t>(close - open - 1));

    GStr fixed(g_strdup_printf("%s/%s.control", lumo::paths::kOpkgInfoDir, process));
    GStr control = lumo::paths::resolve(fixed.get());
    FILE *fp = std::fopen(control.get(), "r");
    if (!fp) {
        lumo_log(tag, LOG_ERR, "%s open failed %m", control.get());
        return {};
    }
    char package[16] = {0}, vendor[32] = {0}, version[8] = {0};
    char line[256];
    GStr result;
    while (std::fgets(line, sizeof line, fp)) {
        g_strchomp(line);
        if (std::strstr(line, "Package:"))
            take_value(line, 9, package);
        if (std::strstr(line, "Vendor:"))
            take_value(line, 8, vendor);
        if (std::strstr(line, "DbusVersion:"))
            take_value(line, 13, version);
        if (package[0] && vendor[0] && version[0]) {
            GStr name(g_strdup_printf("com.%s.%s%s", vendor, package, version));
            result.reset(g_ascii_strdown(name.get(), -1));
            break;
        }
    }
    std::fclose(fp);
    return result;
}

// Guards the registration list: it is changed by the application's threads and
// walked by the "mainLoop" thread.
std::mutex g_reg_lock;

// The registration of path and interface; the caller holds g_reg_lock.
OvanDBusObjReg_t *find_locked(const char *path, const char *iface)
{
    for (OvanDBusObjReg_t *rec = qzr_dbus_obj_reg_list_head; rec; rec = rec->next)
        if (std::strcmp(rec->object_path, path) == 0 && std::strcmp(rec->interface_name, iface) == 0)
            return rec;
    return nullptr;
}

void free_record(OvanDBusObjReg_t *rec)
{
    if (!rec)
        return;
    g_free(rec->object_path);
    g_free(rec->interface_name);
    g_free(rec);
}

// The connection the listed registrations were made on (a reference of our own).
GDBusConnection *g_reg_conn = nullptr;

// Registrations live on one connection. A service started again on another one (the
// bus daemon restarted, say) has lost them all: the records are dropped, so that
// the application can register its objects again.
void forget_other_connection(GDBusConnection *conn)
{
    OvanDBusObjReg_t *stale = nullptr;
    {
        std::lock_guard<std::mutex> hold(g_reg_lock);
        if (g_reg_conn == conn)
            return;
        if (g_reg_conn) {
            stale = qzr_dbus_obj_reg_list_head;
            qzr_dbus_obj_reg_list_head = nullptr;
            g_object_unref(g_reg_conn);
        }
        g_reg_conn = G_DBUS_CONNECTION(g_object_ref(conn));
    }
    while (stale) {
        OvanDBusObjReg_t *next = stale->next;
        free_record(stale);
        stale = next;
    }
}

bool registered(const char *path, const char *iface)
{
    std::lock_guard<std::mutex> hold(g_reg_lock);
    return find_locked(path, iface) != nullptr;
}

// The callbacks registered for path and interface, copied under the lock: another
// thread may unregister (and free) the record while a call is being answered.
OvanDBusInterfaceVTable_t find_callbacks(const char *path, const char *iface)
{
    std::lock_guard<std::mutex> hold(g_reg_lock);
    const OvanDBusObjReg_t *rec = find_locked(path, iface);
    return rec && rec->callbacks ? *rec->callbacks : OvanDBusInterfaceVTable_t{};
}

bool is_properties_interface(const char *iface)
{
    return std::strcmp(iface, "org.freedesktop.DBus.Properties") == 0 ||
           std::strcmp(iface, "com.quv.igd1.Properties") == 0;
}

void generic_method_call(GDBusConnection *, const gchar *, const gchar *object_path, const gchar *interface_name,
                         const gchar *method_name, GVariant *parameters, GDBusMethodInvocation *invocation,
                         gpointer user_data)
{
    // Property requests name the real interface in their first argument; the
    // registration of that interface answers them.
    const char *target = interface_name;
    GPtr<GVariant> first;
    if (is_properties_interface(interface_name)) {
        target = nullptr;
        if (g_variant_n_children(parameters) > 0) {
            first.reset(g_variant_get_child_value(parameters, 0));
            if (g_variant_is_of_type(first.get(), G_VARIANT_TYPE_STRING))
                target = g_variant_get_string(first.get(), nullptr);
        }
    }
    const OvanDBusInterfaceVTable_t callbacks = target ? find_callbacks(object_path, target) : OvanDBusInterfaceVTable_t{};
    if (!callbacks.method_call) {
        // Nobody answers: the caller runs into its time-out.
        g_object_unref(invocation);
        return;
    }
    GVariant *raw_reply = nullptr;
    int32_t ret = callbacks.method_call(object_path, interface_name, method_name, parameters, &raw_reply, user_data);
    GPtr<GVariant> reply = lumo::ref_sink(raw_reply);
    if (ret != 0 && reply) {
        if (g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(uis)"))) {
            guint32 domain = 0;
            gint32 code = 0;
            const char *message = nullptr;
            g_variant_get(reply.get(), "(ui&s)", &domain, &code, &message);
            g_dbus_method_invocation_return_error(invocation, domain, code, "%s", message);
        } else {
            g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                       "method failed");
        }
        return;
    }
    if (reply && !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE_TUPLE)) {
        // GDBus cannot send it and would leave the caller waiting for its time-out.
        lumo_log("generic_method_call", LOG_ERR, "reply of %s is not a tuple: %s", method_name,
                 g_variant_get_type_string(reply.get()));
        g_dbus_method_invocation_return_dbus_error(invocation, "org.freedesktop.DBus.Error.Failed",
                                                   "invalid reply");
        return;
    }
    g_dbus_method_invocation_return_value(invocation, reply.get());
}

// GDBus requires an error with every refusal from the property slots (it aborts
// the process otherwise), so a missing value or callback is answered with one.
GVariant *generic_get_property(GDBusConnection *, const gchar *, const gchar *object_path,
                               const gchar *interface_name, const gchar *property_name, GError **error,
                               gpointer user_data)
{
    const OvanDBusInterfaceVTable_t callbacks = find_callbacks(object_path, interface_name);
    GVariant *value = nullptr;
    if (callbacks.get_property)
        callbacks.get_property(object_path, property_name, &value, user_data);
    if (!value)
        g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_FAILED, "No value for property %s", property_name);
    return value;
}

gboolean generic_set_property(GDBusConnection *, const gchar *, const gchar *object_path,
                              const gchar *interface_name, const gchar *property_name, GVariant *value,
                              GError **error, gpointer user_data)
{
    const OvanDBusInterfaceVTable_t callbacks = find_callbacks(object_path, interface_name);
    if (!callbacks.set_property) {
        g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_FAILED, "Property %s cannot be set", property_name);
        return FALSE;
    }
    callbacks.set_property(object_path, property_name, value, user_data);
    return TRUE;
}

}  // namespace

extern "C" {

LUMO3_API OvanDBusObjReg_t *qzr_dbus_obj_reg_list_head = nullptr;
// interface_vtable (lumo3_bus.h) is defined by the application framework, whose
// management dispatcher fills its method slot.

LUMO3_API int32_t OvanDBusStartService(const char *service_name)
{
    static const char tag[] = "OvanDBusStartService";
    GStr derived;
    if (!service_name || !*service_name) {
        derived = derive_service_name();
        if (!derived) {
            lumo_log(tag, LOG_ERR, "Invalid Parameter.");
            return -1;
        }
        service_name = derived.get();
    }
    if (!g_dbus_is_name(service_name) || g_dbus_is_unique_name(service_name)) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }

    OvanDBusServiceContext_t *ctx = lumo::service_context();
    if (!ctx) {
        ctx = static_cast<OvanDBusServiceContext_t *>(g_try_malloc0(sizeof(OvanDBusServiceContext_t)));
        if (!ctx) {
            lumo_log(tag, LOG_ERR, "Memory allocate failed.");
            return -1;
        }
        g_strlcpy(ctx->service_name, service_name, sizeof ctx->service_name);
        lumo::set_service_context(ctx);
    } else if (ctx->is_service_started) {
        lumo_log(tag, LOG_ERR, "Service %s is already started.", ctx->service_name);
        return -1;
    }
    ctx->is_service_started = 1;
    ctx->errState = 0;

    // The name is requested on the connection the library's calls use. GIO's shared
    // connection may have been closed (a failed start closes it), and g_bus_own_name
    // would request the name on that closed one again for as long as anything still
    // holds it, so that no later start could succeed.
    if (ctx->connection && g_dbus_connection_is_closed(ctx->connection)) {
        g_object_unref(ctx->connection);
        ctx->connection = nullptr;
    }
    if (!ctx->connection)
        ctx->connection = lumo::bus::connection_for_call(tag, nullptr, nullptr).release();

    // Handlers of the name request run in this thread's default context; block on a
    // temporary loop there until the name is ours or lost.
    GPtr<GMainContext> context(g_main_context_ref_thread_default());
    if (ctx->connection) {
        GPtr<GMainLoop> owning(g_main_loop_new(context.get(), FALSE));
        g_owning_answered = false;
        g_owning_loop = owning.get();
        // Catches an answer whose quit came before the loop ran (see g_owning_answered).
        GPtr<GSource> check(g_timeout_source_new(20));
        // Its own reference: the stopped service's loop thread may be running it.
        g_source_set_callback(check.get(), quit_when_answered, g_main_loop_ref(owning.get()),
                              reinterpret_cast<GDestroyNotify>(g_main_loop_unref));
        g_source_attach(check.get(), context.get());
        // The full name is requested; the context keeps it cut to its field.
        ctx->owner_id = g_bus_own_name_on_connection(ctx->connection, service_name, G_BUS_NAME_OWNER_FLAGS_NONE,
                                                     on_name_acquired, on_name_lost, nullptr, nullptr);
        if (!g_owning_answered.load())
            g_main_loop_run(owning.get());
        g_source_destroy(check.get());
        g_owning_loop = nullptr;
    } else {
        on_name_lost(nullptr, service_name, nullptr);  // no bus: the name is lost at once
    }

    if (__atomic_load_n(&ctx->errState, __ATOMIC_ACQUIRE) == 0) {
        ctx->main_context = g_main_context_ref(context.get());
        ctx->main_loop = g_main_loop_new(context.get(), FALSE);
        auto *args = g_new(LoopThreadArgs, 1);
        args->context = g_main_context_ref(context.get());
        args->loop = g_main_loop_ref(ctx->main_loop);
        args->stop = false;
        {
            std::lock_guard<std::mutex> hold(g_loop_lock);
            g_current_loop = args;
        }
        ctx->thread = g_thread_new("mainLoop", main_loop_thread, args);
        lumo_log(tag, LOG_NOTICE, "DBUS Service '%s' is Started.", ctx->service_name);
        return 0;
    }
    if (ctx->is_service_started) {
        ctx->is_service_started = 0;
        // The name request is dropped while the connection is still open: dropped
        // after the close, GIO may try to release the name on a connection that is
        // closing and warn.
        if (ctx->owner_id)
            g_bus_unown_name(ctx->owner_id);
        if (ctx->connection && !g_dbus_connection_is_closed(ctx->connection))
            g_dbus_connection_close_sync(ctx->connection, nullptr, nullptr);
        lumo::set_service_context(nullptr);
        free_context(ctx);
        lumo_log(tag, LOG_ERR, "ERR: errState is 1, release dbus_service_context and return.");
    } else {
        lumo_log(tag, LOG_ERR, "ERR: errState is 1, but is_service_started is 0");
    }
    return -1;
}

LUMO3_API int32_t OvanDBusStopService(void)
{
    static const char tag[] = "OvanDBusStopService";
    lumo_log(tag, LOG_DEBUG, "%d, Enter.", static_cast<int>(gettid()));
    OvanDBusServiceContext_t *ctx = lumo::service_context();
    if (!ctx || !ctx->is_service_started)
        return -1;
    ctx->is_service_started = 0;
    {
        std::lock_guard<std::mutex> hold(g_loop_lock);
        if (g_current_loop)
            g_current_loop->stop = true;
        g_current_loop = nullptr;
    }
    if (ctx->main_loop && ctx->main_context) {
        // Quits a loop that is already running, from inside its own context; a loop
        // not yet running sees the stop flag set above instead.
        GSource *idle = g_idle_source_new();
        g_source_set_callback(idle, quit_loop, g_main_loop_ref(ctx->main_loop),
                              reinterpret_cast<GDestroyNotify>(g_main_loop_unref));
        g_source_attach(idle, ctx->main_context);
        g_source_unref(idle);
    }
    g_bus_unown_name(ctx->owner_id);
    lumo::set_service_context(nullptr);
    free_context(ctx);
    return 0;
}

LUMO3_API GDBusNodeInfo *OvanDBusNodeParseXml(const char *xml)
{
    if (!xml)
        return nullptr;
    return g_dbus_node_info_new_for_xml(xml, nullptr);
}

LUMO3_API GDBusInterfaceInfo *OvanDBusNodeFindInterface(GDBusNodeInfo *node_info, const char *interface_name)
{
    lumo_log("OvanDBusNodeFindInterface", LOG_DEBUG, "interface_name(%s)", nn(interface_name));
    if (!node_info || !interface_name)
        return nullptr;
    return g_dbus_node_info_lookup_interface(node_info, interface_name);
}

LUMO3_API void OvanDBusNodeInfoUnref(GDBusNodeInfo *node_info)
{
    lumo_log("OvanDBusNodeInfoUnref", LOG_DEBUG, "node_info(%p)", static_cast<void *>(node_info));
    if (node_info)
        g_dbus_node_info_unref(node_info);
}

LUMO3_API int32_t OvanDBusRegisterObject(const char *object_path, GDBusInterfaceInfo *interface_info,
                                         const OvanDBusInterfaceVTable_t *callbacks, void *user_data)
{
    static const char tag[] = "OvanDBusRegisterObject";
    lumo_log(tag, LOG_DEBUG, "object_path(%s)", nn(object_path));
    lumo::GPtr<GDBusConnection> conn_ref = lumo::bus::service_connection();
    GDBusConnection *conn = conn_ref.get();
    if (!conn) {
        lumo_log(tag, LOG_ERR, "connection is NULL, just return.");
        return -1;
    }
    if (!interface_info)
        return 0;
    if (!object_path || !g_variant_is_object_path(object_path)) {
        lumo_log(tag, LOG_ERR, "invalid object path.");
        return 0;
    }
    GDBusInterfaceVTable vtable = {};
    OvanDBusObjReg_t *rec = nullptr;
    if (callbacks) {
        forget_other_connection(conn);
        if (registered(object_path, interface_info->name))
            return 0;
        rec = static_cast<OvanDBusObjReg_t *>(g_try_malloc0(sizeof(OvanDBusObjReg_t)));
        if (!rec)
            return 0;
        rec->object_path = g_strdup(object_path);
        rec->interface_name = g_strdup(interface_info->name);
        rec->callbacks = callbacks;
        std::lock_guard<std::mutex> hold(g_reg_lock);
        rec->next = qzr_dbus_obj_reg_list_head;
        qzr_dbus_obj_reg_list_head = rec;
        vtable.method_call = callbacks->method_call ? generic_method_call : nullptr;
        vtable.get_property = callbacks->get_property ? generic_get_property : nullptr;
        vtable.set_property = callbacks->set_property ? generic_set_property : nullptr;
    }
    guint id = g_dbus_connection_register_object(conn, object_path, interface_info, callbacks ? &vtable : nullptr,
                                                 user_data, nullptr, nullptr);
    if (rec)
        rec->reg_id = id;
    return static_cast<int32_t>(id);
}

LUMO3_API void OvanDBusUnRegisterObject(unsigned int reg_id)
{
    static const char tag[] = "OvanDBusUnRegisterObject";
    lumo_log(tag, LOG_DEBUG, "id(%d)", static_cast<int>(reg_id));
    if (reg_id == 0) {
        lumo_log(tag, LOG_ERR, "invalid registration id.");
        return;
    }
    lumo::GPtr<GDBusConnection> conn_ref = lumo::bus::service_connection();
    GDBusConnection *conn = conn_ref.get();
    if (!conn) {
        lumo_log(tag, LOG_ERR, "connection is NULL, just return.");
        return;
    }
    g_dbus_connection_unregister_object(conn, reg_id);
    OvanDBusObjReg_t *rec;
    {
        std::lock_guard<std::mutex> hold(g_reg_lock);
        rec = lumo::bus::unlink_first(&qzr_dbus_obj_reg_list_head, &OvanDBusObjReg_t::reg_id,
                                      static_cast<uint32_t>(reg_id));
    }
    free_record(rec);
}

}  // extern "C"
