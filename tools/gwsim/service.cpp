#include "tools/gwsim/service.hpp"
#include "tools/gwsim/appframework.hpp"

#include <cstdio>
#include <cstring>

#include "tools/gwsim/extension.hpp"
#include "tools/gwsim/hostile.hpp"

namespace lumo::gwsim {

namespace {

constexpr const char *kIntrospectable = "org.freedesktop.DBus.Introspectable";
constexpr const char *kPeer = "org.freedesktop.DBus.Peer";
constexpr const char *kDBusProps = "org.freedesktop.DBus.Properties";
constexpr const char *kQuvProps = "com.quv.igd1.Properties";
constexpr const char *kObjectManager = "com.quv.igd1.ObjectManager";

constexpr const char *kErrUnknownObject = "org.freedesktop.DBus.Error.UnknownObject";
constexpr const char *kErrUnknownInterface = "org.freedesktop.DBus.Error.UnknownInterface";
constexpr const char *kErrUnknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
constexpr const char *kErrUnknownProperty = "org.freedesktop.DBus.Error.UnknownProperty";
constexpr const char *kErrInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

// Keeps the call log bounded for long developer sessions.
constexpr size_t kMaxLog = 10000;

// Arguments as "type name" pairs separated by ';'.
struct MethodDesc {
    const char *name;
    const char *in;
    const char *out;
};

constexpr MethodDesc kControlMethods[] = {
    {"SetProperty", "s path;s interface;s name;v value", ""},
    {"RemoveProperty", "s path;s interface;s name", ""},
    {"AddObject", "s path;a{sa{sv}} interfaces", ""},
    {"RemoveObject", "s path", ""},
    {"AddCollection", "s path;s interface;a{sv} template", ""},
    {"ScriptReply", "s path;s interface;s method;v reply;u delay_ms;b once", ""},
    {"ScriptError", "s path;s interface;s method;s error_name;s message;u delay_ms;b once", ""},
    {"ScriptDelay", "s path;s interface;s method;u delay_ms;b once", ""},
    {"ClearScripts", "", ""},
    {"GetCallLog", "", "a(ssssav) calls"},
    {"ClearCallLog", "", ""},
    {"EmitSignal", "s path;s interface;s name;v args", ""},
    {"SetHostile", "s mode", ""},
};

constexpr MethodDesc kPropsMethods[] = {
    {"Get", "s interface_name;s property_name", "v value"},
    {"GetAll", "s interface_name", "a{sv} properties"},
    {"Set", "s interface_name;s property_name;v value", ""},
};

constexpr MethodDesc kObjectManagerMethods[] = {
    {"GetManagedObjects", "", "a{oa{sa{sv}}} objects"},
    {"AddObject", "", "o path"},
    {"DeleteObject", "o path", ""},
};

// The tuple type of an argument list such as "s path;v value".
std::string tuple_sig(const char *args)
{
    std::string sig = "(";
    GStrv parts(g_strsplit(args, ";", -1));
    for (char **p = parts.get(); *p; ++p) {
        if (!**p)
            continue;
        const char *space = strchr(*p, ' ');
        sig.append(*p, space ? static_cast<size_t>(space - *p) : strlen(*p));
    }
    return sig + ")";
}

void xml_args(GString *x, const char *args, const char *direction)
{
    GStrv parts(g_strsplit(args, ";", -1));
    for (char **p = parts.get(); *p; ++p) {
        if (!**p)
            continue;
        GStrv tn(g_strsplit(*p, " ", 2));
        g_string_append_printf(x, "      <arg type=\"%s\" name=\"%s\" direction=\"%s\"/>\n",
                               tn.get()[0], tn.get()[1] ? tn.get()[1] : "arg", direction);
    }
}

// Arguments of a tuple type, unnamed.
void xml_tuple_args(GString *x, const GVariantType *tuple, const char *direction)
{
    if (!g_variant_type_is_tuple(tuple))
        return;
    for (const GVariantType *t = g_variant_type_first(tuple); t; t = g_variant_type_next(t)) {
        GStr s(g_variant_type_dup_string(t));
        g_string_append_printf(x, "      <arg type=\"%s\" direction=\"%s\"/>\n", s.get(), direction);
    }
}

void xml_iface(GString *x, const char *name, const MethodDesc *methods, size_t n)
{
    g_string_append_printf(x, "  <interface name=\"%s\">\n", name);
    for (size_t i = 0; i < n; ++i) {
        g_string_append_printf(x, "    <method name=\"%s\">\n", methods[i].name);
        xml_args(x, methods[i].in, "in");
        xml_args(x, methods[i].out, "out");
        g_string_append(x, "    </method>\n");
    }
}

const char *body_type(GDBusMessage *msg)
{
    GVariant *body = g_dbus_message_get_body(msg);
    return body ? g_variant_get_type_string(body) : "()";
}

}  // namespace

struct Service::Call {
    Service *svc;
    ObjPtr<GDBusConnection> conn;
    ObjPtr<GDBusMessage> msg;
    Behaviour b;          // delayed calls: what to do when the delay has passed
    bool script = false;  // b came from a script (no answer: fall back to the model)
    bool queued = true;   // counted in queued_ (else it sits in delayed_)
    guint source = 0;     // delayed calls: the timeout that answers them

    std::string path() const { return g_dbus_message_get_path(msg.get()); }
    std::string iface() const
    {
        const char *i = g_dbus_message_get_interface(msg.get());
        return i ? i : "";
    }
    std::string member() const { return g_dbus_message_get_member(msg.get()); }
    const char *type() const { return body_type(msg.get()); }
    GVariant *body() const { return g_dbus_message_get_body(msg.get()); }
};

Service::Service(Model model) : model_(std::move(model)) {}

Service::~Service()
{
    detach();
    drain();
}

bool Service::attach(GDBusConnection *conn, const char *bus_name, std::string *error)
{
    detach();
    conn_ = G_DBUS_CONNECTION(g_object_ref(conn));
    filter_id_ = g_dbus_connection_add_filter(conn_, filter_cb, this, nullptr);
    GPtr<GError> err;
    // DO_NOT_QUEUE: a second simulator on the same bus must fail, not wait.
    GPtr<GVariant> r(g_dbus_connection_call_sync(
        conn_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", bus_name, 4u), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        out(err)));
    if (!r) {
        *error = std::string("cannot own ") + bus_name + ": " + err->message;
        detach();
        return false;
    }
    guint32 code = 0;
    g_variant_get(r.get(), "(u)", &code);
    if (code != 1 && code != 4) {
        *error = std::string("cannot own ") + bus_name + ": the name has another owner";
        detach();
        return false;
    }
    return true;
}

void Service::detach()
{
    if (conn_) {
        g_dbus_connection_remove_filter(conn_, filter_id_);
        g_object_unref(conn_);
        conn_ = nullptr;
        filter_id_ = 0;
    }
    while (!delayed_.empty())
        g_source_remove((*delayed_.begin())->source);
}

void Service::drain()
{
    while (queued_.load() > 0)
        g_main_context_iteration(nullptr, TRUE);
}

GDBusMessage *Service::filter_cb(GDBusConnection *conn, GDBusMessage *msg, gboolean incoming, gpointer self)
{
    if (!incoming || g_dbus_message_get_message_type(msg) != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
        g_strcmp0(g_dbus_message_get_interface(msg), kPeer) == 0)
        return msg;
    auto *svc = static_cast<Service *>(self);
    auto *call = new Call{svc, ObjPtr<GDBusConnection>(G_DBUS_CONNECTION(g_object_ref(conn))),
                          ObjPtr<GDBusMessage>(msg), Behaviour{}, false, true, 0};
    svc->queued_.fetch_add(1);
    // This runs on GDBus's worker thread; the model is only touched from the main loop.
    g_idle_add_full(G_PRIORITY_DEFAULT, dispatch_cb, call, free_call);
    return nullptr;
}

void Service::free_call(gpointer p)
{
    auto *call = static_cast<Call *>(p);
    if (call->queued)
        call->svc->queued_.fetch_sub(1);
    else
        call->svc->delayed_.erase(call);
    delete call;
}

gboolean Service::dispatch_cb(gpointer p)
{
    auto *call = static_cast<Call *>(p);
    if (call->svc->conn_)
        call->svc->handle(*call);
    return G_SOURCE_REMOVE;
}

gboolean Service::delayed_cb(gpointer p)
{
    auto *call = static_cast<Call *>(p);
    Service *svc = call->svc;
    Behaviour b = std::move(call->b);
    b.delay_ms = 0;
    if (b.answers() || !call->script)
        svc->finish(*call, &b);
    else
        svc->finish(*call, nullptr);
    return G_SOURCE_REMOVE;
}

void Service::handle(Call &c)
{
    const std::string path = c.path(), iface = c.iface(), member = c.member();
    if (path == kControlPath) {
        control(c);
        return;
    }
    if (hostile::swallow(c.conn.get()))
        return;
    // Arguments are logged one boxed value each: an empty tuple cannot travel in a variant.
    GVariant *body = c.body();
    GVariantBuilder args;
    g_variant_builder_init(&args, G_VARIANT_TYPE("av"));
    for (gsize i = 0, n = body ? g_variant_n_children(body) : 0; i < n; ++i) {
        GPtr<GVariant> a(g_variant_get_child_value(body, i));
        g_variant_builder_add(&args, "v", a.get());
    }
    const char *sender = g_dbus_message_get_sender(c.msg.get());
    log_.push_back(LogEntry{sender ? sender : "", path, iface, member, ref_sink(g_variant_builder_end(&args))});
    if (log_.size() > kMaxLog)
        log_.pop_front();

    // The newest matching script wins.
    Behaviour b;
    bool script = false;
    for (size_t i = scripts_.size(); i-- > 0;) {
        Script &s = scripts_[i];
        if ((!s.path.empty() && s.path != path) || (!s.iface.empty() && s.iface != iface) ||
            (!s.member.empty() && s.member != member))
            continue;
        b = s.b.clone();
        script = true;
        if (s.b.uses > 0 && --s.b.uses == 0)
            scripts_.erase(scripts_.begin() + static_cast<std::ptrdiff_t>(i));
        break;
    }
    if (!script) {
        auto it = model_.methods.find(Model::method_key(path, iface, member));
        if (it == model_.methods.end()) {
            builtin(c);
            return;
        }
        b = it->second.clone();
    }
    if (b.delay_ms == 0) {
        finish(c, script && !b.answers() ? nullptr : &b);
        return;
    }
    // Answer later from the main loop so that other calls go on meanwhile.
    auto *later = new Call{this, std::move(c.conn), std::move(c.msg), std::move(b), script, false, 0};
    later->source = g_timeout_add_full(G_PRIORITY_DEFAULT, later->b.delay_ms, delayed_cb, later, free_call);
    delayed_.insert(later);
}

void Service::finish(Call &c, const Behaviour *b)
{
    if (!b) {
        // A script that only delays: go on with the model's own behaviour.
        auto it = model_.methods.find(Model::method_key(c.path(), c.iface(), c.member()));
        if (it != model_.methods.end() && it->second.answers())
            b = &it->second;
    }
    if (!b || !b->answers()) {
        builtin(c);
        return;
    }
    if (!b->in_sig.empty() && b->in_sig != c.type()) {
        reply_error(c, kErrInvalidArgs,
                    std::string("Type of message, '") + c.type() + "', does not match expected type '" +
                        b->in_sig + "'");
        return;
    }
    if (!b->error.empty())
        reply_error(c, b->error.c_str(), b->message);
    else
        reply(c, b->reply.get());
}

bool Service::path_exists(const std::string &path) const
{
    if (path == "/" || model_.objects.count(path) || model_.collections.count(path) || path == kControlPath)
        return true;
    const std::string prefix = path + "/";
    auto starts = [&](const std::string &p) { return p.compare(0, prefix.size(), prefix) == 0; };
    auto o = model_.objects.lower_bound(prefix);
    if (o != model_.objects.end() && starts(o->first))
        return true;
    auto m = model_.methods.lower_bound(path + "\n");
    if (m != model_.methods.end() && m->first.compare(0, path.size() + 1, path + "\n") == 0)
        return true;
    m = model_.methods.lower_bound(prefix);
    if (m != model_.methods.end() && starts(m->first))
        return true;
    for (const auto &[cpath, coll] : model_.collections)
        if (starts(cpath))
            return true;
    return std::string(kControlPath).compare(0, prefix.size(), prefix) == 0;
}

void Service::builtin(Call &c)
{
    if (appframework_call(model_, c.conn.get(), c.msg.get()))
        return;
    const std::string path = c.path(), iface = c.iface(), member = c.member();
    auto mm = model_.methods.find(Model::method_key(path, iface, member));
    if (mm != model_.methods.end()) {
        // A declared method with neither reply nor error answers an empty reply.
        if (!mm->second.in_sig.empty() && mm->second.in_sig != c.type())
            reply_error(c, kErrInvalidArgs,
                        std::string("Type of message, '") + c.type() + "', does not match expected type '" +
                            mm->second.in_sig + "'");
        else
            reply(c, g_variant_new("()"));
        return;
    }
    {
        GPtr<GVariant> answer;
        ExtensionCall ext{model_, path, iface, member, c.body(),
                          [this](const std::string &p, const std::string &i, const std::string &n, GVariant *v) {
                              set_prop(p, i, n, v);
                          }};
        if (run_extensions(ext, &answer)) {
            reply(c, answer.get());
            return;
        }
    }
    if (!path_exists(path)) {
        reply_error(c, kErrUnknownObject, "No such object path '" + path + "'");
        return;
    }
    if (iface == kIntrospectable) {
        if (member != "Introspect")
            reply_error(c, kErrUnknownMethod, "No such method '" + member + "'");
        else
            reply(c, g_variant_new("(s)", introspect(path).c_str()));
        return;
    }
    if (iface == kDBusProps || iface == kQuvProps) {
        properties(c, iface == kQuvProps);
        return;
    }
    if (iface == kObjectManager && model_.collections.count(path)) {
        object_manager(c);
        return;
    }
    auto obj = model_.objects.find(path);
    bool known = obj != model_.objects.end() && obj->second.find(iface);
    auto m = model_.methods.lower_bound(Model::method_key(path, iface, ""));
    known = known || (m != model_.methods.end() && m->first.compare(0, path.size() + iface.size() + 2,
                                                                    Model::method_key(path, iface, "")) == 0);
    if (known)
        reply_error(c, kErrUnknownMethod, "No such method '" + member + "' on interface '" + iface + "'");
    else
        reply_error(c, kErrUnknownInterface, "No such interface '" + iface + "' on object at path " + path);
}

void Service::properties(Call &c, bool quv)
{
    const std::string path = c.path(), member = c.member();
    const char *want = member == "Get"                ? "(ss)"
                       : member == "GetAll"           ? "(s)"
                       : member == "Set"              ? "(ssv)"
                       : (quv && member == "SetMulti") ? "(sa{sv})"
                                                       : nullptr;
    if (!want) {
        reply_error(c, kErrUnknownMethod, "No such method '" + member + "'");
        return;
    }
    if (strcmp(want, c.type()) != 0) {
        reply_error(c, kErrInvalidArgs,
                    std::string("Type of message, '") + c.type() + "', does not match expected type '" + want + "'");
        return;
    }
    const char *iname = nullptr;
    g_variant_get_child(c.body(), 0, "&s", &iname);
    auto obj = model_.objects.find(path);
    Interface *iface = obj != model_.objects.end() ? obj->second.find(iname) : nullptr;
    if (!iface) {
        reply_error(c, kErrUnknownInterface, std::string("No such interface '") + iname + "' on object at path " + path);
        return;
    }
    if (member == "GetAll") {
        reply(c, g_variant_new("(@a{sv})", iface->to_dict()));
        return;
    }
    // Get and Set name one property; SetMulti names several.
    GPtr<GVariant> updates;
    if (member == "SetMulti") {
        updates.reset(g_variant_get_child_value(c.body(), 1));
    } else {
        const char *pname = nullptr;
        g_variant_get_child(c.body(), 1, "&s", &pname);
        if (member == "Get") {
            GVariant *v = iface->get(pname);
            if (!v)
                reply_error(c, kErrUnknownProperty, std::string("No such property '") + pname + "'");
            else
                reply(c, g_variant_new("(v)", v));
            return;
        }
        GPtr<GVariant> value(g_variant_get_child_value(c.body(), 2));
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE("a{sv}"));
        g_variant_builder_add(&b, "{s@v}", pname, value.get());
        updates = ref_sink(g_variant_builder_end(&b));
    }
    // Check every value before changing anything, so a refused write changes nothing.
    GVariantIter it;
    const char *pname = nullptr;
    GVariant *v = nullptr;
    g_variant_iter_init(&it, updates.get());
    while (g_variant_iter_next(&it, "{&sv}", &pname, &v)) {
        GPtr<GVariant> value(v);
        GVariant *old = iface->get(pname);
        if (!old) {
            reply_error(c, kErrUnknownProperty, std::string("No such property '") + pname + "'");
            return;
        }
        if (!g_variant_type_equal(g_variant_get_type(old), g_variant_get_type(value.get()))) {
            reply_error(c, kErrInvalidArgs,
                        std::string("Property '") + pname + "' has type '" + g_variant_get_type_string(old) +
                            "', not '" + g_variant_get_type_string(value.get()) + "'");
            return;
        }
    }
    GVariantBuilder changed;
    g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
    bool any = false;
    g_variant_iter_init(&it, updates.get());
    while (g_variant_iter_next(&it, "{&sv}", &pname, &v)) {
        GPtr<GVariant> value(v);
        if (iface->set(pname, value.get())) {
            g_variant_builder_add(&changed, "{sv}", pname, value.get());
            any = true;
        }
    }
    GPtr<GVariant> dict = ref_sink(g_variant_builder_end(&changed));
    reply(c, g_variant_new("()"));
    if (any)
        emit_changed(path, iface->name, dict.get(), {});
}

// A collection nested in another's instance (the records below one entry, say)
// manages its own objects: the outer collection does not list them.
bool Service::in_nested_collection(const std::string &outer, const std::string &object) const
{
    for (auto it = model_.collections.upper_bound(outer + "/");
         it != model_.collections.end() && it->first.compare(0, outer.size() + 1, outer + "/") == 0; ++it)
        if (object == it->first || object.compare(0, it->first.size() + 1, it->first + "/") == 0)
            return true;
    return false;
}

void Service::object_manager(Call &c)
{
    const std::string path = c.path(), member = c.member();
    Collection &coll = model_.collections[path];
    const std::string prefix = path + "/";
    const char *want = member == "DeleteObject" ? "(o)" : "()";
    if (member != "GetManagedObjects" && member != "AddObject" && member != "DeleteObject") {
        reply_error(c, kErrUnknownMethod, "No such method '" + member + "'");
        return;
    }
    if (strcmp(want, c.type()) != 0) {
        reply_error(c, kErrInvalidArgs,
                    std::string("Type of message, '") + c.type() + "', does not match expected type '" + want + "'");
        return;
    }
    if (member == "GetManagedObjects") {
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
        for (auto it = model_.objects.lower_bound(prefix);
             it != model_.objects.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it)
            if (!in_nested_collection(path, it->first))
                g_variant_builder_add(&b, "{o@a{sa{sv}}}", it->first.c_str(), it->second.to_dict());
        reply(c, g_variant_new("(@a{oa{sa{sv}}})", g_variant_builder_end(&b)));
        return;
    }
    if (member == "AddObject") {
        std::string np;
        do
            np = prefix + std::to_string(coll.next++);
        while (model_.objects.count(np));
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE("a{sa{sv}}"));
        for (const auto &i : coll.tmpl)
            g_variant_builder_add(&b, "{s@a{sv}}", i.name.c_str(), i.to_dict());
        GPtr<GVariant> ifaces = ref_sink(g_variant_builder_end(&b));
        add_object(np, ifaces.get());
        reply(c, g_variant_new("(o)", np.c_str()));
        return;
    }
    const char *victim = nullptr;
    g_variant_get(c.body(), "(&o)", &victim);
    if (strncmp(victim, prefix.c_str(), prefix.size()) != 0 || !victim[prefix.size()]) {
        reply_error(c, kErrInvalidArgs, std::string("Object ") + victim + " is not in the collection " + path);
        return;
    }
    if (!remove_object(victim)) {
        reply_error(c, kErrUnknownObject, std::string("No such object path '") + victim + "'");
        return;
    }
    reply(c, g_variant_new("()"));
}

std::string Service::introspect(const std::string &path) const
{
    GPtr<GString> x(g_string_new(
        "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
        "\"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n"));
    g_string_append_printf(x.get(),
                           "  <interface name=\"%s\">\n    <method name=\"Introspect\">\n"
                           "      <arg type=\"s\" name=\"xml_data\" direction=\"out\"/>\n    </method>\n"
                           "  </interface>\n",
                           kIntrospectable);
    auto obj = model_.objects.find(path);
    bool is_coll = model_.collections.count(path) > 0;
    auto m0 = model_.methods.lower_bound(path + "\n");
    bool has_methods = m0 != model_.methods.end() && m0->first.compare(0, path.size() + 1, path + "\n") == 0;
    if (path == kControlPath) {
        xml_iface(x.get(), kControlIface, kControlMethods, G_N_ELEMENTS(kControlMethods));
        g_string_append(x.get(), "  </interface>\n");
    } else if (obj != model_.objects.end() || is_coll || has_methods) {
        g_string_append_printf(x.get(),
                               "  <interface name=\"%s\">\n    <method name=\"Ping\"/>\n"
                               "    <method name=\"GetMachineId\">\n"
                               "      <arg type=\"s\" name=\"machine_uuid\" direction=\"out\"/>\n"
                               "    </method>\n  </interface>\n",
                               kPeer);
        xml_iface(x.get(), kDBusProps, kPropsMethods, G_N_ELEMENTS(kPropsMethods));
        g_string_append(x.get(),
                        "    <signal name=\"PropertiesChanged\">\n"
                        "      <arg type=\"s\" name=\"interface_name\"/>\n"
                        "      <arg type=\"a{sv}\" name=\"changed_properties\"/>\n"
                        "      <arg type=\"as\" name=\"invalidated_properties\"/>\n"
                        "    </signal>\n  </interface>\n");
        xml_iface(x.get(), kQuvProps, kPropsMethods, G_N_ELEMENTS(kPropsMethods));
        g_string_append(x.get(),
                        "    <method name=\"SetMulti\">\n"
                        "      <arg type=\"s\" name=\"interface_name\" direction=\"in\"/>\n"
                        "      <arg type=\"a{sv}\" name=\"properties\" direction=\"in\"/>\n"
                        "    </method>\n  </interface>\n");
        if (is_coll) {
            xml_iface(x.get(), kObjectManager, kObjectManagerMethods, G_N_ELEMENTS(kObjectManagerMethods));
            g_string_append(x.get(),
                            "    <signal name=\"InterfacesAdded\">\n"
                            "      <arg type=\"o\" name=\"object_path\"/>\n"
                            "      <arg type=\"a{sa{sv}}\" name=\"interfaces_and_properties\"/>\n"
                            "    </signal>\n"
                            "    <signal name=\"InterfacesRemoved\">\n"
                            "      <arg type=\"o\" name=\"object_path\"/>\n"
                            "      <arg type=\"as\" name=\"interfaces\"/>\n"
                            "    </signal>\n  </interface>\n");
        }
        // Model interfaces: those with properties and those that only declare methods.
        std::vector<std::string> names;
        if (obj != model_.objects.end())
            for (const auto &i : obj->second.ifaces)
                names.push_back(i.name);
        for (auto m = m0; m != model_.methods.end() && m->first.compare(0, path.size() + 1, path + "\n") == 0; ++m) {
            std::string rest = m->first.substr(path.size() + 1);
            std::string iname = rest.substr(0, rest.find('\n'));
            bool seen = false;
            for (const auto &n : names)
                seen = seen || n == iname;
            if (!seen)
                names.push_back(iname);
        }
        for (const auto &iname : names) {
            g_string_append_printf(x.get(), "  <interface name=\"%s\">\n", iname.c_str());
            std::string key = Model::method_key(path, iname, "");
            for (auto m = model_.methods.lower_bound(key);
                 m != model_.methods.end() && m->first.compare(0, key.size(), key) == 0; ++m) {
                g_string_append_printf(x.get(), "    <method name=\"%s\">\n", m->first.c_str() + key.size());
                if (!m->second.in_sig.empty())
                    xml_tuple_args(x.get(), G_VARIANT_TYPE(m->second.in_sig.c_str()), "in");
                if (m->second.reply)
                    xml_tuple_args(x.get(), g_variant_get_type(m->second.reply.get()), "out");
                g_string_append(x.get(), "    </method>\n");
            }
            const Interface *props = obj != model_.objects.end() ? obj->second.find(iname) : nullptr;
            if (props)
                for (const auto &[pname, value] : props->props)
                    g_string_append_printf(x.get(), "    <property name=\"%s\" type=\"%s\" access=\"readwrite\"/>\n",
                                           pname.c_str(), g_variant_get_type_string(value.get()));
            g_string_append(x.get(), "  </interface>\n");
        }
    }
    // Direct children, each once, in path order.
    const std::string prefix = path == "/" ? "/" : path + "/";
    std::set<std::string> children;
    auto add_child = [&](const std::string &p) {
        if (p.size() > prefix.size() && p.compare(0, prefix.size(), prefix) == 0)
            children.insert(p.substr(prefix.size(), p.find('/', prefix.size()) - prefix.size()));
    };
    for (auto o = model_.objects.lower_bound(prefix);
         o != model_.objects.end() && o->first.compare(0, prefix.size(), prefix) == 0; ++o)
        add_child(o->first);
    for (const auto &[cpath, coll] : model_.collections)
        add_child(cpath);
    for (const auto &[key, b] : model_.methods)
        add_child(key.substr(0, key.find('\n')));
    add_child(kControlPath);
    for (const auto &child : children)
        g_string_append_printf(x.get(), "  <node name=\"%s\"/>\n", child.c_str());
    g_string_append(x.get(), "</node>\n");
    return std::string(x->str, x->len);
}

void Service::control(Call &c)
{
    const std::string iface = c.iface(), member = c.member();
    if (iface == kIntrospectable && member == "Introspect") {
        reply(c, g_variant_new("(s)", introspect(kControlPath).c_str()));
        return;
    }
    const MethodDesc *desc = nullptr;
    for (const auto &d : kControlMethods)
        if (member == d.name)
            desc = &d;
    if ((iface != kControlIface && !iface.empty()) || !desc) {
        reply_error(c, kErrUnknownMethod, "No such method '" + member + "' on interface '" + iface + "'");
        return;
    }
    const std::string want = tuple_sig(desc->in);
    if (want != c.type()) {
        reply_error(c, kErrInvalidArgs,
                    std::string("Type of message, '") + c.type() + "', does not match expected type '" + want + "'");
        return;
    }
    GVariant *args = c.body();
    auto str = [&](gsize i) {
        const char *s = nullptr;
        g_variant_get_child(args, i, "&s", &s);
        return std::string(s);
    };
    auto child = [&](gsize i) { return GPtr<GVariant>(g_variant_get_child_value(args, i)); };
    auto unboxed = [&](gsize i) {
        GPtr<GVariant> boxed = child(i);
        return GPtr<GVariant>(g_variant_get_variant(boxed.get()));
    };
    auto uint = [&](gsize i) {
        guint32 u = 0;
        g_variant_get_child(args, i, "u", &u);
        return u;
    };
    auto flag = [&](gsize i) {
        gboolean b = FALSE;
        g_variant_get_child(args, i, "b", &b);
        return b != FALSE;
    };
    auto invalid = [&](const std::string &what) { reply_error(c, kErrInvalidArgs, what); };
    auto check_path = [&](const std::string &p, bool wildcard) {
        if ((wildcard && p.empty()) || g_variant_is_object_path(p.c_str()))
            return true;
        invalid("'" + p + "' is not an object path");
        return false;
    };
    auto check_iface = [&](const std::string &i, bool wildcard) {
        if ((wildcard && i.empty()) || g_dbus_is_interface_name(i.c_str()))
            return true;
        invalid("'" + i + "' is not an interface name");
        return false;
    };
    auto check_member = [&](const std::string &m, bool wildcard) {
        if ((wildcard && m.empty()) || g_dbus_is_member_name(m.c_str()))
            return true;
        invalid("'" + m + "' is not a member name");
        return false;
    };
    const std::string m = member;
    if (m == "SetProperty") {
        if (!check_path(str(0), false) || !check_iface(str(1), false) || !check_member(str(2), false))
            return;
        GPtr<GVariant> value = unboxed(3);
        set_prop(str(0), str(1), str(2), value.get());
    } else if (m == "RemoveProperty") {
        auto obj = model_.objects.find(str(0));
        Interface *i = obj != model_.objects.end() ? obj->second.find(str(1)) : nullptr;
        if (!i || !i->remove(str(2))) {
            reply_error(c, kErrUnknownProperty, "No property " + str(2) + " of " + str(1) + " at " + str(0));
            return;
        }
        GPtr<GVariant> empty = ref_sink(g_variant_new_array(G_VARIANT_TYPE("{sv}"), nullptr, 0));
        emit_changed(str(0), str(1), empty.get(), {str(2)});
    } else if (m == "AddObject") {
        if (!check_path(str(0), false))
            return;
        GPtr<GVariant> ifaces = child(1);
        GVariantIter it;
        const char *iname = nullptr;
        GVariant *props = nullptr;
        g_variant_iter_init(&it, ifaces.get());
        while (g_variant_iter_next(&it, "{&s@a{sv}}", &iname, &props)) {
            GPtr<GVariant> hold(props);
            if (!check_iface(iname, false))
                return;
        }
        add_object(str(0), ifaces.get());
    } else if (m == "RemoveObject") {
        bool was_coll = model_.collections.erase(str(0)) > 0;
        if (!remove_object(str(0)) && !was_coll) {
            reply_error(c, kErrUnknownObject, "No such object path '" + str(0) + "'");
            return;
        }
    } else if (m == "AddCollection") {
        if (!check_path(str(0), false) || !check_iface(str(1), false))
            return;
        Collection &coll = model_.collections[str(0)];
        coll.iface = str(1);
        coll.tmpl.clear();
        coll.tmpl.push_back(Interface{str(1), {}});
        GPtr<GVariant> tmpl = child(2);
        GVariantIter it;
        const char *pname = nullptr;
        GVariant *v = nullptr;
        g_variant_iter_init(&it, tmpl.get());
        while (g_variant_iter_next(&it, "{&sv}", &pname, &v)) {
            GPtr<GVariant> hold(v);
            coll.tmpl.back().set(pname, v);
        }
    } else if (m == "ScriptReply" || m == "ScriptError" || m == "ScriptDelay") {
        if (!check_path(str(0), true) || !check_iface(str(1), true) || !check_member(str(2), true))
            return;
        Script s{str(0), str(1), str(2), Behaviour{}};
        gsize n = g_variant_n_children(args);
        s.b.delay_ms = uint(n - 2);
        s.b.uses = flag(n - 1) ? 1 : -1;
        if (m == "ScriptReply") {
            GPtr<GVariant> r = unboxed(3);
            s.b.reply = as_tuple(r.get());
        } else if (m == "ScriptError") {
            // Error names follow the interface-name rules (GLib < 2.70 has no separate check).
            if (!g_dbus_is_interface_name(str(3).c_str())) {
                invalid("'" + str(3) + "' is not an error name");
                return;
            }
            s.b.error = str(3);
            s.b.message = str(4);
        }
        scripts_.push_back(std::move(s));
    } else if (m == "ClearScripts") {
        scripts_.clear();
    } else if (m == "GetCallLog") {
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE("a(ssssav)"));
        for (const auto &e : log_)
            g_variant_builder_add(&b, "(ssss@av)", e.sender.c_str(), e.path.c_str(), e.iface.c_str(),
                                  e.member.c_str(), e.args.get());
        reply(c, g_variant_new("(@a(ssssav))", g_variant_builder_end(&b)));
        return;
    } else if (m == "ClearCallLog") {
        log_.clear();
    } else if (m == "SetHostile") {
        std::string problem;
        if (!hostile::set_mode(str(0), &problem)) {
            reply_error(c, kErrInvalidArgs, problem);
            return;
        }
    } else if (m == "EmitSignal") {
        if (!check_path(str(0), false) || !check_iface(str(1), false) || !check_member(str(2), false))
            return;
        GPtr<GVariant> a = unboxed(3);
        GPtr<GVariant> tuple = as_tuple(a.get());
        emit(str(0).c_str(), str(1).c_str(), str(2).c_str(), tuple.get());
    }
    reply(c, g_variant_new("()"));
}

void Service::set_prop(const std::string &path, const std::string &iface, const std::string &prop, GVariant *value)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sa{sv}}"));
    g_variant_builder_open(&b, G_VARIANT_TYPE("{sa{sv}}"));
    g_variant_builder_add(&b, "s", iface.c_str());
    g_variant_builder_open(&b, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&b, "{sv}", prop.c_str(), value);
    g_variant_builder_close(&b);
    g_variant_builder_close(&b);
    GPtr<GVariant> ifaces = ref_sink(g_variant_builder_end(&b));
    add_object(path, ifaces.get());
}

void Service::add_object(const std::string &path, GVariant *ifaces)
{
    Object &obj = model_.objects[path];
    if (const std::string *cpath = model_.collection_of(path)) {
        // Numbers of instances made by others are never handed out again either.
        Collection &coll = model_.collections[*cpath];
        const char *suffix = path.c_str() + cpath->size() + 1;
        char *end = nullptr;
        guint64 n = g_ascii_strtoull(suffix, &end, 10);
        if (end && end != suffix && *end == '\0' && n >= coll.next)
            coll.next = n + 1;
    }
    GVariantBuilder added;
    g_variant_builder_init(&added, G_VARIANT_TYPE("a{sa{sv}}"));
    bool any_added = false;
    GVariantIter it;
    const char *iname = nullptr;
    GVariant *props = nullptr;
    g_variant_iter_init(&it, ifaces);
    while (g_variant_iter_next(&it, "{&s@a{sv}}", &iname, &props)) {
        GPtr<GVariant> hold(props);
        bool fresh = obj.find(iname) == nullptr;
        Interface &iface = obj.ensure(iname);
        GVariantBuilder changed;
        g_variant_builder_init(&changed, G_VARIANT_TYPE("a{sv}"));
        bool any = false;
        GVariantIter pit;
        const char *pname = nullptr;
        GVariant *v = nullptr;
        g_variant_iter_init(&pit, props);
        while (g_variant_iter_next(&pit, "{&sv}", &pname, &v)) {
            GPtr<GVariant> value(v);
            if (iface.set(pname, value.get())) {
                g_variant_builder_add(&changed, "{sv}", pname, value.get());
                any = true;
            }
        }
        GPtr<GVariant> dict = ref_sink(g_variant_builder_end(&changed));
        if (fresh) {
            g_variant_builder_add(&added, "{s@a{sv}}", iname, iface.to_dict());
            any_added = true;
        } else if (any) {
            emit_changed(path, iname, dict.get(), {});
        }
    }
    GPtr<GVariant> added_dict = ref_sink(g_variant_builder_end(&added));
    if (const std::string *cpath = model_.collection_of(path); cpath && any_added)
        emit(cpath->c_str(), kObjectManager, "InterfacesAdded",
             g_variant_new("(o@a{sa{sv}})", path.c_str(), added_dict.get()));
}

bool Service::remove_object(const std::string &path)
{
    auto obj = model_.objects.find(path);
    if (obj == model_.objects.end())
        return false;
    GVariantBuilder names;
    g_variant_builder_init(&names, G_VARIANT_TYPE("as"));
    for (const auto &i : obj->second.ifaces)
        g_variant_builder_add(&names, "s", i.name.c_str());
    GPtr<GVariant> removed = ref_sink(g_variant_builder_end(&names));
    model_.objects.erase(obj);
    if (const std::string *cpath = model_.collection_of(path))
        emit(cpath->c_str(), kObjectManager, "InterfacesRemoved",
             g_variant_new("(o@as)", path.c_str(), removed.get()));
    return true;
}

void Service::emit(const char *path, const char *iface, const char *name, GVariant *args)
{
    GPtr<GVariant> hold = ref_sink(args);
    if (!conn_)
        return;
    GPtr<GError> err;
    if (!g_dbus_connection_emit_signal(conn_, nullptr, path, iface, name, hold.get(), out(err)))
        fprintf(stderr, "lumo-gwsim: cannot emit %s.%s on %s: %s\n", iface, name, path, err->message);
}

void Service::emit_changed(const std::string &path, const std::string &iface, GVariant *changed,
                           const std::vector<std::string> &invalidated)
{
    GVariantBuilder inv;
    g_variant_builder_init(&inv, G_VARIANT_TYPE("as"));
    for (const auto &p : invalidated)
        g_variant_builder_add(&inv, "s", p.c_str());
    emit(path.c_str(), kDBusProps, "PropertiesChanged",
         g_variant_new("(s@a{sv}@as)", iface.c_str(), changed, g_variant_builder_end(&inv)));
}

void Service::reply(Call &c, GVariant *tuple)
{
    GPtr<GVariant> body = ref_sink(c.path() == kControlPath ? tuple : hostile::mangle(c.member(), c.body(), tuple));
    if (g_dbus_message_get_flags(c.msg.get()) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED)
        return;
    ObjPtr<GDBusMessage> r(g_dbus_message_new_method_reply(c.msg.get()));
    if (g_variant_n_children(body.get()) > 0)
        g_dbus_message_set_body(r.get(), body.get());
    GPtr<GError> err;
    if (!g_dbus_connection_send_message(c.conn.get(), r.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, out(err)) &&
        !g_dbus_connection_is_closed(c.conn.get()))
        fprintf(stderr, "lumo-gwsim: cannot reply: %s\n", err->message);
}

void Service::reply_error(Call &c, const char *name, const std::string &message)
{
    if (g_dbus_message_get_flags(c.msg.get()) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED)
        return;
    ObjPtr<GDBusMessage> r(g_dbus_message_new_method_error_literal(c.msg.get(), name, message.c_str()));
    GPtr<GError> err;
    if (!g_dbus_connection_send_message(c.conn.get(), r.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, out(err)) &&
        !g_dbus_connection_is_closed(c.conn.get()))
        fprintf(stderr, "lumo-gwsim: cannot reply: %s\n", err->message);
}

}  // namespace lumo::gwsim
