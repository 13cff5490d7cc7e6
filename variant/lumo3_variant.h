/* liblumo3 value type OvanVariant.
 *
 * An OvanVariant is a GVariant under another name: values move between the two
 * APIs without copying. Values handed out are new references, released with
 * OvanVariantUnRef; newly made values are floating, as in GLib. Bad arguments are
 * refused with a GLib critical warning and a NULL, 0 or FALSE result. */
#ifndef LUMO3_VARIANT_H
#define LUMO3_VARIANT_H

#include <stdarg.h>
#include <stddef.h>
#include <glib.h>
#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

typedef GVariant OvanVariant;

/* Both return their argument unchanged. */
LUMO3_API OvanVariant *GVar2OvanVar(GVariant *v);
LUMO3_API GVariant *OvanVar2GVar(OvanVariant *v);

LUMO3_API OvanVariant *OvanVariantRef(OvanVariant *v);
LUMO3_API void OvanVariantUnRef(OvanVariant *v);

/* Builds a value from a GVariant format string. Formats starting with '?', '@',
 * '*' or 'r' are refused here (they are fine for the getters). */
LUMO3_API OvanVariant *OvanVariantNew(const char *format, ...);
/* The element type is taken from the children, so n_children must be > 0. */
LUMO3_API OvanVariant *OvanVariantNewArray(OvanVariant **children, size_t n_children);
LUMO3_API OvanVariant *OvanVariantNewTuple(OvanVariant **children, size_t n_children);
/* NULL (without a warning) when the key is not of a basic type. */
LUMO3_API OvanVariant *OvanVariantNewDictEntry(OvanVariant *key, OvanVariant *value);

/* Unpacks v into the pointers given. A format that does not match v's type is
 * refused before anything is written. Strings taken with '&' stay valid as long
 * as v. */
LUMO3_API void OvanVariantGet(OvanVariant *v, const char *format, ...);
/* Plain g_variant_get_va, without the library's format check. */
LUMO3_API void OvanVariantGetVa(OvanVariant *v, const char *format, const char **endptr, va_list *app);

LUMO3_API size_t OvanVariantChildNum(OvanVariant *v);
/* A new reference to the child at index. */
LUMO3_API OvanVariant *OvanVariantGetChildVal(OvanVariant *v, size_t index);
/* Unpacks the child at index, checked like OvanVariantGet. */
LUMO3_API void OvanVariantGetChild(OvanVariant *v, size_t index, const char *format, ...);

/* Looks key up in an "a{s*}" or "a{o*}" dictionary; type_string NULL accepts any
 * type. A new reference or NULL. */
LUMO3_API OvanVariant *OvanVariantLookupValue(OvanVariant *dictionary, const char *key,
                                              const char *type_string);
/* TRUE when key was found with the format's type and unpacked; FALSE leaves the
 * caller's pointers untouched. */
LUMO3_API gboolean OvanVariantLookup(OvanVariant *dictionary, const char *key, const char *format,
                                     ...);

/* Text form with type annotations; free with g_free. */
LUMO3_API char *OvanVariantPrint(OvanVariant *v);

LUMO3_END_DECLS

#endif /* LUMO3_VARIANT_H */
