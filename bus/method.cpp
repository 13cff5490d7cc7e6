// The one synchronous method-call primitive, and child-node listing by introspection.
#include <cstring>
#include <sys/stat.h>
#include <syslog.h>

#include "bus/connection.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_uci.h"

namespace {

using lumo::GPtr;
using lumo::GStr;
using lumo::out;

const char *nn(const char *s)
{
    return s ? s : "NULL";
}

bool is_one_of(const char *s, std::initializer_list<const char *> words)
{
    for (const char *w : words)
        if (std::strcmp(s, w) == 0)
            return true;
    return false;
}

bool carries_password(const char *method)
{
    // Positional arguments have no names: the method's own name has to tell.
    return is_one_of(method, {"SetLOID", "CheckUAPasswd", "SetUAPasswd", "CheckTAPasswd"}) ||
           lumo::bus::secret_name(method);
}

// Dangerous operations are audited at error level before they are sent.
void audit(const char *tag, const char *service, const char *iface, const char *method)
{
    bool audited = false;
    if (std::strcmp(iface, "com.quv.igd1.SysCmd") == 0)
        audited = is_one_of(method, {"Reboot", "Restore", "LocalRecovery", "Upgrade", "SetUAPasswd"});
    else if (std::strcmp(iface, "com.quv.igd1.WiFiInfo") == 0)
        audited = true;
    else if (std::strcmp(iface, "com.quv.kest1.framework") == 0)
        audited = !is_one_of(method, {"DiagService", "ReloadDBUSConf"});
    if (!audited)
        return;
    lumo_log(tag, LOG_ERR, "S(%s), I(%s), M(%s)", service, iface, method);
    if (std::strcmp(iface, "com.quv.kest1.framework") == 0 && std::strcmp(method, "Restore") == 0) {
        // The cloud client picks the restore up from this marker; the store creates
        // its files readable by every service, without touching the caller's umask.
        uci_write_option("cloudclient", "global", "enable", "kest.restore");
    }
}

const char *invalid_argument(const char *service, const char *path, const char *iface, const char *method)
{
    if (!service || !g_dbus_is_name(service))
        return "org.freedesktop.DBus.Error.InvalidArgs: invalid service name";
    if (!path || !g_variant_is_object_path(path))
        return "org.freedesktop.DBus.Error.InvalidArgs: invalid object path";
    if (!iface || !g_dbus_is_interface_name(iface))
        return "org.freedesktop.DBus.Error.InvalidArgs: invalid interface name";
    if (!method || !g_dbus_is_member_name(method))
        return "org.freedesktop.DBus.Error.InvalidArgs: invalid method name";
    return nullptr;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanDBusCallMethod(const char *service_name, const char *object_path, const char *interface_name,
                                     const char *method_name, OvanVariant *inargs, OvanVariant **outargs,
                                     int timeout_msec)
{
    static const char tag[] = "OvanDBusCallMethod";
    GPtr<GVariant> args = lumo::ref_sink(inargs);
    if (outargs)
        *outargs = nullptr;
    {
        // Arguments that carry a password are shown by their type only.
        GStr printed = method_name && carries_password(method_name)
                           ? GStr(g_strdup(inargs ? g_variant_get_type_string(inargs) : "NULL"))
                           : lumo::bus::print_value(inargs, LOG_DEBUG);
        lumo_log(tag, LOG_DEBUG,
                 "service_name(%s), object_path(%s), interface_name(%s), method_name(%s), timeout(%d), inargs(%s)",
                 nn(service_name), nn(object_path), nn(interface_name), nn(method_name), timeout_msec, printed.get());
    }
    if (const char *problem = invalid_argument(service_name, object_path, interface_name, method_name)) {
        lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), M(%s): E<%s>", nn(service_name), nn(object_path),
                 nn(interface_name), nn(method_name), problem);
        OvanSetErrMsg(problem);
        return -1;
    }
    if (args && !g_variant_is_of_type(args.get(), G_VARIANT_TYPE_TUPLE)) {
        static const char problem[] = "org.freedesktop.DBus.Error.InvalidArgs: arguments are not a tuple";
        lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), M(%s): E<%s>", service_name, object_path, interface_name,
                 method_name, problem);
        OvanSetErrMsg(problem);
        return -1;
    }
    audit(tag, service_name, interface_name, method_name);

    GPtr<GDBusConnection> conn = lumo::bus::connection_for_call(tag, "connection is NULL, just return.",
                                                                 "connection is invalid, just return.");
    if (!conn)
        return -1;
    OvanSetErrMsg(nullptr);

    const bool listing = std::strcmp(method_name, "GetManagedObjects") == 0;
    GPtr<GError> err;
    GPtr<GVariant> reply(g_dbus_connection_call_sync(conn.get(), service_name, object_path, interface_name,
                                                     method_name, args.get(),
                                                     listing ? G_VARIANT_TYPE("(a{oa{sa{sv}}})") : nullptr,
                                                     G_DBUS_CALL_FLAGS_NONE, timeout_msec, nullptr, out(err)));
    int32_t ret = reply ? 0 : -1;
    if (err) {
        lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), M(%s): E<%s>", service_name, object_path, interface_name,
                 method_name, err->message);
        OvanSetErrMsg(err->message);
    }

    if (!reply) {
        lumo_log(tag, LOG_DEBUG, "ret (%d), retValue = NULL.", ret);
    } else if (listing) {
        lumo_log(tag, LOG_DEBUG, "return with ret (%d)", ret);  // listings are too large to print
    } else if (std::strcmp(method_name, "GetTAPasswd") == 0 || std::strcmp(method_name, "GetUAPasswd") == 0) {
        // Password replies never reach the log; their type does.
        lumo_log(tag, LOG_DEBUG, "ret %d, outargs[%s]", ret, g_variant_get_type_string(reply.get()));
    } else {
        GStr printed = lumo::bus::print_value(reply.get(), LOG_DEBUG);
        lumo_log(tag, LOG_DEBUG, "ret %d, outargs[%s][%s]", ret, g_variant_get_type_string(reply.get()),
                 printed.get());
    }
    if (ret == 0 && outargs)
        *outargs = reply.release();
    return ret;
}

LUMO3_API int32_t OvanGetNumOfNodes(const char *service_name, const char *object_path, char **paths, int *count)
{
    static const char tag[] = "OvanGetNumOfNodes";
    lumo_log(tag, LOG_DEBUG, "Enter (service %s, objpath %s)", nn(service_name), nn(object_path));
    int32_t result = 0;
    GVariant *raw = nullptr;
    if (OvanDBusCallMethod(service_name, object_path, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr,
                           &raw, 10000) == 0) {
        GPtr<GVariant> reply(raw);
        if (g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(s)"))) {
            const char *xml = nullptr;
            g_variant_get(reply.get(), "(&s)", &xml);
            OvanSetErrMsg(nullptr);
            GPtr<GError> err;
            GPtr<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(xml, out(err)));
            if (!node) {
                lumo_log(tag, LOG_DEBUG, "failed to create node info %s", err ? err->message : "");
                OvanSetErrMsg(err ? err->message : nullptr);
            } else {
                int n = 0;
                while (node->nodes && node->nodes[n])
                    n++;
                result = n;
                if (paths && n > 0) {
                    constexpr size_t kEntry = 256;
                    char *block = static_cast<char *>(g_try_malloc0(kEntry * static_cast<size_t>(n)));
                    if (!block) {
                        result = 0;
                        *paths = nullptr;
                    } else {
                        for (int i = 0; i < n; i++)
                            g_snprintf(block + kEntry * i, kEntry - 1, "%s/%s", object_path, node->nodes[i]->path);
                        *paths = block;
                    }
                }
            }
        }
    }
    if (count)
        *count = result;
    return result;
}

}  // extern "C"
