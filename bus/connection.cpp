#include "bus/connection.hpp"

#include <cstring>
#include <syslog.h>

#include "core/log.hpp"
#include "lumo3_core.h"
#include "core/service_context.hpp"

namespace lumo::bus {

namespace {
G_LOCK_DEFINE_STATIC(held_connection);
GDBusConnection *g_held = nullptr;  // one reference, kept for the process's life
}  // namespace

GPtr<GDBusConnection> service_connection()
{
    return lumo::with_service_context([](const OvanDBusServiceContext_t *ctx) {
        return GPtr<GDBusConnection>(ctx && ctx->connection ? G_DBUS_CONNECTION(g_object_ref(ctx->connection))
                                                            : nullptr);
    });
}

GPtr<GDBusConnection> connection_for_call(const char *tag, const char *null_message, const char *invalid_message)
{
    if (GPtr<GDBusConnection> svc = service_connection())
        return svc;

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

GStr print_value(GVariant *value, int priority)
{
    if (!lumo::log::wanted(priority))
        return GStr(g_strdup(""));
    return value ? print_masked(value) : GStr(g_strdup("NULL"));
}

}  // namespace lumo::bus
