// Upstream DNS servers (IPv4 and IPv6), DNS tunnels and dynamic-DNS instances.
#include <cstring>
#include <syslog.h>

#include "gateway/dns_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_dns.h"
#include "lumo3_validate.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kDNSPath[] = "/com/quv/igd1/Network/dns";
constexpr const char kDNS6Path[] = "/com/quv/igd1/Network/dnsv6";
constexpr const char kTunnelPrefix[] = "/com/quv/igd1/Network/dns/";
constexpr const char kDDNSPath[] = "/com/quv/igd1/Network/ddns";
constexpr const char kDDNSPrefix[] = "/com/quv/igd1/Network/ddns/";
constexpr Instances kTunnels{&dns::kTunnelTable, kDNSPath, kTunnelPrefix};
constexpr Instances kDDNS{&dns::kDDNSTable, kDDNSPath, kDDNSPrefix};
// Merged and kept domain lists are built in a buffer of this size.
constexpr size_t kListBuffer = 512;

// A fixed-width field as a terminated copy.
template <size_t N>
GStr text(const char (&field)[N])
{
    return GStr(g_strndup(field, N));
}

template <typename R>
int32_t set_servers(const char *tag, const char *path, const RecordTable &table, R *obj, bool v6)
{
    lumo_log(tag, LOG_DEBUG, "enter");
    GStr s1 = obj ? text(obj->Server1) : GStr(g_strdup("")), s2 = obj ? text(obj->Server2) : GStr(g_strdup(""));
    if (!obj || (!*s1 && !*s2)) {
        lumo_log(tag, LOG_ERR, "Invalid parameter.");
        return -1;
    }
    // A name with a dot is accepted as it is; the v6 servers also take IPv6 addresses.
    auto ok = [v6](const char *s) {
        return !*s || is_valid_ipaddr(s) || std::strchr(s, '.') || (v6 && is_valid_ip6_address(s));
    };
    if (!ok(s1.get())) {
        lumo_log(tag, LOG_ERR, "Invalid dns Server1.");
        return -1;
    }
    if (!ok(s2.get())) {
        lumo_log(tag, LOG_ERR, "Invalid dns Server2.");
        return -1;
    }
    return set_fields(path, table.interface, table.fields, obj, tag);
}

int32_t flush(const char *tag, const char *path, const char *iface, uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "enter");
    const CommandSpec shape{tag, path, iface, "FlushDNS", "Failed to call FlushDNS() function.",
                            "Failed to call FlushDNS() function.", nullptr};
    int32_t ret = run_command(shape, nullptr, status, errmsg);
    lumo_log(tag, LOG_DEBUG, "OvanFlushDNS(%s)", ret == 0 ? "OVAN_OK" : "OVAN_NOK");
    return ret;
}

const CollectionSpec kTunnelWalk{"OvanGetDNSTunnelObjs", &dns::kTunnelTable, "entry num (%d)", 255};

// The tunnel serving `serverip` among the listed ones; logs the listing's outcome.
const OvanDNSTunnel_t *find_tunnel(const char *tag, Listing &listing, const char *serverip)
{
    int32_t ret = listing.load(kService, {tag, &dns::kTunnelTable, "entry num (%d)", 255}, kDNSPath);
    if (ret != 0 || listing.size() == 0) {
        lumo_log(tag, LOG_ERR, "OvanGetDNSTunnelObjs: ret (%d), num (%d)", ret, static_cast<int>(listing.size()));
        return nullptr;
    }
    lumo_log(tag, LOG_DEBUG, "OvanGetDNSTunnelObjs: num (%d)", static_cast<int>(listing.size()));
    auto *tunnel = static_cast<const OvanDNSTunnel_t *>(listing.find("ServerIP", serverip));
    if (!tunnel)
        lumo_log(tag, LOG_ERR, "did not found the specified tunnel(%s)", or_empty(serverip));
    return tunnel;
}

OvanObjPath_t path_of(const OvanDNSTunnel_t &tunnel)
{
    OvanObjPath_t path{};
    std::memcpy(path.str, tunnel.path, sizeof path.str);
    return path;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetDNSServerConfig(OvanDNSServerConfig_t *obj)
{
    return get_singleton({"OvanGetDNSServerConfig", &dns::kServerTable, 255}, "enter", kDNSPath, obj);
}

LUMO3_API int32_t OvanGetDNS6ServerConfig(OvanDNS6ServerConfig_t *obj)
{
    return get_singleton({"OvanGetDNS6ServerConfig", &dns::kServer6Table, 255}, "enter", kDNS6Path, obj);
}

LUMO3_API int32_t OvanSetDNSServerConfig(OvanDNSServerConfig_t *obj)
{
    return set_servers("OvanSetDNSServerConfig", kDNSPath, dns::kServerTable, obj, false);
}

LUMO3_API int32_t OvanSetDNS6ServerConfig(OvanDNS6ServerConfig_t *obj)
{
    return set_servers("OvanSetDNS6ServerConfig", kDNS6Path, dns::kServer6Table, obj, true);
}

LUMO3_API int32_t OvanFlushDNS(uint32_t *status, char **errmsg)
{
    return flush("OvanFlushDNS", kDNSPath, dns::kServerTable.interface, status, errmsg);
}

LUMO3_API int32_t OvanFlushDNS6(uint32_t *status, char **errmsg)
{
    return flush("OvanFlushDNS6", kDNS6Path, dns::kServer6Table.interface, status, errmsg);
}

LUMO3_API int32_t OvanGetDNSTunnelObjs(OvanDNSTunnel_t **objs, uint32_t *count)
{
    lumo_log(kTunnelWalk.tag, LOG_DEBUG, "enter");
    if (!count)
        return -1;
    return enumerate(kTunnelWalk, kDNSPath, reinterpret_cast<void **>(objs), count);
}

LUMO3_API int32_t OvanSetDNSTunnel(OvanObjPath_t path, const char *server, const char *domains)
{
    static const char tag[] = "OvanSetDNSTunnel";
    lumo_log(tag, LOG_DEBUG, "enter, domain_name (%s), server (%s)", or_empty(domains), or_empty(server));
    if (!domains || !*domains || !server || !is_valid_ipaddr(server) || !instance_arg_ok(kTunnels, path)) {
        lumo_log(tag, LOG_ERR, "invalid parameter.");
        return -1;
    }
    if (!text_ok(tag, "domains", domains))
        return -1;
    lumo::GStrv pieces = split_list(domains, std::strlen(domains));
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&b, "{sv}", "ServerIP", g_variant_new_string(server));
    g_variant_builder_add(&b, "{sv}", "DomainName", string_array(pieces.get()));
    return set_dict_on(kService, path.str, dns::kTunnelTable.interface, g_variant_builder_end(&b));
}

LUMO3_API int32_t OvanAddDNSTunnel(const char *server, const char *domains)
{
    static const char tag[] = "OvanAddDNSTunnel";
    lumo_log(tag, LOG_DEBUG, "enter, server (%s), domain_name (%s)", or_empty(server), or_empty(domains));
    if (!server || !*server || !domains || !*domains) {
        lumo_log(tag, LOG_ERR, "invalid parameter.");
        return -1;
    }
    // Judged before the tunnel is created, which is never rolled back.
    if (!text_ok(tag, "domains", domains))
        return -1;
    OvanObjPath_t path{};
    if (add_object_on(kService, kDNSPath, path.str, sizeof path.str) != 0) {
        lumo_log(tag, LOG_ERR, "AddObject failed.");
        return -1;
    }
    // No roll-back: a tunnel the write refuses stays, as the gateway expects.
    return OvanSetDNSTunnel(path, server, domains);
}

LUMO3_API int32_t OvanDelDNSTunnel(OvanObjPath_t path)
{
    static const char tag[] = "OvanDelDNSTunnel";
    int32_t ret = instance_delete({tag}, kTunnels, path);
    if (!instance_arg_ok(kTunnels, path))
        return ret;  // refused, nothing sent
    lumo_log(tag, LOG_DEBUG, "DeleteObject returns (%d)", ret);
    return ret;
}

LUMO3_API int32_t OvanDNSTunnelAttachDomain(const char *serverip, const char *domains)
{
    static const char tag[] = "OvanDNSTunnelAttachDomain";
    if (!serverip || !*serverip || !domains || !*domains)
        lumo_log(tag, LOG_ERR, "Invalid Parameters.");  // logged only: the merge goes on
    lumo_log(tag, LOG_DEBUG, "enter, serverip (%s), domain_name (%s)", or_empty(serverip), or_empty(domains));
    if (!text_ok(tag, "domains", domains))
        return -1;
    Listing listing(dns::kTunnelTable);
    const OvanDNSTunnel_t *tunnel = find_tunnel(tag, listing, serverip);
    if (!tunnel)
        return -1;
    char merged[kListBuffer] = "";
    for (uint32_t i = 0; tunnel->DomainName && i < tunnel->DomainNameNum; i++) {
        if (i > 0)
            g_strlcat(merged, ";", sizeof merged);
        g_strlcat(merged, text(tunnel->DomainName[i]).get(), sizeof merged);
    }
    lumo::GStrv pieces = split_list(domains, kListBuffer - 1);
    for (char **p = pieces.get(); *p; p++) {
        if (std::strstr(merged, *p))
            continue;  // held already, perhaps within a longer name
        if (*merged)
            g_strlcat(merged, ";", sizeof merged);
        g_strlcat(merged, *p, sizeof merged);
    }
    const OvanObjPath_t path = path_of(*tunnel);
    GStr server(g_strdup(serverip));
    return OvanSetDNSTunnel(path, server.get(), merged);
}

LUMO3_API int32_t OvanDNSTunnelDetachDomain(const char *serverip, const char *domains)
{
    static const char tag[] = "OvanDNSTunnelDetachDomain";
    if (!serverip || !*serverip || !domains || !*domains) {
        lumo_log(tag, LOG_ERR, "Invalid Parameters.");
        return -1;
    }
    lumo_log(tag, LOG_DEBUG, "enter, serverip (%s), domain_name (%s)", serverip, domains);
    Listing listing(dns::kTunnelTable);
    const OvanDNSTunnel_t *tunnel = find_tunnel(tag, listing, serverip);
    if (!tunnel)
        return -1;
    lumo::GStrv kept = entries_not_within(*field_named(dns::kTunnel, "DomainName"), tunnel, domains);
    const uint32_t n_kept = g_strv_length(kept.get());
    const uint32_t n_stored = tunnel->DomainName ? tunnel->DomainNameNum : 0;
    const OvanObjPath_t path = path_of(*tunnel);
    if (n_kept == n_stored)
        return 0;
    if (n_kept == 0)
        return OvanDelDNSTunnel(path);
    GStr joined(g_strjoinv(";", kept.get()));
    char list[kListBuffer] = "";
    g_strlcpy(list, joined.get(), sizeof list);
    return OvanSetDNSTunnel(path, serverip, list);
}

LUMO3_API int32_t OvanGetDDNSServerObjs(OvanDDNSServer_t **objs, uint32_t *count)
{
    static const char tag[] = "OvanGetDDNSServerObjs";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!count)
        return -1;
    return enumerate({tag, &dns::kDDNSTable, "entry num (%d)", 255}, kDDNSPath, reinterpret_cast<void **>(objs),
                     count);
}

LUMO3_API int32_t OvanGetDDNSServerInstance(OvanObjPath_t path, OvanDDNSServer_t *obj)
{
    return instance_get({"OvanGetDDNSServerInstance"}, kDDNS, path, obj);
}

LUMO3_API int32_t OvanSetDDNSServerInstance(OvanObjPath_t path, OvanDDNSServer_t *obj)
{
    static const char tag[] = "OvanSetDDNSServerInstance";
    if (int32_t ret = instance_begin({tag, "Invalid parameters.", "enter"}, kDDNS, path, obj != nullptr))
        return ret;
    if (obj->ServicePort >= 65536) {
        lumo_log(tag, LOG_ERR, "Invalid ServicePort");
        return -1;
    }
    return set_fields(path.str, dns::kDDNSTable.interface, dns::kDDNSWritable, obj, tag);
}

LUMO3_API int32_t OvanAddDDNSServerInstance(OvanDDNSServer_t *obj)
{
    static const char tag[] = "OvanAddDDNSServerInstance";
    lumo_log(tag, LOG_DEBUG, "enter");
    return instance_add(
        tag, kDDNS, obj, dns::kDDNSWritable,
        [](OvanObjPath_t p, void *r) { return OvanSetDDNSServerInstance(p, static_cast<OvanDDNSServer_t *>(r)); },
        OvanDelDDNSServerInstance);
}

LUMO3_API int32_t OvanDelDDNSServerInstance(OvanObjPath_t path)
{
    return instance_delete({"OvanDelDDNSServerInstance", "Invalid Parameter."}, kDDNS, path);
}

}  // extern "C"
