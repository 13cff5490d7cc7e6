// Pieces shared by the framework tests: the simulator playing the framework and an
// outside connection that watches the applications' alarms.
#pragma once

#include <mutex>
#include <string>

#include "bus_support/bus_fixture.hpp"

namespace lumo::test {

inline SimulatorOptions framework_options()
{
    SimulatorOptions o;
    o.name = "com.quv.appframework1";
    return o;
}

// Alarms broadcast on the bus, seen from a connection of its own (path of the last).
class AlarmWatch {
public:
    explicit AlarmWatch(const PrivateBus &bus)
    {
        { std::lock_guard<std::mutex> hold(lock_); }  // publishes the members to the signal's thread
        GPtr<GError> err;
        conn_ = open_connection(bus.address(), out(err));
        if (!conn_) {
            ADD_FAILURE() << err->message;
            return;
        }
        sub_ = g_dbus_connection_signal_subscribe(conn_.get(), nullptr, "com.quv.appframework1.AppStatus", "Alarm",
                                                  nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, on_alarm, this, nullptr);
        // A round trip puts the match rule in place before anything is sent.
        GPtr<GVariant> id(g_dbus_connection_call_sync(conn_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                      "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                                      G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    }
    ~AlarmWatch()
    {
        if (conn_)
            g_dbus_connection_signal_unsubscribe(conn_.get(), sub_);
    }
    AlarmWatch(const AlarmWatch &) = delete;
    AlarmWatch &operator=(const AlarmWatch &) = delete;

    // Waits for an alarm; true once one came.
    bool wait()
    {
        return wait_until([this] {
            g_main_context_iteration(nullptr, FALSE);
            std::lock_guard<std::mutex> hold(lock_);
            return !path.empty();
        });
    }
    std::string path, args;  // read them after wait()

private:
    static void on_alarm(GDBusConnection *, const gchar *, const gchar *object_path, const gchar *, const gchar *,
                         GVariant *params, gpointer self)
    {
        auto *w = static_cast<AlarmWatch *>(self);
        std::lock_guard<std::mutex> hold(w->lock_);  // delivered in GIO's worker thread
        w->path = object_path;
        w->args = printed(params);
    }
    // Static (constant-initialised): its construction needs no hand-over to GIO's thread.
    static inline std::mutex lock_;
    GPtr<GDBusConnection> conn_;
    guint sub_ = 0;
};

}  // namespace lumo::test
