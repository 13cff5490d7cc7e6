// Every getter and listing of every family, against a gateway that sends the wrong
// wire types, megabyte strings, thousands of objects and paths outside the
// collection, that answers late or never, and that leaves the bus mid-call.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "hostile/registry_reads.hpp"
#include "gateway/record.hpp"
#include "tools/gwsim/hostile.hpp"
#include "tools/gwsim/service.hpp"
#include "tools/lumoctl/registry.hpp"

namespace {

namespace gw = lumo::gw;
using lumo::gwsim::hostile::mistyped;
using lumoctl::Entry;
using Clock = std::chrono::steady_clock;

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA5;
constexpr unsigned char kPassed = 0x5A;  // what the caller's record held before the call
// The library's calls use the bus default time-out (25 s); a call must be back by then.
constexpr auto kCallBound = std::chrono::seconds(30);

// A record between guard bytes, filled with kPassed.
struct Guarded {
    explicit Guarded(const gw::RecordTable &t) : table(t), buf(kGuard + t.record_size + kGuard, kGuardByte)
    {
        std::memset(rec(), kPassed, t.record_size);
    }
    unsigned char *rec() { return buf.data() + kGuard; }
    bool guards_intact() const
    {
        for (size_t i = 0; i < kGuard; i++)
            if (buf[i] != kGuardByte || buf[kGuard + table.record_size + i] != kGuardByte)
                return false;
        return true;
    }
    const gw::RecordTable &table;
    std::vector<unsigned char> buf;
};

bool all(const unsigned char *p, size_t n, unsigned char byte)
{
    for (size_t i = 0; i < n; i++)
        if (p[i] != byte)
            return false;
    return true;
}

// What every answer must look like, whatever came over the bus: strings cut to their
// widths, and the fields of mistyped properties as they were (`passed`: kPassed for
// the caller's record, 0 for records the library allocated).
void check_record(const std::string &what, const gw::RecordTable &t, const unsigned char *rec, unsigned char passed)
{
    if (!all(rec, sizeof(OvanObjPath_t), passed)) {
        EXPECT_NE(std::memchr(rec, 0, sizeof(OvanObjPath_t)), nullptr) << what << ": path not terminated";
    }
    for (const gw::Field &f : t.fields) {
        if (!f.from_bus())
            continue;
        const unsigned char *p = rec + f.offset;
        if (f.type == gw::Type::Str && !all(p, f.size, passed)) {
            EXPECT_NE(std::memchr(p, 0, f.size), nullptr) << what << ": " << f.name << " not cut to its width";
        }
        if (mistyped(f.name) && f.type != gw::Type::StrList) {
            EXPECT_TRUE(all(p, f.size, passed)) << what << ": mistyped " << f.name << " was written";
        }
    }
}

// Frees the string-list and byte blocks the library allocated into a caller's record
// (a pointer still as passed was never set).
void release_lists(const gw::RecordTable &t, unsigned char *rec)
{
    for (const gw::Field &f : t.fields) {
        if (f.type != gw::Type::StrList && f.type != gw::Type::Bytes)
            continue;
        if (!all(rec + f.aux, sizeof(void *), kPassed)) {
            void *block;
            std::memcpy(&block, rec + f.aux, sizeof block);
            g_free(block);
        }
    }
}

class Hostile : public lumo::test::SimTest {
protected:
    void mode(const char *m)
    {
        lumo::GPtr<GVariant> r = sim.call(lumo::gwsim::kControlPath, lumo::gwsim::kControlIface, "SetHostile",
                                    g_variant_new("(s)", m));
        ASSERT_TRUE(r) << m;
    }

    // Runs `call` and checks it came back within the bound.
    template <typename F>
    int32_t timed(const std::string &what, F call)
    {
        const auto start = Clock::now();
        const int32_t rc = call();
        EXPECT_LT(Clock::now() - start, kCallBound) << what << " did not come back in time";
        return rc;
    }

    // Paths of the first instance of each listed entry, read while the gateway behaves.
    std::vector<std::string> first_paths()
    {
        std::vector<std::string> out;
        for (const Entry &e : lumoctl::entries()) {
            std::string path;
            parents.push_back(lumoctl::first_parent(e));
            if (e.list || (e.list_at && !parents.back().empty()))
                lumo::test::read_list(e, parents.back(), [&](const unsigned char *rec) {
                    if (path.empty())
                        path = reinterpret_cast<const char *>(rec);
                });
            out.push_back(path);
        }
        return out;
    }

    // The collection each entry of collections below instances was listed in.
    std::vector<std::string> parents;

    int huge_listings = 0;  // listings that came back with the thousands of objects

    void sweep(const std::vector<std::string> &paths)
    {
        const auto &entries = lumoctl::entries();
        for (size_t i = 0; i < entries.size(); i++) {
            const Entry &e = entries[i];
            const gw::RecordTable &t = *e.table;
            const std::string name = std::string(e.object) + (*e.layout ? std::string("/") + e.layout : "");
            auto one = [&](const std::string &what, auto call) {
                Guarded g(t);
                timed(what, [&] { return call(g.rec()); });
                EXPECT_TRUE(g.guards_intact()) << what << ": wrote past the record";
                const bool whole = e.get_from_listing && !all(g.rec(), t.record_size, kPassed);
                check_record(what, t, g.rec(), whole ? 0 : kPassed);
                release_lists(t, g.rec());
            };
            if (e.get)
                one(name + " get", [&](unsigned char *rec) { return e.get(rec); });
            if (e.get_at && !paths[i].empty()) {
                OvanObjPath_t p = lumo::test::obj_path(paths[i]);
                one(name + " get " + paths[i], [&](unsigned char *rec) { return e.get_at(p, rec); });
            }
            for (const lumoctl::Key &k : e.keys) {
                one(name + " --" + k.option, [&](unsigned char *rec) {
                    // A MAC, else a number: whichever the key's parser takes.
                    for (const char *key : {"A4C3F0112233", "1"}) {
                        uint32_t status = 0;
                        char *message = nullptr;
                        try {
                            int32_t rc = k.fn(k.flag ? "" : key, rec, &status, &message);
                            g_free(message);
                            return rc;
                        } catch (const lumoctl::Failure &) {
                        }
                    }
                    return -1;
                });
            }
            if (e.list || (e.list_at && !parents[i].empty())) {
                uint32_t n = 0, k = 0;
                const int32_t rc = timed(name + " list", [&] {
                    return lumo::test::read_list(
                        e, parents[i],
                        [&](const unsigned char *rec) {
                            if (!::testing::Test::HasFailure())  // one failure, not thousands
                                check_record(name + " list #" + std::to_string(k++), t, rec, 0);
                        },
                        &n);
                });
                if (rc == 0 && n >= lumo::gwsim::hostile::kCollectionSize)
                    ++huge_listings;
            }
            log.clear();  // a hostile listing logs thousands of lines
        }
    }
};

TEST_F(Hostile, EveryGetterAndListingSurvivesMistypedHugeAnswers)
{
    const std::vector<std::string> paths = first_paths();
    mode("types");
    sweep(paths);
    EXPECT_GT(huge_listings, 0) << "the hostile listings never reached a record";
    // Nothing the hostile answers did lingers: the same calls work once it behaves.
    mode("off");
    const Entry &first = lumoctl::entries().front();
    if (first.get) {
        Guarded g(*first.table);
        EXPECT_EQ(first.get(g.rec()), 0);
        release_lists(*first.table, g.rec());
    }
}

// A gateway that never answers, answers after the caller gave up, or leaves the bus
// mid-call: each call fails within its time-out, and the next call, with a gateway
// that behaves again, gets its own answer.
TEST_F(Hostile, SilentLateAndVanishingGateway)
{
    const Entry *probe = nullptr;
    for (const Entry &e : lumoctl::entries())
        if (e.get && !e.wifi && !probe)
            probe = &e;
    ASSERT_NE(probe, nullptr);
    const gw::RecordTable &t = *probe->table;
    auto call = [&](const char *what) {
        Guarded g(t);
        const int32_t rc = timed(what, [&] { return probe->get(g.rec()); });
        EXPECT_TRUE(g.guards_intact()) << what;
        release_lists(t, g.rec());
        return rc;
    };
    EXPECT_EQ(call("plain"), 0);

    mode("silent");
    EXPECT_EQ(call("silent"), -1);
    mode("off");
    EXPECT_EQ(call("after silent"), 0);

    ASSERT_TRUE(sim.script_delay("", "", "GetAll", 27000, true));
    EXPECT_EQ(call("late"), -1);
    EXPECT_EQ(call("after late"), 0);

    mode("vanish");
    const auto start = Clock::now();
    EXPECT_EQ(call("vanish"), -1);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << "a peer that left must not cost a time-out";
    ASSERT_TRUE(sim.wait_ready());
    EXPECT_EQ(call("after vanish"), 0);
}

}  // namespace
