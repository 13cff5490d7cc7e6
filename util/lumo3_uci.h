/* liblumo3 UCI options and the WLAN device owner file. */
#ifndef LUMO3_UCI_H
#define LUMO3_UCI_H

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

LUMO3_END_DECLS

#endif /* LUMO3_UCI_H */
