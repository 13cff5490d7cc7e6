// Snapshot caches: the _Cache getters.
//
// Every proxy, subscription and table change is made on the cache thread (worker.hpp),
// which also dispatches their signals. Each cache keeps, beside its proxies, a
// rendered copy of its record(s) under a mutex: the signal handlers update the copy
// field by field, and a getter only copies it out under the same mutex, so it never
// sees a half-made slot and never makes a bus call after the first fill.
#include <cstring>
#include <mutex>
#include <string>
#include <type_traits>
#include <syslog.h>

#include "bus/connection.hpp"
#include "cache/cache_tables.hpp"
#include "cache/worker.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_cache.h"
#include "lumo3_core.h"
#include "lumo3_lanhost.h"
#include "lumo3_wlan.h"

extern "C" {

LUMO3_API GDBusProxy *devinfoproxy = nullptr;
LUMO3_API GDBusProxy *ntwkinfoproxy = nullptr;
LUMO3_API GDBusProxy *wifiinfoproxy = nullptr;
LUMO3_API OvanProxyTable lanpxyctx = {};
LUMO3_API OvanProxyTable wlanpxyctx = {};

void lumo_proxy_on_signal(GDBusProxy *proxy, const char *sender, const char *signal, GVariant *parameters,
                          gpointer user_data);
void _multi_instance_proxy_signal_received(GDBusConnection *connection, const char *sender, const char *path,
                                           const char *iface, const char *signal, GVariant *parameters,
                                           gpointer user_data);

}  // extern "C"

namespace lumo::cache {

namespace {

using gw::Field;
using gw::Fields;

constexpr const char kNoConnection[] = "connection is NULL, just return.";
constexpr size_t kSlots = OVAN_PROXY_TABLE_SLOTS;

std::mutex g_connection_mutex;

// ---- the connection ----

// Chooses the connection every cache proxy is made on, once: the one already in
// dbusconn, else the hosted service's, else the system bus.
bool have_connection(const char *tag)
{
    std::lock_guard<std::mutex> lock(g_connection_mutex);
    if (dbusconn && G_IS_DBUS_CONNECTION(dbusconn))
        return true;
    GPtr<GDBusConnection> conn = bus::connection_for_call(tag, kNoConnection, kNoConnection);
    if (!conn)
        return false;
    dbusconn = conn.release();  // kept for the life of the process
    return true;
}

// Keeps a freshly made proxy only if it loaded properties: none means the object is
// gone (or was never there) by the time it was read. Connects the cache's handlers.
GDBusProxy *keep_if_loaded(GDBusProxy *proxy, GCallback on_changed, gpointer user_data)
{
    if (!proxy)
        return nullptr;
    GStrv names(g_dbus_proxy_get_cached_property_names(proxy));
    if (!names) {
        g_object_unref(proxy);
        return nullptr;
    }
    g_signal_connect(proxy, "g-signal", G_CALLBACK(lumo_proxy_on_signal), nullptr);
    g_signal_connect(proxy, "g-properties-changed", on_changed, user_data);
    return proxy;
}

// Makes a proxy and waits for its properties. Nothing is kept for an object without
// properties: an information getter tries again on its next call.
GDBusProxy *make_proxy(const char *path, const char *iface, GCallback on_changed, gpointer user_data)
{
    GDBusProxy *proxy = g_dbus_proxy_new_sync(dbusconn, G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START, nullptr, gw::kService,
                                              path, iface, nullptr, nullptr);
    return keep_if_loaded(proxy, on_changed, user_data);
}

void drop_proxy(GDBusProxy *proxy)
{
    if (!proxy)
        return;
    g_signal_handlers_disconnect_matched(proxy, G_SIGNAL_MATCH_FUNC, 0, 0, nullptr,
                                         reinterpret_cast<gpointer>(lumo_proxy_on_signal), nullptr);
    g_object_unref(proxy);
}

// ---- rendered copies ----

// A rendered record: its bytes and which fields hold a good value.
struct Rendered {
    unsigned char *bytes = nullptr;
    uint64_t present = 0;
};

// Fills `out` from the proxy's property cache.
void render(Fields fields, GDBusProxy *proxy, Rendered &out)
{
    for (size_t i = 0; i < fields.size(); i++) {
        GPtr<GVariant> value(g_dbus_proxy_get_cached_property(proxy, fields[i].name));
        if (gw::fill_field(fields[i], out.bytes, value.get()))
            out.present |= uint64_t{1} << i;
    }
}

// Applies a PropertiesChanged dictionary to `out`: a value of the wrong type keeps
// the field at its last good value.
void apply_changes(Fields fields, GVariant *changed, Rendered &out)
{
    GVariantIter iter;
    g_variant_iter_init(&iter, changed);
    const char *name;
    GVariant *raw;
    while (g_variant_iter_next(&iter, "{&sv}", &name, &raw)) {
        GPtr<GVariant> value(raw);
        for (size_t i = 0; i < fields.size(); i++)
            if (std::strcmp(fields[i].name, name) == 0 && gw::fill_field(fields[i], out.bytes, value.get()))
                out.present |= uint64_t{1} << i;
    }
}

// The GDBus proxy already holds the new values; the library's own handler writes them
// once more, so that the cache is current even for a proxy made without property
// tracking.
void store_in_proxy(GDBusProxy *proxy, GVariant *changed)
{
    GVariantIter iter;
    g_variant_iter_init(&iter, changed);
    const char *name;
    GVariant *raw;
    while (g_variant_iter_next(&iter, "{&sv}", &name, &raw)) {
        g_dbus_proxy_set_cached_property(proxy, name, raw);
        g_variant_unref(raw);
    }
}

bool usable_changes(GVariant *changed)
{
    return changed && g_variant_is_of_type(changed, G_VARIANT_TYPE_VARDICT) && g_variant_n_children(changed) > 0;
}

// Copies the fields of `from` marked present into the caller's record.
void copy_present(Fields fields, const Rendered &from, void *record)
{
    for (size_t i = 0; i < fields.size(); i++) {
        if (!(from.present & (uint64_t{1} << i)))
            continue;
        const Field &f = fields[i];
        auto *dst = static_cast<char *>(record) + f.offset;
        const auto *src = reinterpret_cast<const char *>(from.bytes) + f.offset;
        if (f.type == gw::Type::Str)
            g_strlcpy(dst, src, f.size);
        else
            std::memcpy(dst, src, f.size);
    }
}

// ---- information caches ----

struct InfoCache {
    InfoCache(const char *t, const char *p, const char *i, GDBusProxy **px, Fields f, size_t size)
        : tag(t), path(p), iface(i), proxy(px), fields(f), record_size(size)
    {
    }
    const char *tag;
    const char *path;
    const char *iface;
    GDBusProxy **proxy;
    Fields fields;
    size_t record_size;
    std::mutex mutex;
    bool made = false;  // under mutex
    Rendered rendered;  // under mutex
};

void on_info_changed(GDBusProxy *proxy, GVariant *changed, const char *const *, gpointer user_data)
{
    auto *cache = static_cast<InfoCache *>(user_data);
    if (!usable_changes(changed))
        return;
    store_in_proxy(proxy, changed);
    std::lock_guard<std::mutex> lock(cache->mutex);
    apply_changes(cache->fields, changed, cache->rendered);
}

void make_info_proxy(void *arg)
{
    auto *cache = static_cast<InfoCache *>(arg);
    {
        std::lock_guard<std::mutex> lock(cache->mutex);
        if (cache->made)
            return;
    }
    GDBusProxy *proxy = make_proxy(cache->path, cache->iface, G_CALLBACK(on_info_changed), cache);
    if (!proxy)
        return;  // tried again on the next call
    Rendered fresh{static_cast<unsigned char *>(g_malloc0(cache->record_size)), 0};
    render(cache->fields, proxy, fresh);
    std::lock_guard<std::mutex> lock(cache->mutex);
    g_free(cache->rendered.bytes);
    cache->rendered = fresh;
    *cache->proxy = proxy;
    cache->made = true;
}

void renew_if_closed();

int32_t get_info(InfoCache &cache, void *record)
{
    lumo_log(cache.tag, LOG_DEBUG, "Enter.");
    if (!record)
        return -1;
    renew_if_closed();
    bool made;
    {
        std::lock_guard<std::mutex> lock(cache.mutex);
        made = cache.made;
    }
    if (!made) {
        if (!have_connection(cache.tag))
            return -1;
        run_on_worker(make_info_proxy, &cache);
    }
    std::lock_guard<std::mutex> lock(cache.mutex);
    if (cache.made)
        copy_present(cache.fields, cache.rendered, record);
    return 0;
}

InfoCache g_device{"OvanGetDeviceInfo_Cache", "/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo", &devinfoproxy,
                   kDeviceInfo, sizeof(OvanDeviceInfo_t)};
InfoCache g_network{"OvanGetNetworkInfo_Cache", "/com/quv/igd1/Info/Network", "com.quv.igd1.NetworkInfo",
                    &ntwkinfoproxy, kNetworkInfo, sizeof(OvanNetworkInfo_t)};
InfoCache g_wifi{"OvanGetWiFiInfo_Cache", "/com/quv/igd1/Info/WiFi", "com.quv.igd1.WiFiInfo", &wifiinfoproxy,
                 kWiFiInfo, sizeof(OvanWiFiInfo_t)};

// ---- collection caches ----

// The direct enumerator: member paths in the gateway's order (g_strfreev), or its
// failing status.
using Enumerate = int32_t (*)(GStrv *paths);

struct Collection;

// A member announced by InterfacesAdded whose proxy is still loading. There is at most
// one per path: a burst of announcements of one object costs one load, not one per
// signal, and the cache thread never waits on the gateway for them.
struct Pending {
    Collection *c;
    std::string path;
    GCancellable *cancel;
    bool again = false;  // announced again while loading
    Pending *next = nullptr;
};

struct Collection {
    Collection(const char *t, const char *p, const char *i, OvanProxyTable *tb, const gw::RecordTable *r, Enumerate e)
        : tag(t), path(p), iface(i), table(tb), record(r), enumerate(e)
    {
    }
    const char *tag;
    const char *path;  // the collection
    const char *iface;  // its members'
    OvanProxyTable *table;
    const gw::RecordTable *record;
    Enumerate enumerate;
    std::mutex mutex;                 // guards *table and rendered
    Rendered rendered[kSlots] = {};   // one record per slot
    bool stale = false;               // under mutex: the gateway changed owner
    char owner[256] = {};             // cache thread: the gateway's unique name at the fill
    guint added_id = 0, removed_id = 0;  // cache thread only
    uint64_t version = 0;                // under mutex: bumped by every change
    Pending *pending = nullptr;          // cache thread only: the loads under way
};

// The cache thread may still be dispatching a signal while the process exits and runs
// its static destructors: the caches' statics must have nothing to destroy.
static_assert(std::is_trivially_destructible_v<Collection> && std::is_trivially_destructible_v<InfoCache>);

bool is_member_path(const Collection &c, const char *path)
{
    const size_t n = std::strlen(c.path);
    return path && std::strncmp(path, c.path, n) == 0 && path[n] == '/' && path[n + 1] &&
           !std::strchr(path + n + 1, '/') && std::strlen(path) < sizeof(OvanProxySlot_t::path);
}

void on_member_changed(GDBusProxy *proxy, GVariant *changed, const char *const *, gpointer user_data)
{
    auto *c = static_cast<Collection *>(user_data);
    if (!usable_changes(changed))
        return;
    store_in_proxy(proxy, changed);
    std::lock_guard<std::mutex> lock(c->mutex);
    for (size_t i = 0; i < kSlots; i++) {
        if (c->table->slots[i].in_use && c->table->slots[i].proxy == proxy) {
            apply_changes(c->record->fields, changed, c->rendered[i]);
            c->version++;
            return;
        }
    }
}

// Frees slot i; the caller holds the mutex and releases the returned proxy after it.
GDBusProxy *free_slot(Collection &c, size_t i)
{
    OvanProxySlot_t &slot = c.table->slots[i];
    GDBusProxy *proxy = slot.proxy;
    slot.in_use = 0;
    slot.proxy = nullptr;
    std::memset(slot.path, 0, sizeof slot.path);
    std::memset(c.rendered[i].bytes, 0, c.record->record_size);
    c.rendered[i].present = 0;
    c.table->count--;
    c.version++;
    return proxy;
}

// Takes the lowest free slot for `path` (already made proxy). False when the table is
// full or already holds the path.
bool take_slot(Collection &c, const char *path, GDBusProxy *proxy)
{
    Rendered fresh{static_cast<unsigned char *>(g_malloc0(c.record->record_size)), 0};
    render(c.record->fields, proxy, fresh);
    std::lock_guard<std::mutex> lock(c.mutex);
    size_t free_at = kSlots;
    for (size_t i = 0; i < kSlots; i++) {
        if (c.table->slots[i].in_use && std::strcmp(c.table->slots[i].path, path) == 0)
            free_at = kSlots + 1;
        else if (!c.table->slots[i].in_use && free_at == kSlots)
            free_at = i;
        if (free_at > kSlots)
            break;
    }
    if (free_at >= kSlots) {
        g_free(fresh.bytes);
        return false;
    }
    OvanProxySlot_t &slot = c.table->slots[free_at];
    g_free(c.rendered[free_at].bytes);
    c.rendered[free_at] = fresh;
    slot.in_use = 1;
    g_strlcpy(slot.path, path, sizeof slot.path);
    slot.proxy = proxy;
    c.table->count++;
    c.version++;
    return true;
}

void subscribe(Collection &c)
{
    if (c.added_id)
        return;
    auto on = [&c](const char *signal) {
        return g_dbus_connection_signal_subscribe(dbusconn, gw::kService, gw::kObjectManager, signal, c.path,
                                                  nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                  _multi_instance_proxy_signal_received, &c, nullptr);
    };
    c.added_id = on("InterfacesAdded");
    c.removed_id = on("InterfacesRemoved");
}

// Abandons the loads of `path` (null: of every member). Each load still ends in
// on_member_loaded, which then drops what it made.
void cancel_pending(Collection &c, const char *path)
{
    for (Pending **at = &c.pending; *at;) {
        Pending *p = *at;
        if (path && p->path != path) {
            at = &p->next;
            continue;
        }
        g_cancellable_cancel(p->cancel);
        *at = p->next;
    }
}

// Empties the table (cache thread).
void clear_table(Collection &c)
{
    cancel_pending(c, nullptr);
    GDBusProxy *dropped[kSlots] = {};
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        for (size_t i = 0; i < kSlots; i++)
            if (c.table->slots[i].in_use)
                dropped[i] = free_slot(c, i);
        c.table->count = 0;
        c.table->initialized = 0;
    }
    for (GDBusProxy *p : dropped)
        drop_proxy(p);
}

// The gateway's owner now, so that the owner change that brought it in does not
// empty the table again once its signal arrives.
void remember_owner(Collection &c)
{
    c.owner[0] = '\0';
    GPtr<GVariant> reply(g_dbus_connection_call_sync(dbusconn, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                     "org.freedesktop.DBus", "GetNameOwner",
                                                     g_variant_new("(s)", gw::kService), G_VARIANT_TYPE("(s)"),
                                                     G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    const char *owner = nullptr;
    if (reply) {
        g_variant_get(reply.get(), "(&s)", &owner);
        g_strlcpy(c.owner, owner, sizeof c.owner);
    }
}

struct FillJob {
    Collection *c;
    int32_t status;
};

void fill(void *arg)
{
    auto *job = static_cast<FillJob *>(arg);
    Collection &c = *job->c;
    job->status = 0;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        if (c.table->initialized && !c.stale)
            return;
        if (!c.rendered[0].bytes)
            for (Rendered &r : c.rendered)
                r.bytes = static_cast<unsigned char *>(g_malloc0(c.record->record_size));
        c.stale = false;
    }
    clear_table(c);  // a new gateway owner: no old member may survive
    subscribe(c);
    remember_owner(c);
    GStrv paths;
    job->status = c.enumerate(&paths);
    if (job->status != 0)
        return;  // the table stays uninitialised: the next call tries again
    size_t n = 0, left_out = 0;
    for (char **p = paths.get(); p && *p; p++) {
        if (!is_member_path(c, *p))
            continue;  // e.g. the WPS objects under the WLAN devices
        if (n == kSlots) {
            left_out++;
            continue;
        }
        GDBusProxy *proxy = make_proxy(*p, c.iface, G_CALLBACK(on_member_changed), &c);
        if (!proxy)
            continue;
        if (take_slot(c, *p, proxy))
            n++;
        else
            drop_proxy(proxy);
    }
    if (left_out)
        lumo_log(c.tag, LOG_ERR, "table full: %zu of %zu members left out", left_out, left_out + n);
    std::lock_guard<std::mutex> lock(c.mutex);
    c.table->initialized = 1;
}

// The member paths of a direct enumerator's records (each begins with its path).
template <typename Record, int32_t (*Direct)(Record **, uint32_t *)>
int32_t member_paths(GStrv *paths)
{
    Record *objs = nullptr;
    uint32_t num = 0;
    int32_t ret = Direct(&objs, &num);
    if (ret != 0)
        return ret;
    char **out = g_new0(char *, num + 1);
    for (uint32_t i = 0; i < num; i++)
        out[i] = g_strndup(objs[i].path, sizeof objs[i].path);
    g_free(objs);
    paths->reset(out);
    return 0;
}

Collection g_lan{"OvanGetLANHostObjs_Cache", "/com/quv/igd1/Config/LANHosts", "com.quv.igd1.LANHost", &lanpxyctx,
                 &kLANHostTable, member_paths<OvanLANHostExtWithIPv6_t, OvanGetLANHostExtWithIPv6Objs>};
Collection g_wlan{"OvanGetWLANDeviceObjs_Cache", "/com/quv/igd1/Config/WLAN/Devices",
                  "com.quv.igd1.WLANConfiguration", &wlanpxyctx, &kWLANDeviceTable,
                  member_paths<OvanWLANDevice_t, OvanGetWLANDeviceObjs>};

// ---- the gateway's owner ----

void on_owner_changed(GDBusConnection *, const char *, const char *, const char *, const char *, GVariant *params,
                      gpointer)
{
    const char *name = nullptr, *old_owner = nullptr, *new_owner = nullptr;
    if (!g_variant_is_of_type(params, G_VARIANT_TYPE("(sss)")))
        return;
    g_variant_get(params, "(&s&s&s)", &name, &old_owner, &new_owner);
    if (std::strcmp(name, gw::kService) != 0 || std::strcmp(old_owner, new_owner) == 0)
        return;
    for (Collection *c : {&g_lan, &g_wlan}) {
        if (std::strcmp(new_owner, c->owner) == 0)
            continue;  // the owner the table was filled from
        std::lock_guard<std::mutex> lock(c->mutex);
        if (c->table->initialized)
            c->stale = true;
    }
}

guint g_owner_watch = 0;  // cache thread only

void watch_owner(void *)
{
    if (g_owner_watch)
        return;
    g_owner_watch = g_dbus_connection_signal_subscribe(dbusconn, "org.freedesktop.DBus", "org.freedesktop.DBus",
                                            "NameOwnerChanged", "/org/freedesktop/DBus", gw::kService,
                                            G_DBUS_SIGNAL_FLAGS_NONE, on_owner_changed, nullptr, nullptr);
}

// A restarted bus daemon closes every connection to it, and with it every proxy and
// subscription the caches made. Everything on the closed connection is dropped
// (the last known values stay readable) and the next getter starts again on a live
// connection. Cache thread.
void renew(void *)
{
    {
        std::lock_guard<std::mutex> lock(g_connection_mutex);
        if (!dbusconn || !g_dbus_connection_is_closed(dbusconn))
            return;
    }
    for (InfoCache *c : {&g_device, &g_network, &g_wifi}) {
        GDBusProxy *old;
        {
            std::lock_guard<std::mutex> lock(c->mutex);
            old = *c->proxy;
            *c->proxy = nullptr;
            c->made = false;
        }
        if (old)
            g_signal_handlers_disconnect_matched(old, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, c);
        drop_proxy(old);
    }
    for (Collection *c : {&g_lan, &g_wlan}) {
        clear_table(*c);
        for (guint *id : {&c->added_id, &c->removed_id}) {
            if (*id)
                g_dbus_connection_signal_unsubscribe(dbusconn, *id);
            *id = 0;
        }
    }
    if (g_owner_watch)
        g_dbus_connection_signal_unsubscribe(dbusconn, g_owner_watch);
    g_owner_watch = 0;
    std::lock_guard<std::mutex> lock(g_connection_mutex);
    g_clear_object(&dbusconn);
}

void renew_if_closed()
{
    bool closed;
    {
        std::lock_guard<std::mutex> lock(g_connection_mutex);
        closed = dbusconn && G_IS_DBUS_CONNECTION(dbusconn) && g_dbus_connection_is_closed(dbusconn);
    }
    if (closed)
        run_on_worker(renew, nullptr);
}

int32_t ensure_filled(Collection &c)
{
    renew_if_closed();
    bool ready;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        ready = c.table->initialized && !c.stale;
    }
    if (ready)
        return 0;
    if (!have_connection(c.tag))
        return -1;
    run_on_worker(watch_owner, nullptr);
    FillJob job{&c, 0};
    run_on_worker(fill, &job);
    return job.status;
}

// Copies the table's records out in slot order: a new zero-filled array in *list.
int32_t get_collection(Collection &c, void **list, uint32_t *count)
{
    int32_t ret = ensure_filled(c);
    if (ret != 0)
        return ret;
    std::lock_guard<std::mutex> lock(c.mutex);
    const int32_t n = c.table->count;
    if (count)
        *count = static_cast<uint32_t>(n);
    if (n < 1 || !list)
        return 0;
    const size_t size = c.record->record_size;
    auto *out = static_cast<unsigned char *>(g_try_malloc0_n(static_cast<size_t>(n), size));
    if (!out)
        return -1;
    int32_t done = 0;
    for (size_t i = 0; i < kSlots && done < n; i++) {
        if (!c.table->slots[i].in_use)
            continue;
        // A rendered record holds good values over zeros and a zero path.
        std::memcpy(out + static_cast<size_t>(done) * size, c.rendered[i].bytes, size);
        done++;
    }
    *list = out;
    return 0;
}

// ---- the object-manager signals ----

void load_member(Collection &c, const char *path);

void on_member_loaded(GObject *, GAsyncResult *result, gpointer data)
{
    auto *p = static_cast<Pending *>(data);
    Collection &c = *p->c;
    GDBusProxy *proxy = g_dbus_proxy_new_finish(result, nullptr);
    const bool cancelled = g_cancellable_is_cancelled(p->cancel);
    if (cancelled) {
        g_clear_object(&proxy);  // removed, or the table was emptied, meanwhile
    } else {
        for (Pending **at = &c.pending; *at; at = &(*at)->next) {
            if (*at == p) {
                *at = p->next;
                break;
            }
        }
        proxy = keep_if_loaded(proxy, G_CALLBACK(on_member_changed), &c);
    }
    if (proxy && !take_slot(c, p->path.c_str(), proxy))
        drop_proxy(proxy);
    // An announcement that came while the load failed may be of an object made after
    // the gateway answered: load once more.
    if (!cancelled && !proxy && p->again)
        load_member(c, p->path.c_str());
    g_object_unref(p->cancel);
    delete p;
}

// Loads the announced member's proxy without waiting (cache thread).
void load_member(Collection &c, const char *path)
{
    for (Pending *p = c.pending; p; p = p->next) {
        if (p->path == path) {
            p->again = true;
            return;
        }
    }
    auto *p = new Pending{&c, path, g_cancellable_new()};
    p->next = c.pending;
    c.pending = p;
    g_dbus_proxy_new(dbusconn, G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START, nullptr, gw::kService, path, c.iface, p->cancel,
                     on_member_loaded, p);
}

// The log lines of the object-manager signals. Each signal's lines are written,
// except while the signals logged have taken a tenth of the current second (their lines
// and their handling): a gateway flooding the bus with announcements would otherwise
// hold the cache thread on a slow log (a console, a busy syslog daemon), and the
// signals waiting behind it would pile up without bound. The signals themselves are
// all handled; the lines left out are counted in one line once the second is over.
class SignalLogBudget {
public:
    // Whether the signal arriving now gets its lines.
    bool admit()
    {
        const gint64 now = g_get_monotonic_time();
        guint64 left_out = 0;
        bool admitted;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (now - window_ >= G_USEC_PER_SEC) {
                left_out = skipped_;
                skipped_ = 0;
                spent_ = 0;
                window_ = now;
            }
            admitted = spent_ < G_USEC_PER_SEC / 10;
            if (!admitted)
                skipped_++;
        }
        if (left_out)
            lumo_log("_multi_instance_proxy_signal_received", LOG_WARNING,
                     "log lines of %" G_GUINT64_FORMAT " signals left out: the log is too slow for them", left_out);
        return admitted;
    }
    void spent(gint64 since)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        spent_ += g_get_monotonic_time() - since;
    }

private:
    std::mutex mutex_;
    gint64 window_ = 0;
    gint64 spent_ = 0;
    guint64 skipped_ = 0;
};
SignalLogBudget g_signal_log;
static_assert(std::is_trivially_destructible_v<SignalLogBudget>);

void on_object_manager_signal(Collection &c, const char *signal, GVariant *params, bool logged)
{
    if (std::strcmp(signal, "InterfacesRemoved") == 0) {
        if (!g_variant_is_of_type(params, G_VARIANT_TYPE("(oas)")))
            return;
        const char *path = nullptr;
        g_variant_get_child(params, 0, "&o", &path);
        if (logged)
            lumo_log("_multi_instance_proxy_signal_received", LOG_ERR, "path = %s", path);
        if (!is_member_path(c, path))
            return;
        cancel_pending(c, path);
        GDBusProxy *dropped = nullptr;
        {
            std::lock_guard<std::mutex> lock(c.mutex);
            for (size_t i = 0; i < kSlots; i++) {
                if (c.table->slots[i].in_use && std::strcmp(c.table->slots[i].path, path) == 0) {
                    dropped = free_slot(c, i);
                    break;
                }
            }
        }
        drop_proxy(dropped);
        return;
    }
    if (std::strcmp(signal, "InterfacesAdded") != 0 || !g_variant_is_of_type(params, G_VARIANT_TYPE("(oa{sa{sv}})")))
        return;
    const char *path = nullptr;
    g_variant_get_child(params, 0, "&o", &path);
    GPtr<GVariant> ifaces(g_variant_get_child_value(params, 1));
    const char *iface = nullptr;
    GVariantIter iter;
    g_variant_iter_init(&iter, ifaces.get());
    GVariant *props;
    const char *name;
    while (!iface && g_variant_iter_next(&iter, "{&s@a{sv}}", &name, &props)) {
        if (*name)
            iface = name;
        g_variant_unref(props);
    }
    if (!iface)
        return;
    if (logged)
        lumo_log("_multi_instance_proxy_signal_received", LOG_ERR, "path = %s, interface = %s", path, iface);
    // Only a direct member of this collection with the members' interface is taken
    // (the WLAN devices' WPS children are not members).
    if (!is_member_path(c, path) || std::strcmp(iface, c.iface) != 0)
        return;
    {
        std::lock_guard<std::mutex> lock(c.mutex);
        if (!c.table->initialized)
            return;
        if (c.table->count >= static_cast<int32_t>(kSlots)) {
            lumo_log(c.tag, LOG_ERR, "table full: %s left out", path);
            return;
        }
        // Announced again: the slot's proxy already follows the object.
        for (const OvanProxySlot_t &slot : c.table->slots)
            if (slot.in_use && std::strcmp(slot.path, path) == 0)
                return;
    }
    load_member(c, path);
}

// ---- the active hosts ----

// The active hosts of the LAN host cache: *active holds the full list (caller frees),
// *n the number active. -1 when the cache fails, is empty or none is active.
int32_t active_hosts(const char *tag, OvanLANHostCache_t **all, uint32_t *total, uint32_t *active, uint32_t *count)
{
    *all = nullptr;
    *total = 0;
    if (OvanGetLANHostObjs_Cache(all, total) != 0 || *total == 0) {
        lumo_log(tag, LOG_ERR, "no LAN host in the cache");
        return -1;
    }
    *active = 0;
    for (uint32_t i = 0; i < *total; i++)
        if ((*all)[i].Active)
            (*active)++;
    if (count)
        *count = *active;
    return *active == 0 ? -1 : 0;
}

template <typename Out>
int32_t copy_active(const char *tag, Out **list, uint32_t *count, void (*copy)(Out &, const OvanLANHostCache_t &))
{
    lumo_log(tag, LOG_DEBUG, "Enter.");
    OvanLANHostCache_t *raw = nullptr;
    uint32_t total = 0, active = 0;
    int32_t ret = active_hosts(tag, &raw, &total, &active, count);
    GPtr<char> all(reinterpret_cast<char *>(raw));
    if (ret != 0 || !list)
        return ret;
    auto *out = static_cast<Out *>(g_try_malloc0_n(active, sizeof(Out)));
    if (!out)
        return -1;
    for (uint32_t i = 0, j = 0; i < total; i++)
        if (raw[i].Active)
            copy(out[j++], raw[i]);
    *list = out;
    return 0;
}

void copy_online(OvanLANHostCache_t &to, const OvanLANHostCache_t &from)
{
    to = from;
    std::memset(to.path, 0, sizeof to.path);
}

// The snapshot's own bounds: 12 bytes of MAC (11 characters survive), 63 of the
// names, 16 of the address.
void copy_snapshot(OvanOnlineDeviceSnapShotCache_t &to, const OvanLANHostCache_t &from)
{
    g_strlcpy(to.MAC, from.MAC, 12);
    g_strlcpy(to.HostName, from.HostName, 63);
    g_strlcpy(to.DevName, from.DevName, 63);
    to.InternetAccess = from.InternetAccess;
    g_strlcpy(to.IP, from.IP, 16);
    to.ConnectionType = from.ConnectionType;
    to.Port = from.Port;
    to.MaxUSBandwidth = from.MaxUSBandwidth;
    to.MaxDSBandwidth = from.MaxDSBandwidth;
    g_strlcpy(to.Brand, from.Brand, 63);
    g_strlcpy(to.OS, from.OS, 63);
}

}  // namespace

}  // namespace lumo::cache

using namespace lumo::cache;

extern "C" {

void lumo_proxy_on_signal(GDBusProxy *, const char *sender, const char *signal, GVariant *parameters, gpointer)
{
    static const char tag[] = "lumo_proxy_on_signal";
    lumo_log(tag, LOG_DEBUG, "sender(%s), signame(%s)", sender ? sender : "", signal ? signal : "");
    lumo::GStr text(lumo::bus::print_value(parameters, LOG_DEBUG));
    lumo_log(tag, LOG_DEBUG, "parameters: %s\n", text ? text.get() : "");
}

void _multi_instance_proxy_signal_received(GDBusConnection *, const char *sender, const char *path, const char *,
                                           const char *signal, GVariant *parameters, gpointer user_data)
{
    if (!parameters)
        return;
    const bool logged = g_signal_log.admit();
    const gint64 start = g_get_monotonic_time();
    if (logged) {
        lumo::GStr text(lumo::bus::print_value(parameters, LOG_NOTICE));
        OvanLog(LOG_NOTICE, "Received signal %s: %s.%s %s {%s}\n", sender ? sender : "", path ? path : "",
                signal ? signal : "", g_variant_get_type_string(parameters), text ? text.get() : "");
    }
    on_object_manager_signal(*static_cast<Collection *>(user_data), signal ? signal : "", parameters, logged);
    if (logged)
        g_signal_log.spent(start);
}

LUMO3_API int32_t OvanGetDeviceInfo_Cache(OvanDeviceInfo_t *info)
{
    return get_info(g_device, info);
}

LUMO3_API int32_t OvanGetNetworkInfo_Cache(OvanNetworkInfo_t *info)
{
    return get_info(g_network, info);
}

LUMO3_API int32_t OvanGetWiFiInfo_Cache(OvanWiFiInfo_t *info)
{
    return get_info(g_wifi, info);
}

LUMO3_API int32_t OvanGetLANHostObjs_Cache(OvanLANHostCache_t **list, uint32_t *count)
{
    return get_collection(g_lan, reinterpret_cast<void **>(list), count);
}

LUMO3_API int32_t OvanGetWLANDeviceObjs_Cache(OvanWLANDeviceCache_t **list, uint32_t *count)
{
    return get_collection(g_wlan, reinterpret_cast<void **>(list), count);
}

LUMO3_API int32_t OvanGetOnlineDeviceList_Cache(OvanLANHostCache_t **list, uint32_t *count)
{
    return copy_active("OvanGetOnlineDeviceList_Cache", list, count, copy_online);
}

LUMO3_API int32_t OvanGetOnlineDevicesSnapShot_Cache(OvanOnlineDeviceSnapShotCache_t **list, uint32_t *count)
{
    return copy_active("OvanGetOnlineDevicesSnapShot_Cache", list, count, copy_snapshot);
}

}  // extern "C"
