// No password, key or LOID reaches a log line (and so neither the syslog nor the
// standard-output echo): neither the values the gateway reports, for every record of
// the registry, nor the arguments of the commands that carry one.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bus/connection.hpp"
#include "bus_support/bus_fixture.hpp"
#include "hostile/registry_reads.hpp"
#include "gateway/record.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry.hpp"

namespace {

namespace gw = lumo::gw;
using lumoctl::Entry;

class Secrets : public lumo::test::SimTest {
protected:
    // The secret strings a record holds (by its field names).
    static std::vector<std::string> secrets_in(const gw::RecordTable &t, const unsigned char *rec)
    {
        std::vector<std::string> out;
        for (const gw::Field &f : t.fields)
            if (f.type == gw::Type::Str && lumo::bus::secret_name(f.name) && rec[f.offset])
                out.emplace_back(reinterpret_cast<const char *>(rec + f.offset));
        return out;
    }

    void expect_unlogged(const std::string &what, const std::vector<std::string> &values)
    {
        for (const std::string &v : values)
            EXPECT_FALSE(lumo::test::log_mentions(log, v)) << what << " logged '" << v << "':\n" << dump();
    }
};

TEST_F(Secrets, RecordValuesNeverReachTheLog)
{
    size_t checked = 0;
    for (const Entry &e : lumoctl::entries()) {
        auto check = [&](const char *how) {
            return [&, how](const unsigned char *rec) {
                std::vector<std::string> values = secrets_in(*e.table, rec);
                checked += values.size();
                expect_unlogged(std::string(e.object) + how, values);
            };
        };
        log.clear();
        if (e.get)
            lumo::test::read_get(e, check(" get"));
        log.clear();
        if (e.list)
            lumo::test::read_list(e, "", check(" list"));
    }
    EXPECT_GT(checked, 0u) << "no record of the model holds a secret: the sweep proved nothing";
}

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
// it was, types kept.
TEST(PrintMasked, HidesSecretValues)
{
    struct Case {
        const char *value, *printed;
    } cases[] = {
        {"{'Password': <'p1'>, 'UserName': <'bob'>}", "{'Password': <'<hidden>'>, 'UserName': <'bob'>}"},
        {"{'KeyPassphrase': <'wifi-key'>, 'PreSharedKey': <'abc'>, 'LOID': <'L1'>}",
         "{'KeyPassphrase': <'<hidden>'>, 'PreSharedKey': <'<hidden>'>, 'LOID': <'<hidden>'>}"},
        {"{'DDNSPassword': <'x'>, 'AdminPassword': <'y'>}", "{'DDNSPassword': <'<hidden>'>, 'AdminPassword': <'<hidden>'>}"},
        // Not a string: shown (a flag or a length tells nothing).
        {"{'PasswordSet': <true>, 'LOIDLength': <uint32 8>}", "{'PasswordSet': <true>, 'LOIDLength': <uint32 8>}"},
        // ...unless the key names the secret itself.
        {"{'InitUAPwd': <uint32 1234>}", "{'InitUAPwd': <'<hidden>'>}"},
        {"(objectpath '/a', {'/x': {'com.quv.igd1.FTP': {'Password': <'z'>}}})",
         "(objectpath '/a', {'/x': {'com.quv.igd1.FTP': {'Password': <'<hidden>'>}}})"},
        {"{'Password': 'plain'}", "{'Password': '<hidden>'}"},
        {"('Password', 'not a key')", "('Password', 'not a key')"},
        {"@a{sv} {}", "@a{sv} {}"},
    };
    for (const Case &c : cases) {
        GVariant *v = g_variant_ref_sink(g_variant_new_parsed(c.value));
        lumo::GStr printed = lumo::bus::print_masked(v);
        GVariant *want = g_variant_new_parsed(c.printed);
        lumo::GStr expected(g_variant_print(want, TRUE));
        g_variant_unref(g_variant_ref_sink(want));
        EXPECT_STREQ(printed.get(), expected.get()) << c.value;
        g_variant_unref(v);
    }
}

}  // namespace
