// Voice diagnostics, IPv6 LAN services and CWMP parameter access.
#include <cstring>
#include <tuple>
#include <syslog.h>

#include "gateway/voicecwmp_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_validate.h"
#include "lumo3_voicecwmp.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kIADPath[] = "/com/quv/igd1/Diagnostics/IADTest";
constexpr const char kSimulatePath[] = "/com/quv/igd1/Diagnostics/VoiceSimulateTest";
constexpr const char kPhonePath[] = "/com/quv/igd1/Info/PhoneConnectivity";
constexpr const char kPoorQuality[] = "/com/quv/igd1/Info/Voice/PoorQualityStats";
constexpr const char kIPv6LANPath[] = "/com/quv/igd1/Config/IPV6/LAN";
constexpr const char kDHCPv6Path[] = "/com/quv/igd1/Config/IPV6/DHCPV6S";
constexpr const char kRAPath[] = "/com/quv/igd1/Config/IPV6/RA";
constexpr const char kCWMPPath[] = "/com/quv/igd1/Tevra/CWMP";
constexpr const char kCWMPIface[] = "com.quv.igd1.CWMP";
constexpr size_t kNamesLimit = 4096;

constexpr Field kParamValueRow[] = {LUMO_F(OvanCWMPParamValue_t, Name, 's'), LUMO_F(OvanCWMPParamValue_t, Value, 's')};
constexpr Field kParamNameRow[] = {LUMO_F(OvanCWMPParamName_t, Name, 's'), LUMO_F(OvanCWMPParamName_t, Writable, 'b')};

// A method with a reply ending in (u, s). fail_message defaults to "Failed to call
// <method>() function.".
int32_t call(const char *tag, const char *path, const char *iface, const char *method, GVariant *args,
             uint32_t *status, char **errmsg, const char *fail_message = nullptr, const char *reply_type = nullptr,
             GPtr<GVariant> *lead = nullptr)
{
    GStr fail_line(g_strdup_printf("Call %s() fail.", method));
    GStr message(fail_message ? g_strdup(fail_message) : g_strdup_printf("Failed to call %s() function.", method));
    CommandSpec shape{tag, path, iface, method, fail_line.get(), message.get(), nullptr};
    shape.reply_type = reply_type;
    return run_command(shape, args, status, errmsg, lead);
}

int32_t refuse(const char *tag, uint32_t *status, char **errmsg, const char *message)
{
    lumo_log(tag, LOG_ERR, "%s", message);
    return fail_command(status, errmsg, message);
}

// ...with arguments holding texts: a refused one fails the command, nothing sent.
int32_t call(const char *tag, const char *path, const char *iface, const char *method, ArgTuple &args,
             uint32_t *status, char **errmsg, const char *reply_type = nullptr, GPtr<GVariant> *lead = nullptr)
{
    if (args.refused())
        return fail_command(status, errmsg, args.problem());
    return call(tag, path, iface, method, args.end(), status, errmsg, nullptr, reply_type, lead);
}

template <size_t N>
bool ip6(const char (&field)[N])
{
    return field_terminated(field) && is_valid_ip6_address(field);
}

template <size_t N>
bool ip6_or_empty(const char (&field)[N])
{
    return field_terminated(field) && (!field[0] || is_valid_ip6_address(field));
}

// Empty, or IPv6 addresses separated by ",".
template <size_t N>
bool server_list_ok(const char (&field)[N])
{
    if (!field_terminated(field))
        return false;
    if (!field[0])
        return true;
    lumo::GStrv parts(g_strsplit(field, ",", -1));
    for (gchar **p = parts.get(); *p; ++p)
        if (!is_valid_ip6_address(*p))
            return false;
    return true;
}

bool ipv6_lan_ok(const void *record)
{
    const auto &r = *static_cast<const OvanIPv6LANConfig_t *>(record);
    return ip6(r.LocalAddress) && field_terminated(r.ConfigType) && is_valid_lan_dns6_config_type(r.ConfigType) &&
           field_terminated(r.DNSWAN) && server_list_ok(r.Servers) && field_terminated(r.PrefixMode) &&
           is_valid_lan_addr6_prefixmode(r.PrefixMode) && field_terminated(r.DelegatedWAN) && ip6_or_empty(r.Prefix) &&
           r.PreferredLifeTime <= r.ValidLifeTime;
}

// The usual router advertisement bounds: the longest interval 4 to 1800 seconds, the
// shortest 3 seconds to three quarters of the longest.
bool ra_ok(const void *record)
{
    const auto &r = *static_cast<const OvanRAConfig_t *>(record);
    return r.MaxRtrAdvInterval >= 4 && r.MaxRtrAdvInterval <= 1800 && r.MinRtrAdvInterval >= 3 &&
           r.MinRtrAdvInterval <= r.MaxRtrAdvInterval * 3 / 4;
}

template <size_t N>
int shown(const char (&field)[N])
{
    return static_cast<int>(strnlen(field, N));
}

bool dhcpv6_ok(const void *record)
{
    const auto &r = *static_cast<const OvanDHCPv6Server_t *>(record);
    if (ip6(r.MinAddress) && ip6(r.MaxAddress))
        return true;
    lumo_log("OvanSetDHCPV6Server", LOG_ERR, "Invalid parameter MinAddress (%.*s) / MaxAddress (%.*s).",
             shown(r.MinAddress), r.MinAddress, shown(r.MaxAddress), r.MaxAddress);
    return false;
}

bool text_ok(const char *s)
{
    return s && *s;
}

// AddObject and DeleteObject of the parameter tree: one object name.
int32_t object_call(const char *tag, const char *method, const char *objName, uint32_t *status, char **errmsg,
                    const char *reply_type = nullptr, GPtr<GVariant> *lead = nullptr)
{
    lumo_log(tag, LOG_DEBUG, "enter, objName (%s)", or_empty(objName));
    if (!text_ok(objName))
        return refuse(tag, status, errmsg, "Parameter 'objName' should not be empty.");
    ArgTuple args(tag);
    args.s("objName", objName);
    return call(tag, kCWMPPath, kCWMPIface, method, args, status, errmsg, reply_type, lead);
}

}  // namespace

extern "C" {

// ---- voice diagnostics ----

LUMO3_API int32_t OvanGetIADDiagnostics(OvanIADDiagnostics_t *info)
{
    return get_singleton({"OvanGetIADDiagnostics", &voicecwmp::kIADTable, 255}, "enter", kIADPath, info);
}

LUMO3_API int32_t OvanStartIADDiagTest(uint32_t server, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartIADDiagTest";
    lumo_log(tag, LOG_DEBUG, "enter, server (%u)", server);
    if (server != 1 && server != 2)
        return refuse(tag, status, errmsg, "Invalid 'server', should be 1 or 2.");
    return call(tag, kIADPath, voicecwmp::kIADTable.interface, "StartIADDiagTest", g_variant_new("(u)", server), status,
                errmsg, "Failed to call StartDetectQobLineStatus() function.");
}

LUMO3_API int32_t OvanGetVoicePoorQualityStatsObjs(OvanVoicePoorQualityStats_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetVoicePoorQualityStatsObjs";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    return enumerate({tag, &voicecwmp::kPoorQualityTable, "entry num (%d)", 255}, kPoorQuality,
                     reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetVoicePoorQualityStats(OvanObjPath_t path, OvanVoicePoorQualityStats_t *rec)
{
    return instance_get({"OvanGetVoicePoorQualityStats"},
                        {&voicecwmp::kPoorQualityTable, kPoorQuality, "/com/quv/igd1/Info/Voice/PoorQualityStats/"},
                        path, rec);
}

LUMO3_API int32_t OvanGetVOIPSimulateTestConfig(OvanVOIPSimulateTest_t *info)
{
    return get_singleton({"OvanGetVOIPSimulateTestConfig", &voicecwmp::kSimulateTestTable, 255}, "enter",
                         kSimulatePath, info);
}

LUMO3_API int32_t OvanSetVOIPSimulateTestConfig(OvanVOIPSimulateTest_t *rec)
{
    return set_singleton({"OvanSetVOIPSimulateTestConfig", kSimulatePath, &voicecwmp::kSimulateTestTable, "enter",
                          "Parameter 'obj' should not be NULL."},
                         voicecwmp::kSimulateTestWritable, rec);
}

LUMO3_API int32_t OvanStartVoIPSimulateTest(uint32_t testType, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartVoIPSimulateTest";
    lumo_log(tag, LOG_DEBUG, "enter");
    return call(tag, kSimulatePath, voicecwmp::kSimulateTestTable.interface, "StartTest",
                g_variant_new("(u)", testType), status, errmsg);
}

LUMO3_API int32_t OvanGetPhoneConnectvityInfo(OvanPhoneConnectivity_t *info)
{
    return get_singleton({"OvanGetPhoneConnectvityInfo", &voicecwmp::kPhoneTable, 255}, "enter", kPhonePath, info);
}

LUMO3_API int32_t OvanStartPhoneConnectivityTest(uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartPhoneConnectivityTest";
    lumo_log(tag, LOG_DEBUG, "enter");
    return call(tag, kPhonePath, voicecwmp::kPhoneTable.interface, "StartTest", nullptr, status, errmsg);
}

// ---- IPv6 LAN services ----

LUMO3_API int32_t OvanGetIPV6LANConfig(OvanIPv6LANConfig_t *info)
{
    return get_singleton({"OvanGetIPV6LANConfig", &voicecwmp::kIPv6LANTable, 255}, "enter", kIPv6LANPath, info);
}

LUMO3_API int32_t OvanSetIPV6LANConfig(OvanIPv6LANConfig_t *rec)
{
    return set_singleton({"OvanSetIPV6LANConfig", kIPv6LANPath, &voicecwmp::kIPv6LANTable, "enter",
                          "Invalid parameter.", "Invalid parameter."},
                         voicecwmp::kIPv6LAN, rec, ipv6_lan_ok);
}

LUMO3_API int32_t OvanGetDHCPV6Server(OvanDHCPv6Server_t *info)
{
    return get_singleton({"OvanGetDHCPV6Server", &voicecwmp::kDHCPv6Table, 255}, "enter", kDHCPv6Path, info);
}

LUMO3_API int32_t OvanSetDHCPV6Server(OvanDHCPv6Server_t *rec)
{
    return set_singleton({"OvanSetDHCPV6Server", kDHCPv6Path, &voicecwmp::kDHCPv6Table, "enter", "Invalid parameter."},
                         voicecwmp::kDHCPv6, rec, dhcpv6_ok);
}

LUMO3_API int32_t OvanGetRAConfig(OvanRAConfig_t *info)
{
    return get_singleton({"OvanGetRAConfig", &voicecwmp::kRATable, 255}, "enter", kRAPath, info);
}

LUMO3_API int32_t OvanSetRAConfig(OvanRAConfig_t *rec)
{
    return set_singleton(
        {"OvanSetRAConfig", kRAPath, &voicecwmp::kRATable, "enter", "Invalid parameter.", "Invalid parameter."},
        voicecwmp::kRA, rec, ra_ok);
}

// ---- CWMP parameter tree ----

LUMO3_API int32_t OvanCWMPAddObject(const char *objName, uint32_t *instance, uint32_t *status, char **errmsg)
{
    GPtr<GVariant> number;
    const int32_t ret = object_call("OvanCWMPAddObject", "AddObject", objName, status, errmsg, "(uus)", &number);
    if (ret == 0 && instance && number)
        *instance = g_variant_get_uint32(number.get());
    return ret;
}

LUMO3_API int32_t OvanCWMPDeleteObject(const char *objName, uint32_t *status, char **errmsg)
{
    return object_call("OvanCWMPDeleteObject", "DeleteObject", objName, status, errmsg);
}

LUMO3_API int32_t OvanCWMPSetParameterValues(const OvanCWMPParamValue_t *paraValObjs, uint32_t num,
                                             uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanCWMPSetParameterValues";
    lumo_log(tag, LOG_DEBUG, "enter, num (%u)", num);
    if (!paraValObjs || num == 0)
        return refuse(tag, status, errmsg, "Parameter 'paraValObjs' should not be empty.");
    // Every name and value is judged before the first pair is built.
    for (uint32_t i = 0; i < num; i++) {
        const OvanCWMPParamValue_t &pair = paraValObjs[i];
        for (const auto &[what, text, width] : {std::tuple{"Name", pair.Name, sizeof pair.Name},
                                                std::tuple{"Value", pair.Value, sizeof pair.Value}})
            if (!command_text_ok(tag, what, text, status, errmsg, width))
                return -1;
    }
    GVariantBuilder pairs;
    g_variant_builder_init(&pairs, G_VARIANT_TYPE("a(ss)"));
    for (uint32_t i = 0; i < num; i++) {
        // A caller may fill a name or value to its last byte.
        GStr name(g_strndup(paraValObjs[i].Name, sizeof paraValObjs[i].Name));
        GStr value(g_strndup(paraValObjs[i].Value, sizeof paraValObjs[i].Value));
        g_variant_builder_add(&pairs, "(ss)", name.get(), value.get());
    }
    return call(tag, kCWMPPath, kCWMPIface, "SetParameterValues",
                g_variant_new("(@a(ss))", g_variant_builder_end(&pairs)), status, errmsg);
}

LUMO3_API int32_t OvanCWMPGetParameterValues(const char *names, OvanCWMPParamValue_t **vals, uint32_t *num,
                                             uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanCWMPGetParameterValues";
    lumo_log(tag, LOG_DEBUG, "enter");
    const size_t len = names ? strnlen(names, kNamesLimit) : 0;
    if (len == 0 || len >= kNamesLimit || !num)
        return refuse(tag, status, errmsg, "Invalid Parameters");
    if (!command_text_ok(tag, "names", names, status, errmsg))
        return -1;
    lumo::GStrv parts(g_strsplit(names, ",", -1));
    GPtr<GVariant> rows;
    if (call(tag, kCWMPPath, kCWMPIface, "GetParameterValues", g_variant_new("(^as)", parts.get()), status, errmsg,
             nullptr, "(a(ss)us)", &rows) != 0)
        return -1;
    if (walk_rows(tag, kParamValueRow, sizeof(OvanCWMPParamValue_t), rows.get(), reinterpret_cast<void **>(vals), num,
                  "g_try_new0 failed") != 0)
        return fail_command(status, errmsg, "g_try_new0 failed");
    return 0;
}

LUMO3_API int32_t OvanCWMPGetParameterNames(const char *path, int32_t nextLevel, OvanCWMPParamName_t **names,
                                            uint32_t *num, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanCWMPGetParameterNames";
    lumo_log(tag, LOG_DEBUG, "enter, path (%s), nextLevel (%d)", or_empty(path), nextLevel);
    if (!text_ok(path) || !num)
        return refuse(tag, status, errmsg, "Invalid Parameters");
    ArgTuple args(tag);
    args.s("path", path).b(nextLevel != 0);
    GPtr<GVariant> rows;
    if (call(tag, kCWMPPath, kCWMPIface, "GetParameterNames", args, status, errmsg, "(a(sb)us)", &rows) != 0)
        return -1;
    if (walk_rows(tag, kParamNameRow, sizeof(OvanCWMPParamName_t), rows.get(), reinterpret_cast<void **>(names), num,
                  "g_try_new0 failed.") != 0)
        return fail_command(status, errmsg, "g_try_new0 failed.");
    return 0;
}

}  // extern "C"
