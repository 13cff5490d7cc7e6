// Serves a Model on one bus connection: every method call addressed to the
// simulator's connection is taken by a message filter and answered from the main
// loop, so any path, interface and member can be scripted.
#pragma once

#include <atomic>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "tools/gwsim/model.hpp"

namespace lumo::gwsim {

inline constexpr const char *kControlPath = "/org/lumo3/Simulator";
inline constexpr const char *kControlIface = "org.lumo3.Simulator1";

class Service {
public:
    explicit Service(Model model);
    ~Service();
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    // Starts answering calls arriving on conn (which must be open) and owns
    // bus_name on it. Returns false with *error set on failure.
    bool attach(GDBusConnection *conn, const char *bus_name, std::string *error);
    // Stops answering; pending delayed replies are dropped.
    void detach();
    // Runs the default main context until every call queued by the filter is gone.
    void drain();

private:
    struct Call;
    struct LogEntry {
        std::string sender, path, iface, member;
        GPtr<GVariant> args;  // "av", one boxed value per argument
    };
    struct Script {
        std::string path, iface, member;  // "" matches anything
        Behaviour b;
    };

    static GDBusMessage *filter_cb(GDBusConnection *conn, GDBusMessage *msg, gboolean incoming,
                                   gpointer self);
    static gboolean dispatch_cb(gpointer call);
    static gboolean delayed_cb(gpointer call);
    static void free_call(gpointer call);

    void handle(Call &call);
    void finish(Call &call, const Behaviour *b);
    void builtin(Call &call);
    void control(Call &call);
    void properties(Call &call, bool quv);
    void object_manager(Call &call);
    bool in_nested_collection(const std::string &outer, const std::string &object) const;
    std::string introspect(const std::string &path) const;
    bool path_exists(const std::string &path) const;

    // Model changes that notify watchers.
    void set_prop(const std::string &path, const std::string &iface, const std::string &prop,
                  GVariant *value);
    void add_object(const std::string &path, GVariant *ifaces);
    bool remove_object(const std::string &path);
    void emit(const char *path, const char *iface, const char *name, GVariant *args);
    void emit_changed(const std::string &path, const std::string &iface, GVariant *changed,
                      const std::vector<std::string> &invalidated);

    void reply(Call &call, GVariant *tuple);
    void reply_error(Call &call, const char *name, const std::string &message);

    Model model_;
    GDBusConnection *conn_ = nullptr;  // owned reference while attached
    guint filter_id_ = 0;
    std::atomic<int> queued_{0};       // calls handed from the filter to the main loop
    std::set<Call *> delayed_;         // calls waiting for their delay to pass
    std::vector<Script> scripts_;
    std::deque<LogEntry> log_;
};

}  // namespace lumo::gwsim
