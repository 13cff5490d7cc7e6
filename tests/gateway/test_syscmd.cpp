// System commands: every command's call, checks and texts, the password getters,
// and passwords kept out of the log; the configuration block.
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_syscmd.h"

namespace {

using namespace lumo::test;
using Outputs = StatusOut;

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

TEST_F(SysCmd, EveryCommandCallsItsMethod)
{
    for (const Command &c : commands()) {
        SCOPED_TRACE(c.tag);
        sim.clear_call_log();
        Outputs out;
        EXPECT_EQ(c.call(&out.status, &out.errmsg), 0);
        EXPECT_EQ(out.status, 0u);
        EXPECT_EQ(out.msg(), "<untouched>");  // word 0: the service's "OK" is not handed out
        auto calls = sim.call_log();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].path, kSystem);
        EXPECT_EQ(calls[0].iface, kSysCmd);
        EXPECT_EQ(calls[0].method, c.method);
        EXPECT_EQ(calls[0].args_text(), c.args);
    }
    EXPECT_TRUE(logged(7, "OvanSysCmdUpgrade", "enter, url(http://fw.example/img), mode(6), method(1), needreboot(7)"));
    EXPECT_TRUE(logged(7, "OvanSysCmdUploadTroubleLocationInfo", "Exit, res(0)"));
}

TEST_F(SysCmd, FailuresAndRefusals)
{
    for (const Command &c : commands()) {
        SCOPED_TRACE(c.tag);
        ASSERT_TRUE(sim.script_error(kSystem, kSysCmd, c.method, kFailed, "refused", 0, true));
        Outputs failed;
        EXPECT_EQ(c.call(&failed.status, &failed.errmsg), -1);
        EXPECT_EQ(failed.status, 1u);
        EXPECT_EQ(failed.msg(), c.fail_message);
        EXPECT_TRUE(logged(3, c.tag, c.fail_line));

        ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, c.method, "(uint32 9, 'busy')", 0, true));
        Outputs out;
        EXPECT_EQ(c.call(&out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 9u);
        EXPECT_EQ(out.msg(), "busy");
        if (std::strcmp(c.method, "SetLOID") == 0)
            EXPECT_TRUE(logged(7, c.tag, "error (busy)"));
        else
            EXPECT_TRUE(logged(3, c.tag, std::string("Call ") + c.tag + "() errmsg [busy]."));
    }
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
        {"OvanSysCmdSetLOID", [](uint32_t *s, char **e) { return OvanSysCmdSetLOID(nullptr, "pw", "BEJ", s, e); },
         "Invalid Parameters: empty loid or invalid provoice", "Invalid Parameters: empty loid or invalid provoice"},
        {"OvanSysCmdSetLOID", [](uint32_t *s, char **e) { return OvanSysCmdSetLOID("L1", "pw", "XYZ", s, e); },
         "Invalid Parameters: empty loid or invalid provoice", "Invalid Parameters: empty loid or invalid provoice"},
        {"OvanSysCmdSetDateTime", [](uint32_t *s, char **e) { return OvanSysCmdSetDateTime(nullptr, s, e); },
         "Invalid datetime", "Invalid datetime"},
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
        {"OvanSysCmdUploadTroubleLocationInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdUploadTroubleLocationInfo("http://u", "BOGUS", s, e); },
         params, "Invalid Parameters"},
        {"OvanSysCmdStartCollectionDebugInfo",
         [](uint32_t *s, char **e) { return OvanSysCmdStartCollectionDebugInfo(nullptr, "ALL", 1, s, e); }, params,
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
        Outputs out;
        EXPECT_EQ(r.call(&out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), r.message);
        EXPECT_TRUE(logged(3, r.tag, r.line));
        EXPECT_EQ(r.call(nullptr, nullptr), -1);  // optional outputs stay optional
    }
    // The mandatory status: an acceptable request without it is refused as well.
    Outputs a, b, c;
    EXPECT_EQ(OvanSysCmdCheckTAPasswd("secret", nullptr, &a.errmsg), -1);
    EXPECT_EQ(OvanSysCmdUploadTroubleLocationInfo("http://u", "ALL", nullptr, &b.errmsg), -1);
    EXPECT_EQ(OvanSysCmdStartCollectionDebugInfo("http://u", "ALL", 5, nullptr, &c.errmsg), -1);
    EXPECT_EQ(a.msg(), params);
    EXPECT_EQ(b.msg(), params);
    EXPECT_EQ(c.msg(), params);
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
    EXPECT_EQ(OvanSysCmdUploadTroubleLocationInfo("http://u", "FRAMEWORK", &st, nullptr), 0);
    EXPECT_EQ(sent(), 6u);
    auto calls = sim.call_log();
    EXPECT_EQ(calls[3].args_text(), "('a.b', uint32 0, uint32 0, false)");
    EXPECT_EQ(calls[4].args_text(), "('L1', 'pw', 'BEJ')");
}

TEST_F(SysCmd, PasswordGetters)
{
    char *pw = nullptr;
    Outputs out;
    ASSERT_EQ(OvanSysCmdGetTAPasswd(&pw, &out.status, &out.errmsg), 0);
    EXPECT_STREQ(pw, "admin#8x2Lq");
    EXPECT_EQ(out.status, 0u);
    EXPECT_EQ(out.msg(), "<untouched>");
    EXPECT_TRUE(logged(7, "OvanSysCmdGetTAPasswd", "enter."));
    g_free(pw);
    pw = nullptr;
    ASSERT_EQ(OvanSysCmdGetUAPasswd(&pw, nullptr, nullptr), 0);
    EXPECT_STREQ(pw, "user7Kp2");
    g_free(pw);

    // A refusal still hands the password over.
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetUAPasswd", "('stillgiven', uint32 5, 'locked')", 0, true));
    pw = nullptr;
    Outputs refused;
    EXPECT_EQ(OvanSysCmdGetUAPasswd(&pw, &refused.status, &refused.errmsg), -1);
    EXPECT_STREQ(pw, "stillgiven");
    EXPECT_EQ(refused.status, 5u);
    EXPECT_EQ(refused.msg(), "locked");
    g_free(pw);

    // An empty password leaves the output alone; a failed call clears it.
    static char sentinel[] = "caller's";
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetTAPasswd", "('', uint32 0, '')", 0, true));
    pw = sentinel;
    EXPECT_EQ(OvanSysCmdGetTAPasswd(&pw, nullptr, nullptr), 0);
    EXPECT_EQ(pw, sentinel);
    ASSERT_TRUE(sim.script_error(kSystem, kSysCmd, "GetTAPasswd", kFailed, "no", 0, true));
    Outputs failed;
    EXPECT_EQ(OvanSysCmdGetTAPasswd(&pw, &failed.status, &failed.errmsg), -1);
    EXPECT_EQ(pw, nullptr);
    EXPECT_EQ(failed.status, 1u);
    EXPECT_EQ(failed.msg(), "Failed to call GetTAPasswd() function.");
}

TEST_F(SysCmd, PasswordsStayOutOfTheWrappersLog)
{
    const char *secrets[] = {"Loid#Pass1", "UaCheck#22", "UaSet#333", "TaCheck#4444", "TaGot#55555", "UaGot#666666"};
    uint32_t st = 0;
    char *pw = nullptr;
    OvanSysCmdSetLOID("L1", secrets[0], "BEJ", &st, nullptr);
    OvanSysCmdSetLOID("", secrets[0], "BEJ", &st, nullptr);
    OvanSysCmdCheckUAPasswd(secrets[1], &st, nullptr);
    OvanSysCmdSetUAPasswd(secrets[2], &st, nullptr);
    OvanSysCmdCheckTAPasswd(secrets[3], &st, nullptr);
    OvanSysCmdCheckTAPasswd(secrets[3], nullptr, nullptr);
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetTAPasswd", g_variant_new("(sus)", secrets[4], 0u, "")));
    ASSERT_TRUE(sim.script_reply(kSystem, kSysCmd, "GetUAPasswd", g_variant_new("(sus)", secrets[5], 3u, "no")));
    OvanSysCmdGetTAPasswd(&pw, &st, nullptr);
    g_free(pw);
    OvanSysCmdGetUAPasswd(&pw, &st, nullptr);
    g_free(pw);
    // The commands failing and refusing, too.
    for (const char *m : {"CheckUAPasswd", "SetUAPasswd", "CheckTAPasswd"})
        sim.script_reply(kSystem, kSysCmd, m, "(uint32 1, 'wrong')", 0, true);
    OvanSysCmdCheckUAPasswd(secrets[1], &st, nullptr);
    OvanSysCmdSetUAPasswd(secrets[2], &st, nullptr);
    OvanSysCmdCheckTAPasswd(secrets[3], &st, nullptr);

    // No line at all, the wrappers' or the bus layer's, holds a password.
    size_t wrapper_lines = 0;
    for (const auto &line : log.lines()) {
        if (line.text.find(" OvanSysCmd") != std::string::npos)
            wrapper_lines++;
        for (const char *s : secrets)
            EXPECT_EQ(line.text.find(s), std::string::npos) << line.text;
    }
    EXPECT_GT(wrapper_lines, 10u);
}

TEST_F(SysCmd, ConfigBlock)
{
    OvanSystemCmdConfig_t cfg{};
    ASSERT_EQ(OvanGetSystemCmdConfig(&cfg), 0);
    ASSERT_TRUE(sim.script_error(kSystem, "", "GetAll", kFailed, "down", 0, true));
    EXPECT_EQ(OvanGetSystemCmdConfig(&cfg), -1);
    EXPECT_TRUE(logged(3, "OvanGetSystemCmdConfig", "OvanDBusGetAllProperty return -1"));

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
    auto calls = sim.call_log();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].method, "SetMulti");
    EXPECT_EQ(calls[0].args_text(), "('com.quv.igd1.SysCmd', {'MemAlarm': <byte 0x32>, 'MemLimit': <byte 0x64>})");
}

}  // namespace
