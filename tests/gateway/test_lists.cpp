// The shapes for lists given as text, stored lists kept by substring, look-ups in a
// listing, and collections of a second service.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "gateway/walkers.hpp"

namespace {

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

}  // namespace
