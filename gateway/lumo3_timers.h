/* liblumo3 gateway objects: WiFi band steering, the daily and weekly WiFi timers,
 * the LED night mode and the weekly sleep timers.
 *
 * The band steering and WiFi timer functions first ask whether the gateway has WiFi
 * at all (once per process): on a gateway without WiFi they return 1 and leave every
 * output untouched, and -1 when the question itself cannot be answered. The LED and
 * sleep timer functions do not ask.
 *
 * Times are "H:MM"/"HH:MM" (0:00 to 23:59, or "24:00"). An OvanObjPath_t argument
 * must hold its terminator within its 256 bytes; one that does not is refused (-1,
 * nothing sent). */
#ifndef LUMO3_TIMERS_H
#define LUMO3_TIMERS_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"

LUMO3_BEGIN_DECLS

/* "/com/quv/igd1/Config/WLAN/BandSteering", "com.quv.igd1.WiFiBandSteering".
 * Capability and ChannelUtilization5G are read only. */
typedef struct OvanWiFiBandSteering {
    char path[256];
    int32_t Enable;
    int32_t Capability;
    int32_t RSSIThreshold;
    int32_t RSSIThreshold5G;
    uint32_t ChannelUtilization5G;
    uint32_t ChannelUtilizationThreshold5G;
    uint32_t STALoadThreshold2G;
    uint32_t SteeringDetectInterval;
} OvanWiFiBandSteering_t;

/* "/com/quv/igd1/Config/WLAN/Timer", "com.quv.igd1.WiFiTimer". */
typedef struct OvanWiFiTimer {
    char path[256];
    char StartTime[8];
    char EndTime[8];
    char ControlCycle[8]; /* "DAY" */
    int32_t Enable;
    uint32_t SSIDMask; /* nonzero */
} OvanWiFiTimer_t;

/* "/com/quv/igd1/Config/Peripheral/LED", "com.quv.igd1.LED". */
typedef struct OvanLED {
    char path[256];
    char Status[8]; /* "ON" or "OFF" */
    char StartTime[8];
    char EndTime[8];
    char ControlCycle[8]; /* "DAY" */
    int32_t Enable;
} OvanLED_t;

/* Instances of "/com/quv/igd1/Config/WLAN/ExTimers", "com.quv.igd1.WiFiTimer1".
 * WeekDay is a block of WeekDayNum 64-byte strings allocated by the getters (free it
 * with g_free before the record). */
typedef struct OvanWiFiExTimer {
    char path[256];
    char Time[8];
    char Active[8]; /* "0" or "1" */
    int32_t Enable;
    uint32_t SSIDMask; /* nonzero */
    uint32_t WeekDayNum;
    char (*WeekDay)[64];
} OvanWiFiExTimer_t;

/* Instances of "/com/quv/igd1/Config/Power/SleepTimers", "com.quv.igd1.SleepTimer".
 * Day as WeekDay above. */
typedef struct OvanSleepTimer {
    char path[256];
    char Time[8];
    char Active[8]; /* "0" or "1" */
    int32_t Enable;
    uint32_t DayNum;
    char (*Day)[64];
} OvanSleepTimer_t;

LUMO3_API int32_t OvanGetWiFiBandSteering(OvanWiFiBandSteering_t *info);
/* Writes Enable, the two RSSI thresholds, ChannelUtilizationThreshold5G,
 * STALoadThreshold2G and SteeringDetectInterval. */
LUMO3_API int32_t OvanSetWiFiBandSteering(OvanWiFiBandSteering_t *rec);

LUMO3_API int32_t OvanGetWiFiTimer(OvanWiFiTimer_t *info);
/* Both times valid, ControlCycle exactly "DAY", SSIDMask nonzero. */
LUMO3_API int32_t OvanSetWiFiTimer(OvanWiFiTimer_t *rec);

LUMO3_API int32_t OvanGetLED(OvanLED_t *info);
/* Status "ON" or "OFF", ControlCycle exactly "DAY", both times valid. */
LUMO3_API int32_t OvanSetLED(OvanLED_t *rec);

/* *objs: one g_free'd block of *num records (NULL objs: count only). */
LUMO3_API int32_t OvanGetWiFiExTimerObjs(OvanWiFiExTimer_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetWiFiExTimer(OvanObjPath_t path, OvanWiFiExTimer_t *rec);
/* Time valid, Active "0" or "1", SSIDMask nonzero; sends at most WeekDayNum days
 * (none when WeekDay is NULL). */
LUMO3_API int32_t OvanSetWiFiExTimer(OvanObjPath_t path, OvanWiFiExTimer_t *rec);
/* Creates a timer and writes rec into it; on success rec->path names it. A timer
 * the write refuses is deleted again. */
LUMO3_API int32_t OvanAddWiFiExTimer(OvanWiFiExTimer_t *rec);
LUMO3_API int32_t OvanDelWiFiExTimer(OvanObjPath_t path);

LUMO3_API int32_t OvanGetSleepTimerObjs(OvanSleepTimer_t **objs, uint32_t *num);
LUMO3_API int32_t OvanGetSleepTimer(OvanObjPath_t path, OvanSleepTimer_t *rec);
/* Time valid, Active "0" or "1". */
LUMO3_API int32_t OvanSetSleepTimer(OvanObjPath_t path, OvanSleepTimer_t *rec);
LUMO3_API int32_t OvanAddSleepTimer(OvanSleepTimer_t *rec);
LUMO3_API int32_t OvanDelSleepTimer(OvanObjPath_t path);

LUMO3_END_DECLS

#endif /* LUMO3_TIMERS_H */
