// VPN connections: the gateway's own and those of the external VPN client service.
// Both sets share one implementation; a Flavour holds what differs.
#include <cstring>
#include <string>
#include <utility>
#include <string_view>
#include <syslog.h>

#include "gateway/vpn_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_validate.h"
#include "lumo3_vpn.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

// Lists given to attach are read up to this many characters.
constexpr size_t kListChars = 511;

struct Flavour {
    Instances items;
    const char *entry_line;  // "enter." and its framework variant
    Fields head, proxy, tail, attach_mode, macs, addresses;
    int32_t (*setter)(OvanObjPath_t, void *);
    int32_t (*deleter)(OvanObjPath_t);
};

template <const auto &T>
constexpr Flavour flavour(const char *service, const char *collection, const char *prefix, const RecordTable *table,
                          const char *entry_line, int32_t (*setter)(OvanObjPath_t, void *),
                          int32_t (*deleter)(OvanObjPath_t))
{
    using P = vpn::Send<T>;
    return {{table, collection, prefix, nullptr, nullptr, service}, entry_line, P::head, P::proxy, P::tail,
            P::attach_mode, P::macs, P::addresses, setter, deleter};
}

int32_t set_gateway(OvanObjPath_t p, void *r)
{
    return OvanSetVPNConnection(p, static_cast<OvanVPNConnection_t *>(r));
}

int32_t set_client(OvanObjPath_t p, void *r)
{
    return OvanSetUptVPNConnection(p, static_cast<OvanUptVPNConnection_t *>(r));
}

constexpr Flavour kGateway = flavour<vpn::kConnection>(
    kService, "/com/quv/igd1/Network/VPN/Connection", "/com/quv/igd1/Network/VPN/Connection/",
    &vpn::kConnectionTable, "enter.", set_gateway, OvanDelVPNConnection);
constexpr Flavour kClient = flavour<vpn::kUptConnection>(
    "com.morvane.vpnclient1", "/com/morvane/vpnclient1/conn", "/com/morvane/vpnclient1/conn/",
    &vpn::kUptConnectionTable, "enter. vpn from framework", set_client, OvanDelUptVPNConnection);

// A string field of the record as text (fixed-width fields need not be terminated).
std::string_view text(const Flavour &fl, const void *record, const char *name)
{
    const Field *f = field_named(fl.items.table->fields, name);
    const char *s = static_cast<const char *>(record) + f->offset;
    return {s, strnlen(s, f->size)};
}

bool is_random(const Flavour &fl, const void *record)
{
    return text(fl, record, "vpn_mode") == "random";
}

bool values_ok(const Flavour &fl, const void *record)
{
    const std::string_view type = text(fl, record, "vpn_type"), mode = text(fl, record, "vpn_mode");
    if (type != "l2tp" && type != "pptp")
        return false;
    if (mode != "random" && mode != "steady")
        return false;
    if (mode == "random" && text(fl, record, "account_proxy").empty())
        return false;
    const std::string_view prio = text(fl, record, "vpn_priority");
    const std::string digits(prio);
    return is_valid_digit_str(digits.c_str()) && std::strtol(digits.c_str(), nullptr, 10) <= 7;
}

// A record whose texts passed record_text_ok always yields a dictionary.
void add_fields(GVariantBuilder *b, Fields fields, const void *record)
{
    GVariant *raw = build_dict(fields, record);
    if (!raw)
        return;
    GPtr<GVariant> part(g_variant_ref_sink(raw));
    GVariantIter it;
    g_variant_iter_init(&it, part.get());
    while (GVariant *entry = g_variant_iter_next_value(&it)) {
        g_variant_builder_add_value(b, entry);
        g_variant_unref(entry);
    }
}

// The stored settings that attach and detach send again, up to vpn_port: their field
// sets, in order, into `out`; returns how many.
size_t stored_fields(const Flavour &fl, const void *record, Fields *out)
{
    size_t n = 0;
    out[n++] = fl.head;
    if (is_random(fl, record))
        out[n++] = fl.proxy;
    out[n++] = fl.tail;
    return n;
}

void add_stored(const Flavour &fl, GVariantBuilder *b, const void *record)
{
    Fields parts[3];
    for (size_t i = 0, n = stored_fields(fl, record, parts); i < n; i++)
        add_fields(b, parts[i], record);
}

// Everything a set sends: the stored settings, the attach mode and the list that
// mode names. Returns how many field sets went into `out` (at most 5).
size_t set_fields_of(const Flavour &fl, const void *record, Fields *out)
{
    size_t n = stored_fields(fl, record, out);
    out[n++] = fl.attach_mode;
    const std::string mode(text(fl, record, "attach_mode"));
    const long attach = std::strtol(mode.c_str(), nullptr, 10);
    if (attach == 2)
        out[n++] = fl.macs;
    else if (attach == 1)
        out[n++] = fl.addresses;
    return n;
}

// Every text a caller may set is judged before anything goes out (an add judges them
// before the object is created), also those the mode leaves unsent: a record the bus
// could not carry is refused whatever its mode.
bool sendable(const Flavour &fl, const char *tag, const void *record)
{
    for (Fields part : {fl.head, fl.proxy, fl.tail, fl.attach_mode, fl.macs, fl.addresses})
        if (!record_text_ok(tag, part, record))
            return false;
    return true;
}

int32_t list(const Flavour &fl, const char *tag, void **objs, uint32_t *num)
{
    lumo_log(tag, LOG_DEBUG, "%s", fl.entry_line);
    if (!num)
        return -1;
    return enumerate_on(fl.items.service, {tag, fl.items.table, "entry num (%d)", 255}, fl.items.collection, objs, num);
}

int32_t set(const Flavour &fl, const char *tag, OvanObjPath_t &path, const void *record)
{
    lumo_log(tag, LOG_DEBUG, "%s", fl.entry_line);
    if (!instance_arg_ok(fl.items, path)) {
        lumo_log(tag, LOG_ERR, "Invalid Path.");
        return -1;
    }
    if (!record || !values_ok(fl, record)) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    if (!sendable(fl, tag, record))
        return -1;
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    Fields parts[5];
    for (size_t i = 0, n = set_fields_of(fl, record, parts); i < n; i++)
        add_fields(&b, parts[i], record);
    return set_dict_on(fl.items.service, path.str, fl.items.table->interface, g_variant_builder_end(&b));
}

int32_t add(const Flavour &fl, const char *tag, void *record)
{
    lumo_log(tag, LOG_DEBUG, "%s", fl.entry_line);
    if (!record) {
        lumo_log(tag, LOG_ERR, "Invalid parameters.");
        return -1;
    }
    if (!sendable(fl, tag, record))
        return -1;
    return add_with_rollback_on(fl.items.service, fl.items.collection, record, fl.setter, fl.deleter);
}

int32_t del(const Flavour &fl, const char *tag, OvanObjPath_t &path)
{
    return instance_delete({tag, "Invalid Parameter."}, fl.items, path);
}

int32_t del_by_name(const Flavour &fl, const char *tag, const char *name)
{
    lumo_log(tag, LOG_DEBUG, "enter, tunnelName (%s)", or_empty(name));
    if (!name) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }
    Listing listing(*fl.items.table);
    listing.load(fl.items.service, {tag, fl.items.table, "entry num (%d)", 255}, fl.items.collection);
    const char *found = static_cast<const char *>(listing.find("tunnel_name", name));
    if (!found) {
        lumo_log(tag, LOG_ERR, "did not found tunnelName (%s)", name);
        return -1;
    }
    return delete_object_on(fl.items.service, fl.items.collection, found);
}

bool given(const char *list)
{
    return list && *list;
}

int32_t attach(const Flavour &fl, const char *tag, const char *name, const char *ips, const char *domains,
               const char *macs)
{
    lumo_log(tag, LOG_DEBUG, "enter, tunnelName (%s), ipAddrList (%s), domainList (%s), macList (%s)",
             or_empty(name), or_empty(ips), or_empty(domains), or_empty(macs));
    if (!given(name) || !(given(ips) || given(domains) || given(macs)) ||
        (given(macs) && (given(ips) || given(domains)))) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }
    // The pieces of the lists go out as they are.
    for (const auto &[what, list] : {std::pair{"ipAddrList", ips}, std::pair{"domainList", domains},
                                     std::pair{"macList", macs}})
        if (!text_ok(tag, what, list, kListChars))
            return -1;
    Listing listing(*fl.items.table);
    if (listing.load(fl.items.service, {tag, fl.items.table, "entry num (%d)", 255}, fl.items.collection) != 0 ||
        listing.size() == 0) {
        lumo_log(tag, LOG_ERR, "Failed to get VPN Connections.");
        return -1;
    }
    const char *record = static_cast<const char *>(listing.find("tunnel_name", name));
    if (!record) {
        lumo_log(tag, LOG_ERR, "Failed to find specified VPN Connections.");
        return -1;
    }
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    add_stored(fl, &b, record);
    g_variant_builder_add(&b, "{sv}", "attach_mode", g_variant_new_string(given(macs) ? "2" : "1"));
    if (given(macs)) {
        lumo::GStrv pieces = split_list(macs, kListChars);
        g_variant_builder_add(&b, "{sv}", "terminal_mac", string_array(pieces.get()));
    } else {
        // Addresses and ranges go to ips, anything else to domains, whichever list
        // they came in.
        GVariantBuilder to_domains, to_ips;
        g_variant_builder_init(&to_domains, G_VARIANT_TYPE_STRING_ARRAY);
        g_variant_builder_init(&to_ips, G_VARIANT_TYPE_STRING_ARRAY);
        for (const char *list : {domains, ips}) {
            lumo::GStrv pieces = split_list(list, kListChars);
            for (char **p = pieces.get(); *p; p++) {
                const bool address = is_valid_ipaddr(*p) || is_valid_ip_range(*p);
                g_variant_builder_add(address ? &to_ips : &to_domains, "s", *p);
            }
        }
        g_variant_builder_add(&b, "{sv}", "domains", g_variant_builder_end(&to_domains));
        g_variant_builder_add(&b, "{sv}", "ips", g_variant_builder_end(&to_ips));
    }
    return set_dict_on(fl.items.service, record, fl.items.table->interface, g_variant_builder_end(&b));
}

int32_t detach(const Flavour &fl, const char *tag, const char *name, const char *ips, const char *domains,
               const char *macs)
{
    lumo_log(tag, LOG_DEBUG, "enter, tunnelName (%s), ipAddrList, domainList (%s), macList (%s)", or_empty(name),
             or_empty(domains), or_empty(macs));
    if (!name) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }
    Listing listing(*fl.items.table);
    listing.load(fl.items.service, {tag, fl.items.table, "entry num (%d)", 255}, fl.items.collection);
    const char *record = static_cast<const char *>(listing.find("tunnel_name", name));
    if (!record) {
        lumo_log(tag, LOG_ERR, "Failed to find specified VPN Connections.");
        return -1;
    }
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    add_stored(fl, &b, record);
    add_fields(&b, fl.attach_mode, record);
    const struct {
        const char *list;
        const char *argument;
    } lists[] = {{"domains", domains}, {"terminal_mac", macs}, {"ips", ips}};
    for (const auto &l : lists) {
        lumo::GStrv kept = entries_not_within(*field_named(fl.items.table->fields, l.list), record, l.argument);
        g_variant_builder_add(&b, "{sv}", l.list, string_array(kept.get()));
    }
    return set_dict_on(fl.items.service, record, fl.items.table->interface, g_variant_builder_end(&b));
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetVPNConnObjs(OvanVPNConnection_t **objs, uint32_t *num)
{
    return list(kGateway, "OvanGetVPNConnObjs", reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanSetVPNConnection(OvanObjPath_t path, OvanVPNConnection_t *rec)
{
    return set(kGateway, "OvanSetVPNConnection", path, rec);
}

LUMO3_API int32_t OvanAddVPNConnection(OvanVPNConnection_t *rec)
{
    return add(kGateway, "OvanAddVPNConnection", rec);
}

LUMO3_API int32_t OvanDelVPNConnection(OvanObjPath_t path)
{
    return del(kGateway, "OvanDelVPNConnection", path);
}

LUMO3_API int32_t OvanDelVPNConnByName(const char *tunnelName)
{
    return del_by_name(kGateway, "OvanDelVPNConnByName", tunnelName);
}

LUMO3_API int32_t OvanAttachVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                          const char *macList)
{
    return attach(kGateway, "OvanAttachVPNConnection", tunnelName, ipAddrList, domainList, macList);
}

LUMO3_API int32_t OvanDetachVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                          const char *macList)
{
    return detach(kGateway, "OvanDetachVPNConnection", tunnelName, ipAddrList, domainList, macList);
}

LUMO3_API int32_t OvanGetVPNConnectionStatus(OvanObjPath_t path, OvanVPNConnectionStats_t *stats)
{
    static const char tag[] = "OvanGetVPNConnectionStatus";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!stats || !instance_arg_ok(kGateway.items, path) ||
        !std::strstr(path.str, "Stats")) {
        lumo_log(tag, LOG_ERR, "Invalid Path");
        return -1;
    }
    return get_all_into({tag, &vpn::kStatsTable, 255}, path.str, stats);
}

LUMO3_API int32_t OvanGetUptVPNConnObjs(OvanUptVPNConnection_t **objs, uint32_t *num)
{
    return list(kClient, "OvanGetUptVPNConnObjs", reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanSetUptVPNConnection(OvanObjPath_t path, OvanUptVPNConnection_t *rec)
{
    return set(kClient, "OvanSetUptVPNConnection", path, rec);
}

LUMO3_API int32_t OvanAddUptVPNConnection(OvanUptVPNConnection_t *rec)
{
    return add(kClient, "OvanAddUptVPNConnection", rec);
}

LUMO3_API int32_t OvanDelUptVPNConnection(OvanObjPath_t path)
{
    return del(kClient, "OvanDelUptVPNConnection", path);
}

LUMO3_API int32_t OvanDelUptVPNConnByName(const char *tunnelName)
{
    return del_by_name(kClient, "OvanDelUptVPNConnByName", tunnelName);
}

LUMO3_API int32_t OvanAttachUptVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                             const char *macList)
{
    return attach(kClient, "OvanAttachUptVPNConnection", tunnelName, ipAddrList, domainList, macList);
}

LUMO3_API int32_t OvanDetachUptVPNConnection(const char *tunnelName, const char *ipAddrList, const char *domainList,
                                             const char *macList)
{
    return detach(kClient, "OvanDetachUptVPNConnection", tunnelName, ipAddrList, domainList, macList);
}

}  // extern "C"
