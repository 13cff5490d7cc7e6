// WiFi information and radio actions.
#include <cstdlib>
#include <syslog.h>

#include "gateway/walkers.hpp"
#include "gateway/wifi_tables.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_validate.h"
#include "lumo3_wifi.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;

constexpr const char kWiFiPath[] = "/com/quv/igd1/Info/WiFi";
constexpr const char kWiFiIface[] = "com.quv.igd1.WiFiInfo";
constexpr const char kEmptyBand[] = "Invalid band, should not be empty.";


bool non_empty(const char *s)
{
    return s && *s;
}

// SSID indices run from 1 to 8; leading zeros are fine ("08").
bool ssid_index_ok(const char *s)
{
    if (!non_empty(s) || !is_valid_digit_str(s))
        return false;
    const unsigned long value = std::strtoul(s, nullptr, 10);
    return value >= 1 && value <= 8;
}

CommandSpec wifi_command(const char *tag, const char *method, const char *fail_line, const char *fail_message,
                         const char *message_line)
{
    return CommandSpec{tag, kWiFiPath, kWiFiIface, method, fail_line, fail_message, message_line};
}

// The guard and the entry line "enter"; the scan members log their entry even on a
// gateway without WiFi.
enum class Entry { AfterGuard, BeforeGuard };

int32_t enter_guarded(const char *tag, Entry when)
{
    if (when == Entry::BeforeGuard)
        lumo_log(tag, LOG_DEBUG, "enter");
    const int32_t guard = wifi_guard();
    if (guard == 0 && when == Entry::AfterGuard)
        lumo_log(tag, LOG_DEBUG, "enter");
    return guard;
}

// The channel actions need a band; a missing one is reported through the log only,
// outputs untouched.
int32_t band_command(const CommandSpec &shape, Entry when, const char *band, uint32_t *status, char **errmsg)
{
    if (int32_t guard = enter_guarded(shape.tag, when); guard != 0)
        return guard;
    if (!non_empty(band)) {
        lumo_log(shape.tag, LOG_DEBUG, kEmptyBand);
        return -1;
    }
    ArgTuple args(shape.tag);
    args.s("band", band);
    return run_command(shape, args, status, errmsg);
}

// The two actions on a pair of strings: a refusal hands out `refusal_message` with
// *status 1.
int32_t pair_command(const CommandSpec &shape, const char *entry_line, const char *a, const char *b, bool args_ok,
                     const char *refusal_line, const char *refusal_message, uint32_t *status, char **errmsg)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    lumo_log(shape.tag, LOG_DEBUG, entry_line, or_empty(a), or_empty(b));
    if (!args_ok) {
        lumo_log(shape.tag, LOG_ERR, "%s", refusal_line);
        return fail_command(status, errmsg, refusal_message);
    }
    ArgTuple args(shape.tag);
    args.s("argument 1", a).s("argument 2", b);
    return run_command(shape, args, status, errmsg);
}

int32_t get_info(const char *tag, const RecordTable &table, void *info)
{
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    return get_singleton(GetterSpec{tag, &table, 256}, "info(%p)", kWiFiPath, info);
}

// One boolean switch with a 2.4 GHz property (band 0) and a 5 GHz one (any other band).
int32_t set_by_band(const char *tag, const char *property_24, const char *property_5, uint32_t band,
                    uint32_t enable)
{
    lumo_log(tag, LOG_DEBUG, "Enter");
    if (int32_t guard = wifi_guard(); guard != 0)
        return guard;
    const char *property = band == 0 ? property_24 : property_5;
    return OvanDBusSetProperty(kService, kWiFiPath, kWiFiIface, property, g_variant_new_boolean(enable != 0)) == 0
               ? 0
               : -1;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetWiFiInfo(OvanWiFiInfo_t *info)
{
    return get_info("OvanGetWiFiInfo", wifi::kWiFiInfoTable, info);
}

LUMO3_API int32_t OvanGetWiFiInfov4(OvanWiFiInfov4_t *info)
{
    return get_info("OvanGetWiFiInfov4", wifi::kWiFiInfov4Table, info);
}

LUMO3_API int32_t OvanWiFiDiscClient(const char *devMac, const char *ssidIdx, uint32_t *status, char **errmsg)
{
    const bool ok = non_empty(devMac) && is_valid_quv_mac(devMac) && ssid_index_ok(ssidIdx);
    return pair_command(wifi_command("OvanWiFiDiscClient", "KickOutDevice", "Call OvanDiscWiFiClient() fail.",
                                     "Failed to call KickOutDevice() function.",
                                     "Call OvanDiscWiFiClient() errmsg [%s]."),
                        "enter, devMac (%s), ssidIdx (%s)", devMac, ssidIdx, ok, "Invalid Parameter.",
                        "Invalid Parameter.", status, errmsg);
}

LUMO3_API int32_t OvanWiFiSetSameSSID(const char *ssidIdx24, const char *ssidIdx58, uint32_t *status,
                                      char **errmsg)
{
    const bool ok = non_empty(ssidIdx24) && non_empty(ssidIdx58) && is_valid_digit_str(ssidIdx24) &&
                    is_valid_digit_str(ssidIdx58);
    return pair_command(wifi_command("OvanWiFiSetSameSSID", "SetSameSSID", "Call OvanWiFiSetSameSSID() fail.",
                                     "Failed to call SetSameSSID() function.",
                                     "Call OvanWiFiSetSameSSID() errmsg [%s]."),
                        "enter, ssidIdx24(%s), ssidIdx58(%s)", ssidIdx24, ssidIdx58, ok, "Invalid Parameters",
                        "Invalid Parameters.", status, errmsg);
}

LUMO3_API int32_t OvanWiFiCancelSameSSID(uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanWiFiCancelSameSSID";
    if (int32_t guard = enter_guarded(tag, Entry::AfterGuard); guard != 0)
        return guard;
    return run_command(wifi_command(tag, "CancelSameSSID", "Call OvanWiFiCancelSameSSID() fail.",
                                    "Failed to call CancelSameSSID() function.",
                                    "Call OvanWiFiCancelSameSSID() errmsg [%s]."),
                       nullptr, status, errmsg);
}

LUMO3_API int32_t OvanWiFiSwitchChannel(const char *band, uint32_t *status, char **errmsg)
{
    return band_command(wifi_command("OvanWiFiSwitchChannel", "ChannelSwitch", "Call ChannelSwitch() fail.",
                                     "Failed to call ChannelSwitch() function.",
                                     "Call OvanWiFiSwitchChannel() errmsg [%s]."),
                        Entry::AfterGuard, band, status, errmsg);
}

LUMO3_API int32_t OvanWiFiChannelCollectionRequest(const char *band, uint32_t *status, char **errmsg)
{
    return band_command(wifi_command("OvanWiFiChannelCollectionRequest", "ChannelCollectionRequest",
                                     "Call ChannelCollectionRequest() fail.",
                                     "Failed to call ChannelCollectionRequest() function.",
                                     "Call OvanWiFiChannelCollectionRequest() errmsg [%s]."),
                        Entry::BeforeGuard, band, status, errmsg);
}

LUMO3_API int32_t OvanWiFiChannelCollection(const char *band, char **channelscore, uint32_t *status,
                                            char **errmsg)
{
    static const char tag[] = "OvanWiFiChannelCollection";
    if (int32_t guard = enter_guarded(tag, Entry::BeforeGuard); guard != 0)
        return guard;
    if (!non_empty(band) || !channelscore) {
        lumo_log(tag, LOG_DEBUG, "Invalid band or channelscore, should not be NULL.");
        return -1;
    }
    const CommandSpec shape = wifi_command(tag, "ChannelCollection", "Call ChannelCollection() fail.",
                                          "Failed to call ChannelCollection() function.",
                                          "Call OvanWiFiChannelCollection() errmsg [%s].");
    GPtr<GVariant> score;
    ArgTuple args(tag);
    args.s("band", band);
    int32_t ret = run_command(shape, args, status, errmsg, &score);
    if (ret != 0)
        return ret;
    // A successful answer without the score string is no answer at all.
    if (!score || !g_variant_is_of_type(score.get(), G_VARIANT_TYPE_STRING)) {
        lumo_log(tag, LOG_ERR, "%s", shape.fail_line);
        return fail_command(status, errmsg, shape.fail_message);
    }
    *channelscore = g_variant_dup_string(score.get(), nullptr);
    return 0;
}

LUMO3_API int32_t OvanWiFiSetEnable(uint32_t band, uint32_t enable)
{
    return set_by_band("OvanWiFiSetEnable", "Enable2G", "Enable5G", band, enable);
}

LUMO3_API int32_t OvanWiFiSetRatePriority(uint32_t band, uint32_t enable)
{
    return set_by_band("OvanWiFiSetRatePriority", "RatePriority", "RatePriority5G", band, enable);
}

}  // extern "C"
