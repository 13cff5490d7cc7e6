// PPPoE account, DHCP server, port mapping, platform service and incoming filter.
#include <cstring>
#include <syslog.h>

#include "gateway/netsvc_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_netsvc.h"
#include "lumo3_validate.h"
#include "util/refusal.hpp"

namespace {

using namespace lumo::gw;
using lumo::GStr;

constexpr const char kDHCPPath[] = "/com/quv/igd1/Config/DHCPServer";
constexpr const char kPortMappings[] = "/com/quv/igd1/Config/PortMapping";
constexpr const char kPortMappingPrefix[] = "/com/quv/igd1/Config/PortMapping/";
constexpr const char kPlatformPath[] = "/com/quv/igd1/Tevra/PlatformService";
constexpr const char kFilterPath[] = "/com/quv/igd1/Config/IncomingFilter";
constexpr const char kFilterIface[] = "com.quv.igd1.IncomingFilter";


constexpr Instances kRules{&netsvc::kPortMappingTable, kPortMappings, kPortMappingPrefix};

bool port_mapping_ok(const char *tag, const OvanPortMapping_t &rec)
{
    using namespace lumo::refusal;
    return (rec.RemoteHost[0] == '\0' || judged(tag, "RemoteHost", rec.RemoteHost, is_valid_ipaddr)) &&
           judged(tag, "InternalClient", rec.InternalClient, is_valid_ipaddr) &&
           in_range(tag, "InternalPort", rec.InternalPort, 1, 65535) &&
           in_range(tag, "ExternalPort", rec.ExternalPort, 1, 65535) &&
           one_of(tag, "PortMappingProtocol", rec.PortMappingProtocol, {"TCP", "UDP", "BOTH"});
}

// Fixed-width fields filled by a caller need not be terminated: check them as text
// only when they are.
template <size_t N>
bool terminated(const char (&field)[N])
{
    return std::memchr(field, '\0', N) != nullptr;
}

int32_t filter_entry(const char *tag, const char *method, const char *fail_message, const char *remote_ip,
                     int32_t protocol, int32_t port, int32_t interface, uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "enter, remoteIp (%s), protocol(%d), port (%d), interface (%d).", or_empty(remote_ip),
             protocol, port, interface);
    const bool ip_ok = !remote_ip || !*remote_ip || is_valid_ipaddr(remote_ip);
    if (!ip_ok || protocol < 0 || protocol > 2 || port < 0 || port > 65535 || interface < 0 || interface > 1) {
        lumo_log(tag, LOG_ERR, "Invalid Parameters.");
        return -1;  // status and message stay as they were
    }
    GStr fail_line(g_strdup_printf("Call %s() fail.", method));
    GStr message_line(g_strdup_printf("Call %s() errmsg [%%s].", tag));
    const CommandSpec shape{tag, kFilterPath, kFilterIface, method, fail_line.get(), fail_message, message_line.get()};
    ArgTuple args(tag);
    args.s("remoteIp", remote_ip)
        .y(static_cast<uint8_t>(protocol))
        .u(static_cast<uint32_t>(port))
        .y(static_cast<uint8_t>(interface));
    return run_command(shape, args, status, errmsg);
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetPPPoEConfig(OvanPPPoEConfig_t *info)
{
    return get_singleton({"OvanGetPPPoEConfig", &netsvc::kPPPoETable, 255}, "enter", "/com/quv/igd1/Tevra/PPPoE",
                         info);
}

LUMO3_API int32_t OvanGetDHCPServer(OvanDHCPServer_t *info)
{
    return get_singleton({"OvanGetDHCPServer", &netsvc::kDHCPServerTable, 255}, "enter", kDHCPPath, info);
}

LUMO3_API int32_t OvanSetDHCPServer(OvanDHCPServer_t *rec)
{
    static const char tag[] = "OvanSetDHCPServer";
    lumo_log(tag, LOG_DEBUG, "enter");
    using lumo::refusal::judged;
    if (!rec || !terminated(rec->MinAddress) || !terminated(rec->MaxAddress) || !terminated(rec->IPAddr) ||
        !terminated(rec->SubnetMask) || !judged(tag, "MinAddress", rec->MinAddress, is_valid_ipaddr) ||
        !judged(tag, "MaxAddress", rec->MaxAddress, is_valid_ipaddr) ||
        !judged(tag, "IPAddr", rec->IPAddr, is_valid_ipaddr) ||
        !judged(tag, "SubnetMask", rec->SubnetMask, is_valid_ipaddr)) {
        lumo_log(tag, LOG_ERR, "Invalid parameter.");
        return -1;
    }
    return set_fields(kDHCPPath, netsvc::kDHCPServerTable.interface, netsvc::kDHCPServer, rec, tag);
}

LUMO3_API int32_t OvanGetPortMappingObjs(OvanPortMapping_t **objs, uint32_t *num)
{
    static const char tag[] = "OvanGetPortMappingObjs";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    return enumerate({tag, &netsvc::kPortMappingTable, "entry num (%d)", 255}, kPortMappings,
                     reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetPortMapping(OvanObjPath_t path, OvanPortMapping_t *rec)
{
    return instance_get({"OvanGetPortMapping"}, kRules, path, rec);
}

LUMO3_API int32_t OvanSetPortMapping(OvanObjPath_t path, OvanPortMapping_t *rec)
{
    static const char tag[] = "OvanSetPortMapping";
    const bool shown_ok = rec && terminated(rec->RemoteHost) && terminated(rec->InternalClient) &&
                          terminated(rec->PortMappingProtocol);
    lumo_log(tag, LOG_DEBUG, "enter, path = %s, host = %s, client = %s, protocol = %s", ShownPath(path).text,
             shown_ok ? rec->RemoteHost : "", shown_ok ? rec->InternalClient : "",
             shown_ok ? rec->PortMappingProtocol : "");
    if (!shown_ok || !instance_arg_ok(kRules, path) || !port_mapping_ok(tag, *rec)) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    return set_fields(path.str, netsvc::kPortMappingTable.interface, netsvc::kPortMapping, rec, tag);
}

LUMO3_API int32_t OvanAddPortMapping(OvanPortMapping_t *rec)
{
    static const char tag[] = "OvanAddPortMapping";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, kRules, rec, netsvc::kPortMapping,
        [](OvanObjPath_t p, void *r) { return OvanSetPortMapping(p, static_cast<OvanPortMapping_t *>(r)); },
        OvanDelPortMapping);
}

LUMO3_API int32_t OvanDelPortMapping(OvanObjPath_t path)
{
    return instance_delete({"OvanDelPortMapping", "Invalid Parameter."}, kRules, path);
}

LUMO3_API int32_t OvanGetPlatformService(OvanPlatformService_t *info)
{
    return get_singleton({"OvanGetPlatformService", &netsvc::kPlatformServiceTable, 255}, "enter", kPlatformPath,
                         info);
}

LUMO3_API int32_t OvanSetPlatformService(uint32_t mask, OvanPlatformService_t *rec)
{
    static const char tag[] = "OvanSetPlatformService";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!rec || rec->Ability > 1) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    // The selected groups, in their fixed order, as one dictionary (empty when no
    // group is selected).
    Field selected[std::size(netsvc::kPlatformService)];
    size_t n = 0;
    for (const auto &group : netsvc::kPlatformGroups)
        if (mask & group.bit)
            for (const Field &f : group.fields)
                selected[n++] = f;
    return set_fields(kPlatformPath, netsvc::kPlatformServiceTable.interface, Fields(selected, n), rec, tag);
}

LUMO3_API int32_t OvanIncomingFilterAddEntry(const char *remoteIp, int32_t protocol, int32_t port, int32_t interface,
                                             uint32_t *status, char **errmsg)
{
    return filter_entry("OvanIncomingFilterAddEntry", "AddIncomingEntry", "Failed to call AddIncomingEntry() function.",
                        remoteIp, protocol, port, interface, status, errmsg);
}

LUMO3_API int32_t OvanIncomingFilterDelEntry(const char *remoteIp, int32_t protocol, int32_t port, int32_t interface,
                                             uint32_t *status, char **errmsg)
{
    return filter_entry("OvanIncomingFilterDelEntry", "DelIncomingEntry", "Failed to call DelIncomingEntry() function.",
                        remoteIp, protocol, port, interface, status, errmsg);
}

}  // extern "C"
