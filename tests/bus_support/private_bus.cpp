#include "bus_support/private_bus.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ftw.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <glib/gstdio.h>
#include <gtest/gtest.h>

namespace lumo::test {

namespace {

constexpr const char *kControlPath = "/org/lumo3/Simulator";
constexpr const char *kControlIface = "org.lumo3.Simulator1";

// Children die with the test process even when it crashes, so no daemon outlives it.
void die_with_parent(gpointer)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

// A null-terminated argument vector pointing into `args`.
std::vector<char *> argv_of(const std::vector<std::string> &args)
{
    std::vector<char *> argv;
    for (const auto &a : args)
        argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    return argv;
}

// Starts a child whose standard output (and error, when err_fd is given) come back
// through pipes; 0 on failure.
GPid spawn(const std::vector<std::string> &args, int *out_fd, int *err_fd = nullptr)
{
    std::vector<char *> argv = argv_of(args);
    GPid pid = 0;
    GPtr<GError> err;
    if (!g_spawn_async_with_pipes(nullptr, argv.data(), nullptr,
                                  static_cast<GSpawnFlags>(G_SPAWN_DO_NOT_REAP_CHILD | G_SPAWN_SEARCH_PATH),
                                  die_with_parent, nullptr, &pid, nullptr, out_fd, err_fd, out(err))) {
        ADD_FAILURE() << "cannot start " << args[0] << ": " << err->message;
        return 0;
    }
    return pid;
}

// Reads from fd into text until done(text) holds; false when the time is up or the
// stream ended first.
bool read_into(int fd, std::string &text, const std::function<bool(const std::string &)> &done, int timeout_ms)
{
    const gint64 end = g_get_monotonic_time() + gint64(timeout_ms) * 1000;
    while (!done(text)) {
        const int left = int((end - g_get_monotonic_time()) / 1000);
        pollfd p{fd, POLLIN, 0};
        const int r = fd < 0 || left <= 0 ? 0 : poll(&p, 1, left);
        if (r < 0 && errno == EINTR)
            continue;
        char buf[512];
        const ssize_t n = r > 0 ? read(fd, buf, sizeof buf) : 0;
        if (n <= 0)
            return false;
        text.append(buf, size_t(n));
    }
    return true;
}

// Terminates a child started by spawn() and closes its output; its exit status (128 +
// signal when killed), or -1.
int end_child(GPid &pid, int &fd)
{
    if (pid <= 0)
        return -1;
    kill(pid, SIGTERM);
    int status = 0, result = -1;
    pid_t r = 0;
    // Up to 10 s: sanitizer builds exit slowly.
    for (int i = 0; i < 1000 && (r = waitpid(pid, &status, WNOHANG)) == 0; ++i)
        g_usleep(10000);
    if (r == 0) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        result = 128 + SIGKILL;
    } else if (r == pid) {
        result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    g_spawn_close_pid(pid);
    pid = 0;
    if (fd >= 0)
        close(fd);
    fd = -1;
    return result;
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}

std::string from_env(const char *var, const char *fallback)
{
    const char *v = getenv(var);
    return v && *v ? v : fallback;
}

}  // namespace

std::string gwsim_path()
{
#ifdef LUMO_GWSIM_PATH
    return from_env("LUMO_GWSIM", LUMO_GWSIM_PATH);
#else
    return from_env("LUMO_GWSIM", "lumo-gwsim");
#endif
}

GPtr<GVariant> parse_variant(const char *text, const char *type)
{
    GPtr<GError> err;
    GPtr<GVariant> v = ref_sink(
        g_variant_parse(type ? G_VARIANT_TYPE(type) : nullptr, text, nullptr, nullptr, out(err)));
    if (!v)
        ADD_FAILURE() << "bad GVariant text \"" << text << "\": " << err->message;
    return v;
}

std::string printed(GVariant *v)
{
    if (!v)
        return "(null)";
    GStr s(g_variant_print(v, TRUE));
    return s.get();
}

RunResult run_program(const std::vector<std::string> &argv)
{
    std::vector<char *> args = argv_of(argv);
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

GPtr<GDBusConnection> open_connection(const std::string &address, GError **error)
{
    return GPtr<GDBusConnection>(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, error));
}

Background::Background(const std::vector<std::string> &argv)
{
    pid_ = spawn(argv, &out_fd_, &err_fd_);
}

Background::~Background()
{
    end_child(pid_, out_fd_);  // leaves the pipes open once wait() reaped the child
    for (int fd : {out_fd_, err_fd_})
        if (fd >= 0)
            close(fd);
}

bool Background::read_until(bool from_err, const std::function<bool(const std::string &)> &done, int timeout_ms)
{
    return read_into(from_err ? err_fd_ : out_fd_, from_err ? err : out, done, timeout_ms);
}

int Background::wait()
{
    int status = 0;
    if (pid_ <= 0 || waitpid(pid_, &status, 0) != pid_)
        return -1;
    pid_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// ---------------------------------------------------------------------------
// PrivateBus

PrivateBus::PrivateBus()
{
    GStr d(g_dir_make_tmp("lumo3-bus-XXXXXX", nullptr));
    if (!d) {
        ADD_FAILURE() << "cannot make a temporary directory";
        return;
    }
    dir_ = d.get();
    address_ = "unix:path=" + dir_ + "/bus";
    if (const char *old = getenv("DBUS_SYSTEM_BUS_ADDRESS")) {
        had_env_ = true;
        saved_env_ = old;
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
    start();
}

PrivateBus::~PrivateBus()
{
    stop();
    if (had_env_)
        setenv("DBUS_SYSTEM_BUS_ADDRESS", saved_env_.c_str(), 1);
    else
        unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (!dir_.empty())
        nftw(dir_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

bool PrivateBus::start()
{
    if (pid_ > 0 || dir_.empty())
        return pid_ > 0;
    g_unlink((dir_ + "/bus").c_str());
    const std::string config = from_env("LUMO_BUS_CONFIG", LUMO_BUS_CONFIG_PATH);
    pid_ = spawn({"dbus-daemon", "--config-file=" + config, "--address=" + address_, "--nofork", "--nopidfile",
                  "--print-address"},
                 &out_fd_);
    if (pid_ <= 0)
        return false;
    // The address is printed once the daemon listens.
    std::string text;
    if (!read_into(out_fd_, text, [](const std::string &t) { return t.find('\n') != std::string::npos; }, 20000)) {
        ADD_FAILURE() << "dbus-daemon did not start on " << address_;
        stop();
        return false;
    }
    GPtr<GError> err;
    GPtr<GDBusConnection> probe = open_connection(address_, out(err));
    if (!probe) {
        ADD_FAILURE() << "the private bus does not answer: " << err->message;
        stop();
        return false;
    }
    g_dbus_connection_close_sync(probe.get(), nullptr, nullptr);
    return true;
}

bool PrivateBus::stop()
{
    const bool running = pid_ > 0;
    end_child(pid_, out_fd_);
    return running;
}

// ---------------------------------------------------------------------------
// Simulator

std::string LoggedCall::args_text() const
{
    return args ? printed(args.get()) : "";
}

Simulator::Simulator(PrivateBus &bus, SimulatorOptions options)
    : bus_(bus), name_(options.name.empty() ? "com.quv.igd1" : options.name)
{
    if (!bus.ok()) {
        ADD_FAILURE() << "no private bus for the simulator";
        return;
    }
    std::vector<std::string> args{gwsim_path(), "--address=" + bus.address(), "--name=" + name_};
    if (!options.model.empty())
        args.push_back("--model=" + options.model);
    if (!options.address_file.empty())
        args.push_back("--write-address-file=" + options.address_file);
    if (options.reconnect)
        args.push_back("--reconnect");
    if (!options.vpn_client)
        args.push_back("--no-vpnclient");
    args.insert(args.end(), options.extra_args.begin(), options.extra_args.end());
    pid_ = spawn(args, &out_fd_);
    if (pid_ > 0 && !wait_ready())
        ADD_FAILURE() << "lumo-gwsim did not get ready";
}

Simulator::~Simulator()
{
    stop();
}

bool Simulator::wait_ready(int timeout_ms)
{
    // Each "ready" line is used up, so that after a restart the next one is awaited.
    size_t at = 0;
    auto ready = [&](const std::string &t) { return (at = ("\n" + t).find("\nready\n")) != std::string::npos; };
    ready_ = pid_ > 0 && read_into(out_fd_, out_, ready, timeout_ms);
    if (ready_)
        out_.erase(0, at + 6);
    return ready_;
}

int Simulator::stop()
{
    conn_.reset();
    ready_ = false;
    return end_child(pid_, out_fd_);
}

GDBusConnection *Simulator::connection()
{
    if (conn_ && g_dbus_connection_is_closed(conn_.get()))
        conn_.reset();
    if (!conn_) {
        GPtr<GError> err;
        conn_ = open_connection(bus_.address(), out(err));
        if (!conn_)
            ADD_FAILURE() << "cannot connect to the private bus: " << err->message;
    }
    return conn_.get();
}

GPtr<GVariant> Simulator::call(const std::string &path, const std::string &iface, const std::string &method,
                               GVariant *args, GError **error, int timeout_ms)
{
    GPtr<GVariant> a = ref_sink(args);
    GDBusConnection *c = connection();
    if (!c)
        return nullptr;
    return GPtr<GVariant>(g_dbus_connection_call_sync(c, name_.c_str(), path.c_str(), iface.c_str(),
                                                      method.c_str(), a.get(), nullptr, G_DBUS_CALL_FLAGS_NONE,
                                                      timeout_ms, nullptr, error));
}

GPtr<GVariant> Simulator::property(const std::string &path, const std::string &iface, const std::string &name)
{
    GPtr<GVariant> r = call(path, "com.quv.igd1.Properties", "Get",
                            g_variant_new("(ss)", iface.c_str(), name.c_str()));
    if (!r || !g_variant_is_of_type(r.get(), G_VARIANT_TYPE("(v)")))
        return nullptr;
    GPtr<GVariant> boxed(g_variant_get_child_value(r.get(), 0));
    return GPtr<GVariant>(g_variant_get_variant(boxed.get()));
}

bool Simulator::control(const char *method, GVariant *args, GPtr<GVariant> *reply)
{
    GPtr<GError> err;
    GPtr<GVariant> r = call(kControlPath, kControlIface, method, args, out(err));
    if (!r) {
        ADD_FAILURE() << "simulator " << method << " failed: " << (err ? err->message : "no connection");
        return false;
    }
    if (reply)
        *reply = std::move(r);
    return true;
}

bool Simulator::set_property(const std::string &path, const std::string &iface, const std::string &name,
                             GVariant *value)
{
    GPtr<GVariant> v = ref_sink(value);
    return v && control("SetProperty", g_variant_new("(sssv)", path.c_str(), iface.c_str(), name.c_str(), v.get()));
}

bool Simulator::set_property(const std::string &path, const std::string &iface, const std::string &name,
                             const char *gvariant_text)
{
    GPtr<GVariant> v = parse_variant(gvariant_text);
    return v && set_property(path, iface, name, v.get());
}

bool Simulator::remove_property(const std::string &path, const std::string &iface, const std::string &name)
{
    return control("RemoveProperty", g_variant_new("(sss)", path.c_str(), iface.c_str(), name.c_str()));
}

bool Simulator::add_object(const std::string &path, GVariant *ifaces)
{
    GPtr<GVariant> v = ref_sink(ifaces);
    return v && control("AddObject", g_variant_new("(s@a{sa{sv}})", path.c_str(), v.get()));
}

bool Simulator::add_object(const std::string &path, const char *gvariant_text)
{
    GPtr<GVariant> v = parse_variant(gvariant_text, "a{sa{sv}}");
    return v && add_object(path, v.get());
}

bool Simulator::remove_object(const std::string &path)
{
    return control("RemoveObject", g_variant_new("(s)", path.c_str()));
}

bool Simulator::add_collection(const std::string &path, const std::string &iface, GVariant *tmpl)
{
    GPtr<GVariant> v = ref_sink(tmpl);
    return v && control("AddCollection", g_variant_new("(ss@a{sv})", path.c_str(), iface.c_str(), v.get()));
}

bool Simulator::script_reply(const std::string &path, const std::string &iface, const std::string &method,
                             GVariant *reply, unsigned delay_ms, bool once)
{
    GPtr<GVariant> v = ref_sink(reply);
    return v && control("ScriptReply", g_variant_new("(sssvub)", path.c_str(), iface.c_str(), method.c_str(),
                                                     v.get(), delay_ms, once));
}

bool Simulator::script_reply(const std::string &path, const std::string &iface, const std::string &method,
                             const char *gvariant_text, unsigned delay_ms, bool once)
{
    GPtr<GVariant> v = parse_variant(gvariant_text);
    return v && script_reply(path, iface, method, v.get(), delay_ms, once);
}

bool Simulator::script_error(const std::string &path, const std::string &iface, const std::string &method,
                             const std::string &error_name, const std::string &message, unsigned delay_ms,
                             bool once)
{
    return control("ScriptError", g_variant_new("(sssssub)", path.c_str(), iface.c_str(), method.c_str(),
                                                error_name.c_str(), message.c_str(), delay_ms, once));
}

bool Simulator::script_delay(const std::string &path, const std::string &iface, const std::string &method,
                             unsigned delay_ms, bool once)
{
    return control("ScriptDelay",
                   g_variant_new("(sssub)", path.c_str(), iface.c_str(), method.c_str(), delay_ms, once));
}

bool Simulator::clear_scripts()
{
    return control("ClearScripts", nullptr);
}

bool Simulator::emit_signal(const std::string &path, const std::string &iface, const std::string &name,
                            GVariant *args)
{
    GPtr<GVariant> v = ref_sink(args);
    return v && control("EmitSignal", g_variant_new("(sssv)", path.c_str(), iface.c_str(), name.c_str(), v.get()));
}

std::vector<LoggedCall> Simulator::call_log()
{
    std::vector<LoggedCall> calls;
    GPtr<GVariant> r;
    if (!control("GetCallLog", nullptr, &r))
        return calls;
    GPtr<GVariant> list(g_variant_get_child_value(r.get(), 0));
    GVariantIter it;
    g_variant_iter_init(&it, list.get());
    const char *sender, *path, *iface, *method;
    GVariantIter *args = nullptr;
    while (g_variant_iter_next(&it, "(&s&s&s&sav)", &sender, &path, &iface, &method, &args)) {
        GPtr<GVariantIter> hold(args);
        std::vector<GVariant *> items;
        GVariant *a = nullptr;
        while (g_variant_iter_next(args, "v", &a))
            items.push_back(a);
        GPtr<GVariant> tuple = ref_sink(g_variant_new_tuple(items.data(), items.size()));
        for (GVariant *i : items)
            g_variant_unref(i);
        calls.push_back(LoggedCall{sender, path, iface, method, std::move(tuple)});
    }
    return calls;
}

size_t Simulator::count_calls(const std::string &path, const std::string &iface, const std::string &method)
{
    size_t n = 0;
    for (const auto &c : call_log())
        if ((path.empty() || c.path == path) && (iface.empty() || c.iface == iface) &&
            (method.empty() || c.method == method))
            ++n;
    return n;
}

bool Simulator::clear_call_log()
{
    return control("ClearCallLog", nullptr);
}

}  // namespace lumo::test
