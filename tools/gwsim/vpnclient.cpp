#include "tools/gwsim/vpnclient.hpp"

#include <cstdio>

#include "core/glib_ptr.hpp"

namespace lumo::gwsim {

void own_vpn_client(GDBusConnection *conn)
{
    GPtr<GError> err;
    // DO_NOT_QUEUE, as for the gateway's own name.
    GPtr<GVariant> r(g_dbus_connection_call_sync(conn, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                 "org.freedesktop.DBus", "RequestName",
                                                 g_variant_new("(su)", kVpnClientName, 4u), G_VARIANT_TYPE("(u)"),
                                                 G_DBUS_CALL_FLAGS_NONE, -1, nullptr, out(err)));
    guint32 code = 0;
    if (r)
        g_variant_get(r.get(), "(u)", &code);
    if (code != 1 && code != 4)
        fprintf(stderr, "lumo-gwsim: cannot own %s: %s\n", kVpnClientName,
                err ? err->message : "the name has another owner");
}

}  // namespace lumo::gwsim
