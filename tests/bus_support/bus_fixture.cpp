#include "bus_support/bus_fixture.hpp"

#include <syslog.h>

#include "lumo3_servers.h"
#include "lumo3_wlan.h"


namespace lumo::test {

bool has_message(const LogCapture &log, int priority, const std::string &tag, const std::string &message)
{
    const std::string tail = "] " + tag + ": " + message + "\n";
    for (const auto &l : log.lines())
        if (l.priority == priority && l.text.starts_with('[') && l.text.ends_with(tail) &&
            l.text.find("] ") == l.text.size() - tail.size())
            return true;
    return false;
}

std::string dump(const LogCapture &log)
{
    std::string all = "captured log:\n";
    for (const auto &l : log.lines())
        all += "  <" + std::to_string(l.priority) + ">" + l.text;
    return all;
}

size_t errors_from(const LogCapture &log, const std::string &tag)
{
    size_t n = 0;
    for (const auto &l : log.lines())
        if (l.priority == LOG_ERR && l.text.find("] " + tag + ": ") != std::string::npos)
            n++;
    return n;
}

OvanObjPath_t obj_path(const std::string &path)
{
    OvanObjPath_t p{};
    g_strlcpy(p.str, path.c_str(), sizeof p.str);
    return p;
}

GPtr<GVariant> last_args(Simulator &sim, const std::string &method)
{
    GPtr<GVariant> args;
    for (auto &c : sim.call_log())
        if (c.method == method)
            args = std::move(c.args);
    return args;
}

std::vector<std::string> sent_keys(Simulator &sim)
{
    std::vector<std::string> keys;
    GPtr<GVariant> args = last_args(sim, "SetMulti");
    if (!args)
        return keys;
    GPtr<GVariant> dict(g_variant_get_child_value(args.get(), 1));
    for (size_t i = 0; i < g_variant_n_children(dict.get()); ++i) {
        const char *key = nullptr;
        g_variant_get_child(dict.get(), i, "{&sv}", &key, nullptr);
        keys.emplace_back(key);
    }
    return keys;
}

void quiet_shared_connection()
{
    GPtr<GDBusConnection> conn(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (conn)
        g_dbus_connection_set_exit_on_close(conn.get(), FALSE);
}

bool wait_until(const std::function<bool()> &done, int timeout_ms)
{
    const gint64 deadline = g_get_monotonic_time() + static_cast<gint64>(timeout_ms) * 1000;
    while (!done()) {
        if (g_get_monotonic_time() > deadline)
            return false;
        g_usleep(2000);
    }
    return true;
}

RunResult gdbus_call(const PrivateBus &bus, const std::string &dest, const std::string &path,
                     const std::string &method, const std::vector<std::string> &args, int timeout_s)
{
    std::vector<std::string> argv{"gdbus",         "call", "--address", bus.address(), "--dest",
                                  dest,            "--object-path",     path,          "--method",
                                  method,          "--timeout",         std::to_string(timeout_s)};
    argv.insert(argv.end(), args.begin(), args.end());
    return run_program(argv);
}

std::string name_owner(const PrivateBus &bus, const std::string &name)
{
    GPtr<GError> err;
    GPtr<GDBusConnection> conn = open_connection(bus.address(), out(err));
    if (!conn) {
        ADD_FAILURE() << "cannot connect to " << bus.address() << ": " << err->message;
        return "";
    }
    GPtr<GVariant> reply(g_dbus_connection_call_sync(conn.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                     "org.freedesktop.DBus", "GetNameOwner",
                                                     g_variant_new("(s)", name.c_str()), G_VARIANT_TYPE("(s)"),
                                                     G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
    g_dbus_connection_close_sync(conn.get(), nullptr, nullptr);
    const char *owner = nullptr;
    if (reply)
        g_variant_get(reply.get(), "(&s)", &owner);
    return owner ? owner : "";
}

bool name_has_owner(const PrivateBus &bus, const std::string &name)
{
    return !name_owner(bus, name).empty();
}

void GuardedSimTest::SetUp()
{
    SimTest::SetUp();
    uint32_t n = 0;
    ASSERT_EQ(OvanGetWLANDeviceObjs(nullptr, &n), 0);
    OvanFTPServer_t ftp{};
    ASSERT_EQ(Ovan_GetFTPServer(&ftp), 0);
}

}  // namespace lumo::test
