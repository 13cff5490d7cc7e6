// WLAN devices (SSIDs) and their WPS objects.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <syslog.h>

#include "core/service_context.hpp"
#include "gateway/walkers.hpp"
#include "gateway/wlan_tables.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_uci.h"
#include "lumo3_wlan.h"

namespace {

using namespace lumo::gw;
using std::string_view;

constexpr const char kCollection[] = "/com/quv/igd1/Config/WLAN/Devices";
constexpr const char kDevicePrefix[] = "/com/quv/igd1/Config/WLAN/Devices/";
constexpr const char kWPSIface[] = "com.quv.igd1.WPS";
// The framework deletes SSIDs on behalf of applications and keeps the owner file
// itself.
constexpr const char kAppFramework[] = "com.quv.appframework1";
constexpr size_t kMaxSSID = 32;

struct GFree {
    void operator()(void *p) const noexcept { g_free(p); }
};


// A fixed-width field's text, whether or not the caller terminated it.
template <size_t N>
string_view text(const char (&field)[N])
{
    return {field, strnlen(field, N)};
}

bool one_of(string_view value, std::initializer_list<string_view> allowed)
{
    for (string_view a : allowed)
        if (value == a)
            return true;
    return false;
}

constexpr Instances kDevices{&wlan::kWLANDeviceTable, kCollection, kDevicePrefix, wifi_guard};
constexpr Instances kWPS{&wlan::kWPSConfigTable, nullptr, kDevicePrefix, wifi_guard, "WPS"};

bool ssid_ok(const char *ssid)
{
    return ssid && *ssid && std::strlen(ssid) <= kMaxSSID;
}

bool device_fields_ok(const OvanWLANDevice_t &d)
{
    return one_of(text(d.WEPEncryptionLevel), {"", "Disabled", "40-bit", "104-bit"}) &&
           one_of(text(d.BasicAuthenticationMode), {"OpenSystem", "SharedKey", "Both"}) &&
           one_of(text(d.WPAEncryptionModes), {"TKIPEncryption", "AESEncryption", "TKIPandAESEncryption"}) &&
           one_of(text(d.BeaconType), {"None", "Basic", "WPA", "WPA2", "WPA/WPA2", "WPA2/WPA3", "WPA3", "11i"}) &&
           text(d.SSID).size() <= kMaxSSID && text(d.PWD).size() < sizeof d.PWD && d.MACAccessMode < 3 &&
           d.AccessRule < 3;
}

// What the members without a path argument start with: the guard, the entry line
// (a "%.*s" in it shows `shown`, read no further than a path's width) and the
// argument check. 0 to go on, else the result to return.
int32_t begin(const char *tag, const char *entry_line, const char *shown, bool args_ok, const char *refusal)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, entry_line, static_cast<int>(strnlen(shown, sizeof(OvanObjPath_t))), shown);
    if (!args_ok) {
        lumo_log(tag, LOG_ERR, "%s", refusal);
        return -1;
    }
    return 0;
}

int32_t set_device(OvanObjPath_t path, void *record)
{
    return OvanSetWLANDevice(path, static_cast<OvanWLANDevice_t *>(record));
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetWLANDeviceObjs(OvanWLANDevice_t **objs, uint32_t *count)
{
    static const char tag[] = "OvanGetWLANDeviceObjs";
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, "objs(%p)", static_cast<void *>(objs));
    if (!count) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter: NULL count");
        return -1;
    }
    return enumerate(CollectionSpec{tag, &wlan::kWLANDeviceTable, "entry num (%d)", 255}, kCollection,
                     reinterpret_cast<void **>(objs), count);
}

LUMO3_API int32_t OvanGetWLANDevice(OvanObjPath_t path, OvanWLANDevice_t *obj)
{
    return instance_get({"OvanGetWLANDevice"}, kDevices, path, obj);
}

LUMO3_API int32_t OvanSetWLANDevice(OvanObjPath_t path, OvanWLANDevice_t *obj)
{
    static const char tag[] = "OvanSetWLANDevice";
    if (int32_t ret = instance_begin({tag, "Invalid Path.", "enter, path(%s)"}, kDevices, path, obj != nullptr))
        return ret;
    if (!device_fields_ok(*obj)) {
        const string_view wep = text(obj->WEPEncryptionLevel), auth = text(obj->BasicAuthenticationMode),
                          wpa = text(obj->WPAEncryptionModes), beacon = text(obj->BeaconType);
        lumo_log(tag, LOG_ERR, "Invalid parameters (%.*s/%.*s/%.*s/%.*s).", static_cast<int>(wep.size()),
                 wep.data(), static_cast<int>(auth.size()), auth.data(), static_cast<int>(wpa.size()), wpa.data(),
                 static_cast<int>(beacon.size()), beacon.data());
        return -1;
    }
    return set_fields(path.str, wlan::kWLANDeviceTable.interface, wlan::kWLANDeviceWritable, obj, tag);
}

LUMO3_API int32_t OvanAddWLANDevice(OvanWLANDevice_t *obj)
{
    static const char tag[] = "OvanAddWLANDevice";
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!obj) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }
    int32_t ret = add_with_rollback(kCollection, obj, set_device, OvanDelWLANDevice, wlan::kWLANDeviceWritable, tag);
    char name[64];
    if (ret == 0)
        if (const char *owner = lumo::hosted_service_name(name))
            update_wlan_device_owner(owner, obj->path, 1);
    return ret;
}

LUMO3_API int32_t OvanDelWLANDevice(OvanObjPath_t path)
{
    if (int32_t ret = instance_begin({"OvanDelWLANDevice", "Invalid Parameter."}, kDevices, path))
        return ret;
    if (delete_object(kCollection, path.str) != 0)
        return -1;
    char name[64];
    const char *owner = lumo::hosted_service_name(name);
    if (owner && std::strcmp(owner, kAppFramework) != 0)
        update_wlan_device_owner(owner, path.str, 0);
    return 0;
}

LUMO3_API int32_t OvanGetWLANDeviceBySSID(const char *ssid, OvanWLANDevice_t *obj)
{
    if (int32_t ret = begin("OvanGetWLANDeviceBySSID", "enter, ssid(%.*s)", or_empty(ssid), ssid_ok(ssid) && obj,
                            "Invalid parameter"))
        return ret;
    OvanWLANDevice_t *raw = nullptr;
    uint32_t n = 0;
    if (OvanGetWLANDeviceObjs(&raw, &n) != 0)
        return -1;
    std::unique_ptr<OvanWLANDevice_t[], GFree> list(raw);
    for (uint32_t i = 0; list && i < n; i++) {
        if (std::strcmp(list[i].SSID, ssid) == 0) {
            *obj = list[i];
            return 0;
        }
    }
    return -1;
}

LUMO3_API int32_t OvanGetWLANDeviceBySSIDIndex(int index, OvanWLANDevice_t *obj)
{
    OvanObjPath_t path{};
    g_snprintf(path.str, sizeof path.str, "%s%d", kDevicePrefix, index);
    if (int32_t ret = begin("OvanGetWLANDeviceBySSIDIndex", "enter, path(%.*s)", path.str, obj,
                            "Invalid wlanDevice, should not be NULL"))
        return ret;
    return OvanGetWLANDevice(path, obj);
}

LUMO3_API int32_t OvanGetSSIDIndexBySSID(const char *ssid, uint32_t *index)
{
    static const char tag[] = "OvanGetSSIDIndexBySSID";
    if (int32_t ret = begin(tag, "enter, ssid(%.*s)", or_empty(ssid), ssid_ok(ssid) && index, "Invalid parameter."))
        return ret;
    OvanWLANDevice_t device{};
    if (int32_t ret = OvanGetWLANDeviceBySSID(ssid, &device); ret != 0)
        return ret;
    const char *slash = std::strrchr(device.path, '/');
    if (!device.path[0] || !g_variant_is_object_path(device.path) || !slash) {
        lumo_log(tag, LOG_ERR, "Invalid wlan device path %s", device.path);
        return -1;
    }
    *index = static_cast<uint32_t>(std::strtoul(slash + 1, nullptr, 10));
    return 0;
}

LUMO3_API int32_t OvanGetWPSConfig(OvanObjPath_t path, OvanWPSConfig_t *obj)
{
    static const char tag[] = "OvanGetWPSConfig";
    if (int32_t ret = instance_begin({tag, "Invalid parameters.", "enter"}, kWPS, path, obj != nullptr))
        return ret;
    return get_all_into(GetterSpec{tag, &wlan::kWPSConfigTable, 255, "GetAll failed, return [%d]."}, path.str, obj);
}

LUMO3_API int32_t OvanSetWPSEnable(OvanObjPath_t path, uint32_t enable)
{
    if (int32_t ret = instance_begin({"OvanSetWPSEnable", "Invalid parameters.", "enter"}, kWPS, path))
        return ret;
    OvanWPSConfig_t record{};
    record.Enable = enable != 0;
    return set_fields(path.str, kWPSIface, wlan::kWPSEnable, &record, "OvanSetWPSEnable");
}

LUMO3_API int32_t OvanSetWPS(OvanObjPath_t path, int mode, uint32_t value, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanSetWPS";
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(tag, LOG_DEBUG, "enter, mode(%d), value(%u)", mode, value);
    if (!instance_arg_ok(kWPS, path)) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return fail_command(status, errmsg, "Invalid Parameters.");
    }
    CommandSpec shape{tag, path.str, kWPSIface, "SetWPS", "Call OvanSetWPS() fail.",
                     "Failed to call SetWPS() function.", "Call OvanSetWPS() errmsg [%s]."};
    // Once the gateway has answered, whatever its word; the printed reply is left out.
    shape.reply_line = "OvanSetWPS(" OVAN_OK_STR ")%.0s";
    return run_command(shape, g_variant_new("(iu)", mode, value), status, errmsg);
}

}  // extern "C"
