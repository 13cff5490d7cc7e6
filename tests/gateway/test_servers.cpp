// FTP, Samba, HTTP and Telnet servers: their checks, texts, the USB gate of the
// storage servers and the account round trips against the simulator.
#include <cstring>
#include <ostream>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_servers.h"

namespace {

using namespace lumo::test;

constexpr const char kFtpAccounts[] = "/com/quv/igd1/Storage/Ftpserver/Accounts";
constexpr const char kSambaAccounts[] = "/com/quv/igd1/Storage/SambaServer/Accounts";

class Servers : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        gwdbusver = -1;  // the gates are read once per process
        usbvalinit = 0;
    }
    void set_device(const char *name, const char *value)
    {
        ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, name, value));
    }
};

// The FTP and Samba account functions, side by side.
struct AccountFamily {
    const char *name;
    const char *collection;
    int32_t (*objs)(OvanFileAccount_t **, uint32_t *);
    int32_t (*get)(OvanObjPath_t, OvanFileAccount_t *);
    int32_t (*set)(OvanObjPath_t, OvanFileAccount_t *);
    int32_t (*add)(OvanFileAccount_t *);
    int32_t (*del)(OvanObjPath_t);
    const char *add_tag, *set_tag, *get_tag, *del_tag;
};

void PrintTo(const AccountFamily &f, std::ostream *os) { *os << f.name; }

const AccountFamily kFamilies[] = {
    {"ftp", kFtpAccounts, Ovan_GetFTPAccountObjs, Ovan_GetFTPAccount, Ovan_SetFTPAccount, Ovan_AddFtpAccount,
     Ovan_DelFtpAccount, "Ovan_AddFtpAccount", "Ovan_SetFTPAccount", "Ovan_GetFTPAccount", "Ovan_DelFtpAccount"},
    {"samba", kSambaAccounts, Ovan_GetSambaAccountObjs, Ovan_GetSambaAccount, Ovan_SetSambaAccount,
     Ovan_AddSambaAccount, Ovan_DelSambaAccount, "Ovan_AddSambaAccount", "Ovan_SetSambaAccount",
     "Ovan_GetSambaAccount", "Ovan_DelSambaAccount"},
};

OvanFileAccount_t account(const char *user, const char *password)
{
    OvanFileAccount_t a{};
    g_strlcpy(a.UserName, user, sizeof a.UserName);
    g_strlcpy(a.Password, password, sizeof a.Password);
    return a;
}

TEST_F(Servers, FtpRecordKeepsItsLowerCasePath)
{
    OvanFTPServer_t ftp{};
    ASSERT_EQ(Ovan_GetFTPServer(&ftp), 0);
    EXPECT_STREQ(ftp.path, "/com/quv/igd1/Storage/ftpserver");
    EXPECT_EQ(ftp.Enable, 1);
    EXPECT_EQ(ftp.Port, 21u);
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Storage/Ftpserver", "", "GetAll"), 1u);
    OvanHttpServer_t http{};
    ASSERT_EQ(Ovan_GetHttpServer(&http), 0);
    EXPECT_STREQ(http.AdminPassword, "admin-8F2A");
}

TEST_F(Servers, ServerSettersBoundEnable)
{
    struct Case {
        uint8_t enable;
        int32_t ret;
    };
    for (const Case c : {Case{0, 0}, Case{3, 0}, Case{4, -1}, Case{255, -1}}) {
        sim.clear_call_log();
        OvanFTPServer_t ftp{};
        ftp.Enable = c.enable;
        ftp.AllowAnonymous = 1;
        ftp.Port = 2121;
        EXPECT_EQ(Ovan_SetFtpServer(&ftp), c.ret) << int(c.enable);
        OvanSambaServer_t smb{};
        smb.Enable = c.enable;
        EXPECT_EQ(Ovan_SetSambaServer(&smb), c.ret) << int(c.enable);
        EXPECT_EQ(sim.count_calls("", "", "SetMulti"), c.ret == 0 ? 2u : 0u) << int(c.enable);
    }
    EXPECT_EQ(Ovan_SetFtpServer(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "Ovan_SetFtpServer", "NULL obj or invalid Enable value [0 ~ 3]")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "Ovan_SetSambaServer", "NULL obj or invalid Enable value [0 ~ 3]")) << dump();

    // Enable goes as a byte, the port is not written.
    OvanFTPServer_t ftp{};
    ftp.Enable = 2;
    ftp.Port = 9;
    sim.clear_call_log();
    ASSERT_EQ(Ovan_SetFtpServer(&ftp), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"Enable", "AllowAnonymous"}));
    auto v = sim.property("/com/quv/igd1/Storage/Ftpserver", "com.quv.igd1.FTPServer", "Enable");
    ASSERT_TRUE(v);
    EXPECT_EQ(printed(v.get()), "byte 0x02");
}

TEST_F(Servers, TelnetEnableBoundedAndAccountsRead)
{
    EXPECT_EQ(OvanEnableTelnetServer(4), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanEnableTelnetServer", "Invalid parameter")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
    ASSERT_EQ(OvanEnableTelnetServer(3), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanEnableTelnetServer", "enter, enable = 3")) << dump();
    OvanTelnetServer_t t{};
    ASSERT_EQ(OvanGetTelnetServerConfig(&t), 0);
    EXPECT_EQ(t.Enable, 3);
    EXPECT_EQ(t.WANPort, 2323u);

    OvanTelnetAccount_t *objs = nullptr;
    uint32_t n = 0;
    ASSERT_EQ(OvanGetTelnetAccountObjs(&objs, &n), 0);
    ASSERT_EQ(n, 2u);
    EXPECT_STREQ(objs[0].Type, "admin");
    OvanTelnetAccount_t one{};
    ASSERT_EQ(OvanGetTelnetAccount(obj_path(objs[1].path), &one), 0);
    EXPECT_STREQ(one.UserName, "user");
    g_free(objs);
    EXPECT_EQ(OvanGetTelnetAccount(obj_path("/com/quv/igd1/Storage/Ftpserver/Accounts/1"), &one), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanGetTelnetAccount", "invalid path.")) << dump();
}

class Accounts : public Servers, public testing::WithParamInterface<AccountFamily> {};

TEST_P(Accounts, AddReadUpdateDelete)
{
    const AccountFamily &f = GetParam();
    uint32_t before = 0;
    ASSERT_EQ(f.objs(nullptr, &before), 0);
    OvanFileAccount_t a = account("guest", "s3cret-pw");
    ASSERT_EQ(f.add(&a), 0);
    EXPECT_EQ(std::strncmp(a.path, f.collection, std::strlen(f.collection)), 0) << a.path;
    // The entry line masks the password.
    EXPECT_TRUE(logged(LOG_DEBUG, f.add_tag, "enter, username <guest>, password <******>")) << dump();

    OvanFileAccount_t read{};
    ASSERT_EQ(f.get(obj_path(a.path), &read), 0);
    EXPECT_STREQ(read.Password, "s3cret-pw");
    OvanFileAccount_t changed = account("guest2", "");
    ASSERT_EQ(f.set(obj_path(a.path), &changed), 0);
    ASSERT_EQ(f.get(obj_path(a.path), &read), 0);
    EXPECT_STREQ(read.UserName, "guest2");
    EXPECT_STREQ(read.Password, "");

    ASSERT_EQ(f.del(obj_path(a.path)), 0);
    uint32_t after = 0;
    ASSERT_EQ(f.objs(nullptr, &after), 0);
    EXPECT_EQ(after, before);
}

TEST_P(Accounts, RefusalsSendNothing)
{
    const AccountFamily &f = GetParam();
    const std::string inside = std::string(f.collection) + "/1";
    OvanFileAccount_t empty_user = account("", "pw");
    OvanFileAccount_t ok = account("u", "pw");
    OvanObjPath_t unterminated;
    std::memcpy(unterminated.str, inside.c_str(), inside.size());
    std::memset(unterminated.str + inside.size(), 'x', sizeof unterminated.str - inside.size());

    EXPECT_EQ(f.add(&empty_user), -1);  // the roll-back removes what AddObject made
    sim.clear_call_log();
    EXPECT_EQ(f.set(obj_path(inside), &empty_user), -1);
    EXPECT_TRUE(logged(LOG_ERR, f.set_tag, "Empty UserName")) << dump();
    EXPECT_EQ(f.set(obj_path(inside), nullptr), -1);
    EXPECT_EQ(f.set(obj_path("/com/quv/igd1/Network/Telnetserver/Accounts/1"), &ok), -1);
    EXPECT_EQ(f.set(unterminated, &ok), -1);
    EXPECT_TRUE(logged(LOG_ERR, f.set_tag, "Invalid parameters.")) << dump();
    EXPECT_EQ(f.get(obj_path(f.collection), &ok), -1);
    EXPECT_EQ(f.get(unterminated, &ok), -1);
    EXPECT_EQ(f.get(obj_path(inside), nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, f.get_tag, "invalid parameter.")) << dump();
    EXPECT_EQ(f.del(unterminated), -1);
    EXPECT_EQ(f.del(obj_path("")), -1);
    EXPECT_TRUE(logged(LOG_ERR, f.del_tag, "Invalid Parameter.")) << dump();
    EXPECT_EQ(f.objs(nullptr, nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
    EXPECT_EQ(f.add(nullptr), -1);
}

INSTANTIATE_TEST_SUITE_P(Families, Accounts, testing::ValuesIn(kFamilies),
                         [](const testing::TestParamInfo<AccountFamily> &i) { return std::string(i.param.name); });

}  // namespace
