/* liblumo3 gateway objects: what every family shares. */
#ifndef LUMO3_GATEWAY_H
#define LUMO3_GATEWAY_H

#include <stdint.h>

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* The object path of one gateway object instance, passed by value. Every record
 * begins with a path of the same 256 bytes. */
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
