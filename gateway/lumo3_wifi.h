/* liblumo3 gateway objects. */
#ifndef LUMO3_WIFI_H
#define LUMO3_WIFI_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

LUMO3_END_DECLS

#endif /* LUMO3_WIFI_H */
