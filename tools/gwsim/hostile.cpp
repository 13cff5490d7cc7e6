#include "tools/gwsim/hostile.hpp"

#include <cstdio>
#include <cstring>

namespace lumo::gwsim::hostile {

namespace {

enum class Mode { kOff, kTypes, kSilent, kVanish };

Mode mode = Mode::kOff;

GVariant *text(size_t length)
{
    std::string s(length, 'x');
    return g_variant_new_string(s.c_str());
}

// The same value under another wire type; "t" for "u" on purpose (wider than the
// field it aims at).
GVariant *other_type(GVariant *v)
{
    const char *t = g_variant_get_type_string(v);
    switch (t[0]) {
    case 's':
    case 'o': return g_variant_new_uint32(static_cast<uint32_t>(g_variant_get_size(v)));
    case 'b': return g_variant_new_string(g_variant_get_boolean(v) ? "true" : "false");
    case 'u': return g_variant_new_uint64(0xfedcba9876543210ull);
    case 'i': return g_variant_new_double(-1.5);
    case 'y': return g_variant_new_uint16(0xffff);
    case 't': return g_variant_new_uint32(7);
    case 'd': return g_variant_new_string("NaN");
    case 'a': return g_variant_new_string("not a list");
    default: return g_variant_new_string("hostile");
    }
}

// A property's value as the hostile gateway sends it (a new, non-floating reference).
GVariant *hostile_value(const char *name, GVariant *value, size_t *long_left, size_t plain = kPlainString)
{
    if (mistyped(name))
        return g_variant_ref_sink(other_type(value));
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        const size_t n = *long_left ? *long_left : plain;
        *long_left = 0;
        return g_variant_ref_sink(text(n));
    }
    return g_variant_ref(value);
}

GVariant *hostile_dict(GVariant *dict, size_t *long_left, size_t plain = kPlainString)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    GVariantIter it;
    g_variant_iter_init(&it, dict);
    const char *name;
    GVariant *value;
    while (g_variant_iter_next(&it, "{&sv}", &name, &value)) {
        GVariant *h = hostile_value(name, value, long_left, plain);
        g_variant_builder_add(&b, "{sv}", name, h);
        g_variant_unref(h);
        g_variant_unref(value);
    }
    return g_variant_builder_end(&b);
}

GVariant *hostile_ifaces(GVariant *ifaces, size_t *long_left)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{sa{sv}}"));
    GVariantIter it;
    g_variant_iter_init(&it, ifaces);
    const char *iface;
    GVariant *props;
    while (g_variant_iter_next(&it, "{&s@a{sv}}", &iface, &props)) {
        // Short strings (still longer than any field): thousands of objects follow.
        g_variant_builder_add(&b, "{s@a{sv}}", iface, hostile_dict(props, long_left, kListingString));
        g_variant_unref(props);
    }
    return g_variant_builder_end(&b);
}

// Thousands of objects: the real ones first (mistyped like any reply), then copies of
// the first under new paths, every tenth of them outside the collection.
GVariant *hostile_listing(GVariant *objects)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{oa{sa{sv}}}"));
    const size_t n = g_variant_n_children(objects);
    GVariant *first_ifaces = nullptr;
    std::string collection = kOutside;
    size_t no_long = 0;
    for (size_t i = 0; i < n; i++) {
        const char *path;
        GVariant *ifaces;
        g_variant_get_child(objects, i, "{&o@a{sa{sv}}}", &path, &ifaces);
        GVariant *h = g_variant_ref_sink(hostile_ifaces(ifaces, &no_long));
        g_variant_builder_add(&b, "{o@a{sa{sv}}}", path, h);
        if (!first_ifaces) {
            first_ifaces = g_variant_ref(h);
            collection = path;
            collection.resize(collection.rfind('/'));
        }
        g_variant_unref(h);
        g_variant_unref(ifaces);
    }
    if (!first_ifaces)
        first_ifaces = g_variant_ref_sink(g_variant_new("a{sa{sv}}", nullptr));
    for (unsigned k = static_cast<unsigned>(n); k < kCollectionSize; k++) {
        char path[300];
        if (k % 10 == 0)
            std::snprintf(path, sizeof path, "%s/%u", kOutside, k);
        else
            std::snprintf(path, sizeof path, "%s/h%u", collection.c_str(), k);
        g_variant_builder_add(&b, "{o@a{sa{sv}}}", path, first_ifaces);
    }
    g_variant_unref(first_ifaces);
    return g_variant_builder_end(&b);
}

}  // namespace

bool set_mode(const std::string &m, std::string *error)
{
    if (m == "off")
        mode = Mode::kOff;
    else if (m == "types")
        mode = Mode::kTypes;
    else if (m == "silent")
        mode = Mode::kSilent;
    else if (m == "vanish")
        mode = Mode::kVanish;
    else {
        *error = "unknown hostile mode '" + m + "' (off, types, silent, vanish)";
        return false;
    }
    return true;
}

bool swallow(GDBusConnection *conn)
{
    if (mode == Mode::kSilent)
        return true;
    if (mode != Mode::kVanish)
        return false;
    // Gone in the middle of the call; the simulator reconnects if asked to.
    mode = Mode::kOff;
    g_dbus_connection_close(conn, nullptr, nullptr, nullptr);
    return true;
}

GVariant *mangle(const std::string &member, GVariant *args, GVariant *tuple)
{
    if (mode != Mode::kTypes || !tuple || !g_variant_is_of_type(tuple, G_VARIANT_TYPE_TUPLE))
        return tuple;
    GVariant *result = nullptr;
    size_t long_left = kLongString;
    if (member == "GetAll" && g_variant_is_of_type(tuple, G_VARIANT_TYPE("(a{sv})"))) {
        GVariant *dict = g_variant_get_child_value(tuple, 0);
        result = g_variant_new("(@a{sv})", hostile_dict(dict, &long_left));
        g_variant_unref(dict);
    } else if (member == "Get" && g_variant_is_of_type(tuple, G_VARIANT_TYPE("(v)")) && args &&
               g_variant_is_of_type(args, G_VARIANT_TYPE("(ss)"))) {
        const char *prop;
        GVariant *value;
        g_variant_get_child(args, 1, "&s", &prop);
        g_variant_get(tuple, "(v)", &value);
        GVariant *h = hostile_value(prop, value, &long_left);
        result = g_variant_new("(v)", h);
        g_variant_unref(h);
        g_variant_unref(value);
    } else if (member == "GetManagedObjects" && g_variant_is_of_type(tuple, G_VARIANT_TYPE("(a{oa{sa{sv}}})"))) {
        GVariant *objects = g_variant_get_child_value(tuple, 0);
        result = g_variant_new("(@a{oa{sa{sv}}})", hostile_listing(objects));
        g_variant_unref(objects);
    } else if (g_variant_n_children(tuple) > 0) {
        // Command replies: every value under another type.
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE_TUPLE);
        for (size_t i = 0, n = g_variant_n_children(tuple); i < n; i++) {
            GVariant *child = g_variant_get_child_value(tuple, i);
            g_variant_builder_add_value(&b, other_type(child));
            g_variant_unref(child);
        }
        result = g_variant_builder_end(&b);
    }
    if (!result)
        return tuple;
    g_variant_unref(g_variant_ref_sink(tuple));
    return result;
}

}  // namespace lumo::gwsim::hostile
