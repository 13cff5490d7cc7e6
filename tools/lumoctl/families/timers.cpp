// lumoctl: band steering, WiFi timers, LED and sleep timers.
#include "gateway/timers_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

Contribution timers()
{
    return {{
        {.object = "bandsteering", .layout = "", .help = "WiFi band steering between 2.4 GHz and 5 GHz",
         .table = &gw::timers::kBandSteeringTable, .wifi = true, .get = Adapt<OvanGetWiFiBandSteering>::rec,
         .writable = fields({gw::timers::kBandSteeringWritable}), .set = Adapt<OvanSetWiFiBandSteering>::set},
        {.object = "wifitimer", .layout = "", .help = "the daily WiFi timer", .table = &gw::timers::kWiFiTimerTable,
         .wifi = true, .get = Adapt<OvanGetWiFiTimer>::rec, .writable = fields({gw::timers::kWiFiTimer}),
         .set = Adapt<OvanSetWiFiTimer>::set},
        {.object = "wifi-extimer", .layout = "", .help = "weekly WiFi timers", .table = &gw::timers::kWiFiExTimerTable,
         .wifi = true, .get_at = Adapt<OvanGetWiFiExTimer>::at, .list = Adapt<OvanGetWiFiExTimerObjs>::list,
         .writable = fields({gw::timers::kWiFiExTimerWritable}), .set_at = Adapt<OvanSetWiFiExTimer>::at,
         .add = Adapt<OvanAddWiFiExTimer>::rec, .del = OvanDelWiFiExTimer},
        {.object = "led", .layout = "", .help = "the LED night mode", .table = &gw::timers::kLEDTable,
         .get = Adapt<OvanGetLED>::rec, .writable = fields({gw::timers::kLED}), .set = Adapt<OvanSetLED>::set},
        {.object = "sleeptimer", .layout = "", .help = "weekly sleep timers of the gateway",
         .table = &gw::timers::kSleepTimerTable, .get_at = Adapt<OvanGetSleepTimer>::at,
         .list = Adapt<OvanGetSleepTimerObjs>::list, .writable = fields({gw::timers::kSleepTimerWritable}),
         .set_at = Adapt<OvanSetSleepTimer>::at, .add = Adapt<OvanAddSleepTimer>::rec, .del = OvanDelSleepTimer},
    }, {}};
}

const FamilyRegistrar kTimers("57-timers", timers);

}  // namespace
}  // namespace lumoctl
