/* liblumo3 value type OvanVariant. */
#ifndef LUMO3_VARIANT_H
#define LUMO3_VARIANT_H

#include <glib.h>
#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

typedef GVariant OvanVariant;

LUMO3_END_DECLS

#endif /* LUMO3_VARIANT_H */
