// lumoctl --cached OBJECT: reads through the library's snapshot caches (the _Cache
// getters) instead of asking the gateway; with --follow the LAN host, online and WLAN
// lists are printed again whenever the cache changes.
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cache/cache_tables.hpp"
#include "tools/lumoctl/records.hpp"
#include <lumo3/lumo3.h>

namespace lumoctl {

namespace {

using lumo::gw::RecordTable;

constexpr RecordTable kDevice{"OvanDeviceInfo_t", "com.quv.igd1.DeviceInfo", lumo::cache::kDeviceInfo,
                              sizeof(OvanDeviceInfo_t)};
constexpr RecordTable kNetwork{"OvanNetworkInfo_t", "com.quv.igd1.NetworkInfo", lumo::cache::kNetworkInfo,
                               sizeof(OvanNetworkInfo_t)};
constexpr RecordTable kWiFi{"OvanWiFiInfo_t", "com.quv.igd1.WiFiInfo", lumo::cache::kWiFiInfo,
                            sizeof(OvanWiFiInfo_t)};

// One object: a single record (get) or a list.
struct CachedObject {
    const char *name;
    const RecordTable *table;
    int32_t (*get)(void *record);
    int32_t (*list)(void **records, uint32_t *count);
};

template <typename T, int32_t (*F)(T *)>
int32_t get_as(void *r)
{
    return F(static_cast<T *>(r));
}

template <typename T, int32_t (*F)(T **, uint32_t *)>
int32_t list_as(void **r, uint32_t *n)
{
    return F(reinterpret_cast<T **>(r), n);
}

const CachedObject kObjects[] = {
    {"device", &kDevice, get_as<OvanDeviceInfo_t, OvanGetDeviceInfo_Cache>, nullptr},
    {"network", &kNetwork, get_as<OvanNetworkInfo_t, OvanGetNetworkInfo_Cache>, nullptr},
    {"wifi", &kWiFi, get_as<OvanWiFiInfo_t, OvanGetWiFiInfo_Cache>, nullptr},
    {"lanhost", &lumo::cache::kLANHostTable, nullptr, list_as<OvanLANHostCache_t, OvanGetLANHostObjs_Cache>},
    {"wlan", &lumo::cache::kWLANDeviceTable, nullptr, list_as<OvanWLANDeviceCache_t, OvanGetWLANDeviceObjs_Cache>},
    {"online", &lumo::cache::kLANHostTable, nullptr, list_as<OvanLANHostCache_t, OvanGetOnlineDeviceList_Cache>},
    {"snapshot", &lumo::cache::kSnapShotTable, nullptr,
     list_as<OvanOnlineDeviceSnapShotCache_t, OvanGetOnlineDevicesSnapShot_Cache>},
};

volatile std::sig_atomic_t g_stop = 0;

void on_stop(int)
{
    g_stop = 1;
}

// The list's bytes, or empty with *rc set on failure.
std::string read_list(const CachedObject &o, uint32_t *count, int32_t *rc)
{
    void *records = nullptr;
    *count = 0;
    *rc = o.list(&records, count);
    std::string bytes;
    if (records && *rc == 0)
        bytes.assign(static_cast<const char *>(records), size_t(*count) * o.table->record_size);
    g_free(records);
    return bytes;
}

}  // namespace

int run_cached(int argc, char **argv)
{
    CLI::App app{"lumoctl --cached: read the library's snapshot caches (no bus call after the first read)."};
    app.name("lumoctl --cached");
    bool cached = false, json = false, follow = false;
    unsigned count = 0, timeout = 0;
    std::string object, address;
    app.add_flag("--cached", cached, "read through the _Cache getters");
    app.add_flag("--json", json, "print JSON instead of text");
    app.add_option("--timeout", timeout, "stop following after SECONDS (0: never)");
    app.add_option("--address", address, "D-Bus address of the gateway's system bus");
    std::vector<std::string> names;
    for (const CachedObject &o : kObjects)
        names.emplace_back(o.name);
    app.add_option("object", object, "what to read")->required()->check(CLI::IsMember(names));
    app.add_flag("--follow", follow, "print the list again whenever it changes (lanhost, online, snapshot, wlan)");
    app.add_option("--count", count, "with --follow: stop after N prints");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0)
            return app.exit(e);
        std::fprintf(stderr, "lumoctl: %s (see lumoctl --cached --help)\n", e.what());
        return kExitRefused;
    }
    if (!address.empty())
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), TRUE);
    const CachedObject *o = nullptr;
    for (const CachedObject &c : kObjects)
        if (object == c.name)
            o = &c;
    if (follow && !o->list) {
        std::fprintf(stderr, "lumoctl: --follow needs a list (lanhost, online, snapshot, wlan)\n");
        return kExitRefused;
    }

    if (o->get) {
        std::vector<char> record(o->table->record_size);
        if (o->get(record.data()) != 0) {
            std::fprintf(stderr, "lumoctl: cached %s: failed\n", o->name);
            return kExitGateway;
        }
        print_records(*o->table, record.data(), 1, false, json);
        return 0;
    }

    std::signal(SIGINT, on_stop);
    std::signal(SIGTERM, on_stop);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeout);
    std::string shown;
    unsigned prints = 0;
    bool first = true;
    while (!g_stop) {
        uint32_t n = 0;
        int32_t rc = 0;
        std::string bytes = read_list(*o, &n, &rc);
        // The online lists fail on an empty or inactive table: that prints as empty.
        const bool online_list = object == "online" || object == "snapshot";
        if (rc != 0 && first && !online_list) {
            std::fprintf(stderr, "lumoctl: cached %s: failed\n", o->name);
            return kExitGateway;
        }
        if (first || bytes != shown) {
            print_records(*o->table, bytes.data(), rc == 0 ? n : 0, true, json);
            if (follow && !json)
                std::printf("--\n");
            std::fflush(stdout);
            shown = bytes;
            prints++;
        }
        first = false;
        if (!follow || (count && prints >= count))
            break;
        if (timeout && std::chrono::steady_clock::now() >= deadline)
            break;
        g_usleep(100 * 1000);
    }
    return 0;
}

}  // namespace lumoctl
