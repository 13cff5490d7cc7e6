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
    int32_t (*set)(OvanObjPath_t, OvanFileAccount_t *);
    int32_t (*add)(OvanFileAccount_t *);
    const char *add_tag, *set_tag;
};

void PrintTo(const AccountFamily &f, std::ostream *os) { *os << f.name; }

const AccountFamily kFamilies[] = {
    {"ftp", kFtpAccounts, Ovan_GetFTPAccountObjs, Ovan_SetFTPAccount, Ovan_AddFtpAccount, "Ovan_AddFtpAccount",
     "Ovan_SetFTPAccount"},
    {"samba", kSambaAccounts, Ovan_GetSambaAccountObjs, Ovan_SetSambaAccount, Ovan_AddSambaAccount,
     "Ovan_AddSambaAccount", "Ovan_SetSambaAccount"},
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
    EXPECT_EQ(sim.count_calls("/com/quv/igd1/Storage/Ftpserver", "", "GetAll"), 1u);
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
}

class Accounts : public Servers, public testing::WithParamInterface<AccountFamily> {};

// The entry line masks the password; a user name is required, and an add the
// check refuses removes what AddObject made.
TEST_P(Accounts, PasswordMaskedAndUserNameRequired)
{
    const AccountFamily &f = GetParam();
    OvanFileAccount_t a = account("guest", "s3cret-pw");
    ASSERT_EQ(f.add(&a), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, f.add_tag, "enter, username <guest>, password <******>")) << dump();
    EXPECT_FALSE(log_mentions(log, "s3cret-pw")) << dump();

    uint32_t before = 0;
    ASSERT_EQ(f.objs(nullptr, &before), 0);
    OvanFileAccount_t empty_user = account("", "pw");
    sim.clear_call_log();
    EXPECT_EQ(f.add(&empty_user), -1);
    EXPECT_EQ(sim.count_calls(f.collection, "", "DeleteObject"), 1u);
    uint32_t after = 0;
    ASSERT_EQ(f.objs(nullptr, &after), 0);
    EXPECT_EQ(after, before);
    sim.clear_call_log();
    EXPECT_EQ(f.set(obj_path(a.path), &empty_user), -1);
    EXPECT_TRUE(logged(LOG_ERR, f.set_tag, "Empty UserName")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Families, Accounts, testing::ValuesIn(kFamilies),
                         [](const testing::TestParamInfo<AccountFamily> &i) { return std::string(i.param.name); });

}  // namespace
