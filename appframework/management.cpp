// The management object an application hosts for the framework, the calls that ask
// the framework to manage an application, and the application's alarm signal.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <syslog.h>

#include "core/service_context.hpp"
#include "appframework/agent.hpp"
#include "lumo3_app.h"
#include "lumo3_core.h"
#include "lumo3_uci.h"

namespace {

using namespace lumo::app;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kStopXml[] = "<method name='Stop'><arg type='i' name='response' direction='out'/></method>";
constexpr const char kReloadXml[] =
    "<method name='Reload'><arg type='i' name='response' direction='out'/></method>";
constexpr const char kPostMsgXml[] =
    "<method name='PostMsg'><arg type='s' name='message' direction='in'/><arg type='s' name='response' "
    "direction='out'/></method>";
constexpr const char kRestoreXml[] =
    "<method name='Restore'><arg type='i' name='response' direction='out'/></method>";
constexpr const char kStatsXml[] =
    "<method name='GetStatistics'><arg type='s' name='response' direction='out'/></method>";

constexpr const char kDispatchTag[] = "_handle_method_call";

// Written by the registering thread, read by the "mainLoop" thread.
const OvanAppMgtFuncs_t *current_funcs(const OvanDBusServiceContext_t *ctx)
{
    return __atomic_load_n(&ctx->mgt_funcs, __ATOMIC_ACQUIRE);
}

// The management object's path: at most 62 characters of the service name, every
// "." a "/".
void management_path(const char *service_name, char (&path)[64])
{
    std::snprintf(path, sizeof path, "/%.62s", service_name);
    for (char *p = path; *p; ++p)
        if (*p == '.')
            *p = '/';
}

GVariant *error_reply(const char *message)
{
    return g_variant_new("(uis)", static_cast<guint32>(G_DBUS_ERROR), static_cast<gint32>(G_DBUS_ERROR_FAILED),
                         message);
}

// A callback the application did not provide: the last error names it.
void missing(const char *service, const char *method, const char *field)
{
    GStr text(g_strdup_printf("%s do not provide %s callback", service, method));
    OvanSetErrMsg(text.get());
    lumo_log(kDispatchTag, LOG_INFO, "%s %s callback is null", service, field);
}

// The management dispatcher: the method slot of interface_vtable.
int32_t handle_method_call(const char *, const char *, const char *method_name, OvanVariant *parameters,
                           OvanVariant **reply, void *)
{
    OvanSetErrMsg(nullptr);
    if (!method_name || !reply)
        return 0;
    // Everything needed is taken before a callback runs: a stop callback may well
    // stop the service, and the context goes with it.
    char service[64] = "";
    const OvanAppMgtFuncs_t *funcs = nullptr;
    lumo::with_service_context([&](const OvanDBusServiceContext_t *ctx) {
        if (ctx) {
            g_strlcpy(service, ctx->service_name, sizeof service);
            funcs = current_funcs(ctx);
        }
    });

    struct IntMethod {
        const char *name, *field;
        int (*OvanAppMgtFuncs_t::*slot)(void);
    };
    static const IntMethod int_methods[] = {
        {"Stop", "stop", &OvanAppMgtFuncs_t::stop},
        {"Reload", "reload", &OvanAppMgtFuncs_t::reload},
        {"Restore", "restore_factory", &OvanAppMgtFuncs_t::restore_factory},
    };
    for (const IntMethod &m : int_methods) {
        if (std::strcmp(method_name, m.name) != 0)
            continue;
        int (*callback)(void) = funcs ? funcs->*m.slot : nullptr;
        if (!callback) {
            missing(service, m.name, m.field);
            *reply = g_variant_new("(i)", 0);
            return 0;
        }
        int ret = callback();
        *reply = g_variant_new("(i)", ret);
        return ret;
    }
    if (std::strcmp(method_name, "PostMsg") == 0) {
        if (!funcs || !funcs->post_msg) {
            missing(service, "PostMsg", "post_msg");
            *reply = g_variant_new("(s)", "");
            return 0;
        }
        const char *message = "";
        if (parameters && g_variant_is_of_type(parameters, G_VARIANT_TYPE("(s)")))
            g_variant_get(parameters, "(&s)", &message);
        const char *answer = funcs->post_msg(message);
        *reply = g_variant_new("(s)", answer && g_utf8_validate(answer, -1, nullptr) ? answer : "");
        return 0;
    }
    if (std::strcmp(method_name, "GetStatistics") == 0) {
        if (!funcs || !funcs->get_stats) {
            missing(service, "GetStatistics", "get_stats");
            *reply = error_reply(OvanGetErrMsg() ? OvanGetErrMsg() : "no get_stats callback");
            return -1;
        }
        const char *stats = funcs->get_stats();
        if (!stats || !g_utf8_validate(stats, -1, nullptr)) {
            // GDBus cannot carry a null or malformed string: the caller gets an error.
            GStr text(g_strdup_printf("%s get_stats callback returned no valid text", service));
            OvanSetErrMsg(text.get());
            lumo_log(kDispatchTag, LOG_ERR, "%s", text.get());
            *reply = error_reply(text.get());
            return -1;
        }
        *reply = g_variant_new("(s)", stats);
        return 0;
    }
    return 0;
}

}  // namespace

extern "C" {

// The hosting layer declares the table and dispatches the management object's calls
// through it; the dispatcher fills its method slot from here, so the bus layer never
// refers to the framework. Constant data: nothing runs at start-up, and the table is
// complete for any caller, registered or not.
LUMO3_API OvanDBusInterfaceVTable_t interface_vtable = {handle_method_call, nullptr, nullptr};

LUMO3_API GDBusNodeInfo *OvanAppRegisterMgtFuncs(const OvanAppMgtFuncs_t *funcs)
{
    static const char tag[] = "OvanAppRegisterMgtFuncs";
    OvanDBusServiceContext_t *ctx = lumo::service_context();
    if (!ctx || !ctx->is_service_started) {
        lumo_log(tag, LOG_ERR, "Please call OvanDBusStartService before this func.");
        return nullptr;
    }
    __atomic_store_n(&ctx->mgt_funcs, funcs, __ATOMIC_RELEASE);
    const OvanAppMgtFuncs_t none = {};
    const OvanAppMgtFuncs_t &f = funcs ? *funcs : none;
    lumo_log(tag, LOG_DEBUG, "%p/%p/%p/%p/%p", reinterpret_cast<void *>(f.stop), reinterpret_cast<void *>(f.reload),
             reinterpret_cast<void *>(f.post_msg), reinterpret_cast<void *>(f.restore_factory),
             reinterpret_cast<void *>(f.get_stats));

    GStr xml(g_strdup_printf("<node>  <interface name='%s.management'>%s%s%s%s%s  </interface></node>",
                             ctx->service_name, f.stop ? kStopXml : "", f.reload ? kReloadXml : "",
                             f.post_msg ? kPostMsgXml : "", f.restore_factory ? kRestoreXml : "",
                             f.get_stats ? kStatsXml : ""));
    if (!xml) {
        lumo_log(tag, LOG_ERR, "Failed to malloc mm_xml.");
        return nullptr;
    }
    GDBusNodeInfo *node = OvanDBusNodeParseXml(xml.get());
    if (!node || !node->interfaces || !node->interfaces[0]) {
        lumo_log(tag, LOG_ERR, "Failed to parse mm_xml.");
        if (node)
            OvanDBusNodeInfoUnref(node);
        return nullptr;
    }
    char path[64];
    management_path(ctx->service_name, path);
    // A name cut in the middle may leave a path or interface GDBus would refuse with
    // a critical; such a name is simply not registered.
    int32_t id = 0;
    if (g_variant_is_object_path(path) && g_dbus_is_interface_name(node->interfaces[0]->name))
        id = OvanDBusRegisterObject(path, node->interfaces[0], &interface_vtable, nullptr);
    if (id == 0 || id == -1)
        lumo_log(tag, LOG_ERR, "Failed to register management object %s.", ctx->service_name);
    return node;
}

LUMO3_API int32_t OvanFactoryPlugin(const char *app_name)
{
    static const char tag[] = "OvanFactoryPlugin";
    GPtr<GVariant> reply = call_for_app(tag, "Restore", app_name, "(i)");
    if (!reply)
        return 0;
    gint32 ret = 0;
    g_variant_get(reply.get(), "(i)", &ret);
    lumo_log(tag, LOG_DEBUG, "Call Restore ret [%d].", ret);
    return ret;
}

LUMO3_API char *OvanPostMsg(const char *app_name, const char *message)
{
    static const char tag[] = "OvanPostMsg";
    lumo_log(tag, LOG_DEBUG, "Enter (app %s, msg %s)", nn(app_name), nn(message));
    if (empty(app_name) || !text_ok(tag, app_name) || !text_ok(tag, message))
        return nullptr;
    GPtr<GVariant> reply =
        call_agent(tag, "PostMsg", g_variant_new("(ss)", app_name, message ? message : ""), "(s)", 20000);
    if (!reply)
        return nullptr;
    char *text = nullptr;
    g_variant_get(reply.get(), "(s)", &text);
    lumo_log(tag, LOG_DEBUG, "Call PostMsg retmsg [%s].", text);
    return text;
}

LUMO3_API char *OvanGetAppStatistics(const char *app_name)
{
    static const char tag[] = "OvanGetAppStatistics";
    GPtr<GVariant> reply = call_for_app(tag, "GetStatistics", app_name, "(s)");
    if (!reply)
        return nullptr;
    char *text = nullptr;
    g_variant_get(reply.get(), "(s)", &text);
    lumo_log(tag, LOG_DEBUG, "Call GetStatistics retmsg [%s].", text);
    return text;
}

LUMO3_API int32_t OvanAppSendAlarm(const char *message)
{
    static const char tag[] = "OvanAppSendAlarm";
    lumo_log(tag, LOG_DEBUG, "In (%s)", message ? message : "");
    if (empty(message) || !text_ok(tag, message))
        return -1;
    // A reference of our own keeps the connection alive should another thread stop
    // the service meanwhile.
    char service[64] = "";
    GPtr<GDBusConnection> conn;
    lumo::with_service_context([&](const OvanDBusServiceContext_t *ctx) {
        if (ctx && ctx->connection) {
            g_strlcpy(service, ctx->service_name, sizeof service);
            conn.reset(G_DBUS_CONNECTION(g_object_ref(ctx->connection)));
        }
    });
    if (!conn) {
        lumo_log(tag, LOG_INFO, "Please call OvanDBusStartService first.");
        return -1;
    }
    char app[32] = "";
    gint64 appid = 0;  // ids go up to 2^32 - 1, past a 32-bit long
    if (std::sscanf(service, "%*[^.].%*[^.].%31[^.]", app) == 1) {
        size_t len = std::strlen(app);
        if (len > 0 && g_ascii_isdigit(app[len - 1]))
            app[len - 1] = '\0';
        // The UCI reader copies up to 256 bytes, whatever the option's size.
        char value[256] = "";
        if (app[0])
            uci_read_option("appmgr", app, "appid", value);
        appid = g_ascii_strtoll(value, nullptr, 10);
    }
    if (appid <= 0 || appid > G_MAXUINT32) {
        lumo_log(tag, LOG_INFO, "Failed to get object path (%s)", service);
        return -1;
    }
    GStr path(g_strdup_printf("/com/quv/appframework1/apps/%u", static_cast<unsigned>(appid)));
    lumo_log(tag, LOG_INFO, "object path is %s (%s)", path.get(), service);
    OvanSetErrMsg(nullptr);
    GPtr<GError> err;
    if (!g_dbus_connection_emit_signal(conn.get(), nullptr, path.get(), "com.quv.appframework1.AppStatus", "Alarm",
                                       g_variant_new("(s)", message), lumo::out(err))) {
        const char *text = err ? err->message : "emission failed";
        lumo_log(tag, LOG_INFO, "Call OvanAppSendAlarm errmsg [%s].", text);
        OvanSetErrMsg(text);
        return -1;
    }
    return 0;
}

}  // extern "C"
