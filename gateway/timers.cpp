// WiFi band steering, daily and weekly WiFi timers, LED night mode, sleep timers.
#include <cstdlib>
#include <cstring>
#include <syslog.h>

#include "gateway/timers_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_timers.h"
#include "lumo3_validate.h"

namespace {

using namespace lumo::gw;

constexpr const char kBandSteeringPath[] = "/com/quv/igd1/Config/WLAN/BandSteering";
constexpr const char kWiFiTimerPath[] = "/com/quv/igd1/Config/WLAN/Timer";
constexpr const char kLEDPath[] = "/com/quv/igd1/Config/Peripheral/LED";
constexpr const char kExTimers[] = "/com/quv/igd1/Config/WLAN/ExTimers";
constexpr const char kExTimerPrefix[] = "/com/quv/igd1/Config/WLAN/ExTimers/";
constexpr const char kSleepTimers[] = "/com/quv/igd1/Config/Power/SleepTimers";
constexpr const char kSleepTimerPrefix[] = "/com/quv/igd1/Config/Power/SleepTimers/";

template <size_t N>
bool time_ok(const char (&field)[N])
{
    return field_terminated(field) && is_valid_time(field);
}

template <size_t N>
bool is(const char (&field)[N], const char *text)
{
    return field_terminated(field) && std::strcmp(field, text) == 0;
}

// "0" or "1" written as digits ("00" counts as 0).
template <size_t N>
bool active_ok(const char (&field)[N])
{
    if (!field_terminated(field) || !is_valid_digit_str(field))
        return false;
    const long v = std::strtol(field, nullptr, 10);
    return v == 0 || v == 1;
}

bool wifi_timer_ok(const void *record)
{
    const auto &r = *static_cast<const OvanWiFiTimer_t *>(record);
    return time_ok(r.StartTime) && time_ok(r.EndTime) && is(r.ControlCycle, "DAY") && r.SSIDMask != 0;
}

bool led_ok(const void *record)
{
    const auto &r = *static_cast<const OvanLED_t *>(record);
    return (is(r.Status, "ON") || is(r.Status, "OFF")) && is(r.ControlCycle, "DAY") && time_ok(r.StartTime) &&
           time_ok(r.EndTime);
}

constexpr const char kNullObj[] = "Invalid Parameter: obj is NULL.";

constexpr Instances kExTimerItems{&timers::kWiFiExTimerTable, kExTimers, kExTimerPrefix, wifi_guard};
constexpr Instances kSleepTimerItems{&timers::kSleepTimerTable, kSleepTimers, kSleepTimerPrefix};

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetWiFiBandSteering(OvanWiFiBandSteering_t *info)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    return get_singleton({"OvanGetWiFiBandSteering", &timers::kBandSteeringTable, 255}, "info(%p)",
                         kBandSteeringPath, info);
}

LUMO3_API int32_t OvanSetWiFiBandSteering(OvanWiFiBandSteering_t *rec)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    return set_singleton(
        {"OvanSetWiFiBandSteering", kBandSteeringPath, &timers::kBandSteeringTable, "Enter", kNullObj},
        timers::kBandSteeringWritable, rec);
}

LUMO3_API int32_t OvanGetWiFiTimer(OvanWiFiTimer_t *info)
{
    static const char tag[] = "OvanGetWiFiTimer";
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!info) {
        lumo_log(tag, LOG_ERR, "invalid parameter.");
        return -1;
    }
    return get_all_into({tag, &timers::kWiFiTimerTable, 255}, kWiFiTimerPath, info);
}

LUMO3_API int32_t OvanSetWiFiTimer(OvanWiFiTimer_t *rec)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    return set_singleton(
        {"OvanSetWiFiTimer", kWiFiTimerPath, &timers::kWiFiTimerTable, "enter", kNullObj, "Invalid Parameter"},
        timers::kWiFiTimer, rec, wifi_timer_ok);
}

LUMO3_API int32_t OvanGetLED(OvanLED_t *info)
{
    return get_singleton({"OvanGetLED", &timers::kLEDTable, 255, "OvanDBusGetAllProperty return %d"}, "enter",
                         kLEDPath, info);
}

LUMO3_API int32_t OvanSetLED(OvanLED_t *rec)
{
    return set_singleton({"OvanSetLED", kLEDPath, &timers::kLEDTable, "enter", kNullObj, "Invalid Parameter"},
                         timers::kLED, rec, led_ok);
}

LUMO3_API int32_t OvanGetWiFiExTimerObjs(OvanWiFiExTimer_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetWiFiExTimerObjs";
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    return enumerate({tag, &timers::kWiFiExTimerTable, "num (%d)", 256}, kExTimers, reinterpret_cast<void **>(objs),
                     num);
}

LUMO3_API int32_t OvanGetWiFiExTimer(OvanObjPath_t path, OvanWiFiExTimer_t *rec)
{
    return instance_get({"OvanGetWiFiExTimer"}, kExTimerItems, path, rec);
}

LUMO3_API int32_t OvanSetWiFiExTimer(OvanObjPath_t path, OvanWiFiExTimer_t *rec)
{
    static const char tag[] = "OvanSetWiFiExTimer";
    if (int32_t ret = instance_begin({tag, "Invalid Path.", "enter"}, kExTimerItems, path, rec != nullptr))
        return ret;
    lumo_log(tag, LOG_DEBUG, "time %.*s, active %.*s, SSIDMask %d", static_cast<int>(strnlen(rec->Time, 8)),
             rec->Time, static_cast<int>(strnlen(rec->Active, 8)), rec->Active, static_cast<int>(rec->SSIDMask));
    if (!time_ok(rec->Time) || !active_ok(rec->Active) || rec->SSIDMask == 0) {
        lumo_log(tag, LOG_ERR, "Invalid Time or Active value or SSIDMask is 0.");
        return -1;
    }
    return set_fields(path.str, timers::kWiFiExTimerTable.interface, timers::kWiFiExTimerWritable, rec, tag);
}

LUMO3_API int32_t OvanAddWiFiExTimer(OvanWiFiExTimer_t *rec)
{
    static const char tag[] = "OvanAddWiFiExTimer";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, kExTimerItems, rec, timers::kWiFiExTimerWritable,
        [](OvanObjPath_t p, void *r) { return OvanSetWiFiExTimer(p, static_cast<OvanWiFiExTimer_t *>(r)); },
        OvanDelWiFiExTimer, "Invalid Parameter.", "AddObject failed.");
}

LUMO3_API int32_t OvanDelWiFiExTimer(OvanObjPath_t path)
{
    return instance_delete({"OvanDelWiFiExTimer", "Invalid Path."}, kExTimerItems, path);
}

LUMO3_API int32_t OvanGetSleepTimerObjs(OvanSleepTimer_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetSleepTimerObjs";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    CollectionSpec shape{tag, &timers::kSleepTimerTable, "entry num (%d)", 255};
    shape.failed_line = "GetManagedObjects() fails.";
    return enumerate(shape, kSleepTimers, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetSleepTimer(OvanObjPath_t path, OvanSleepTimer_t *rec)
{
    return instance_get({"OvanGetSleepTimer", "invalid Path or NULL obj."}, kSleepTimerItems, path, rec);
}

LUMO3_API int32_t OvanSetSleepTimer(OvanObjPath_t path, OvanSleepTimer_t *rec)
{
    static const char tag[] = "OvanSetSleepTimer";
    if (int32_t ret = instance_begin({tag, "Invalid Path or NULL obj.", "enter"}, kSleepTimerItems, path,
                                     rec != nullptr))
        return ret;
    lumo_log(tag, LOG_DEBUG, "time %.*s, active %.*s", static_cast<int>(strnlen(rec->Time, 8)), rec->Time,
             static_cast<int>(strnlen(rec->Active, 8)), rec->Active);
    if (!time_ok(rec->Time) || !active_ok(rec->Active)) {
        lumo_log(tag, LOG_ERR, "Invalid Time or Active value.");
        return -1;
    }
    return set_fields(path.str, timers::kSleepTimerTable.interface, timers::kSleepTimerWritable, rec, tag);
}

LUMO3_API int32_t OvanAddSleepTimer(OvanSleepTimer_t *rec)
{
    static const char tag[] = "OvanAddSleepTimer";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, kSleepTimerItems, rec, timers::kSleepTimerWritable,
        [](OvanObjPath_t p, void *r) { return OvanSetSleepTimer(p, static_cast<OvanSleepTimer_t *>(r)); },
        OvanDelSleepTimer, "Invalid Parameter.");
}

LUMO3_API int32_t OvanDelSleepTimer(OvanObjPath_t path)
{
    return instance_delete({"OvanDelSleepTimer", "Invalid Parameter.", "enter, path(%s)"}, kSleepTimerItems,
                           path);
}

}  // extern "C"
