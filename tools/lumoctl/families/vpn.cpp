// lumoctl objects "vpn", "vpn-client" and "vpn-stats": VPN connections of the
// gateway and of the external VPN client, and connection statistics.
#include <cstring>

#include "gateway/vpn_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {

namespace {

namespace gw = lumo::gw;
using namespace reg;

// The connections have no instance getter: one is found in the listing, by path or
// by tunnel name, and handed over with its lists (the rest of the listing is freed).
template <typename R, int32_t (*List)(R **, uint32_t *)>
int32_t find_listed(const char *field, const char *value, void *out)
{
    R *objs = nullptr;
    uint32_t n = 0;
    if (List(&objs, &n) != 0)
        return -1;
    int32_t rc = -1;
    for (uint32_t i = 0; i < n; i++) {
        const char *key = std::strcmp(field, "path") == 0 ? objs[i].path : objs[i].tunnel_name;
        if (rc != 0 && std::strcmp(key, value) == 0) {
            std::memcpy(out, &objs[i], sizeof(R));
            rc = 0;
            continue;
        }
        g_free(objs[i].domains);
        g_free(objs[i].ips);
        g_free(objs[i].terminal_mac);
    }
    g_free(objs);
    return rc;
}

template <typename R, int32_t (*List)(R **, uint32_t *)>
int32_t at_path(OvanObjPath_t p, void *rec)
{
    return find_listed<R, List>("path", p.str, rec);
}

template <typename R, int32_t (*List)(R **, uint32_t *)>
int32_t by_name(const char *name, void *rec, uint32_t *, char **)
{
    return find_listed<R, List>("tunnel_name", name, rec);
}

// The fields a write sends (vpn_status, vpn_debug and the client's run-time fields
// are the services' own).
template <const auto &T>
std::vector<Field> writable()
{
    using S = gw::vpn::Send<T>;
    return fields({S::head, S::proxy, S::tail, S::attach_mode, S::addresses, S::macs});
}

template <typename R, int32_t (*List)(R **, uint32_t *)>
Entry connections(const char *object, const char *help, const RecordTable *table, std::vector<Field> w,
                  SetAtFn set_at, AddFn add, DelFn del)
{
    return {.object = object, .layout = "", .help = help, .table = table, .get_at = at_path<R, List>,
            .keys = {{"name", "the connection's tunnel name", false, by_name<R, List>}}, .get_from_listing = true,
            .list = Adapt<List>::list, .writable = std::move(w), .set_at = set_at, .add = add, .del = del};
}

using Destinations = int32_t (*)(const char *, const char *, const char *, const char *);

// attach/detach TUNNEL IPS DOMAINS MACS ('' for a list not given).
template <Destinations F>
int32_t destinations(Args a, CommandResult &o)
{
    o.has_status = false;
    return F(a[0].c_str(), a[1].c_str(), a[2].c_str(), a[3].c_str());
}

template <int32_t (*F)(const char *)>
int32_t by_name_only(Args a, CommandResult &o)
{
    o.has_status = false;
    return F(a[0].c_str());
}

Contribution vpn()
{
    std::vector<Entry> entries = {
        connections<OvanVPNConnection_t, OvanGetVPNConnObjs>(
            "vpn", "VPN connections of the gateway", &gw::vpn::kConnectionTable, writable<gw::vpn::kConnection>(),
            Adapt<OvanSetVPNConnection>::at, Adapt<OvanAddVPNConnection>::rec, OvanDelVPNConnection),
        connections<OvanUptVPNConnection_t, OvanGetUptVPNConnObjs>(
            "vpn-client", "VPN connections of the external VPN client", &gw::vpn::kUptConnectionTable,
            writable<gw::vpn::kUptConnection>(), Adapt<OvanSetUptVPNConnection>::at,
            Adapt<OvanAddUptVPNConnection>::rec, OvanDelUptVPNConnection),
        {.object = "vpn-stats", .layout = "", .help = "statistics of a VPN connection (PATH .../Stats)",
         .table = &gw::vpn::kStatsTable, .get_at = Adapt<OvanGetVPNConnectionStatus>::at},
    };
    const std::vector<const char *> lists = {"TUNNEL", "IPS", "DOMAINS", "MACS"};
    static const char attach_help[] = "replace the tunnel's destinations (';'-separated lists, '' for none)";
    static const char detach_help[] = "remove the stored destinations found within the lists";
    std::vector<Command> commands = {
        {"vpn", "delete-by-name", "delete the connection of this tunnel name", {"TUNNEL"}, true, false,
         by_name_only<OvanDelVPNConnByName>},
        {"vpn", "attach", attach_help, lists, false, false, destinations<OvanAttachVPNConnection>},
        {"vpn", "detach", detach_help, lists, false, false, destinations<OvanDetachVPNConnection>},
        {"vpn-client", "delete-by-name", "delete the client connection of this tunnel name", {"TUNNEL"}, true,
         false, by_name_only<OvanDelUptVPNConnByName>},
        {"vpn-client", "attach", attach_help, lists, false, false, destinations<OvanAttachUptVPNConnection>},
        {"vpn-client", "detach", detach_help, lists, false, false, destinations<OvanDetachUptVPNConnection>},
    };
    return {std::move(entries), std::move(commands)};
}

const FamilyRegistrar kVpn("65-vpn", vpn);

}  // namespace

}  // namespace lumoctl
