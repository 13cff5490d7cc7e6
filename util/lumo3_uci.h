/* liblumo3 UCI options and the WLAN device owner file. */
#ifndef LUMO3_UCI_H
#define LUMO3_UCI_H

#include <stddef.h>
#include <stdint.h>

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* One option of a section, as filled by uci_read_section. */
typedef struct UciOptionEntry {
    char name[16];   /* cut to 15 characters */
    char value[256]; /* cut to 255 characters; list items joined by blanks */
} UciOptionEntry;

/* One line of the WLAN device owner file "/tmp/.uci/wlandevice-owner". */
typedef struct WlanOwnerEntry {
    char owner[64]; /* D-Bus service name of the application */
    char path[256]; /* WLAN device object path */
} WlanOwnerEntry;

/* Reads "package.section.option" (section may be "@type[n]") into value, a buffer of
 * at least 256 bytes. Returns 0 whether found or not (value is left untouched when
 * not found, so clear it first), 1 when memory ran out, 2 for a NULL argument. */
LUMO3_API int uci_read_option(const char *package, const char *section, const char *option, char *value);

/* Sets "package.section.option=value", or with a NULL option "package.section=value"
 * (creates the section with type value, or retypes it), and commits the package.
 * Returns 0 on success and when the lookup or the commit failed (the error is
 * printed to standard error), the error code of a failed set, 1 when memory ran
 * out, 2 for a NULL package, section or value. */
LUMO3_API int uci_write_option(const char *package, const char *section, const char *option, const char *value);

/* Lists the options of "package.section", or with a NULL section of every section of
 * type section_type in the package. *entries (when entries is not NULL) receives a
 * malloc'ed array the caller frees with free(); *count (when not NULL) the number of
 * entries. Both are left untouched when nothing was found. Returns 0, 1 when memory
 * ran out, 2 for a NULL package. */
LUMO3_API int uci_read_section(const char *package, const char *section_type, const char *section,
                               UciOptionEntry **entries, uint32_t *count);

/* Overwrites name (a buffer of size bytes) with the user-assigned name stored for
 * the device's MAC address, if there is one. */
LUMO3_API void get_devname_from_uci(const char *mac, char *name, size_t size);

/* add != 0 records that owner created the WLAN device at path; add == 0 forgets every
 * device recorded for owner (path is not consulted). Note that forgetting rewrites
 * only every other remaining line (the 1st, 3rd, 5th, ...): other owners' records
 * are dropped too. The result carries no meaning. */
LUMO3_API int update_wlan_device_owner(const char *owner, const char *path, int add);

LUMO3_END_DECLS

#endif /* LUMO3_UCI_H */
