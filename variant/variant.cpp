// The value type: checked forwards to GVariant. GLib aborts or crashes on some
// bad arguments (a malformed format string, a NULL or non-container value); these
// wrappers refuse them with a critical warning instead.
#include <cstdarg>
#include <cstring>

#include "core/glib_ptr.hpp"
#include "lumo3_variant.h"
#include "variant/variant_internal.hpp"

namespace {

constexpr const char kBasicKeyChars[] = "bynqiuxthdsog?";
// No GVariant type nests deeper than this, so no valid format does either; the
// bound keeps a hostile format from exhausting the stack.
constexpr int kMaxDepth = 128;

// Scans one format item starting at s; returns the character after it, or
// nullptr when s does not start with a valid item.
const char *scan_item(const char *s, int depth = 0)
{
    const char c = *s;
    if (c == '\0' || depth > kMaxDepth)
        return nullptr;
    switch (c) {
    case 'b': case 'y': case 'n': case 'q': case 'i': case 'u': case 'x':
    case 't': case 'h': case 'd': case 's': case 'o': case 'g': case 'v':
    case 'r': case '*': case '?':
        return s + 1;
    case 'a':
    case '@': {
        const char *end = nullptr;
        if (!g_variant_type_string_scan(s + 1, nullptr, &end))
            return nullptr;
        return end;
    }
    case 'm':
        return scan_item(s + 1, depth + 1);
    case '(':
        ++s;
        while (*s != ')') {
            s = scan_item(s, depth + 1);  // fails at the end of the string
            if (!s)
                return nullptr;
        }
        return s + 1;
    case '{': {
        ++s;
        if (*s == '&') {
            ++s;
            if (*s != 's' && *s != 'o' && *s != 'g')
                return nullptr;
        } else {
            if (*s == '@')
                ++s;
            if (*s == '\0' || !std::strchr(kBasicKeyChars, *s))
                return nullptr;
        }
        s = scan_item(s + 1, depth + 1);
        if (!s || *s != '}')
            return nullptr;
        return s + 1;
    }
    case '&':
        if (s[1] != 's' && s[1] != 'o' && s[1] != 'g')
            return nullptr;
        return s + 2;
    case '^': {
        static constexpr const char *kArrayForms[] = {"^as",  "^ao",   "^ay",    "^aay",
                                                      "^a&s", "^a&o", "^a&ay", "^&ay"};
        for (const char *form : kArrayForms) {
            size_t len = std::strlen(form);
            if (std::strncmp(s, form, len) == 0)
                return s + len;
        }
        return nullptr;
    }
    default:
        return nullptr;
    }
}

// The type an item of the given format stands for: the format without its
// '&', '@' and '^' modifiers.
lumo::GStr format_type_string(const char *format, size_t len)
{
    char *type = static_cast<char *>(g_malloc(len + 1));
    size_t n = 0;
    for (size_t i = 0; i < len; ++i) {
        if (format[i] != '&' && format[i] != '@' && format[i] != '^')
            type[n++] = format[i];
    }
    type[n] = '\0';
    return lumo::GStr(type);
}

bool has_borrowed_strings(const char *format)
{
    return std::strchr(format, '&') != nullptr;
}

// Borrowed ('&') pointers into a value stay valid only as long as the value's
// serialised data does; forcing serialisation first ties them to the value.
void serialise(GVariant *v)
{
    (void)g_variant_get_data(v);
}

void refuse(const char *function, const char *condition)
{
    g_return_if_fail_warning(nullptr, function, condition);
}

// GLib aborts the process when asked for a child that does not exist.
bool has_child(const char *function, GVariant *v, size_t index)
{
    if (!v) {
        refuse(function, "(v != NULL)");
        return false;
    }
    if (!g_variant_is_container(v)) {
        refuse(function, "g_variant_is_container (v)");
        return false;
    }
    if (index >= g_variant_n_children(v)) {
        refuse(function, "index < g_variant_n_children (v)");
        return false;
    }
    return true;
}

}  // namespace

namespace lumo::variant {

gboolean _ovan_valid_format_string(const char *format, gboolean only_one, GVariant *value)
{
    if (!format)
        return FALSE;
    const char *end = scan_item(format);
    if (!end || (only_one && *end != '\0')) {
        g_log(nullptr, G_LOG_LEVEL_CRITICAL, "'%s' is not a valid GVariant format string", format);
        return FALSE;
    }
    if (!value)
        return TRUE;
    const size_t len = static_cast<size_t>(end - format);
    lumo::GStr type = format_type_string(format, len);
    if (g_variant_is_of_type(value, reinterpret_cast<const GVariantType *>(type.get())))
        return TRUE;
    lumo::GStr scanned(g_strndup(format, len));
    g_log(nullptr, G_LOG_LEVEL_CRITICAL,
          "the GVariant format string '%s' has a type of '%s' but the given value has a type of '%s'",
          scanned.get(), type.get(), g_variant_get_type_string(value));
    return FALSE;
}

}  // namespace lumo::variant

using lumo::variant::_ovan_valid_format_string;

extern "C" {

LUMO3_API OvanVariant *GVar2OvanVar(GVariant *v)
{
    if (!v) {
        refuse("GVar2OvanVar", "(v != NULL)");
        return nullptr;
    }
    return v;
}

LUMO3_API GVariant *OvanVar2GVar(OvanVariant *v)
{
    if (!v) {
        refuse("OvanVar2GVar", "(v != NULL)");
        return nullptr;
    }
    return v;
}

LUMO3_API OvanVariant *OvanVariantRef(OvanVariant *v)
{
    if (!v) {
        refuse("OvanVariantRef", "(v != NULL)");
        return nullptr;
    }
    return g_variant_ref(v);
}

LUMO3_API void OvanVariantUnRef(OvanVariant *v)
{
    if (!v) {
        refuse("OvanVariantUnRef", "v != NULL");
        return;
    }
    g_variant_unref(v);
}

LUMO3_API OvanVariant *OvanVariantNew(const char *format, ...)
{
    if (!(_ovan_valid_format_string(format, TRUE, nullptr) && format[0] != '?' && format[0] != '@' &&
          format[0] != '*' && format[0] != 'r')) {
        refuse("OvanVariantNew",
               "_ovan_valid_format_string (format, TRUE, NULL) && format[0] != '?' && "
               "format[0] != '@' && format[0] != '*' && format[0] != 'r'");
        return nullptr;
    }
    va_list ap;
    va_start(ap, format);
    GVariant *v = g_variant_new_va(format, nullptr, &ap);
    va_end(ap);
    return v;
}

LUMO3_API OvanVariant *OvanVariantNewArray(OvanVariant **children, size_t n_children)
{
    if (!children || n_children == 0) {
        refuse("OvanVariantNewArray", "(children != NULL) && (n_children != 0)");
        return nullptr;
    }
    return g_variant_new_array(nullptr, children, n_children);
}

LUMO3_API OvanVariant *OvanVariantNewTuple(OvanVariant **children, size_t n_children)
{
    if (!children || n_children == 0) {
        refuse("OvanVariantNewTuple", "(children != NULL) && (n_children != 0)");
        return nullptr;
    }
    return g_variant_new_tuple(children, n_children);
}

LUMO3_API OvanVariant *OvanVariantNewDictEntry(OvanVariant *key, OvanVariant *value)
{
    if (!key || !value) {
        refuse("OvanVariantNewDictEntry", "(key != NULL) && (value != NULL)");
        return nullptr;
    }
    if (!g_variant_type_is_basic(g_variant_get_type(key)))
        return nullptr;
    return g_variant_new_dict_entry(key, value);
}

LUMO3_API void OvanVariantGet(OvanVariant *v, const char *format, ...)
{
    if (!_ovan_valid_format_string(format, TRUE, v)) {
        refuse("OvanVariantGet", "_ovan_valid_format_string (format, TRUE, v)");
        return;
    }
    // A NULL v is left to GLib, which refuses it with its own warning.
    if (v && has_borrowed_strings(format))
        serialise(v);
    va_list ap;
    va_start(ap, format);
    g_variant_get_va(v, format, nullptr, &ap);
    va_end(ap);
}

LUMO3_API void OvanVariantGetVa(OvanVariant *v, const char *format, const char **endptr, va_list *app)
{
    g_variant_get_va(v, format, endptr, app);
}

LUMO3_API size_t OvanVariantChildNum(OvanVariant *v)
{
    if (!v) {
        refuse("OvanVariantChildNum", "(v != NULL)");
        return 0;
    }
    if (!g_variant_is_container(v)) {
        refuse("OvanVariantChildNum", "g_variant_is_container (v)");
        return 0;
    }
    return g_variant_n_children(v);
}

LUMO3_API OvanVariant *OvanVariantGetChildVal(OvanVariant *v, size_t index)
{
    if (!has_child("OvanVariantGetChildVal", v, index))
        return nullptr;
    return g_variant_get_child_value(v, index);
}

LUMO3_API void OvanVariantGetChild(OvanVariant *v, size_t index, const char *format, ...)
{
    if (!has_child("OvanVariantGetChild", v, index))
        return;
    if (format && has_borrowed_strings(format))
        serialise(v);
    lumo::GPtr<GVariant> child(g_variant_get_child_value(v, index));
    if (!_ovan_valid_format_string(format, TRUE, child.get())) {
        refuse("OvanVariantGetChild", "_ovan_valid_format_string (format, TRUE, child)");
        return;
    }
    va_list ap;
    va_start(ap, format);
    g_variant_get_va(child.get(), format, nullptr, &ap);
    va_end(ap);
}

LUMO3_API OvanVariant *OvanVariantLookupValue(OvanVariant *dictionary, const char *key,
                                              const char *type_string)
{
    if (!dictionary || !key) {
        refuse("OvanVariantLookupValue", "(dictionary != NULL) && (key != NULL)");
        return nullptr;
    }
    // An unparsable type would otherwise read as "any type".
    if (type_string && !g_variant_type_string_is_valid(type_string))
        return nullptr;
    return g_variant_lookup_value(dictionary, key, reinterpret_cast<const GVariantType *>(type_string));
}

LUMO3_API gboolean OvanVariantLookup(OvanVariant *dictionary, const char *key, const char *format, ...)
{
    if (!dictionary || !key) {
        refuse("OvanVariantLookup", "(dictionary != NULL) && (key != NULL)");
        return FALSE;
    }
    // Without a type the lookup would match any value and hand the format a
    // value it cannot unpack.
    if (!_ovan_valid_format_string(format, TRUE, nullptr))
        return FALSE;
    serialise(dictionary);
    lumo::GStr type = format_type_string(format, std::strlen(format));
    lumo::GPtr<GVariant> value(
        g_variant_lookup_value(dictionary, key, reinterpret_cast<const GVariantType *>(type.get())));
    if (!value)
        return FALSE;
    va_list ap;
    va_start(ap, format);
    g_variant_get_va(value.get(), format, nullptr, &ap);
    va_end(ap);
    return TRUE;
}

LUMO3_API char *OvanVariantPrint(OvanVariant *v)
{
    if (!v) {
        refuse("OvanVariantPrint", "(v != NULL)");
        return nullptr;
    }
    return g_variant_print(v, TRUE);
}

}  // extern "C"
