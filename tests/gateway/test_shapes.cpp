// The generic gateway shapes, tested once on records made for the purpose (every
// field type, guard bytes around the fields) and on collections of the simulator.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "gateway/walkers.hpp"
#include "lumo3.h"
#include "lumo3_bus.h"

namespace {

using lumo::GPtr;
using lumo::test::LogCapture;
using lumo::test::parse_variant;
namespace gw = lumo::gw;

// Guard bytes between fields show any write past a field.
struct Widget {
    char path[256];
    uint8_t g0;
    char Name[8];
    uint8_t Level;  // directly after a string: unaligned
    uint8_t Mode;   // adjacent to Level
    uint8_t g1;
    int32_t Enabled;
    uint32_t Count;
    uint8_t g2[4];
    int32_t Offset;
    uint64_t Bytes;
    double Ratio;
    uint32_t TagsNum;
    char (*Tags)[8];
    uint32_t NotesNum;
    char (*Notes)[16];
    char Local[8];
    uint8_t g3[4];
};

constexpr gw::Field kWidgetFields[] = {
    LUMO_F(Widget, Name, 's'),   LUMO_F(Widget, Level, 'y'),  LUMO_F(Widget, Mode, 'y'),
    LUMO_F(Widget, Enabled, 'b'), LUMO_F(Widget, Count, 'u'), LUMO_F(Widget, Offset, 'i'),
    LUMO_F(Widget, Bytes, 't'),  LUMO_F(Widget, Ratio, 'd'),  LUMO_AS(Widget, TagsNum, Tags),
    LUMO_AS(Widget, NotesNum, Notes, gw::kNullWhenEmpty),
    LUMO_LOCAL(Widget, Local, 's'),
    gw::dropped("Obsolete"),
    LUMO_FN(Widget, Count, "Name", 'u'),  // shadowed: the first entry of a name wins
};
constexpr gw::RecordTable kWidget{"Widget", "com.example.Widget", kWidgetFields, sizeof(Widget)};

constexpr uint8_t kGuard = 0xA5;

Widget guarded()
{
    Widget w;
    std::memset(&w, kGuard, sizeof w);
    w.Tags = nullptr;
    w.Notes = nullptr;
    return w;
}

void expect_guards(const Widget &w)
{
    EXPECT_EQ(w.g0, kGuard);
    EXPECT_EQ(w.g1, kGuard);
    for (uint8_t b : w.g2)
        EXPECT_EQ(b, kGuard);
    for (uint8_t b : w.g3)
        EXPECT_EQ(b, kGuard);
}

GPtr<GVariant> dict(const char *text)
{
    return parse_variant(text, "a{sv}");
}

TEST(FillRecord, EveryTypeStoredAndTruncated)
{
    Widget w = guarded();
    auto d = dict("{'Name': <'abcdefghij'>, 'Level': <byte 7>, 'Mode': <byte 9>, 'Enabled': <true>, "
                  "'Count': <uint32 4000000000>, 'Offset': <int32 -5>, 'Bytes': <uint64 18000000000000000000>, "
                  "'Ratio': <2.5>, 'Tags': <['a', 'bbbbbbbbbbbb', '']>, 'Notes': <['n1']>}");
    gw::fill_record(kWidget.fields, &w, d.get());
    EXPECT_STREQ(w.Name, "abcdefg");  // width 8: 7 characters and the terminator
    EXPECT_EQ(w.Level, 7);
    EXPECT_EQ(w.Mode, 9);
    EXPECT_EQ(w.Enabled, 1);
    EXPECT_EQ(w.Count, 4000000000u);
    EXPECT_EQ(w.Offset, -5);
    EXPECT_EQ(w.Bytes, 18000000000000000000ull);
    EXPECT_DOUBLE_EQ(w.Ratio, 2.5);
    ASSERT_EQ(w.TagsNum, 3u);
    ASSERT_NE(w.Tags, nullptr);
    EXPECT_STREQ(w.Tags[0], "a");
    EXPECT_STREQ(w.Tags[1], "bbbbbbb");  // slots of 8: cut to 7
    EXPECT_STREQ(w.Tags[2], "");
    ASSERT_EQ(w.NotesNum, 1u);
    EXPECT_STREQ(w.Notes[0], "n1");
    expect_guards(w);
    g_free(w.Tags);
    g_free(w.Notes);
}

// Only a table entry of the value's wire type is written: values of another type,
// unknown and dropped keys, local fields and a later entry of a name an earlier one
// took leave every other byte as it was.
TEST(FillRecord, OnlyMatchingEntriesWritten)
{
    struct Case {
        const char *dict;
        void (*expect)(Widget &);  // the writes wanted on a guarded record
    } cases[] = {
        // A "t" sent for the "u" field, a string for a byte, an int for a boolean...
        {"{'Count': <uint64 1>, 'Level': <'x'>, 'Enabled': <int32 1>, 'Bytes': <uint32 3>, "
         "'Ratio': <int32 2>, 'Name': <uint32 5>, 'Tags': <'notalist'>, 'Offset': <uint32 1>}",
         [](Widget &) {}},
        // Local fields are the library's own.
        {"{'Obsolete': <'x'>, 'Local': <'fromgw'>, 'Unknown': <uint32 1>, 'Level': <byte 1>}",
         [](Widget &w) { w.Level = 1; }},
        // "Name" is a string first and Count later: the later entry never sees the key.
        {"{'Name': <'n'>}", [](Widget &w) { g_strlcpy(w.Name, "n", sizeof w.Name); }},
    };
    for (const Case &c : cases) {
        Widget w = guarded(), want = guarded();
        gw::fill_record(kWidget.fields, &w, dict(c.dict).get());
        c.expect(want);
        EXPECT_EQ(std::memcmp(&w, &want, sizeof w), 0) << c.dict;
    }
}

// An empty list leaves the pointer as the caller had it (the repeated-keys table),
// unless the field asks for NULL.
TEST(FillRecord, EmptyListClearsThePointerWhenTheFieldAsks)
{
    Widget w = guarded();
    char sentinel[1][16] = {};
    w.Notes = sentinel;
    gw::fill_record(kWidget.fields, &w, dict("{'Notes': <@as []>}").get());
    EXPECT_EQ(w.NotesNum, 0u);
    EXPECT_EQ(w.Notes, nullptr);
}

// A key sent twice: the later value holds, and no block of the earlier one is lost
// (the leak checker of the sanitizer run sees one) or freed twice; the caller's own
// pointer is never freed.
TEST(FillRecord, RepeatedListKeysLoseNothing)
{
    char sentinel[1][8] = {};
    struct Case {
        const char *text;
        uint32_t count;
        const char *first;  // nullptr: the pointer is expected null; "sentinel": the caller's
    } cases[] = {
        {"{'Tags': <['a']>, 'Tags': <['b', 'c']>}", 2, "b"},
        {"{'Tags': <['a']>, 'Tags': <['b']>, 'Tags': <['c']>}", 1, "c"},
        {"{'Tags': <['a']>, 'Tags': <@as []>}", 0, nullptr},
        {"{'Tags': <@as []>, 'Tags': <['z']>}", 1, "z"},
        {"{'Tags': <@as []>, 'Tags': <@as []>}", 0, "sentinel"},
        {"{'Tags': <['a']>, 'Tags': <uint32 1>}", 1, "a"},
    };
    for (const Case &c : cases) {
        Widget w = guarded();
        w.Tags = sentinel;
        auto d = dict(c.text);
        gw::fill_record(kWidget.fields, &w, d.get());
        EXPECT_EQ(w.TagsNum, c.count) << c.text;
        if (!c.first) {
            EXPECT_EQ(w.Tags, nullptr) << c.text;
        } else if (std::strcmp(c.first, "sentinel") == 0) {
            EXPECT_EQ(w.Tags, sentinel) << c.text;
        } else {
            ASSERT_NE(w.Tags, nullptr) << c.text;
            EXPECT_STREQ(w.Tags[0], c.first) << c.text;
        }
        if (w.Tags != sentinel)
            g_free(w.Tags);
        expect_guards(w);
    }
}

TEST(BuildDict, FieldsInOrderWithTheirTypes)
{
    Widget w{};
    std::memcpy(w.Name, "12345678", 8);  // full width, no terminator
    w.Level = 3;
    w.Enabled = 42;
    w.Count = 7;
    w.Bytes = 1ull << 40;
    constexpr auto writable = gw::pick(kWidgetFields, {"Bytes", "Name", "Enabled", "Level"});
    GPtr<GVariant> d = lumo::ref_sink(gw::build_dict(writable, &w));
    GPtr<char> text(g_variant_print(d.get(), TRUE));
    EXPECT_STREQ(text.get(), "{'Bytes': <uint64 1099511627776>, 'Name': <'12345678'>, 'Enabled': <true>, "
                             "'Level': <byte 0x03>}");
}

// Text the bus cannot carry refuses the whole dictionary, naming the field; a
// full-width field is judged over its width. (Each text field and list slot of every
// writable record: test_registry_text.)
TEST(BuildDict, TextThatIsNotUtf8)
{
    struct {
        const char *name;
        const char *text;       // into Name (8 bytes; 8 characters fill it unterminated)
        const char *tag_entry;  // into Tags[0] (8 bytes)
        const char *refused;    // the field named, or null when sent
    } cases[] = {
        {"two_byte_sequence", "caf\xc3\xa9", "\xc3\xa9", nullptr},
        {"full_width_valid", "12345678", "a", nullptr},
        {"full_width_broken_last", "1234567\xc3", "a", "Name"},
    };
    constexpr auto writable = gw::pick(kWidgetFields, {"Name", "Level", "Tags"});
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log;
        Widget w{};
        std::memcpy(w.Name, c.text, std::min(std::strlen(c.text), sizeof w.Name));
        char tags[1][8] = {};
        std::memcpy(tags[0], c.tag_entry, std::strlen(c.tag_entry));
        w.TagsNum = 1;
        w.Tags = tags;
        GPtr<GVariant> d = lumo::ref_sink(gw::build_dict(writable, &w, "OvanSetWidget"));
        if (!c.refused) {
            ASSERT_TRUE(d);
            EXPECT_EQ(g_variant_n_children(d.get()), 3u);
            continue;
        }
        EXPECT_FALSE(d);
        EXPECT_TRUE(log.contains("OvanSetWidget: Invalid parameter: " + std::string(c.refused) +
                                     " is not valid UTF-8.",
                                 LOG_ERR));
    }
}

TEST(ArgTuple, RefusalStopsTheTuple)
{
    LogCapture log;
    gw::ArgTuple ok("OvanDoIt");
    ok.s("name", "caf\xc3\xa9").s("none", nullptr).o("at", "/a/b").u(7).y(1).b(true).q(2).i(-1);
    GPtr<GVariant> args = lumo::ref_sink(ok.end());
    ASSERT_TRUE(args);
    EXPECT_STREQ(g_variant_get_type_string(args.get()), "(ssouybqi)");

    gw::ArgTuple bad_path("OvanDoIt");
    bad_path.o("at", "/a//b").s("next", "x").u(2);  // later values are dropped, not leaked
    EXPECT_TRUE(bad_path.refused());
    EXPECT_STREQ(bad_path.problem(), "Invalid parameter: at is not a valid object path.");
    EXPECT_TRUE(log.contains("OvanDoIt: Invalid parameter: at is not a valid object path.", LOG_ERR));
    EXPECT_EQ(bad_path.end(), nullptr);
}

// ---- the per-instance shapes taken whole (path argument checks) and arrays of
// tuples walked into records ----

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

// ---- lists given as text, stored lists kept by substring ----

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
        {";;", 511, {}},
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

// ---- against the simulator ----

constexpr const char kCollection[] = "/com/quv/igd1/Config/Widgets";

class SimShapes : public lumo::test::SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        ASSERT_TRUE(sim.add_collection(kCollection, "com.example.Widget",
                                       parse_variant("{'Name': <'new'>, 'Count': <uint32 0>}", "a{sv}").release()));
        ASSERT_TRUE(sim.add_object(std::string(kCollection) + "/1",
                                   "{'com.example.Widget': {'Name': <'one'>, 'Count': <uint32 1>, "
                                   "'Tags': <['x']>}}"));
        ASSERT_TRUE(sim.add_object(std::string(kCollection) + "/2",
                                   "{'com.example.Other': {'Name': <'two'>}}"));
        ASSERT_TRUE(sim.add_object(std::string(kCollection) + "/3", "{'com.example.Widget': @a{sv} {}}"));
        sim.clear_call_log();
    }

    gw::CollectionSpec shape{"TestEnum", &kWidget, "entry num (%d)", 255};
};

TEST_F(SimShapes, EnumerateKeepsRecordsInStepWithTheMap)
{
    void *objs = nullptr;
    uint32_t num = 99;
    ASSERT_EQ(gw::enumerate(shape, kCollection, &objs, &num), 0);
    ASSERT_EQ(num, 3u);
    auto *w = static_cast<Widget *>(objs);
    // (What the family's interface holds is read field by field in test_registry.cpp.)
    // Without the family's interface, or with an empty dictionary: path and zeros.
    EXPECT_STREQ(w[1].path, "/com/quv/igd1/Config/Widgets/2");
    EXPECT_STREQ(w[1].Name, "");
    EXPECT_STREQ(w[2].path, "/com/quv/igd1/Config/Widgets/3");
    EXPECT_EQ(w[2].Count, 0u);
    EXPECT_TRUE(log.contains("entry num (3)", 7));
    EXPECT_TRUE(log.contains("path (/com/quv/igd1/Config/Widgets/1) [", 7));
    g_free(w[0].Tags);
    g_free(objs);
}

TEST_F(SimShapes, EnumerateCountOnlyAndEmpty)
{
    uint32_t num = 0;
    EXPECT_EQ(gw::enumerate(shape, kCollection, nullptr, &num), 0);
    EXPECT_EQ(num, 3u);

    for (const char *p : {"/1", "/2", "/3"})
        ASSERT_TRUE(sim.remove_object(std::string(kCollection) + p));
    void *objs = reinterpret_cast<void *>(0x1);
    EXPECT_EQ(gw::enumerate(shape, kCollection, &objs, &num), 0);
    EXPECT_EQ(num, 0u);
    EXPECT_EQ(objs, nullptr);
}

TEST_F(SimShapes, EnumerateFailures)
{
    uint32_t num = 5;
    void *objs = nullptr;
    ASSERT_TRUE(sim.script_error(kCollection, "com.quv.igd1.ObjectManager", "GetManagedObjects",
                                 "org.freedesktop.DBus.Error.Failed", "down"));
    EXPECT_EQ(gw::enumerate(shape, kCollection, &objs, &num), -1);
    EXPECT_TRUE(log.contains("GetManagedObjects failed with ret(-1)", 3));
    EXPECT_EQ(num, 5u);
    ASSERT_TRUE(sim.clear_scripts());
    ASSERT_TRUE(sim.script_reply(kCollection, "com.quv.igd1.ObjectManager", "GetManagedObjects", "(uint32 1,)"));
    EXPECT_EQ(gw::enumerate(shape, kCollection, &objs, &num), -1) << "a reply of another type";
    EXPECT_EQ(objs, nullptr);
}

// A path longer than the limit is cut to limit - 1 characters, never past the field.
TEST_F(SimShapes, LongPathsCutToTheLimit)
{
    std::string longpath = std::string(kCollection) + "/" + std::string(260, 'a');
    ASSERT_TRUE(sim.add_object(longpath, "{'com.example.Widget': {'Name': <'long'>}}"));
    for (size_t limit : {size_t{255}, size_t{256}}) {
        shape.path_limit = limit;
        void *objs = nullptr;
        uint32_t num = 0;
        ASSERT_EQ(gw::enumerate(shape, kCollection, &objs, &num), 0);
        bool found = false;
        for (uint32_t i = 0; i < num; i++) {
            auto &w = static_cast<Widget *>(objs)[i];
            if (std::strcmp(w.Name, "long") == 0) {
                found = true;
                EXPECT_EQ(std::string(w.path), longpath.substr(0, limit - 1));
                EXPECT_EQ(w.g0, 0);
            }
            g_free(w.Tags);
        }
        EXPECT_TRUE(found) << limit;
        g_free(objs);
    }
}

TEST_F(SimShapes, GetAllIntoRecordFailures)
{
    gw::GetterSpec get{"TestGet", &kWidget, 255, "failed %d", "empty <%s>"};
    Widget e = guarded();
    EXPECT_EQ(gw::get_all_into(get, "/com/quv/igd1/Config/Widgets/3", &e), -1);
    EXPECT_TRUE(log.contains("empty </com/quv/igd1/Config/Widgets/3>", 3));
    EXPECT_STREQ(e.path, "/com/quv/igd1/Config/Widgets/3") << "the path is written before the emptiness test";

    Widget f = guarded();
    EXPECT_EQ(gw::get_all_into(get, "/com/quv/igd1/Config/Widgets/9", &f), -1);
    EXPECT_TRUE(log.contains("failed -1", 3));
    EXPECT_EQ(static_cast<uint8_t>(f.path[0]), kGuard) << "a failed read leaves the record alone";
}

int32_t set_widget(OvanObjPath_t path, void *record)
{
    constexpr auto writable = gw::pick(kWidgetFields, {"Name", "Count"});
    return gw::set_fields(path.str, "com.example.Widget", writable, record);
}

int32_t del_widget(OvanObjPath_t path)
{
    return gw::delete_object(kCollection, path.str);
}

TEST_F(SimShapes, AddThenSet)
{
    Widget w{};
    g_strlcpy(w.Name, "added", sizeof w.Name);
    ASSERT_EQ(gw::add_with_rollback(kCollection, &w, set_widget, del_widget), 0);
    EXPECT_STREQ(w.path, "/com/quv/igd1/Config/Widgets/4");
    EXPECT_EQ(sim.count_calls(w.path, "com.quv.igd1.Properties", "SetMulti"), 1u);
    EXPECT_EQ(sim.count_calls("", "", "Set"), 0u) << "the fields go in one dictionary";
    GPtr<GVariant> v = sim.property(w.path, "com.example.Widget", "Name");
    ASSERT_TRUE(v);
    EXPECT_STREQ(g_variant_get_string(v.get(), nullptr), "added");
}

// A new path the record cannot hold whole is neither written nor deleted under its
// cut form, which here names an object that exists.
TEST_F(SimShapes, AddRemovesANewObjectWhosePathDoesNotFit)
{
    for (size_t limit : {size_t{255}, size_t{256}}) {
        const std::string cut =
            std::string(kCollection) + "/" + std::string(limit - 2 - std::strlen(kCollection), 'a');
        const std::string whole = cut + "bb";
        ASSERT_TRUE(sim.add_object(cut, "{'com.example.Widget': {'Name': <'victim'>}}"));
        ASSERT_TRUE(sim.add_object(whole, "{'com.example.Widget': {'Name': <''>}}"));
        ASSERT_TRUE(sim.script_reply(kCollection, "com.quv.igd1.ObjectManager", "AddObject",
                                     ("(objectpath '" + whole + "',)").c_str(), 0, true));
        ASSERT_TRUE(sim.clear_call_log());
        Widget w{};
        EXPECT_EQ(gw::add_with_rollback(kCollection, &w, set_widget, del_widget, {}, nullptr, limit), -1);
        EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 0u);
        ASSERT_EQ(sim.count_calls(kCollection, "com.quv.igd1.ObjectManager", "DeleteObject"), 1u);
        EXPECT_EQ(sim.call_log().back().args_text(), "(objectpath '" + whole + "',)");
        EXPECT_TRUE(sim.property(cut, "com.example.Widget", "Name")) << "the other object is untouched";
        ASSERT_TRUE(sim.remove_object(cut));
    }
}

TEST_F(SimShapes, AddFailsWithoutAValidPath)
{
    ASSERT_TRUE(sim.script_reply(kCollection, "com.quv.igd1.ObjectManager", "AddObject", "('not a path',)"));
    Widget w{};
    EXPECT_EQ(gw::add_with_rollback(kCollection, &w, set_widget, del_widget), -1);
    EXPECT_EQ(sim.count_calls("", "com.quv.igd1.Properties", "SetMulti"), 0u);
}

TEST_F(SimShapes, CommandStatusAndMessage)
{
    const struct {
        const char *name;
        const char *reply;  // scripted reply, or nullptr for a D-Bus error
        int32_t ret;
        uint32_t status;
        const char *errmsg;  // expected *errmsg, nullptr: untouched
        const char *lead;    // expected printed leading value, nullptr: none
    } cases[] = {
        {"ok", "(uint32 0, 'done')", 0, 0, nullptr, nullptr},
        {"refused_with_message", "(uint32 3, 'busy')", -1, 3, "busy", nullptr},
        {"refused_without_message", "(uint32 3, '')", -1, 3, nullptr, nullptr},
        {"path_lead", "(objectpath '/a/b', uint32 0, '')", 0, 0, nullptr, "'/a/b'"},
        {"string_lead", "('score', uint32 0, '')", 0, 0, nullptr, "'score'"},
        {"wrong_reply_type", "(int32 0, 'x')", -1, 1, "Failed to call Poke() function.", nullptr},
        {"too_short", "(uint32 0,)", -1, 1, "Failed to call Poke() function.", nullptr},
    };
    const gw::CommandSpec cmd{"TestCmd", kCollection, "com.example.Widget", "Poke", "Call Poke() fail.",
                              "Failed to call Poke() function.", "Call TestCmd() errmsg [%s]."};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(sim.clear_scripts());
        log.clear();
        if (c.reply)
            ASSERT_TRUE(sim.script_reply(kCollection, "com.example.Widget", "Poke", c.reply));
        else
            ASSERT_TRUE(sim.script_error(kCollection, "com.example.Widget", "Poke", "org.freedesktop.DBus.Error.Failed",
                                         "broken"));
        uint32_t status = 77;
        char *errmsg = nullptr;
        GPtr<GVariant> lead;
        EXPECT_EQ(gw::run_command(cmd, g_variant_new("(s)", "arg"), &status, &errmsg, &lead), c.ret);
        EXPECT_EQ(status, c.status);
        if (c.errmsg)
            EXPECT_STREQ(errmsg, c.errmsg);
        else
            EXPECT_EQ(errmsg, nullptr);
        if (c.lead) {
            ASSERT_TRUE(lead);
            GPtr<char> printed(g_variant_print(lead.get(), FALSE));
            EXPECT_STREQ(printed.get(), c.lead);
        } else {
            EXPECT_FALSE(lead);
        }
        // A local failure (status 1) logs the call-failure line; the service's own
        // refusal logs its message.
        if (c.status == 1) {
            EXPECT_TRUE(log.contains("Call Poke() fail.", 3));
        } else if (c.errmsg) {
            EXPECT_TRUE(log.contains(std::string("Call TestCmd() errmsg [") + c.errmsg + "].", 3));
        }
        g_free(errmsg);
        // Also with both outputs NULL: nothing to write, same result.
        EXPECT_EQ(gw::run_command(cmd, nullptr, nullptr, nullptr), c.ret);
    }
}

// A listing of a second service: look-ups in it, and its lists freed.
TEST_F(SimShapes, ListingOfASecondServiceFindsByKeyAndFreesItsLists)
{
    ASSERT_TRUE(sim.add_collection("/com/morvane/vpnclient1/h", "com.example.Holder", g_variant_new("a{sv}", nullptr)));
    ASSERT_TRUE(sim.add_object("/com/morvane/vpnclient1/h/1",
                               "{'com.example.Holder': {'Key': <'one'>, 'Items': <['a', 'b']>}}"));
    ASSERT_TRUE(sim.add_object("/com/morvane/vpnclient1/h/2",
                               "{'com.example.Holder': {'Key': <'two'>, 'Items': <['c']>}}"));
    const gw::CollectionSpec holders{"T", &kHolder, "num(%d)", 255};
    gw::Listing listing(kHolder);
    ASSERT_EQ(listing.load("com.morvane.vpnclient1", holders, "/com/morvane/vpnclient1/h"), 0);
    EXPECT_EQ(listing.size(), 2u);
    auto *two = static_cast<Holder *>(listing.find("Key", "two"));
    ASSERT_NE(two, nullptr);
    EXPECT_STREQ(two->path, "/com/morvane/vpnclient1/h/2");
    EXPECT_STREQ(two->Items[0], "c");
    EXPECT_EQ(listing.find("Key", "three"), nullptr);
    EXPECT_EQ(listing.find("Key", nullptr), nullptr);
    EXPECT_EQ(listing.find("Items", "c"), nullptr);  // only string fields are keys
    // A second load replaces the first (the sanitizers see any block lost).
    ASSERT_EQ(listing.load("com.morvane.vpnclient1", holders, "/com/morvane/vpnclient1/h"), 0);

    // The gateway's own name does not answer for a collection it does not serve.
    gw::Listing absent(kHolder);
    EXPECT_EQ(absent.load("com.example.nobody", holders, "/com/morvane/vpnclient1/h"), -1);
    EXPECT_EQ(absent.size(), 0u);
    EXPECT_EQ(absent.find("Key", "one"), nullptr);
}

// ---- text the bus cannot carry, refused before anything is sent (object paths
// without their terminator: test_registry.cpp) ----

// The case that was reported: the write came back 0 with Description silently left out.
TEST_F(SimShapes, Latin1DescriptionRefusedBySetterAndAdder)
{
    lumo::test::ScopedContext context;  // keeps the last error
    static const char line[] = "Invalid parameter: Description is not valid UTF-8.";
    // A rule the setter accepts but for its description.
    OvanPortMapping_t r{};
    r.ExternalPort = r.InternalPort = 22;
    g_strlcpy(r.PortMappingProtocol, "TCP", sizeof r.PortMappingProtocol);
    g_strlcpy(r.InternalClient, "192.168.1.30", sizeof r.InternalClient);
    g_strlcpy(r.Description, "caf\xe9", sizeof r.Description);  // "café" typed on a Latin-1 system
    EXPECT_EQ(OvanSetPortMapping(lumo::test::obj_path("/com/quv/igd1/Config/PortMapping/1"), &r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetPortMapping", line)) << dump();
    EXPECT_STREQ(OvanGetErrMsg(), line);

    EXPECT_EQ(OvanAddPortMapping(&r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddPortMapping", line)) << dump();
    EXPECT_TRUE(sim.call_log().empty());  // not even a created-then-deleted object
}

// The bus layer's own string arguments (the wrappers' are swept through the lumoctl
// registry in test_registry_text; that nothing is sent, in test_properties.cpp): the
// refusal is kept as the last error.
TEST_F(SimShapes, PropertyNamesRefused)
{
    lumo::test::ScopedContext context;
    EXPECT_EQ(OvanDBusSetProperty(lumo::test::kGw, lumo::test::kDevicePath, lumo::test::kDeviceIface, "Dev\xfe",
                                  g_variant_new_string("x")),
              -1);
    EXPECT_STREQ(OvanGetErrMsg(), "org.freedesktop.DBus.Error.InvalidArgs: property name is not valid UTF-8");
}

}  // namespace
