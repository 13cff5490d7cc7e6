// A private D-Bus bus of system type for one test process, and the gateway
// simulator running on it. Nothing here ever touches the machine's own buses.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "core/glib_ptr.hpp"

namespace lumo::test {

// A dbus-daemon of its own, listening on a socket in a fresh temporary directory.
// While it exists DBUS_SYSTEM_BUS_ADDRESS points at it (the previous value comes
// back on destruction), so GIO's system-bus connection of the test process lands
// here. Failures are reported as gtest failures; check ok().
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    bool ok() const { return pid_ > 0; }
    // "unix:path=<dir>/bus"; the same across stop() and start().
    const std::string &address() const { return address_; }
    // The temporary directory holding the socket (removed on destruction).
    const std::string &dir() const { return dir_; }

    // Stops the daemon (connections to it close). True if it was running.
    bool stop();
    // Starts the daemon again on the same address; true once it answers.
    bool start();
    bool restart() { return stop() && start(); }

private:
    std::string dir_;
    std::string address_;
    std::string saved_env_;
    bool had_env_ = false;
    GPid pid_ = 0;
    int out_fd_ = -1;
};

// Options of a simulator run; empty strings mean the defaults.
struct SimulatorOptions {
    std::string model;         // model file (default: the built-in model)
    std::string address_file;  // --write-address-file
    std::string name;          // bus name to own (default com.quv.igd1)
    bool reconnect = true;     // keep serving across PrivateBus::restart()
    bool vpn_client = true;    // also own com.morvane.vpnclient1 (else --no-vpnclient)
    std::vector<std::string> extra_args;  // further options, e.g. {"--flood=10000"}
};

// One method call the simulator received (calls to its control object excluded).
struct LoggedCall {
    std::string sender, path, iface, method;
    GPtr<GVariant> args;  // the argument tuple, "()" for none
    std::string args_text() const;
};

// lumo-gwsim on a PrivateBus, plus typed access to its control interface through a
// private connection of its own (never GIO's shared system connection, which
// belongs to the code under test). GVariant arguments may be floating; a floating
// value is consumed. Helpers report D-Bus failures as gtest failures and return
// false / null.
class Simulator {
public:
    explicit Simulator(PrivateBus &bus, SimulatorOptions options = {});
    ~Simulator();
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;

    bool ok() const { return pid_ > 0 && ready_; }
    // Waits for the next "ready" line (e.g. after the bus was restarted).
    bool wait_ready(int timeout_ms = 20000);
    // Stops the simulator; its exit status (0 for a clean exit), or -1.
    int stop();

    // The private client connection, reopened when the bus was restarted.
    GDBusConnection *connection();
    // A plain call on the simulated service; null (and *error set when given) on
    // failure, which is not a gtest failure here.
    GPtr<GVariant> call(const std::string &path, const std::string &iface, const std::string &method,
                        GVariant *args = nullptr, GError **error = nullptr, int timeout_ms = -1);
    // A property read through com.quv.igd1.Properties.Get; null when it fails.
    GPtr<GVariant> property(const std::string &path, const std::string &iface, const std::string &name);

    bool set_property(const std::string &path, const std::string &iface, const std::string &name, GVariant *value);
    bool set_property(const std::string &path, const std::string &iface, const std::string &name,
                      const char *gvariant_text);
    bool remove_property(const std::string &path, const std::string &iface, const std::string &name);
    // ifaces: "a{sa{sv}}"; creates the object or merges into it.
    bool add_object(const std::string &path, GVariant *ifaces);
    bool add_object(const std::string &path, const char *gvariant_text);
    bool remove_object(const std::string &path);
    // tmpl: "a{sv}" properties of instances made by AddObject.
    bool add_collection(const std::string &path, const std::string &iface, GVariant *tmpl);

    // Scripts: empty path/iface/method match anything; the newest match wins. A
    // reply that is not a tuple is sent as a one-element tuple.
    bool script_reply(const std::string &path, const std::string &iface, const std::string &method,
                      GVariant *reply, unsigned delay_ms = 0, bool once = false);
    bool script_reply(const std::string &path, const std::string &iface, const std::string &method,
                      const char *gvariant_text, unsigned delay_ms = 0, bool once = false);
    bool script_error(const std::string &path, const std::string &iface, const std::string &method,
                      const std::string &error_name, const std::string &message, unsigned delay_ms = 0,
                      bool once = false);
    // Delays the normal answer.
    bool script_delay(const std::string &path, const std::string &iface, const std::string &method,
                      unsigned delay_ms, bool once = false);
    bool clear_scripts();
    bool emit_signal(const std::string &path, const std::string &iface, const std::string &name, GVariant *args);

    std::vector<LoggedCall> call_log();
    // Calls in the log matching the filters ("" matches anything).
    size_t count_calls(const std::string &path = "", const std::string &iface = "", const std::string &method = "");
    bool clear_call_log();

private:
    bool control(const char *method, GVariant *args, GPtr<GVariant> *reply = nullptr);

    PrivateBus &bus_;
    std::string name_;
    GPid pid_ = 0;
    int out_fd_ = -1;
    std::string out_;  // standard output not yet used up
    bool ready_ = false;
    GPtr<GDBusConnection> conn_;
};

// Parses GVariant text; a gtest failure and null when it does not parse.
GPtr<GVariant> parse_variant(const char *text, const char *type = nullptr);

// g_variant_print with types; "(null)" for null.
std::string printed(GVariant *v);

// A program run to completion.
struct RunResult {
    bool spawned = false;
    int exit_status = -1;  // -1 when it did not exit normally
    std::string out, err;
};
RunResult run_program(const std::vector<std::string> &argv);

// A program running in the background (it dies with the test process); its output is
// read as it comes. Killed and reaped on destruction.
class Background {
public:
    explicit Background(const std::vector<std::string> &argv);
    ~Background();
    Background(const Background &) = delete;
    Background &operator=(const Background &) = delete;

    // Reads standard output (or error) on until done(text) holds; false when the time
    // is up or the stream ended first.
    bool read_until(bool from_err, const std::function<bool(const std::string &)> &done, int timeout_ms = 10000);
    // Waits for the exit: its status, -1 when it did not exit normally.
    int wait();
    std::string out, err;

private:
    GPid pid_ = 0;
    int out_fd_ = -1, err_fd_ = -1;
};

// A private connection of its own to the bus at `address` (null and *error set on failure).
GPtr<GDBusConnection> open_connection(const std::string &address, GError **error = nullptr);

// The path of the simulator program.
std::string gwsim_path();

}  // namespace lumo::test
