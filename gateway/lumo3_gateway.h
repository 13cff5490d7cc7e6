/* liblumo3 gateway objects: what every family shares. */
#ifndef LUMO3_GATEWAY_H
#define LUMO3_GATEWAY_H

#include <stdint.h>

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* The object path of one gateway object instance, passed by value. Every record
 * begins with a path of the same 256 bytes. A path argument must hold its
 * terminating NUL within these 256 bytes: one that does not is refused (-1, or
 * status 1 with a message for functions that report one; a priority-3 log line),
 * never cut short, and nothing is sent to the gateway.
 *
 * Text handed to any gateway function (string arguments, string fields of records
 * written by setters and adders, list entries) must be valid UTF-8, which is all the
 * bus can carry; object paths must keep the D-Bus path grammar. Other text is refused
 * the same way, the log line and the last error (OvanGetErrMsg) naming the field or
 * argument, and nothing is sent. A fixed-width field filled to its whole width
 * without a terminator is taken over its width. */
typedef struct OvanObjPath {
    char str[256];
} OvanObjPath_t;

/* WiFi and USB capability of the gateway, read once per process: *valinit turns 1
 * once support* holds the answer. */
extern LUMO3_API int32_t wifivalinit;
extern LUMO3_API uint32_t supportwifi;
extern LUMO3_API int32_t usbvalinit;
extern LUMO3_API uint32_t supportusb;

LUMO3_END_DECLS

#endif /* LUMO3_GATEWAY_H */
