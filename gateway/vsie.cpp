// Wi-Fi vendor-specific IEs (beacons, probe requests and responses), roaming and
// station steering. Every member runs the WiFi capability guard first.
#include <cstdint>
#include <cstring>
#include <syslog.h>

#include "gateway/vsie_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_validate.h"
#include "lumo3_vsie.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kBeaconPath[] = "/com/quv/igd1/VSIE/BeaconTxVSIE";
constexpr const char kProbeRxPath[] = "/com/quv/igd1/VSIE/ProbeRxVSIE";
constexpr const char kProbeRspPath[] = "/com/quv/igd1/VSIE/ProbeRspTxVSIE";
constexpr const char kRoamingPath[] = "/com/quv/igd1/Config/WLAN/5G/Roaming";
constexpr const char kRecords[] = "/Records";

constexpr Instances kBeacons{&vsie::kBeaconTable, kBeaconPath, "/com/quv/igd1/VSIE/BeaconTxVSIE/", wifi_guard};
constexpr Instances kProbeRx{&vsie::kProbeRxTable, kProbeRxPath, "/com/quv/igd1/VSIE/ProbeRxVSIE/", wifi_guard};
constexpr Instances kProbeRsp{&vsie::kProbeRspTable, kProbeRspPath, "/com/quv/igd1/VSIE/ProbeRspTxVSIE/",
                              wifi_guard};
constexpr Instances kStations{&vsie::kSTAListTable, "/com/quv/igd1/Config/WLAN/STA", "/com/quv/igd1/Config/WLAN/STA/",
                              wifi_guard};
constexpr Instances kStation{&vsie::kSTAInfoTable, kStations.collection, kStations.prefix, wifi_guard};

int32_t guarded_get(const char *tag, const RecordTable &table, const char *path, void *rec)
{
    if (int32_t g = wifi_guard())
        return g;
    return get_singleton({tag, &table, 255}, "enter", path, rec);
}

int32_t guarded_set(const char *tag, const char *path, const char *iface, Fields fields, const void *rec,
                    const char *bad_line)
{
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!rec) {
        lumo_log(tag, LOG_ERR, "%s", bad_line);
        return -1;
    }
    return set_fields(path, iface, fields, rec, tag);
}

// Instance setters: the record's writable fields, IEData only when there is some.
int32_t entry_set(const char *tag, const Instances &c, const OvanObjPath_t &path, const void *rec)
{
    if (int32_t ret = instance_begin({tag, "Invalid parameters.", "enter, path = %s"}, c, path, rec != nullptr))
        return ret;
    return set_fields(path.str, c.table->interface, c.table->fields, rec, tag);
}

template <typename R, int32_t (*Setter)(OvanObjPath_t, R *)>
int32_t entry_add(const char *tag, const Instances &c, R *rec, int32_t (*deleter)(OvanObjPath_t))
{
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, c, rec, c.table->fields, [](OvanObjPath_t p, void *r) { return Setter(p, static_cast<R *>(r)); },
        deleter);
}

// A command with status and message; its texts follow from the method's name.
struct Command {
    const char *tag;
    const char *path;
    const char *iface;
    const char *method;
};

int32_t command(const Command &c, GVariant *args, uint32_t *status, char **errmsg, GPtr<GVariant> *lead = nullptr,
                const char *reply_type = nullptr)
{
    GStr fail(g_strdup_printf("Failed to call %s() function.", c.method));
    GStr message_line(g_strdup_printf("Call %s() errmsg [%%s].", c.tag));
    CommandSpec shape{c.tag, c.path, c.iface, c.method, fail.get(), fail.get(), message_line.get()};
    shape.reply_type = reply_type;
    return run_command(shape, args, status, errmsg, lead);
}

// Arguments with texts: a refused one fails the command with nothing sent.
int32_t command(const Command &c, ArgTuple &args, uint32_t *status, char **errmsg, GPtr<GVariant> *lead = nullptr,
                const char *reply_type = nullptr)
{
    if (args.refused())
        return fail_command(status, errmsg, args.problem());
    return command(c, args.end(), status, errmsg, lead, reply_type);
}

int32_t refuse(const char *tag, uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_ERR, "Invalid Parameter.");
    return fail_command(status, errmsg, "Invalid Parameter.");
}

// Start and stop of one beacon entry.
int32_t beacon_action(const char *tag, const char *method, const OvanObjPath_t &path, uint32_t *status, char **errmsg)
{
    if (int32_t g = wifi_guard())
        return g;
    log_path_line(tag, "enter, path (%s)", path);
    if (!instance_arg_ok(kBeacons, path))
        return refuse(tag, status, errmsg);
    return command({tag, path.str, vsie::kBeaconTable.interface, method}, nullptr, status, errmsg);
}

int32_t by_service_name(const char *tag, const char *manager, const char *manager_iface, const char *method,
                        const char *service_name, void *rec, int32_t (*getter)(OvanObjPath_t, void *),
                        uint32_t *status, char **errmsg)
{
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter, serviceName (%s)", or_empty(service_name));
    if (!service_name || !*service_name || !rec)
        return refuse(tag, status, errmsg);
    GStr fail(g_strdup_printf("Failed to call %s() function.", method));
    GStr message_line(g_strdup_printf("Call %s() errmsg [%%s].", method));
    GStr reply_line(g_strdup_printf("%s() return [%%s]", method));
    CommandSpec shape{tag, manager, manager_iface, method, fail.get(), fail.get(), message_line.get()};
    shape.reply_line = reply_line.get();
    ArgTuple args(tag);
    args.s("serviceName", service_name);
    return lookup_then_get(shape, args, getter, rec, "Get VSIE entry failed.", status, errmsg);
}

// The records of a probe-request entry live below the entry's path.
bool records_path(const char *tag, const OvanObjPath_t &entry, GStr &out)
{
    if (!instance_arg_ok(kProbeRx, entry)) {
        lumo_log(tag, LOG_ERR, "invalid path %s", ShownPath(entry).text);
        return false;
    }
    out.reset(g_strconcat(entry.str, kRecords, nullptr));
    return true;
}

bool mac_ok(const char *mac)
{
    return mac && *mac && is_valid_quv_mac(mac);
}

}  // namespace

extern "C" {

// ---- beacon VSIEs ----

LUMO3_API int32_t OvanGetBeaconTxVSIEManager(OvanBeaconTxVSIEManager_t *obj)
{
    return guarded_get("OvanGetBeaconTxVSIEManager", vsie::kBeaconManagerTable, kBeaconPath, obj);
}

LUMO3_API int32_t OvanSetBeaconTxVSIEManager(OvanBeaconTxVSIEManager_t *obj)
{
    return guarded_set("OvanSetBeaconTxVSIEManager", kBeaconPath, vsie::kBeaconManagerTable.interface,
                       vsie::kBeaconManagerWritable, obj, "NULL obj");
}

LUMO3_API int32_t OvanGetBeaconTxVSIEByServiceName(const char *serviceName, OvanBeaconTxVSIE_t *obj,
                                                   uint32_t *status, char **errmsg)
{
    return by_service_name(
        "OvanGetBeaconTxVSIEByServiceName", kBeaconPath, vsie::kBeaconManagerTable.interface,
        "GetBeaconTxVSIEByServiceName", serviceName, obj,
        [](OvanObjPath_t p, void *r) { return OvanGetBeaconTxVSIE(p, static_cast<OvanBeaconTxVSIE_t *>(r)); }, status,
        errmsg);
}

LUMO3_API int32_t OvanGetBeaconTxVSIEObjs(OvanBeaconTxVSIE_t **objs, uint32_t *num)
{
    return instance_list("OvanGetBeaconTxVSIEObjs", kBeacons, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetBeaconTxVSIE(OvanObjPath_t path, OvanBeaconTxVSIE_t *obj)
{
    return instance_get({"OvanGetBeaconTxVSIE", "invalid parameter."}, kBeacons, path, obj);
}

LUMO3_API int32_t OvanSetBeaconTxVSIE(OvanObjPath_t path, OvanBeaconTxVSIE_t *obj)
{
    return entry_set("OvanSetBeaconTxVSIE", kBeacons, path, obj);
}

LUMO3_API int32_t OvanAddBeaconTxVSIE(OvanBeaconTxVSIE_t *obj)
{
    return entry_add<OvanBeaconTxVSIE_t, OvanSetBeaconTxVSIE>("OvanAddBeaconTxVSIE", kBeacons, obj,
                                                              OvanDelBeaconTxVSIE);
}

LUMO3_API int32_t OvanDelBeaconTxVSIE(OvanObjPath_t path)
{
    return instance_delete({"OvanDelBeaconTxVSIE", "Invalid Parameter."}, kBeacons, path);
}

LUMO3_API int32_t OvanStartBeaconTxVSIE(OvanObjPath_t path, uint32_t *status, char **errmsg)
{
    return beacon_action("OvanStartBeaconTxVSIE", "StartBeaconTxVSIE", path, status, errmsg);
}

LUMO3_API int32_t OvanStopBeaconTxVSIE(OvanObjPath_t path, uint32_t *status, char **errmsg)
{
    return beacon_action("OvanStopBeaconTxVSIE", "StopBeaconTxVSIE", path, status, errmsg);
}

// ---- probe-request VSIEs and their records ----

LUMO3_API int32_t OvanGetProbeRxVSIEManager(OvanProbeRxVSIEManager_t *obj)
{
    return guarded_get("OvanGetProbeRxVSIEManager", vsie::kProbeRxManagerTable, kProbeRxPath, obj);
}

LUMO3_API int32_t OvanSetProbeRxVSIEManager(OvanProbeRxVSIEManager_t *obj)
{
    return guarded_set("OvanSetProbeRxVSIEManager", kProbeRxPath, vsie::kProbeRxManagerTable.interface,
                       vsie::kProbeRxManagerWritable, obj, "NULL obj");
}

LUMO3_API int32_t OvanGetProbeRxVSIEByServiceName(const char *serviceName, OvanProbeRxVSIE_t *obj, uint32_t *status,
                                                  char **errmsg)
{
    return by_service_name(
        "OvanGetProbeRxVSIEByServiceName", kProbeRxPath, vsie::kProbeRxManagerTable.interface,
        "GetProbeRxVSIEByServiceName", serviceName, obj,
        [](OvanObjPath_t p, void *r) { return OvanGetProbeRxVSIE(p, static_cast<OvanProbeRxVSIE_t *>(r)); }, status,
        errmsg);
}

LUMO3_API int32_t OvanGetProbeRxVSIEObjs(OvanProbeRxVSIE_t **objs, uint32_t *num)
{
    return instance_list("OvanGetProbeRxVSIEObjs", kProbeRx, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetProbeRxVSIE(OvanObjPath_t path, OvanProbeRxVSIE_t *obj)
{
    return instance_get({"OvanGetProbeRxVSIE", "invalid parameter."}, kProbeRx, path, obj);
}

LUMO3_API int32_t OvanSetProbeRxVSIE(OvanObjPath_t path, OvanProbeRxVSIE_t *obj)
{
    return entry_set("OvanSetProbeRxVSIE", kProbeRx, path, obj);
}

LUMO3_API int32_t OvanAddProbeRxVSIE(OvanProbeRxVSIE_t *obj)
{
    return entry_add<OvanProbeRxVSIE_t, OvanSetProbeRxVSIE>("OvanAddProbeRxVSIE", kProbeRx, obj, OvanDelProbeRxVSIE);
}

LUMO3_API int32_t OvanDelProbeRxVSIE(OvanObjPath_t path)
{
    return instance_delete({"OvanDelProbeRxVSIE", "Invalid Parameter."}, kProbeRx, path);
}

LUMO3_API int32_t OvanGetProbeRxVSIERecordManager(OvanObjPath_t entry, OvanProbeRxVSIERecordManager_t *obj)
{
    static const char tag[] = "OvanGetProbeRxVSIERecordManager";
    if (int32_t g = wifi_guard())
        return g;
    GStr path;
    if (!records_path(tag, entry, path))
        return -1;
    return get_singleton({tag, &vsie::kRecordManagerTable, 255}, "enter", path.get(), obj);
}

LUMO3_API int32_t OvanFlushProbeRxVSIERecord(OvanObjPath_t entry, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanFlushProbeRxVSIERecord";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    GStr path;
    if (!records_path(tag, entry, path))
        return fail_command(status, errmsg, "Invalid Parameter.");
    return command({tag, path.get(), vsie::kRecordManagerTable.interface, "FlushProbeRxVSIERecord"}, nullptr, status,
                   errmsg);
}

LUMO3_API int32_t OvanGetProbeRxVSIERecordObjs(OvanObjPath_t entry, OvanProbeRxVSIERecord_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetProbeRxVSIERecordObjs";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    GStr path;
    if (!num || !records_path(tag, entry, path))
        return -1;
    return enumerate({tag, &vsie::kRecordTable, "entry num (%d)", 255}, path.get(), reinterpret_cast<void **>(objs),
                     num);
}

LUMO3_API int32_t OvanGetProbeRxVSIERecord(OvanObjPath_t path, OvanProbeRxVSIERecord_t *obj)
{
    static const char tag[] = "OvanGetProbeRxVSIERecord";
    if (int32_t g = wifi_guard())
        return g;
    log_path_line(tag, "enter, path (%s)", path);
    // <entry>/Records/<n>: an entry's path, then the records' own level.
    const char *records =
        instance_arg_ok(kProbeRx, path) ? std::strstr(path.str + std::strlen(kProbeRx.prefix), kRecords) : nullptr;
    if (!obj || !records || records[std::strlen(kRecords)] != '/') {
        lumo_log(tag, LOG_ERR, "invalid parameter.");
        return -1;
    }
    return get_all_into({tag, &vsie::kRecordTable, 255}, path.str, obj);
}

// ---- probe-response VSIEs ----

LUMO3_API int32_t OvanGetProbeRspTxVSIEManagerv4(OvanProbeRspTxVSIEManager_t *obj)
{
    return guarded_get("OvanGetProbeRspTxVSIEManagerv4", vsie::kProbeRspManagerTable, kProbeRspPath, obj);
}

LUMO3_API int32_t OvanGetProbeRspTxVSIEObjsv4(OvanProbeRspTxVSIE_t **objs, uint32_t *num)
{
    return instance_list("OvanGetProbeRspTxVSIEObjsv4", kProbeRsp, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetProbeRspTxVSIEv4(OvanObjPath_t path, OvanProbeRspTxVSIE_t *obj)
{
    return instance_get({"OvanGetProbeRspTxVSIEv4", "invalid parameter."}, kProbeRsp, path, obj);
}

LUMO3_API int32_t OvanSetProbeRspTxVSIEv4(OvanObjPath_t path, OvanProbeRspTxVSIE_t *obj)
{
    return entry_set("OvanSetProbeRspTxVSIEv4", kProbeRsp, path, obj);
}

LUMO3_API int32_t OvanAddProbeRspTxVSIEv4(OvanProbeRspTxVSIE_t *obj)
{
    return entry_add<OvanProbeRspTxVSIE_t, OvanSetProbeRspTxVSIEv4>("OvanAddProbeRspTxVSIEv4", kProbeRsp, obj,
                                                                    OvanDelProbeRspTxVSIEv4);
}

LUMO3_API int32_t OvanDelProbeRspTxVSIEv4(OvanObjPath_t path)
{
    return instance_delete({"OvanDelProbeRspTxVSIEv4", "Invalid Parameter."}, kProbeRsp, path);
}

// ---- roaming and stations ----

LUMO3_API int32_t OvanGetRoamingConfig(OvanRoamingConfig_t *obj)
{
    return guarded_get("OvanGetRoamingConfig", vsie::kRoamingTable, kRoamingPath, obj);
}

LUMO3_API int32_t OvanSetRoamingConfig(OvanRoamingConfig_t *obj)
{
    return guarded_set("OvanSetRoamingConfig", kRoamingPath, vsie::kRoamingTable.interface, vsie::kRoamingWritable,
                       obj, "Invalid parameter.");
}

LUMO3_API int32_t OvanStartAPRSSIQuery(const char *staMac, uint32_t channel, const OvanAPRSSI_t *aps, uint32_t num,
                                       uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartAPRSSIQuery";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter, staMac (%s), channel (%u), apNum (%u)", or_empty(staMac), channel, num);
    bool ok = mac_ok(staMac) && (num == 0 || aps);
    for (uint32_t i = 0; ok && i < num; i++)
        ok = std::memchr(aps[i].MAC, '\0', sizeof aps[i].MAC) && aps[i].MAC[0];
    if (!ok)
        return refuse(tag, status, errmsg);
    ArgTuple args(tag);
    args.s("staMac", staMac).u(channel);
    for (uint32_t i = 0; i < num; i++)
        if (!command_text_ok(tag, "MAC", aps[i].MAC, status, errmsg))
            return -1;
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a{su}"));
    for (uint32_t i = 0; i < num; i++)
        g_variant_builder_add(&b, "{su}", aps[i].MAC, aps[i].Value);
    args.v(g_variant_builder_end(&b));
    return command({tag, kRoamingPath, vsie::kRoamingTable.interface, "StartAPRSSIQuery"}, args, status, errmsg);
}

LUMO3_API int32_t OvanStartSTABSSTransitionRequest(const char *staMac, uint32_t channel, const char *bssid,
                                                   uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartSTABSSTransitionRequest";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter, staMac (%s), channel (%u), bssid (%s)", or_empty(staMac), channel,
             or_empty(bssid));
    if (!mac_ok(staMac) || !bssid || !*bssid)
        return refuse(tag, status, errmsg);
    ArgTuple args(tag);
    args.s("staMac", staMac).u(channel).s("bssid", bssid);
    return command({tag, kRoamingPath, vsie::kRoamingTable.interface, "StartSTABSSTransitionRequest"}, args, status,
                   errmsg);
}

LUMO3_API int32_t OvanGetSTARSSIQuery(const char *staMac, OvanAPRSSI_t **aps, uint32_t *num, uint32_t *status,
                                      char **errmsg)
{
    static const char tag[] = "OvanGetSTARSSIQuery";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter, staMac (%s)", or_empty(staMac));
    if (!mac_ok(staMac) || !aps || !num)
        return refuse(tag, status, errmsg);
    GPtr<GVariant> lead;
    ArgTuple args(tag);
    args.s("staMac", staMac);
    const int32_t ret = command({tag, kRoamingPath, vsie::kRoamingTable.interface, "GetSTARSSIQuery"}, args, status,
                                errmsg, &lead, "(a{su}us)");
    if (ret != 0)
        return ret;
    size_t n = 0;
    *aps = static_cast<OvanAPRSSI_t *>(records_from_array(vsie::kAPRSSITable, lead.get(), SIZE_MAX, &n));
    *num = static_cast<uint32_t>(n);
    return 0;
}

LUMO3_API int32_t OvanGetSTAInfoObjs(OvanSTAInfo_t **objs, uint32_t *num)
{
    return instance_list("OvanGetSTAInfoObjs", kStations, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetSTAInfo(OvanObjPath_t path, OvanSTAInfo_t *obj)
{
    return instance_get({"OvanGetSTAInfo", "invalid parameter."}, kStation, path, obj);
}

LUMO3_API int32_t OvanSetSTADeassociationRequest(OvanObjPath_t path, const char *staMac, uint32_t *status,
                                                 char **errmsg)
{
    static const char tag[] = "OvanSetSTADeassociationRequest";
    if (int32_t g = wifi_guard())
        return g;
    lumo_log(tag, LOG_DEBUG, "enter, path (%s), staMac (%s)", ShownPath(path).text, or_empty(staMac));
    if (!instance_arg_ok(kStation, path) || !mac_ok(staMac))
        return refuse(tag, status, errmsg);
    ArgTuple args(tag);
    args.s("staMac", staMac);
    return command({tag, path.str, vsie::kSTAInfoTable.interface, "SetSTADeassociationRequest"}, args, status, errmsg);
}

}  // extern "C"
