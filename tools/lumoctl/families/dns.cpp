// lumoctl objects "dns", "dns6", "dns-tunnel" and "ddns": upstream DNS servers, DNS
// tunnels and dynamic-DNS instances.
#include "gateway/dns_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {

namespace {

namespace gw = lumo::gw;
using namespace reg;

template <int32_t (*F)(const char *, const char *)>
int32_t server_and_domains(Args a, CommandResult &o)
{
    o.has_status = false;
    return F(a[0].c_str(), a[1].c_str());
}

Contribution dns()
{
    std::vector<Entry> entries = {
        {.object = "dns", .layout = "", .help = "the IPv4 DNS servers", .table = &gw::dns::kServerTable,
         .get = Adapt<OvanGetDNSServerConfig>::rec, .writable = fields({gw::dns::kServer}),
         .set = Adapt<OvanSetDNSServerConfig>::set},
        {.object = "dns6", .layout = "", .help = "the IPv6 DNS servers", .table = &gw::dns::kServer6Table,
         .get = Adapt<OvanGetDNS6ServerConfig>::rec, .writable = fields({gw::dns::kServer6}),
         .set = Adapt<OvanSetDNS6ServerConfig>::set},
        {.object = "dns-tunnel", .layout = "", .help = "DNS tunnels (domains resolved by a server of their own)",
         .table = &gw::dns::kTunnelTable, .list = Adapt<OvanGetDNSTunnelObjs>::list, .del = OvanDelDNSTunnel},
        {.object = "ddns", .layout = "", .help = "dynamic-DNS instances", .table = &gw::dns::kDDNSTable,
         .get_at = Adapt<OvanGetDDNSServerInstance>::at, .list = Adapt<OvanGetDDNSServerObjs>::list,
         .writable = fields({gw::dns::kDDNSWritable}), .set_at = Adapt<OvanSetDDNSServerInstance>::at,
         .add = Adapt<OvanAddDDNSServerInstance>::rec, .del = OvanDelDDNSServerInstance},
    };
    std::vector<Command> commands = {
        {"dns", "flush", "flush the DNS cache", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanFlushDNS); }},
        {"dns6", "flush", "flush the IPv6 DNS cache", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanFlushDNS6); }},
        {"dns-tunnel", "create", "create a tunnel (DOMAINS ';'-separated)", {"SERVER", "DOMAINS"}, false, false,
         server_and_domains<OvanAddDNSTunnel>},
        {"dns-tunnel", "write", "replace a tunnel's server and domains", {"PATH", "SERVER", "DOMAINS"}, false,
         false,
         [](Args a, CommandResult &o) {
             o.has_status = false;
             return OvanSetDNSTunnel(object_path(a[0]), a[1].c_str(), a[2].c_str());
         }},
        {"dns-tunnel", "attach", "add domains to the tunnel of SERVER", {"SERVER", "DOMAINS"}, false, false,
         server_and_domains<OvanDNSTunnelAttachDomain>},
        {"dns-tunnel", "detach", "remove domains from the tunnel of SERVER (deleted when none is left)",
         {"SERVER", "DOMAINS"}, false, false, server_and_domains<OvanDNSTunnelDetachDomain>},
    };
    return {std::move(entries), std::move(commands)};
}

const FamilyRegistrar kDns("66-dns", dns);

}  // namespace

}  // namespace lumoctl
