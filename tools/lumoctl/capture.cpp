#include "tools/lumoctl/capture.hpp"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include "core/glib_ptr.hpp"
#include "lumo3.h"
#include "tools/lumoctl/records.hpp"

namespace lumoctl {

namespace {

using lumo::GPtr;
using lumo::GStr;
using lumo::out;
using lumo::ref_sink;

struct Root {
    const char *service;
    const char *path;
    bool required;
};

// The gateway itself, then what a gateway may also run: the external VPN client
// and the application framework (whose packages are objects below its path).
constexpr Root kRoots[] = {
    {"com.quv.igd1", "/com/quv/igd1", true},
    {"com.morvane.vpnclient1", "/com/morvane/vpnclient1", false},
    {"com.quv.appframework1", "/com/quv/appframework1", false},
};

constexpr const char *kQuvProps = "com.quv.igd1.Properties";
constexpr const char *kObjectManager = "com.quv.igd1.ObjectManager";
constexpr const char *kHidden = "<hidden>";

bool standard_iface(const char *name)
{
    return g_str_has_prefix(name, "org.freedesktop.DBus.") || strcmp(name, kQuvProps) == 0 ||
           strcmp(name, kObjectManager) == 0;
}

// One line of text for comments and messages: the gateway's error texts may hold
// line breaks.
std::string one_line(std::string text)
{
    for (char &c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    return text;
}

// A key the model's key-file syntax holds as it is.
bool plain_key(const char *key)
{
    if (!*key)
        return false;
    for (const char *p = key; *p; ++p)
        if (!g_ascii_isalnum(*p) && !strchr("_.:-", *p))
            return false;
    return true;
}

// The value with every non-empty string and byte array under a secret key replaced
// by the placeholder; types stay as they are.
GPtr<GVariant> hide(GVariant *v, bool secret, unsigned &hidden)
{
    const GVariantType *t = g_variant_get_type(v);
    if (secret && (g_variant_is_of_type(v, G_VARIANT_TYPE_STRING) ||
                   g_variant_is_of_type(v, G_VARIANT_TYPE_BYTESTRING)) &&
        g_variant_get_size(v) > (g_variant_is_of_type(v, G_VARIANT_TYPE_STRING) ? 1u : 0u)) {
        ++hidden;
        if (g_variant_is_of_type(v, G_VARIANT_TYPE_STRING))
            return ref_sink(g_variant_new_string(kHidden));
        return ref_sink(g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, kHidden, strlen(kHidden), 1));
    }
    if (!g_variant_is_container(v) || g_variant_is_of_type(v, G_VARIANT_TYPE_BYTESTRING))
        return GPtr<GVariant>(g_variant_ref(v));
    const bool entry = g_variant_type_is_dict_entry(t);
    GPtr<GVariant> key;
    if (entry) {
        key.reset(g_variant_get_child_value(v, 0));
        if (g_variant_is_of_type(key.get(), G_VARIANT_TYPE_STRING))
            secret = secret || secret_field(g_variant_get_string(key.get(), nullptr));
    }
    const gsize n = g_variant_n_children(v);
    std::vector<GPtr<GVariant>> kids;
    std::vector<GVariant *> raw;
    for (gsize i = 0; i < n; ++i) {
        GPtr<GVariant> child(g_variant_get_child_value(v, i));
        kids.push_back(entry && i == 0 ? std::move(child) : hide(child.get(), secret, hidden));
        raw.push_back(kids.back().get());
    }
    if (g_variant_type_is_variant(t))
        return ref_sink(g_variant_new_variant(raw[0]));
    if (entry)
        return ref_sink(g_variant_new_dict_entry(raw[0], raw[1]));
    if (g_variant_type_is_array(t))
        return ref_sink(g_variant_new_array(g_variant_type_element(t), raw.data(), n));
    return ref_sink(g_variant_new_tuple(raw.data(), n));
}

// The value a new instance starts with: zero, empty, "/" for paths.
GPtr<GVariant> zero(const GVariantType *t)
{
    if (g_variant_type_is_array(t))
        return ref_sink(g_variant_new_array(g_variant_type_element(t), nullptr, 0));
    if (g_variant_type_is_tuple(t) || g_variant_type_is_dict_entry(t)) {
        std::vector<GPtr<GVariant>> kids;
        std::vector<GVariant *> raw;
        for (const GVariantType *i = g_variant_type_first(t); i; i = g_variant_type_next(i)) {
            kids.push_back(zero(i));
            raw.push_back(kids.back().get());
        }
        if (g_variant_type_is_dict_entry(t))
            return ref_sink(g_variant_new_dict_entry(raw[0], raw[1]));
        return ref_sink(g_variant_new_tuple(raw.data(), raw.size()));
    }
    static const guint64 nothing = 0;
    switch (*g_variant_type_peek_string(t)) {
    case 's': return ref_sink(g_variant_new_string(""));
    case 'o': return ref_sink(g_variant_new_object_path("/"));
    case 'g': return ref_sink(g_variant_new_signature(""));
    case 'v': return ref_sink(g_variant_new_variant(g_variant_new_string("")));
    case 'b': case 'y': return ref_sink(g_variant_new_from_data(t, &nothing, 1, TRUE, nullptr, nullptr));
    case 'n': case 'q': return ref_sink(g_variant_new_from_data(t, &nothing, 2, TRUE, nullptr, nullptr));
    case 'i': case 'u': case 'h': return ref_sink(g_variant_new_from_data(t, &nothing, 4, TRUE, nullptr, nullptr));
    default: return ref_sink(g_variant_new_from_data(t, &nothing, 8, TRUE, nullptr, nullptr));
    }
}

// The value's text, when it reads back as the same value of the same type.
GStr printable(GVariant *v)
{
    GStr text(g_variant_print(v, TRUE));
    // A parsed value comes as a full (not floating) reference.
    GPtr<GVariant> back(g_variant_parse(nullptr, text.get(), nullptr, nullptr, nullptr));
    if (!back || !g_variant_equal(back.get(), v) ||
        !g_variant_type_equal(g_variant_get_type(back.get()), g_variant_get_type(v)))
        return nullptr;
    return text;
}

class Capture {
public:
    Capture(GDBusConnection *conn, FILE *out, const CaptureOptions &opt) : conn_(conn), out_(out), opt_(opt) {}

    int run(unsigned *warnings);

private:
    GPtr<GVariant> call(const char *service, const std::string &path, const char *iface, const char *member,
                        GVariant *args, const char *reply, std::string *error);
    bool owned(const char *service);
    void warn(const std::string &path, const std::string &what);
    void visit(const char *service, const std::string &path);
    void collection(const char *service, const std::string &path);
    void write_collection(const std::string &path, const char *iface, GVariant *props);
    void write_method(const char *service, const std::string &path, const char *iface, const GDBusMethodInfo *m);
    bool write_props(const std::string &path, const char *iface, GVariant *dict);
    void progress(bool last = false);

    GDBusConnection *conn_;
    FILE *out_;
    const CaptureOptions &opt_;
    std::set<std::string> seen_;
    std::deque<std::string> queue_;
    // Collections whose instances introspection lists: each is written with its
    // first instance read, so that a large one is never held whole.
    std::set<std::string> pending_;
    unsigned read_ = 0, warnings_ = 0, hidden_ = 0;
    gint64 shown_at_ = 0;
};

GPtr<GVariant> Capture::call(const char *service, const std::string &path, const char *iface, const char *member,
                             GVariant *args, const char *reply, std::string *error)
{
    GPtr<GError> err;
    GPtr<GVariant> r(g_dbus_connection_call_sync(conn_, service, path.c_str(), iface, member, args,
                                                 G_VARIANT_TYPE(reply), G_DBUS_CALL_FLAGS_NONE, opt_.timeout_ms,
                                                 nullptr, out(err)));
    if (!r && error) {
        if (g_error_matches(err.get(), G_IO_ERROR, G_IO_ERROR_TIMED_OUT)) {
            *error = "no answer within " + std::to_string(opt_.timeout_ms) + " ms";
        } else {
            GStr remote(g_dbus_error_get_remote_error(err.get()));
            if (remote)
                g_dbus_error_strip_remote_error(err.get());
            *error = one_line(remote ? std::string(remote.get()) + ": " + err->message : err->message);
        }
    }
    return r;
}

bool Capture::owned(const char *service)
{
    GPtr<GVariant> r = call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                            g_variant_new("(s)", service), "(b)", nullptr);
    gboolean has = FALSE;
    if (r)
        g_variant_get(r.get(), "(b)", &has);
    return has;
}

void Capture::warn(const std::string &path, const std::string &what)
{
    ++warnings_;
    if (opt_.progress)
        fputs("\r\033[K", stderr);
    fprintf(stderr, "lumoctl: capture: %s: %s\n", path.c_str(), what.c_str());
    fprintf(out_, "\n# not captured: %s: %s\n", path.c_str(), what.c_str());
}

void Capture::progress(bool last)
{
    if (!opt_.progress)
        return;
    gint64 now = g_get_monotonic_time();
    if (!last && now - shown_at_ < 100000)
        return;
    shown_at_ = now;
    fprintf(stderr, "\rcapture: %u of %zu objects read%s", read_, seen_.size(), last ? "\n" : "");
}

// Writes one [PATH INTERFACE] group. A property the model cannot hold as it is
// (a key the syntax cannot carry, a value whose text does not read back the same)
// is left out with a warning naming it, never written changed.
bool Capture::write_props(const std::string &path, const char *iface, GVariant *dict)
{
    fprintf(out_, "\n[%s %s]\n", path.c_str(), iface);
    GVariantIter it;
    g_variant_iter_init(&it, dict);
    const char *key = nullptr;
    GVariant *raw = nullptr;
    while (g_variant_iter_next(&it, "{&sv}", &key, &raw)) {
        GPtr<GVariant> value(raw);
        if (!plain_key(key)) {
            warn(path, std::string(iface) + " property '" + one_line(key) + "': name cannot be held in a model");
            continue;
        }
        GPtr<GVariant> shown = opt_.keep_secrets ? GPtr<GVariant>(g_variant_ref(value.get()))
                                                 : hide(value.get(), secret_field(key), hidden_);
        GStr text = printable(shown.get());
        if (!text) {
            warn(path, std::string(iface) + " property " + key + ": value of type " +
                           g_variant_get_type_string(value.get()) + " cannot be held in a model");
            continue;
        }
        fprintf(out_, "%s=%s\n", key, text.get());
    }
    return true;
}

void Capture::collection(const char *service, const std::string &path)
{
    std::string error;
    GPtr<GVariant> r = call(service, path, kObjectManager, "GetManagedObjects", nullptr, "(a{oa{sa{sv}}})", &error);
    if (!r) {
        warn(path, "instances not listed: " + error);
        return;
    }
    GPtr<GVariant> objs(g_variant_get_child_value(r.get(), 0));
    // The template comes from the first instance; without one the instances'
    // interface is unknown and the collection is declared without it.
    std::string iface;
    GPtr<GVariant> tmpl;
    GVariantIter it;
    g_variant_iter_init(&it, objs.get());
    const char *inst = nullptr;
    GVariant *ifaces = nullptr;
    while (g_variant_iter_next(&it, "{&o@a{sa{sv}}}", &inst, &ifaces)) {
        GPtr<GVariant> hold(ifaces);
        if (iface.empty()) {
            GVariantIter ii;
            g_variant_iter_init(&ii, ifaces);
            const char *name = nullptr;
            GVariant *props = nullptr;
            while (iface.empty() && g_variant_iter_next(&ii, "{&s@a{sv}}", &name, &props)) {
                if (!standard_iface(name)) {
                    iface = name;
                    tmpl.reset(props);
                } else {
                    g_variant_unref(props);
                }
            }
        }
        if (seen_.insert(inst).second)
            queue_.emplace_back(inst);
    }
    write_collection(path, iface.c_str(), tmpl.get());
}

// [collection PATH INTERFACE] with a template of zero values in the types of an
// instance's properties; [collection PATH] when no instance told the interface.
void Capture::write_collection(const std::string &path, const char *iface, GVariant *props)
{
    if (!iface || !*iface) {
        fprintf(out_, "\n[collection %s]\n", path.c_str());
        return;
    }
    fprintf(out_, "\n[collection %s %s]\n", path.c_str(), iface);
    GVariantIter it;
    g_variant_iter_init(&it, props);
    const char *key = nullptr;
    GVariant *raw = nullptr;
    while (g_variant_iter_next(&it, "{&sv}", &key, &raw)) {
        GPtr<GVariant> value(raw);
        if (!plain_key(key))
            continue;  // warned about with the instance
        GStr text(g_variant_print(zero(g_variant_get_type(value.get())).get(), TRUE));
        fprintf(out_, "%s=%s\n", key, text.get());
    }
}

// Methods are declared (so that they exist and introspect). Only queries without
// arguments ("Get...") are called, and their answers kept: a command would act on
// the gateway. The others are left to the simulator's own behaviour.
void Capture::write_method(const char *service, const std::string &path, const char *iface,
                           const GDBusMethodInfo *m)
{
    fprintf(out_, "\n[method %s %s %s]\n", path.c_str(), iface, m->name);
    if (m->in_args && m->in_args[0]) {
        std::string sig = "(";
        for (GDBusArgInfo **a = m->in_args; *a; ++a)
            sig += (*a)->signature;
        fprintf(out_, "In=%s)\n", sig.c_str());
        return;
    }
    if (!g_str_has_prefix(m->name, "Get"))
        return;
    GPtr<GError> err;
    GPtr<GVariant> r(g_dbus_connection_call_sync(conn_, service, path.c_str(), iface, m->name, nullptr, nullptr,
                                                 G_DBUS_CALL_FLAGS_NONE, opt_.timeout_ms, nullptr, out(err)));
    if (r) {
        GPtr<GVariant> shown = opt_.keep_secrets ? GPtr<GVariant>(g_variant_ref(r.get())) : hide(r.get(), false, hidden_);
        if (GStr text = printable(shown.get()))
            fprintf(out_, "Reply=%s\n", text.get());
        else
            warn(path, std::string(iface) + " " + m->name + ": answer of type " + g_variant_get_type_string(r.get()) +
                           " cannot be held in a model");
    } else if (GStr remote{g_dbus_error_get_remote_error(err.get())}) {
        g_dbus_error_strip_remote_error(err.get());
        std::string message;  // with the key-file escapes
        for (const char *c = err->message; *c; ++c)
            message += *c == '\\' ? "\\\\" : *c == '\n' ? "\\n" : *c == '\r' ? "\\r" : *c == '\t' ? "\\t" : std::string(1, *c);
        fprintf(out_, "Error=%s\nMessage=%s\n", remote.get(), message.c_str());
    }
}

void Capture::visit(const char *service, const std::string &path)
{
    std::string error;
    GPtr<GVariant> r =
        call(service, path, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr, "(s)", &error);
    if (!r) {
        warn(path, error);
        return;
    }
    const char *xml = nullptr;
    g_variant_get(r.get(), "(&s)", &xml);
    GPtr<GError> err;
    GPtr<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(xml, out(err)));
    if (!node) {
        warn(path, std::string("unreadable introspection data: ") + one_line(err->message));
        return;
    }
    bool quv_props = false, any = false, failed = false;
    for (GDBusInterfaceInfo **i = node->interfaces; i && *i; ++i)
        quv_props = quv_props || strcmp((*i)->name, kQuvProps) == 0;
    for (GDBusInterfaceInfo **i = node->interfaces; i && *i; ++i) {
        const char *name = (*i)->name;
        if (strcmp(name, kObjectManager) == 0) {
            if (node->nodes && node->nodes[0])
                pending_.insert(path);
            else
                collection(service, path);
            continue;
        }
        if (standard_iface(name))
            continue;
        if ((*i)->properties && (*i)->properties[0]) {
            GPtr<GVariant> all = call(service, path, quv_props ? kQuvProps : "org.freedesktop.DBus.Properties",
                                      "GetAll", g_variant_new("(s)", name), "(a{sv})", &error);
            if (!all) {
                warn(path, std::string(name) + ": " + error);
                failed = true;
                continue;
            }
            GPtr<GVariant> dict(g_variant_get_child_value(all.get(), 0));
            write_props(path, name, dict.get());
            auto coll = pending_.find(path.substr(0, path.rfind('/')));
            if (coll != pending_.end()) {
                write_collection(*coll, name, dict.get());
                pending_.erase(coll);
            }
        } else if (!(*i)->methods || !(*i)->methods[0] ||
                   call(service, path, quv_props ? kQuvProps : "org.freedesktop.DBus.Properties", "GetAll",
                        g_variant_new("(s)", name), "(a{sv})", nullptr)) {
            // An interface of the object itself, not only a set of methods.
            fprintf(out_, "\n[%s %s]\n", path.c_str(), name);
        }
        any = true;
        for (GDBusMethodInfo **m = (*i)->methods; m && *m; ++m)
            write_method(service, path, name, *m);
    }
    if (any && !failed)
        ++read_;
    for (GDBusNodeInfo **c = node->nodes; c && *c; ++c) {
        if (!(*c)->path)
            continue;
        std::string child = (*c)->path[0] == '/' ? (*c)->path : (path == "/" ? "/" : path + "/") + (*c)->path;
        if (g_variant_is_object_path(child.c_str()) && seen_.insert(child).second)
            queue_.push_back(child);
    }
}

int Capture::run(unsigned *warnings)
{
    char when[32];
    time_t now = time(nullptr);
    struct tm utc;
    strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&now, &utc));
    const char *address = g_getenv("DBUS_SYSTEM_BUS_ADDRESS");
    std::string present, absent;
    for (const Root &root : kRoots) {
        std::string &list = owned(root.service) ? present : absent;
        list += (list.empty() ? "" : " ") + std::string(root.service);
    }
    fprintf(out_,
            "# lumo-gwsim model written by lumoctl capture (serve it with lumo-gwsim --model FILE)\n"
            "# Captured: %s\n# From: %s, services %s%s%s\n",
            when, address ? one_line(address).c_str() : "the system bus", present.empty() ? "(none)" : present.c_str(),
            absent.empty() ? "" : "; not on the bus: ", absent.c_str());
    fprintf(out_, "# Left out: %s\n#   what methods do, except the answers of argument-less Get... queries\n"
                  "#   (the others are declared, never called: they would act on the gateway);\n"
                  "#   objects that could not be read (the \"# not captured:\" lines).\n",
            opt_.keep_secrets ? "nothing secret: passwords, keys and LOIDs are kept as they are;"
                              : "passwords, keys and LOIDs (non-empty values written as '<hidden>');");
    for (const Root &root : kRoots) {
        if (!owned(root.service)) {
            if (root.required)
                fprintf(stderr, "lumoctl: capture: %s is not on the bus\n", root.service);
            continue;
        }
        seen_.insert(root.path);
        queue_.push_back(root.path);
        while (!queue_.empty()) {
            std::string path = std::move(queue_.front());
            queue_.pop_front();
            visit(root.service, path);
            progress();
        }
    }
    for (const std::string &coll : pending_)
        write_collection(coll, nullptr, nullptr);
    progress(true);
    fprintf(out_, "\n# %u objects captured, %u not captured, %u secret values hidden\n", read_, warnings_, hidden_);
    *warnings = warnings_;
    return read_ ? 0 : kExitGateway;
}

// Writes to a new file of mode 0600 beside the target, renamed over it once complete,
// so that a failed capture leaves no partial file and an old one as it was.
int capture_to_file(GDBusConnection *conn, const std::string &file, const CaptureOptions &opt, unsigned *warnings)
{
    std::string tmp = file + ".XXXXXX";
    int fd = g_mkstemp_full(tmp.data(), O_WRONLY | O_CLOEXEC, 0600);
    FILE *out = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (!out) {
        fprintf(stderr, "lumoctl: capture: cannot write %s: %s\n", file.c_str(), g_strerror(errno));
        if (fd >= 0) {
            close(fd);
            g_unlink(tmp.c_str());
        }
        return kExitRefused;
    }
    int rc = capture_model(conn, out, opt, warnings);
    bool written = !ferror(out) && fflush(out) == 0 && fsync(fileno(out)) == 0;
    written = (fclose(out) == 0) && written;
    if (rc == 0 && !written) {
        fprintf(stderr, "lumoctl: capture: cannot write %s: %s\n", file.c_str(), g_strerror(errno));
        rc = kExitRefused;
    }
    if (rc == 0 && g_rename(tmp.c_str(), file.c_str()) != 0) {
        fprintf(stderr, "lumoctl: capture: cannot write %s: %s\n", file.c_str(), g_strerror(errno));
        rc = kExitRefused;
    }
    if (rc != 0)
        g_unlink(tmp.c_str());
    return rc;
}

// The first word that is not an option or an option's value.
const char *command_word(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const char *a = argv[i];
        if (a[0] != '-')
            return a;
        for (const char *valued : {"--address", "--root", "--timeout", "--password-file"})
            if (strcmp(a, valued) == 0)
                ++i;
    }
    return "";
}

}  // namespace

int capture_model(GDBusConnection *conn, FILE *out, const CaptureOptions &opt, unsigned *warnings)
{
    return Capture(conn, out, opt).run(warnings);
}

GDBusConnection *model_tools_bus()
{
    // Like a gateway application: without an explicit address, the one the gateway
    // publishes in its address file.
    if (!g_getenv("DBUS_SYSTEM_BUS_ADDRESS")) {
        const char *root = g_getenv("LUMO_SYSROOT");
        std::string file = std::string(root ? root : "") + "/var/run/dbus/server_address";
        if (g_file_test(file.c_str(), G_FILE_TEST_EXISTS))
            OvanSetDbusEnv();
    }
    GPtr<GError> err;
    GDBusConnection *conn = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, out(err));
    if (!conn)
        fprintf(stderr, "lumoctl: cannot reach the system bus: %s\n", err->message);
    return conn;
}

int run_model_tools(int argc, char **argv)
{
    const std::string word = command_word(argc, argv);
    if (word != "capture" && word != "diff")
        return -1;
    CLI::App app{"lumoctl: capture a gateway as a lumo-gwsim model, or compare two models"};
    app.name("lumoctl");
    std::string address, root, output = "-", a, b;
    bool json = false;
    CaptureOptions opt;
    app.add_option("--address", address, "D-Bus address of the gateway's system bus");
    app.add_option("--root", root, "redirected root directory (LUMO_SYSROOT)");
    app.add_flag("--json", json, "print JSON instead of text (diff)");
    CLI::App *cap = app.add_subcommand("capture", "write everything the gateway's services export as a model");
    CLI::App *dif = app.add_subcommand("diff", "compare two models: files, or 'live' for the gateway on the bus");
    for (CLI::App *sub : {cap, dif}) {
        sub->fallthrough();
        sub->add_flag("--keep-secrets", opt.keep_secrets, "write passwords, keys and LOIDs as they are");
        sub->add_option("--timeout", opt.timeout_ms, "milliseconds to wait for each answer")
            ->check(CLI::Range(1, 3600000))
            ->capture_default_str();
    }
    cap->add_option("--output,-o", output, "model file to write ('-': standard output)")->capture_default_str();
    cap->footer("Exit status: 0 captured (warnings listed on standard error), 2 usage or output error,\n"
                "3 nothing could be read.");
    dif->add_option("A", a, "model file or 'live'")->required();
    dif->add_option("B", b, "model file or 'live'")->required();
    dif->footer("Exit status: 0 same, 1 different, 2 usage or unreadable file, 3 gateway failure.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0)
            return app.exit(e);
        fprintf(stderr, "lumoctl: %s (see lumoctl %s --help)\n", e.what(), word.c_str());
        return kExitRefused;
    }
    if (!address.empty())
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), TRUE);
    if (!root.empty())
        g_setenv("LUMO_SYSROOT", root.c_str(), TRUE);
    if (dif->parsed())
        return run_diff(a.c_str(), b.c_str(), json, opt);

    opt.progress = isatty(STDERR_FILENO) != 0;
    GPtr<GDBusConnection> conn(model_tools_bus());
    if (!conn)
        return kExitGateway;
    unsigned warnings = 0;
    int rc = output == "-" ? capture_model(conn.get(), stdout, opt, &warnings)
                           : capture_to_file(conn.get(), output, opt, &warnings);
    if (rc == 0 && fflush(stdout) != 0)
        rc = kExitRefused;
    if (warnings)
        fprintf(stderr, "lumoctl: capture: %u warning%s\n", warnings, warnings == 1 ? "" : "s");
    if (rc == kExitGateway)
        fprintf(stderr, "lumoctl: capture: nothing could be read\n");
    return rc;
}

}  // namespace lumoctl
