// Property access on the gateway service's own properties interface.
#include <cstring>
#include <syslog.h>

#include "bus/connection.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"

namespace {

using lumo::GPtr;
using lumo::GStr;
using lumo::out;

constexpr const char kPropertiesIface[] = "com.quv.igd1.Properties";

const char *nn(const char *s)
{
    return s ? s : "NULL";
}

// One exchange with "com.quv.igd1.Properties". `prop` is null for GetAll and SetMulti,
// which log the error line without the property.
struct PropertyCall {
    const char *tag;
    const char *service;
    const char *path;
    const char *iface;
    const char *prop;

    void log_error(const char *message) const
    {
        if (prop)
            lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), P(%s): E<%s>", nn(service), nn(path), nn(iface), prop,
                     message);
        else
            lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s): E<%s>", nn(service), nn(path), nn(iface), message);
    }

    // Logs and keeps `problem` as the last error; always false.
    bool refuse(const char *problem) const
    {
        log_error(problem);
        OvanSetErrMsg(problem);
        return false;
    }

    // Arguments GDBus would refuse with a critical warning are refused here, before
    // anything is sent.
    bool arguments_valid() const
    {
        if (!service || !g_dbus_is_name(service))
            return refuse("org.freedesktop.DBus.Error.InvalidArgs: invalid service name");
        if (!path || !g_variant_is_object_path(path))
            return refuse("org.freedesktop.DBus.Error.InvalidArgs: invalid object path");
        if (!iface || !g_dbus_is_interface_name(iface))
            return refuse("org.freedesktop.DBus.Error.InvalidArgs: invalid interface name");
        // A property name travels as a string: it must be UTF-8 to be sent at all.
        if (prop && !g_utf8_validate(prop, -1, nullptr))
            return refuse("org.freedesktop.DBus.Error.InvalidArgs: property name is not valid UTF-8");
        return true;
    }

    // Sends `args` (consumed) and returns the reply, or null after logging the error
    // and keeping it as the last error.
    GPtr<GVariant> run(const char *method, GVariant *args, const GVariantType *reply_type) const
    {
        GPtr<GVariant> owned_args = lumo::ref_sink(args);
        GPtr<GDBusConnection> conn = lumo::bus::connection_for_call(tag, "connection is NULL, just return.",
                                                                             "connection is NULL, just return.");
        if (!conn)
            return {};
        OvanSetErrMsg(nullptr);
        GPtr<GError> err;
        GPtr<GVariant> reply(g_dbus_connection_call_sync(conn.get(), service, path, kPropertiesIface, method,
                                                         owned_args.get(), reply_type, G_DBUS_CALL_FLAGS_NONE, -1,
                                                         nullptr, out(err)));
        if (err) {
            log_error(err->message);
            OvanSetErrMsg(err->message);
        }
        return reply;
    }
};

bool is_audited_set_interface(const char *iface)
{
    return std::strcmp(iface, "com.quv.igd1.WLANConfiguration") == 0 || std::strcmp(iface, "com.quv.igd1.LED") == 0;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanDBusGetProperty(const char *service_name, const char *object_path, const char *interface_name,
                                      const char *prop_name, OvanVariant **value)
{
    static const char tag[] = "OvanDBusGetProperty";
    lumo_log(tag, LOG_DEBUG, "service_name(%s), object_path(%s), interface_name(%s), prop_name(%s)",
             nn(service_name), nn(object_path), nn(interface_name), nn(prop_name));
    PropertyCall call{tag, service_name, object_path, interface_name, prop_name ? prop_name : "NULL"};
    if (!call.arguments_valid())
        return -1;
    if (!prop_name)
        return call.refuse("org.freedesktop.DBus.Error.InvalidArgs: no property name"), -1;
    GPtr<GVariant> reply =
        call.run("Get", g_variant_new("(ss)", interface_name, prop_name), G_VARIANT_TYPE("(v)"));
    int32_t ret = -1;
    GPtr<GVariant> got;
    if (reply) {
        if (g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(v)"))) {
            got.reset(g_variant_get_child_value(reply.get(), 0));
            GPtr<GVariant> inner(g_variant_get_variant(got.get()));
            got = std::move(inner);
            ret = 0;
        } else {
            lumo_log(tag, LOG_ERR, "get variant type %s, not (v)", g_variant_get_type_string(reply.get()));
        }
    }
    GStr printed = lumo::bus::print_property(prop_name, got.get(), LOG_DEBUG);
    lumo_log(tag, LOG_DEBUG, "return (%d), get value (%s)", ret, printed.get());
    if (ret == 0 && value)
        *value = got.release();
    return ret;
}

LUMO3_API int32_t OvanDBusSetProperty(const char *service_name, const char *object_path, const char *interface_name,
                                      const char *prop_name, OvanVariant *value)
{
    static const char tag[] = "OvanDBusSetProperty";
    GPtr<GVariant> owned = lumo::ref_sink(value);
    GStr printed = lumo::bus::print_property(prop_name, value, LOG_ERR);
    lumo_log(tag, LOG_DEBUG, "service_name(%s), object_path(%s), interface_name(%s), prop_name(%s), value(%s)",
             nn(service_name), nn(object_path), nn(interface_name), nn(prop_name), printed.get());
    PropertyCall call{tag, service_name, object_path, interface_name, prop_name ? prop_name : "NULL"};
    if (!call.arguments_valid())
        return -1;
    if (!prop_name || !value)
        return call.refuse("org.freedesktop.DBus.Error.InvalidArgs: no property name or value"), -1;
    // Writes that matter to the user are audited at error level so they reach the
    // system log even when debug lines are filtered.
    if (std::strcmp(interface_name, "com.quv.igd1.LANHost") == 0) {
        if (std::strcmp(prop_name, "InternetAccess") == 0)
            lumo_log(tag, LOG_ERR, "S(%s), O(%s), %s", service_name, object_path, printed.get());
    } else if (is_audited_set_interface(interface_name) || std::strcmp(interface_name, "com.quv.igd1.WiFiInfo") == 0) {
        lumo_log(tag, LOG_ERR, "S(%s), I(%s), O(%s), %s", service_name, interface_name, object_path, printed.get());
    }
    GPtr<GVariant> reply =
        call.run("Set", g_variant_new("(ssv)", interface_name, prop_name, owned.get()), nullptr);
    int32_t ret = reply ? 0 : -1;
    lumo_log(tag, LOG_DEBUG, "return with ret <%d>.", ret);
    return ret;
}

LUMO3_API int32_t OvanDBusGetAllProperty(const char *service_name, const char *object_path,
                                         const char *interface_name, OvanVariant **dict)
{
    static const char tag[] = "OvanDBusGetAllProperty";
    lumo_log(tag, LOG_DEBUG, "service_name(%s), object_path(%s), interface_name(%s)", nn(service_name),
             nn(object_path), nn(interface_name));
    PropertyCall call{tag, service_name, object_path, interface_name, nullptr};
    if (!call.arguments_valid())
        return -1;
    GPtr<GVariant> reply = call.run("GetAll", g_variant_new("(s)", interface_name), G_VARIANT_TYPE("(a{sv})"));
    int32_t ret = -1;
    GPtr<GVariant> got;
    if (reply) {
        if (g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a{sv})"))) {
            got.reset(g_variant_get_child_value(reply.get(), 0));
            ret = 0;
        } else {
            lumo_log(tag, LOG_ERR, "get variant type %s, not (a{sv})", g_variant_get_type_string(reply.get()));
        }
    }
    GStr printed = lumo::bus::print_value(got.get(), LOG_DEBUG);
    lumo_log(tag, LOG_DEBUG, "return (%d), get value [%s]", ret, printed.get());
    if (ret == 0 && dict)
        *dict = got.release();
    return ret;
}

LUMO3_API int32_t OvanDBusSetMultiProperty(const char *service_name, const char *object_path,
                                           const char *interface_name, OvanVariant *dict)
{
    static const char tag[] = "OvanDBusSetMultiProperty";
    GPtr<GVariant> owned = lumo::ref_sink(dict);
    GStr printed = lumo::bus::print_value(dict, LOG_ERR);
    lumo_log(tag, LOG_DEBUG, "service_name(%s), object_path(%s), interface_name(%s), value(%s)", nn(service_name),
             nn(object_path), nn(interface_name), printed.get());
    PropertyCall call{tag, service_name, object_path, interface_name, nullptr};
    if (!call.arguments_valid())
        return -1;
    if (!dict || !g_variant_is_of_type(dict, G_VARIANT_TYPE_VARDICT))
        return call.refuse("org.freedesktop.DBus.Error.InvalidArgs: value is not an a{sv} dictionary"), -1;
    if (std::strcmp(interface_name, "com.quv.igd1.LANHost") == 0) {
        if (std::strstr(printed.get(), "InternetAccess"))
            lumo_log(tag, LOG_ERR, "S(%s), O(%s), %s", service_name, object_path, printed.get());
    } else if (is_audited_set_interface(interface_name)) {
        lumo_log(tag, LOG_ERR, "S(%s), O(%s), I(%s), %s", service_name, object_path, interface_name, printed.get());
    }
    GPtr<GVariant> reply =
        call.run("SetMulti", g_variant_new("(s@a{sv})", interface_name, owned.get()), nullptr);
    if (!reply)
        return -1;
    lumo_log(tag, LOG_DEBUG, "SetMulti() success.");
    return 0;
}

LUMO3_API int32_t OvanGetDBusVersion(void)
{
    GVariant *raw = nullptr;
    if (OvanDBusGetProperty("com.quv.igd1", "/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo",
                            "DBusInterfaceVersion", &raw) != 0)
        return -1;
    GPtr<GVariant> value(raw);
    if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING))
        return -1;
    gsize len = 0;
    const char *text = g_variant_get_string(value.get(), &len);
    // Only the character at index 2 carries the major version ("1.2.0" -> 2). A
    // shorter non-empty string yields its terminator there (a GLib string of length
    // one is not read past its end: the terminator stands in for that byte too).
    if (len == 0)
        return -1;
    return (len >= 3 ? text[2] : '\0') - '0';
}

}  // extern "C"
