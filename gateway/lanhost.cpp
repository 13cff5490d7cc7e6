// LAN hosts: the manager, the host collection, lookups by MAC, the online device
// list and snapshot, and the user-assigned device names kept in UCI.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <syslog.h>

#include "gateway/lanhost_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_lanhost.h"
#include "lumo3_uci.h"
#include "lumo3_validate.h"
#include "util/refusal.hpp"
#include "util/uci_store.hpp"

namespace {

using namespace lumo::gw;
using namespace lumo::gw::lanhost;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kCollection[] = "/com/quv/igd1/Config/LANHosts";
constexpr const char kHostPrefix[] = "/com/quv/igd1/Config/LANHosts/";
constexpr const char kInvalidParameter[] = "invalid parameter.";
// The device-name store holds about this many names; the oldest goes first.
constexpr uint32_t kMaxStoredNames = 63;

template <typename T>
void **as_out(T **objs)
{
    return reinterpret_cast<void **>(objs);
}

// The hosts; each member names its own record layout.
constexpr Instances kHosts{nullptr, kCollection, kHostPrefix};

template <size_t N>
std::array<char, N + 1> terminated_copy(const char (&field)[N])
{
    std::array<char, N + 1> out{};
    std::memcpy(out.data(), field, N);
    return out;
}

// The user's name for the device replaces whatever the record holds; without a
// stored name the field is left as it is.
template <typename T>
void overlay_devname(void *record)
{
    T *r = static_cast<T *>(record);
    get_devname_from_uci(terminated_copy(r->MAC).data(), r->DevName, sizeof r->DevName);
}

// The same for a whole walk: the store is read once, on the first host, instead of
// once per host.
class StoredNames {
public:
    void overlay(const char *mac, char *name, size_t size)
    {
        if (!loaded_)
            load();
        const UciOptionEntry *begin = entries_.get(), *end = begin + count_;
        const UciOptionEntry *it = std::lower_bound(
            begin, end, mac, [](const UciOptionEntry &e, const char *key) { return std::strcmp(e.name, key) < 0; });
        if (it == end || std::strcmp(it->name, mac) != 0 || it->value[0] == '\0')
            return;
        if (std::strncmp(it->value, name, size) != 0)
            g_strlcpy(name, it->value, size);
    }

private:
    void load()
    {
        loaded_ = true;
        UciOptionEntry *raw = nullptr;
        uint32_t n = 0;
        uci_read_section("devname", "devname", "macs", &raw, &n);
        entries_.reset(raw);
        count_ = raw ? n : 0;
        std::sort(raw, raw + count_,
                  [](const UciOptionEntry &a, const UciOptionEntry &b) { return std::strcmp(a.name, b.name) < 0; });
    }

    bool loaded_ = false;
    std::unique_ptr<UciOptionEntry, void (*)(void *)> entries_{nullptr, std::free};
    uint32_t count_ = 0;
};

template <typename T>
void overlay_stored_name(void *record, void *names)
{
    T *r = static_cast<T *>(record);
    static_cast<StoredNames *>(names)->overlay(terminated_copy(r->MAC).data(), r->DevName, sizeof r->DevName);
}

template <typename T>
CollectionSpec collection_spec(const char *tag, const RecordTable &table, StoredNames &names)
{
    return CollectionSpec{tag, &table, "count(%d)", 255, nullptr, overlay_stored_name<T>, &names};
}

template <typename T>
int32_t get_hosts(const char *tag, const RecordTable &table, T **objs, uint32_t *count)
{
    lumo_log(tag, LOG_DEBUG, "Enter");
    if (!count) {
        lumo_log(tag, LOG_ERR, kInvalidParameter);
        return -1;
    }
    StoredNames names;
    return enumerate(collection_spec<T>(tag, table, names), kCollection, as_out(objs), count);
}

template <typename T>
int32_t get_host(const char *tag, const RecordTable &table, OvanObjPath_t path, T *obj)
{
    if (int32_t ret = instance_begin({tag, kInvalidParameter}, kHosts, path, obj != nullptr))
        return ret;
    return get_all_into(GetterSpec{tag, &table, 255, "ret = %d.", nullptr, overlay_devname<T>}, path.str, obj);
}

// The host's path by MAC for the by-MAC getters, which report a failure by its message.
int32_t find_host_path(const char *tag, const char *mac, OvanObjPath_t &path)
{
    GStr found, message;
    uint32_t word = 0;
    const int32_t ret = OvanGetLANHostPathbyMAC(mac, lumo::out(found), &word, lumo::out(message));
    if (ret != 0 || !found) {
        lumo_log(tag, LOG_ERR, "Failed with errmsg <%s>", message ? message.get() : "");
        return -1;
    }
    g_strlcpy(path.str, found.get(), sizeof path.str);
    return 0;
}

template <typename T>
int32_t get_host_by_mac(const char *tag, const char *mac, T *obj, int32_t (*by_path)(OvanObjPath_t, T *))
{
    lumo_log(tag, LOG_DEBUG, "enter, mac (%s)", mac ? mac : "");
    if (!mac || !*mac || !obj) {
        lumo_log(tag, LOG_ERR, "Invalid macaddr or NULL NULL obj");
        return -1;
    }
    OvanObjPath_t path{};
    if (find_host_path(tag, mac, path) != 0)
        return -1;
    if (by_path(path, obj) != 0) {
        lumo_log(tag, LOG_ERR, "GetLANHost with path %s failed.", path.str);
        return -1;
    }
    return 0;
}

// The manager's online methods answer "(a{oa{sa{sv}}}us)"; their texts differ.
struct OnlineMethod {
    const char *method;
    const char *fail_line;
    const char *fail_message;
    const char *message_line;
    bool message_line_with_word;
};

constexpr OnlineMethod kOnlineDeviceList{"GetOnlineDeviceList", "Failed to call GetOnlineDeviceList().",
                                         "Failed to call GetOnlineDeviceList() function.",
                                         "Call GetOnlineDeviceList() res[%d], errmsg [%s].", true};
constexpr OnlineMethod kOnlineDevicesSnapShot{"GetOnlineDevicesSnapShot", "Failed to call GetOnlineDevicesSnapShot().",
                                              "Failed to call GetOnlineDevicesSnapShot() function.",
                                              "Call GetOnlineDevicesSnapShot() errmsg [%s].", false};

// The records come back whatever the service's word: the word is the caller's to judge.
template <typename T>
int32_t get_online(const char *tag, const OnlineMethod &m, const RecordTable &table, T **objs, uint32_t *count,
                   uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!count) {
        lumo_log(tag, LOG_ERR, kInvalidParameter);
        return -1;
    }
    const CommandSpec shape{tag,           kCollection,    kManagerIface, m.method,
                           m.fail_line,   m.fail_message, m.message_line, LOG_ERR,
                           "(a{oa{sa{sv}}}us)", m.message_line_with_word};
    GPtr<GVariant> map;
    run_command(shape, nullptr, status, errmsg, &map);
    if (!map)
        return -1;
    StoredNames names;
    return walk_object_map(collection_spec<T>(tag, table, names), map.get(), as_out(objs), count);
}

// Records the user's name under the MAC and keeps the store to about 64 names by
// dropping the oldest (the section's first option).
void store_devname(const OvanLANHost_t &host)
{
    uci_write_option("devname", "macs", terminated_copy(host.MAC).data(), host.DevName);

    UciOptionEntry *raw = nullptr;
    uint32_t count = 0;
    uci_read_section("devname", "devname", "macs", &raw, &count);
    std::unique_ptr<UciOptionEntry, void (*)(void *)> entries(raw, std::free);
    if (count > kMaxStoredNames && entries)
        lumo::uci::delete_lines_containing("devname", entries.get()[0].name);
}

bool host_fields_ok(const OvanLANHost_t &host)
{
    return strnlen(host.DevName, sizeof host.DevName) < 63 && host.InternetAccess <= 2 &&
           is_valid_lan_devtype(terminated_copy(host.DevType).data());
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetLANHostMgr(OvanLANHostMgr_t *obj)
{
    return get_singleton(GetterSpec{"OvanGetLANHostMgr", &kLANHostMgrTable, 255}, "enter", kCollection, obj);
}

LUMO3_API int32_t OvanSetLANHostMgr(OvanLANHostMgr_t *obj)
{
    static const char tag[] = "OvanSetLANHostMgr";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!obj) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter: obj is NULL.");
        return -1;
    }
    return set_fields(kCollection, kManagerIface, kLANHostMgrWritable, obj, tag);
}

LUMO3_API int32_t OvanGetLANHostObjs(OvanLANHost_t **objs, uint32_t *count)
{
    return get_hosts("OvanGetLANHostObjs", kLANHostTable, objs, count);
}

LUMO3_API int32_t OvanGetLANHostExtObjs(OvanLANHostExt_t **objs, uint32_t *count)
{
    return get_hosts("OvanGetLANHostExtObjs", kLANHostExtTable, objs, count);
}

LUMO3_API int32_t OvanGetLANHostExtWithIPv6Objs(OvanLANHostExtWithIPv6_t **objs, uint32_t *count)
{
    return get_hosts("OvanGetLANHostExtWithIPv6Objs", kLANHostExtWithIPv6Table, objs, count);
}

LUMO3_API int32_t OvanGetLANHost(OvanObjPath_t path, OvanLANHost_t *obj)
{
    return get_host("OvanGetLANHost", kLANHostTable, path, obj);
}

LUMO3_API int32_t OvanGetLANHostExt(OvanObjPath_t path, OvanLANHostExt_t *obj)
{
    return get_host("OvanGetLANHostExt", kLANHostExtTable, path, obj);
}

LUMO3_API int32_t OvanGetLANHostExtWithIPv6(OvanObjPath_t path, OvanLANHostExtWithIPv6_t *obj)
{
    return get_host("OvanGetLANHostExtWithIPv6", kLANHostExtWithIPv6Table, path, obj);
}

LUMO3_API int32_t OvanGetLANHostPathbyMAC(const char *mac, char **lanhostpath, uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanGetLANHostPathbyMAC";
    lumo_log(tag, LOG_DEBUG, "enter, mac (%s)", mac ? mac : "");
    if (!lanhostpath || !lumo::refusal::judged(tag, "mac", mac, is_valid_quv_mac)) {
        static const char invalid[] = "Invalid macaddr or NULL lanhostpath";
        lumo_log(tag, LOG_ERR, invalid);
        return fail_command(status, errmsg, invalid);
    }
    const CommandSpec shape{tag,
                           kCollection,
                           kManagerIface,
                           "GetLANHostPathbyMAC",
                           "Failed to call GetLANHostPathbyMAC().",
                           "Failed to call GetLANHostPathbyMAC() function.",
                           "Call OvanGetLANHostPathbyMAC() return %d, errmsg [%s].",
                           LOG_ERR,
                           "(ous)",
                           true};
    // Kept here until the end: a bad path replaces the service's message.
    uint32_t word = 1;
    GStr message;
    GPtr<GVariant> found;
    ArgTuple args(tag);
    args.s("mac", mac);
    int32_t ret = run_command(shape, args, &word, lumo::out(message), &found);
    if (found) {
        const char *at = g_variant_get_string(found.get(), nullptr);
        if (*at && g_variant_is_object_path(at)) {
            *lanhostpath = word == 0 ? g_strdup(at) : nullptr;
        } else {
            lumo_log(tag, LOG_ERR, "Return path is invalid: %s", at);
            word = 1;
            message.reset(g_strdup("Return path is invalid"));
            ret = -1;
        }
    }
    if (status)
        *status = word;
    if (errmsg && message)
        *errmsg = message.release();
    return ret;
}

LUMO3_API int32_t OvanGetLANHostByMAC(const char *mac, OvanLANHost_t *obj)
{
    return get_host_by_mac("OvanGetLANHostByMAC", mac, obj, OvanGetLANHost);
}

LUMO3_API int32_t OvanGetLANHostExtByMAC(const char *mac, OvanLANHostExt_t *obj)
{
    return get_host_by_mac("OvanGetLANHostExtByMAC", mac, obj, OvanGetLANHostExt);
}

LUMO3_API int32_t OvanGetLANHostExtWithIPv6ByMAC(const char *mac, OvanLANHostExtWithIPv6_t *obj)
{
    return get_host_by_mac("OvanGetLANHostExtWithIPv6ByMAC", mac, obj, OvanGetLANHostExtWithIPv6);
}

LUMO3_API int32_t OvanGetLANHostNegoRateByPath(OvanObjPath_t path, uint32_t *negorate)
{
    static const char tag[] = "OvanGetLANHostNegoRateByPath";
    if (int32_t ret = instance_begin({tag, kInvalidParameter}, kHosts, path, negorate != nullptr))
        return ret;
    OvanLANHostExt_t host{};
    if (OvanGetLANHostExt(path, &host) != 0)
        return -1;
    *negorate = host.NegoRate;
    return 0;
}

LUMO3_API int32_t OvanGetLANHostNegoRateByMAC(const char *mac, uint32_t *negorate)
{
    static const char tag[] = "OvanGetLANHostNegoRateByMAC";
    lumo_log(tag, LOG_DEBUG, "enter, mac (%s)", mac ? mac : "");
    if (!mac || !*mac || !negorate) {
        lumo_log(tag, LOG_ERR, "Invalid macaddr or NULL negorate");
        return -1;
    }
    OvanLANHostExt_t host{};
    if (OvanGetLANHostExtByMAC(mac, &host) != 0)
        return -1;
    *negorate = host.NegoRate;
    return 0;
}

LUMO3_API int32_t OvanSetLANHost(OvanObjPath_t path, OvanLANHost_t *obj)
{
    static const char tag[] = "OvanSetLANHost";
    if (int32_t ret = instance_begin({tag, "Invalid Path.", "Enter, path (%s)"}, kHosts, path, obj != nullptr))
        return ret;
    if (!host_fields_ok(*obj)) {
        lumo_log(tag, LOG_ERR, "Invalid LanHost Parameters.");
        return -1;
    }
    // Text the bus cannot carry refuses the whole write, the stored name included
    // (it is handed out again by every host getter).
    if (!text_ok(tag, "DevName", obj->DevName, sizeof obj->DevName) || !record_text_ok(tag, kLANHostWritable, obj))
        return -1;
    // The name lives only in the library's store, and stays there even when the
    // gateway refuses the write below.
    store_devname(*obj);
    return set_fields(path.str, kHostIface, kLANHostWritable, obj, tag);
}

LUMO3_API int32_t OvanDelLANHost(OvanObjPath_t path)
{
    return instance_delete({"OvanDelLANHost", "Invalid Path."}, kHosts, path);
}

LUMO3_API int32_t OvanGetOnlineDeviceList(OvanLANHost_t **objs, uint32_t *count, uint32_t *status, char **errmsg)
{
    return get_online("OvanGetOnlineDeviceList", kOnlineDeviceList, kLANHostTable, objs, count, status, errmsg);
}

LUMO3_API int32_t OvanGetOnlineDeviceListExt(OvanLANHostExt_t **objs, uint32_t *count, uint32_t *status,
                                             char **errmsg)
{
    return get_online("OvanGetOnlineDeviceListExt", kOnlineDeviceList, kLANHostExtTable, objs, count, status,
                      errmsg);
}

LUMO3_API int32_t OvanGetOnlineDeviceListExtWithIPv6(OvanLANHostExtWithIPv6_t **objs, uint32_t *count,
                                                     uint32_t *status, char **errmsg)
{
    return get_online("OvanGetOnlineDeviceListExtWithIPv6", kOnlineDeviceList, kLANHostExtWithIPv6Table, objs, count,
                      status, errmsg);
}

LUMO3_API int32_t OvanGetOnlineDevicesSnapShot(OvanOnlineDeviceSnapShot_t **objs, uint32_t *count, uint32_t *status,
                                               char **errmsg)
{
    return get_online("OvanGetOnlineDevicesSnapShot", kOnlineDevicesSnapShot, kOnlineDeviceSnapShotTable, objs, count,
                      status, errmsg);
}

}  // extern "C"
