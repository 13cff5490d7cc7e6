// The shapes for lists given as text, stored lists kept by substring, look-ups in a
// listing, collections of a second service, and secrets kept out of printed values.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "bus/connection.hpp"
#include "bus_support/bus_fixture.hpp"
#include "gateway/walkers.hpp"
#include "support/log_capture.hpp"

namespace {

using lumo::GPtr;
using lumo::test::LogCapture;
namespace gw = lumo::gw;

using Strings = std::vector<std::string>;

Strings strings(const lumo::GStrv &v)
{
    Strings out;
    for (char **p = v.get(); *p; p++)
        out.emplace_back(*p);
    return out;
}

TEST(Lists, SplitAtSemicolons)
{
    struct Case {
        const char *list;
        size_t max;
        Strings pieces;
    } cases[] = {
        {nullptr, 511, {}},
        {"", 511, {}},
        {";;", 511, {}},
        {"a.example", 511, {"a.example"}},
        {";a;;b;", 511, {"a", "b"}},
        {"a,b;c d", 511, {"a,b", "c d"}},  // only ";" separates
        {"abc;def", 5, {"abc", "d"}},      // the rest is not read
        {"abc;def", 4, {"abc"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.list ? c.list : "(null)");
        EXPECT_EQ(strings(gw::split_list(c.list, c.max)), c.pieces);
    }
    // A list without its terminator within the limit is read up to the limit only.
    char unterminated[4] = {'a', ';', 'b', 'c'};
    EXPECT_EQ(strings(gw::split_list(unterminated, sizeof unterminated)), (Strings{"a", "bc"}));
}

struct Holder {
    char path[256];
    uint32_t ItemsNum;
    char (*Items)[8];
    char Key[8];
};
constexpr gw::Field kHolderFields[] = {LUMO_AS(Holder, ItemsNum, Items), LUMO_F(Holder, Key, 's')};
constexpr gw::RecordTable kHolder{"Holder", "com.example.Holder", kHolderFields, sizeof(Holder)};

TEST(Lists, EntriesKeptUnlessWithin)
{
    char items[4][8] = {"10.0.0", "10.0.0.", "a.ex", "full789"};
    items[3][7] = '7';  // a slot filled to its last byte: no terminator
    Holder h{};
    h.ItemsNum = 4;
    h.Items = items;
    const gw::Field &list = kHolderFields[0];
    struct Case {
        const char *within;
        Strings kept;
    } cases[] = {
        {nullptr, {"10.0.0", "10.0.0.", "a.ex", "full7897"}},
        {"", {"10.0.0", "10.0.0.", "a.ex", "full7897"}},
        {"10.0.0.10", {"a.ex", "full7897"}},  // substrings anywhere, separators ignored
        {"x;b.a.example", {"10.0.0", "10.0.0.", "full7897"}},
        {"full7897", {"10.0.0", "10.0.0.", "a.ex"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.within ? c.within : "(null)");
        EXPECT_EQ(strings(gw::entries_not_within(list, &h, c.within)), c.kept);
    }
    h.Items = nullptr;  // a count without a block keeps nothing
    EXPECT_EQ(strings(gw::entries_not_within(list, &h, nullptr)), Strings{});
}

class OtherService : public lumo::test::SimTest {};

TEST_F(OtherService, ListingFindsByKeyAndFreesItsLists)
{
    ASSERT_TRUE(sim.add_collection("/com/morvane/vpnclient1/h", "com.example.Holder", g_variant_new("a{sv}", nullptr)));
    ASSERT_TRUE(sim.add_object("/com/morvane/vpnclient1/h/1",
                               "{'com.example.Holder': {'Key': <'one'>, 'Items': <['a', 'b']>}}"));
    ASSERT_TRUE(sim.add_object("/com/morvane/vpnclient1/h/2",
                               "{'com.example.Holder': {'Key': <'two'>, 'Items': <['c']>}}"));
    const gw::CollectionSpec shape{"T", &kHolder, "num(%d)", 255};
    gw::Listing listing(kHolder);
    ASSERT_EQ(listing.load("com.morvane.vpnclient1", shape, "/com/morvane/vpnclient1/h"), 0);
    EXPECT_EQ(listing.size(), 2u);
    auto *two = static_cast<Holder *>(listing.find("Key", "two"));
    ASSERT_NE(two, nullptr);
    EXPECT_STREQ(two->path, "/com/morvane/vpnclient1/h/2");
    EXPECT_STREQ(two->Items[0], "c");
    EXPECT_EQ(listing.find("Key", "three"), nullptr);
    EXPECT_EQ(listing.find("Key", nullptr), nullptr);
    EXPECT_EQ(listing.find("Items", "c"), nullptr);  // only string fields are keys
    // A second load replaces the first (the sanitizers see any block lost).
    ASSERT_EQ(listing.load("com.morvane.vpnclient1", shape, "/com/morvane/vpnclient1/h"), 0);

    // The gateway's own name does not answer for a collection it does not serve.
    gw::Listing absent(kHolder);
    EXPECT_EQ(absent.load("com.example.nobody", shape, "/com/morvane/vpnclient1/h"), -1);
    EXPECT_EQ(absent.size(), 0u);
    EXPECT_EQ(absent.find("Key", "one"), nullptr);
}

TEST(Lists, SecretsMaskedWhenPrinted)
{
    LogCapture log;  // printing is done only when the line is wanted
    GPtr<GVariant> v(g_variant_ref_sink(g_variant_new_parsed(
        "({'vpn_pwd': <'s1'>, 'Name': <'n'>}, {'/o': {'i': {'DDNSPassword': <'s2'>, 'InitUAPwd': <uint32 3>}}},"
        " @a{sv} {}, [{'passwd': <'s3'>}])")));
    lumo::GStr shown = lumo::bus::print_value(v.get(), 7);
    const std::string text = shown.get();
    for (const char *secret : {"s1", "s2", "s3", "uint32 3"})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret << " in " << text;
    for (const char *kept : {"'Name': <'n'>", "'vpn_pwd': <'<hidden>'>", "'InitUAPwd': <'<hidden>'>"})
        EXPECT_NE(text.find(kept), std::string::npos) << kept << " not in " << text;
    GPtr<GVariant> plain(g_variant_ref_sink(g_variant_new_parsed("('pwd', uint32 1)")));
    EXPECT_EQ(std::string(lumo::bus::print_value(plain.get(), 7).get()), "('pwd', uint32 1)");
}

}  // namespace
