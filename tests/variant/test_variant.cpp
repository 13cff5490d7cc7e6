// The value type: refusals and their warning texts, round trips and the format
// checker's grammar.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "core/glib_ptr.hpp"
#include "lumo3_variant.h"
#include "variant/variant_internal.hpp"

namespace {

using lumo::variant::_ovan_valid_format_string;

// Collects the critical warnings logged while it lives (and keeps them from
// being fatal, whatever G_DEBUG says).
class Criticals {
public:
    Criticals()
    {
        old_fatal_ = g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK));
        old_handler_ = g_log_set_default_handler(&Criticals::handler, this);
    }
    ~Criticals()
    {
        g_log_set_default_handler(old_handler_, nullptr);
        g_log_set_always_fatal(old_fatal_);
    }
    Criticals(const Criticals &) = delete;
    Criticals &operator=(const Criticals &) = delete;

    std::vector<std::string> messages;  // critical messages of the NULL domain
    int foreign = 0;                    // criticals of other domains (GLib's own)

private:
    static void handler(const char *domain, GLogLevelFlags level, const char *message, gpointer self)
    {
        auto *c = static_cast<Criticals *>(self);
        if (!(level & G_LOG_LEVEL_CRITICAL))
            return;
        if (domain)
            ++c->foreign;
        else
            c->messages.emplace_back(message);
    }

    GLogLevelFlags old_fatal_;
    GLogFunc old_handler_;
};

using Messages = std::vector<std::string>;

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
    Criticals c;
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

    EXPECT_EQ(c.messages, (Messages{
                              assertion("GVar2OvanVar", "(v != NULL)"),
                              assertion("OvanVar2GVar", "(v != NULL)"),
                              assertion("OvanVariantRef", "(v != NULL)"),
                              assertion("OvanVariantUnRef", "v != NULL"),
                              assertion("OvanVariantChildNum", "(v != NULL)"),
                              assertion("OvanVariantPrint", "(v != NULL)"),
                              assertion("OvanVariantNewArray", "(children != NULL) && (n_children != 0)"),
                              assertion("OvanVariantNewTuple", "(children != NULL) && (n_children != 0)"),
                              assertion("OvanVariantNewDictEntry", "(key != NULL) && (value != NULL)"),
                          }));
}

TEST(VariantRefusals, CallsGLibWouldAbortOnAreRefused)
{
    Criticals c;
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
    EXPECT_EQ(c.messages,
              (Messages{assertion("OvanVariantChildNum", "g_variant_is_container (v)"),
                        assertion("OvanVariantGetChildVal", "g_variant_is_container (v)"),
                        assertion("OvanVariantGetChildVal", "(v != NULL)"),
                        assertion("OvanVariantLookupValue", "(dictionary != NULL) && (key != NULL)"),
                        assertion("OvanVariantGetChild", "(v != NULL)"),
                        assertion("OvanVariantLookup", "(dictionary != NULL) && (key != NULL)"),
                        assertion("OvanVariantLookupValue", "(dictionary != NULL) && (key != NULL)"),
                        assertion("OvanVariantLookup", "(dictionary != NULL) && (key != NULL)")}));
    EXPECT_GE(c.foreign, 1);
}

TEST(Variant, ConversionsAndReferencesKeepThePointer)
{
    auto v = lumo::ref_sink(g_variant_new_string("x"));
    EXPECT_EQ(GVar2OvanVar(v.get()), v.get());
    EXPECT_EQ(OvanVar2GVar(v.get()), v.get());
    EXPECT_EQ(OvanVariantRef(v.get()), v.get());
    OvanVariantUnRef(v.get());  // balances the Ref; the handle drops the last one
}

TEST(Variant, NewThenGetRoundTrip)
{
    Criticals c;
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
    EXPECT_TRUE(c.messages.empty());
}

TEST(Variant, NewRefusesFormatsOnlyValidForGetters)
{
    Criticals c;
    const std::string condition = assertion(
        "OvanVariantNew",
        "_ovan_valid_format_string (format, TRUE, NULL) && format[0] != '?' && format[0] != '@' && "
        "format[0] != '*' && format[0] != 'r'");
    auto held = lumo::ref_sink(g_variant_new_int32(1));
    for (const char *format : {"?", "@i", "*", "r"}) {
        c.messages.clear();
        EXPECT_EQ(OvanVariantNew(format, held.get()), nullptr) << format;
        EXPECT_EQ(c.messages, Messages{condition}) << format;
    }
    for (const char *format : {"ss", "", "(s", "z"}) {
        c.messages.clear();
        EXPECT_EQ(OvanVariantNew(format, "a", "b"), nullptr) << format;
        EXPECT_EQ(c.messages, (Messages{not_valid(format), condition})) << format;
    }
    c.messages.clear();
    EXPECT_EQ(OvanVariantNew(nullptr), nullptr);
    EXPECT_EQ(c.messages, Messages{condition});
}

TEST(Variant, TypeMismatchWritesNothing)
{
    Criticals c;
    auto v = lumo::ref_sink(OvanVariantNew("(i)", 7));
    const char *sentinel = "untouched";
    const char *s = sentinel;
    OvanVariantGet(v.get(), "(&s)", &s);
    EXPECT_EQ(s, sentinel);
    EXPECT_EQ(c.messages,
              (Messages{"the GVariant format string '(&s)' has a type of '(s)' but the given value has a "
                        "type of '(i)'",
                        assertion("OvanVariantGet", "_ovan_valid_format_string (format, TRUE, v)")}));

    // Modifier-free and wildcard formats match by the type they stand for.
    gint32 i = 0;
    OvanVariantGet(v.get(), "(i)", &i);
    EXPECT_EQ(i, 7);
    GVariant *whole = nullptr;
    OvanVariantGet(v.get(), "r", &whole);
    EXPECT_EQ(lumo::GPtr<GVariant>(whole).get(), v.get());
    EXPECT_EQ(c.messages.size(), 2u);
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
    Criticals c;
    auto v = lumo::ref_sink(OvanVariantNew("(sua{sv})", "eth0", 1500u, nullptr));
    EXPECT_EQ(OvanVariantChildNum(v.get()), 3u);

    lumo::GPtr<GVariant> second(OvanVariantGetChildVal(v.get(), 1));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(g_variant_get_uint32(second.get()), 1500u);

    guint32 mtu = 0;
    OvanVariantGetChild(v.get(), 1, "u", &mtu);
    EXPECT_EQ(mtu, 1500u);
    EXPECT_TRUE(c.messages.empty());

    const char *s = "untouched";
    OvanVariantGetChild(v.get(), 1, "&s", &s);
    EXPECT_STREQ(s, "untouched");
    EXPECT_EQ(c.messages,
              (Messages{"the GVariant format string '&s' has a type of 's' but the given value has a type of 'u'",
                        assertion("OvanVariantGetChild", "_ovan_valid_format_string (format, TRUE, child)")}));

    c.messages.clear();
    OvanVariantGetChild(v.get(), 0, "ss", &s, &s);
    EXPECT_STREQ(s, "untouched");
    EXPECT_EQ(c.messages.front(), not_valid("ss"));

    // GLib would abort the process on these.
    c.messages.clear();
    mtu = 0;
    EXPECT_EQ(OvanVariantGetChildVal(v.get(), 3), nullptr);
    OvanVariantGetChild(v.get(), 3, "u", &mtu);
    EXPECT_EQ(mtu, 0u);
    EXPECT_EQ(c.messages, (Messages{assertion("OvanVariantGetChildVal", "index < g_variant_n_children (v)"),
                                    assertion("OvanVariantGetChild", "index < g_variant_n_children (v)")}));
    EXPECT_EQ(c.foreign, 0);
}

TEST(Variant, ArraysTuplesAndDictEntries)
{
    Criticals c;
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
    EXPECT_TRUE(c.messages.empty());
    EXPECT_EQ(c.foreign, 0);
}

// A dictionary as the gateway replies with one: "a{sv}".
lumo::GPtr<GVariant> sample_dict()
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&b, "{sv}", "Name", g_variant_new_string("gateway"));
    g_variant_builder_add(&b, "{sv}", "Port", g_variant_new_int32(8080));
    return lumo::ref_sink(g_variant_builder_end(&b));
}

TEST(Variant, LookupFindsTypedValuesOnly)
{
    Criticals c;
    auto dict = sample_dict();

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
    EXPECT_TRUE(c.messages.empty());

    EXPECT_FALSE(OvanVariantLookup(dict.get(), "Port", "ii", &wrong, &wrong));
    EXPECT_EQ(wrong, 77u);
    EXPECT_EQ(c.messages, Messages{not_valid("ii")});

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

TEST(Variant, GetVaForwardsWithEndPointer)
{
    auto v = lumo::ref_sink(OvanVariantNew("(iu)", -1, 2u));
    const char *format = "(iu)trailing";
    const char *end = nullptr;
    gint32 i = 0;
    guint32 u = 0;
    get_via_va(v.get(), format, &end, &i, &u);
    EXPECT_EQ(i, -1);
    EXPECT_EQ(u, 2u);
    EXPECT_STREQ(end, "trailing");
}

TEST(Variant, PrintAnnotatesTypes)
{
    auto v = lumo::ref_sink(OvanVariantNew("(sui)", "lan", 5u, -3));
    lumo::GStr text(OvanVariantPrint(v.get()));
    EXPECT_STREQ(text.get(), "('lan', uint32 5, -3)");
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
    Criticals c;
    for (const auto &tc : cases) {
        c.messages.clear();
        EXPECT_EQ(static_cast<bool>(_ovan_valid_format_string(tc.format, TRUE, nullptr)), tc.valid)
            << "'" << tc.format << "'";
        EXPECT_EQ(c.messages, tc.valid ? Messages{} : Messages{not_valid(tc.format)}) << tc.format;
    }
}

TEST(VariantFormat, NestingIsBounded)
{
    Criticals c;
    std::string shallow(100, 'm');
    shallow += 'i';
    EXPECT_TRUE(_ovan_valid_format_string(shallow.c_str(), TRUE, nullptr));
    std::string deep(100000, '(');
    EXPECT_FALSE(_ovan_valid_format_string(deep.c_str(), TRUE, nullptr));
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
    Criticals c;
    for (const auto &tc : cases) {
        c.messages.clear();
        lumo::GPtr<GVariant> v(g_variant_parse(G_VARIANT_TYPE(tc.value_type), tc.value, nullptr, nullptr, nullptr));
        ASSERT_NE(v, nullptr) << tc.value;
        EXPECT_EQ(static_cast<bool>(_ovan_valid_format_string(tc.format, TRUE, v.get())), tc.matches)
            << tc.format << " vs " << tc.value_type;
        EXPECT_EQ(c.messages.size(), tc.matches ? 0u : 1u) << tc.format;
    }
}

}  // namespace
