// lumo-gwsim: a stand-in for the gateway service on a D-Bus bus, serving an object
// tree read from a model file and scriptable at run time (see docs/gwsim.md).
#include <csignal>
#include <cstdio>
#include <string>

#include <glib-unix.h>

#include "tools/gwsim/flood.hpp"
#include "tools/gwsim/service.hpp"
#include "tools/gwsim/vpnclient.hpp"

namespace {

using namespace lumo;
using namespace lumo::gwsim;

struct App {
    GPtr<GMainLoop> loop{g_main_loop_new(nullptr, FALSE)};
    Service *svc = nullptr;
    std::string address;
    std::string bus_name;
    std::string address_file;
    bool reconnect = false;
    bool vpn_client = true;
    unsigned flood = 0;
    ObjPtr<GDBusConnection> conn;
    gulong closed_handler = 0;
    guint retry_source = 0;
    int exit_code = 0;
};

void on_closed(GDBusConnection *, gboolean, GError *, gpointer data);

bool connect_bus(App &app, std::string *error)
{
    GPtr<GError> err;
    ObjPtr<GDBusConnection> conn(g_dbus_connection_new_for_address_sync(
        app.address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, out(err)));
    if (!conn) {
        *error = "cannot connect to " + app.address + ": " + err->message;
        return false;
    }
    if (!app.svc->attach(conn.get(), app.bus_name.c_str(), error))
        return false;
    // Only the gateway's own simulator plays the client; one started under another
    // name (a second simulator, say) leaves it alone.
    if (app.vpn_client && app.bus_name == "com.quv.igd1")
        own_vpn_client(conn.get());
    app.conn = std::move(conn);
    app.closed_handler = g_signal_connect(app.conn.get(), "closed", G_CALLBACK(on_closed), &app);
    flood_signals(app.conn.get(), app.flood);
    if (!app.address_file.empty()) {
        GStr dir(g_path_get_dirname(app.address_file.c_str()));
        g_mkdir_with_parents(dir.get(), 0755);
        std::string line = app.address + "\n";
        if (!g_file_set_contents(app.address_file.c_str(), line.c_str(), static_cast<gssize>(line.size()),
                                 out(err))) {
            *error = "cannot write the address file: " + std::string(err->message);
            return false;
        }
    }
    // Harnesses wait for this line before they talk to the simulator.
    printf("ready\n");
    fflush(stdout);
    return true;
}

gboolean retry_cb(gpointer data)
{
    auto &app = *static_cast<App *>(data);
    std::string error;
    if (!connect_bus(app, &error)) {
        app.svc->detach();
        return G_SOURCE_CONTINUE;
    }
    fprintf(stderr, "lumo-gwsim: back on %s\n", app.address.c_str());
    app.retry_source = 0;
    return G_SOURCE_REMOVE;
}

void drop_connection(App &app)
{
    app.svc->detach();
    if (app.conn) {
        g_signal_handler_disconnect(app.conn.get(), app.closed_handler);
        app.conn.reset();
    }
}

void on_closed(GDBusConnection *, gboolean, GError *, gpointer data)
{
    auto &app = *static_cast<App *>(data);
    drop_connection(app);
    if (app.reconnect) {
        fprintf(stderr, "lumo-gwsim: bus connection lost, reconnecting\n");
        app.retry_source = g_timeout_add(100, retry_cb, &app);
    } else {
        fprintf(stderr, "lumo-gwsim: bus connection lost\n");
        app.exit_code = 1;
        g_main_loop_quit(app.loop.get());
    }
}

gboolean on_signal(gpointer data)
{
    g_main_loop_quit(static_cast<App *>(data)->loop.get());
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char **argv)
{
    char *address = nullptr, *model_file = nullptr, *address_file = nullptr, *name = nullptr;
    gboolean reconnect = FALSE, print_model = FALSE, no_vpn_client = FALSE;
    gint flood = 0;
    GOptionEntry entries[] = {
        {"address", 'a', 0, G_OPTION_ARG_STRING, &address,
         "Bus address to serve on (default: the system bus, $DBUS_SYSTEM_BUS_ADDRESS)", "ADDR"},
        {"model", 'm', 0, G_OPTION_ARG_FILENAME, &model_file, "Model file (default: the built-in model)", "FILE"},
        {"write-address-file", 'w', 0, G_OPTION_ARG_FILENAME, &address_file,
         "Write the bus address to FILE once serving", "FILE"},
        {"name", 'n', 0, G_OPTION_ARG_STRING, &name, "Bus name to own (default: com.quv.igd1)", "NAME"},
        {"reconnect", 'r', 0, G_OPTION_ARG_NONE, &reconnect,
         "When the bus goes away, keep trying to connect again instead of exiting", nullptr},
        {"no-vpnclient", 0, 0, G_OPTION_ARG_NONE, &no_vpn_client,
         "Do not play the external VPN client service (com.morvane.vpnclient1)", nullptr},
        {"flood", 0, 0, G_OPTION_ARG_INT, &flood,
         "Send RATE PropertiesChanged and InterfacesAdded signals a second", "RATE"},
        {"print-default-model", 0, 0, G_OPTION_ARG_NONE, &print_model,
         "Print the built-in model and exit", nullptr},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr},
    };
    GStr address_h, model_h, file_h, name_h;
    int rc = 0;
    {
        GOptionContext *ctx = g_option_context_new("- simulate the gateway service on a D-Bus bus");
        g_option_context_add_main_entries(ctx, entries, nullptr);
        GPtr<GError> err;
        bool ok = g_option_context_parse(ctx, &argc, &argv, out(err));
        g_option_context_free(ctx);
        address_h.reset(address);
        model_h.reset(model_file);
        file_h.reset(address_file);
        name_h.reset(name);
        if (!ok) {
            fprintf(stderr, "lumo-gwsim: %s\n", err->message);
            return 2;
        }
    }
    if (print_model) {
        fputs(default_model_text, stdout);
        return 0;
    }

    Model model;
    std::string error;
    if (model_h) {
        GStr text;
        gsize len = 0;
        GPtr<GError> err;
        if (!g_file_get_contents(model_h.get(), lumo::out(text), &len, out(err))) {
            fprintf(stderr, "lumo-gwsim: %s\n", err->message);
            return 2;
        }
        if (!model.load(text.get(), model_h.get(), &error)) {
            fprintf(stderr, "lumo-gwsim: %s\n", error.c_str());
            return 2;
        }
    } else if (!model.load(default_model_text, "default model", &error)) {
        fprintf(stderr, "lumo-gwsim: %s\n", error.c_str());
        return 2;
    }

    App app;
    app.bus_name = name_h ? name_h.get() : "com.quv.igd1";
    app.address_file = file_h ? file_h.get() : "";
    app.reconnect = reconnect != FALSE;
    app.vpn_client = no_vpn_client == FALSE;
    app.flood = flood > 0 ? static_cast<unsigned>(flood) : 0;
    if (address_h) {
        app.address = address_h.get();
    } else {
        GPtr<GError> err;
        GStr a(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, out(err)));
        if (!a) {
            fprintf(stderr, "lumo-gwsim: no system bus address: %s\n", err->message);
            return 1;
        }
        app.address = a.get();
    }
    if (!g_dbus_is_name(app.bus_name.c_str()) || g_dbus_is_unique_name(app.bus_name.c_str())) {
        fprintf(stderr, "lumo-gwsim: '%s' is not a well-known bus name\n", app.bus_name.c_str());
        return 2;
    }

    {
        Service svc(std::move(model));
        app.svc = &svc;
        // Handlers go in before "ready" is printed: a harness may stop us right after it.
        guint term = g_unix_signal_add(SIGTERM, on_signal, &app);
        guint intr = g_unix_signal_add(SIGINT, on_signal, &app);
        if (!connect_bus(app, &error)) {
            fprintf(stderr, "lumo-gwsim: %s\n", error.c_str());
            drop_connection(app);
            rc = 1;
        } else {
            g_main_loop_run(app.loop.get());
            if (app.retry_source)
                g_source_remove(app.retry_source);
            flood_signals(nullptr, 0);
            drop_connection(app);
            rc = app.exit_code;
        }
        g_source_remove(term);
        g_source_remove(intr);
    }
    return rc;
}
