#include "tools/lumoctl/gateway.hpp"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <glib-unix.h>
#include <unistd.h>

#include "tools/lumoctl/records.hpp"

namespace lumoctl {

namespace {

constexpr const char *kGateway = "com.quv.igd1";

// --- time limit -----------------------------------------------------------------

char g_alarm_message[512];
size_t g_alarm_length = 0;
volatile sig_atomic_t g_alarm_code = kExitGateway;

void on_alarm(int)
{
    if (g_alarm_length && write(STDERR_FILENO, g_alarm_message, g_alarm_length) < 0) {
        // nothing more can be done from here
    }
    _exit(g_alarm_code);
}

// --- what the library sends and gets back ----------------------------------------

// Counters are word-sized: 32-bit MIPS has no 64-bit atomics without libatomic.
std::atomic<unsigned long> g_sent{0};
// AddObject and DeleteObject: an add whose write the library refuses sends the pair
// and nothing else (the new object is deleted again).
std::atomic<unsigned long> g_added{0};
std::atomic<unsigned long> g_deleted{0};
std::atomic<unsigned long> g_errors{0};
std::mutex g_error_lock;
std::string g_last_error;

// Runs in GDBus's worker thread for every message in and out of the connection.
GDBusMessage *observe(GDBusConnection *, GDBusMessage *message, gboolean incoming, gpointer)
{
    GDBusMessageType type = g_dbus_message_get_message_type(message);
    if (!incoming && type == G_DBUS_MESSAGE_TYPE_METHOD_CALL &&
        g_strcmp0(g_dbus_message_get_destination(message), kGateway) == 0) {
        const char *member = g_dbus_message_get_member(message);
        if (g_strcmp0(member, "AddObject") == 0)
            ++g_added;
        else if (g_strcmp0(member, "DeleteObject") == 0)
            ++g_deleted;
        ++g_sent;
    } else if (incoming && type == G_DBUS_MESSAGE_TYPE_ERROR) {
        std::string text = g_dbus_message_get_error_name(message) ? g_dbus_message_get_error_name(message) : "";
        GVariant *body = g_dbus_message_get_body(message);
        if (body && g_variant_is_of_type(body, G_VARIANT_TYPE_TUPLE) && g_variant_n_children(body) > 0) {
            GVariant *first = g_variant_get_child_value(body, 0);
            if (g_variant_is_of_type(first, G_VARIANT_TYPE_STRING))
                text += std::string(": ") + g_variant_get_string(first, nullptr);
            g_variant_unref(first);
        }
        {
            std::lock_guard<std::mutex> hold(g_error_lock);
            g_last_error = text;
        }
        ++g_errors;
    }
    return message;
}

// --- watching ---------------------------------------------------------------------

Json variant_json(GVariant *v)
{
    const GVariantType *t = g_variant_get_type(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_BOOLEAN))
        return bool(g_variant_get_boolean(v));
    if (g_variant_type_equal(t, G_VARIANT_TYPE_BYTE))
        return g_variant_get_byte(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_INT16))
        return g_variant_get_int16(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_UINT16))
        return g_variant_get_uint16(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_INT32))
        return g_variant_get_int32(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_UINT32))
        return g_variant_get_uint32(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_INT64))
        return g_variant_get_int64(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_UINT64))
        return g_variant_get_uint64(v);
    if (g_variant_type_equal(t, G_VARIANT_TYPE_DOUBLE))
        return g_variant_get_double(v);
    if (g_variant_type_is_basic(t))  // strings, object paths, signatures
        return g_variant_get_string(v, nullptr);
    if (g_variant_type_is_variant(t)) {
        GVariant *inner = g_variant_get_variant(v);
        Json out = variant_json(inner);
        g_variant_unref(inner);
        return out;
    }
    bool dict = g_variant_type_is_array(t) && g_variant_type_is_dict_entry(g_variant_type_element(t)) &&
                g_variant_type_equal(g_variant_type_key(g_variant_type_element(t)), G_VARIANT_TYPE_STRING);
    Json out = dict ? Json::object() : Json::array();
    for (gsize i = 0, n = g_variant_n_children(v); i < n; ++i) {
        GVariant *child = g_variant_get_child_value(v, i);
        if (dict) {
            GVariant *key = g_variant_get_child_value(child, 0);
            GVariant *value = g_variant_get_child_value(child, 1);
            out[g_variant_get_string(key, nullptr)] = variant_json(value);
            g_variant_unref(key);
            g_variant_unref(value);
        } else {
            out.push_back(variant_json(child));
        }
        g_variant_unref(child);
    }
    return out;
}

std::string variant_text(GVariant *v)
{
    gchar *text = g_variant_print(v, FALSE);
    std::string out = text;
    g_free(text);
    return out;
}

struct Watch {
    GMainLoop *loop;
    unsigned wanted;
    unsigned seen = 0;
    bool json;
    int status = 0;
};

void emit(Watch &w, const Json &event, const std::string &text)
{
    if (w.json)
        std::printf("%s\n", event.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    else
        std::printf("%s\n", text.c_str());
    std::fflush(stdout);
    if (w.wanted && ++w.seen >= w.wanted)
        g_main_loop_quit(w.loop);
}

void on_signal(GDBusConnection *, const char *, const char *path, const char *, const char *member,
               GVariant *params, gpointer data)
{
    Watch &w = *static_cast<Watch *>(data);
    if (w.wanted && w.seen >= w.wanted)
        return;
    if (std::strcmp(member, "PropertiesChanged") == 0 && g_variant_is_of_type(params, G_VARIANT_TYPE("(sa{sv}as)"))) {
        const char *iface = nullptr;
        GVariant *changed = nullptr, *invalidated = nullptr;
        g_variant_get(params, "(&s@a{sv}@as)", &iface, &changed, &invalidated);
        Json event = {{"event", "changed"}, {"path", path}, {"interface", iface}};
        event["changed"] = variant_json(changed);
        event["invalidated"] = variant_json(invalidated);
        std::string text = std::string("changed ") + path + " " + iface;
        GVariantIter iter;
        const char *name = nullptr;
        GVariant *value = nullptr;
        g_variant_iter_init(&iter, changed);
        while (g_variant_iter_loop(&iter, "{&sv}", &name, &value))
            text += std::string(" ") + name + "=" + variant_text(value);
        std::string gone;
        for (const auto &n : event["invalidated"])
            gone += (gone.empty() ? "" : ",") + n.get<std::string>();
        if (!gone.empty())
            text += " invalidated=" + gone;
        g_variant_unref(changed);
        g_variant_unref(invalidated);
        emit(w, event, text);
    } else if (std::strcmp(member, "InterfacesAdded") == 0 &&
               g_variant_is_of_type(params, G_VARIANT_TYPE("(oa{sa{sv}})"))) {
        const char *object = nullptr;
        GVariant *ifaces = nullptr;
        g_variant_get(params, "(&o@a{sa{sv}})", &object, &ifaces);
        Json event = {{"event", "added"}, {"collection", path}, {"path", object}};
        event["interfaces"] = variant_json(ifaces);
        std::string names;
        for (const auto &item : event["interfaces"].items())
            names += (names.empty() ? "" : ",") + item.key();
        g_variant_unref(ifaces);
        emit(w, event, std::string("added ") + object + " " + names);
    } else if (std::strcmp(member, "InterfacesRemoved") == 0 && g_variant_is_of_type(params, G_VARIANT_TYPE("(oas)"))) {
        const char *object = nullptr;
        GVariant *ifaces = nullptr;
        g_variant_get(params, "(&o@as)", &object, &ifaces);
        Json event = {{"event", "removed"}, {"collection", path}, {"path", object}};
        event["interfaces"] = variant_json(ifaces);
        std::string names;
        for (const auto &n : event["interfaces"])
            names += (names.empty() ? "" : ",") + n.get<std::string>();
        g_variant_unref(ifaces);
        emit(w, event, std::string("removed ") + object + " " + names);
    }
}

gboolean on_stop(gpointer data)
{
    g_main_loop_quit(static_cast<Watch *>(data)->loop);
    return G_SOURCE_CONTINUE;
}

void on_closed(GDBusConnection *, gboolean, GError *, gpointer data)
{
    auto *w = static_cast<Watch *>(data);
    std::fprintf(stderr, "lumoctl: watch: the bus connection closed\n");
    w->status = kExitGateway;
    g_main_loop_quit(w->loop);
}

}  // namespace

void arm_timeout(unsigned seconds, int code, const std::string &message)
{
    alarm(0);
    g_alarm_code = code;
    std::string line = message.empty() ? "" : "lumoctl: " + message + "\n";
    g_alarm_length = std::min(line.size(), sizeof g_alarm_message);
    std::memcpy(g_alarm_message, line.data(), g_alarm_length);
    struct sigaction sa = {};
    sa.sa_handler = on_alarm;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGALRM, &sa, nullptr);
    alarm(seconds);
}

GDBusConnection *BusLink::connection()
{
    if (conn_)
        return conn_;
    GError *error = nullptr;
    conn_ = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (!conn_) {
        std::string why = error ? error->message : "unknown error";
        g_clear_error(&error);
        throw Failure{kExitGateway, "cannot reach the system bus: " + why};
    }
    filter_ = g_dbus_connection_add_filter(conn_, observe, nullptr, nullptr);
    return conn_;
}

BusLink::~BusLink()
{
    if (conn_) {
        g_dbus_connection_remove_filter(conn_, filter_);
        g_object_unref(conn_);
    }
}

BusLink::Mark BusLink::mark()
{
    connection();
    return {g_sent.load(), g_added.load(), g_deleted.load(), g_errors.load(), log_lines_mark()};
}

bool BusLink::errors_since(const Mark &since) const
{
    return g_errors.load() != since.errors;
}

bool BusLink::sent_since(const Mark &since) const
{
    return g_sent.load() != since.sent;
}

bool BusLink::refused_since(const Mark &since) const
{
    uint64_t added = g_added.load() - since.added, deleted = g_deleted.load() - since.deleted;
    return !errors_since(since) && g_sent.load() - since.sent == added + deleted && added == deleted;
}

std::string BusLink::refusal_since(const Mark &since, const char *option) const
{
    static const std::string kReason = "Invalid parameter: ";
    std::string line = first_log_line_since(since.log_lines);
    const size_t colon = line.find(": ");
    const std::string message = colon == std::string::npos ? line : line.substr(colon + 2);
    if (message.compare(0, kReason.size(), kReason) != 0)
        return "the library refused the arguments" + (line.empty() ? "" : " (" + line + ")");
    std::string reason = message.substr(kReason.size());
    if (!reason.empty() && reason.back() == '.')
        reason.pop_back();
    const std::string field = reason.substr(0, reason.find(':'));
    if (option && g_ascii_strcasecmp(field.c_str(), option) == 0)
        reason = std::string("--") + option + reason.substr(field.size());
    return reason;
}

void BusLink::failed(const Mark &since, const std::string &what) const
{
    if (errors_since(since)) {
        std::lock_guard<std::mutex> hold(g_error_lock);
        throw Failure{kExitGateway, what + " failed: " + g_last_error};
    }
    if (conn_ && g_dbus_connection_is_closed(conn_))
        throw Failure{kExitGateway, what + " failed: the bus connection closed"};
    if (refused_since(since))
        throw Failure{kExitRefused, what + ": " + refusal_since(since)};
    throw Failure{kExitGateway, what + " failed: no such object, or no usable answer from the gateway"};
}

int watch(BusLink &link, unsigned count, bool json)
{
    GDBusConnection *conn = link.connection();
    GMainLoop *loop = g_main_loop_new(nullptr, FALSE);
    Watch w{loop, count, 0, json, 0};
    struct Subscription {
        const char *iface, *member;
    };
    static const Subscription subs[] = {
        {"org.freedesktop.DBus.Properties", "PropertiesChanged"},
        {"com.quv.igd1.ObjectManager", "InterfacesAdded"},
        {"com.quv.igd1.ObjectManager", "InterfacesRemoved"},
    };
    unsigned ids[3];
    for (size_t i = 0; i < 3; ++i)
        ids[i] = g_dbus_connection_signal_subscribe(conn, kGateway, subs[i].iface, subs[i].member, nullptr, nullptr,
                                                    G_DBUS_SIGNAL_FLAGS_NONE, on_signal, &w, nullptr);
    // A round trip to the bus daemon: once it answers, the match rules are in place.
    GError *error = nullptr;
    GVariant *id = g_dbus_connection_call_sync(conn, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                               "org.freedesktop.DBus", "GetId", nullptr, nullptr,
                                               G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (!id) {
        std::string why = error ? error->message : "unknown error";
        g_clear_error(&error);
        for (unsigned sub : ids)
            g_dbus_connection_signal_unsubscribe(conn, sub);
        g_main_loop_unref(loop);
        throw Failure{kExitGateway, "watch: cannot subscribe: " + why};
    }
    g_variant_unref(id);
    gulong closed = g_signal_connect(conn, "closed", G_CALLBACK(on_closed), &w);
    unsigned sigint = g_unix_signal_add(SIGINT, on_stop, &w);
    unsigned sigterm = g_unix_signal_add(SIGTERM, on_stop, &w);
    std::fprintf(stderr, "lumoctl: watching %s (Ctrl-C stops)\n", kGateway);
    std::fflush(stderr);

    g_main_loop_run(loop);

    g_source_remove(sigint);
    g_source_remove(sigterm);
    g_signal_handler_disconnect(conn, closed);
    for (unsigned sub : ids)
        g_dbus_connection_signal_unsubscribe(conn, sub);
    g_main_loop_unref(loop);
    return w.status;
}

}  // namespace lumoctl
