// MAC black and white lists, URL and DNS filters: four collections with the same
// five operations, two of them in two record generations.
#include <cstring>
#include <syslog.h>

#include "gateway/access_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_access.h"
#include "lumo3_core.h"

namespace {

using namespace lumo::gw;
namespace tables = lumo::gw::access;

// Records of these collections hold an object path whole, up to 255 characters.
constexpr size_t kPathLimit = sizeof(OvanObjPath_t);

// The MAC lists answer only on gateways with WiFi. Each member names its own record
// layout, so the instances carry none.
struct Collection {
    Instances items;
    const char *iface;
};

constexpr Collection kBlackList{
    {nullptr, "/com/quv/igd1/Network/MACBlackList", "/com/quv/igd1/Network/MACBlackList/", wifi_guard},
    "com.quv.igd1.MACBlackList"};
constexpr Collection kWhiteList{
    {nullptr, "/com/quv/igd1/Network/MACWhiteList", "/com/quv/igd1/Network/MACWhiteList/", wifi_guard},
    "com.quv.igd1.MACWhiteList"};
constexpr Collection kURLFilters{{nullptr, "/com/quv/igd1/Network/URLFilter", "/com/quv/igd1/Network/URLFilter/"},
                                 "com.quv.igd1.URLFilter"};
constexpr Collection kDNSFilters{{nullptr, "/com/quv/igd1/Network/DNSFilter", "/com/quv/igd1/Network/DNSFilter/"},
                                 "com.quv.igd1.DNSFilter"};

// The v4 records extend the first-generation ones field for field.
static_assert(offsetof(OvanURLFilterv4_t, Mode) == sizeof(OvanURLFilter_t));
static_assert(offsetof(OvanDNSFilterv4_t, Mode) == sizeof(OvanDNSFilter_t));

// 0 to go on, else what the function returns.
int32_t gate(const Collection &c)
{
    return c.items.guard ? c.items.guard() : 0;
}

int32_t list(const char *tag, const Collection &c, const RecordTable &table, void **objs, uint32_t *num)
{
    if (int32_t g = gate(c))
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    return enumerate({tag, &table, "entry num (%d)", kPathLimit}, c.items.collection, objs, num);
}

int32_t get_one(const char *tag, const Collection &c, const RecordTable &table, const OvanObjPath_t &path, void *rec)
{
    if (int32_t ret = instance_begin({tag}, c.items, path, rec != nullptr))
        return ret;
    return get_all_into({tag, &table, kPathLimit}, path.str, rec);
}

struct Write {
    Fields fields;
    size_t base = 0;  // non-zero: only these leading fields unless the bus version is 2 or later
};

// rec is what is sent (null: refused); record_ok is the family's own check of it.
int32_t set_one(const char *tag, const Collection &c, Write write, const OvanObjPath_t &path, const void *rec,
                bool record_ok = true)
{
    if (int32_t ret = instance_begin({tag, "Invalid parameters.", "enter, path = %s"}, c.items, path,
                                     rec && record_ok))
        return ret;
    Fields fields = write.fields;
    if (write.base && bus_version() <= 1)
        fields = fields.first(write.base);
    return set_fields(path.str, c.iface, fields, rec, tag);
}

// `checked`: the fields the setter writes, judged before the object is created.
int32_t add_one(const char *tag, const Collection &c, void *rec, Fields checked,
                int32_t (*setter)(OvanObjPath_t, void *), int32_t (*deleter)(OvanObjPath_t))
{
    if (int32_t g = gate(c))
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!rec) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    return add_with_rollback(c.items.collection, rec, setter, deleter, checked, tag, kPathLimit);
}

int32_t delete_one(const char *tag, const Collection &c, const OvanObjPath_t &path)
{
    return instance_delete({tag, "Invalid Parameter."}, c.items, path);
}

// A first-generation set sends its record as the v4 record that clears the schedule.
template <typename V4, typename V1>
int32_t set_first_generation(const char *tag, const Collection &c, Fields fields, const OvanObjPath_t &path,
                             const V1 *rec)
{
    V4 sent{};
    if (rec)
        std::memcpy(&sent, rec, sizeof *rec);
    return set_one(tag, c, {fields}, path, rec ? &sent : nullptr);
}

// A typed setter behind the untyped signature of add_with_rollback.
template <auto Set>
struct Untyped;

template <typename R, int32_t (*Set)(OvanObjPath_t, R *)>
struct Untyped<Set> {
    static int32_t call(OvanObjPath_t path, void *rec) { return Set(path, static_cast<R *>(rec)); }
};

template <typename R>
void **block(R **objs)
{
    return reinterpret_cast<void **>(objs);
}

}  // namespace

extern "C" {

// ---- MAC black list ----

LUMO3_API int32_t OvanGetMACBlackListObjs(OvanMACBlackList_t **objs, uint32_t *num)
{
    return list("OvanGetMACBlackListObjs", kBlackList, tables::kMACBlackListTable, block(objs), num);
}

LUMO3_API int32_t OvanGetMACBlackList(OvanObjPath_t path, OvanMACBlackList_t *rec)
{
    return get_one("OvanGetMACBlackList", kBlackList, tables::kMACBlackListTable, path, rec);
}

LUMO3_API int32_t OvanSetMACBlackList(OvanObjPath_t path, OvanMACBlackList_t *rec)
{
    return set_one("OvanSetMACBlackList", kBlackList, {tables::kMACBlackListWritable}, path, rec);
}

LUMO3_API int32_t OvanAddMACBlackList(OvanMACBlackList_t *rec)
{
    return add_one("OvanAddMACBlackList", kBlackList, rec, tables::kMACBlackListWritable, Untyped<OvanSetMACBlackList>::call, OvanDelMACBlackList);
}

LUMO3_API int32_t OvanDelMACBlackList(OvanObjPath_t path)
{
    return delete_one("OvanDelMACBlackList", kBlackList, path);
}

// ---- MAC white list ----

LUMO3_API int32_t OvanGetMACWhiteListObjs(OvanMACWhiteList_t **objs, uint32_t *num)
{
    return list("OvanGetMACWhiteListObjs", kWhiteList, tables::kMACWhiteListTable, block(objs), num);
}

LUMO3_API int32_t OvanGetMACWhiteList(OvanObjPath_t path, OvanMACWhiteList_t *rec)
{
    return get_one("OvanGetMACWhiteList", kWhiteList, tables::kMACWhiteListTable, path, rec);
}

LUMO3_API int32_t OvanSetMACWhiteList(OvanObjPath_t path, OvanMACWhiteList_t *rec)
{
    return set_one("OvanSetMACWhiteList", kWhiteList, {tables::kMACWhiteList}, path, rec);
}

LUMO3_API int32_t OvanAddMACWhiteList(OvanMACWhiteList_t *rec)
{
    return add_one("OvanAddMACWhiteList", kWhiteList, rec, tables::kMACWhiteList, Untyped<OvanSetMACWhiteList>::call, OvanDelMACWhiteList);
}

LUMO3_API int32_t OvanDelMACWhiteList(OvanObjPath_t path)
{
    return delete_one("OvanDelMACWhiteList", kWhiteList, path);
}

// ---- URL filter ----

LUMO3_API int32_t OvanGetURLFilterObjs(OvanURLFilter_t **objs, uint32_t *num)
{
    return list("OvanGetURLFilterObjs", kURLFilters, tables::kURLFilterTable, block(objs), num);
}

LUMO3_API int32_t OvanGetURLFilter(OvanObjPath_t path, OvanURLFilter_t *rec)
{
    return get_one("OvanGetURLFilter", kURLFilters, tables::kURLFilterTable, path, rec);
}

LUMO3_API int32_t OvanSetURLFilter(OvanObjPath_t path, OvanURLFilter_t *rec)
{
    return set_first_generation<OvanURLFilterv4_t>("OvanSetURLFilter", kURLFilters, tables::kURLFilterClearing,
                                                   path, rec);
}

LUMO3_API int32_t OvanAddURLFilter(OvanURLFilter_t *rec)
{
    return add_one("OvanAddURLFilter", kURLFilters, rec, tables::kURLFilter, Untyped<OvanSetURLFilter>::call, OvanDelURLFilter);
}

LUMO3_API int32_t OvanGetURLFilterObjsv4(OvanURLFilterv4_t **objs, uint32_t *num)
{
    return list("OvanGetURLFilterObjsv4", kURLFilters, tables::kURLFilterv4Table, block(objs), num);
}

LUMO3_API int32_t OvanGetURLFilterv4(OvanObjPath_t path, OvanURLFilterv4_t *rec)
{
    return get_one("OvanGetURLFilterv4", kURLFilters, tables::kURLFilterv4Table, path, rec);
}

LUMO3_API int32_t OvanSetURLFilterv4(OvanObjPath_t path, OvanURLFilterv4_t *rec)
{
    return set_one("OvanSetURLFilterv4", kURLFilters, {tables::kURLFilterWritable, tables::kURLFilterBaseKeys}, path,
                   rec, rec && rec->URLListNum >= 0);
}

LUMO3_API int32_t OvanAddURLFilterv4(OvanURLFilterv4_t *rec)
{
    return add_one("OvanAddURLFilterv4", kURLFilters, rec, tables::kURLFilterWritable, Untyped<OvanSetURLFilterv4>::call, OvanDelURLFilter);
}

LUMO3_API int32_t OvanDelURLFilter(OvanObjPath_t path)
{
    return delete_one("OvanDelURLFilter", kURLFilters, path);
}

// ---- DNS filter ----

LUMO3_API int32_t OvanGetDNSFilterObjs(OvanDNSFilter_t **objs, uint32_t *num)
{
    return list("OvanGetDNSFilterObjs", kDNSFilters, tables::kDNSFilterTable, block(objs), num);
}

LUMO3_API int32_t OvanGetDNSFilter(OvanObjPath_t path, OvanDNSFilter_t *rec)
{
    return get_one("OvanGetDNSFilter", kDNSFilters, tables::kDNSFilterTable, path, rec);
}

LUMO3_API int32_t OvanSetDNSFilter(OvanObjPath_t path, OvanDNSFilter_t *rec)
{
    return set_first_generation<OvanDNSFilterv4_t>("OvanSetDNSFilter", kDNSFilters, tables::kDNSFilterClearing,
                                                   path, rec);
}

LUMO3_API int32_t OvanAddDNSFilter(OvanDNSFilter_t *rec)
{
    return add_one("OvanAddDNSFilter", kDNSFilters, rec, tables::kDNSFilter, Untyped<OvanSetDNSFilter>::call, OvanDelDNSFilter);
}

LUMO3_API int32_t OvanGetDNSFilterObjsv4(OvanDNSFilterv4_t **objs, uint32_t *num)
{
    return list("OvanGetDNSFilterObjsv4", kDNSFilters, tables::kDNSFilterv4Table, block(objs), num);
}

LUMO3_API int32_t OvanGetDNSFilterv4(OvanObjPath_t path, OvanDNSFilterv4_t *rec)
{
    return get_one("OvanGetDNSFilterv4", kDNSFilters, tables::kDNSFilterv4Table, path, rec);
}

LUMO3_API int32_t OvanSetDNSFilterv4(OvanObjPath_t path, OvanDNSFilterv4_t *rec)
{
    return set_one("OvanSetDNSFilterv4", kDNSFilters, {tables::kDNSFilterWritable, tables::kDNSFilterBaseKeys}, path,
                   rec, rec && rec->HostNameListNum >= 0);
}

LUMO3_API int32_t OvanAddDNSFilterv4(OvanDNSFilterv4_t *rec)
{
    return add_one("OvanAddDNSFilterv4", kDNSFilters, rec, tables::kDNSFilterWritable, Untyped<OvanSetDNSFilterv4>::call, OvanDelDNSFilter);
}

LUMO3_API int32_t OvanDelDNSFilter(OvanObjPath_t path)
{
    return delete_one("OvanDelDNSFilter", kDNSFilters, path);
}

}  // extern "C"
