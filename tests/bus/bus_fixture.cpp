#include "bus_fixture.hpp"

#include <cstdlib>
#include <ftw.h>
#include <sys/wait.h>

namespace lumo::test {

bool has_message(const LogCapture &log, int priority, const std::string &tag, const std::string &message)
{
    const std::string tail = "] " + tag + ": " + message + "\n";
    for (const auto &l : log.lines()) {
        if (l.priority != priority || l.text.size() < tail.size() || l.text[0] != '[')
            continue;
        if (l.text.compare(l.text.size() - tail.size(), tail.size(), tail) == 0 &&
            l.text.find("] ") == l.text.size() - tail.size())
            return true;
    }
    return false;
}

bool log_mentions(const LogCapture &log, const std::string &needle)
{
    return log.contains(needle);
}

std::string dump(const LogCapture &log)
{
    std::string all = "captured log:\n";
    for (const auto &l : log.lines())
        all += "  <" + std::to_string(l.priority) + ">" + l.text;
    return all;
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

ScopedContext::ScopedContext(const char *name) : ctx_(g_new0(OvanDBusServiceContext_t, 1))
{
    g_strlcpy(ctx_->service_name, name, sizeof ctx_->service_name);
    qzr_dbus_service_context = ctx_;
}

ScopedContext::~ScopedContext()
{
    if (qzr_dbus_service_context == ctx_)
        qzr_dbus_service_context = nullptr;
    g_free(ctx_->errmsg);
    g_free(ctx_);
}

namespace {
int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}
}  // namespace

ScopedTmpDir::ScopedTmpDir()
{
    char templ[] = "/tmp/lumo3-bustest-XXXXXX";
    if (mkdtemp(templ))
        dir_ = templ;
    if (const char *old = getenv("TMPDIR")) {
        had_ = true;
        saved_ = old;
    }
    if (!dir_.empty())
        setenv("TMPDIR", dir_.c_str(), 1);
}

ScopedTmpDir::~ScopedTmpDir()
{
    if (had_)
        setenv("TMPDIR", saved_.c_str(), 1);
    else
        unsetenv("TMPDIR");
    if (!dir_.empty())
        nftw(dir_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

RunResult run_program(const std::vector<std::string> &argv)
{
    std::vector<char *> args;
    for (const auto &a : argv)
        args.push_back(const_cast<char *>(a.c_str()));
    args.push_back(nullptr);
    RunResult r;
    GStr out_text, err_text;
    int wait_status = 0;
    GPtr<GError> err;
    r.spawned = g_spawn_sync(nullptr, args.data(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr, out(out_text),
                             out(err_text), &wait_status, out(err));
    if (!r.spawned) {
        r.err = err ? err->message : "spawn failed";
        return r;
    }
    r.out = out_text ? out_text.get() : "";
    r.err = err_text ? err_text.get() : "";
    if (WIFEXITED(wait_status))
        r.exit_status = WEXITSTATUS(wait_status);
    return r;
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

namespace {
GPtr<GVariant> daemon_call(const PrivateBus &bus, const char *method, GVariant *args)
{
    GPtr<GVariant> owned = ref_sink(args);
    GPtr<GError> err;
    GPtr<GDBusConnection> conn(g_dbus_connection_new_for_address_sync(
        bus.address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, out(err)));
    if (!conn) {
        ADD_FAILURE() << "cannot connect to " << bus.address() << ": " << err->message;
        return nullptr;
    }
    GPtr<GVariant> reply(g_dbus_connection_call_sync(conn.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                     "org.freedesktop.DBus", method, owned.get(), nullptr,
                                                     G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
    g_dbus_connection_close_sync(conn.get(), nullptr, nullptr);
    return reply;
}
}  // namespace

bool name_has_owner(const PrivateBus &bus, const std::string &name)
{
    GPtr<GVariant> r = daemon_call(bus, "NameHasOwner", g_variant_new("(s)", name.c_str()));
    gboolean has = FALSE;
    if (r)
        g_variant_get(r.get(), "(b)", &has);
    return has != FALSE;
}

std::string name_owner(const PrivateBus &bus, const std::string &name)
{
    GPtr<GVariant> r = daemon_call(bus, "GetNameOwner", g_variant_new("(s)", name.c_str()));
    const char *owner = nullptr;
    if (!r)
        return "";
    g_variant_get(r.get(), "(&s)", &owner);
    return owner;
}

}  // namespace lumo::test
