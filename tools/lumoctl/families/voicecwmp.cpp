// lumoctl: voice diagnostics, IPv6 LAN services and CWMP parameters.
#include <string>

#include "gateway/voicecwmp_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

// CWMP listings come back as "name=value" lines.
template <typename Row, typename Line>
void rows_as_text(CommandResult &o, Row *rows, uint32_t n, Line line)
{
    for (uint32_t i = 0; i < n; i++)
        o.result += (i ? "\n" : "") + line(rows[i]);
    g_free(rows);
}

std::vector<Entry> entries()
{
    return {
        {.object = "iad", .layout = "", .help = "the IAD registration test result", .table = &gw::voicecwmp::kIADTable,
         .get = Adapt<OvanGetIADDiagnostics>::rec},
        {.object = "voice-poorquality", .layout = "", .help = "statistics of poor-quality calls",
         .table = &gw::voicecwmp::kPoorQualityTable, .get_at = Adapt<OvanGetVoicePoorQualityStats>::at,
         .list = Adapt<OvanGetVoicePoorQualityStatsObjs>::list},
        {.object = "voip-simtest", .layout = "", .help = "the simulated call test",
         .table = &gw::voicecwmp::kSimulateTestTable, .get = Adapt<OvanGetVOIPSimulateTestConfig>::rec,
         .writable = fields({gw::voicecwmp::kSimulateTestWritable}),
         .set = Adapt<OvanSetVOIPSimulateTestConfig>::set},
        {.object = "phone", .layout = "", .help = "the phone line connectivity", .table = &gw::voicecwmp::kPhoneTable,
         .get = Adapt<OvanGetPhoneConnectvityInfo>::rec},
        {.object = "ipv6lan", .layout = "", .help = "IPv6 LAN addressing", .table = &gw::voicecwmp::kIPv6LANTable,
         .get = Adapt<OvanGetIPV6LANConfig>::rec, .writable = fields({gw::voicecwmp::kIPv6LAN}),
         .set = Adapt<OvanSetIPV6LANConfig>::set},
        {.object = "dhcpv6", .layout = "", .help = "the DHCPv6 server", .table = &gw::voicecwmp::kDHCPv6Table,
         .get = Adapt<OvanGetDHCPV6Server>::rec, .writable = fields({gw::voicecwmp::kDHCPv6}),
         .set = Adapt<OvanSetDHCPV6Server>::set},
        {.object = "ra", .layout = "", .help = "IPv6 router advertisements", .table = &gw::voicecwmp::kRATable,
         .get = Adapt<OvanGetRAConfig>::rec, .writable = fields({gw::voicecwmp::kRA}),
         .set = Adapt<OvanSetRAConfig>::set},
    };
}

std::vector<Command> commands()
{
    return {
        {"iad", "start", "start the IAD registration test against SERVER (1 or 2)", {"SERVER"}, false, false,
         [](Args a, CommandResult &o) {
             auto server = number<uint32_t>(a[0], "SERVER");
             return reported(o, [&](uint32_t *s, char **m) { return OvanStartIADDiagTest(server, s, m); });
         }},
        {"voip-simtest", "start", "start the simulated call test", {"TYPE"}, false, false,
         [](Args a, CommandResult &o) {
             auto type = number<uint32_t>(a[0], "TYPE");
             return reported(o, [&](uint32_t *s, char **m) { return OvanStartVoIPSimulateTest(type, s, m); });
         }},
        {"phone", "test", "start the phone line connectivity test", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanStartPhoneConnectivityTest); }},
        {"cwmp", "add-object", "add an instance of a CWMP object (shows its number)", {"OBJECT"}, false, false,
         [](Args a, CommandResult &o) {
             uint32_t instance = 0;
             int32_t rc = reported(
                 o, [&](uint32_t *s, char **m) { return OvanCWMPAddObject(a[0].c_str(), &instance, s, m); });
             if (rc == 0)
                 o.result = std::to_string(instance);
             return rc;
         }},
        {"cwmp", "delete-object", "delete a CWMP object instance", {"OBJECT"}, true, false,
         [](Args a, CommandResult &o) {
             return reported(o, [&](uint32_t *s, char **m) { return OvanCWMPDeleteObject(a[0].c_str(), s, m); });
         }},
        {"cwmp", "set", "set one CWMP parameter", {"NAME", "VALUE"}, false, false,
         [](Args a, CommandResult &o) {
             OvanCWMPParamValue_t pair{};
             if (a[0].size() >= sizeof pair.Name || a[1].size() >= sizeof pair.Value)
                 throw Failure{kExitRefused, "name or value too long (at most 511 characters)"};
             a[0].copy(pair.Name, a[0].size());
             a[1].copy(pair.Value, a[1].size());
             return reported(o, [&](uint32_t *s, char **m) { return OvanCWMPSetParameterValues(&pair, 1, s, m); });
         }},
        {"cwmp", "get", "show CWMP parameter values (NAMES separated by ',')", {"NAMES"}, false, false,
         [](Args a, CommandResult &o) {
             OvanCWMPParamValue_t *vals = nullptr;
             uint32_t n = 0;
             int32_t rc = reported(
                 o, [&](uint32_t *s, char **m) { return OvanCWMPGetParameterValues(a[0].c_str(), &vals, &n, s, m); });
             rows_as_text(o, vals, rc == 0 ? n : 0,
                          [](const OvanCWMPParamValue_t &v) { return std::string(v.Name) + "=" + v.Value; });
             return rc;
         }},
        {"cwmp", "names", "list CWMP parameter names below PATH (NEXTLEVEL 1: direct children only)",
         {"PATH", "NEXTLEVEL"}, false, false,
         [](Args a, CommandResult &o) {
             auto next = number<int32_t>(a[1], "NEXTLEVEL");
             OvanCWMPParamName_t *names = nullptr;
             uint32_t n = 0;
             int32_t rc = reported(o, [&](uint32_t *s, char **m) {
                 return OvanCWMPGetParameterNames(a[0].c_str(), next, &names, &n, s, m);
             });
             rows_as_text(o, names, rc == 0 ? n : 0, [](const OvanCWMPParamName_t &v) {
                 return std::string(v.Name) + (v.Writable ? " (writable)" : "");
             });
             return rc;
         }},
    };
}

Contribution voicecwmp()
{
    return {entries(), commands(), {{"cwmp", "the remote-management (CWMP) parameter tree"}}};
}

const FamilyRegistrar kVoiceCWMP("61-voicecwmp", voicecwmp);

}  // namespace
}  // namespace lumoctl
