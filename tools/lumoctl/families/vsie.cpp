// Wi-Fi vendor IEs, roaming and station steering.
#include <string>

#include "gateway/vsie_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;


Contribution vsie()
{
    return {
        {
            {.object = "beacon-vsie-manager", .layout = "", .help = "the beacon vendor IE manager",
             .table = &gw::vsie::kBeaconManagerTable, .wifi = true, .get = Adapt<OvanGetBeaconTxVSIEManager>::rec,
             .writable = fields({gw::vsie::kBeaconManagerWritable}), .set = Adapt<OvanSetBeaconTxVSIEManager>::set},
            {.object = "beacon-vsie", .layout = "", .help = "vendor IEs sent in beacons (IEData as hex)",
             .table = &gw::vsie::kBeaconTable, .wifi = true, .get_at = Adapt<OvanGetBeaconTxVSIE>::at,
             .keys = {{"service", "the entry of this service", false, Adapt<OvanGetBeaconTxVSIEByServiceName>::key}},
             .list = Adapt<OvanGetBeaconTxVSIEObjs>::list, .writable = fields({gw::vsie::kBeaconWritable}),
             .set_at = Adapt<OvanSetBeaconTxVSIE>::at, .add = Adapt<OvanAddBeaconTxVSIE>::rec,
             .del = OvanDelBeaconTxVSIE},
            {.object = "probe-rx-vsie-manager", .layout = "", .help = "the probe-request vendor IE manager",
             .table = &gw::vsie::kProbeRxManagerTable, .wifi = true, .get = Adapt<OvanGetProbeRxVSIEManager>::rec,
             .writable = fields({gw::vsie::kProbeRxManagerWritable}), .set = Adapt<OvanSetProbeRxVSIEManager>::set},
            {.object = "probe-rx-vsie", .layout = "", .help = "vendor IEs watched for in probe requests",
             .table = &gw::vsie::kProbeRxTable, .wifi = true, .get_at = Adapt<OvanGetProbeRxVSIE>::at,
             .keys = {{"service", "the entry of this service", false, Adapt<OvanGetProbeRxVSIEByServiceName>::key}},
             .list = Adapt<OvanGetProbeRxVSIEObjs>::list, .writable = fields({gw::vsie::kProbeRx}),
             .set_at = Adapt<OvanSetProbeRxVSIE>::at, .add = Adapt<OvanAddProbeRxVSIE>::rec,
             .del = OvanDelProbeRxVSIE},
            {.object = "probe-rx-records", .layout = "",
             .help = "the record manager of a probe-request entry (PATH: the entry)",
             .table = &gw::vsie::kRecordManagerTable, .wifi = true,
             .get_at = Adapt<OvanGetProbeRxVSIERecordManager>::at},
            {.object = "probe-rx-record", .layout = "", .help = "one received probe-request record (PATH .../Records/N)",
             .table = &gw::vsie::kRecordTable, .wifi = true, .get_at = Adapt<OvanGetProbeRxVSIERecord>::at},
            {.object = "probe-rsp-vsie-manager", .layout = "", .help = "the probe-response vendor IE manager",
             .table = &gw::vsie::kProbeRspManagerTable, .wifi = true,
             .get = Adapt<OvanGetProbeRspTxVSIEManagerv4>::rec},
            {.object = "probe-rsp-vsie", .layout = "", .help = "vendor IEs sent in probe responses (IEData as hex)",
             .table = &gw::vsie::kProbeRspTable, .wifi = true, .get_at = Adapt<OvanGetProbeRspTxVSIEv4>::at,
             .list = Adapt<OvanGetProbeRspTxVSIEObjsv4>::list, .writable = fields({gw::vsie::kProbeRspWritable}),
             .set_at = Adapt<OvanSetProbeRspTxVSIEv4>::at, .add = Adapt<OvanAddProbeRspTxVSIEv4>::rec,
             .del = OvanDelProbeRspTxVSIEv4},
            {.object = "roaming", .layout = "", .help = "5 GHz roaming and station steering",
             .table = &gw::vsie::kRoamingTable, .wifi = true, .get = Adapt<OvanGetRoamingConfig>::rec,
             .writable = fields({gw::vsie::kRoamingWritable}), .set = Adapt<OvanSetRoamingConfig>::set},
            {.object = "sta", .layout = "", .help = "associated stations", .table = &gw::vsie::kSTAInfoTable,
             .wifi = true, .get_at = Adapt<OvanGetSTAInfo>::at, .list = Adapt<OvanGetSTAInfoObjs>::list},
        },
        {
            {"beacon-vsie", "start", "start sending the beacon IE at PATH", {"PATH"}, false, true,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) { return OvanStartBeaconTxVSIE(p, s, m); });
             }},
            {"beacon-vsie", "stop", "stop sending the beacon IE at PATH", {"PATH"}, false, true,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) { return OvanStopBeaconTxVSIE(p, s, m); });
             }},
            {"probe-rx-records", "flush", "drop the records of the probe-request entry at PATH", {"PATH"}, true,
             true,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) { return OvanFlushProbeRxVSIERecord(p, s, m); });
             }},
            {"roaming", "transition", "ask station MAC to move to BSSID on CHANNEL", {"MAC", "CHANNEL", "BSSID"},
             false, true,
             [](Args a, CommandResult &o) {
                 auto channel = number<uint32_t>(a[1], "CHANNEL");
                 return reported(o, [&](uint32_t *s, char **m) {
                     return OvanStartSTABSSTransitionRequest(a[0].c_str(), channel, a[2].c_str(), s, m);
                 });
             }},
            {"roaming", "rssi", "show the APs' RSSI of station MAC from the last query", {"MAC"}, false, true,
             [](Args a, CommandResult &o) {
                 OvanAPRSSI_t *aps = nullptr;
                 uint32_t n = 0;
                 int32_t rc = reported(o, [&](uint32_t *s, char **m) {
                     return OvanGetSTARSSIQuery(a[0].c_str(), &aps, &n, s, m);
                 });
                 for (uint32_t i = 0; aps && i < n; i++)
                     o.result += (i ? ", " : "") + std::string(aps[i].MAC) + "=" + std::to_string(aps[i].Value);
                 g_free(aps);
                 return rc;
             }},
            {"sta", "disassociate", "ask the station at PATH (MAC: its own) to disassociate", {"PATH", "MAC"}, true,
             true,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) {
                     return OvanSetSTADeassociationRequest(p, a[1].c_str(), s, m);
                 });
             }},
        }};
}

const FamilyRegistrar kVSIE("67-vsie", vsie);

}  // namespace
}  // namespace lumoctl
