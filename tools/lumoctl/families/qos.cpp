// lumoctl: QoS, DNS speed limit and IPTV.
#include "gateway/qos_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

Contribution qos()
{
    return {{
                {.object = "qos", .layout = "", .help = "QoS settings", .table = &gw::qos::kConfigTable,
                 .get = Adapt<OvanGetQoSConfig>::rec, .writable = fields({gw::qos::kConfig}),
                 .set = Adapt<OvanSetQoSConfig>::set},
                {.object = "qos-class", .layout = "", .help = "QoS classification rules",
                 .table = &gw::qos::kClassificationTable, .get_at = Adapt<OvanGetQoSClassification>::at,
                 .list = Adapt<OvanGetQoSClassificationObjs>::list,
                 .writable = fields({gw::qos::kClassification}), .set_at = Adapt<OvanSetQoSClassification>::at,
                 .add = Adapt<OvanAddQoSClassification>::rec, .del = OvanDelQoSClassification},
                {.object = "qos-classtype", .layout = "",
                 .help = "the types of a classification rule (PARENT .../Classification/N/Type, PATH .../Type/M)",
                 .table = &gw::qos::kClassTypeTable, .get_at = Adapt<OvanGetQoSClassType>::at,
                 .writable = fields({gw::qos::kClassTypeWritable}), .set_at = Adapt<OvanSetQoSClassType>::at,
                 .del = OvanDelQoSClassType, .list_at = Adapt<OvanGetQoSClassTypeObjs>::list_at,
                 .add_at = Adapt<OvanAddQoSClassType>::at, .parent = "qos-class", .below = "/Type"},
                {.object = "qos-queue", .layout = "", .help = "QoS priority queues (only Car can be set)",
                 .table = &gw::qos::kPriorityQueueTable, .get_at = Adapt<OvanGetQoSPriorityQueue>::at,
                 .list = Adapt<OvanGetQoSPriorityQueueObjs>::list,
                 .writable = fields({gw::qos::kPriorityQueueWritable}),
                 .set_at = Adapt<OvanSetQoSPriorityQueue>::at},
                {.object = "qos-app", .layout = "", .help = "QoS applications", .table = &gw::qos::kAppTable,
                 .get_at = Adapt<OvanGetQoSApp>::at, .list = Adapt<OvanGetQoSAppObjs>::list,
                 .writable = fields({gw::qos::kApp}), .set_at = Adapt<OvanSetQoSApp>::at,
                 .add = Adapt<OvanAddQoSApp>::rec, .del = OvanDelQoSApp},
                {.object = "dns-speedlimit", .layout = "", .help = "the DNS speed limit",
                 .table = &gw::qos::kDNSSpeedLimitTable, .get = Adapt<OvanGetDNSSpeedLimit>::rec,
                 .writable = fields({gw::qos::kDNSSpeedLimitWritable}), .set = Adapt<OvanSetDNSSpeedLimit>::set},
                {.object = "iptv", .layout = "", .help = "IPTV settings", .table = &gw::qos::kIPTVTable,
                 .get = Adapt<OvanGetIPTVConfig>::rec, .writable = fields({gw::qos::kIPTVWritable}),
                 .set = Adapt<OvanSetIPTVConfig>::set},
                {.object = "iptv", .layout = "v4", .help = "", .table = &gw::qos::kIPTVv4Table,
                 .get = Adapt<OvanGetIPTVConfigv4>::rec, .writable = fields({gw::qos::kIPTVv4Writable}),
                 .set = Adapt<OvanSetIPTVConfigv4>::set},
            },
            {
                {"iptv", "detect-line", "detect the IPTV line for SECONDS (2..60)", {"SECONDS"}, false, false,
                 [](Args a, CommandResult &o) {
                     auto seconds = number<uint32_t>(a[0], "SECONDS");
                     return reported(o, [&](uint32_t *s, char **m) {
                         return OvanIPTVStartDetectQobLineStatus(seconds, s, m);
                     });
                 }},
            }};
}

const FamilyRegistrar kQoS("60-qos", qos);

}  // namespace
}  // namespace lumoctl
