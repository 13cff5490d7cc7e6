// The simulated application framework: installed packages live in the model as
// objects under /com/quv/appframework1/packages, and the agent's methods read and
// change them.
#include "tools/gwsim/appframework.hpp"

#include <cstdio>
#include <cstring>
#include <string>

namespace lumo::gwsim {
namespace {

constexpr const char kAgentPath[] = "/com/quv/appframework1";
constexpr const char kAgentIface[] = "com.quv.appframework1.AppAgent";
constexpr const char kSettingsIface[] = "org.lumo3.Simulator1.Framework";
constexpr const char kPackagesPrefix[] = "/com/quv/appframework1/packages/";
constexpr const char kPackageIface[] = "org.lumo3.Simulator1.Package";
constexpr const char kNotRunning[] = "com.quv.appframework1.Error.NotRunning";

// A call answered later (after the install delay, or once the application answered).
struct Pending {
    ObjPtr<GDBusConnection> conn;
    ObjPtr<GDBusMessage> msg;
    Model *model = nullptr;
};

void send(GDBusConnection *conn, GDBusMessage *reply)
{
    GPtr<GError> err;
    if (!g_dbus_connection_send_message(conn, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, out(err)) &&
        !g_dbus_connection_is_closed(conn))
        fprintf(stderr, "lumo-gwsim: cannot reply: %s\n", err->message);
}

void answer(GDBusConnection *conn, GDBusMessage *msg, GVariant *tuple)
{
    GPtr<GVariant> body = ref_sink(tuple);
    if (g_dbus_message_get_flags(msg) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED)
        return;
    ObjPtr<GDBusMessage> r(g_dbus_message_new_method_reply(msg));
    if (g_variant_n_children(body.get()) > 0)
        g_dbus_message_set_body(r.get(), body.get());
    send(conn, r.get());
}

void fail(GDBusConnection *conn, GDBusMessage *msg, const char *name, const std::string &message)
{
    if (g_dbus_message_get_flags(msg) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED)
        return;
    ObjPtr<GDBusMessage> r(g_dbus_message_new_method_error_literal(msg, name, message.c_str()));
    send(conn, r.get());
}

std::string package_path(const std::string &name)
{
    std::string path = kPackagesPrefix;
    for (char ch : name)
        path += g_ascii_isalnum(ch) ? ch : '_';
    return path;
}

Interface *package(Model &model, const std::string &name)
{
    auto it = model.objects.find(package_path(name));
    if (it == model.objects.end())
        return nullptr;
    Interface *pkg = it->second.find(kPackageIface);
    GVariant *stored = pkg ? pkg->get("Name") : nullptr;
    if (!stored || !g_variant_is_of_type(stored, G_VARIANT_TYPE_STRING) || name != g_variant_get_string(stored, nullptr))
        return nullptr;
    return pkg;
}

std::string text_of(const Interface &pkg, const char *prop)
{
    GVariant *v = pkg.get(prop);
    return v && g_variant_is_of_type(v, G_VARIANT_TYPE_STRING) ? g_variant_get_string(v, nullptr) : "";
}

guint32 number_of(const Interface &pkg)
{
    GVariant *v = pkg.get("Number");
    return v && g_variant_is_of_type(v, G_VARIANT_TYPE_UINT32) ? g_variant_get_uint32(v) : 0;
}

Interface &settings(Model &model)
{
    return model.objects[kAgentPath].ensure(kSettingsIface);
}

// "com.<vendor>.<package><DbusVersion>" in lower case from the package's control
// file under $LUMO_SYSROOT, as an application hosting its service derives it.
std::string bus_name_of(const std::string &pkg)
{
    const char *root = g_getenv("LUMO_SYSROOT");
    std::string file = std::string(root ? root : "") + "/usr/lib/opkg/info/" + pkg + ".control";
    GStr text;
    if (!g_file_get_contents(file.c_str(), out(text), nullptr, nullptr))
        return "";
    std::string package, vendor, version;
    GStrv lines(g_strsplit(text.get(), "\n", -1));
    for (char **l = lines.get(); *l; ++l) {
        g_strchomp(*l);
        auto take = [&](const char *key, std::string &to, size_t max) {
            const size_t n = std::strlen(key);
            if (std::strncmp(*l, key, n) == 0)
                to = std::string(g_strchug(*l + n)).substr(0, max);
        };
        take("Package:", package, 15);
        take("Vendor:", vendor, 31);
        take("DbusVersion:", version, 7);
    }
    if (package.empty() || vendor.empty() || version.empty())
        return "";
    GStr lower(g_ascii_strdown(("com." + vendor + "." + package + version).c_str(), -1));
    return lower.get();
}

void forwarded(GObject *source, GAsyncResult *res, gpointer data)
{
    auto *p = static_cast<Pending *>(data);
    GPtr<GError> err;
    GPtr<GVariant> r(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), res, out(err)));
    if (r) {
        answer(p->conn.get(), p->msg.get(), r.release());
    } else {
        GStr remote(g_dbus_error_get_remote_error(err.get()));
        g_dbus_error_strip_remote_error(err.get());
        fail(p->conn.get(), p->msg.get(), remote ? remote.get() : "org.freedesktop.DBus.Error.Failed", err->message);
    }
    delete p;
}

// Sends `member` to the application's management object; false when the
// application is not on the bus.
bool forward(GDBusConnection *conn, GDBusMessage *msg, const std::string &pkg, const char *member, GVariant *args)
{
    GPtr<GVariant> owned = ref_sink(args);
    const std::string name = bus_name_of(pkg);
    if (name.empty() || !g_dbus_is_name(name.c_str()))
        return false;
    GPtr<GVariant> has(g_dbus_connection_call_sync(conn, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                   "org.freedesktop.DBus", "NameHasOwner",
                                                   g_variant_new("(s)", name.c_str()), G_VARIANT_TYPE("(b)"),
                                                   G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr));
    gboolean owned_name = FALSE;
    if (has)
        g_variant_get(has.get(), "(b)", &owned_name);
    if (!owned_name)
        return false;
    // The management object as the application registers it.
    const std::string kept = name.substr(0, 63);
    std::string path = "/" + kept.substr(0, 62);
    for (char &ch : path)
        if (ch == '.')
            ch = '/';
    auto *p = new Pending{ObjPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(conn))),
                          ObjPtr<GDBusMessage>(G_DBUS_MESSAGE(g_object_ref(msg))), nullptr};
    g_dbus_connection_call(conn, name.c_str(), path.c_str(), (kept + ".management").c_str(), member, owned.get(),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, 20000, nullptr, forwarded, p);
    return true;
}

// "demo" from "/tmp/demo_1.0_arm.ipk".
std::string package_of_file(const char *file)
{
    GStr base(g_path_get_basename(file));
    std::string name = base.get();
    size_t cut = name.find_first_of("_.");
    return cut == std::string::npos || cut == 0 ? name : name.substr(0, cut);
}

gboolean install_done(gpointer data)
{
    auto *p = static_cast<Pending *>(data);
    Model &model = *p->model;
    const char *file = "";
    g_variant_get(g_dbus_message_get_body(p->msg.get()), "(&s)", &file);
    const std::string member = g_dbus_message_get_member(p->msg.get());
    const std::string name = package_of_file(file);
    Interface *pkg = package(model, name);
    if (member == "Install" || pkg) {
        if (!pkg) {
            guint32 next = 1;
            for (auto &[path, obj] : model.objects)
                if (const Interface *other = obj.find(kPackageIface); other && number_of(*other) >= next)
                    next = number_of(*other) + 1;
            Interface &fresh = model.objects[package_path(name)].ensure(kPackageIface);
            fresh.set("Name", g_variant_new_string(name.c_str()));
            fresh.set("Text", g_variant_new_string(name.c_str()));
            fresh.set("Number", g_variant_new_uint32(next));
            pkg = &fresh;
        }
        pkg->set("State", g_variant_new_string("installed"));
        const char *done = member == "Install" ? "installed" : member == "Upgrade" ? "upgraded" : "reinstalled";
        answer(p->conn.get(), p->msg.get(), g_variant_new("(iss)", 0, name.c_str(), done));
    } else {
        answer(p->conn.get(), p->msg.get(), g_variant_new("(iss)", 1, name.c_str(), "not installed"));
    }
    return G_SOURCE_REMOVE;
}

void drop_pending(gpointer data)
{
    delete static_cast<Pending *>(data);
}

void list(Model &model, GDBusConnection *conn, GDBusMessage *msg)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sv}"));
    const std::string prefix = kPackagesPrefix;
    for (auto it = model.objects.lower_bound(prefix);
         it != model.objects.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
        const Interface *pkg = it->second.find(kPackageIface);
        if (!pkg)
            continue;
        const std::string name = text_of(*pkg, "Name");
        GVariant *value = name.rfind("lib", 0) == 0
                              ? g_variant_new("(ss)", text_of(*pkg, "Text").c_str(), text_of(*pkg, "State").c_str())
                              : g_variant_new("(ssui)", text_of(*pkg, "Text").c_str(),
                                              text_of(*pkg, "State").c_str(), number_of(*pkg), 0);
        g_variant_builder_add(&b, "{sv}", name.c_str(), value);
    }
    answer(conn, msg, g_variant_new("(a{sv})", &b));
}

void kernel_module(Model &model, GDBusConnection *conn, GDBusMessage *msg)
{
    const char *pkg = nullptr, *mod = nullptr, *extra = nullptr;
    gboolean load = FALSE;
    g_variant_get(g_dbus_message_get_body(msg), "(&sb&s&s)", &pkg, &load, &mod, &extra);
    // Loaded modules are kept as "<package> <module>", in load order.
    Interface &s = settings(model);
    GVariant *old = s.get("KernelModules");
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("as"));
    const std::string entry = std::string(pkg) + " " + mod;
    if (old && g_variant_is_of_type(old, G_VARIANT_TYPE("as"))) {
        GVariantIter it;
        g_variant_iter_init(&it, old);
        const char *e = nullptr;
        while (g_variant_iter_next(&it, "&s", &e))
            if (entry != e)
                g_variant_builder_add(&b, "s", e);
    }
    if (load)
        g_variant_builder_add(&b, "s", entry.c_str());
    s.set("KernelModules", g_variant_builder_end(&b));
    answer(conn, msg, g_variant_new("(i)", 0));
}

}  // namespace

bool appframework_call(Model &model, GDBusConnection *conn, GDBusMessage *msg)
{
    const char *path = g_dbus_message_get_path(msg), *iface = g_dbus_message_get_interface(msg);
    if (!path || !iface || std::strcmp(path, kAgentPath) != 0 || std::strcmp(iface, kAgentIface) != 0)
        return false;
    const std::string member = g_dbus_message_get_member(msg);
    GVariant *body = g_dbus_message_get_body(msg);
    const std::string type = body ? g_variant_get_type_string(body) : "()";
    const struct {
        const char *member, *in;
    } signatures[] = {{"Run", "(s)"},       {"Stop", "(s)"},       {"Reload", "(s)"},  {"Uninstall", "(s)"},
                      {"GetStatus", "(s)"}, {"List", "()"},        {"Install", "(s)"}, {"Upgrade", "(s)"},
                      {"Reinstall", "(s)"}, {"Restore", "(s)"},    {"GetStatistics", "(s)"},
                      {"PostMsg", "(ss)"},  {"HandleKernelMod", "(sbss)"}};
    const char *expected = nullptr;
    for (const auto &s : signatures)
        if (member == s.member)
            expected = s.in;
    if (!expected) {
        fail(conn, msg, "org.freedesktop.DBus.Error.UnknownMethod", "No such method '" + member + "'");
        return true;
    }
    if (type != expected) {
        fail(conn, msg, "org.freedesktop.DBus.Error.InvalidArgs",
             "Type of message, '" + type + "', does not match expected type '" + expected + "'");
        return true;
    }
    if (member == "List") {
        list(model, conn, msg);
        return true;
    }
    if (member == "HandleKernelMod") {
        kernel_module(model, conn, msg);
        return true;
    }
    const char *first = nullptr;
    g_variant_get_child(body, 0, "&s", &first);
    const std::string name = first;
    if (member == "Install" || member == "Upgrade" || member == "Reinstall") {
        GVariant *d = settings(model).get("InstallDelay");
        guint delay = d && g_variant_is_of_type(d, G_VARIANT_TYPE_UINT32) ? g_variant_get_uint32(d) : 0;
        auto *p = new Pending{ObjPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(conn))),
                              ObjPtr<GDBusMessage>(G_DBUS_MESSAGE(g_object_ref(msg))), &model};
        g_timeout_add_full(G_PRIORITY_DEFAULT, delay, install_done, p, drop_pending);
        return true;
    }
    Interface *pkg = package(model, name);
    if (member == "GetStatus") {
        answer(conn, msg, g_variant_new("(s)", pkg ? text_of(*pkg, "State").c_str() : "not installed"));
        return true;
    }
    if (!pkg) {
        if (member == "Run" || member == "Stop" || member == "Reload" || member == "Uninstall")
            answer(conn, msg, g_variant_new("(i)", -1));
        else
            fail(conn, msg, kNotRunning, "no package " + name);
        return true;
    }
    if (member == "Uninstall") {
        model.objects.erase(package_path(name));
        answer(conn, msg, g_variant_new("(i)", 0));
        return true;
    }
    if (member == "Run") {
        pkg->set("State", g_variant_new_string("running"));
        answer(conn, msg, g_variant_new("(i)", 0));
        return true;
    }
    if (member == "Stop")
        pkg->set("State", g_variant_new_string("stopped"));
    // The application's own management object answers the rest when it is on the bus.
    const char *message = "";
    if (member == "PostMsg")
        g_variant_get_child(body, 1, "&s", &message);
    GVariant *args = member == "PostMsg" ? g_variant_new("(s)", message) : g_variant_new("()");
    if (forward(conn, msg, name, member.c_str(), args))
        return true;
    if (member == "Stop" || member == "Reload")
        answer(conn, msg, g_variant_new("(i)", 0));
    else
        fail(conn, msg, kNotRunning, name + " is not on the bus");
    return true;
}

}  // namespace lumo::gwsim
