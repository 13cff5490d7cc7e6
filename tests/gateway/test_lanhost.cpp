// LAN hosts and online devices against the simulator: the family's checks, texts,
// the user device-name store and its trimming.
#include <cstring>
#include <string>
#include <vector>

#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_lanhost.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kColl[] = "/com/quv/igd1/Config/LANHosts";
constexpr const char kHost1[] = "/com/quv/igd1/Config/LANHosts/1";
constexpr const char kHost2[] = "/com/quv/igd1/Config/LANHosts/2";
constexpr const char kMgrIface[] = "com.quv.igd1.LANHostManager";
constexpr const char kMac1[] = "A4C3F0112233";
constexpr const char kMac2[] = "F0D5BF445566";

std::string devname_file(const std::vector<std::pair<std::string, std::string>> &names)
{
    std::string text = "\nconfig devname 'macs'\n";
    for (const auto &[mac, name] : names)
        text += "\toption " + mac + " '" + name + "'\n";
    return text;
}

class LanHost : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        // Only the laptop has a user-given name (the gateway names both hosts);
        // unsorted, with names on both sides of the laptop's MAC.
        root.write("/etc/config/devname",
                   devname_file({{"FFFFFFFFFFFF", "last"}, {kMac1, "Dad laptop"}, {"000000000001", "first"}}));
    }

    std::string store() const { return root.read("/etc/config/devname"); }
    std::vector<std::string> last_setmulti_keys() { return sent_keys(sim); }

    TempRoot root;
};

TEST_F(LanHost, ManagerWritesOnlyItsWritableSubset)
{
    OvanLANHostMgr_t mgr{};
    ASSERT_EQ(OvanSetLANHostMgr(&mgr), 0);
    EXPECT_EQ(last_setmulti_keys(),
              (std::vector<std::string>{"EnableStats", "LANHostMaxNumber", "ControlListMaxNumber"}));
    EXPECT_EQ(OvanSetLANHostMgr(nullptr), -1);
    EXPECT_TRUE(log.contains("Invalid Parameter: obj is NULL.", LOG_ERR));
}

TEST_F(LanHost, CollectionShowsOnlyStoredNames)
{
    OvanLANHostExtWithIPv6_t *hosts = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(OvanGetLANHostExtWithIPv6Objs(&hosts, &count), 0);
    ASSERT_EQ(count, 3u);
    EXPECT_STREQ(hosts[0].MAC, kMac1);
    EXPECT_STREQ(hosts[0].DevName, "Dad laptop");
    // The gateway calls this one "phone"; no stored name means none shown.
    EXPECT_STREQ(hosts[1].DevName, "");
    g_free(hosts);

    OvanLANHost_t *plain = nullptr;
    ASSERT_EQ(OvanGetLANHostObjs(&plain, &count), 0);
    EXPECT_STREQ(plain[0].DevName, "Dad laptop");
    g_free(plain);
}

TEST_F(LanHost, PathByMacRefusesBadArgumentsLocally)
{
    char *path = nullptr;
    for (const char *bad : {"", "A4C3F011223", "A4:C3:F0:11:22:33", "A4C3F011223G"}) {
        uint32_t status = 0;
        GStr msg;
        EXPECT_EQ(OvanGetLANHostPathbyMAC(bad, &path, &status, lumo::out(msg)), -1) << bad;
        EXPECT_EQ(status, 1u);
        EXPECT_STREQ(msg.get(), "Invalid macaddr or NULL lanhostpath");
    }
    EXPECT_EQ(OvanGetLANHostPathbyMAC(nullptr, &path, nullptr, nullptr), -1);
    EXPECT_EQ(OvanGetLANHostPathbyMAC(kMac1, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(path, nullptr);
    EXPECT_TRUE(log.contains("Invalid macaddr or NULL lanhostpath", LOG_ERR));
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(LanHost, PathByMacReplyHandling)
{
    struct Case {
        const char *reply;  // null: the call fails
        int32_t ret;
        uint32_t status;
        const char *path;     // "stale": left as it was
        const char *message;  // null: left untouched
        const char *line;
    };
    const Case cases[] = {
        {"(objectpath '/com/quv/igd1/Config/LANHosts/1', uint32 0, '')", 0, 0, kHost1, nullptr, nullptr},
        {"(objectpath '/com/quv/igd1/Config/LANHosts/1', uint32 5, 'no such host')", -1, 5, nullptr, "no such host",
         "Call OvanGetLANHostPathbyMAC() return 5, errmsg [no such host]."},
        {"(objectpath '/com/quv/igd1/Config/LANHosts/1', uint32 5, '')", -1, 5, nullptr, nullptr, nullptr},
        {"('/com/quv/igd1/Config/LANHosts/1', uint32 0, '')", -1, 1, "stale",
         "Return value is of incorrect variant type.", "Return value is of incorrect variant type (sus)."},
        {nullptr, -1, 1, "stale", "Failed to call GetLANHostPathbyMAC() function.",
         "Failed to call GetLANHostPathbyMAC()."},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply ? c.reply : "error");
        if (c.reply)
            ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetLANHostPathbyMAC", c.reply, 0, true));
        else
            ASSERT_TRUE(sim.script_error(kColl, kMgrIface, "GetLANHostPathbyMAC", "org.freedesktop.DBus.Error.Failed",
                                         "down", 0, true));
        log.clear();
        char stale[] = "stale";
        char *path = stale;
        uint32_t status = 77;
        char *msg = nullptr;
        EXPECT_EQ(OvanGetLANHostPathbyMAC(kMac1, &path, &status, &msg), c.ret);
        EXPECT_EQ(status, c.status);
        EXPECT_STREQ(path, c.path);
        EXPECT_STREQ(msg, c.message);
        if (c.line) {
            EXPECT_TRUE(log.contains(c.line, LOG_ERR)) << c.line;
        }
        if (path != stale)
            g_free(path);
        g_free(msg);
    }
    EXPECT_EQ(sim.call_log().back().args_text(), "('A4C3F0112233',)");
}

TEST_F(LanHost, ByMacGettersFollowThePath)
{
    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetLANHostPathbyMAC",
                                 "(objectpath '/com/quv/igd1/Config/LANHosts/2', uint32 0, '')"));
    OvanLANHostExt_t host{};
    ASSERT_EQ(OvanGetLANHostExtByMAC(kMac2, &host), 0);
    EXPECT_STREQ(host.path, kHost2);
    EXPECT_STREQ(host.OS, "Android");
    uint32_t rate = 0;
    ASSERT_EQ(OvanGetLANHostNegoRateByMAC(kMac2, &rate), 0);
    EXPECT_EQ(rate, 866u);

    sim.clear_call_log();
    OvanLANHost_t plain{};
    EXPECT_EQ(OvanGetLANHostByMAC(nullptr, &plain), -1);
    EXPECT_EQ(OvanGetLANHostByMAC(kMac2, nullptr), -1);
    EXPECT_TRUE(log.contains("Invalid macaddr or NULL NULL obj", LOG_ERR));
    EXPECT_EQ(OvanGetLANHostNegoRateByMAC(kMac2, nullptr), -1);
    EXPECT_TRUE(log.contains("Invalid macaddr or NULL negorate", LOG_ERR));
    EXPECT_EQ(OvanGetLANHostByMAC("nonsense", &plain), -1);  // refused by the lookup
    EXPECT_TRUE(log.contains("Failed with errmsg <Invalid macaddr or NULL lanhostpath>", LOG_ERR));
    EXPECT_EQ(sim.count_calls(), 0u);

    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetLANHostPathbyMAC",
                                 "(objectpath '/com/quv/igd1/Config/LANHosts/1', uint32 3, 'unknown')", 0, true));
    EXPECT_EQ(OvanGetLANHostByMAC(kMac1, &plain), -1);
    EXPECT_TRUE(log.contains("Failed with errmsg <unknown>", LOG_ERR));
    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetLANHostPathbyMAC",
                                 "(objectpath '/com/quv/igd1/Config/LANHosts/77', uint32 0, '')", 0, true));
    EXPECT_EQ(OvanGetLANHostByMAC(kMac1, &plain), -1);
    EXPECT_TRUE(log.contains("GetLANHost with path /com/quv/igd1/Config/LANHosts/77 failed.", LOG_ERR));
}

TEST_F(LanHost, SetRefusesBadRecordsWithoutSideEffects)
{
    OvanLANHost_t good{};
    ASSERT_EQ(OvanGetLANHost(obj_path(kHost2), &good), 0);
    using Spoil = void (*)(OvanLANHost_t &);
    const Spoil spoils[] = {
        [](OvanLANHost_t &h) { std::memset(h.DevName, 'n', 63); },
        [](OvanLANHost_t &h) { std::memset(h.DevName, 'n', sizeof h.DevName); },  // unterminated
        [](OvanLANHost_t &h) { h.InternetAccess = 3; },
        [](OvanLANHost_t &h) { g_strlcpy(h.DevType, "router", sizeof h.DevType); },
    };
    const std::string before = store();
    sim.clear_call_log();
    for (Spoil spoil : spoils) {
        OvanLANHost_t bad = good;
        spoil(bad);
        EXPECT_EQ(OvanSetLANHost(obj_path(kHost2), &bad), -1);
    }
    EXPECT_EQ(log.count("Invalid LanHost Parameters."), 4u);
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_EQ(store(), before);
}

TEST_F(LanHost, SetStoresTheNameAndWritesTheRest)
{
    for (uint8_t access : {0, 1, 2}) {
        OvanLANHost_t host{};
        ASSERT_EQ(OvanGetLANHost(obj_path(kHost2), &host), 0);
        const std::string name(62, static_cast<char>('a' + access));
        g_strlcpy(host.DevName, name.c_str(), sizeof host.DevName);
        host.InternetAccess = access;
        g_strlcpy(host.DevType, access == 2 ? "" : "STB", sizeof host.DevType);
        ASSERT_EQ(OvanSetLANHost(obj_path(kHost2), &host), 0) << int(access);
        OvanLANHost_t back{};
        ASSERT_EQ(OvanGetLANHost(obj_path(kHost2), &back), 0);
        EXPECT_EQ(back.DevName, name);
        EXPECT_EQ(back.InternetAccess, access);
    }
    // Never the name, nor ControlStatus.
    EXPECT_EQ(last_setmulti_keys(),
              (std::vector<std::string>{"DevType", "Brand", "Model", "OS", "InternetAccess", "StorageAccess",
                                        "MaxUSBandwidth", "MaxDSBandwidth", "DeviceOnlineNofication"}));

    // The stored name stays when the gateway refuses the write.
    ASSERT_TRUE(sim.script_error(kHost2, "", "SetMulti", "org.freedesktop.DBus.Error.Failed", "no", 0, true));
    OvanLANHost_t host{};
    ASSERT_EQ(OvanGetLANHost(obj_path(kHost2), &host), 0);
    g_strlcpy(host.DevName, "kept anyway", sizeof host.DevName);
    EXPECT_EQ(OvanSetLANHost(obj_path(kHost2), &host), -1);
    EXPECT_NE(store().find("'kept anyway'"), std::string::npos);
}

TEST_F(LanHost, StoringThe64thNameTrimsTheOldest)
{
    std::vector<std::pair<std::string, std::string>> names;
    for (int i = 0; i < 63; ++i) {
        char mac[13];
        std::snprintf(mac, sizeof mac, "0000000000%02X", i);
        names.emplace_back(mac, "device " + std::to_string(i));
    }
    root.write("/etc/config/devname", devname_file(names));

    OvanLANHost_t host{};
    ASSERT_EQ(OvanGetLANHost(obj_path(kHost1), &host), 0);
    // Renaming a stored device keeps 63 names: nothing goes.
    g_strlcpy(host.MAC, "000000000005", sizeof host.MAC);
    g_strlcpy(host.DevName, "renamed", sizeof host.DevName);
    ASSERT_EQ(OvanSetLANHost(obj_path(kHost1), &host), 0);
    EXPECT_NE(store().find("option 000000000000 "), std::string::npos);

    g_strlcpy(host.MAC, kMac1, sizeof host.MAC);
    g_strlcpy(host.DevName, "newcomer", sizeof host.DevName);
    ASSERT_EQ(OvanSetLANHost(obj_path(kHost1), &host), 0);
    const std::string text = store();
    EXPECT_EQ(text.find("option 000000000000 "), std::string::npos);
    EXPECT_NE(text.find("option 000000000001 "), std::string::npos);
    EXPECT_NE(text.find("'renamed'"), std::string::npos);
    size_t options = 0;
    for (size_t at = text.find("option"); at != std::string::npos; at = text.find("option", at + 1))
        ++options;
    EXPECT_EQ(options, 63u);
    OvanLANHost_t back{};
    ASSERT_EQ(OvanGetLANHost(obj_path(kHost1), &back), 0);
    EXPECT_STREQ(back.DevName, "newcomer");
}

TEST_F(LanHost, OnlineListWalksWhateverTheWord)
{
    OvanLANHostExt_t *hosts = nullptr;
    uint32_t count = 0, status = 9;
    char *msg = nullptr;
    ASSERT_EQ(OvanGetOnlineDeviceListExt(&hosts, &count, &status, &msg), 0);
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(msg, nullptr);
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(hosts[0].DevName, "Dad laptop");
    EXPECT_EQ(hosts[0].NegoRate, 1000u);
    EXPECT_STREQ(hosts[1].DevName, "");
    g_free(hosts);

    ASSERT_TRUE(sim.script_reply(
        kColl, kMgrIface, "GetOnlineDeviceList",
        "(@a{oa{sa{sv}}} {'/com/quv/igd1/Config/LANHosts/1': {'com.quv.igd1.LANHost': {'MAC': <'A4C3F0112233'>}}}, "
        "uint32 7, 'busy')"));
    OvanLANHost_t *plain = nullptr;
    EXPECT_EQ(OvanGetOnlineDeviceList(&plain, &count, &status, &msg), 0);
    EXPECT_EQ(status, 7u);
    EXPECT_STREQ(msg, "busy");
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(plain[0].DevName, "Dad laptop");
    EXPECT_TRUE(log.contains("Call GetOnlineDeviceList() res[7], errmsg [busy].", LOG_ERR));
    g_free(plain);
    g_free(msg);
    EXPECT_EQ(OvanGetOnlineDeviceListExtWithIPv6(nullptr, &count, nullptr, nullptr), 0);
    EXPECT_EQ(count, 1u);
}

TEST_F(LanHost, SnapshotFieldsAndMessage)
{
    OvanOnlineDeviceSnapShot_t *snap = nullptr;
    uint32_t count = 0, status = 9;
    ASSERT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, nullptr), 0);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(status, 0u);
    EXPECT_STREQ(snap[0].DevName, "Dad laptop");
    EXPECT_STREQ(snap[0].Brand, "Lenvo");
    EXPECT_EQ(snap[0].OnlineTime, 7200u);
    EXPECT_STREQ(snap[1].DevName, "");
    EXPECT_EQ(snap[1].ConnectionType, 1);
    EXPECT_STREQ(snap[1].OS, "Android");
    g_free(snap);

    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetOnlineDevicesSnapShot",
                                 "(@a{oa{sa{sv}}} {}, uint32 2, 'not ready')", 0, true));
    char *msg = nullptr;
    OvanOnlineDeviceSnapShot_t sentinel{};
    snap = &sentinel;
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, &msg), 0);
    EXPECT_EQ(status, 2u);
    EXPECT_STREQ(msg, "not ready");
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(snap, nullptr);
    EXPECT_TRUE(log.contains("Call GetOnlineDevicesSnapShot() errmsg [not ready].", LOG_ERR));
    g_free(msg);
}

TEST_F(LanHost, OnlineListAndSnapshotFailures)
{
    OvanLANHost_t *hosts = nullptr;
    OvanOnlineDeviceSnapShot_t *snap = nullptr;
    uint32_t status = 0, count = 42;
    EXPECT_EQ(OvanGetOnlineDeviceList(&hosts, nullptr, &status, nullptr), -1);
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, nullptr, &status, nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);

    GStr msg;
    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetOnlineDevicesSnapShot", "(uint32 0, '')", 0, true));
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, lumo::out(msg)), -1);
    EXPECT_EQ(status, 1u);
    EXPECT_STREQ(msg.get(), "Return value is of incorrect variant type.");
    EXPECT_TRUE(log.contains("Return value is of incorrect variant type (us).", LOG_ERR));

    ASSERT_TRUE(sim.script_error(kColl, kMgrIface, "GetOnlineDeviceList", "org.freedesktop.DBus.Error.Failed", "down",
                                 0, true));
    EXPECT_EQ(OvanGetOnlineDeviceList(&hosts, &count, &status, lumo::out(msg)), -1);
    EXPECT_STREQ(msg.get(), "Failed to call GetOnlineDeviceList() function.");
    EXPECT_TRUE(log.contains("Failed to call GetOnlineDeviceList().", LOG_ERR));
    ASSERT_TRUE(sim.script_error(kColl, kMgrIface, "GetOnlineDevicesSnapShot", "org.freedesktop.DBus.Error.Failed",
                                 "down", 0, true));
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, lumo::out(msg)), -1);
    EXPECT_STREQ(msg.get(), "Failed to call GetOnlineDevicesSnapShot() function.");
    EXPECT_EQ(hosts, nullptr);
    EXPECT_EQ(snap, nullptr);
    EXPECT_EQ(count, 42u);
}

}  // namespace
