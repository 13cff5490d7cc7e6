/* demoplugin: the smallest complete plug-in application.
 *
 * It hosts its own D-Bus service (the name comes from its package's control file,
 * /usr/lib/opkg/info/demoplugin.control: "com.<Vendor>.demoplugin<DbusVersion>"),
 * registers the management callbacks through which the application framework
 * drives it, answers statistics and posted messages, raises an alarm when asked
 * ("alarm <text>" as a message), and exits cleanly when the framework sends Stop.
 *
 * Run it against the simulator, registered with the simulated framework:
 *   scripts/gwsim-session.sh --plugin build/debug/examples/demoplugin
 * and drive it with lumoctl app (stats, post, restore, stop) or gdbus.
 * On a system bus it needs its policy file (dbus-1/system.d/com.quv.demoplugin1.conf).
 *
 * Threads: the callbacks run in the library's "mainLoop" thread, which runs the
 * default main context of the thread that started the service. The main thread
 * here therefore does not run that context itself: it waits for the stop request.
 */
#include <lumo3/lumo3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static GMutex lock;
static GCond stopped_cond;
static int stop_requested;
static unsigned messages;
static char answer[300];  /* used by the "mainLoop" thread only */
static char stats_text[128];

/* Runs in the main loop after the Stop reply has been handed to GDBus. */
static gboolean wake_main(gpointer data)
{
    (void)data;
    g_mutex_lock(&lock);
    stop_requested = 1;
    g_cond_signal(&stopped_cond);
    g_mutex_unlock(&lock);
    return G_SOURCE_REMOVE;
}

static int on_stop(void)
{
    /* Answer first, leave afterwards: the exit happens in the main thread. */
    g_idle_add(wake_main, NULL);
    return 0;
}

static int on_reload(void)
{
    messages = 0;
    return 0;
}

/* Factory state: no messages seen. */
static int on_restore(void)
{
    messages = 0;
    return 0;
}

static const char *on_post_msg(const char *message)
{
    messages++;
    if (strncmp(message, "alarm ", 6) == 0) {
        if (OvanAppSendAlarm(message + 6) == 0)
            snprintf(answer, sizeof answer, "alarm sent");
        else
            snprintf(answer, sizeof answer, "alarm failed: %s", OvanGetErrMsg() ? OvanGetErrMsg() : "?");
        return answer;
    }
    snprintf(answer, sizeof answer, "got: %.280s", message);
    return answer;
}

static const char *on_get_stats(void)
{
    snprintf(stats_text, sizeof stats_text, "{\"messages\":%u}", messages);
    return stats_text;
}

/* Must outlive the service. */
static const OvanAppMgtFuncs_t mgt = {on_stop, on_reload, on_restore, on_post_msg, on_get_stats};

int main(int argc, char **argv)
{
    const char *name = argc > 1 ? argv[1] : NULL; /* NULL: from the control file */
    GDBusNodeInfo *node;
    OvanDBusServiceContext_t *ctx;
    GDBusConnection *conn;

    if (!getenv("DBUS_SYSTEM_BUS_ADDRESS"))
        OvanSetDbusEnv(); /* on a gateway: the address from the bus's address file */
    if (OvanDBusStartService(name) != 0) {
        fprintf(stderr, "demoplugin: cannot start the service\n");
        return 1;
    }
    node = OvanAppRegisterMgtFuncs(&mgt);
    if (!node) {
        fprintf(stderr, "demoplugin: cannot register the management object\n");
        OvanDBusStopService();
        return 1;
    }
    printf("demoplugin: serving as %s\n", qzr_dbus_service_context->service_name);
    fflush(stdout);

    g_mutex_lock(&lock);
    while (!stop_requested)
        g_cond_wait(&stopped_cond, &lock);
    g_mutex_unlock(&lock);

    /* Let the Stop reply leave before the connection goes. */
    ctx = qzr_dbus_service_context;
    conn = ctx && ctx->connection ? g_object_ref(ctx->connection) : NULL;
    if (conn)
        g_dbus_connection_flush_sync(conn, NULL, NULL);
    OvanDBusStopService();
    OvanDBusNodeInfoUnref(node);
    if (conn)
        g_object_unref(conn);
    printf("demoplugin: stopped\n");
    return 0;
}
