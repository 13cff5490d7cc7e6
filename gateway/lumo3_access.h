/* liblumo3 gateway objects: MAC black and white lists, URL and DNS filters. */
#ifndef LUMO3_ACCESS_H
#define LUMO3_ACCESS_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* Instances of "/com/quv/igd1/Network/MACBlackList", "com.quv.igd1.MACBlackList" */
typedef struct OvanMACBlackList {
    char path[256];
    char MAC[13]; /* 12 hexadecimal digits, no separators */
    char Name[64];
    uint32_t BlockedTimes; /* read only */
} OvanMACBlackList_t;

/* Instances of "/com/quv/igd1/Network/MACWhiteList", "com.quv.igd1.MACWhiteList" */
typedef struct OvanMACWhiteList {
    char path[256];
    char MAC[13];
    char Name[64];
} OvanMACWhiteList_t;

/* Instances of "/com/quv/igd1/Network/URLFilter", "com.quv.igd1.URLFilter" */
typedef struct OvanURLFilter {
    char path[256];
    int32_t Enable;
    char URL[256];
    char MAC[264]; /* the device selector as the gateway sends it */
    char Name[64];
    uint32_t BlockedTimes; /* read only */
} OvanURLFilter_t;

/* The same objects with the schedule and the address list. */
typedef struct OvanURLFilterv4 {
    char path[256];
    int32_t Enable;
    char URL[256];
    char MAC[264];
    char Name[64];
    uint32_t BlockedTimes; /* read only */
    uint8_t Mode;
    int32_t URLListNum;
    char (*URLList)[256]; /* URLListNum slots; g_free'd by the caller */
    char WeekDays[32];
    char Time[64];
} OvanURLFilterv4_t;

/* Instances of "/com/quv/igd1/Network/DNSFilter", "com.quv.igd1.DNSFilter" */
typedef struct OvanDNSFilter {
    char path[256];
    int32_t Enable;
    char Name[64];
    char Hostname[256];
    uint8_t Action;
    char MAC[13];
    uint32_t BlockedTimes; /* read only */
} OvanDNSFilter_t;

/* The same objects with the schedule and the host-name list. */
typedef struct OvanDNSFilterv4 {
    char path[256];
    int32_t Enable;
    char Name[64];
    char Hostname[256];
    uint8_t Action;
    char MAC[13];
    uint32_t BlockedTimes; /* read only */
    uint8_t Mode;
    int32_t HostNameListNum;
    char (*HostNameList)[256]; /* HostNameListNum slots; g_free'd by the caller */
    char WeekDays[32];
    char Time[64];
} OvanDNSFilterv4_t;

/* Common to every function below:
 * - 0 success, -1 failure. The MAC list functions return 1, touching nothing, on a
 *   gateway (bus version 2 or later) that has no WiFi.
 * - *objs of a list function: one g_free'd block of *num records (NULL objs: the
 *   count only; an empty collection gives *objs NULL). For v4 records, g_free each
 *   record's list first.
 * - An object path must name an instance of the function's own collection
 *   ("<collection>/..."); a path argument that holds no terminator within its 256
 *   bytes is refused (-1, nothing sent).
 * - Records hold their object path whole (up to 255 characters).
 * - Add creates an object and writes the record into it; on success rec->path names
 *   it. An object the write refuses, or whose path the record cannot hold, is
 *   deleted again. */

LUMO3_API int32_t OvanGetMACBlackListObjs(OvanMACBlackList_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetMACBlackList(OvanObjPath_t path, OvanMACBlackList_t *rec);
/* Writes MAC and Name. */
LUMO3_API int32_t OvanSetMACBlackList(OvanObjPath_t path, OvanMACBlackList_t *rec);
LUMO3_API int32_t OvanAddMACBlackList(OvanMACBlackList_t *rec);
LUMO3_API int32_t OvanDelMACBlackList(OvanObjPath_t path);

LUMO3_API int32_t OvanGetMACWhiteListObjs(OvanMACWhiteList_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetMACWhiteList(OvanObjPath_t path, OvanMACWhiteList_t *rec);
/* Writes MAC and Name. */
LUMO3_API int32_t OvanSetMACWhiteList(OvanObjPath_t path, OvanMACWhiteList_t *rec);
LUMO3_API int32_t OvanAddMACWhiteList(OvanMACWhiteList_t *rec);
LUMO3_API int32_t OvanDelMACWhiteList(OvanObjPath_t path);

LUMO3_API int32_t OvanGetURLFilterObjs(OvanURLFilter_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetURLFilter(OvanObjPath_t path, OvanURLFilter_t *rec);
/* Writes Enable, URL, MAC, Name, and clears the schedule (Mode 0, WeekDays and Time
 * empty). */
LUMO3_API int32_t OvanSetURLFilter(OvanObjPath_t path, OvanURLFilter_t *rec);
LUMO3_API int32_t OvanAddURLFilter(OvanURLFilter_t *rec);
LUMO3_API int32_t OvanGetURLFilterObjsv4(OvanURLFilterv4_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetURLFilterv4(OvanObjPath_t path, OvanURLFilterv4_t *rec);
/* Writes Enable, URL, MAC, Name; on a gateway of bus version 2 or later also Mode,
 * the first URLListNum entries of URLList (NULL: an empty list), WeekDays and Time.
 * A negative URLListNum is refused. */
LUMO3_API int32_t OvanSetURLFilterv4(OvanObjPath_t path, OvanURLFilterv4_t *rec);
LUMO3_API int32_t OvanAddURLFilterv4(OvanURLFilterv4_t *rec);
/* Deletes a filter of either layout. */
LUMO3_API int32_t OvanDelURLFilter(OvanObjPath_t path);

LUMO3_API int32_t OvanGetDNSFilterObjs(OvanDNSFilter_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetDNSFilter(OvanObjPath_t path, OvanDNSFilter_t *rec);
/* Writes Enable, Name, Hostname, Action, MAC, and clears the schedule (Mode 0,
 * WeekDays and Time empty). */
LUMO3_API int32_t OvanSetDNSFilter(OvanObjPath_t path, OvanDNSFilter_t *rec);
LUMO3_API int32_t OvanAddDNSFilter(OvanDNSFilter_t *rec);
LUMO3_API int32_t OvanGetDNSFilterObjsv4(OvanDNSFilterv4_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetDNSFilterv4(OvanObjPath_t path, OvanDNSFilterv4_t *rec);
/* Writes Enable, Name, Hostname, Action, MAC; on a gateway of bus version 2 or later
 * also Mode, the first HostNameListNum entries of HostNameList (NULL: an empty
 * list), WeekDays and Time. A negative HostNameListNum is refused. */
LUMO3_API int32_t OvanSetDNSFilterv4(OvanObjPath_t path, OvanDNSFilterv4_t *rec);
LUMO3_API int32_t OvanAddDNSFilterv4(OvanDNSFilterv4_t *rec);
/* Deletes a filter of either layout. */
LUMO3_API int32_t OvanDelDNSFilter(OvanObjPath_t path);

LUMO3_END_DECLS

#endif /* LUMO3_ACCESS_H */
