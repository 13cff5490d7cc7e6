// No password, key or LOID reaches a log line (and so neither the syslog nor the
// standard-output echo): not the arguments of the commands that carry one (the values
// of every record of the registry: test_registry.cpp).
#include <gtest/gtest.h>

#include <string>
#include <syslog.h>
#include <vector>

#include "bus/connection.hpp"
#include "bus_support/bus_fixture.hpp"
#include "lumo3.h"

namespace {

class Secrets : public lumo::test::SimTest {
protected:
    void expect_unlogged(const std::string &what, const std::vector<std::string> &values)
    {
        for (const std::string &v : values)
            EXPECT_FALSE(lumo::test::log_mentions(log, v)) << what << " logged '" << v << "':\n" << dump();
    }
};

TEST_F(Secrets, CommandArgumentsAndAnswersNeverReachTheLog)
{
    struct Case {
        const char *what;
        std::string secret;
        int32_t (*run)(const std::string &secret, uint32_t *status, char **errmsg);
    } cases[] = {
        {"SetLOID loid", "LOIDx93k2", [](const std::string &s, uint32_t *st, char **m) {
             return OvanSysCmdSetLOID(s.c_str(), "pw-7781", "BEJ", st, m);
         }},
        {"SetLOID password", "pw-7781x", [](const std::string &s, uint32_t *st, char **m) {
             return OvanSysCmdSetLOID("LOID1", s.c_str(), "BEJ", st, m);
         }},
        {"CheckUAPasswd", "ua-secret-1", [](const std::string &s, uint32_t *st, char **m) {
             return OvanSysCmdCheckUAPasswd(s.c_str(), st, m);
         }},
        {"SetUAPasswd", "ua-secret-2", [](const std::string &s, uint32_t *st, char **m) {
             return OvanSysCmdSetUAPasswd(s.c_str(), st, m);
         }},
        {"CheckTAPasswd", "ta-secret-3", [](const std::string &s, uint32_t *st, char **m) {
             return OvanSysCmdCheckTAPasswd(s.c_str(), st, m);
         }},
    };
    for (const Case &c : cases) {
        log.clear();
        lumo::test::StatusOut out;
        c.run(c.secret, &out.status, &out.errmsg);
        expect_unlogged(c.what, {c.secret});
        EXPECT_EQ(out.msg().find(c.secret), std::string::npos) << c.what;
    }

    // A password the gateway hands out goes to the caller only.
    log.clear();
    char *pw = nullptr;
    lumo::test::StatusOut out;
    ASSERT_EQ(OvanSysCmdGetUAPasswd(&pw, &out.status, &out.errmsg), 0);
    ASSERT_NE(pw, nullptr);
    expect_unlogged("GetUAPasswd", {pw});
    g_free(pw);
}

// What the printed values show: secrets hidden under any nesting, everything else as
// it was, types kept; printed only when the line is wanted.
TEST(PrintMasked, HidesSecretValues)
{
    lumo::test::LogCapture log;
    struct Case {
        const char *value, *printed;
    } cases[] = {
        {"{'Password': <'p1'>, 'UserName': <'bob'>}", "{'Password': <'<hidden>'>, 'UserName': <'bob'>}"},
        {"{'KeyPassphrase': <'wifi-key'>, 'PreSharedKey': <'abc'>, 'LOID': <'L1'>}",
         "{'KeyPassphrase': <'<hidden>'>, 'PreSharedKey': <'<hidden>'>, 'LOID': <'<hidden>'>}"},
        // Not a string: shown (a flag or a length tells nothing).
        {"{'PasswordSet': <true>, 'LOIDLength': <uint32 8>}", "{'PasswordSet': <true>, 'LOIDLength': <uint32 8>}"},
        // ...unless the key names the secret itself.
        {"{'InitUAPwd': <uint32 1234>}", "{'InitUAPwd': <'<hidden>'>}"},
        {"(objectpath '/a', {'/x': {'com.quv.igd1.FTP': {'Password': <'z'>}}})",
         "(objectpath '/a', {'/x': {'com.quv.igd1.FTP': {'Password': <'<hidden>'>}}})"},
        {"{'Password': 'plain'}", "{'Password': '<hidden>'}"},
        {"('Password', 'not a key')", "('Password', 'not a key')"},
        {"[{'vpn_pwd': <'s1'>, 'passwd': <'s3'>, 'Name': <'n'>}]",
         "[{'vpn_pwd': <'<hidden>'>, 'passwd': <'<hidden>'>, 'Name': <'n'>}]"},
    };
    for (const Case &c : cases) {
        GVariant *v = g_variant_ref_sink(g_variant_new_parsed(c.value));
        lumo::GStr printed = lumo::bus::print_value(v, LOG_DEBUG);
        GVariant *want = g_variant_new_parsed(c.printed);
        lumo::GStr expected(g_variant_print(want, TRUE));
        g_variant_unref(g_variant_ref_sink(want));
        EXPECT_STREQ(printed.get(), expected.get()) << c.value;
        g_variant_unref(v);
    }
}

}  // namespace
