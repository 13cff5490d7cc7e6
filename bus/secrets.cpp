// Keeping passwords, keys and LOIDs out of log lines: values printed for the log are
// masked wherever a dictionary key or a method name says they hold one.
#include <cstring>

#include "bus/connection.hpp"
#include "core/glib_ptr.hpp"
#include "core/log.hpp"

namespace lumo::bus {

namespace {

constexpr const char kHidden[] = "<hidden>";

// Lower-case fragments of property and method names that hold a secret.
constexpr const char *kSecretWords[] = {"passw", "pwd", "loid", "psk", "passphrase", "secret", "wepkey", "presharedkey"};

// True when `name` ends in one of the secret words.
bool names_secret(const char *name)
{
    GStr lower(g_ascii_strdown(name, -1));
    for (const char *word : kSecretWords)
        if (g_str_has_suffix(lower.get(), word))
            return true;
    return false;
}

bool is_string_like(GVariant *v)
{
    return g_variant_is_of_type(v, G_VARIANT_TYPE_STRING);
}

// A copy of `value` with every string held under a secret key replaced by kHidden
// (the value's type is kept, so the printed form still tells what was sent).
GVariant *masked(GVariant *value)
{
    if (!g_variant_is_container(value))
        return g_variant_ref(value);
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_DICT_ENTRY)) {
        GPtr<GVariant> key(g_variant_get_child_value(value, 0));
        GPtr<GVariant> item(g_variant_get_child_value(value, 1));
        if (is_string_like(key.get()) && secret_name(g_variant_get_string(key.get(), nullptr))) {
            GPtr<GVariant> inner(g_variant_is_of_type(item.get(), G_VARIANT_TYPE_VARIANT)
                                     ? g_variant_get_variant(item.get())
                                     : g_variant_ref(item.get()));
            // A key that ends in the secret's word names the secret itself, whatever
            // its type (a numeric PIN, say); "PasswordSet" or "LOIDLength" only tell
            // something about it and are shown.
            const bool boxed = g_variant_is_of_type(item.get(), G_VARIANT_TYPE_VARIANT);
            if (is_string_like(inner.get()) || (boxed && names_secret(g_variant_get_string(key.get(), nullptr)))) {
                GVariant *hidden = g_variant_new_string(kHidden);
                if (boxed)
                    hidden = g_variant_new_variant(hidden);
                return g_variant_ref_sink(g_variant_new_dict_entry(key.get(), hidden));
            }
        }
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT)) {
        GPtr<GVariant> inner(g_variant_get_variant(value));
        GPtr<GVariant> copy(masked(inner.get()));
        return g_variant_ref_sink(g_variant_new_variant(copy.get()));
    }
    const size_t n = g_variant_n_children(value);
    if (n == 0)
        return g_variant_ref(value);
    GVariantBuilder b;
    g_variant_builder_init(&b, g_variant_get_type(value));
    for (size_t i = 0; i < n; i++) {
        GPtr<GVariant> child(g_variant_get_child_value(value, i));
        GPtr<GVariant> copy(masked(child.get()));
        g_variant_builder_add_value(&b, copy.get());
    }
    return g_variant_ref_sink(g_variant_builder_end(&b));
}

}  // namespace

bool secret_name(const char *name)
{
    if (!name)
        return false;
    GStr lower(g_ascii_strdown(name, -1));
    for (const char *word : kSecretWords)
        if (std::strstr(lower.get(), word))
            return true;
    return false;
}

GStr print_masked(GVariant *value)
{
    GPtr<GVariant> copy(masked(value));
    return GStr(g_variant_print(copy.get(), TRUE));
}

GStr print_property(const char *name, GVariant *value, int priority)
{
    if (value && secret_name(name) && is_string_like(value) && lumo::log::wanted(priority))
        return GStr(g_strdup_printf("'%s'", kHidden));
    return print_value(value, priority);
}

}  // namespace lumo::bus
