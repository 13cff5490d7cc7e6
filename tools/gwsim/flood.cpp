#include "tools/gwsim/flood.hpp"

#include <string>

namespace lumo::gwsim {

namespace {

constexpr unsigned kTicksPerSecond = 100;
constexpr const char *kChanged[] = {"/com/quv/igd1/Info/Device", "/com/quv/igd1/Config/LANHosts/1",
                                    "/com/quv/igd1/Config/LANHosts/2"};
constexpr const char *kChangedIface[] = {"com.quv.igd1.DeviceInfo", "com.quv.igd1.LANHost",
                                         "com.quv.igd1.LANHost"};

struct Flood {
    GDBusConnection *conn = nullptr;
    unsigned per_tick = 0;
    guint source = 0;
    guint32 n = 0;
};

Flood g_flood;

gboolean tick(gpointer)
{
    Flood &f = g_flood;
    for (unsigned i = 0; i < f.per_tick && !g_dbus_connection_is_closed(f.conn); i++, f.n++) {
        if (f.n % 2 == 0) {
            const unsigned k = f.n / 2 % 3;
            GVariantBuilder changed;
            g_variant_builder_init(&changed, G_VARIANT_TYPE_VARDICT);
            g_variant_builder_add(&changed, "{sv}", "FloodSeq", g_variant_new_uint32(f.n));
            g_dbus_connection_emit_signal(f.conn, nullptr, kChanged[k], "org.freedesktop.DBus.Properties",
                                          "PropertiesChanged",
                                          g_variant_new("(sa{sv}as)", kChangedIface[k], &changed, nullptr),
                                          nullptr);
        } else {
            std::string path = "/com/quv/igd1/Config/LANHosts/flood" + std::to_string(f.n / 2 % 16);
            g_dbus_connection_emit_signal(
                f.conn, nullptr, "/com/quv/igd1/Config/LANHosts", "com.quv.igd1.ObjectManager", "InterfacesAdded",
                g_variant_new_parsed("(%o, {'com.quv.igd1.LANHost': {'MAC': <'020000000000'>, 'Active': <true>}})",
                                     path.c_str()),
                nullptr);
        }
    }
    return G_SOURCE_CONTINUE;
}

}  // namespace

void flood_signals(GDBusConnection *conn, unsigned rate)
{
    Flood &f = g_flood;
    if (f.source)
        g_source_remove(f.source);
    f.source = 0;
    g_clear_object(&f.conn);
    if (!conn || rate == 0)
        return;
    f.conn = G_DBUS_CONNECTION(g_object_ref(conn));
    f.per_tick = (rate + kTicksPerSecond - 1) / kTicksPerSecond;
    f.source = g_timeout_add(1000 / kTicksPerSecond, tick, nullptr);
}

}  // namespace lumo::gwsim
