// The system families against the simulator, one namespace each: their own checks,
// texts and quirks (the shapes: test_shapes.cpp; what every object shares:
// test_registry.cpp).
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "gateway_support.hpp"
#include "lumo3_device.h"
#include "lumo3_lanhost.h"
#include "lumo3_omdiag.h"
#include "lumo3_speedtest.h"
#include "lumo3_syscmd.h"
#include "lumo3_voicecwmp.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::GStr;

// Device, network, PON and VoIP information; the capability questions; the name.
namespace device {

constexpr const char kDevice[] = "/com/quv/igd1/Info/Device";

using Device = GwTest;

TEST_F(Device, CapabilityFields)
{
    struct Case {
        const char *capability;
        uint32_t wifi, usb;
    };
    const Case cases[] = {
        {"0;0;1;0;1", 1, 1},
        {"1;1;1", 0, 1},  // fields 4 and 5 missing
        {"0;0;0;1;0", 1, 0},
        {"0;0;x;y;2", 1, 0},  // not numbers count as 0
        {"0;0;0;0;0;1", 0, 0},  // a sixth field is ignored
        // a field is cut to 15 characters before it is converted
        {"0;0;0000000000000001;0;0", 0, 0},
        {"0;0;000000000000001;0;0", 0, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.capability);
        const std::string text = "'" + std::string(c.capability) + "'";
        ASSERT_TRUE(sim.set_property(kDevice, kDeviceIface, "Capability", text.c_str()));
        uint32_t wifi = 7, usb = 7;
        EXPECT_EQ(OvanSupportWiFi(&wifi), 0);
        EXPECT_EQ(OvanSupportUSB(&usb), 0);
        EXPECT_EQ(wifi, c.wifi);
        EXPECT_EQ(usb, c.usb);
    }
}

TEST_F(Device, CapabilityUnreadableCountsAsPresent)
{
    ASSERT_TRUE(sim.script_error(kDevice, "com.quv.igd1.Properties", "Get", "org.freedesktop.DBus.Error.Failed",
                                 "gone"));
    uint32_t wifi = 0;  // the USB question shares the reading
    EXPECT_NE(OvanSupportWiFi(&wifi), 0);
    EXPECT_EQ(wifi, 1u);
    EXPECT_EQ(OvanSupportWiFi(nullptr), -1);
}

TEST_F(Device, DeviceName)
{
    const std::string exact(128, 'n');
    EXPECT_EQ(OvanDeviceSetDevName(exact.c_str()), 0);
    EXPECT_EQ(printed(sim.property(kDevice, kDeviceIface, "DevName").get()), "'" + exact + "'");

    sim.clear_call_log();
    const std::string longer(129, 'n');
    EXPECT_EQ(OvanDeviceSetDevName(longer.c_str()), -1);
    EXPECT_TRUE(log.contains("devname(" + longer + ") is too long, its length is limited to 128", 3));
    EXPECT_EQ(sim.count_calls(), 0u);

    EXPECT_EQ(OvanDeviceSetDevName(nullptr), 0);  // clears the name
    EXPECT_EQ(printed(sim.property(kDevice, kDeviceIface, "DevName").get()), "''");
    EXPECT_TRUE(log.contains("OvanDeviceSetDevName: Enter, devname()", 7));
}

}  // namespace device

// System commands: every command's call, checks and texts, the password getters,
// and passwords kept out of the log; the configuration block.
namespace syscmd {

constexpr const char kSystem[] = "/com/quv/igd1/Tevra/System";
constexpr const char kSysCmd[] = "com.quv.igd1.SysCmd";
constexpr const char kFailed[] = "org.freedesktop.DBus.Error.Failed";

using Call = std::function<int32_t(uint32_t *, char **)>;

// One command called with acceptable inputs.
struct Command {
    const char *tag;
    const char *method;
    Call call;
    const char *args;          // as the service receives them
    const char *fail_message;  // handed out when the call fails
    const char *fail_line;     // logged at level 3 then
};

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        {"OvanSysCmdSetLOID", "SetLOID",
         [](uint32_t *s, char **e) { return OvanSysCmdSetLOID("LOID0001", nullptr, "", s, e); },
         "('LOID0001', '', '')", "Failed to call SetLOID() function.", "Failed to call SetLOID()"},
        {"OvanSysCmdRegisterLOID", "RegisterLOID", OvanSysCmdRegisterLOID, "()",
         "Failed to call RegisterLOID() function.", "Failed to call RegisterLOID()"},
        {"OvanSysCmdCheckLOID", "CheckLOID", OvanSysCmdCheckLOID, "()", "Failed to call CheckLOID.",
         "Failed to call CheckLOID"},
        {"OvanSysCmdSetDateTime", "SetDateTime",
         [](uint32_t *s, char **e) { return OvanSysCmdSetDateTime("2024-02-29 23:59:59", s, e); },
         "('2024-02-29 23:59:59',)", "Failed to call SetDateTime() function.",
         "Failed to call SetDateTime() function"},
        {"OvanSysCmdReboot", "Reboot", OvanSysCmdReboot, "()", "Failed to call Reboot() function.",
         "Failed to call Reboot() function."},
        {"OvanSysCmdRestore", "Restore", OvanSysCmdRestore, "()", "Failed to call Restore() function.",
         "Failed to call Restore() function."},
        {"OvanSysCmdLocalRecovery", "LocalRecovery", OvanSysCmdLocalRecovery, "()",
         "Failed to call LocalRecovery() function.", "Failed to call LocalRecovery() function."},
        {"OvanSysCmdUpgrade", "Upgrade",
         [](uint32_t *s, char **e) { return OvanSysCmdUpgrade("http://fw.example/img", 6, 1, 7, s, e); },
         "('http://fw.example/img', uint32 6, uint32 1, true)", "Failed to call Upgrade() function.",
         "Failed to call Upgrade() function"},
        {"OvanSysCmdClearUpgradeStatus", "ClearUpgradeStatus", OvanSysCmdClearUpgradeStatus, "()",
         "Failed to call ClearUpgradeStatus() function.", "Failed to call ClearUpgradeStatus() function"},
        {"OvanSysCmdClearRestoreStatus", "ClearRestoreStatus", OvanSysCmdClearRestoreStatus, "()",
         "Failed to call ClearRestoreStatus() function.", "Failed to call ClearRestoreStatus() function"},
        {"OvanSysCmdCheckUAPasswd", "CheckUAPasswd",
         [](uint32_t *s, char **e) { return OvanSysCmdCheckUAPasswd("abcde", s, e); }, "('abcde',)",
         "Failed to call CheckUAPasswd() function.", "Failed to call CheckUAPasswd() function"},
        {"OvanSysCmdSetUAPasswd", "SetUAPasswd",
         [](uint32_t *s, char **e) { return OvanSysCmdSetUAPasswd("abcdefghijklmnopqrst", s, e); },
         "('abcdefghijklmnopqrst',)", "Failed to call SetUAPasswd() function.",
         "Failed to call SetUAPasswd() function"},
        {"OvanSysCmdCheckTAPasswd", "CheckTAPasswd",
         [](uint32_t *s, char **e) { return OvanSysCmdCheckTAPasswd("t", s, e); }, "('t',)",
         "Failed to call CheckTAPasswd() function.", "Failed to call CheckTAPasswd() function."},
        {"OvanSysCmdUploadTroubleLocationInfo", "UploadTroubleLocatingInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdUploadTroubleLocationInfo("http://u", "", s, e); },
         "('http://u', '')", "Failed to call UploadTroubleLocatingInfo() function.",
         "Failed to call UploadTroubleLocatingInfo() function."},
        {"OvanSysCmdStartCollectionDebugInfo", "StartCollectionDebugInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdStartCollectionDebugInfo("http://u", "WIFI", 300, s, e); },
         "('http://u', 'WIFI', uint16 300)", "Failed to call StartCollectionDebugInfo() function.",
         "Failed to call StartCollectionDebugInfo() function."},
    };
    return all;
}

class SysCmd : public SimTest {
protected:
    size_t sent() { return sim.count_calls(kSystem); }
};

// Each command's call, then its own failure text and lines (the word and message
// themselves: test_registry.cpp).
TEST_F(SysCmd, EveryCommandCallsItsMethodAndLogsItsFailures)
{
    for (const Command &c : commands()) {
        SCOPED_TRACE(c.tag);
        sim.clear_call_log();
        StatusOut out;
        EXPECT_EQ(c.call(&out.status, &out.errmsg), 0);
        auto calls = sim.call_log();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].method, c.method);
        EXPECT_EQ(calls[0].args_text(), c.args);

        ASSERT_TRUE(sim.script_error(kSystem, kSysCmd, c.method, kFailed, "refused", 0, true));
        StatusOut failed;
        EXPECT_EQ(c.call(&failed.status, &failed.errmsg), -1);
        EXPECT_EQ(failed.msg(), c.fail_message);
        EXPECT_TRUE(logged(3, c.tag, c.fail_line));

        ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, c.method, "(uint32 9, 'busy')", 0, true));
        StatusOut busy;
        EXPECT_EQ(c.call(&busy.status, &busy.errmsg), -1);
        if (std::strcmp(c.method, "SetLOID") == 0)
            EXPECT_TRUE(logged(7, c.tag, "error (busy)"));
        else
            EXPECT_TRUE(logged(3, c.tag, std::string("Call ") + c.tag + "() errmsg [busy]."));
    }
    EXPECT_TRUE(logged(7, "OvanSysCmdUpgrade", "enter, url(http://fw.example/img), mode(6), method(1), needreboot(7)"));
    EXPECT_TRUE(logged(7, "OvanSysCmdUploadTroubleLocationInfo", "Exit, res(9)"));
}

TEST_F(SysCmd, RefusedInputsSendNothing)
{
    const std::string p21(21, 'p');
    struct Refusal {
        const char *tag;
        Call call;
        const char *message;
        const char *line;
    };
    const char *const params = "Invalid Parameters.";
    const Refusal refusals[] = {
        {"OvanSysCmdSetLOID", [](uint32_t *s, char **e) { return OvanSysCmdSetLOID("", "pw", "BEJ", s, e); },
         "Invalid Parameters: empty loid or invalid provoice", "Invalid Parameters: empty loid or invalid provoice"},
        {"OvanSysCmdSetLOID", [](uint32_t *s, char **e) { return OvanSysCmdSetLOID("L1", "pw", "XYZ", s, e); },
         "Invalid Parameters: empty loid or invalid provoice", "Invalid Parameters: empty loid or invalid provoice"},
        {"OvanSysCmdSetDateTime",
         [](uint32_t *s, char **e) { return OvanSysCmdSetDateTime("2024-13-01 00:00:00", s, e); },
         "Invalid datetime", "Invalid datetime"},
        {"OvanSysCmdUpgrade", [](uint32_t *s, char **e) { return OvanSysCmdUpgrade("http://nodot/x", 0, 0, 0, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdUpgrade", [](uint32_t *s, char **e) { return OvanSysCmdUpgrade(nullptr, 0, 0, 0, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdUpgrade", [](uint32_t *s, char **e) { return OvanSysCmdUpgrade("a.b", 7, 0, 0, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdUpgrade", [](uint32_t *s, char **e) { return OvanSysCmdUpgrade("a.b", 0, 2, 0, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdUpgrade", [](uint32_t *s, char **e) { return OvanSysCmdUpgrade("a.b", 0, -1, 0, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdCheckUAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdCheckUAPasswd("abcd", s, e); },
         "Invalid password.", "Invalid password"},
        {"OvanSysCmdCheckUAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdCheckUAPasswd(nullptr, s, e); },
         "Invalid password.", "Invalid password"},
        {"OvanSysCmdSetUAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdSetUAPasswd("abcd", s, e); },
         "Invalid Password, len [5 ~ 20].", "Invalid Password, len [5 ~ 20]"},
        {"OvanSysCmdSetUAPasswd", [&](uint32_t *s, char **e) { return OvanSysCmdSetUAPasswd(p21.c_str(), s, e); },
         "Invalid Password, len [5 ~ 20].", "Invalid Password, len [5 ~ 20]"},
        {"OvanSysCmdCheckTAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdCheckTAPasswd("", s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdUploadTroubleLocationInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdUploadTroubleLocationInfo("", "ALL", s, e); }, params,
         "Invalid Parameters"},
        {"OvanSysCmdStartCollectionDebugInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdStartCollectionDebugInfo("http://u", "wifi", 1, s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdGetTAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdGetTAPasswd(nullptr, s, e); },
         "Invalid Parameters: passwd is NULL.", "Invalid Parameters: passwd is NULL."},
        {"OvanSysCmdGetUAPasswd", [](uint32_t *s, char **e) { return OvanSysCmdGetUAPasswd(nullptr, s, e); },
         "Invalid Parameters: passwd is NULL.", "Invalid Parameters: passwd is NULL."},
    };
    for (const Refusal &r : refusals) {
        SCOPED_TRACE(r.tag);
        log.clear();
        StatusOut out;
        EXPECT_EQ(r.call(&out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), r.message);
        EXPECT_TRUE(logged(3, r.tag, r.line));
        EXPECT_EQ(r.call(nullptr, nullptr), -1);  // optional outputs stay optional
    }
    // The mandatory status: an acceptable request without it is refused as well.
    EXPECT_EQ(OvanSysCmdCheckTAPasswd("secret", nullptr, nullptr), -1);
    EXPECT_EQ(OvanSysCmdUploadTroubleLocationInfo("http://u", "ALL", nullptr, nullptr), -1);
    EXPECT_EQ(OvanSysCmdStartCollectionDebugInfo("http://u", "ALL", 5, nullptr, nullptr), -1);
    EXPECT_EQ(sent(), 0u);
}

TEST_F(SysCmd, AcceptedBoundaries)
{
    const std::string p21(21, 'p'), p20(20, 'p');
    uint32_t st = 77;
    EXPECT_EQ(OvanSysCmdCheckUAPasswd(p21.c_str(), &st, nullptr), 0);  // no upper bound
    EXPECT_EQ(OvanSysCmdSetUAPasswd("abcde", &st, nullptr), 0);
    EXPECT_EQ(OvanSysCmdSetUAPasswd(p20.c_str(), &st, nullptr), 0);
    EXPECT_EQ(OvanSysCmdUpgrade("a.b", 0, 0, 0, &st, nullptr), 0);
    EXPECT_EQ(OvanSysCmdSetLOID("L1", "pw", "BEJ", &st, nullptr), 0);
    EXPECT_EQ(sent(), 5u);
    auto calls = sim.call_log();
    EXPECT_EQ(calls[3].args_text(), "('a.b', uint32 0, uint32 0, false)");
    EXPECT_EQ(calls[4].args_text(), "('L1', 'pw', 'BEJ')");
}

TEST_F(SysCmd, PasswordGetters)
{
    // A refusal still hands the password over.
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetUAPasswd", "('stillgiven', uint32 5, 'locked')", 0, true));
    char *pw = nullptr;
    StatusOut refused;
    EXPECT_EQ(OvanSysCmdGetUAPasswd(&pw, &refused.status, &refused.errmsg), -1);
    EXPECT_STREQ(pw, "stillgiven");
    g_free(pw);

    // An empty password leaves the output alone; a failed call clears it.
    static char sentinel[] = "caller's";
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetTAPasswd", "('', uint32 0, '')", 0, true));
    pw = sentinel;
    EXPECT_EQ(OvanSysCmdGetTAPasswd(&pw, nullptr, nullptr), 0);
    EXPECT_EQ(pw, sentinel);
    ASSERT_TRUE(sim.script_error(kSystem, kSysCmd, "GetTAPasswd", kFailed, "no", 0, true));
    StatusOut failed;
    EXPECT_EQ(OvanSysCmdGetTAPasswd(&pw, &failed.status, &failed.errmsg), -1);
    EXPECT_EQ(pw, nullptr);
    EXPECT_EQ(failed.msg(), "Failed to call GetTAPasswd() function.");
    EXPECT_TRUE(logged(7, "OvanSysCmdGetTAPasswd", "enter."));
}

TEST_F(SysCmd, PasswordsStayOutOfTheWrappersLog)
{
    const char *secrets[] = {"Loid#Pass1", "TaCheck#4444", "TaGot#55555"};
    uint32_t st = 0;
    char *pw = nullptr;
    // Commands sent and the UA password read: test_secrets.cpp; here refused ones and
    // the TA password read.
    OvanSysCmdSetLOID("", secrets[0], "BEJ", &st, nullptr);
    OvanSysCmdCheckTAPasswd(secrets[1], nullptr, nullptr);
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetTAPasswd", g_variant_new("(sus)", secrets[2], 0u, "")));
    OvanSysCmdGetTAPasswd(&pw, &st, nullptr);
    g_free(pw);

    // No line at all, the wrappers' or the bus layer's, holds a password.
    size_t wrapper_lines = 0;
    for (const auto &line : log.lines()) {
        if (line.text.find(" OvanSysCmd") != std::string::npos)
            wrapper_lines++;
        for (const char *s : secrets)
            EXPECT_EQ(line.text.find(s), std::string::npos) << line.text;
    }
    EXPECT_GE(wrapper_lines, 5u);
}

TEST_F(SysCmd, ConfigBlock)
{
    OvanSystemCmdConfig_t cfg{};
    ASSERT_EQ(OvanGetSystemCmdConfig(&cfg), 0);
    EXPECT_EQ(OvanSetSystemCmdConfig(nullptr), -1);
    EXPECT_TRUE(logged(3, "OvanSetSystemCmdConfig", "enter, NULL parameter."));
    const uint8_t refused[][2] = {{49, 80}, {101, 80}, {80, 49}, {80, 101}};
    sim.clear_call_log();
    for (const auto &r : refused) {
        cfg.MemAlarm = r[0];
        cfg.MemLimit = r[1];
        EXPECT_EQ(OvanSetSystemCmdConfig(&cfg), -1);
    }
    EXPECT_EQ(log.count("OvanSetSystemCmdConfig: Invalid Parameter.\n"), std::size(refused));
    EXPECT_EQ(sent(), 0u);

    cfg.MemAlarm = 50;
    cfg.MemLimit = 100;
    cfg.UpgradeStatus = 3;  // not written
    ASSERT_EQ(OvanSetSystemCmdConfig(&cfg), 0);
    EXPECT_TRUE(logged(7, "OvanSetSystemCmdConfig", "enter, MemAlarm(50), MemLimit(100)"));
    EXPECT_EQ(printed(last_args(sim, "SetMulti").get()),
              "('com.quv.igd1.SysCmd', {'MemAlarm': <byte 0x32>, 'MemLimit': <byte 0x64>})");
}

}  // namespace syscmd

// LAN hosts and online devices against the simulator: the family's checks, texts,
// the user device-name store and its trimming.
namespace lanhost {

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

    TempRoot root;
};

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
        uint32_t status;
        const char *path;     // "stale": left as it was
        const char *message;
        const char *line;
    };
    const Case cases[] = {
        {"(objectpath '/com/quv/igd1/Config/LANHosts/1', uint32 5, 'no such host')", 5, nullptr, "no such host",
         "Call OvanGetLANHostPathbyMAC() return 5, errmsg [no such host]."},
        {"('/com/quv/igd1/Config/LANHosts/1', uint32 0, '')", 1, "stale",
         "Return value is of incorrect variant type.", "Return value is of incorrect variant type (sus)."},
        {nullptr, 1, "stale", "Failed to call GetLANHostPathbyMAC() function.",
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
        EXPECT_EQ(OvanGetLANHostPathbyMAC(kMac1, &path, &status, &msg), -1);
        EXPECT_EQ(status, c.status);
        EXPECT_STREQ(path, c.path);
        EXPECT_STREQ(msg, c.message);
        EXPECT_TRUE(log.contains(c.line, LOG_ERR)) << c.line;
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
    }
    // Never the name, nor ControlStatus.
    EXPECT_EQ(sent_keys(sim),
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
    EXPECT_NE(text.find("'renamed'"), std::string::npos);
    size_t options = 0;
    for (size_t at = text.find("option"); at != std::string::npos; at = text.find("option", at + 1))
        ++options;
    EXPECT_EQ(options, 63u);  // the oldest went, the newcomer came
}

// The records come back whatever the word; a failed call hands out none.
TEST_F(LanHost, OnlineListsWalkWhateverTheWord)
{
    uint32_t count = 0, status = 9;
    char *msg = nullptr;
    ASSERT_TRUE(sim.script_reply(
        kColl, kMgrIface, "GetOnlineDeviceList",
        "(@a{oa{sa{sv}}} {'/com/quv/igd1/Config/LANHosts/1': {'com.quv.igd1.LANHost': {'MAC': <'A4C3F0112233'>}}}, "
        "uint32 7, 'busy')",
        0, true));
    OvanLANHost_t *plain = nullptr;
    EXPECT_EQ(OvanGetOnlineDeviceList(&plain, &count, &status, &msg), 0);
    EXPECT_EQ(status, 7u);
    EXPECT_STREQ(msg, "busy");
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(plain[0].DevName, "Dad laptop");
    EXPECT_TRUE(log.contains("Call GetOnlineDeviceList() res[7], errmsg [busy].", LOG_ERR));
    g_free(plain);
    g_free(msg);

    ASSERT_TRUE(sim.script_reply(kColl, kMgrIface, "GetOnlineDevicesSnapShot",
                                 "(@a{oa{sa{sv}}} {}, uint32 2, 'not ready')", 0, true));
    msg = nullptr;
    OvanOnlineDeviceSnapShot_t sentinel{};
    OvanOnlineDeviceSnapShot_t *snap = &sentinel;
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, &msg), 0);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(snap, nullptr);
    EXPECT_TRUE(log.contains("Call GetOnlineDevicesSnapShot() errmsg [not ready].", LOG_ERR));
    g_free(msg);

    OvanLANHost_t *hosts = nullptr;
    GStr text;
    count = 42;
    ASSERT_TRUE(sim.script_error(kColl, kMgrIface, "GetOnlineDeviceList", "org.freedesktop.DBus.Error.Failed", "down",
                                 0, true));
    EXPECT_EQ(OvanGetOnlineDeviceList(&hosts, &count, &status, lumo::out(text)), -1);
    EXPECT_STREQ(text.get(), "Failed to call GetOnlineDeviceList() function.");
    EXPECT_TRUE(log.contains("Failed to call GetOnlineDeviceList().", LOG_ERR));
    ASSERT_TRUE(sim.script_error(kColl, kMgrIface, "GetOnlineDevicesSnapShot", "org.freedesktop.DBus.Error.Failed",
                                 "down", 0, true));
    EXPECT_EQ(OvanGetOnlineDevicesSnapShot(&snap, &count, &status, lumo::out(text)), -1);
    EXPECT_STREQ(text.get(), "Failed to call GetOnlineDevicesSnapShot() function.");
    EXPECT_EQ(hosts, nullptr);
    EXPECT_EQ(snap, nullptr);
    EXPECT_EQ(count, 42u);
}

}  // namespace lanhost

// OM diagnostics and bridge data: threshold bounds, the watch lists' by-name members
// and the checks of their setters.
namespace omdiag {

constexpr const char kDiag[] = "/com/quv/igd1/Tevra/OMDiag";
constexpr const char kResources[] = "/com/quv/igd1/Tevra/OMDiag/Resource";
constexpr const char kProcesses[] = "/com/quv/igd1/Tevra/OMDiag/Process";

class OMDiag : public SimTest {
protected:
    std::vector<OvanDiagResource_t> resources()
    {
        OvanDiagResource_t *objs = nullptr;
        uint32_t n = 0;
        EXPECT_EQ(OvanGetDiagResourceObjs(&objs, &n), 0);
        std::vector<OvanDiagResource_t> out(objs, objs + n);
        g_free(objs);
        return out;
    }
    std::vector<std::string> processes()
    {
        OvanDiagProcess_t *objs = nullptr;
        uint32_t n = 0;
        EXPECT_EQ(OvanGetDiagProcessObjs(&objs, &n), 0);
        std::vector<std::string> out;
        for (uint32_t i = 0; i < n; i++)
            out.emplace_back(objs[i].ServiceName);
        g_free(objs);
        return out;
    }
};

TEST_F(OMDiag, ThresholdBounds)
{
    struct Case {
        const char *tag;
        int32_t (*set)(int32_t);
        int32_t value;
        const char *refusal;  // null: accepted
    };
    const Case cases[] = {
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 0, nullptr},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 100, nullptr},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 101,
         "Invalid flashoccupy[101], should be [0 - 100]"},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, -1,
         "Invalid flashoccupy[-1], should be [0 - 100]"},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, 0, nullptr},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, 65536, nullptr},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, -1, "Invalid conntracknum[-1], should >= 0"},
    };
    for (const Case &c : cases) {
        sim.clear_call_log();
        EXPECT_EQ(c.set(c.value), c.refusal ? -1 : 0) << c.tag << " " << c.value;
        EXPECT_EQ(sim.count_calls(kDiag), c.refusal ? 0u : 1u) << c.tag << " " << c.value;
        if (c.refusal) {
            EXPECT_TRUE(logged(LOG_ERR, c.tag, c.refusal)) << dump();
        }
    }
    ASSERT_EQ(OvanSetSysTempThreshold(90, 80), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"CPUTempThreshold", "PONTempThreshold"}));
}

TEST_F(OMDiag, ResourceByNameUpdatesOrAdds)
{
    const size_t before = resources().size();
    ASSERT_EQ(OvanAddDiagResourceByServiceName("cwmpd", 45, 25), 0);
    auto list = resources();
    ASSERT_EQ(list.size(), before) << "a listed service is updated, not added";
    EXPECT_EQ(list[1].CPUPercentage, 45u);
    EXPECT_EQ(list[1].MEMPercentage, 25u);

    ASSERT_EQ(OvanAddDiagResourceByServiceName("upnpd", 100, 0), 0);
    list = resources();
    ASSERT_EQ(list.size(), before + 1);
    EXPECT_STREQ(list.back().ServiceName, "upnpd");
    EXPECT_EQ(list.back().CPUPercentage, 100u);

    ASSERT_EQ(OvanDelDiagResourceByName("upnpd"), 0);
    EXPECT_EQ(resources().size(), before);
    EXPECT_EQ(OvanDelDiagResourceByName("upnpd"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDelDiagResourceByName", "did not found serviceName (upnpd)")) << dump();

    sim.clear_call_log();
    const std::string long_name(32, 'n');
    struct Refused {
        const char *name;
        uint32_t cpu, mem;
    };
    for (const Refused &r : {Refused{"", 1, 1}, Refused{nullptr, 1, 1}, Refused{"x", 101, 1},
                             Refused{"x", 1, 101}, Refused{long_name.c_str(), 1, 1}})
        EXPECT_EQ(OvanAddDiagResourceByServiceName(r.name, r.cpu, r.mem), -1) << (r.name ? r.name : "(null)");
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagResourceByServiceName",
                       "Invalid Parameter, input ServiceName <x>, CPUPercentage <101>, MEMPercentage <1>"))
        << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(OMDiag, ProcessByName)
{
    const std::string n31(31, 'p'), n32(32, 'p');
    EXPECT_EQ(OvanAddDiagProcessByName(n32.c_str()), -1);
    EXPECT_EQ(OvanAddDiagProcessByName(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "enter, serviceName length should be between 1 and 31"))
        << dump();
    EXPECT_EQ(sim.count_calls(), 0u);

    const size_t before = processes().size();
    ASSERT_EQ(OvanAddDiagProcessByName(n31.c_str()), 0);
    EXPECT_EQ(processes().back(), n31);
    EXPECT_EQ(OvanAddDiagProcessByName("dropbear"), 0);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "process (dropbear) in already in monitor list"))
        << dump();
    EXPECT_EQ(processes().size(), before + 1);

    ASSERT_EQ(OvanDelDiagProcessByName(n31.c_str()), 0);
    EXPECT_EQ(processes().size(), before);
    EXPECT_EQ(OvanDelDiagProcessByName("nope"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDelDiagProcessByName", "did not found process (nope) in list")) << dump();

    // A failed add is reported as such.
    sim.script_error(kProcesses, "com.quv.igd1.ObjectManager", "AddObject", "org.freedesktop.DBus.Error.Failed", "full",
                     0, true);
    EXPECT_EQ(OvanAddDiagProcessByName("lighttpd"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "OvanAddDiagProcess failed")) << dump();
}

// (The process list's setters share the resource list's checks.)
TEST_F(OMDiag, SettersRefuseEmptyFields)
{
    OvanDiagResource_t res{};
    res.CPUPercentage = 5;
    OvanBridgeDataAcl_t acl{};
    g_strlcpy(acl.Protocol, "UDP", sizeof acl.Protocol);
    const OvanObjPath_t rpath = obj_path(std::string(kResources) + "/1");
    const OvanObjPath_t apath = obj_path("/com/quv/igd1/Tevra/BridgeData/ACL/1");
    EXPECT_EQ(OvanSetDiagResource(rpath, &res), -1);
    EXPECT_EQ(OvanAddDiagResource(&res), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetDiagResource", "Empty ServiceName")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagResource", "Empty ServiceName")) << dump();
    EXPECT_EQ(OvanSetBridgeDataAclv4(apath, &acl), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetBridgeDataAclv4", "Empty parameters")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
    g_strlcpy(res.ServiceName, "x", sizeof res.ServiceName);

    // Set writes only the limits; add writes the name too.
    res.MEMPercentage = 7;
    ASSERT_EQ(OvanSetDiagResource(rpath, &res), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"CPUPercentage", "MEMPercentage"}));
    ASSERT_EQ(OvanAddDiagResource(&res), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanAddDiagResource", "enter, add ServiceName <x>, CPUPercentage <5>, "
                                                         "MEMPercentage <7>"))
        << dump();
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"ServiceName", "CPUPercentage", "MEMPercentage"}));
}

}  // namespace omdiag

// HTTP download test, speed tests, feature flags and CloudVR: argument checks and
// their texts, what the configuration setters send, and how a start reports.
namespace speedtest {

constexpr const char kTest[] = "/com/quv/igd1/Diagnostics/HttpDownload";
constexpr const char kHttpIface[] = "com.quv.igd1.HttpDownloadTest";
constexpr const char kFFIface[] = "com.quv.igd1.SpeedTestFF";
constexpr const char kLocalIface[] = "com.quv.igd1.SpeedTestLocal";

using SpeedTest = GwTest;

const std::string kTicket64(64, 'k');
const std::string kURL1024 = "http://" + std::string(1024 - 7, 'u');
const std::string kRFU32(32, 'r');

// ---- what is sent ----

// Each call sends its method once: the printed arguments and, for a SetMulti, the
// dictionary's keys.
TEST_F(SpeedTest, SendsExactArguments)
{
    struct Sent {
        const char *name;
        std::function<int32_t()> call;
        const char *method;          // "SetMulti", "Set" or "StartTest"
        std::string args;            // printed argument tuple ("" : not compared)
        const char *keys = nullptr;  // SetMulti: the dictionary's keys
    };
    const Sent cases[] = {
        Sent{"http_0", [] { return OvanStartHttpDownloadTest(0, nullptr, nullptr); }, "StartTest", "(uint32 0,)"},
        Sent{"http_3600", [] { return OvanStartHttpDownloadTest(3600, nullptr, nullptr); }, "StartTest",
             "(uint32 3600,)"},
        Sent{"local", [] { return OvanStartSpeedTestLocalv4(nullptr, nullptr); }, "StartTest", "()"},
        Sent{"url", [] { return OvanSetHttpDownloadTestURL("http://x.example/1"); }, "Set",
             "('com.quv.igd1.HttpDownloadTest', 'URL', <'http://x.example/1'>)"},
        Sent{"ff_config_widest", [] { return OvanSetSpeedTestFFConfig(kTicket64.c_str(), 3, kURL1024.c_str()); },
             "SetMulti",
             "('com.quv.igd1.SpeedTestFF', {'Ticket': <'" + kTicket64 + "'>, 'SpeedType': <byte 0x03>, 'URL': <'" +
                 kURL1024 + "'>})"},
        Sent{"local_no_rfu", [] { return OvanSetSpeedTestLocalConfigv4(7, 2, nullptr, ""); }, "SetMulti",
             "('com.quv.igd1.SpeedTestLocal', {'Enable': <true>, 'SpeedType': <byte 0x02>})"},
        Sent{"local_rfu2_only", [] { return OvanSetSpeedTestLocalConfigv4(0, 0, "", "b"); }, "SetMulti", "",
             "Enable,SpeedType,RFU2"},
        Sent{"local_both_widest", [] { return OvanSetSpeedTestLocalConfigv4(0, 3, kRFU32.c_str(), "b"); }, "SetMulti",
             "", "Enable,SpeedType,RFU1,RFU2"},
        // Of the other families.
        Sent{"voip_simulate",
             [] {
                 OvanVOIPSimulateTest_t sim_test{};
                 return OvanGetVOIPSimulateTestConfig(&sim_test) == 0 ? OvanSetVOIPSimulateTestConfig(&sim_test) : -2;
             },
             "SetMulti", "", "CalledNumber,DialDTMFConfirmEnable,DialDTMFConfirmNumber"},
        Sent{"lanhost_manager",
             [] {
                 OvanLANHostMgr_t mgr{};
                 return OvanSetLANHostMgr(&mgr);
             },
             "SetMulti", "", "EnableStats,LANHostMaxNumber,ControlListMaxNumber"},
    };
    for (const Sent &c : cases) {
        SCOPED_TRACE(c.name);
        sim.clear_call_log();
        ASSERT_EQ(c.call(), 0) << dump();
        EXPECT_EQ(sim.count_calls("", "", c.method), 1u);
        if (!c.args.empty()) {
            EXPECT_EQ(printed(last_args(sim, c.method).get()), c.args);
        }
        if (c.keys) {
            EXPECT_EQ(keys(), c.keys);
        }
    }
}

TEST_F(SpeedTest, URLWriteLogsItsOutcome)
{
    ASSERT_EQ(OvanSetHttpDownloadTestURL("http://y.example"), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetHttpDownloadTestURL", "operation(OVAN_OK)"));
    char *url = nullptr;
    ASSERT_EQ(OvanGetHttpDownloadTestURL(&url), 0);
    g_free(url);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetHttpDownloadTestURL", "url (http://y.example)"));

    ASSERT_TRUE(sim.script_error(kTest, "", "Set", "org.freedesktop.DBus.Error.AccessDenied", "no"));
    EXPECT_EQ(OvanSetHttpDownloadTestURL("http://z.example"), -1);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetHttpDownloadTestURL", "operation(OVAN_NOK)"));

    // A URL of another type is no URL.
    ASSERT_TRUE(sim.script_reply(kTest, "", "Get", "(<uint32 5>,)"));
    url = nullptr;
    EXPECT_EQ(OvanGetHttpDownloadTestURL(&url), -1);
    EXPECT_EQ(url, nullptr);
}

// ---- starting a test ----

// Each start's own lines (the word and message themselves: test_registry.cpp).
TEST_F(SpeedTest, StartLogsItsOwnLines)
{
    struct Start {
        const char *iface;
        std::function<int32_t(StatusOut &)> call;
        const char *tag;
        const char *fail_line;  // "%d": the bus call's result
    };
    const Start starts[] = {
        {kHttpIface, [](StatusOut &o) { return OvanStartHttpDownloadTest(60, &o.status, &o.errmsg); },
         "OvanStartHttpDownloadTest", "startDownloadTest ret [%d], or info = NULL."},
        {kFFIface, [](StatusOut &o) { return OvanStartSpeedTestFF(60, &o.status, &o.errmsg); },
         "OvanStartSpeedTestFF", "StartTest ret [%d], or info = NULL."},
        {kLocalIface, [](StatusOut &o) { return OvanStartSpeedTestLocalv4(&o.status, &o.errmsg); },
         "OvanStartSpeedTestLocalv4", "StartTest ret [%d], or info = NULL."},
    };
    for (const Start &c : starts) {
        SCOPED_TRACE(c.tag);
        ASSERT_TRUE(sim.script_reply(kTest, c.iface, "StartTest", "(uint32 3, 'test already running')", 0, true));
        StatusOut refused;
        EXPECT_EQ(c.call(refused), -1);
        EXPECT_TRUE(logged(LOG_ERR, c.tag, std::string("Call ") + c.tag + "() errmsg [test already running]."));
        ASSERT_TRUE(sim.script_error(kTest, c.iface, "StartTest", "org.freedesktop.DBus.Error.Failed", "x", 0, true));
        StatusOut failed;
        EXPECT_EQ(c.call(failed), -1);
        EXPECT_EQ(failed.msg(), "Failed to call StartTest() function.");
        EXPECT_TRUE(logged(LOG_ERR, c.tag, GStr(g_strdup_printf(c.fail_line, -1)).get())) << dump();
    }
}

}  // namespace speedtest

// Voice diagnostics, IPv6 LAN services and CWMP parameters: their own checks,
// texts and reply handling against the simulator (the shapes are tested in
// test_shapes.cpp).
namespace voicecwmp {

constexpr const char kCWMP[] = "/com/quv/igd1/Tevra/CWMP";
constexpr const char kCWMPIface[] = "com.quv.igd1.CWMP";
constexpr const char kIAD[] = "/com/quv/igd1/Diagnostics/IADTest";

using VoiceCWMP = GwTest;

const std::string kLongNames(4096, 'n');
const std::string kLongestNames(4095, 'n');
OvanCWMPParamValue_t g_pair = {"InternetGatewayDevice.ManagementServer.PeriodicInformInterval", "3600"};

TEST_F(VoiceCWMP, CommandFailuresAndGatewayTexts)
{
    ASSERT_TRUE(sim.script_error(kIAD, "", "StartIADDiagTest", "org.freedesktop.DBus.Error.Failed", "x"));
    StatusOut iad;
    EXPECT_EQ(OvanStartIADDiagTest(1, &iad.status, &iad.errmsg), -1);
    EXPECT_EQ(iad.msg(), "Failed to call StartDetectQobLineStatus() function.");  // sic

    // The word and message: test_registry.cpp.
    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "AddObject", "(uint32 0, uint32 9003, 'Invalid object')"));
    StatusOut add;
    uint32_t instance = 77;
    EXPECT_EQ(OvanCWMPAddObject("X.", &instance, &add.status, &add.errmsg), -1);
    EXPECT_EQ(instance, 77u) << "no instance on failure";
}

TEST_F(VoiceCWMP, AddObjectHandsBackTheInstance)
{
    uint32_t instance = 0;
    StatusOut out;
    ASSERT_EQ(OvanCWMPAddObject("InternetGatewayDevice.X.", &instance, &out.status, &out.errmsg), 0);
    EXPECT_EQ(instance, 3u);
    EXPECT_EQ(args_of("AddObject"), "('InternetGatewayDevice.X.',)");
}

// ---- CWMP values and names ----

TEST_F(VoiceCWMP, ListingsSendTheirArgumentsAndFillRows)
{
    OvanCWMPParamValue_t *vals = nullptr;
    uint32_t n = 0;
    StatusOut out;
    ASSERT_EQ(OvanCWMPGetParameterValues("A.B,C.D", &vals, &n, &out.status, &out.errmsg), 0);
    EXPECT_EQ(args_of("GetParameterValues"), "(['A.B', 'C.D'],)");
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(vals[1].Name, "InternetGatewayDevice.DeviceInfo.SoftwareVersion");
    EXPECT_STREQ(vals[1].Value, "V3.2.1");
    g_free(vals);

    OvanCWMPParamName_t *names = nullptr;
    ASSERT_EQ(OvanCWMPGetParameterNames("InternetGatewayDevice.", 1, &names, &n, nullptr, nullptr), 0);
    EXPECT_EQ(args_of("GetParameterNames"), "('InternetGatewayDevice.', true)");
    ASSERT_EQ(n, 3u);
    EXPECT_STREQ(names[2].Name, "InternetGatewayDevice.ManagementServer.URL");
    EXPECT_EQ(names[2].Writable, 1);
    g_free(names);
}

// A reply of another shape and a refusal (its word and message: test_registry.cpp):
// no rows, the count as it was.
TEST_F(VoiceCWMP, ListingRepliesThatDoNotFit)
{
    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "GetParameterValues", "([('N', 'V')], uint32 0)"));
    ASSERT_TRUE(sim.script_reply(kCWMP, kCWMPIface, "GetParameterNames", "(@a(sb) [], uint32 2, 'no such path')"));
    StatusOut out;
    uint32_t n = 77;
    OvanCWMPParamValue_t *vals = nullptr;
    OvanCWMPParamName_t *names = nullptr;
    EXPECT_EQ(OvanCWMPGetParameterValues("A", &vals, &n, &out.status, &out.errmsg), -1);
    EXPECT_EQ(out.status, 1u);
    EXPECT_EQ(out.msg(), "Return value is of incorrect variant type.");
    EXPECT_EQ(OvanCWMPGetParameterNames("A.", 0, &names, &n, nullptr, nullptr), -1);
    EXPECT_EQ(n, 77u);
    EXPECT_EQ(vals, nullptr);
    EXPECT_EQ(names, nullptr);
}

TEST_F(VoiceCWMP, SetParameterValuesSendsEveryPairInOrder)
{
    OvanCWMPParamValue_t pairs[2] = {{"A.B", "1"}, {"", "x"}};
    std::memset(pairs[1].Name, 'N', sizeof pairs[1].Name);  // filled to the last byte
    ASSERT_EQ(OvanCWMPSetParameterValues(pairs, 2, nullptr, nullptr), 0);
    EXPECT_EQ(args_of("SetParameterValues"), "([('A.B', '1'), ('" + std::string(512, 'N') + "', 'x')],)");
}

// Reads the gateway's record, changes it, writes it back.
template <typename R>
std::function<int32_t(StatusOut &)> change(int32_t (*get)(R *), int32_t (*set)(R *), void (*edit)(R &))
{
    return [=](StatusOut &) {
        R r{};
        if (get(&r) != 0)
            return -2;
        edit(r);
        return set(&r);
    };
}

using L = OvanIPv6LANConfig_t;
using D = OvanDHCPv6Server_t;
using R = OvanRAConfig_t;
constexpr const char kLANBad[] = "OvanSetIPV6LANConfig: Invalid parameter.";
constexpr const char kRABad[] = "OvanSetRAConfig: Invalid parameter.";
auto lan(void (*edit)(L &)) { return change(OvanGetIPV6LANConfig, OvanSetIPV6LANConfig, edit); }
auto dhcp(void (*edit)(D &)) { return change(OvanGetDHCPV6Server, OvanSetDHCPV6Server, edit); }
auto ra(void (*edit)(R &)) { return change(OvanGetRAConfig, OvanSetRAConfig, edit); }

}  // namespace voicecwmp

// ---- arguments the functions check themselves ----

// Refused with the function's own line (and, where it reports one, status 1 and its
// message) before anything but a read reaches the bus; accepted values are sent.
struct Check {
    const char *name;
    std::function<int32_t(StatusOut &)> call;
    const char *line;               // the end of a line at LOG_ERR; null: accepted
    const char *message = nullptr;  // reported with status 1; null: nothing reported
};

using namespace speedtest;
using namespace voicecwmp;

using Checks = GwTest;

TEST_F(Checks, RefusedBeforeTheBusOrSent)
{
    const Check checks[] = {
        Check{"lanhost_manager_null", [](StatusOut &) { return OvanSetLANHostMgr(nullptr); },
              "Invalid Parameter: obj is NULL."},
        Check{"url_null", [](StatusOut &) { return OvanSetHttpDownloadTestURL(nullptr); },
              "OvanSetHttpDownloadTestURL: invalid url()"},
        Check{"url_without_dot", [](StatusOut &) { return OvanSetHttpDownloadTestURL("localhost/x"); },
              "OvanSetHttpDownloadTestURL: invalid url(localhost/x)"},
        Check{"http_3601", [](StatusOut &o) { return OvanStartHttpDownloadTest(3601, &o.status, &o.errmsg); },
              "OvanStartHttpDownloadTest: Invalid parameter time[3601]", "Invalid Parameter."},
        Check{"http_negative", [](StatusOut &o) { return OvanStartHttpDownloadTest(-1, &o.status, &o.errmsg); },
              "OvanStartHttpDownloadTest: Invalid parameter time[-1]", "Invalid Parameter."},
        Check{"ticket_65",
              [](StatusOut &) { return OvanSetSpeedTestFFConfig((kTicket64 + "k").c_str(), 1, "http://a.b"); },
              "OvanSetSpeedTestFFConfig: invalid parameters"},
        Check{"ticket_null", [](StatusOut &) { return OvanSetSpeedTestFFConfig(nullptr, 1, "http://a.b"); },
              "OvanSetSpeedTestFFConfig: invalid parameters"},
        Check{"speed_type_negative", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", -1, "http://a.b"); },
              "OvanSetSpeedTestFFConfig: invalid parameters"},
        Check{"ff_url_1025", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", 0, (kURL1024 + "u").c_str()); },
              "OvanSetSpeedTestFFConfig: invalid parameters"},
        Check{"ff_url_null", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", 0, nullptr); },
              "OvanSetSpeedTestFFConfig: invalid parameters"},
        Check{"local_speed_type_4", [](StatusOut &) { return OvanSetSpeedTestLocalConfigv4(1, 4, "", ""); },
              "OvanSetSpeedTestLocalConfigv4: invalid parameters"},
        Check{"local_rfu2_33",
              [](StatusOut &) { return OvanSetSpeedTestLocalConfigv4(1, 0, "", (kRFU32 + "r").c_str()); },
              "OvanSetSpeedTestLocalConfigv4: invalid parameters"},
        Check{"result_null", [](StatusOut &) { return OvanGetHttpDownloadTestResult(nullptr); },
              "OvanGetHttpDownloadTestResult: invalid parameter: NULL input."},
        Check{"url_place_null", [](StatusOut &) { return OvanGetHttpDownloadTestURL(nullptr); },
              "OvanGetHttpDownloadTestURL: invalid parameter: NULL input."},
        Check{"iad_0", [](StatusOut &o) { return OvanStartIADDiagTest(0, &o.status, &o.errmsg); },
              "Invalid 'server', should be 1 or 2.", "Invalid 'server', should be 1 or 2."},
        Check{"iad_1", [](StatusOut &o) { return OvanStartIADDiagTest(1, &o.status, &o.errmsg); }, nullptr},
        Check{"iad_2", [](StatusOut &o) { return OvanStartIADDiagTest(2, &o.status, &o.errmsg); }, nullptr},
        Check{"iad_3", [](StatusOut &o) { return OvanStartIADDiagTest(3, &o.status, &o.errmsg); },
              "Invalid 'server', should be 1 or 2.", "Invalid 'server', should be 1 or 2."},
        Check{"simulate", [](StatusOut &o) { return OvanStartVoIPSimulateTest(1, &o.status, &o.errmsg); }, nullptr},
        Check{"phone", [](StatusOut &o) { return OvanStartPhoneConnectivityTest(&o.status, &o.errmsg); }, nullptr},
        Check{"add_empty", [](StatusOut &o) { return OvanCWMPAddObject("", nullptr, &o.status, &o.errmsg); },
              "Parameter 'objName' should not be empty.", "Parameter 'objName' should not be empty."},
        Check{"delete_null", [](StatusOut &o) { return OvanCWMPDeleteObject(nullptr, &o.status, &o.errmsg); },
              "Parameter 'objName' should not be empty.", "Parameter 'objName' should not be empty."},
        Check{"set_none", [](StatusOut &o) { return OvanCWMPSetParameterValues(&g_pair, 0, &o.status, &o.errmsg); },
              "Parameter 'paraValObjs' should not be empty.", "Parameter 'paraValObjs' should not be empty."},
        Check{"set_null", [](StatusOut &o) { return OvanCWMPSetParameterValues(nullptr, 1, &o.status, &o.errmsg); },
              "Parameter 'paraValObjs' should not be empty.", "Parameter 'paraValObjs' should not be empty."},
        Check{"set_one", [](StatusOut &o) { return OvanCWMPSetParameterValues(&g_pair, 1, &o.status, &o.errmsg); },
              nullptr},
        Check{"values_4096",
              [](StatusOut &o) {
                  uint32_t n = 0;
                  return OvanCWMPGetParameterValues(kLongNames.c_str(), nullptr, &n, &o.status, &o.errmsg);
              },
              "Invalid Parameters", "Invalid Parameters"},
        Check{"values_4095",
              [](StatusOut &o) {
                  uint32_t n = 0;
                  return OvanCWMPGetParameterValues(kLongestNames.c_str(), nullptr, &n, &o.status, &o.errmsg);
              },
              nullptr},
        Check{"values_empty",
              [](StatusOut &o) {
                  uint32_t n = 0;
                  return OvanCWMPGetParameterValues("", nullptr, &n, &o.status, &o.errmsg);
              },
              "Invalid Parameters", "Invalid Parameters"},
        Check{"values_no_count",
              [](StatusOut &o) { return OvanCWMPGetParameterValues("A.B", nullptr, nullptr, &o.status, &o.errmsg); },
              "Invalid Parameters", "Invalid Parameters"},
        Check{"names_null_path",
              [](StatusOut &o) {
                  uint32_t n = 0;
                  return OvanCWMPGetParameterNames(nullptr, 1, nullptr, &n, &o.status, &o.errmsg);
              },
              "Invalid Parameters", "Invalid Parameters"},
        Check{"names_no_count",
              [](StatusOut &o) { return OvanCWMPGetParameterNames("A.", 1, nullptr, nullptr, &o.status, &o.errmsg); },
              "Invalid Parameters", "Invalid Parameters"},
        Check{"lan_as_read", lan([](L &) {}), nullptr},
        Check{"lan_static_no_servers", lan([](L &r) {
                  std::strcpy(r.ConfigType, "Static");
                  r.Servers[0] = '\0';
                  std::strcpy(r.PrefixMode, "Static");
                  r.Prefix[0] = '\0';
              }),
              nullptr},
        Check{"lan_address_v4", lan([](L &r) { std::strcpy(r.LocalAddress, "192.168.1.1"); }), kLANBad},
        Check{"lan_config_type_lower", lan([](L &r) { std::strcpy(r.ConfigType, "static"); }), kLANBad},
        Check{"lan_prefix_mode", lan([](L &r) { std::strcpy(r.PrefixMode, "Delegated"); }), kLANBad},
        Check{"lan_second_server_bad", lan([](L &r) { std::strcpy(r.Servers, "2408::8,2408::g"); }), kLANBad},
        Check{"lan_prefix_bad", lan([](L &r) { std::strcpy(r.Prefix, "2408::/129"); }), kLANBad},
        Check{"lan_lifetimes", lan([](L &r) { r.PreferredLifeTime = r.ValidLifeTime + 1; }), kLANBad},
        Check{"lan_unterminated_wan", lan([](L &r) { std::memset(r.DNSWAN, 'w', sizeof r.DNSWAN); }), kLANBad},
        Check{"dhcp_as_read", dhcp([](D &) {}), nullptr},
        Check{"dhcp_min_v4", dhcp([](D &r) { std::strcpy(r.MinAddress, "10.0.0.2"); }),
              "OvanSetDHCPV6Server: Invalid parameter MinAddress (10.0.0.2) / MaxAddress (::ffff)."},
        Check{"dhcp_max_empty", dhcp([](D &r) { r.MaxAddress[0] = '\0'; }),
              "OvanSetDHCPV6Server: Invalid parameter MinAddress (::2) / MaxAddress ()."},
        Check{"ra_bounds", ra([](R &r) {
                  r.MaxRtrAdvInterval = 4;
                  r.MinRtrAdvInterval = 3;
              }),
              nullptr},
        Check{"ra_max_3", ra([](R &r) { r.MaxRtrAdvInterval = 3; }), kRABad},
        Check{"ra_max_1801", ra([](R &r) { r.MaxRtrAdvInterval = 1801; }), kRABad},
        Check{"ra_min_over_three_quarters", ra([](R &r) {
                  r.MaxRtrAdvInterval = 600;
                  r.MinRtrAdvInterval = 451;
              }),
              kRABad},
    };
    for (const Check &c : checks) {
        SCOPED_TRACE(c.name);
        log.clear();
        sim.clear_call_log();
        StatusOut out;
        const int32_t ret = c.call(out);
        const size_t reads = sim.count_calls("", "", "GetAll");
        if (!c.line) {
            EXPECT_EQ(ret, 0) << dump();
            EXPECT_GT(sim.count_calls(), reads);
            continue;
        }
        EXPECT_EQ(ret, -1);
        EXPECT_TRUE(log.contains(std::string(c.line) + "\n", LOG_ERR)) << dump();
        EXPECT_EQ(sim.count_calls(), reads) << "only reads";
        if (c.message) {
            EXPECT_EQ(out.status, 1u);
            EXPECT_EQ(out.msg(), c.message);
        }
    }
}

}  // namespace
