#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lumo3_uci.h"
#include "support/temp_root.hpp"
#include "util/uci_backend.hpp"
#include "util/uci_store.hpp"

namespace lumo::uci {
// Test names read ".../Own  # GetParam() = own", not the enum's bytes.
void PrintTo(BackendKind kind, std::ostream *os)
{
    *os << (kind == BackendKind::kOwn ? "own" : "system");
}
}  // namespace lumo::uci

namespace {

using lumo::test::TempRoot;
using lumo::uci::BackendKind;

// Every test of the UCI calls runs on the own store and on the platform's libuci.
struct Backends : ::testing::TestWithParam<BackendKind> {
    void SetUp() override
    {
        if (!lumo::uci::select_backend(GetParam()))
            GTEST_SKIP() << "libuci is not built in (configure with -DLUMO3_UCI=system, preset uci-system)";
    }
};

std::string backend_name(const testing::TestParamInfo<BackendKind> &info)
{
    return info.param == BackendKind::kOwn ? "Own" : "System";
}

struct Uci : Backends {
    TempRoot root;
    void put(const std::string &pkg, const std::string &text) { root.write("/etc/config/" + pkg, text); }
    std::string get(const std::string &pkg) { return root.read("/etc/config/" + pkg); }
};

const char kNet[] =
    "config iface 'lan'\n\toption proto 'static'\n\tlist dns 'a'\n\tlist dns 'b'\n"
    "config rule\n\toption name 'r1'\n\toption target 'ACCEPT'\n"
    "config iface 'wan'\n\toption proto 'dhcp'\n";

TEST_P(Uci, ReadOption)
{
    put("net", kNet);
    struct Case {
        const char *package, *section, *option;
        int rc;
        const char *value;  // what the buffer holds afterwards
    } cases[] = {
        {"net", "lan", "proto", 0, "static"},
        {"net", "lan", "dns", 0, "a b"},
        {"net", "@rule[0]", "target", 0, "ACCEPT"},
        {"net", "@iface[-1]", "proto", 0, "dhcp"},
        // Not found in any way: result 0, buffer untouched.
        {"net", "lan", "nosuch", 0, "sentinel"},
        {"net", "@iface[5]", "proto", 0, "sentinel"},
        {"nopkg", "lan", "proto", 0, "sentinel"},
        {"net", "lan.proto", "x", 0, "sentinel"},  // parts cannot smuggle in more parts
        {"net", "lan", "proto=x", 0, "sentinel"},
        {"net", "lan", "", 0, "sentinel"},
        {nullptr, "lan", "proto", 2, "sentinel"},
        {"net", nullptr, "proto", 2, "sentinel"},
        {"net", "lan", nullptr, 2, "sentinel"},
    };
    for (const Case &c : cases) {
        char buf[256] = "sentinel";
        EXPECT_EQ(uci_read_option(c.package, c.section, c.option, buf), c.rc) << (c.option ? c.option : "");
        EXPECT_STREQ(buf, c.value) << (c.section ? c.section : "") << "." << (c.option ? c.option : "");
    }
    EXPECT_EQ(uci_read_option("net", "lan", "proto", nullptr), 2);

    // Long values are cut to the 256-byte buffer; a section's entries cut names and
    // values to their fields.
    put("long", "config s 'x'\n\toption abcdefghijklmnopqrst '" + std::string(300, 'v') + "'\n");
    char buf[300];
    std::memset(buf, 'z', sizeof buf);
    EXPECT_EQ(uci_read_option("long", "x", "abcdefghijklmnopqrst", buf), 0);
    EXPECT_EQ(std::string(buf), std::string(255, 'v'));
    EXPECT_EQ(buf[256], 'z');
    UciOptionEntry *entries = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(uci_read_section("long", "s", "x", &entries, &count), 0);
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(entries[0].name, "abcdefghijklmno");
    EXPECT_EQ(std::string(entries[0].value), std::string(255, 'v'));
    free(entries);
}

TEST_P(Uci, WriteOption)
{
    put("net", kNet);
    testing::internal::CaptureStderr();
    EXPECT_EQ(uci_write_option("net", "lan", "proto", "dhcp"), 0);
    EXPECT_EQ(uci_write_option("net", "lan", "note", "it's \"x\"\n\tconfig evil 'y'"), 0);
    EXPECT_EQ(uci_write_option("net", "@rule[0]", "target", "DROP"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    char buf[256] = "";
    uci_read_option("net", "lan", "proto", buf);
    EXPECT_STREQ(buf, "dhcp");
    uci_read_option("net", "lan", "note", buf);
    EXPECT_STREQ(buf, "it's \"x\"\n\tconfig evil 'y'");
    uci_read_option("net", "@rule[0]", "target", buf);
    EXPECT_STREQ(buf, "DROP");
}

TEST_P(Uci, WriteOptionFailures)
{
    const std::string broken = "config iface 'lan'\n\toption proto 'static\n";
    put("net", "config iface 'lan'\n");
    put("broken", broken);
    struct Case {
        const char *package, *section, *option, *value;
        int rc;
        const char *err;
    } cases[] = {
        {"net", "nosuch", "proto", "x", 2, "proto: Invalid argument"},  // the set fails
        {"net", "lan", nullptr, "bad type", 2, "lan: Invalid argument"},
        {"net", "lan", nullptr, "it's", 2, "lan: Invalid argument"},  // libuci would write it unreadable
        {"nopkg", "lan", "proto", "x", 0, "proto: Entry not found"},  // the lookup fails
        {"broken", "lan", "proto", "x", 0, "proto: Parse error"},
        {"net", "lan", "a=b", "x", 0, "a=b: Invalid argument"},
        {"net", "lan", "a.b", "x", 0, "a.b: Invalid argument"},
        {"net", "la-n", "proto", "x", 0, "proto: Invalid argument"},
        {nullptr, "lan", "proto", "x", 2, ""},
        {"net", nullptr, "proto", "x", 2, ""},
        {"net", "lan", "proto", nullptr, 2, ""},
    };
    for (const Case &c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(uci_write_option(c.package, c.section, c.option, c.value), c.rc) << c.err;
        // libuci's printer may add details after the message.
        std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(*c.err ? g_str_has_prefix(printed.c_str(), c.err) : printed.empty()) << printed;
    }
    EXPECT_EQ(get("net"), "config iface 'lan'\n");
    EXPECT_EQ(get("broken"), broken);
}

TEST_P(Uci, ReadSection)
{
    put("net", kNet);
    struct Case {
        const char *type, *section;
        std::vector<std::pair<std::string, std::string>> want;
    } cases[] = {
        {nullptr, "lan", {{"proto", "static"}, {"dns", "a b"}}},
        {"ignored", "@rule[0]", {{"name", "r1"}, {"target", "ACCEPT"}}},
        {"iface", nullptr, {{"proto", "static"}, {"dns", "a b"}, {"proto", "dhcp"}}},
        {"rule", nullptr, {{"name", "r1"}, {"target", "ACCEPT"}}},
        {"nosuch", nullptr, {}},
        {nullptr, nullptr, {}},
    };
    for (const Case &c : cases) {
        UciOptionEntry *entries = nullptr;
        uint32_t count = 99;
        ASSERT_EQ(uci_read_section("net", c.type, c.section, &entries, &count), 0);
        ASSERT_NE(entries, nullptr);  // a zero-length array is still an allocation
        ASSERT_EQ(count, c.want.size()) << (c.section ? c.section : c.type);
        for (uint32_t i = 0; i < count; ++i) {
            EXPECT_EQ(entries[i].name, c.want[i].first);
            EXPECT_EQ(entries[i].value, c.want[i].second);
        }
        free(entries);

        // Counting only.
        count = 99;
        ASSERT_EQ(uci_read_section("net", c.type, c.section, nullptr, &count), 0);
        EXPECT_EQ(count, c.want.size());
    }
    EXPECT_EQ(uci_read_section("net", "iface", nullptr, nullptr, nullptr), 0);

    // Nothing found: outputs untouched.
    const char *missing[][2] = {{"nopkg", nullptr}, {"net", "nosuch"}, {"net", "@rule[3]"}, {"net", "bad-name"}};
    for (const auto &m : missing) {
        UciOptionEntry *entries = reinterpret_cast<UciOptionEntry *>(0x1);
        uint32_t count = 99;
        EXPECT_EQ(uci_read_section(m[0], "iface", m[1], &entries, &count), 0);
        EXPECT_EQ(count, 99u);
        EXPECT_EQ(entries, reinterpret_cast<UciOptionEntry *>(0x1));
    }
    EXPECT_EQ(uci_read_section(nullptr, "iface", nullptr, nullptr, nullptr), 2);
}

TEST_P(Uci, DevnameFromUci)
{
    put("devname", "config devname 'macs'\n\toption 001122334455 'Laptop'\n");
    struct Case {
        const char *mac;
        const char *current;
        size_t size;
        std::string want;
    } cases[] = {
        {"001122334455", "gateway-name", 64, "Laptop"},
        {"001122334455", "gateway-name", 4, "Lap"},
        {"ffffffffffff", "gateway-name", 64, "gateway-name"},  // no stored name
        {nullptr, "gateway-name", 64, "gateway-name"},
        {"001122334455", "gateway-name", 0, "gateway-name"},
    };
    for (const Case &c : cases) {
        char name[64] = {0};
        g_strlcpy(name, c.current, sizeof name);
        get_devname_from_uci(c.mac, name, c.size);
        EXPECT_EQ(std::string(name), c.want) << (c.mac ? c.mac : "(null)") << " size " << c.size;
    }
    // A stored name equal to the current one is not copied again: with a bound of
    // one byte a copy would have emptied the buffer.
    char name[64] = "Laptop";
    get_devname_from_uci("001122334455", name, 1);
    EXPECT_STREQ(name, "Laptop");
    get_devname_from_uci("001122334455", nullptr, 64);
}

// Changes staged by the platform's tool ("uci set" and friends, not committed), in
// the tool's own line format: every read sees them, and a write commits them all.
TEST_P(Uci, StagedChangesAreReadAndCommittedByAWrite)
{
    put("devname", "config devname 'macs'\n\toption a '1'\n\nconfig foo\n\toption x 'y'\n\tlist l 'p'\n");
    root.write("/tmp/.uci/devname",
               "devname.macs.staged='pending'\ndevname.macs.b='two'\n-devname.macs.a\n|devname.cfg027389.l='q'\n"
               "~devname.cfg027389.l='p'\n@devname.macs.b='bb'\n+devname.cfg037389='foo'\ndevname.new='sec'\n"
               "devname.new.o='it'\\''s \"x\" \\ y'\n^devname.new='0'\ndevname.macs.lst='a'\n|devname.macs.lst='b'\n");
    struct Case {
        const char *section, *option, *value;  // value null: not found
    } cases[] = {
        {"macs", "staged", "pending"}, {"macs", "a", nullptr},   {"macs", "b", nullptr},
        {"macs", "bb", "two"},         {"@foo[0]", "l", "q"},    {"@foo[0]", "x", "y"},
        {"new", "o", "it's \"x\" \\ y"}, {"macs", "lst", "a b"}, {"@sec[0]", "o", "it's \"x\" \\ y"},
    };
    for (const Case &c : cases) {
        char buf[256] = "untouched";
        uci_read_option("devname", c.section, c.option, buf);
        EXPECT_STREQ(buf, c.value ? c.value : "untouched") << c.section << "." << c.option;
    }
    uint32_t count = 0;
    uci_read_section("devname", "foo", nullptr, nullptr, &count);
    EXPECT_EQ(count, 2u);

    ASSERT_EQ(uci_write_option("devname", "macs", "w", "1"), 0);
    EXPECT_EQ(get("devname"),
              "\nconfig sec 'new'\n\toption o 'it'\\''s \"x\" \\ y'\n"
              "\nconfig devname 'macs'\n\toption staged 'pending'\n\toption bb 'two'\n\tlist lst 'a'\n\tlist lst 'b'\n"
              "\toption w '1'\n\nconfig foo\n\toption x 'y'\n\tlist l 'q'\n\nconfig foo\n\n");
    EXPECT_EQ(root.read("/tmp/.uci/devname"), "");
}

TEST_P(Uci, UnwritableSaveDirectoryFailsTheWrite)
{
    put("net", "config iface 'lan'\n");
    root.write("/tmp/.uci", "a file, not a directory");
    testing::internal::CaptureStderr();
    EXPECT_EQ(uci_write_option("net", "lan", "proto", "dhcp"), lumo::uci::kIoError);
    EXPECT_TRUE(g_str_has_prefix(testing::internal::GetCapturedStderr().c_str(), "proto: I/O error"));
    EXPECT_EQ(get("net"), "config iface 'lan'\n");
}

TEST_P(Uci, ConcurrentWritersLoseNothing)
{
    put("shared", "config s 'a'\nconfig s 'b'\n");
    constexpr int kWrites = 30;
    pid_t kids[2];
    for (int k = 0; k < 2; ++k) {
        kids[k] = fork();
        ASSERT_GE(kids[k], 0);
        if (kids[k] == 0) {
            int failures = 0;
            for (int i = 0; i < kWrites; ++i)
                failures += uci_write_option("shared", k ? "b" : "a", ("o" + std::to_string(i)).c_str(), "v") != 0;
            _exit(failures ? 1 : 0);
        }
    }
    for (pid_t kid : kids) {
        int status = 0;
        ASSERT_EQ(waitpid(kid, &status, 0), kid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    for (const char *section : {"a", "b"}) {
        uint32_t count = 0;
        uci_read_section("shared", nullptr, section, nullptr, &count);
        EXPECT_EQ(count, uint32_t(kWrites)) << section;
    }
}

// The same seeded random sequences of library writes and of the platform's tool
// (staging, sometimes committing) on two roots, one per store: files, stages and
// every read must agree after each step.
TEST(UciDifferential, SeededSequences)
{
#ifndef LUMO_UCI_TOOL
    GTEST_SKIP() << "needs libuci and its tool (preset uci-system)";
#else
    const char *sections[] = {"lan", "wan", "guest", "@rule[0]", "@rule[-1]", "@iface[1]"};
    const char *options[] = {"proto", "dns", "name"};
    const char *values[] = {"a", "b c", "it's", ""};
    const char *types[] = {"iface", "rule"};
    auto pick = [](std::mt19937 &rng, const auto &pool) { return pool[rng() % std::size(pool)]; };
    testing::internal::CaptureStderr();  // the failures the sequences provoke
    for (unsigned seed = 1; seed <= 16; ++seed) {
        TempRoot own_root(nullptr), sys_root(nullptr);
        struct Side {
            const TempRoot &root;
            BackendKind kind;
        } sides[] = {{own_root, BackendKind::kOwn}, {sys_root, BackendKind::kSystem}};
        auto enter = [](const Side &side) {
            setenv("LUMO_SYSROOT", side.root.dir().c_str(), 1);
            lumo::uci::select_backend(side.kind);
        };
        auto tool = [](const Side &side, std::vector<std::string> args) {
            std::vector<std::string> words = {LUMO_UCI_TOOL, "-c", side.root.path("/etc/config"), "-t",
                                              side.root.path("/tmp/.uci")};
            words.insert(words.end(), args.begin(), args.end());
            std::vector<char *> argv;
            for (std::string &w : words)
                argv.push_back(w.data());
            argv.push_back(nullptr);
            g_spawn_sync(nullptr, argv.data(), nullptr,
                         GSpawnFlags(G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL), nullptr, nullptr,
                         nullptr, nullptr, nullptr, nullptr);
        };
        auto snapshot = [&](const Side &side) {
            enter(side);
            std::string out = side.root.read("/etc/config/net") + "|" + side.root.read("/tmp/.uci/net") + "|";
            for (const char *section : sections)
                for (const char *option : options) {
                    char buf[256] = "-";
                    uci_read_option("net", section, option, buf);
                    out.append(buf).append(";");
                }
            for (const char *type : types) {
                UciOptionEntry *entries = nullptr;
                uint32_t n = 0;
                uci_read_section("net", type, nullptr, &entries, &n);
                for (uint32_t i = 0; i < n; ++i)
                    out.append(entries[i].name).append("=").append(entries[i].value).append(";");
                free(entries);
            }
            return out;
        };
        for (const Side &side : sides) {
            side.root.write("/etc/config/net", "config iface 'lan'\n\toption proto 'static'\nconfig rule\n\toption name 'r1'\n");
            side.root.write("/tmp/.uci/.keep", "");
        }
        std::mt19937 rng(seed);
        std::string log;
        for (int step = 0; step < 25; ++step) {
            const int op = static_cast<int>(rng() % 7);
            const std::string section = pick(rng, sections), option = pick(rng, options), value = pick(rng, values);
            const std::string target = "net." + section + (rng() % 4 ? "." + option : "");
            const std::string type = pick(rng, types);
            const bool commit = rng() % 4 == 0;
            log += std::to_string(op) + " " + target + "=" + value + (commit ? " +commit" : "") + "\n";
            for (const Side &side : sides) {
                enter(side);
                switch (op) {
                case 0: uci_write_option("net", section.c_str(), option.c_str(), value.c_str()); break;
                case 1: uci_write_option("net", section.c_str(), nullptr, type.c_str()); break;
                case 2: tool(side, {"set", target + "=" + value}); break;
                case 3: tool(side, {"delete", target}); break;
                case 4: tool(side, {"add_list", "net." + section + "." + option + "=" + value}); break;
                case 5: tool(side, {"del_list", "net." + section + "." + option + "=" + value}); break;
                case 6: tool(side, {"add", "net", type}); break;
                }
                if (commit)
                    tool(side, {"commit", "net"});
            }
            ASSERT_EQ(snapshot(sides[0]), snapshot(sides[1])) << "seed " << seed << ", steps:\n" << log;
        }
    }
    testing::internal::GetCapturedStderr();
    unsetenv("LUMO_SYSROOT");
#endif
}

INSTANTIATE_TEST_SUITE_P(Backend, Uci, testing::Values(BackendKind::kOwn, BackendKind::kSystem), backend_name);

struct Owner : ::testing::Test {
    TempRoot root;
    const std::string file = "/tmp/.uci/wlandevice-owner";
};

TEST_F(Owner, RecordsAreAppendedAndCannotBeForged)
{
    root.write(file, "");
    update_wlan_device_owner("com.app.x", "/w/1", 1);
    update_wlan_device_owner("com.app.y", "/w/2", 1);
    update_wlan_device_owner("com.app.x", "/w/3", 1);
    EXPECT_EQ(root.read(file), "/w/1 com.app.x\n/w/2 com.app.y\n/w/3 com.app.x\n");
    // A newline cannot forge a record.
    update_wlan_device_owner("com.app.x", "/w/4\n/w/5 com.evil", 1);
    update_wlan_device_owner(nullptr, "/w/6", 1);
    update_wlan_device_owner("com.app.x", nullptr, 1);
    EXPECT_EQ(root.read(file), "/w/1 com.app.x\n/w/2 com.app.y\n/w/3 com.app.x\n");
}

TEST_F(Owner, ForgettingRewritesEveryOtherRemainingRecord)
{
    struct Case {
        std::string before, after;
    } cases[] = {
        {"A a\nB b\nC c\nD d\n", "A a\nC c\n"},
        {"A a\nX me\nB b\nX2 me\nC c\nD d\nE e\n", "A a\nC c\nE e\n"},
        {"A a\n", "A a\n"},
        {"X me\n", ""},
        {"", ""},
        // Lines that do not hold both fields are dropped; only newlines are trimmed, so
        // a carriage return stays part of the owner.
        {"lonely\nA a\r\n\nB b\n C c\n", "A a\r\n"},
    };
    for (const Case &c : cases) {
        root.write(file, c.before);
        update_wlan_device_owner("me", "/ignored", 0);
        EXPECT_EQ(root.read(file), c.after) << c.before;
    }
}

TEST_F(Owner, MissingFileOrDirectory)
{
    // Forgetting without a file leaves an empty one.
    root.write("/tmp/.uci/other", "");
    update_wlan_device_owner("me", "/w/1", 0);
    EXPECT_TRUE(root.exists(file));
    EXPECT_EQ(root.read(file), "");

    // Without the directory nothing is created and nothing fails loudly.
    TempRoot bare;
    update_wlan_device_owner("me", "/w/1", 1);
    update_wlan_device_owner("me", "/w/1", 0);
    EXPECT_FALSE(bare.exists(file));
    update_wlan_device_owner(nullptr, nullptr, 0);
}

// Files the store and the owner file create are readable by every service whatever
// the caller's umask, rewrites keep the mode a file had, and the umask itself is
// never changed.
using FileModes = Backends;
INSTANTIATE_TEST_SUITE_P(Backend, FileModes, testing::Values(BackendKind::kOwn, BackendKind::kSystem), backend_name);

TEST_P(FileModes, IndependentOfTheCallersUmask)
{
    auto mode_of = [](const std::string &p) {
        struct stat st {};
        return stat(p.c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 07777) : -1;
    };
    const std::string owner = "/tmp/.uci/wlandevice-owner";
    struct Case {
        mode_t umask_value;
        int existing_mode;  // -1: the files do not exist before the call
        int expected_mode;
    } cases[] = {
        {0077, -1, 0644}, {0022, -1, 0644}, {0, -1, 0644}, {0277, -1, 0644},
        {0077, 0640, 0640}, {0, 0600, 0600}, {0022, 0664, 0664},
    };
    for (const Case &c : cases) {
        TempRoot root;
        // The store only rewrites packages that exist; the owner file and the lock
        // file are the ones it creates.
        root.write(owner, "A a\n");
        root.write("/etc/config/devname", "config names 'macs'\n");
        const mode_t kept = static_cast<mode_t>(c.existing_mode >= 0 ? c.existing_mode : c.expected_mode);
        chmod(root.path("/etc/config/devname").c_str(), kept);
        if (c.existing_mode >= 0)
            chmod(root.path(owner).c_str(), kept);
        else
            std::remove(root.path(owner).c_str());
        const mode_t saved = umask(c.umask_value);
        EXPECT_EQ(uci_write_option("devname", "macs", nullptr, "names"), 0);
        EXPECT_EQ(uci_write_option("devname", "macs", "001122334455", "tv"), 0);
        update_wlan_device_owner("me", "/w/1", 1);
        update_wlan_device_owner("other", "/w/2", 0);
        EXPECT_EQ(umask(saved), c.umask_value);
        const std::string why = "umask " + std::to_string(c.umask_value) + " mode " + std::to_string(c.existing_mode);
        EXPECT_EQ(mode_of(root.path("/etc/config/devname")), c.expected_mode) << why;
        EXPECT_EQ(mode_of(root.path(owner)), c.expected_mode) << why;
        if (c.existing_mode < 0) {
            EXPECT_EQ(mode_of(root.path("/etc/config/.devname.lock")), 0644) << why;
        }
        char value[256] = "";
        uci_read_option("devname", "macs", "001122334455", value);
        EXPECT_STREQ(value, "tv") << why;
    }
}

}  // namespace
