// Every setter, adder and command that lumoctl reaches (its registry, the families
// added later included) is fed text the bus cannot carry, one field or argument at a
// time: each must be refused with nothing sent, and GLib must stay silent (warnings
// and criticals abort the test).
#include <cstring>
#include <string>
#include <utility>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "hostile/registry_reads.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry.hpp"

namespace {

using namespace lumo::test;
using lumo::gw::Type;
using lumoctl::Field;

constexpr const char kLatin1[] = "caf\xe9";

template <typename T>
void put(void *rec, size_t offset, T v)
{
    std::memcpy(static_cast<char *>(rec) + offset, &v, sizeof v);
}

class RegistryText : public lumo::test::GuardedSimTest {
protected:
    // A realistic record to start from, so that the family's own checks pass and
    // the text is what gets judged: the singleton, or the first instance.
    std::vector<char> base(const lumoctl::Entry &e)
    {
        std::vector<char> rec(e.table->record_size);
        if (e.get) {
            e.get(rec.data());
            lumoctl::release_lists(*e.table, rec.data());
        } else if (e.list || e.list_at) {
            bool first = true;
            read_list(e, lumoctl::first_parent(e), [&](const unsigned char *listed) {
                if (std::exchange(first, false))
                    std::memcpy(rec.data(), listed, rec.size());
            });
        }
        // Lists the copy shared with the freed block are emptied.
        for (const Field &f : e.table->fields)
            if (f.type == Type::StrList) {
                put<uint32_t>(rec.data(), f.offset, 0);
                put<void *>(rec.data(), f.aux, nullptr);
            }
        return rec;
    }

    // Clears the logs, runs `call`, and checks the refusal.
    template <typename Call>
    void expect_refused(const std::string &what, Call call)
    {
        SCOPED_TRACE(what);
        ASSERT_TRUE(sim.clear_call_log());
        log.clear();
        EXPECT_NE(call(), 0);
        EXPECT_EQ(sim.call_log().size(), 0u);
        EXPECT_TRUE(log.contains("", LOG_ERR)) << dump();  // an error line, whatever it says
        ++cases;
    }

    size_t cases = 0;
};

TEST_F(RegistryText, EverySetterAndAdderRefusesEachTextField)
{
    for (const lumoctl::Entry &e : lumoctl::entries()) {
        if (!e.set && !e.set_at && !e.add && !e.add_at)
            continue;
        const std::vector<char> start = base(e);
        const std::string parent = e.add_at ? lumoctl::first_parent(e) : "";
        if (e.add_at) {
            ASSERT_FALSE(parent.empty()) << e.object << ": no parent collection to add to";
        }
        for (const Field &f : e.writable) {
            if (f.type != Type::Str && f.type != Type::StrList)
                continue;
            const std::string what = std::string(e.object) + " " + e.layout + " " + f.name;
            std::vector<char> rec = start;
            char slot[64] = {};
            if (f.type == Type::Str) {
                std::memset(rec.data() + f.offset, 0, f.size);
                std::memcpy(rec.data() + f.offset, kLatin1, std::min<size_t>(sizeof kLatin1 - 1, f.size - 1u));
            } else {
                std::memcpy(slot, kLatin1, sizeof kLatin1);
                put<uint32_t>(rec.data(), f.offset, 1);
                put<void *>(rec.data(), f.aux, slot);
            }
            const lumoctl::Given given{&f};
            if (e.set)
                expect_refused(what + " (set)", [&] { return e.set(rec.data(), given); });
            if (e.set_at) {
                OvanObjPath_t at{};
                std::memcpy(at.str, rec.data(), sizeof at.str);
                expect_refused(what + " (set by path)", [&] { return e.set_at(at, rec.data()); });
            }
            if (e.add)
                expect_refused(what + " (add)", [&] { return e.add(rec.data()); });
            if (e.add_at)
                expect_refused(what + " (add below " + parent + ")",
                               [&] { return e.add_at(lumo::test::obj_path(parent), rec.data()); });
        }
    }
    EXPECT_GE(cases, 10u);
}

// The other arguments are left empty where that parses (an empty optional text
// passes most checks), else "1"; the text under test looks like a URL so that
// checks of form let it through to the one of its bytes.
TEST_F(RegistryText, EveryCommandRefusesEachTextArgument)
{
    size_t judged_as_text = 0;
    for (const lumoctl::Command &c : lumoctl::commands()) {
        for (size_t i = 0; i < c.args.size(); ++i) {
            const std::string what = std::string(c.object) + " " + c.name + " " + c.args[i];
            SCOPED_TRACE(what);
            for (const char *filler : {"", "1"}) {
                std::vector<std::string> args(c.args.size(), filler);
                args[i] = "http://caf\xe9.example/1";
                ASSERT_TRUE(sim.clear_call_log());
                log.clear();
                lumoctl::CommandResult result;
                int32_t rc = 0;
                try {
                    rc = c.run(args, result);
                } catch (const lumoctl::Failure &) {
                    continue;  // lumoctl's own parser refused a number argument
                }
                EXPECT_NE(rc, 0);
                // Plain queries match the text against what they read (it is never
                // sent); commands send nothing at all.
                if (result.has_status) {
                    const auto calls = sim.call_log();
                    EXPECT_EQ(calls.size(), 0u) << (calls.empty() ? "" : calls[0].path + " " + calls[0].method);
                    if (log.contains("is not valid UTF-8", LOG_ERR)) {
                        ++judged_as_text;
                        EXPECT_EQ(result.status, 1u);
                        EXPECT_NE(result.message.find("is not valid UTF-8"), std::string::npos) << result.message;
                    }
                    ++cases;
                }
                break;
            }
        }
    }
    EXPECT_GE(cases, 5u);
    EXPECT_GE(judged_as_text, 8u);
}

}  // namespace
