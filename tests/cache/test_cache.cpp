// The snapshot caches against the simulator: no bus call after the first fill,
// updates from signals without any loop run by the caller, bounded tables, hostile
// signals, threads, and a gateway restart.
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_cache.h"
#include "lumo3_lanhost.h"
#include "lumo3_wlan.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kHosts[] = "/com/quv/igd1/Config/LANHosts";
constexpr const char kHostIface[] = "com.quv.igd1.LANHost";
constexpr const char kWLAN[] = "/com/quv/igd1/Config/WLAN/Devices";

template <typename T>
struct List {
    std::vector<T> items;
    int32_t ret = 99;
    uint32_t count = 777;
};

List<OvanLANHostCache_t> lan_hosts()
{
    List<OvanLANHostCache_t> out;
    OvanLANHostCache_t *raw = nullptr;
    out.ret = OvanGetLANHostObjs_Cache(&raw, &out.count);
    if (raw)
        out.items.assign(raw, raw + out.count);
    g_free(raw);
    return out;
}

std::vector<std::string> macs(const List<OvanLANHostCache_t> &l)
{
    std::vector<std::string> out;
    for (const auto &h : l.items)
        out.emplace_back(h.MAC);
    return out;
}

// The device information as the cache holds it (zeros when the getter fails).
OvanDeviceInfo_t cached_device()
{
    OvanDeviceInfo_t d{};
    OvanGetDeviceInfo_Cache(&d);
    return d;
}

std::string host_path(int n)
{
    return std::string(kHosts) + "/" + std::to_string(n);
}

class Cache : public SimTest {
protected:
    // Adds host N (announced by InterfacesAdded).
    void add_host(int n, const std::string &mac, bool active = true)
    {
        std::string text = "{'com.quv.igd1.LANHost': {'MAC': <'" + mac + "'>, 'HostName': <'h" + std::to_string(n) +
                           "'>, 'Active': <" + (active ? "true" : "false") + ">}}";
        ASSERT_TRUE(sim.add_object(host_path(n), text.c_str()));
    }
    void signal(const char *path, const char *name, const char *args)
    {
        ASSERT_TRUE(sim.emit_signal(path, "com.quv.igd1.ObjectManager", name, parse_variant(args).release()));
    }
    // Waits for the LAN host list to hold `count` hosts.
    bool hosts_become(uint32_t count)
    {
        return wait_until([&] { return lan_hosts().count == count; });
    }
};

TEST_F(Cache, InformationGettersMatchTheDirectOnesAndFollowChangesWithoutCalls)
{
    OvanDeviceInfo_t direct{}, cached{};
    ASSERT_EQ(OvanGetDeviceInfo(&direct), 0);
    ASSERT_EQ(OvanGetDeviceInfo_Cache(&cached), 0);
    EXPECT_STREQ(cached.SWVersion, direct.SWVersion);
    EXPECT_STREQ(cached.MAC, direct.MAC);
    EXPECT_EQ(cached.RamSize, direct.RamSize);
    EXPECT_EQ(cached.BusinessStatus, direct.BusinessStatus);
    EXPECT_EQ(cached.CPUUsage, 0u) << "not in the cached list";
    OvanNetworkInfo_t net{}, net_direct{};
    ASSERT_EQ(OvanGetNetworkInfo(&net_direct), 0);
    ASSERT_EQ(OvanGetNetworkInfo_Cache(&net), 0);
    EXPECT_STREQ(net.WANIPAddr, net_direct.WANIPAddr);
    EXPECT_EQ(net.UPLink, net_direct.UPLink);
    EXPECT_EQ(net.LAN1TXByte, 0u) << "not in the cached list";
    OvanWiFiInfo_t wifi{}, wifi_direct{};
    ASSERT_EQ(OvanGetWiFiInfo(&wifi_direct), 0);
    ASSERT_EQ(OvanGetWiFiInfo_Cache(&wifi), 0);
    EXPECT_EQ(wifi.Enable2G, wifi_direct.Enable2G);
    EXPECT_STREQ(wifi.WiFiMode, wifi_direct.WiFiMode);
    EXPECT_EQ(wifi.ChannelScanScore, nullptr) << "string lists are not cached";
    g_free(wifi_direct.ChannelScanScore);
    g_free(wifi_direct.ChannelScanScore5G);
    EXPECT_NE(devinfoproxy, nullptr);
    EXPECT_NE(ntwkinfoproxy, nullptr);
    EXPECT_NE(wifiinfoproxy, nullptr);

    ASSERT_TRUE(sim.clear_call_log());
    ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "SWVersion", "'V9.9.9'"));
    EXPECT_TRUE(wait_until([] { return std::string(cached_device().SWVersion) == "V9.9.9"; }));
    // A change of the wrong type keeps the last good value; a field the cache lacks
    // keeps what the caller passed.
    ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "RamSize", "'lots'"));
    ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "HDVersion", "'HW-B'"));
    EXPECT_TRUE(wait_until([] { return std::string(cached_device().HDVersion) == "HW-B"; }));
    OvanDeviceInfo_t again{};
    again.CPUUsage = 42;
    ASSERT_EQ(OvanGetDeviceInfo_Cache(&again), 0);
    EXPECT_EQ(again.RamSize, direct.RamSize);
    EXPECT_EQ(again.CPUUsage, 42u);
    EXPECT_EQ(sim.count_calls(), 0u) << "a cache getter went to the bus";

    EXPECT_EQ(OvanGetDeviceInfo_Cache(nullptr), -1);
    EXPECT_EQ(OvanGetNetworkInfo_Cache(nullptr), -1);
    EXPECT_EQ(OvanGetWiFiInfo_Cache(nullptr), -1);
}

TEST_F(Cache, LANHostListFilledOnceThenServedFromMemory)
{
    List<OvanLANHostCache_t> l = lan_hosts();
    ASSERT_EQ(l.ret, 0);
    EXPECT_EQ(macs(l), (std::vector<std::string>{"A4C3F0112233", "F0D5BF445566", "3C2AF4778899"}));
    EXPECT_STREQ(l.items[0].HostName, "laptop");
    EXPECT_STREQ(l.items[0].path, "") << "the cached records leave the path zero";
    EXPECT_EQ(l.items[0].Active, 1);
    EXPECT_EQ(l.items[2].Active, 0);
    EXPECT_EQ(lanpxyctx.initialized, 1u);
    EXPECT_EQ(sim.count_calls(kHosts, "com.quv.igd1.ObjectManager", "GetManagedObjects"), 1u);

    ASSERT_TRUE(sim.clear_call_log());
    uint32_t n = 0;
    EXPECT_EQ(OvanGetLANHostObjs_Cache(nullptr, &n), 0);
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(OvanGetLANHostObjs_Cache(nullptr, nullptr), 0);
    ASSERT_TRUE(sim.set_property(host_path(2), kHostIface, "HostName", "'tablet'"));
    EXPECT_TRUE(wait_until([] { return std::string(lan_hosts().items.at(1).HostName) == "tablet"; }));

    OvanLANHostCache_t *raw = nullptr;
    uint32_t online = 0;
    ASSERT_EQ(OvanGetOnlineDeviceList_Cache(&raw, &online), 0);
    ASSERT_EQ(online, 2u);
    EXPECT_STREQ(raw[1].HostName, "tablet");
    EXPECT_STREQ(raw[1].Brand, "Pixelon");
    g_free(raw);
    OvanOnlineDeviceSnapShotCache_t *snap = nullptr;
    uint32_t snap_n = 0;
    ASSERT_EQ(OvanGetOnlineDevicesSnapShot_Cache(&snap, &snap_n), 0);
    ASSERT_EQ(snap_n, 2u);
    EXPECT_STREQ(snap[0].MAC, "A4C3F011223") << "the snapshot keeps 11 characters of a MAC";
    EXPECT_STREQ(snap[0].IP, "192.168.1.20");
    EXPECT_EQ(snap[1].Port, 5u);
    g_free(snap);
    EXPECT_EQ(sim.count_calls(), 0u) << "a cache getter went to the bus";
}

TEST_F(Cache, OnlineListsFailWithoutActiveHosts)
{
    for (int i = 1; i <= 2; i++)
        ASSERT_TRUE(sim.set_property(host_path(i), kHostIface, "Active", "false"));
    uint32_t n = 5;
    OvanLANHostCache_t *list = nullptr;
    EXPECT_EQ(OvanGetOnlineDeviceList_Cache(&list, &n), -1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(list, nullptr);
    n = 5;
    OvanOnlineDeviceSnapShotCache_t *snap = nullptr;
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot_Cache(&snap, &n), -1);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(snap, nullptr);
}

TEST_F(Cache, FreedSlotIsReusedAndListedInSlotOrder)
{
    add_host(4, "000000000004");
    add_host(5, "000000000005");
    ASSERT_EQ(lan_hosts().count, 5u);
    ASSERT_TRUE(sim.remove_object(host_path(3)));  // slot 2
    ASSERT_TRUE(hosts_become(4));
    EXPECT_EQ(lanpxyctx.slots[2].in_use, 0u);
    add_host(9, "000000000009");
    ASSERT_TRUE(hosts_become(5));
    EXPECT_EQ(macs(lan_hosts()), (std::vector<std::string>{"A4C3F0112233", "F0D5BF445566", "000000000009",
                                                           "000000000004", "000000000005"}));
    EXPECT_STREQ(lanpxyctx.slots[2].path, host_path(9).c_str());
}

// A member removed while its announced load is still under way is not listed once
// the load ends (the object itself is still there, so the load would succeed).
TEST_F(Cache, MemberRemovedWhileLoadingStaysOut)
{
    ASSERT_EQ(lan_hosts().count, 3u);
    for (int n = 10; n < 20; n++) {
        add_host(n, "0000000000" + std::to_string(n));
        signal(kHosts, "InterfacesRemoved",
               ("(objectpath '" + host_path(n) + "', ['com.quv.igd1.LANHost'])").c_str());
    }
    add_host(20, "000000000020");  // loaded after all the others
    ASSERT_TRUE(wait_until([&] { return !macs(lan_hosts()).empty() && macs(lan_hosts()).back() == "000000000020"; }));
    EXPECT_EQ(lan_hosts().count, 4u);
}

TEST_F(Cache, FirstFillStopsAtSixtyFourSlotsAndFurtherAddsAreIgnored)
{
    for (int i = 4; i <= 70; i++)
        add_host(i, "0000000000" + std::to_string(i));
    List<OvanLANHostCache_t> l = lan_hosts();
    ASSERT_EQ(l.ret, 0);
    EXPECT_EQ(l.count, 64u);
    EXPECT_TRUE(log.contains("table full: 6 of 70 members left out", LOG_ERR)) << dump();
    add_host(71, "000000000071");
    ASSERT_TRUE(sim.remove_object(host_path(1)));
    ASSERT_TRUE(hosts_become(63));
    add_host(72, "000000000072");
    ASSERT_TRUE(hosts_become(64));
    EXPECT_EQ(lan_hosts().items[0].MAC, std::string("000000000072"));
}

// Signals that must change nothing: a path of another collection, an unknown or
// nested path, another interface, malformed arguments, the wrong emitter path.
TEST_F(Cache, HostileObjectManagerSignalsChangeNothing)
{
    ASSERT_EQ(lan_hosts().count, 3u);
    const struct {
        const char *emitter, *signal, *args;
    } cases[] = {
        {kHosts, "InterfacesAdded", "(objectpath '/com/quv/igd1/Config/WLAN/Devices/7', {'com.quv.igd1.LANHost': @a{sv} {}})"},
        {kHosts, "InterfacesAdded", "(objectpath '/com/quv/igd1/Config/LANHosts/4/x', {'com.quv.igd1.LANHost': @a{sv} {}})"},
        {kHosts, "InterfacesAdded", "(objectpath '/com/quv/igd1/Config/LANHosts/4', {'com.quv.igd1.WPS': @a{sv} {}})"},
        {kHosts, "InterfacesAdded", "(objectpath '/com/quv/igd1/Config/LANHosts/4', @a{sa{sv}} {})"},
        {kHosts, "InterfacesAdded", "('/com/quv/igd1/Config/LANHosts/4', 5)"},
        {kHosts, "InterfacesAdded", "@(ii) (1, 2)"},
        {kHosts, "InterfacesRemoved", "(objectpath '/com/quv/igd1/Config/WLAN/Devices/1', ['com.quv.igd1.WLANConfiguration'])"},
        {kHosts, "InterfacesRemoved", "(objectpath '/com/quv/igd1/Config/LANHosts/99', ['com.quv.igd1.LANHost'])"},
        {kHosts, "InterfacesRemoved", "('/com/quv/igd1/Config/LANHosts/1',)"},
        {kWLAN, "InterfacesRemoved", "(objectpath '/com/quv/igd1/Config/LANHosts/1', ['com.quv.igd1.LANHost'])"},
        {"/com/quv/igd1/Config", "InterfacesRemoved", "(objectpath '/com/quv/igd1/Config/LANHosts/1', ['com.quv.igd1.LANHost'])"},
    };
    for (const auto &c : cases)
        signal(c.emitter, c.signal, c.args);
    // A real removal afterwards proves every signal above has been dispatched.
    ASSERT_TRUE(sim.remove_object(host_path(3)));
    ASSERT_TRUE(hosts_become(2));
    EXPECT_EQ(macs(lan_hosts()), (std::vector<std::string>{"A4C3F0112233", "F0D5BF445566"}));
    EXPECT_EQ(lanpxyctx.count, 2);
}

TEST_F(Cache, WrongTypesInTheFirstFillLeaveFieldsZero)
{
    ASSERT_TRUE(sim.set_property(host_path(1), kHostIface, "HostName", "uint32 7"));
    ASSERT_TRUE(sim.set_property(host_path(1), kHostIface, "Active", "'yes'"));
    List<OvanLANHostCache_t> l = lan_hosts();
    ASSERT_EQ(l.count, 3u);
    EXPECT_STREQ(l.items[0].HostName, "");
    EXPECT_EQ(l.items[0].Active, 0);
    EXPECT_STREQ(l.items[0].MAC, "A4C3F0112233");
}

TEST_F(Cache, FailedFirstFillReturnsTheDirectStatusAndIsTriedAgain)
{
    ASSERT_TRUE(sim.script_error(kHosts, "", "GetManagedObjects", "org.freedesktop.DBus.Error.Failed", "busy", 0,
                                 true));
    List<OvanLANHostCache_t> l = lan_hosts();
    EXPECT_EQ(l.ret, -1);
    EXPECT_EQ(lanpxyctx.initialized, 0u);
    EXPECT_EQ(lan_hosts().count, 3u);
}

TEST_F(Cache, WLANDevicesAreTheDirectMembersOnly)
{
    OvanWLANDevice_t *direct = nullptr;
    uint32_t direct_n = 0;
    ASSERT_EQ(OvanGetWLANDeviceObjs(&direct, &direct_n), 0);
    OvanWLANDeviceCache_t *cached = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetWLANDeviceObjs_Cache(&cached, &n), 0);
    // The WPS children under the collection are not members.
    std::vector<const OvanWLANDevice_t *> members;
    for (uint32_t i = 0; i < direct_n; i++)
        if (!std::strstr(direct[i].path, "/WPS"))
            members.push_back(&direct[i]);
    ASSERT_EQ(n, members.size());
    for (uint32_t i = 0; i < n; i++) {
        EXPECT_STREQ(cached[i].SSID, members[i]->SSID);
        EXPECT_EQ(cached[i].Channel, members[i]->Channel);
        EXPECT_STREQ(cached[i].AllowedIPPort, members[i]->AllowedIPPort);
    }
    g_free(direct);
    g_free(cached);
    ASSERT_TRUE(sim.clear_call_log());
    ASSERT_TRUE(sim.set_property(std::string(kWLAN) + "/1", "com.quv.igd1.WLANConfiguration", "SSID", "'renamed'"));
    EXPECT_TRUE(wait_until([] {
        OvanWLANDeviceCache_t *l = nullptr;
        uint32_t c = 0;
        bool ok = OvanGetWLANDeviceObjs_Cache(&l, &c) == 0 && c > 0 && std::strcmp(l[0].SSID, "renamed") == 0;
        g_free(l);
        return ok;
    }));
    EXPECT_EQ(sim.count_calls(), 0u);
}

// Readers in several threads while the cache thread adds, removes and updates slots:
// every list is whole (count matches, no half-made record).
TEST_F(Cache, ReadersInManyThreadsSeeWholeLists)
{
    ASSERT_EQ(lan_hosts().count, 3u);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0}, reads{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; t++) {
        readers.emplace_back([&] {
            while (!stop) {
                List<OvanLANHostCache_t> l = lan_hosts();
                if (l.ret != 0 || l.items.size() != l.count)
                    bad++;
                for (const auto &h : l.items)
                    if (std::strlen(h.MAC) < 11)
                        bad++;
                OvanDeviceInfo_t d{};
                if (OvanGetDeviceInfo_Cache(&d) != 0)
                    bad++;
                reads++;
            }
        });
    }
    for (int i = 4; i < 20; i++) {
        // No ASSERT here: the readers must be joined whatever happens.
        std::string text = "{'com.quv.igd1.LANHost': {'MAC': <'0000000000" + std::to_string(i) + "'>}}";
        EXPECT_TRUE(sim.add_object(host_path(i), text.c_str()));
        EXPECT_TRUE(sim.set_property(host_path(1), kHostIface, "HostName", ("'n" + std::to_string(i) + "'").c_str()));
        if (i % 2 == 0) {
            EXPECT_TRUE(sim.remove_object(host_path(i)));
        }
    }
    EXPECT_TRUE(hosts_become(3 + 8));
    stop = true;
    for (auto &t : readers)
        t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_GT(reads.load(), 0);
}

// Two first calls at once fill once.
TEST_F(Cache, ConcurrentFirstCallsFillOnce)
{
    std::vector<std::thread> threads;
    std::atomic<int> ok{0};
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] { ok += lan_hosts().count == 3 ? 1 : 0; });
    }
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(ok.load(), 4);
    EXPECT_EQ(sim.count_calls(kHosts, "com.quv.igd1.ObjectManager", "GetManagedObjects"), 1u);
}

TEST_F(Cache, GatewayRestartRefillsTheTables)
{
    add_host(4, "000000000004");
    ASSERT_EQ(lan_hosts().count, 4u);
    OvanWLANDeviceCache_t *w = nullptr;
    uint32_t wn = 0;
    ASSERT_EQ(OvanGetWLANDeviceObjs_Cache(&w, &wn), 0);
    g_free(w);
    ASSERT_EQ(sim.stop(), 0);
    Simulator again(bus);  // the model's three hosts only
    ASSERT_TRUE(again.ok());
    EXPECT_TRUE(hosts_become(3)) << dump();
    EXPECT_EQ(macs(lan_hosts()), (std::vector<std::string>{"A4C3F0112233", "F0D5BF445566", "3C2AF4778899"}));
    // After the refill the cache is served from memory again and follows changes.
    ASSERT_TRUE(again.clear_call_log());
    ASSERT_TRUE(again.set_property(host_path(3), kHostIface, "HostName", "'scanner'"));
    EXPECT_TRUE(wait_until([] { return std::string(lan_hosts().items.at(2).HostName) == "scanner"; }));
    ASSERT_TRUE(again.set_property(kDevicePath, kDeviceIface, "SWVersion", "'V-after'"));
    EXPECT_TRUE(wait_until([] { return std::string(cached_device().SWVersion) == "V-after"; }));
    EXPECT_EQ(OvanGetWLANDeviceObjs_Cache(nullptr, &wn), 0);
    EXPECT_EQ(again.count_calls(kHosts), 0u);
}

// With a hosted service the caches adopt its connection; their signals are still
// dispatched by the cache thread, so they stay current while the service runs and
// after it stops.
TEST_F(Cache, HostedServiceConnectionIsAdoptedAndCachesStayCurrentAfterStop)
{
    ASSERT_EQ(OvanDBusStartService("com.lumo.cachetest1"), 0);
    ASSERT_EQ(lan_hosts().count, 3u);
    ASSERT_NE(qzr_dbus_service_context, nullptr);
    EXPECT_EQ(dbusconn, qzr_dbus_service_context->connection);
    ASSERT_TRUE(sim.set_property(host_path(1), kHostIface, "HostName", "'one'"));
    EXPECT_TRUE(wait_until([] { return std::string(lan_hosts().items.at(0).HostName) == "one"; }));
    ASSERT_EQ(OvanDBusStopService(), 0);
    ASSERT_TRUE(sim.set_property(host_path(1), kHostIface, "HostName", "'two'"));
    EXPECT_TRUE(wait_until([] { return std::string(lan_hosts().items.at(0).HostName) == "two"; }));
}

TEST(CacheNoBus, NoConnectionIsRefusedAndNothingMade)
{
    LogCapture log;
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/lumo-cache-test", TRUE);
    OvanDeviceInfo_t d{};
    EXPECT_EQ(OvanGetDeviceInfo_Cache(&d), -1);
    EXPECT_EQ(OvanGetLANHostObjs_Cache(nullptr, nullptr), -1);
    EXPECT_EQ(OvanGetOnlineDeviceList_Cache(nullptr, nullptr), -1);
    EXPECT_TRUE(log.contains("OvanGetDeviceInfo_Cache: connection is NULL, just return.", LOG_ERR));
    EXPECT_EQ(devinfoproxy, nullptr);
    EXPECT_EQ(dbusconn, nullptr);
}

}  // namespace
