#include "tools/lumoctl/registry.hpp"

#include <algorithm>
#include <cstring>

#include <glib.h>

#include "gateway/device_tables.hpp"
#include "gateway/lanhost_tables.hpp"
#include "gateway/netsvc_tables.hpp"
#include "gateway/syscmd_tables.hpp"
#include "gateway/wan_tables.hpp"
#include "gateway/wifi_tables.hpp"
#include "gateway/wlan_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {

namespace {

namespace gw = lumo::gw;
using namespace reg;



const std::vector<Field> kWiFiSwitches =
    fields({gw::pick(gw::wifi::kWiFiInfo, {"Enable2G", "Enable5G", "RatePriority", "RatePriority5G"})});

int32_t set_wifi(void *rec, const Given &given)
{
    const auto *w = static_cast<const OvanWiFiInfo_t *>(rec);
    int32_t rc = 0;
    if (rc == 0 && named(given, "Enable2G"))
        rc = OvanWiFiSetEnable(0, w->Enable2G);
    if (rc == 0 && named(given, "Enable5G"))
        rc = OvanWiFiSetEnable(1, w->Enable5G);
    if (rc == 0 && named(given, "RatePriority"))
        rc = OvanWiFiSetRatePriority(0, w->RatePriority);
    if (rc == 0 && named(given, "RatePriority5G"))
        rc = OvanWiFiSetRatePriority(1, w->RatePriority5G);
    return rc;
}

std::vector<Field> platform_writable()
{
    std::vector<Field> out;
    for (const auto &group : gw::netsvc::kPlatformGroups)
        out.insert(out.end(), group.fields.begin(), group.fields.end());
    return out;
}

// The platform service writes the groups whose fields were named.
int32_t set_platform(void *rec, const Given &given)
{
    uint32_t mask = 0;
    for (const auto &group : gw::netsvc::kPlatformGroups)
        for (const Field &f : group.fields)
            if (named(given, f.name))
                mask |= group.bit;
    return OvanSetPlatformService(mask, static_cast<OvanPlatformService_t *>(rec));
}

std::vector<Entry> base_entries()
{
    return {
        {.object = "device", .layout = "", .help = "device information; its friendly name DevName can be set",
         .table = &gw::device::kDeviceInfoTable, .get = Adapt<OvanGetDeviceInfo>::rec,
         .writable = fields({gw::pick(gw::device::kDeviceInfo, {"DevName"})}),
         .set = [](void *r, const Given &) {
             return OvanDeviceSetDevName(static_cast<OvanDeviceInfo_t *>(r)->DevName);
         }},
        {.object = "device", .layout = "v4", .help = "", .table = &gw::device::kDeviceInfov4Table,
         .get = Adapt<OvanGetDeviceInfov4>::rec},
        {.object = "network", .layout = "", .help = "network information (links, addresses, counters)",
         .table = &gw::device::kNetworkInfoTable, .get = Adapt<OvanGetNetworkInfo>::rec},
        {.object = "pon", .layout = "", .help = "PON link information", .table = &gw::device::kPONInfoTable,
         .get = Adapt<OvanGetPONInfo>::rec},
        {.object = "voip", .layout = "", .help = "VoIP line information", .table = &gw::device::kVoIPInfoTable,
         .get = Adapt<OvanGetVoIPInfo>::rec},

        {.object = "wan", .layout = "", .help = "WAN connections", .table = &gw::wan::kConnectionTable,
         .get_at = Adapt<OvanGetWANConnection>::at,
         .keys = {{"name", "the connection with this name", false, Adapt<OvanGetWANConnectionByName>::key},
                  {"internet", "the connection carrying Internet service", true,
                   Adapt<OvanGetInternetWANConnection>::key}},
         .list = Adapt<OvanGetWANConnectionObjs>::list},
        {.object = "wan", .layout = "v4", .help = "", .table = &gw::wan::kConnectionv4Table,
         .get_at = Adapt<OvanGetWANConnectionv4>::at,
         .keys = {{"name", "the connection with this name", false, Adapt<OvanGetWANConnectionByNamev4>::key},
                  {"internet", "the connection carrying Internet service", true,
                   Adapt<OvanGetInternetWANConnectionv4>::key}},
         .list = Adapt<OvanGetWANConnectionObjsv4>::list},

        {.object = "wifi", .layout = "", .help = "WiFi information; radios and rate priority can be switched",
         .table = &gw::wifi::kWiFiInfoTable, .wifi = true, .get = Adapt<OvanGetWiFiInfo>::rec,
         .writable = kWiFiSwitches, .set = set_wifi},
        {.object = "wifi", .layout = "v4", .help = "", .table = &gw::wifi::kWiFiInfov4Table, .wifi = true,
         .get = Adapt<OvanGetWiFiInfov4>::rec},

        {.object = "wlan", .layout = "", .help = "WLAN devices (one per SSID)", .table = &gw::wlan::kWLANDeviceTable,
         .wifi = true, .get_at = Adapt<OvanGetWLANDevice>::at,
         .keys = {{"ssid", "the first SSID with this name", false, Adapt<OvanGetWLANDeviceBySSID>::key},
                  {"index", "the SSID with this index", false,
                   [](const char *k, void *r, uint32_t *, char **) {
                       return OvanGetWLANDeviceBySSIDIndex(number<int>(k, "SSID index"),
                                                           static_cast<OvanWLANDevice_t *>(r));
                   }}},
         .list = Adapt<OvanGetWLANDeviceObjs>::list, .writable = fields({gw::wlan::kWLANDeviceWritable}),
         .set_at = Adapt<OvanSetWLANDevice>::at, .add = Adapt<OvanAddWLANDevice>::rec, .del = OvanDelWLANDevice},
        {.object = "wps", .layout = "", .help = "the WPS object of an SSID (PATH .../Devices/N/WPS)",
         .table = &gw::wlan::kWPSConfigTable, .wifi = true, .get_at = Adapt<OvanGetWPSConfig>::at,
         .writable = fields({gw::wlan::kWPSEnable}),
         .set_at = [](OvanObjPath_t p, void *r) {
             return OvanSetWPSEnable(p, static_cast<uint32_t>(static_cast<OvanWPSConfig_t *>(r)->Enable));
         }},

        {.object = "lanhost-manager", .layout = "", .help = "the LAN host manager",
         .table = &gw::lanhost::kLANHostMgrTable, .get = Adapt<OvanGetLANHostMgr>::rec,
         .writable = fields({gw::lanhost::kLANHostMgrWritable}), .set = Adapt<OvanSetLANHostMgr>::set},
        {.object = "lanhost", .layout = "", .help = "LAN hosts the gateway has seen",
         .table = &gw::lanhost::kLANHostTable, .get_at = Adapt<OvanGetLANHost>::at,
         .keys = {{"mac", "the host with this MAC (12 hex digits)", false, Adapt<OvanGetLANHostByMAC>::key}},
         .list = Adapt<OvanGetLANHostObjs>::list,
         .writable = fields({gw::pick(gw::lanhost::kLANHost, {"DevName"}), gw::lanhost::kLANHostWritable}),
         .set_at = Adapt<OvanSetLANHost>::at, .del = OvanDelLANHost},
        {.object = "lanhost", .layout = "ext", .help = "", .table = &gw::lanhost::kLANHostExtTable,
         .get_at = Adapt<OvanGetLANHostExt>::at,
         .keys = {{"mac", "the host with this MAC (12 hex digits)", false, Adapt<OvanGetLANHostExtByMAC>::key}},
         .list = Adapt<OvanGetLANHostExtObjs>::list},
        {.object = "lanhost", .layout = "ipv6", .help = "", .table = &gw::lanhost::kLANHostExtWithIPv6Table,
         .get_at = Adapt<OvanGetLANHostExtWithIPv6>::at,
         .keys = {{"mac", "the host with this MAC (12 hex digits)", false,
                   Adapt<OvanGetLANHostExtWithIPv6ByMAC>::key}},
         .list = Adapt<OvanGetLANHostExtWithIPv6Objs>::list},
        {.object = "online", .layout = "", .help = "devices online now", .table = &gw::lanhost::kLANHostTable,
         .list = Adapt<OvanGetOnlineDeviceList>::list},
        {.object = "online", .layout = "ext", .help = "", .table = &gw::lanhost::kLANHostExtTable,
         .list = Adapt<OvanGetOnlineDeviceListExt>::list},
        {.object = "online", .layout = "ipv6", .help = "", .table = &gw::lanhost::kLANHostExtWithIPv6Table,
         .list = Adapt<OvanGetOnlineDeviceListExtWithIPv6>::list},
        {.object = "snapshot", .layout = "", .help = "snapshot of the devices online now",
         .table = &gw::lanhost::kOnlineDeviceSnapShotTable, .list = Adapt<OvanGetOnlineDevicesSnapShot>::list},

        {.object = "system", .layout = "", .help = "system commands and their configuration (MemAlarm, MemLimit)",
         .table = &gw::syscmd::kConfigTable, .get = Adapt<OvanGetSystemCmdConfig>::rec,
         .writable = fields({gw::syscmd::kConfigWritable}), .set = Adapt<OvanSetSystemCmdConfig>::set},

        {.object = "pppoe", .layout = "", .help = "the PPPoE account", .table = &gw::netsvc::kPPPoETable,
         .get = Adapt<OvanGetPPPoEConfig>::rec},
        {.object = "dhcp", .layout = "", .help = "the DHCP server", .table = &gw::netsvc::kDHCPServerTable,
         .get = Adapt<OvanGetDHCPServer>::rec, .writable = fields({gw::netsvc::kDHCPServer}),
         .set = Adapt<OvanSetDHCPServer>::set},
        {.object = "portmap", .layout = "", .help = "port mapping rules", .table = &gw::netsvc::kPortMappingTable,
         .get_at = Adapt<OvanGetPortMapping>::at, .list = Adapt<OvanGetPortMappingObjs>::list,
         .writable = fields({gw::netsvc::kPortMapping}), .set_at = Adapt<OvanSetPortMapping>::at,
         .add = Adapt<OvanAddPortMapping>::rec, .del = OvanDelPortMapping},
        {.object = "platform", .layout = "", .help = "the platform service (writes the groups of the fields named)",
         .table = &gw::netsvc::kPlatformServiceTable, .get = Adapt<OvanGetPlatformService>::rec,
         .writable = platform_writable(), .set = set_platform},
    };
}

std::vector<Command> base_commands()
{
    return {
        {"system", "set-loid", "set the LOID, its password and the province", {"LOID", "PASSWORD", "PROVINCE"},
         false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanSysCmdSetLOID(a[0].c_str(), a[1].c_str(), a[2].c_str(), s, m);
             });
         }},
        {"system", "register-loid", "register the LOID", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdRegisterLOID); }},
        {"system", "check-loid", "check the LOID registration", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdCheckLOID); }},
        {"system", "set-datetime", "set the date and time", {"DATETIME"}, false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanSysCmdSetDateTime(a[0].c_str(), s, m); });
         }},
        {"system", "reboot", "reboot the gateway", {}, true, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdReboot); }},
        {"system", "restore", "restore the factory configuration", {}, true, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdRestore); }},
        {"system", "local-recovery", "local recovery of the configuration", {}, true, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdLocalRecovery); }},
        {"system", "upgrade", "upgrade the firmware from URL (MODE 0..6, METHOD 0/1, NEEDREBOOT 0/1)",
         {"URL", "MODE", "METHOD", "NEEDREBOOT"}, true, false,
         [](Args a, CommandResult &o) {
             auto mode = number<uint32_t>(a[1], "MODE");
             auto method = number<int32_t>(a[2], "METHOD");
             auto reboot = number<uint32_t>(a[3], "NEEDREBOOT");
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanSysCmdUpgrade(a[0].c_str(), mode, method, reboot, s, m);
             });
         }},
        {"system", "clear-upgrade-status", "clear the upgrade status", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdClearUpgradeStatus); }},
        {"system", "clear-restore-status", "clear the restore status", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanSysCmdClearRestoreStatus); }},
        {"system", "check-ua-passwd", "check the user account password", {"PASSWORD"}, false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanSysCmdCheckUAPasswd(a[0].c_str(), s, m); });
         }},
        {"system", "set-ua-passwd", "set the user account password", {"PASSWORD"}, false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanSysCmdSetUAPasswd(a[0].c_str(), s, m); });
         }},
        {"system", "check-ta-passwd", "check the technician account password", {"PASSWORD"}, false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanSysCmdCheckTAPasswd(a[0].c_str(), s, m); });
         }},
        {"system", "ua-passwd", "show the user account password", {}, false, false,
         [](Args, CommandResult &o) { return reported_value(o, OvanSysCmdGetUAPasswd); }},
        {"system", "ta-passwd", "show the technician account password", {}, false, false,
         [](Args, CommandResult &o) { return reported_value(o, OvanSysCmdGetTAPasswd); }},
        {"system", "upload-trouble-info", "upload trouble locating information", {"URL", "CATEGORY"}, false, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanSysCmdUploadTroubleLocationInfo(a[0].c_str(), a[1].c_str(), s, m);
             });
         }},
        {"system", "collect-debug-info", "start collecting debug information (TIMEOUT in seconds)",
         {"URL", "CATEGORY", "TIMEOUT"}, false, false,
         [](Args a, CommandResult &o) {
             auto timeout = number<uint16_t>(a[2], "TIMEOUT");
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanSysCmdStartCollectionDebugInfo(a[0].c_str(), a[1].c_str(), timeout, s, m);
             });
         }},

        {"wifi", "disconnect-client", "disconnect a client (MAC, 12 hex digits) from SSID index 1..8",
         {"MAC", "SSID_INDEX"}, false, true,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanWiFiDiscClient(a[0].c_str(), a[1].c_str(), s, m);
             });
         }},
        {"wifi", "same-ssid", "give a 2.4 GHz and a 5 GHz SSID one common SSID", {"INDEX_24G", "INDEX_5G"}, false,
         true,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanWiFiSetSameSSID(a[0].c_str(), a[1].c_str(), s, m);
             });
         }},
        {"wifi", "cancel-same-ssid", "cancel the common SSID", {}, false, true,
         [](Args, CommandResult &o) { return reported(o, OvanWiFiCancelSameSSID); }},
        {"wifi", "switch-channel", "switch the channel of a band", {"BAND"}, false, true,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanWiFiSwitchChannel(a[0].c_str(), s, m); });
         }},
        {"wifi", "channel-scan", "request a channel scan of a band", {"BAND"}, false, true,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanWiFiChannelCollectionRequest(a[0].c_str(), s, m);
             });
         }},
        {"wifi", "channel-score", "show the channel scan's scores of a band", {"BAND"}, false, true,
         [](Args a, CommandResult &o) {
             return reported_value(o, [&](char **v, uint32_t *s, char **m) {
                 return OvanWiFiChannelCollection(a[0].c_str(), v, s, m);
             });
         }},
        {"wlan", "ssid-index", "show the index of the first SSID with this name", {"SSID"}, false, true,
         [](Args a, CommandResult &o) {
             uint32_t index = 0;
             o.has_status = false;
             int32_t rc = OvanGetSSIDIndexBySSID(a[0].c_str(), &index);
             o.result = std::to_string(index);
             return rc;
         }},
        {"wps", "start", "start a WPS action on PATH (.../Devices/N/WPS)", {"PATH", "MODE", "VALUE"}, false, true,
         [](Args a, CommandResult &o) {
             OvanObjPath_t path = object_path(a[0]);
             auto mode = number<int>(a[1], "MODE");
             auto value = number<uint32_t>(a[2], "VALUE");
             return reported(o, [&](uint32_t *s, char **m) { return OvanSetWPS(path, mode, value, s, m); });
         }},
        {"lanhost", "path-by-mac", "show the path of the host with this MAC", {"MAC"}, false, false,
         [](Args a, CommandResult &o) {
             return reported_value(o, [&](char **v, uint32_t *s, char **m) {
                 return OvanGetLANHostPathbyMAC(a[0].c_str(), v, s, m);
             });
         }},
        {"filter", "add", "add an incoming filter rule (PROTOCOL 0..2, PORT 0..65535, INTERFACE 0/1; "
                          "REMOTE_IP '' for any host)",
         {"REMOTE_IP", "PROTOCOL", "PORT", "INTERFACE"}, false, false,
         [](Args a, CommandResult &o) {
             auto proto = number<int32_t>(a[1], "PROTOCOL");
             auto port = number<int32_t>(a[2], "PORT");
             auto iface = number<int32_t>(a[3], "INTERFACE");
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanIncomingFilterAddEntry(a[0].c_str(), proto, port, iface, s, m);
             });
         }},
        {"filter", "delete", "delete an incoming filter rule (arguments as for add)",
         {"REMOTE_IP", "PROTOCOL", "PORT", "INTERFACE"}, true, false,
         [](Args a, CommandResult &o) {
             auto proto = number<int32_t>(a[1], "PROTOCOL");
             auto port = number<int32_t>(a[2], "PORT");
             auto iface = number<int32_t>(a[3], "INTERFACE");
             return reported(o, [&](uint32_t *s, char **m) {
                 return OvanIncomingFilterDelEntry(a[0].c_str(), proto, port, iface, s, m);
             });
         }},
    };
}

Contribution base()
{
    return {base_entries(), base_commands(), {{"filter", "the incoming filter (add and delete rules)"}}};
}

const FamilyRegistrar kBase("00-base", base);

// Registrars run before main, in no set order: gather them once, sorted by key.
struct Registry {
    std::vector<Entry> entries;
    std::vector<Command> commands;
    std::vector<std::pair<std::string, std::string>> object_help;
};

std::vector<std::pair<const char *, Contribution (*)()>> &registrars()
{
    static std::vector<std::pair<const char *, Contribution (*)()>> all;
    return all;
}

const Registry &registry()
{
    static const Registry all = [] {
        auto list = registrars();
        std::sort(list.begin(), list.end(),
                  [](const auto &a, const auto &b) { return std::strcmp(a.first, b.first) < 0; });
        Registry r;
        for (const auto &[order, make] : list) {
            Contribution c = make();
            r.entries.insert(r.entries.end(), c.entries.begin(), c.entries.end());
            r.commands.insert(r.commands.end(), c.commands.begin(), c.commands.end());
            r.object_help.insert(r.object_help.end(), c.object_help.begin(), c.object_help.end());
        }
        return r;
    }();
    return all;
}

}  // namespace

FamilyRegistrar::FamilyRegistrar(const char *order, Contribution (*make)())
{
    registrars().emplace_back(order, make);
}

const std::vector<Entry> &entries()
{
    return registry().entries;
}

const std::vector<Command> &commands()
{
    return registry().commands;
}

std::string first_parent(const Entry &e)
{
    if (!e.parent || !e.below)
        return "";
    for (const Entry &p : entries()) {
        if (std::string(p.object) != e.parent || *p.layout || !p.list)
            continue;
        void *objs = nullptr;
        uint32_t n = 0, status = 0;
        char *message = nullptr;
        std::string path;
        if (p.list(&objs, &n, &status, &message) == 0 && objs && n > 0)
            path = std::string(static_cast<const char *>(objs)) + e.below;
        release_lists(*p.table, objs, objs ? n : 0);
        g_free(objs);
        g_free(message);
        return path;
    }
    return "";
}

const char *command_object_help(const std::string &object)
{
    for (const auto &[name, help] : registry().object_help)
        if (name == object)
            return help.c_str();
    return "commands";
}

}  // namespace lumoctl
