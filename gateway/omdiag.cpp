// OM diagnostics (health thresholds, watched resources and processes) and the bridge
// data ACL.
#include <cstring>
#include <syslog.h>

#include "gateway/omdiag_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_omdiag.h"

namespace {

using namespace lumo::gw;
using lumo::GStr;

constexpr const char kDiagPath[] = "/com/quv/igd1/Tevra/OMDiag";
constexpr const char kDiagIface[] = "com.quv.igd1.OMDiag";

constexpr Instances kResources{&omdiag::kDiagResourceTable, "/com/quv/igd1/Tevra/OMDiag/Resource",
                               "/com/quv/igd1/Tevra/OMDiag/Resource/"};
constexpr Instances kProcesses{&omdiag::kDiagProcessTable, "/com/quv/igd1/Tevra/OMDiag/Process",
                               "/com/quv/igd1/Tevra/OMDiag/Process/"};
constexpr Instances kAcls{&omdiag::kBridgeDataAclTable, "/com/quv/igd1/Tevra/BridgeData/ACL",
                          "/com/quv/igd1/Tevra/BridgeData/ACL/"};

// A caller's fixed-width field as text for log lines, terminated or not.
template <size_t N>
GStr text(const char (&field)[N])
{
    return GStr(g_strndup(field, N));
}

int32_t set_threshold(const char *property, uint32_t value)
{
    return OvanDBusSetProperty(kService, kDiagPath, kDiagIface, property, g_variant_new_uint32(value)) == 0 ? 0 : -1;
}

// Both watch lists name their entries by ServiceName; R is the list's record.
template <typename R>
struct WatchList {
    R *objs = nullptr;
    uint32_t num = 0;
    ~WatchList() { g_free(objs); }

    // The first entry whose name equals `name` exactly, or null.
    R *find(const char *name) const
    {
        for (uint32_t i = 0; objs && i < num; i++)
            if (std::strncmp(objs[i].ServiceName, name, sizeof objs[i].ServiceName) == 0)
                return &objs[i];
        return nullptr;
    }
};

// Deletes the first entry named `name` from a watch list.
template <typename R>
int32_t delete_by_name(const char *tag, int32_t (*list)(R **, uint32_t *), int32_t (*del)(OvanObjPath_t),
                       const char *name, const char *missing_line)
{
    lumo_log(tag, LOG_DEBUG, "enter, serviceName (%s)", or_empty(name));
    WatchList<R> listing;
    if (!name || !*name || list(&listing.objs, &listing.num) != 0) {
        lumo_log(tag, LOG_ERR, missing_line, or_empty(name));
        return -1;
    }
    const R *found = listing.find(name);
    if (!found) {
        lumo_log(tag, LOG_ERR, missing_line, name);
        return -1;
    }
    OvanObjPath_t path{};
    g_strlcpy(path.str, found->path, sizeof path.str);
    return del(path);
}

// Both watch lists: a path of the list and a non-empty ServiceName, then `fields`.
template <typename R>
int32_t set_named(const char *tag, const Instances &c, const OvanObjPath_t &path, const R *obj, Fields fields)
{
    if (int32_t ret = instance_begin({tag, "Invalid parameters."}, c, path, obj != nullptr))
        return ret;
    if (obj->ServiceName[0] == '\0') {
        lumo_log(tag, LOG_ERR, "Empty ServiceName");
        return -1;
    }
    // The name is the entry's key even where it is not sent: judged like the rest.
    if (!text_ok(tag, "ServiceName", obj->ServiceName, sizeof obj->ServiceName))
        return -1;
    return set_fields(path.str, c.table->interface, fields, obj, tag);
}

// A new entry of a watch list, holding its name and whatever `Setter` writes; the
// caller has logged its entry line.
template <typename R, int32_t (*Setter)(OvanObjPath_t, R *)>
int32_t add_named(const char *tag, const Instances &c, R *obj, Fields checked, int32_t (*deleter)(OvanObjPath_t))
{
    if (obj->ServiceName[0] == '\0') {
        lumo_log(tag, LOG_ERR, "Empty ServiceName");
        return -1;
    }
    return instance_add(
        tag, c, obj, checked, [](OvanObjPath_t p, void *r) { return Setter(p, static_cast<R *>(r)); }, deleter);
}

// A new resource gets its name as well as its limits.
int32_t set_new_resource(OvanObjPath_t path, OvanDiagResource_t *obj)
{
    return set_fields(path.str, kResources.table->interface, omdiag::kDiagResource, obj, "OvanAddDiagResource");
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanSetSysTempThreshold(uint32_t cpuTempThreshold, uint32_t ponTempThreshold)
{
    lumo_log("OvanSetSysTempThreshold", LOG_DEBUG, "Enter");
    OvanDiagService_t rec{};
    rec.CPUTempThreshold = cpuTempThreshold;
    rec.PONTempThreshold = ponTempThreshold;
    return set_fields(kDiagPath, kDiagIface, omdiag::kTempThresholds, &rec, "OvanSetSysTempThreshold");
}

LUMO3_API int32_t OvanSetWritableFlashThreshold(int32_t flashoccupy)
{
    static const char tag[] = "OvanSetWritableFlashThreshold";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (flashoccupy < 0 || flashoccupy > 100) {
        lumo_log(tag, LOG_ERR, "Invalid flashoccupy[%d], should be [0 - 100]", flashoccupy);
        return -1;
    }
    return set_threshold("SystemFlashThreshold", static_cast<uint32_t>(flashoccupy));
}

LUMO3_API int32_t OvanSetConntrackNumThreshold(int32_t conntracknum)
{
    static const char tag[] = "OvanSetConntrackNumThreshold";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (conntracknum < 0) {
        lumo_log(tag, LOG_ERR, "Invalid conntracknum[%d], should >= 0", conntracknum);
        return -1;
    }
    return set_threshold("ConnNumThreshold", static_cast<uint32_t>(conntracknum));
}

LUMO3_API int32_t OvanGetDiagService(OvanDiagService_t *info)
{
    return get_singleton({"OvanGetDiagService", &omdiag::kDiagServiceTable, 255}, "enter", kDiagPath, info);
}

// ---- resources ----

LUMO3_API int32_t OvanGetDiagResourceObjs(OvanDiagResource_t **objs, uint32_t *num)
{
    return instance_list("OvanGetDiagResourceObjs", kResources, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetDiagResource(OvanObjPath_t path, OvanDiagResource_t *obj)
{
    return instance_get({"OvanGetDiagResource", "invalid parameter."}, kResources, path, obj);
}

LUMO3_API int32_t OvanSetDiagResource(OvanObjPath_t path, OvanDiagResource_t *obj)
{
    return set_named("OvanSetDiagResource", kResources, path, obj, omdiag::kDiagResourceLimits);
}

LUMO3_API int32_t OvanAddDiagResource(OvanDiagResource_t *obj)
{
    static const char tag[] = "OvanAddDiagResource";
    if (!obj) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    lumo_log(tag, LOG_DEBUG, "enter, add ServiceName <%s>, CPUPercentage <%u>, MEMPercentage <%u>",
             text(obj->ServiceName).get(), obj->CPUPercentage, obj->MEMPercentage);
    return add_named<OvanDiagResource_t, set_new_resource>(tag, kResources, obj, omdiag::kDiagResource,
                                                                OvanDelDiagResource);
}

LUMO3_API int32_t OvanDelDiagResource(OvanObjPath_t path)
{
    return instance_delete({"OvanDelDiagResource", "Invalid Parameter."}, kResources, path);
}

LUMO3_API int32_t OvanAddDiagResourceByServiceName(const char *serviceName, uint32_t cpuPercentage,
                                                   uint32_t memPercentage)
{
    static const char tag[] = "OvanAddDiagResourceByServiceName";
    lumo_log(tag, LOG_DEBUG, "enter");
    OvanDiagResource_t rec{};
    // A name that does not fit its field would be cut, and the cut name could match
    // another entry: refuse it like an empty one.
    if (!serviceName || !*serviceName || std::strlen(serviceName) >= sizeof rec.ServiceName || cpuPercentage > 100 ||
        memPercentage > 100) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter, input ServiceName <%s>, CPUPercentage <%u>, MEMPercentage <%u>",
                 or_empty(serviceName), cpuPercentage, memPercentage);
        return -1;
    }
    WatchList<OvanDiagResource_t> listing;
    if (OvanGetDiagResourceObjs(&listing.objs, &listing.num) != 0)
        return -1;
    if (const OvanDiagResource_t *found = listing.find(serviceName)) {
        rec = *found;
        rec.CPUPercentage = cpuPercentage;
        rec.MEMPercentage = memPercentage;
        OvanObjPath_t path{};
        g_strlcpy(path.str, rec.path, sizeof path.str);
        return OvanSetDiagResource(path, &rec);
    }
    g_strlcpy(rec.ServiceName, serviceName, sizeof rec.ServiceName);
    rec.CPUPercentage = cpuPercentage;
    rec.MEMPercentage = memPercentage;
    return OvanAddDiagResource(&rec);
}

LUMO3_API int32_t OvanDelDiagResourceByName(const char *serviceName)
{
    return delete_by_name("OvanDelDiagResourceByName", OvanGetDiagResourceObjs, OvanDelDiagResource, serviceName,
                          "did not found serviceName (%s)");
}

// ---- processes ----

LUMO3_API int32_t OvanGetDiagProcessObjs(OvanDiagProcess_t **objs, uint32_t *num)
{
    return instance_list("OvanGetDiagProcessObjs", kProcesses, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetDiagProcess(OvanObjPath_t path, OvanDiagProcess_t *obj)
{
    return instance_get({"OvanGetDiagProcess", "invalid parameter."}, kProcesses, path, obj);
}

LUMO3_API int32_t OvanSetDiagProcess(OvanObjPath_t path, OvanDiagProcess_t *obj)
{
    return set_named("OvanSetDiagProcess", kProcesses, path, obj, omdiag::kDiagProcess);
}

LUMO3_API int32_t OvanAddDiagProcess(OvanDiagProcess_t *obj)
{
    static const char tag[] = "OvanAddDiagProcess";
    if (!obj) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    lumo_log(tag, LOG_DEBUG, "enter, add ServiceName <%s>", text(obj->ServiceName).get());
    return add_named<OvanDiagProcess_t, OvanSetDiagProcess>(tag, kProcesses, obj, omdiag::kDiagProcess,
                                                            OvanDelDiagProcess);
}

LUMO3_API int32_t OvanDelDiagProcess(OvanObjPath_t path)
{
    return instance_delete({"OvanDelDiagProcess", "Invalid Parameter."}, kProcesses, path);
}

LUMO3_API int32_t OvanAddDiagProcessByName(const char *serviceName)
{
    static const char tag[] = "OvanAddDiagProcessByName";
    lumo_log(tag, LOG_DEBUG, "enter, serviceName (%s)", or_empty(serviceName));
    const size_t len = serviceName ? std::strlen(serviceName) : 0;
    if (len < 1 || len > 31) {
        lumo_log(tag, LOG_ERR, "enter, serviceName length should be between 1 and 31");
        return -1;
    }
    WatchList<OvanDiagProcess_t> listing;
    if (OvanGetDiagProcessObjs(&listing.objs, &listing.num) != 0)
        return -1;
    if (listing.find(serviceName)) {
        lumo_log(tag, LOG_ERR, "process (%s) in already in monitor list", serviceName);
        return 0;
    }
    OvanDiagProcess_t rec{};
    g_strlcpy(rec.ServiceName, serviceName, sizeof rec.ServiceName);
    if (OvanAddDiagProcess(&rec) != 0) {
        lumo_log(tag, LOG_ERR, "OvanAddDiagProcess failed");
        return -1;
    }
    return 0;
}

LUMO3_API int32_t OvanDelDiagProcessByName(const char *serviceName)
{
    return delete_by_name("OvanDelDiagProcessByName", OvanGetDiagProcessObjs, OvanDelDiagProcess, serviceName,
                          "did not found process (%s) in list");
}

// ---- bridge data ----

LUMO3_API int32_t OvanGetBridgeDataConfigv4(OvanBridgeDataConfig_t *info)
{
    return get_singleton({"OvanGetBridgeDataConfigv4", &omdiag::kBridgeDataTable, 255}, "enter",
                         "/com/quv/igd1/Tevra/BridgeData", info);
}

LUMO3_API int32_t OvanGetBridgeDataACLObjsv4(OvanBridgeDataAcl_t **objs, uint32_t *num)
{
    return instance_list("OvanGetBridgeDataACLObjsv4", kAcls, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetBridgeDataAclv4(OvanObjPath_t path, OvanBridgeDataAcl_t *obj)
{
    return instance_get({"OvanGetBridgeDataAclv4", "invalid parameter."}, kAcls, path, obj);
}

LUMO3_API int32_t OvanSetBridgeDataAclv4(OvanObjPath_t path, OvanBridgeDataAcl_t *obj)
{
    static const char tag[] = "OvanSetBridgeDataAclv4";
    if (int32_t ret = instance_begin({tag, "Invalid parameters."}, kAcls, path, obj != nullptr))
        return ret;
    if (obj->Protocol[0] == '\0' || obj->IP[0] == '\0') {
        lumo_log(tag, LOG_ERR, "Empty parameters");
        return -1;
    }
    return set_fields(path.str, kAcls.table->interface, omdiag::kBridgeDataAcl, obj, tag);
}

LUMO3_API int32_t OvanAddBridgeDataAclv4(OvanBridgeDataAcl_t *obj)
{
    static const char tag[] = "OvanAddBridgeDataAclv4";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, kAcls, obj, omdiag::kBridgeDataAcl,
        [](OvanObjPath_t p, void *r) { return OvanSetBridgeDataAclv4(p, static_cast<OvanBridgeDataAcl_t *>(r)); },
        OvanDelBridgeDataAclv4);
}

LUMO3_API int32_t OvanDelBridgeDataAclv4(OvanObjPath_t path)
{
    return instance_delete({"OvanDelBridgeDataAclv4", "Invalid Parameter."}, kAcls, path);
}

}  // extern "C"
