// OM diagnostics and the bridge data ACL.
#include "gateway/omdiag_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

int32_t set_diag(void *rec, const Given &given)
{
    const auto *d = static_cast<const OvanDiagService_t *>(rec);
    int32_t rc = 0;
    if (named(given, "CPUTempThreshold") || named(given, "PONTempThreshold"))
        rc = OvanSetSysTempThreshold(d->CPUTempThreshold, d->PONTempThreshold);
    if (rc == 0 && named(given, "SystemFlashThreshold"))
        rc = OvanSetWritableFlashThreshold(static_cast<int32_t>(d->SystemFlashThreshold));
    if (rc == 0 && named(given, "ConnNumThreshold"))
        rc = OvanSetConntrackNumThreshold(static_cast<int32_t>(d->ConnNumThreshold));
    return rc;
}

Contribution omdiag()
{
    return {{
                {.object = "omdiag", .layout = "", .help = "OM diagnostics: health figures and their thresholds",
                 .table = &gw::omdiag::kDiagServiceTable, .get = Adapt<OvanGetDiagService>::rec,
                 .writable = fields({gw::pick(gw::omdiag::kDiagService, {"CPUTempThreshold", "PONTempThreshold",
                                                                         "SystemFlashThreshold", "ConnNumThreshold"})}),
                 .set = set_diag},
                {.object = "diag-resource", .layout = "", .help = "resources watched by OM diagnostics",
                 .table = &gw::omdiag::kDiagResourceTable, .get_at = Adapt<OvanGetDiagResource>::at,
                 .list = Adapt<OvanGetDiagResourceObjs>::list, .writable = fields({gw::omdiag::kDiagResource}),
                 .set_at = Adapt<OvanSetDiagResource>::at, .add = Adapt<OvanAddDiagResource>::rec,
                 .del = OvanDelDiagResource},
                {.object = "diag-process", .layout = "", .help = "processes watched by OM diagnostics",
                 .table = &gw::omdiag::kDiagProcessTable, .get_at = Adapt<OvanGetDiagProcess>::at,
                 .list = Adapt<OvanGetDiagProcessObjs>::list, .writable = fields({gw::omdiag::kDiagProcess}),
                 .set_at = Adapt<OvanSetDiagProcess>::at, .add = Adapt<OvanAddDiagProcess>::rec,
                 .del = OvanDelDiagProcess},
                {.object = "bridgedata", .layout = "", .help = "the bridge data object",
                 .table = &gw::omdiag::kBridgeDataTable, .get = Adapt<OvanGetBridgeDataConfigv4>::rec},
                {.object = "bridgedata-acl", .layout = "", .help = "the bridge data ACL",
                 .table = &gw::omdiag::kBridgeDataAclTable, .get_at = Adapt<OvanGetBridgeDataAclv4>::at,
                 .list = Adapt<OvanGetBridgeDataACLObjsv4>::list, .writable = fields({gw::omdiag::kBridgeDataAcl}),
                 .set_at = Adapt<OvanSetBridgeDataAclv4>::at, .add = Adapt<OvanAddBridgeDataAclv4>::rec,
                 .del = OvanDelBridgeDataAclv4},
            },
            {
                {"diag-resource", "watch", "add or update the limits of SERVICE (percentages 0..100)",
                 {"SERVICE", "CPU", "MEM"}, false, false,
                 [](Args a, CommandResult &o) {
                     o.has_status = false;
                     return OvanAddDiagResourceByServiceName(a[0].c_str(), number<uint32_t>(a[1], "CPU"),
                                                             number<uint32_t>(a[2], "MEM"));
                 }},
                {"diag-resource", "unwatch", "stop watching SERVICE", {"SERVICE"}, true, false,
                 [](Args a, CommandResult &o) {
                     o.has_status = false;
                     return OvanDelDiagResourceByName(a[0].c_str());
                 }},
                {"diag-process", "watch", "watch the process of SERVICE", {"SERVICE"}, false, false,
                 [](Args a, CommandResult &o) {
                     o.has_status = false;
                     return OvanAddDiagProcessByName(a[0].c_str());
                 }},
                {"diag-process", "unwatch", "stop watching the process of SERVICE", {"SERVICE"}, true, false,
                 [](Args a, CommandResult &o) {
                     o.has_status = false;
                     return OvanDelDiagProcessByName(a[0].c_str());
                 }},
            }};
}

const FamilyRegistrar kOMDiag("68-omdiag", omdiag);

}  // namespace
}  // namespace lumoctl
