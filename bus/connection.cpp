#include "bus/connection.hpp"

#include <cstring>
#include <syslog.h>

#include "core/log.hpp"
#include "lumo3_core.h"

namespace lumo::bus {

namespace {
G_LOCK_DEFINE_STATIC(held_connection);
GDBusConnection *g_held = nullptr;  // one reference, kept for the process's life
}  // namespace

GDBusConnection *service_connection()
{
    const OvanDBusServiceContext_t *ctx = qzr_dbus_service_context;
    return ctx ? ctx->connection : nullptr;
}

GPtr<GDBusConnection> connection_for_call(const char *tag, const char *null_message, const char *invalid_message)
{
    if (GDBusConnection *svc = service_connection())
        return GPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(svc)));

    G_LOCK(held_connection);
    if (g_held && g_dbus_connection_is_closed(g_held)) {
        g_object_unref(g_held);
        g_held = nullptr;
    }
    if (!g_held)
        g_held = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (g_held && g_dbus_connection_is_closed(g_held)) {
        // GIO still hands out its closed shared connection while anyone holds it:
        // open a connection of our own instead.
        g_object_unref(g_held);
        g_held = nullptr;
        GStr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        if (address)
            g_held = g_dbus_connection_new_for_address_sync(
                address.get(),
                static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
                nullptr, nullptr, nullptr);
    }
    GDBusConnection *conn = g_held ? G_DBUS_CONNECTION(g_object_ref(g_held)) : nullptr;
    G_UNLOCK(held_connection);

    if (!conn) {
        if (null_message)
            lumo_log(tag, LOG_ERR, "%s", null_message);
        return {};
    }
    if (!G_IS_DBUS_CONNECTION(conn)) {
        if (invalid_message)
            lumo_log(tag, LOG_ERR, "%s", invalid_message);
        g_object_unref(conn);
        return {};
    }
    return GPtr<GDBusConnection>(conn);
}

void consume_floating(GVariant *value)
{
    if (value && g_variant_is_floating(value))
        g_variant_unref(g_variant_ref_sink(value));
}

namespace {

// Dictionary keys whose values are secrets (vpn_pwd, DDNSPassword, InitUAPwd, ...).
bool secret_key(const char *key)
{
    GStr lower(g_ascii_strdown(key, -1));
    return std::strstr(lower.get(), "pwd") || std::strstr(lower.get(), "passw");
}

// A copy of `value` in which the values of secret keys are replaced by their type.
GVariant *masked(GVariant *value)
{
    if (!g_variant_is_container(value))
        return g_variant_ref(value);
    if (g_variant_is_of_type(value, G_VARIANT_TYPE("{sv}"))) {
        GPtr<GVariant> key(g_variant_get_child_value(value, 0));
        if (secret_key(g_variant_get_string(key.get(), nullptr))) {
            GPtr<GVariant> boxed(g_variant_get_child_value(value, 1));
            GPtr<GVariant> inner(g_variant_get_variant(boxed.get()));
            GStr shown(g_strdup_printf("<hidden %s>", g_variant_get_type_string(inner.get())));
            return g_variant_ref_sink(
                g_variant_new_dict_entry(key.get(), g_variant_new_variant(g_variant_new_string(shown.get()))));
        }
    }
    const size_t n = g_variant_n_children(value);
    GVariant **children = g_new(GVariant *, n ? n : 1);
    for (size_t i = 0; i < n; i++) {
        GPtr<GVariant> child(g_variant_get_child_value(value, i));
        children[i] = masked(child.get());
    }
    GVariant *out;
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT))
        out = g_variant_new_variant(children[0]);
    else if (g_variant_is_of_type(value, G_VARIANT_TYPE_MAYBE))
        out = g_variant_new_maybe(g_variant_type_element(g_variant_get_type(value)), n ? children[0] : nullptr);
    else if (g_variant_is_of_type(value, G_VARIANT_TYPE_ARRAY))
        out = n ? g_variant_new_array(nullptr, children, n)
                : g_variant_new_array(g_variant_type_element(g_variant_get_type(value)), nullptr, 0);
    else if (g_variant_is_of_type(value, G_VARIANT_TYPE_DICT_ENTRY))
        out = g_variant_new_dict_entry(children[0], children[1]);
    else
        out = g_variant_new_tuple(children, n);
    for (size_t i = 0; i < n; i++)
        g_variant_unref(children[i]);
    g_free(children);
    return g_variant_ref_sink(out);
}

}  // namespace

GStr print_value(GVariant *value, int priority)
{
    if (!lumo::log::wanted(priority))
        return GStr(g_strdup(""));
    if (!value)
        return GStr(g_strdup("NULL"));
    // Secrets sent or read in dictionaries never reach the log; their type does.
    if (std::strstr(g_variant_get_type_string(value), "{sv}")) {
        GPtr<GVariant> shown(masked(value));
        return GStr(g_variant_print(shown.get(), TRUE));
    }
    return GStr(g_variant_print(value, TRUE));
}

}  // namespace lumo::bus
