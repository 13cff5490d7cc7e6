// The value type: refusals and their warning texts, round trips and the format
// checker's grammar.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>

#include "core/glib_ptr.hpp"
#include "lumo3_variant.h"
#include "variant/variant_internal.hpp"

namespace {

using lumo::variant::_ovan_valid_format_string;

// The next critical warning is `message` (a glob pattern), of the library's domain
// unless another is named; any other warning is fatal in the tests.
void expect(const std::string &message, const char *domain = nullptr)
{
    g_test_expect_message(domain, G_LOG_LEVEL_CRITICAL, message.c_str());
}

std::string assertion(const char *function, const char *condition)
{
    return std::string(function) + ": assertion '" + condition + "' failed";
}

std::string not_valid(const char *format)
{
    return std::string("'") + format + "' is not a valid GVariant format string";
}

TEST(VariantRefusals, NullArgumentsWarnWithTheirConditionTexts)
{
    expect(assertion("GVar2OvanVar", "(v != NULL)"));
    expect(assertion("OvanVar2GVar", "(v != NULL)"));
    expect(assertion("OvanVariantRef", "(v != NULL)"));
    expect(assertion("OvanVariantUnRef", "v != NULL"));
    expect(assertion("OvanVariantChildNum", "(v != NULL)"));
    expect(assertion("OvanVariantPrint", "(v != NULL)"));
    expect(assertion("OvanVariantNewArray", "(children != NULL) && (n_children != 0)"));
    expect(assertion("OvanVariantNewTuple", "(children != NULL) && (n_children != 0)"));
    expect(assertion("OvanVariantNewDictEntry", "(key != NULL) && (value != NULL)"));
    EXPECT_EQ(GVar2OvanVar(nullptr), nullptr);
    EXPECT_EQ(OvanVar2GVar(nullptr), nullptr);
    EXPECT_EQ(OvanVariantRef(nullptr), nullptr);
    OvanVariantUnRef(nullptr);
    EXPECT_EQ(OvanVariantChildNum(nullptr), 0u);
    EXPECT_EQ(OvanVariantPrint(nullptr), nullptr);
    EXPECT_EQ(OvanVariantNewArray(nullptr, 2), nullptr);
    OvanVariant *one[] = {g_variant_new_int32(1)};
    EXPECT_EQ(OvanVariantNewTuple(one, 0), nullptr);
    EXPECT_EQ(OvanVariantNewDictEntry(nullptr, one[0]), nullptr);
    g_variant_unref(g_variant_ref_sink(one[0]));
    g_test_assert_expected_messages();
}

TEST(VariantRefusals, CallsGLibWouldAbortOnAreRefused)
{
    expect(assertion("OvanVariantChildNum", "g_variant_is_container (v)"));
    expect(assertion("OvanVariantGetChildVal", "g_variant_is_container (v)"));
    expect(assertion("OvanVariantGetChildVal", "(v != NULL)"));
    expect(assertion("OvanVariantLookupValue", "(dictionary != NULL) && (key != NULL)"));
    expect(assertion("OvanVariantGetChild", "(v != NULL)"));
    expect(assertion("OvanVariantLookup", "(dictionary != NULL) && (key != NULL)"));
    expect("*", "GLib");
    expect(assertion("OvanVariantLookupValue", "(dictionary != NULL) && (key != NULL)"));
    expect(assertion("OvanVariantLookup", "(dictionary != NULL) && (key != NULL)"));
    auto i = lumo::ref_sink(g_variant_new_int32(3));
    EXPECT_EQ(OvanVariantChildNum(i.get()), 0u);
    EXPECT_EQ(OvanVariantGetChildVal(i.get(), 0), nullptr);
    EXPECT_EQ(OvanVariantGetChildVal(nullptr, 0), nullptr);
    EXPECT_EQ(OvanVariantLookupValue(nullptr, "k", nullptr), nullptr);
    int out = 9;
    OvanVariantGetChild(nullptr, 0, "i", &out);
    EXPECT_FALSE(OvanVariantLookup(nullptr, "k", "i", &out));
    const char *s = "untouched";
    OvanVariantGet(nullptr, "&s", &s);  // left to GLib, which warns in its own domain
    EXPECT_EQ(out, 9);
    EXPECT_STREQ(s, "untouched");
    auto dict = lumo::ref_sink(g_variant_new_parsed("{'k': <1>}"));
    EXPECT_EQ(OvanVariantLookupValue(dict.get(), nullptr, nullptr), nullptr);
    EXPECT_FALSE(OvanVariantLookup(dict.get(), nullptr, "i", &out));
    EXPECT_EQ(out, 9);
    g_test_assert_expected_messages();
}

TEST(Variant, NewThenGetRoundTrip)
{
    const char *const names[] = {"a", "b", nullptr};
    OvanVariant *made =
        OvanVariantNew("(sibxd^as)", "gw", -42, TRUE, G_GINT64_CONSTANT(1) << 40, 2.5, names);
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(g_variant_is_floating(made));
    auto v = lumo::ref_sink(made);
    EXPECT_STREQ(g_variant_get_type_string(v.get()), "(sibxdas)");

    const char *s = nullptr;
    gint32 i = 0;
    gboolean b = FALSE;
    gint64 x = 0;
    double d = 0;
    char **raw_strv = nullptr;
    OvanVariantGet(v.get(), "(&sibxd^as)", &s, &i, &b, &x, &d, &raw_strv);
    lumo::GStrv strv(raw_strv);
    EXPECT_STREQ(s, "gw");
    EXPECT_EQ(i, -42);
    EXPECT_TRUE(b);
    EXPECT_EQ(x, G_GINT64_CONSTANT(1) << 40);
    EXPECT_EQ(d, 2.5);
    ASSERT_NE(strv, nullptr);
    EXPECT_STREQ(strv.get()[1], "b");
}

TEST(Variant, NewRefusesFormatsOnlyValidForGetters)
{
    const std::string condition = assertion(
        "OvanVariantNew",
        "_ovan_valid_format_string (format, TRUE, NULL) && format[0] != '?' && format[0] != '@' && "
        "format[0] != '*' && format[0] != 'r'");
    auto held = lumo::ref_sink(g_variant_new_int32(1));
    for (const char *format : {"?", "@i", "*", "r"}) {
        expect(condition);
        EXPECT_EQ(OvanVariantNew(format, held.get()), nullptr) << format;
        g_test_assert_expected_messages();
    }
    for (const char *format : {"ss", "", "(s", "z"}) {
        expect(not_valid(format));
        expect(condition);
        EXPECT_EQ(OvanVariantNew(format, "a", "b"), nullptr) << format;
        g_test_assert_expected_messages();
    }
    expect(condition);
    EXPECT_EQ(OvanVariantNew(nullptr), nullptr);
    g_test_assert_expected_messages();
}

TEST(Variant, TypeMismatchWritesNothing)
{
    auto v = lumo::ref_sink(OvanVariantNew("(i)", 7));
    const char *sentinel = "untouched";
    const char *s = sentinel;
    expect("the GVariant format string '(&s)' has a type of '(s)' but the given value has a type of '(i)'");
    expect(assertion("OvanVariantGet", "_ovan_valid_format_string (format, TRUE, v)"));
    OvanVariantGet(v.get(), "(&s)", &s);
    EXPECT_EQ(s, sentinel);
    g_test_assert_expected_messages();

    // Modifier-free and wildcard formats match by the type they stand for.
    gint32 i = 0;
    OvanVariantGet(v.get(), "(i)", &i);
    EXPECT_EQ(i, 7);
    GVariant *whole = nullptr;
    OvanVariantGet(v.get(), "r", &whole);
    EXPECT_EQ(lumo::GPtr<GVariant>(whole).get(), v.get());
}

// Built from parts, so the value starts out unserialised.
lumo::GPtr<GVariant> tuple_of_parts()
{
    GVariant *parts[] = {g_variant_new_string("first"), g_variant_new_string("second")};
    return lumo::ref_sink(OvanVariantNewTuple(parts, 2));
}

TEST(Variant, BorrowedStringsLiveAsLongAsTheValue)
{
    // Serialising a value built from parts drops the parts; strings borrowed
    // from them must survive that.
    auto v = tuple_of_parts();
    const char *c = nullptr;
    OvanVariantGetChild(v.get(), 1, "&s", &c);
    (void)g_variant_get_data(v.get());
    EXPECT_STREQ(c, "second");

    auto w = tuple_of_parts();
    const char *a = nullptr;
    const char *b = nullptr;
    OvanVariantGet(w.get(), "(&s&s)", &a, &b);
    (void)g_variant_get_data(w.get());
    EXPECT_STREQ(a, "first");
    EXPECT_STREQ(b, "second");
}

TEST(Variant, ChildrenAccess)
{
    auto v = lumo::ref_sink(OvanVariantNew("(sua{sv})", "eth0", 1500u, nullptr));
    EXPECT_EQ(OvanVariantChildNum(v.get()), 3u);

    lumo::GPtr<GVariant> second(OvanVariantGetChildVal(v.get(), 1));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(g_variant_get_uint32(second.get()), 1500u);

    guint32 mtu = 0;
    OvanVariantGetChild(v.get(), 1, "u", &mtu);
    EXPECT_EQ(mtu, 1500u);

    const char *s = "untouched";
    expect("the GVariant format string '&s' has a type of 's' but the given value has a type of 'u'");
    expect(assertion("OvanVariantGetChild", "_ovan_valid_format_string (format, TRUE, child)"));
    OvanVariantGetChild(v.get(), 1, "&s", &s);
    EXPECT_STREQ(s, "untouched");
    g_test_assert_expected_messages();

    expect(not_valid("ss"));
    expect(assertion("OvanVariantGetChild", "*"));
    OvanVariantGetChild(v.get(), 0, "ss", &s, &s);
    EXPECT_STREQ(s, "untouched");
    g_test_assert_expected_messages();

    // GLib would abort the process on these.
    mtu = 0;
    expect(assertion("OvanVariantGetChildVal", "index < g_variant_n_children (v)"));
    expect(assertion("OvanVariantGetChild", "index < g_variant_n_children (v)"));
    EXPECT_EQ(OvanVariantGetChildVal(v.get(), 3), nullptr);
    OvanVariantGetChild(v.get(), 3, "u", &mtu);
    EXPECT_EQ(mtu, 0u);
    g_test_assert_expected_messages();
}

TEST(Variant, ArraysTuplesAndDictEntries)
{
    GVariant *ints[] = {g_variant_new_int32(1), g_variant_new_int32(2), g_variant_new_int32(3)};
    auto array = lumo::ref_sink(OvanVariantNewArray(ints, 3));
    ASSERT_NE(array, nullptr);
    EXPECT_STREQ(g_variant_get_type_string(array.get()), "ai");

    GVariant *mixed[] = {g_variant_new_int32(1), g_variant_new_string("s")};
    auto tuple = lumo::ref_sink(OvanVariantNewTuple(mixed, 2));
    EXPECT_STREQ(g_variant_get_type_string(tuple.get()), "(is)");

    auto entry = lumo::ref_sink(OvanVariantNewDictEntry(g_variant_new_string("k"),
                                              g_variant_new_variant(g_variant_new_int32(5))));
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(g_variant_get_type_string(entry.get()), "{sv}");

    // A container key is refused without a word; the caller keeps both values.
    auto key = lumo::ref_sink(g_variant_new_strv(nullptr, 0));
    auto value = lumo::ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(OvanVariantNewDictEntry(key.get(), value.get()), nullptr);
}

TEST(Variant, LookupFindsTypedValuesOnly)
{
    // A dictionary as the gateway replies with one.
    auto dict = lumo::ref_sink(g_variant_new_parsed("{'Name': <'gateway'>, 'Port': <8080>}"));

    const char *name = nullptr;
    EXPECT_TRUE(OvanVariantLookup(dict.get(), "Name", "&s", &name));
    EXPECT_STREQ(name, "gateway");
    gint32 port = 0;
    EXPECT_TRUE(OvanVariantLookup(dict.get(), "Port", "i", &port));
    EXPECT_EQ(port, 8080);

    guint32 wrong = 77;
    EXPECT_FALSE(OvanVariantLookup(dict.get(), "Port", "u", &wrong));
    EXPECT_FALSE(OvanVariantLookup(dict.get(), "Missing", "u", &wrong));
    EXPECT_EQ(wrong, 77u);

    expect(not_valid("ii"));
    EXPECT_FALSE(OvanVariantLookup(dict.get(), "Port", "ii", &wrong, &wrong));
    EXPECT_EQ(wrong, 77u);
    g_test_assert_expected_messages();

    lumo::GPtr<GVariant> any(OvanVariantLookupValue(dict.get(), "Port", nullptr));
    ASSERT_NE(any, nullptr);
    EXPECT_EQ(g_variant_get_int32(any.get()), 8080);
    lumo::GPtr<GVariant> typed(OvanVariantLookupValue(dict.get(), "Name", "s"));
    ASSERT_NE(typed, nullptr);
    EXPECT_EQ(OvanVariantLookupValue(dict.get(), "Name", "i"), nullptr);
    EXPECT_EQ(OvanVariantLookupValue(dict.get(), "Name", "a{"), nullptr);
    EXPECT_EQ(OvanVariantLookupValue(dict.get(), "Missing", nullptr), nullptr);
}

void get_via_va(GVariant *v, const char *format, const char **endptr, ...)
{
    va_list ap;
    va_start(ap, endptr);
    OvanVariantGetVa(v, format, endptr, &ap);
    va_end(ap);
}

// The thin forwards: conversions and references hand back the value, the va_list
// getter ends where the format's first item does, the printer annotates types.
TEST(Variant, ThinForwards)
{
    auto v = lumo::ref_sink(OvanVariantNew("(iu)", -1, 2u));
    EXPECT_EQ(GVar2OvanVar(v.get()), v.get());
    EXPECT_EQ(OvanVar2GVar(v.get()), v.get());
    EXPECT_EQ(OvanVariantRef(v.get()), v.get());
    OvanVariantUnRef(v.get());  // balances the Ref; the handle drops the last one
    const char *end = nullptr;
    gint32 i = 0;
    guint32 u = 0;
    get_via_va(v.get(), "(iu)trailing", &end, &i, &u);
    EXPECT_EQ(i, -1);
    EXPECT_EQ(u, 2u);
    EXPECT_STREQ(end, "trailing");
    lumo::GStr text(OvanVariantPrint(v.get()));
    EXPECT_STREQ(text.get(), "(-1, uint32 2)");
}

struct GrammarCase {
    const char *format;
    bool valid;
};

TEST(VariantFormat, OneItemGrammar)
{
    const GrammarCase cases[] = {
        // single characters
        {"b", true}, {"y", true}, {"n", true}, {"q", true}, {"i", true}, {"u", true}, {"x", true},
        {"t", true}, {"h", true}, {"d", true}, {"s", true}, {"o", true}, {"g", true}, {"v", true},
        {"r", true}, {"*", true}, {"?", true}, {"z", false}, {"", false}, {"ss", false},
        // arrays and '@' take a complete type string
        {"as", true}, {"aas", true}, {"a{sv}", true}, {"a*", true}, {"a", false}, {"a&s", false},
        {"a{vs}", false}, {"@s", true}, {"@a{sv}", true}, {"@", false}, {"@&s", false},
        // maybe
        {"ms", true}, {"mmi", true}, {"m&s", true}, {"m@s", true}, {"mr", true}, {"m", false},
        // tuples
        {"()", true}, {"(si)", true}, {"((i)as)", true}, {"(&s@ay^as)", true}, {"(", false},
        {"(s", false}, {"(s))", false}, {")", false},
        // dictionary entries
        {"{sv}", true}, {"{&sv}", true}, {"{@sv}", true}, {"{?*}", true}, {"{s(ii)}", true},
        {"{o@a{sv}}", true}, {"{", false}, {"{vs}", false}, {"{as}", false}, {"{*s}", false},
        {"{@as}", false}, {"{&is}", false}, {"{&s}", false}, {"{ss", false}, {"{ssi}", false},
        // borrowed strings
        {"&s", true}, {"&o", true}, {"&g", true}, {"&", false}, {"&i", false}, {"&&s", false},
        // string-array conversions
        {"^as", true}, {"^ao", true}, {"^ay", true}, {"^aay", true}, {"^a&s", true}, {"^a&o", true},
        {"^a&ay", true}, {"^&ay", true}, {"^", false}, {"^ai", false}, {"^a", false},
        {"^&s", false}, {"^as&s", false},
    };
    for (const auto &tc : cases) {
        if (!tc.valid)
            expect(not_valid(tc.format));
        EXPECT_EQ(static_cast<bool>(_ovan_valid_format_string(tc.format, TRUE, nullptr)), tc.valid)
            << "'" << tc.format << "'";
        g_test_assert_expected_messages();
    }
}

TEST(VariantFormat, NestingIsBounded)
{
    std::string shallow(100, 'm');
    shallow += 'i';
    EXPECT_TRUE(_ovan_valid_format_string(shallow.c_str(), TRUE, nullptr));
    std::string deep(100000, '(');
    expect(not_valid("*"));
    EXPECT_FALSE(_ovan_valid_format_string(deep.c_str(), TRUE, nullptr));
    g_test_assert_expected_messages();
}

struct MatchCase {
    const char *format;
    const char *value_type;  // text form of a value of this type
    const char *value;
    bool matches;
};

TEST(VariantFormat, ValueMatchesTheFormatsType)
{
    const MatchCase cases[] = {
        {"{&sv}", "{sv}", "{'k', <1>}", true},
        {"^a&s", "as", "['a']", true},
        {"^&ay", "ay", "b'x'", true},
        {"@a{sv}", "a{sv}", "{'k': <1>}", true},
        {"m&s", "ms", "just 'a'", true},
        {"r", "(is)", "(1, 'a')", true},
        {"*", "ai", "[1]", true},
        {"?", "t", "7", true},
        {"?", "as", "['a']", false},
        {"r", "i", "1", false},
        {"(ii)", "(iu)", "(1, 2)", false},
        {"^as", "ao", "[objectpath '/a']", false},
    };
    for (const auto &tc : cases) {
        lumo::GPtr<GVariant> v(g_variant_parse(G_VARIANT_TYPE(tc.value_type), tc.value, nullptr, nullptr, nullptr));
        ASSERT_NE(v, nullptr) << tc.value;
        if (!tc.matches)
            expect("*");
        EXPECT_EQ(static_cast<bool>(_ovan_valid_format_string(tc.format, TRUE, v.get())), tc.matches)
            << tc.format << " vs " << tc.value_type;
        g_test_assert_expected_messages();
    }
}

}  // namespace
