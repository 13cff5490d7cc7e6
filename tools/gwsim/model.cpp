#include "tools/gwsim/model.hpp"

#include <cstdlib>
#include <cstring>

namespace lumo::gwsim {

GVariant *Interface::get(const std::string &prop) const
{
    for (const auto &[key, value] : props)
        if (key == prop)
            return value.get();
    return nullptr;
}

bool Interface::set(const std::string &prop, GVariant *value)
{
    GPtr<GVariant> v = ref_sink(value);
    for (auto &[key, old] : props) {
        if (key != prop)
            continue;
        if (g_variant_equal(old.get(), v.get()) &&
            g_variant_type_equal(g_variant_get_type(old.get()), g_variant_get_type(v.get())))
            return false;
        old = std::move(v);
        return true;
    }
    props.emplace_back(prop, std::move(v));
    return true;
}

bool Interface::remove(const std::string &prop)
{
    for (auto it = props.begin(); it != props.end(); ++it) {
        if (it->first == prop) {
            props.erase(it);
            return true;
        }
    }
    return false;
}

Interface Interface::clone() const
{
    Interface c;
    c.name = name;
    for (const auto &[prop, value] : props)
        c.props.emplace_back(prop, GPtr<GVariant>(g_variant_ref(value.get())));
    return c;
}

GVariant *Interface::to_dict() const
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sv}"));
    for (const auto &[prop, value] : props)
        g_variant_builder_add(&b, "{sv}", prop.c_str(), value.get());
    return g_variant_builder_end(&b);
}

Interface *Object::find(const std::string &iface)
{
    for (auto &i : ifaces)
        if (i.name == iface)
            return &i;
    return nullptr;
}

const Interface *Object::find(const std::string &iface) const
{
    for (const auto &i : ifaces)
        if (i.name == iface)
            return &i;
    return nullptr;
}

Interface &Object::ensure(const std::string &iface)
{
    if (Interface *i = find(iface))
        return *i;
    ifaces.push_back(Interface{iface, {}});
    return ifaces.back();
}

GVariant *Object::to_dict() const
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sa{sv}}"));
    for (const auto &i : ifaces)
        g_variant_builder_add(&b, "{s@a{sv}}", i.name.c_str(), i.to_dict());
    return g_variant_builder_end(&b);
}

Behaviour Behaviour::clone() const
{
    Behaviour c;
    if (reply)
        c.reply.reset(g_variant_ref(reply.get()));
    c.error = error;
    c.message = message;
    c.delay_ms = delay_ms;
    c.in_sig = in_sig;
    c.uses = uses;
    return c;
}

GPtr<GVariant> as_tuple(GVariant *v)
{
    if (g_variant_is_of_type(v, G_VARIANT_TYPE_TUPLE))
        return GPtr<GVariant>(g_variant_ref(v));
    GVariant *one = v;
    return ref_sink(g_variant_new_tuple(&one, 1));
}

const std::string *Model::collection_of(const std::string &path) const
{
    const std::string *best = nullptr;
    for (const auto &[cpath, coll] : collections) {
        if (path.size() > cpath.size() + 1 && path.compare(0, cpath.size(), cpath) == 0 &&
            path[cpath.size()] == '/' && (!best || cpath.size() > best->size()))
            best = &cpath;
    }
    return best;
}

namespace {

std::string parse_error(const char *origin, const char *group, const char *what)
{
    return std::string(origin) + ": [" + group + "]: " + what;
}

// Parses one property value; on failure fills *error.
GPtr<GVariant> parse_value(const char *text, const char *origin, const char *group, const char *key,
                           std::string *error)
{
    GPtr<GError> err;
    // A parsed value comes as a full (not floating) reference.
    GPtr<GVariant> v(g_variant_parse(nullptr, text, nullptr, nullptr, out(err)));
    if (!v) {
        GStr ctx(g_variant_parse_error_print_context(err.get(), text));
        *error = parse_error(origin, group, (std::string(key) + ": bad value:\n" + ctx.get()).c_str());
    }
    return v;
}

bool load_props(GKeyFile *kf, const char *group, Interface &iface, const char *origin,
                std::string *error)
{
    GStrv keys(g_key_file_get_keys(kf, group, nullptr, nullptr));
    for (char **k = keys.get(); k && *k; ++k) {
        GStr raw(g_key_file_get_value(kf, group, *k, nullptr));
        GPtr<GVariant> v = parse_value(raw.get(), origin, group, *k, error);
        if (!v)
            return false;
        iface.set(*k, v.get());
    }
    return true;
}

bool load_method(GKeyFile *kf, const char *group, Behaviour &b, const char *origin, std::string *error)
{
    GStrv keys(g_key_file_get_keys(kf, group, nullptr, nullptr));
    for (char **k = keys.get(); k && *k; ++k) {
        GStr raw(g_key_file_get_value(kf, group, *k, nullptr));
        if (strcmp(*k, "Reply") == 0) {
            GPtr<GVariant> v = parse_value(raw.get(), origin, group, *k, error);
            if (!v)
                return false;
            b.reply = as_tuple(v.get());
        } else if (strcmp(*k, "Error") == 0) {
            // Error names follow the interface-name rules (GLib < 2.70 has no separate check).
            if (!g_dbus_is_interface_name(raw.get())) {
                *error = parse_error(origin, group, "Error: not a D-Bus error name");
                return false;
            }
            b.error = raw.get();
        } else if (strcmp(*k, "Message") == 0) {
            GStr s(g_key_file_get_string(kf, group, *k, nullptr));
            b.message = s ? s.get() : "";
        } else if (strcmp(*k, "Delay") == 0) {
            char *end = nullptr;
            guint64 ms = g_ascii_strtoull(raw.get(), &end, 10);
            if (!end || *end || ms > G_MAXUINT) {
                *error = parse_error(origin, group, "Delay: not a number of milliseconds");
                return false;
            }
            b.delay_ms = static_cast<guint>(ms);
        } else if (strcmp(*k, "In") == 0) {
            if (!g_variant_type_string_is_valid(raw.get()) ||
                !g_variant_type_is_tuple(G_VARIANT_TYPE(raw.get()))) {
                *error = parse_error(origin, group, "In: not a tuple type such as (ss)");
                return false;
            }
            b.in_sig = raw.get();
        } else {
            *error = parse_error(origin, group, (std::string("unknown key ") + *k).c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

bool Model::load(const char *text, const char *origin, std::string *error)
{
    GPtr<GKeyFile> kf(g_key_file_new());
    GPtr<GError> err;
    if (!g_key_file_load_from_data(kf.get(), text, static_cast<gsize>(-1), G_KEY_FILE_NONE, out(err))) {
        *error = std::string(origin) + ": " + err->message;
        return false;
    }
    GStrv groups(g_key_file_get_groups(kf.get(), nullptr));
    for (char **g = groups.get(); g && *g; ++g) {
        GStrv tok(g_strsplit_set(*g, " \t", -1));
        std::vector<const char *> words;
        for (char **t = tok.get(); *t; ++t)
            if (**t)
                words.push_back(*t);
        auto bad = [&](const char *what) {
            *error = parse_error(origin, *g, what);
            return false;
        };
        auto check_path_iface = [&](const char *path, const char *iface) {
            if (!g_variant_is_object_path(path))
                return bad("not a valid object path");
            if (!g_dbus_is_interface_name(iface))
                return bad("not a valid interface name");
            return true;
        };
        if (words.size() == 2 && words[0][0] == '/') {
            if (!check_path_iface(words[0], words[1]))
                return false;
            Interface &iface = objects[words[0]].ensure(words[1]);
            if (!load_props(kf.get(), *g, iface, origin, error))
                return false;
        } else if ((words.size() == 3 || words.size() == 2) && strcmp(words[0], "collection") == 0) {
            // Without an interface: a collection whose instances' interface is unknown
            // (captured while it had none); AddObject then makes bare instances.
            if (words.size() == 2 && !g_variant_is_object_path(words[1]))
                return bad("not a valid object path");
            if (words.size() == 3 && !check_path_iface(words[1], words[2]))
                return false;
            Collection &c = collections[words[1]];
            c.iface = words.size() == 3 ? words[2] : "";
            c.tmpl.clear();
            if (words.size() == 2)
                continue;
            c.tmpl.push_back(Interface{words[2], {}});
            if (!load_props(kf.get(), *g, c.tmpl.back(), origin, error))
                return false;
        } else if (words.size() == 4 && strcmp(words[0], "method") == 0) {
            if (!check_path_iface(words[1], words[2]))
                return false;
            if (!g_dbus_is_member_name(words[3]))
                return bad("not a valid method name");
            Behaviour b;
            if (!load_method(kf.get(), *g, b, origin, error))
                return false;
            methods[method_key(words[1], words[2], words[3])] = std::move(b);
        } else {
            return bad("expected [PATH INTERFACE], [collection PATH [INTERFACE]] or "
                       "[method PATH INTERFACE METHOD]");
        }
    }
    // New instances continue after the highest numbered instance already present.
    for (auto &[cpath, coll] : collections) {
        std::string prefix = cpath + "/";
        for (auto it = objects.lower_bound(prefix);
             it != objects.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
            const char *suffix = it->first.c_str() + prefix.size();
            char *end = nullptr;
            guint64 n = g_ascii_strtoull(suffix, &end, 10);
            if (end && end != suffix && *end == '\0' && n >= coll.next)
                coll.next = n + 1;
        }
    }
    return true;
}

}  // namespace lumo::gwsim
