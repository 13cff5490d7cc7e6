/* liblumo3 input validation predicates. */
#ifndef LUMO3_VALIDATE_H
#define LUMO3_VALIDATE_H

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

LUMO3_END_DECLS

#endif /* LUMO3_VALIDATE_H */
