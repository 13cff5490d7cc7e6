#include <gtest/gtest.h>

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <glib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/temp_root.hpp"
#include "util/uci_store.hpp"

namespace lumo::uci {
namespace {

using lumo::test::TempRoot;

struct Store : ::testing::Test {
    TempRoot root;
    void put(const std::string &pkg, const std::string &text) { root.write("/etc/config/" + pkg, text); }
    std::string get(const std::string &pkg) { return root.read("/etc/config/" + pkg); }
};

// Looks up an assignment ("pkg.section.option=value") and stages it in the context.
void stage(Context &ctx, const char *assignment)
{
    Ptr ptr;
    ASSERT_EQ(ctx.lookup(assignment, ptr), kOk) << assignment;
    ASSERT_EQ(ctx.set(ptr), kOk) << assignment;
}

TEST(UciParse, QuotingAndEscapes)
{
    struct Case {
        const char *line;
        const char *value;
    } cases[] = {
        {"option v 'plain'", "plain"},
        {"option v bare", "bare"},
        {"option v ''", ""},
        {"option v \"dq \\\"x\\\" \\\\ y\"", "dq \"x\" \\ y"},
        {"option v bare\\ word", "bare word"},
        {"option v 'it'\\''s'", "it's"},
        {"option v \"con\"'cat'enated", "concatenated"},
        {"option v 'two\nlines'", "two\nlines"},
        {"option v \"joined \\\nline\"", "joined line"},
        {"option v 'hash # kept' # comment", "hash # kept"},
        {"option v val#ue", "val#ue"},
        {"option v 'back\\slash'", "back\\slash"},
        {"option v \\\n  'continued'", "continued"},
        {"option v \\\n'continued'", "continued"},  // the quote right after the line break
        {"\toption\tv\t'tabs'\r", "tabs"},
    };
    for (const Case &c : cases) {
        Package p;
        ASSERT_EQ(parse(std::string("config t 's'\n") + c.line + "\n", p), kOk) << c.line;
        ASSERT_EQ(p.sections.at(0).options.size(), 1u) << c.line;
        EXPECT_EQ(p.sections[0].options[0].text(), c.value) << c.line;
    }
}

TEST(UciParse, StructureCommentsAndAnonymousSections)
{
    const char *text =
        "# leading comment\n"
        "package net\n"
        "\n"
        "config interface 'lan'   # trailing comment\n"
        "\toption proto 'static'\n"
        "\tlist dns '1.1.1.1'\n"
        "\tlist dns \"8.8.8.8\"\n"
        "\n"
        "config rule\n"
        "\toption name 'r1'\n"
        "config rule ''\n"
        "\toption name 'r2'\n"
        "config interface 'lan'\n"  // continues the first "lan"
        "\toption mtu 1500\n";
    Package p;
    ASSERT_EQ(parse(text, p), kOk);
    ASSERT_EQ(p.sections.size(), 3u);
    const Section &lan = p.sections[0];
    EXPECT_EQ(lan.name, "lan");
    EXPECT_FALSE(lan.anonymous);
    ASSERT_EQ(lan.options.size(), 3u);
    EXPECT_TRUE(lan.options[1].is_list);
    EXPECT_EQ(lan.options[1].values, (std::vector<std::string>{"1.1.1.1", "8.8.8.8"}));
    EXPECT_EQ(lan.options[1].text(), "1.1.1.1 8.8.8.8");
    EXPECT_EQ(lan.options[2].text(), "1500");
    // Named as the platform's library names them: position among the sections (a
    // repeated named section is not counted again) and a hash of the type.
    EXPECT_TRUE(p.sections[1].anonymous);
    EXPECT_EQ(p.sections[1].name, "cfg0292bd");
    EXPECT_EQ(p.sections[2].name, "cfg0392bd");

    // Anonymous sections are written back without a name.
    EXPECT_EQ(serialize(p),
              "\nconfig interface 'lan'\n\toption proto 'static'\n\tlist dns '1.1.1.1'\n\tlist dns '8.8.8.8'\n"
              "\toption mtu '1500'\n\nconfig rule\n\toption name 'r1'\n\nconfig rule\n\toption name 'r2'\n\n");
}

TEST(UciParse, SyntaxErrors)
{
    const char *texts[] = {
        "option a 'b'\n",                    // option outside a section
        "config\n",                          // no type
        "config t n extra\n",                // too many words
        "config t 'bad-name'\n",             // '-' not allowed in section names
        "config 'bad type'\n",               // blank in a type
        "config t\n\toption a\n",            // no value
        "config t\n\toption a b c\n",        // too many words
        "config t\n\toption 'a.b' x\n",      // bad option name
        "config t\n\tlist a\n",              // no value
        "config t\n\tbogus a b\n",           // unknown keyword
        "config t\n\toption a 'open\n",      // unterminated single quote
        "config t\n\toption a \"open\n",     // unterminated double quote
        "config t\n\toption a x\\",          // backslash at the end
        "package\n",                         // no name
    };
    for (const char *t : texts) {
        Package p;
        EXPECT_EQ(parse(t, p), kParseError) << t;
    }
    Package p;
    EXPECT_EQ(parse(std::string("config t\n\toption a 'x\0y'\n", 24), p), kParseError);
}

TEST(UciStatus, ErrorTexts)
{
    struct Case {
        int code;
        const char *text;
    } cases[] = {{0, "Success"},         {1, "Out of memory"}, {2, "Invalid argument"}, {3, "Entry not found"},
                 {4, "I/O error"},       {5, "Parse error"},   {6, "Duplicate entry"},  {7, "Unknown error"},
                 {42, "Unknown error"},  {-1, "Unknown error"}};
    for (const Case &c : cases) {
        testing::internal::CaptureStderr();
        print_error("pfx", c.code);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string("pfx: ") + c.text + "\n");
    }
}

TEST_F(Store, Lookups)
{
    put("net",
        "config iface 'lan'\n\toption proto 'static'\n"
        "config iface\n\toption proto 'dhcp'\n"
        "config other 'x'\n"
        "config iface 'wan'\n\toption proto 'pppoe'\n\tlist dns 'a'\n\tlist dns 'b'\n");
    struct Case {
        const char *expr;
        int rc;
        bool complete;
        const char *value;  // option text when complete and an option
    } cases[] = {
        {"net", kOk, true, nullptr},
        {"net.lan", kOk, true, nullptr},
        {"net.wan.dns", kOk, true, "a b"},
        {"net.lan.nosuch", kOk, false, nullptr},
        {"net.nosuch", kOk, false, nullptr},
        {"net.nosuch.proto", kOk, false, nullptr},
        {"net.@iface[1].proto", kOk, true, "dhcp"},
        {"net.@iface[-3].proto", kOk, true, "static"},
        {"net.@other[0]", kOk, true, nullptr},
        {"net.@iface[3]", kNotFound, false, nullptr},
        {"net.@iface[-4]", kNotFound, false, nullptr},
        {"net.@none[0]", kNotFound, false, nullptr},
        {"net.@iface[x]", kInvalid, false, nullptr},
        {"net.@iface", kInvalid, false, nullptr},
        {"net.@iface[0", kInvalid, false, nullptr},
        {"net.a.b.c", kInvalid, false, nullptr},
        {"net..proto", kInvalid, false, nullptr},
        {"", kInvalid, false, nullptr},
        {"net.la-n", kInvalid, false, nullptr},
        {"../net", kInvalid, false, nullptr},
        {"nopkg.x.y", kNotFound, false, nullptr},
    };
    for (const Case &c : cases) {
        Context ctx;
        Ptr ptr;
        EXPECT_EQ(ctx.lookup(c.expr, ptr), c.rc) << c.expr;
        EXPECT_EQ(ctx.error(), c.rc) << c.expr;
        if (c.rc != kOk)
            continue;
        EXPECT_EQ(ptr.complete, c.complete) << c.expr;
        if (c.value) {
            ASSERT_NE(ptr.o, nullptr) << c.expr;
            EXPECT_EQ(ptr.o->text(), c.value) << c.expr;
        }
    }

    Context ctx;
    Ptr ptr;
    ASSERT_EQ(ctx.lookup("net.@iface[1].proto=x=y", ptr), kOk);
    EXPECT_TRUE(ptr.has_value);
    EXPECT_EQ(ptr.value, "x=y");
    EXPECT_EQ(ptr.kind, Ptr::Kind::kOption);
    EXPECT_TRUE(g_str_has_prefix(ptr.section.c_str(), "cfg"));  // resolved to the generated name
}

TEST_F(Store, SetAndCommitPreserveTheRest)
{
    put("net",
        "# comments are not kept\n"
        "config iface 'lan'\n\toption proto 'static'\n\tlist dns 'a'\n\tlist dns 'b'\n"
        "config rule\n\toption name 'r1'\n"
        "config iface 'wan'\n\toption proto 'dhcp'\n");
    Context ctx;
    Ptr ptr;
    stage(ctx, "net.lan.proto=dhcp");
    stage(ctx, "net.lan.dns=c");  // a list becomes a plain option
    stage(ctx, "net.@rule[0].target=it's");
    stage(ctx, "net.wan=interface");  // retype
    stage(ctx, "net.guest=iface");  // new section, at the end
    stage(ctx, "net.guest.proto=none");
    // Settings visible in the context before the commit.
    ASSERT_EQ(ctx.lookup("net.guest.proto", ptr), kOk);
    EXPECT_TRUE(ptr.complete);
    EXPECT_EQ(ctx.commit("net"), kOk);
    EXPECT_EQ(get("net"),
              "\nconfig iface 'lan'\n\toption proto 'dhcp'\n\toption dns 'c'\n"
              "\nconfig rule\n\toption name 'r1'\n\toption target 'it'\\''s'\n"
              "\nconfig interface 'wan'\n\toption proto 'dhcp'\n"
              "\nconfig iface 'guest'\n\toption proto 'none'\n\n");
}

TEST_F(Store, BrokenFileIsNeverRewritten)
{
    const std::string broken = "config iface 'lan'\n\toption proto 'static\n";
    put("net", broken);
    EXPECT_EQ(delete_lines_containing("net", "proto"), kParseError);
    EXPECT_EQ(get("net"), broken);

    // Broken by someone else between our read and our commit.
    put("net", "config iface 'lan'\n");
    Context ctx;
    stage(ctx, "net.lan.proto=dhcp");
    put("net", broken);
    EXPECT_EQ(ctx.commit("net"), kParseError);
    EXPECT_EQ(ctx.error(), kParseError);
    EXPECT_EQ(get("net"), broken);
}

TEST_F(Store, CommitMergesWithChangesMadeSinceTheRead)
{
    put("net", "config iface 'lan'\nconfig rule\n\toption name 'r1'\n");
    Context a, b;
    stage(a, "net.lan.proto=static");
    stage(a, "net.@rule[0].target=ACCEPT");
    stage(b, "net.lan.mtu=1500");
    ASSERT_EQ(b.commit("net"), kOk);
    ASSERT_EQ(a.commit("net"), kOk);
    EXPECT_EQ(get("net"),
              "\nconfig iface 'lan'\n\toption mtu '1500'\n\toption proto 'static'\n"
              "\nconfig rule\n\toption name 'r1'\n\toption target 'ACCEPT'\n\n");

    // A change whose section vanished meanwhile is dropped, as the platform's
    // library drops it; the rest of the stage still goes in.
    Context c;
    stage(c, "net.lan.proto=dhcp");
    stage(c, "net.guest=iface");
    put("net", "config iface 'wan'\n");
    EXPECT_EQ(c.commit("net"), kOk);
    EXPECT_EQ(get("net"), "\nconfig iface 'wan'\n\nconfig iface 'guest'\n\n");
}

TEST_F(Store, CommitReplacesTheFileAtomically)
{
    put("net", "config iface 'lan'\n");
    std::string path = root.path("/etc/config/net");
    struct stat before, after;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    Context ctx;
    stage(ctx, "net.lan.proto=dhcp");
    ASSERT_EQ(ctx.commit("net"), kOk);
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);  // renamed into place, not rewritten in place

    // Nothing but the package and its lock file is left behind.
    std::vector<std::string> names;
    DIR *d = opendir(root.path("/etc/config").c_str());
    ASSERT_NE(d, nullptr);
    while (dirent *e = readdir(d))
        if (std::string(e->d_name) != "." && std::string(e->d_name) != "..")
            names.push_back(e->d_name);
    closedir(d);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".net.lock", "net"}));
}

TEST_F(Store, DeleteLinesContaining)
{
    const std::string text =
        "# names 001122334455\n"
        "config devname 'macs'\n"
        "\toption 001122334455 'one'\n"
        "\toption aabbccddeeff 'two'\n"
        "\toption 001122334466 'three'\n";
    put("devname", text);
    EXPECT_EQ(delete_lines_containing("devname", "001122334455"), kOk);
    EXPECT_EQ(get("devname"),
              "config devname 'macs'\n\toption aabbccddeeff 'two'\n\toption 001122334466 'three'\n");

    // Nothing matching: untouched. Bad arguments and missing packages are refused.
    EXPECT_EQ(delete_lines_containing("devname", "ffffffffffff"), kOk);
    struct Case {
        const char *package;
        const char *needle;
        int rc;
    } cases[] = {
        {nullptr, "x", kInvalid},
        {"devname", nullptr, kInvalid},
        {"devname", "", kInvalid},
        {"devname", "a\nb", kInvalid},
        {"../devname", "two", kInvalid},
        {"nosuch", "two", kNotFound},
        {"devname", "macs", kParseError},  // would orphan the options
    };
    for (const Case &c : cases)
        EXPECT_EQ(delete_lines_containing(c.package, c.needle), c.rc) << (c.needle ? c.needle : "(null)");
    EXPECT_EQ(get("devname"),
              "config devname 'macs'\n\toption aabbccddeeff 'two'\n\toption 001122334466 'three'\n");

    // Shell-special characters are plain text here.
    put("devname", "config devname 'macs'\n\toption a '$(x);/d'\n\toption b 'y'\n");
    EXPECT_EQ(delete_lines_containing("devname", "$(x);/d"), kOk);
    EXPECT_EQ(get("devname"), "config devname 'macs'\n\toption b 'y'\n");
}

}  // namespace
}  // namespace lumo::uci
