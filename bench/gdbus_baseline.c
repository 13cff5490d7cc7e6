/* The footprint baseline: a plain GDBus program doing what the example plug-in does
 * at start (connect to the system bus, own a name from a thread running the main
 * loop, export a management object), without the library. scripts/cross.sh compares
 * the plug-in's resident memory with this one's.
 *
 * Usage: gdbus_baseline NAME   (prints "serving as NAME", then runs until killed)
 */
#include <gio/gio.h>
#include <stdio.h>

static const char xml[] =
    "<node><interface name='com.example.management'>"
    "<method name='Stop'><arg type='i' direction='out'/></method>"
    "<method name='PostMsg'><arg type='s' direction='in'/><arg type='s' direction='out'/></method>"
    "<method name='GetStatistics'><arg type='s' direction='out'/></method>"
    "</interface></node>";

static void on_call(GDBusConnection *conn, const gchar *sender, const gchar *path, const gchar *iface,
                    const gchar *method, GVariant *params, GDBusMethodInvocation *invocation, gpointer data)
{
    (void)conn, (void)sender, (void)path, (void)iface, (void)method, (void)params, (void)data;
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(s)", "{}"));
}

static const GDBusInterfaceVTable vtable = {on_call, NULL, NULL, {0}};

static gpointer run_loop(gpointer loop)
{
    g_main_loop_run(loop);
    return NULL;
}

int main(int argc, char **argv)
{
    GError *error = NULL;
    GDBusConnection *conn;
    GDBusNodeInfo *node;
    GMainLoop *loop;
    GVariant *reply;

    if (argc < 2)
        return 2;
    conn = g_bus_get_sync(G_BUS_TYPE_SYSTEM, NULL, &error);
    if (!conn) {
        fprintf(stderr, "gdbus_baseline: %s\n", error->message);
        return 1;
    }
    reply = g_dbus_connection_call_sync(conn, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                        "org.freedesktop.DBus", "RequestName", g_variant_new("(su)", argv[1], 0u),
                                        G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, NULL, &error);
    if (!reply) {
        fprintf(stderr, "gdbus_baseline: %s\n", error->message);
        return 1;
    }
    g_variant_unref(reply);
    node = g_dbus_node_info_new_for_xml(xml, NULL);
    g_dbus_connection_register_object(conn, "/com/example/management", node->interfaces[0], &vtable, NULL, NULL,
                                      NULL);
    loop = g_main_loop_new(NULL, FALSE);
    g_thread_new("mainLoop", run_loop, loop);
    printf("serving as %s\n", argv[1]);
    fflush(stdout);
    for (;;)
        g_usleep(G_USEC_PER_SEC);
}
