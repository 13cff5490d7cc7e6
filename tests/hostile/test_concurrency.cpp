// Eight threads calling getters and listings of every family at once against the
// simulator: every answer must be the one a lone caller gets.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "hostile/registry_reads.hpp"
#include "lumo3_uci.h"
#include "support/service_context.hpp"
#include "support/temp_root.hpp"
#include "tools/lumoctl/registry.hpp"

namespace {

using lumoctl::Entry;

constexpr int kThreads = 8;
constexpr int kRounds = 6;

// The answer of one registry read as text (records printed through their tables),
// "rc=N" when the call failed.
std::string answer(const Entry &e, bool listing)
{
    std::string out;
    auto print = [&](const unsigned char *rec) { out += lumoctl::record_json(*e.table, rec).dump(); };
    if (!listing) {
        const int32_t rc = lumo::test::read_get(e, print);
        return rc == 0 ? out : "rc=" + std::to_string(rc);
    }
    uint32_t n = 0;
    const int32_t rc = lumo::test::read_list(e, "", print, &n);
    return "rc=" + std::to_string(rc) + " n=" + std::to_string(n) + out;
}

class Concurrency : public lumo::test::SimTest {};

TEST_F(Concurrency, EightThreadsGetTheAnswersALoneCallerGets)
{
    // A hosted-service context, so that every call also clears and sets the shared
    // last-error message.
    lumo::test::ScopedContext ctx;
    struct Read {
        const Entry *entry;
        bool listing;
        std::string expected;
    };
    std::vector<Read> reads;
    for (const Entry &e : lumoctl::entries()) {
        if (e.get)
            reads.push_back({&e, false, answer(e, false)});
        if (e.list)
            reads.push_back({&e, true, answer(e, true)});
    }
    ASSERT_GE(reads.size(), 8u);

    std::atomic<int> wrong{0};
    std::string first_wrong;  // written by the thread that counted the first
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            for (int r = 0; r < kRounds; r++) {
                // Each thread walks the reads from its own starting point, so that
                // different families overlap.
                for (size_t k = 0; k < reads.size(); k++) {
                    const Read &read = reads[(k + size_t(t) * 3) % reads.size()];
                    const std::string got = answer(*read.entry, read.listing);
                    if (got != read.expected && wrong++ == 0)
                        first_wrong = std::string(read.entry->object) + ": " + got + " != " + read.expected;
                    (void)OvanGetErrMsg();
                }
            }
        });
    }
    for (std::thread &th : threads)
        th.join();
    EXPECT_EQ(wrong.load(), 0) << first_wrong;
}

// Writers of one package on eight threads: each commit applies its own change to the
// file as it is then, so none is lost and the file always parses.
TEST(ConcurrentUci, EightWritersOfOnePackageLoseNothing)
{
    lumo::test::TempRoot root;
    root.write("/etc/config/devname", "config names 'macs'\n");
    constexpr int kPerThread = 12;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([t] {
            for (int i = 0; i < kPerThread; i++) {
                const std::string option = "m" + std::to_string(t) + "_" + std::to_string(i);
                uci_write_option("devname", "macs", option.c_str(), ("name " + option).c_str());
            }
        });
    }
    for (std::thread &th : threads)
        th.join();
    uint32_t count = 0;
    EXPECT_EQ(uci_read_section("devname", "names", "macs", nullptr, &count), 0);
    EXPECT_EQ(count, uint32_t(kThreads * kPerThread));
    for (int t = 0; t < kThreads; t++) {
        for (int i = 0; i < kPerThread; i++) {
            const std::string option = "m" + std::to_string(t) + "_" + std::to_string(i);
            char value[256] = "";
            uci_read_option("devname", "macs", option.c_str(), value);
            EXPECT_EQ(std::string(value), "name " + option);
        }
    }
}

}  // namespace
