// Driving the application framework: run, stop, reload, uninstall, status, list,
// kernel modules, and the asynchronous install, upgrade and reinstall.
#include <cstring>
#include <syslog.h>

#include "appframework/agent.hpp"
#include "lumo3_app.h"
#include "lumo3_core.h"
#include "core/service_context.hpp"

namespace {

using namespace lumo::app;
using lumo::GPtr;

// A call answered with "(i)": the framework's integer, or 0 when the call failed.
int32_t int_call(const char *tag, const char *method, GVariant *args)
{
    GPtr<GVariant> reply = call_agent(tag, method, args, "(i)");
    if (!reply)
        return 0;
    gint32 ret = 0;
    g_variant_get(reply.get(), "(i)", &ret);
    lumo_log(tag, LOG_DEBUG, "Call %s ret [%d].", method, ret);
    return ret;
}

int32_t stop_reload(const char *tag, const char *app_name, bool reload)
{
    if (empty(app_name))
        return 0;
    lumo_log(tag, LOG_DEBUG, "Enter (app %s)", app_name);
    GVariant *args = text_tuple(tag, app_name);
    return args ? int_call(tag, reload ? "Reload" : "Stop", args) : 0;
}

constexpr const char *kInstallMethods[] = {"Install", "Upgrade", "Reinstall"};

int32_t install_async(const char *tag, const char *file_path, void *user_data, GAsyncReadyCallback callback,
                      int which)
{
    if (empty(file_path))
        return -1;
    // A reference of our own: the call goes out (and its callback runs) whatever
    // another thread does to the service meanwhile.
    lumo::GPtr<GDBusConnection> conn = lumo::with_service_context([](const OvanDBusServiceContext_t *ctx) {
        return lumo::GPtr<GDBusConnection>(ctx && ctx->is_service_started && ctx->connection
                                               ? G_DBUS_CONNECTION(g_object_ref(ctx->connection))
                                               : nullptr);
    });
    if (!conn) {
        lumo_log(tag, LOG_ERR, "Please call OvanDBusStartService first.");
        return -1;
    }
    GVariant *args = text_tuple(tag, file_path);
    if (!args)
        return -1;
    const char *method = kInstallMethods[which];
    lumo_log(tag, LOG_DEBUG, "Call %s, file %s.", method, file_path);
    // No time-out: an installation takes as long as it takes.
    g_dbus_connection_call(conn.get(), kFrameworkName, kFrameworkPath, kAgentIface, method, args,
                           G_VARIANT_TYPE("(iss)"), G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, callback, user_data);
    return 0;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanStartApp(const char *app_name)
{
    static const char tag[] = "OvanStartApp";
    lumo_log(tag, LOG_DEBUG, "Enter (app %s)", nn(app_name));
    if (empty(app_name))
        return -1;
    GVariant *args = text_tuple(tag, app_name);
    return args ? int_call(tag, "Run", args) : -1;
}

LUMO3_API int32_t OvanStopApp(const char *app_name)
{
    return stop_reload("OvanStopApp", app_name, false);
}

LUMO3_API int32_t OvanReloadApp(const char *app_name)
{
    return stop_reload("OvanReloadApp", app_name, true);
}

LUMO3_API int32_t OvanUninstallApp(const char *app_name)
{
    static const char tag[] = "OvanUninstallApp";
    lumo_log(tag, LOG_DEBUG, "Enter (app %s)", nn(app_name));
    if (empty(app_name)) {
        lumo_log(tag, LOG_ERR, "empty app name.");
        return -1;
    }
    GVariant *args = text_tuple(tag, app_name);
    return args ? int_call(tag, "Uninstall", args) : -1;
}

LUMO3_API int32_t OvanGetAppStatus(OvanAppStatus_t *status)
{
    static const char tag[] = "OvanGetAppStatus";
    // The name field is the caller's: read it only up to its own end.
    const bool terminated = status && std::memchr(status->name, '\0', sizeof status->name);
    lumo_log(tag, LOG_DEBUG, "Enter (app %s)", terminated ? status->name : "NULL");
    if (!status)
        return -1;
    if (!terminated) {
        lumo_log(tag, LOG_ERR, "app name is not terminated.");
        return -1;
    }
    GVariant *args = text_tuple(tag, status->name);
    if (!args)
        return -1;
    GPtr<GVariant> reply = call_agent(tag, "GetStatus", args, "(s)");
    if (!reply)
        return 0;
    const char *text = nullptr;
    g_variant_get(reply.get(), "(&s)", &text);
    lumo_log(tag, LOG_DEBUG, "Call GetStatus name %s, status [%s].", status->name, text);
    g_strlcpy(status->status, text, sizeof status->status);
    return 0;
}

LUMO3_API int32_t OvanListApp(OvanAppInfo_t **list, uint32_t *count)
{
    static const char tag[] = "OvanListApp";
    lumo_log(tag, LOG_DEBUG, "Enter");
    if (!list || !count)
        return -1;
    GPtr<GVariant> reply = call_agent(tag, "List", nullptr, "(a{sv})");
    if (!reply)
        return 0;
    GPtr<GVariant> dict(g_variant_get_child_value(reply.get(), 0));
    const gsize n = g_variant_n_children(dict.get());
    // Never null, even for no entries: callers take null for "nothing was stored".
    auto *entries = g_new0(OvanAppInfo_t, MAX(n, 1));
    lumo_log(tag, LOG_DEBUG, "Call List app count [%d].", static_cast<int>(n));
    for (gsize i = 0; i < n; ++i) {
        const char *key = nullptr;
        GVariant *boxed = nullptr;
        g_variant_get_child(dict.get(), i, "{&sv}", &key, &boxed);
        GPtr<GVariant> value(boxed);
        OvanAppInfo_t &e = entries[i];
        const char *text = "", *state = "";
        // Library packages carry two strings; applications add their number and a
        // signed word of the framework's own. A value of another shape leaves the
        // entry with its name only.
        if (std::strncmp(key, "lib", 3) == 0) {
            if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE("(ss)")))
                g_variant_get(value.get(), "(&s&s)", &text, &state);
            e.flag = 1;
        } else if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE("(ssui)"))) {
            g_variant_get(value.get(), "(&s&sui)", &text, &state, &e.flag, nullptr);
        }
        g_strlcpy(e.name, key, sizeof e.name);
        g_strlcpy(e.text, text, sizeof e.text);
        g_strlcpy(e.state, state, sizeof e.state);
    }
    *count = static_cast<uint32_t>(n);
    *list = entries;
    return 0;
}

LUMO3_API int32_t OvanHandleKernelModules(const char *pkg_name, int action, const char *mod_name,
                                          const char *extra)
{
    static const char tag[] = "OvanHandleKernelModules";
    lumo_log(tag, LOG_DEBUG, "Enter (pkg %s, action %d, mod %s)", nn(pkg_name), action, nn(mod_name));
    if (empty(pkg_name) || empty(mod_name))
        return -1;
    if (!text_ok(tag, pkg_name) || !text_ok(tag, mod_name) || !text_ok(tag, extra))
        return -1;
    GVariant *args = g_variant_new("(sbss)", pkg_name, action ? TRUE : FALSE, mod_name, empty(extra) ? "" : extra);
    return int_call(tag, "HandleKernelMod", args);
}

LUMO3_API int32_t OvanInstallApp(const char *file_path, void *user_data, GAsyncReadyCallback callback)
{
    return install_async("OvanInstallApp", file_path, user_data, callback, 0);
}

LUMO3_API int32_t OvanUpgradeApp(const char *file_path, void *user_data, GAsyncReadyCallback callback)
{
    return install_async("OvanUpgradeApp", file_path, user_data, callback, 1);
}

LUMO3_API int32_t OvanReinstallApp(const char *file_path, void *user_data, GAsyncReadyCallback callback)
{
    return install_async("OvanReinstallApp", file_path, user_data, callback, 2);
}

}  // extern "C"
