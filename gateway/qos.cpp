// QoS settings and collections, DNS speed limit, IPTV.
#include <cstring>
#include <syslog.h>

#include "gateway/qos_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_qos.h"

namespace {

using namespace lumo::gw;

constexpr const char kQoSPath[] = "/com/quv/igd1/Network/QoS";
constexpr const char kClassifications[] = "/com/quv/igd1/Network/QoS/Classification";
constexpr const char kClassificationPrefix[] = "/com/quv/igd1/Network/QoS/Classification/";
constexpr const char kQueues[] = "/com/quv/igd1/Network/QoS/PriorityQueue";
constexpr const char kApps[] = "/com/quv/igd1/Network/QoS/App";
constexpr const char kDNSSpeedLimitPath[] = "/com/quv/igd1/Network/DNSSpeedLimit";
constexpr const char kIPTVPath[] = "/com/quv/igd1/Network/IPTV";

// One QoS collection: its listing path, its instances (deleted from the collection
// their own path names, since a type lives below its rule) and the fields its
// setter writes.
struct Collection {
    const char *path;
    Instances items;
    Fields writable;

    int32_t list(const char *tag, void **objs, uint32_t *num) const
    {
        return instance_list(tag, {items.table, path, items.prefix}, objs, num);
    }
};

constexpr Collection kClassification{
    kClassifications, {&qos::kClassificationTable, nullptr, kClassificationPrefix}, qos::kClassification};
constexpr Collection kQueue{
    kQueues, {&qos::kPriorityQueueTable, nullptr, "/com/quv/igd1/Network/QoS/PriorityQueue/"},
    qos::kPriorityQueueWritable};
constexpr Collection kApp{kApps, {&qos::kAppTable, nullptr, "/com/quv/igd1/Network/QoS/App/"}, qos::kApp};
constexpr Collection kClassType{
    nullptr, {&qos::kClassTypeTable, nullptr, kClassificationPrefix, nullptr, "/Type"}, qos::kClassTypeWritable};

bool limit_action_ok(const void *record)
{
    const char *action = static_cast<const OvanDNSSpeedLimit_t *>(record)->LimitAction;
    const int len = static_cast<int>(strnlen(action, sizeof OvanDNSSpeedLimit_t::LimitAction));
    if (len < static_cast<int>(sizeof OvanDNSSpeedLimit_t::LimitAction) &&
        (std::strcmp(action, "Alert") == 0 || std::strcmp(action, "Drop") == 0))
        return true;
    lumo_log("OvanSetDNSSpeedLimit", LOG_ERR, "Invalid LimitAction Parameter: %.*s", len, action);
    return false;
}

constexpr const char kIPTVNull[] = "Parameter 'obj' should not be NULL.";

// A rule's type collection: under the classification rules and naming "Type".
bool type_collection_ok(const OvanObjPath_t &path)
{
    return instance_arg_ok(path, kClassificationPrefix) && std::strstr(path.str, "Type");
}

template <typename R, int32_t (*Set)(OvanObjPath_t, R *)>
int32_t set_as(OvanObjPath_t p, void *r)
{
    return Set(p, static_cast<R *>(r));
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetQoSConfig(OvanQoSConfig_t *info)
{
    return get_singleton({"OvanGetQoSConfig", &qos::kConfigTable, 255}, "enter", kQoSPath, info);
}

LUMO3_API int32_t OvanSetQoSConfig(OvanQoSConfig_t *rec)
{
    return set_singleton({"OvanSetQoSConfig", kQoSPath, &qos::kConfigTable, "enter", "Invalid parameters."},
                         qos::kConfig, rec);
}

// ---- classification rules ----

LUMO3_API int32_t OvanGetQoSClassificationObjs(OvanQoSClassification_t **objs, uint32_t *num)
{
    return kClassification.list("OvanGetQoSClassificationObjs", reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetQoSClassification(OvanObjPath_t path, OvanQoSClassification_t *rec)
{
    return instance_get({"OvanGetQoSClassification"}, kClassification.items, path, rec);
}

LUMO3_API int32_t OvanSetQoSClassification(OvanObjPath_t path, OvanQoSClassification_t *rec)
{
    return instance_set({"OvanSetQoSClassification", "Invalid parameters."}, kClassification.items, path, rec,
                        kClassification.writable);
}

LUMO3_API int32_t OvanAddQoSClassification(OvanQoSClassification_t *rec)
{
    static const char tag[] = "OvanAddQoSClassification";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(tag, {kClassification.items.table, kClassifications, nullptr}, rec,
                        kClassification.writable, set_as<OvanQoSClassification_t, OvanSetQoSClassification>,
                        OvanDelQoSClassification);
}

LUMO3_API int32_t OvanDelQoSClassification(OvanObjPath_t path)
{
    return instance_delete({"OvanDelQoSClassification", "Invalid Parameter."}, kClassification.items, path);
}

// ---- classification types, below one rule ----

LUMO3_API int32_t OvanGetQoSClassTypeObjs(OvanObjPath_t collection, OvanQoSClassType_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetQoSClassTypeObjs";
    log_path_line(tag, "enter, path (%s)", collection);
    if (!type_collection_ok(collection)) {
        lumo_log(tag, LOG_ERR, "invalid path %s", ShownPath(collection).text);
        return -1;
    }
    if (!num)
        return -1;
    return enumerate({tag, kClassType.items.table, "entry num (%d)", 255}, collection.str,
                     reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetQoSClassType(OvanObjPath_t path, OvanQoSClassType_t *rec)
{
    return instance_get({"OvanGetQoSClassType"}, kClassType.items, path, rec);
}

LUMO3_API int32_t OvanSetQoSClassType(OvanObjPath_t path, OvanQoSClassType_t *rec)
{
    return instance_set({"OvanSetQoSClassType", "Invalid parameters."}, kClassType.items, path, rec,
                        kClassType.writable);
}

LUMO3_API int32_t OvanAddQoSClassType(OvanObjPath_t collection, OvanQoSClassType_t *rec)
{
    static const char tag[] = "OvanAddQoSClassType";
    if (!type_collection_ok(collection)) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(tag, {kClassType.items.table, collection.str, nullptr}, rec, kClassType.writable,
                        set_as<OvanQoSClassType_t, OvanSetQoSClassType>, OvanDelQoSClassType);
}

LUMO3_API int32_t OvanDelQoSClassType(OvanObjPath_t path)
{
    return instance_delete({"OvanDelQoSClassType", "Invalid Parameter."}, kClassType.items, path);
}

// ---- priority queues: no add or delete ----

LUMO3_API int32_t OvanGetQoSPriorityQueueObjs(OvanQoSPriorityQueue_t **objs, uint32_t *num)
{
    return kQueue.list("OvanGetQoSPriorityQueueObjs", reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetQoSPriorityQueue(OvanObjPath_t path, OvanQoSPriorityQueue_t *rec)
{
    return instance_get({"OvanGetQoSPriorityQueue"}, kQueue.items, path, rec);
}

LUMO3_API int32_t OvanSetQoSPriorityQueue(OvanObjPath_t path, OvanQoSPriorityQueue_t *rec)
{
    return instance_set({"OvanSetQoSPriorityQueue", "Invalid parameters."}, kQueue.items, path, rec, kQueue.writable);
}

// ---- applications ----

LUMO3_API int32_t OvanGetQoSAppObjs(OvanQoSApp_t **objs, uint32_t *num)
{
    return kApp.list("OvanGetQoSAppObjs", reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetQoSApp(OvanObjPath_t path, OvanQoSApp_t *rec)
{
    return instance_get({"OvanGetQoSApp"}, kApp.items, path, rec);
}

LUMO3_API int32_t OvanSetQoSApp(OvanObjPath_t path, OvanQoSApp_t *rec)
{
    return instance_set({"OvanSetQoSApp", "Invalid parameters."}, kApp.items, path, rec, kApp.writable);
}

LUMO3_API int32_t OvanAddQoSApp(OvanQoSApp_t *rec)
{
    static const char tag[] = "OvanAddQoSApp";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(tag, {kApp.items.table, kApps, nullptr}, rec, kApp.writable,
                        set_as<OvanQoSApp_t, OvanSetQoSApp>, OvanDelQoSApp);
}

LUMO3_API int32_t OvanDelQoSApp(OvanObjPath_t path)
{
    return instance_delete({"OvanDelQoSApp", "Invalid Parameter."}, kApp.items, path);
}

// ---- DNS speed limit ----

LUMO3_API int32_t OvanGetDNSSpeedLimit(OvanDNSSpeedLimit_t *info)
{
    return get_singleton({"OvanGetDNSSpeedLimit", &qos::kDNSSpeedLimitTable, 255}, "enter", kDNSSpeedLimitPath, info);
}

LUMO3_API int32_t OvanSetDNSSpeedLimit(OvanDNSSpeedLimit_t *rec)
{
    return set_singleton({"OvanSetDNSSpeedLimit", kDNSSpeedLimitPath, &qos::kDNSSpeedLimitTable, "enter",
                          "Invalid Parameter: obj is NULL."},
                         qos::kDNSSpeedLimitWritable, rec, limit_action_ok);
}

// ---- IPTV ----

LUMO3_API int32_t OvanGetIPTVConfig(OvanIPTVConfig_t *info)
{
    return get_singleton({"OvanGetIPTVConfig", &qos::kIPTVTable, 255}, "enter", kIPTVPath, info);
}

LUMO3_API int32_t OvanSetIPTVConfig(OvanIPTVConfig_t *rec)
{
    return set_singleton({"OvanSetIPTVConfig", kIPTVPath, &qos::kIPTVTable, "enter", kIPTVNull}, qos::kIPTVWritable,
                         rec);
}

LUMO3_API int32_t OvanGetIPTVConfigv4(OvanIPTVConfigv4_t *info)
{
    return get_singleton({"OvanGetIPTVConfigv4", &qos::kIPTVv4Table, 255}, "enter", kIPTVPath, info);
}

LUMO3_API int32_t OvanSetIPTVConfigv4(OvanIPTVConfigv4_t *rec)
{
    // Gateways of bus version 0 or 1 do not know NoStbEnable (asked only for a record
    // that will be sent).
    Fields fields = qos::kIPTVv4Writable;
    if (rec && bus_version() <= 1)
        fields = fields.first(fields.size() - 1);
    return set_singleton({"OvanSetIPTVConfigv4", kIPTVPath, &qos::kIPTVv4Table, "enter", kIPTVNull}, fields, rec);
}

LUMO3_API int32_t OvanIPTVStartDetectQobLineStatus(uint32_t duration, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanIPTVStartDetectQobLineStatus";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (duration < 2 || duration > 60) {
        lumo_log(tag, LOG_DEBUG, "Invalid 'duration', should between 2 to 60.");
        return -1;
    }
    const CommandSpec shape{tag,
                            kIPTVPath,
                            qos::kIPTVTable.interface,
                            "StartDetectQobLineStatus",
                            "Call StartDetectQobLineStatus() fail.",
                            "Failed to call StartDetectQobLineStatus() function.",
                            nullptr};
    return run_command(shape, g_variant_new("(u)", duration), status, errmsg);
}

}  // extern "C"
