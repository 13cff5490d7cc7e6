// MAC black and white lists, URL and DNS filters.
#include "gateway/access_tables.hpp"
#include "lumo3_access.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {

namespace {

namespace t = lumo::gw::access;
using namespace reg;

Contribution access()
{
    std::vector<Entry> entries = {
        {.object = "mac-blacklist", .layout = "", .help = "devices barred from the network",
         .table = &t::kMACBlackListTable, .wifi = true, .get_at = Adapt<OvanGetMACBlackList>::at,
         .list = Adapt<OvanGetMACBlackListObjs>::list, .writable = fields({t::kMACBlackListWritable}),
         .set_at = Adapt<OvanSetMACBlackList>::at, .add = Adapt<OvanAddMACBlackList>::rec,
         .del = OvanDelMACBlackList},
        {.object = "mac-whitelist", .layout = "", .help = "devices admitted to the network",
         .table = &t::kMACWhiteListTable, .wifi = true, .get_at = Adapt<OvanGetMACWhiteList>::at,
         .list = Adapt<OvanGetMACWhiteListObjs>::list, .writable = fields({t::kMACWhiteList}),
         .set_at = Adapt<OvanSetMACWhiteList>::at, .add = Adapt<OvanAddMACWhiteList>::rec,
         .del = OvanDelMACWhiteList},
        // The second-generation record is the default: it is the one lumoctl writes,
        // so that a set keeps the schedule and the list.
        {.object = "urlfilter", .layout = "", .help = "web addresses barred per device and per schedule",
         .table = &t::kURLFilterv4Table, .get_at = Adapt<OvanGetURLFilterv4>::at,
         .list = Adapt<OvanGetURLFilterObjsv4>::list, .writable = fields({t::kURLFilterWritable}),
         .set_at = Adapt<OvanSetURLFilterv4>::at, .add = Adapt<OvanAddURLFilterv4>::rec, .del = OvanDelURLFilter},
        {.object = "urlfilter", .layout = "basic", .help = "", .table = &t::kURLFilterTable,
         .get_at = Adapt<OvanGetURLFilter>::at, .list = Adapt<OvanGetURLFilterObjs>::list},
        {.object = "dnsfilter", .layout = "", .help = "host names barred or answered at the resolver, per schedule",
         .table = &t::kDNSFilterv4Table, .get_at = Adapt<OvanGetDNSFilterv4>::at,
         .list = Adapt<OvanGetDNSFilterObjsv4>::list, .writable = fields({t::kDNSFilterWritable}),
         .set_at = Adapt<OvanSetDNSFilterv4>::at, .add = Adapt<OvanAddDNSFilterv4>::rec, .del = OvanDelDNSFilter},
        {.object = "dnsfilter", .layout = "basic", .help = "", .table = &t::kDNSFilterTable,
         .get_at = Adapt<OvanGetDNSFilter>::at, .list = Adapt<OvanGetDNSFilterObjs>::list},
    };
    return {entries, {}};
}

const FamilyRegistrar kAccess("62-access", access);

}  // namespace

}  // namespace lumoctl
