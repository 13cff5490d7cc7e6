/* liblumo3 input validation predicates.
 *
 * Each takes one NUL-terminated string (may be NULL), never modifies it, and
 * returns 1 when it is acceptable, 0 when not. The vocabularies that name an
 * optional field (device type, LOID region, fault category) accept NULL and ""
 * so that the field may stay empty; all other predicates reject them. */
#ifndef LUMO3_VALIDATE_H
#define LUMO3_VALIDATE_H

#include "lumo3_export.h"

LUMO3_BEGIN_DECLS

/* Exactly 12 hexadecimal digits (a MAC address without separators). */
LUMO3_API int is_valid_quv_mac(const char *str);
/* One or more decimal digits. */
LUMO3_API int is_valid_digit_str(const char *str);
/* "phone", "Pad", "PC", "STB", "ROUTER", "SMTDEV", "AP", "PLC", "CloudVR", "OTHER". */
LUMO3_API int is_valid_lan_devtype(const char *str);
/* A dotted IPv4 address; judged on its first 23 characters. */
LUMO3_API int is_valid_ipaddr(const char *str);
/* "address/prefix" (prefix 1..32) or "start-end" with start and end in one
 * classful network. */
LUMO3_API int is_valid_ip_range(const char *str);
/* H:MM or HH:MM, 0:00 to 23:59, and "24:00". */
LUMO3_API int is_valid_time(const char *str);
/* YYYY-MM-DD hh:mm:ss (month, day, hour and minute may have one digit). */
LUMO3_API int is_valid_datetime(const char *str);
/* One of the 34 regional LOID provisioning codes. */
LUMO3_API int is_valid_loid_prov(const char *str);
/* "ALL", "INTERNET", "VOICE", "IPTV", "WIFI", "SYSTEM", "FRAMEWORK". */
LUMO3_API int is_valid_tl_faultcategory(const char *str);
/* An IPv6 interface suffix (completed to fe80::suffix unless it holds "::");
 * prints a line to standard output when it is refused. */
LUMO3_API int is_valid_ip6_suffix(const char *str);
/* An IPv6 address with an optional "/prefix" of at most 128. */
LUMO3_API int is_valid_ip6_address(const char *str);
/* "WANConnection", "HGWProxy" or "Static". */
LUMO3_API int is_valid_lan_dns6_config_type(const char *str);
/* "WANDelegated" or "Static". */
LUMO3_API int is_valid_lan_addr6_prefixmode(const char *str);

LUMO3_END_DECLS

#endif /* LUMO3_VALIDATE_H */
