// The per-instance shapes taken whole (path argument checks) and arrays of tuples
// walked into records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "bus_support/private_bus.hpp"
#include "gateway/walkers.hpp"

namespace {

using lumo::GPtr;
namespace gw = lumo::gw;

// A guard byte after each field shows a write past it.
struct Row {
    char Name[8];
    uint8_t g0;
    int32_t Flag;
    uint8_t g1;
};
constexpr gw::Field kRow[] = {LUMO_F(Row, Name, 's'), LUMO_F(Row, Flag, 'b')};

TEST(Rows, FieldIFromMemberI)
{
    const struct {
        const char *rows;  // GVariant text of the array
        bool want_records;
        uint32_t count;
        const char *first_name;  // null: no records handed out
        int32_t first_flag;
    } cases[] = {
        {"[('abc', true), ('x', false)]", true, 2, "abc", 1},
        {"[('abcdefghijk', true)]", true, 1, "abcdefg", 1},  // cut to width - 1
        {"[('abc', true)]", false, 1, nullptr, 0},
        {"@a(sb) []", true, 0, nullptr, 0},
        {"[('abc', 'yes')]", true, 1, "abc", 0},  // a member of another type is skipped
        {"[(uint32 5, true)]", true, 1, "", 1},
        {"[('abc',)]", true, 1, "abc", 0},            // fewer members than fields
        {"[('a', true, 'extra')]", true, 1, "a", 1},  // more members than fields
        {"['not a tuple']", true, 1, "", 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.rows);
        GPtr<GVariant> rows(g_variant_ref_sink(g_variant_parse(nullptr, c.rows, nullptr, nullptr, nullptr)));
        ASSERT_TRUE(rows);
        Row sentinel{};
        void *objs = &sentinel;
        uint32_t n = 77;
        ASSERT_EQ(gw::walk_rows("t", kRow, sizeof(Row), rows.get(), c.want_records ? &objs : nullptr, &n, "alloc"), 0);
        EXPECT_EQ(n, c.count);
        if (!c.want_records) {
            EXPECT_EQ(objs, &sentinel) << "count only leaves the array alone";
            continue;
        }
        if (!c.first_name) {
            EXPECT_EQ(objs, nullptr);
            continue;
        }
        const Row *r = static_cast<const Row *>(objs);
        EXPECT_STREQ(r[0].Name, c.first_name);
        EXPECT_EQ(r[0].Flag, c.first_flag);
        for (uint32_t i = 0; i < n; i++) {
            EXPECT_EQ(r[i].g0, 0);
            EXPECT_EQ(r[i].g1, 0);
        }
        g_free(objs);
    }
}

OvanObjPath_t path(const std::string &text)
{
    OvanObjPath_t p{};
    std::memcpy(p.str, text.data(), std::min(text.size(), sizeof p.str));
    return p;
}

// Empty, malformed, sibling and foreign paths are swept over every family in
// test_registry.cpp; here the boundaries.
TEST(InstanceArgument, PrefixTerminatorAndInnerWord)
{
    const gw::Instances plain{nullptr, nullptr, "/a/C/"};
    const gw::Instances typed{nullptr, nullptr, "/a/C/", nullptr, "/Type"};
    struct Case {
        OvanObjPath_t p;
        bool plain_ok, typed_ok;
    };
    const std::string long_ok = "/a/C/" + std::string(250, 'x');
    for (const Case &c : {
             Case{path("/a/C/1"), true, false},
             Case{path("/a/C/1/Type/2"), true, true},
             Case{path("/a/C"), false, false},
             Case{path(long_ok), true, false},                      // 255 characters and the terminator
             Case{path(long_ok + "y/Type"), false, false},          // 256 bytes, no terminator
         }) {
        EXPECT_EQ(gw::instance_arg_ok(plain, c.p), c.plain_ok) << std::string(c.p.str, strnlen(c.p.str, 256));
        EXPECT_EQ(gw::instance_arg_ok(typed, c.p), c.typed_ok) << std::string(c.p.str, strnlen(c.p.str, 256));
    }
    EXPECT_FALSE(gw::instance_path_ok(nullptr, "/a/C/"));
}

}  // namespace
