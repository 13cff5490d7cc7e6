// Logging: flags, ident derivation, line format, the 1023-character cut and the
// echo to standard output.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>
#include <unistd.h>

#include "lumo3_core.h"
#include "support/log_capture.hpp"
#include "support/service_context.hpp"
#include "support/temp_root.hpp"

namespace {

using lumo::test::LogCapture;
using lumo::test::TempRoot;

constexpr int kUser = 8;  // syslog's user facility

std::string captured_stdout_of(void (*fn)())
{
    testing::internal::CaptureStdout();
    fn();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

// Closed, opened, closed and opened again implicitly, in one process's order.
TEST(Log, OpenCloseAndImplicitReopen)
{
    TempRoot root;
    root.write("/tmp/.uci/enable_lumo_stdio_print", "");
    LogCapture log;
    // Closed: everything is swallowed, the echo flag notwithstanding.
    EXPECT_EQ(captured_stdout_of([] { OvanLog(3, "hello %d", 1); }), "");
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(OvanIsLogInitialized(), 0);

    std::remove(root.path("/tmp/.uci/enable_lumo_stdio_print").c_str());
    EXPECT_EQ(OvanLogOpen(24, "myapp"), 0);
    EXPECT_EQ(OvanIsLogInitialized(), 1);
    EXPECT_EQ(log.last_ident, "myapp");
    EXPECT_EQ(log.last_facility, 24);
    EXPECT_EQ(log.last_option, 2);  // LOG_CONS
    EXPECT_STREQ(g_app_name, "myapp");
    OvanLog(6, "value %s", "x");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].priority, 6);
    EXPECT_EQ(log.lines()[0].text, "value x");

    // Closing resets the flags but leaves the application name's pointer.
    OvanLogClose();
    EXPECT_EQ(OvanIsLogInitialized(), 0);
    EXPECT_EQ(log.closes, 1);
    EXPECT_NE(g_app_name, nullptr);  // stale, by design
    OvanLog(3, "dropped");
    EXPECT_EQ(log.lines().size(), 1u);

    // g_app_name is stale but non-NULL, so the implicit open takes no process name
    // (and never reuses the freed one).
    lumo_log("tag", 7, "msg");
    EXPECT_EQ(OvanIsLogInitialized(), 1);
    EXPECT_EQ(log.last_ident, "");
    EXPECT_EQ(log.last_facility, kUser);
}

// Echo is decided at open: by a flag file of any kind, never for qzrconfig.
TEST(Log, EchoFlagDecidedAtOpen)
{
    const struct {
        const char *ident;
        int flag;  // 0: none, 1: a file, 2: a directory
        int32_t opened, state;
    } cases[] = {{"echoer", 1, 1, 3}, {"echoer", 0, 0, 1}, {"dirflag", 2, 1, 3}, {"qzrconfig", 1, 0, 1}};
    for (const auto &c : cases) {
        TempRoot root;
        LogCapture log;
        const std::string flag = root.path("/tmp/.uci/enable_lumo_stdio_print");
        if (c.flag == 1)
            root.write("/tmp/.uci/enable_lumo_stdio_print", "");
        if (c.flag == 2)
            g_mkdir_with_parents(flag.c_str(), 0755);
        EXPECT_EQ(OvanLogOpen(kUser, c.ident), c.opened) << c.ident << " " << c.flag;
        EXPECT_EQ(OvanIsLogInitialized(), c.state) << c.ident << " " << c.flag;
        // A flag file made after the open changes nothing until the next open.
        if (c.flag == 0) {
            root.write("/tmp/.uci/enable_lumo_stdio_print", "");
            EXPECT_EQ(captured_stdout_of([] { OvanLog(6, "quiet"); }), "");
        }
        if (c.state == 3) {  // the echo: a millisecond stamp, then the line
            std::string out = captured_stdout_of([] { lumo_log("MyTag", 7, "n=%d", 42); });
            std::regex line(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} \[UnknownService\] MyTag: n=42\n\n$)");
            EXPECT_TRUE(std::regex_match(out, line)) << out;
            EXPECT_EQ(log.lines().size(), 1u) << "the echo is not instead of the log";
        }
        OvanLogClose();
    }
}

// The first tagged line opens the log under the process name from the stat file.
TEST(Log, FirstTaggedLineOpensLogUnderProcessName)
{
    const struct {
        const char *stat;  // content of the fake stat file ("" = missing)
        const char *ident;
    } cases[] = {
        {"4242 (gatewayd) S 1 4242 4242 0 -1", "gatewayd"},
        {"4242 (a) R 1", "a"},
        {"4242 (two words) S 1", "two"},  // the name is read up to a blank
        {"4242 (abcdefghijklmnop) S", "abcdefghijklmnop"},
        {"", "UnknownAPP"},  // no stat file
        {"garbage", "UnknownAPP"},
    };
    TempRoot root;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.stat);
        TempRoot proc("LUMO_PROC_DIR");  // a fake /proc with this process's stat file
        if (*c.stat)
            proc.write("/" + std::to_string(getpid()) + "/stat", c.stat);
        LogCapture log;
        ASSERT_EQ(g_app_name, nullptr);
        lumo_log("tag", 3, "boom");
        EXPECT_EQ(OvanIsLogInitialized(), 1);
        EXPECT_EQ(log.opens, 1);
        EXPECT_EQ(log.last_facility, kUser);
        EXPECT_EQ(log.last_ident, c.ident);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].text, "[UnknownService] tag: boom\n");
        EXPECT_EQ(log.lines()[0].priority, 3);
        OvanLogClose();
        g_app_name = nullptr;  // freed by the close: back to a process that never logged
    }
}

// A hosted service names the ident and the prefix, whatever was opened before.
TEST(Log, HostedServiceNamesIdentAndPrefix)
{
    const struct {
        const char *service;
        const char *ident;
    } cases[] = {
        {"com.quv.appframework1", "appframework"},
        {"com.vendor.app12", "app1"},  // one digit only
        {"com.vendor.tool", "tool"},
        {"nodots7", "nodots"},
        {"com.vendor.9", ""},
    };
    TempRoot root;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.service);
        LogCapture log;
        lumo::test::ScopedContext svc(c.service);
        lumo_dbg("Fn", "x");
        EXPECT_EQ(log.last_ident, c.ident);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].text, std::string("[") + c.service + "] Fn: x\n");
        EXPECT_EQ(log.lines()[0].priority, 7);
        OvanLogClose();
    }
}

// Under "appmgr" only lumo_log lines carry the framework's name; messages of either
// are cut at 1023 characters.
TEST(Log, AppmgrPrefixOnlyForLumoLogAndCutAt1023Characters)
{
    TempRoot root;
    LogCapture log;
    OvanLogOpen(kUser, "appmgr");
    const std::string exact(1023, 'a');
    lumo_log("A", 6, "%s", exact.c_str());
    lumo_dbg("B", "%s", std::string(3000, 'b').c_str());
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0].text, "[com.quv.appframework1] A: " + exact + "\n");
    EXPECT_EQ(log.lines()[1].text, "[UnknownService] B: " + std::string(1023, 'b') + "\n");
    EXPECT_EQ(log.lines()[1].priority, 7);
}

// A name table ends with a null name of value -1.
void expect_table(const OvanLogCode_t *table, std::initializer_list<std::pair<const char *, int>> want)
{
    size_t i = 0;
    for (const auto &[name, value] : want) {
        ASSERT_NE(table[i].c_name, nullptr) << i;
        EXPECT_STREQ(table[i].c_name, name);
        EXPECT_EQ(table[i].c_val, value) << name;
        i++;
    }
    EXPECT_EQ(table[i].c_name, nullptr);
    EXPECT_EQ(table[i].c_val, -1);
}

TEST(Log, NameTablesInOrder)
{
    expect_table(facilitynames,
                 {{"auth", 32},    {"authpriv", 80}, {"cron", 72},     {"daemon", 24},   {"ftp", 88},      {"kern", 0},
                  {"lpr", 48},     {"mail", 16},     {"mark", 192},    {"news", 56},     {"security", 32}, {"syslog", 40},
                  {"user", 8},     {"uucp", 64},     {"local0", 128},  {"local1", 136},  {"local2", 144},  {"local3", 152},
                  {"local4", 160}, {"local5", 168},  {"local6", 176},  {"local7", 184}});
    expect_table(prioritynames, {{"alert", 1}, {"crit", 2},  {"debug", 7},  {"emerg", 0}, {"err", 3},  {"error", 3},
                                 {"info", 6},  {"none", 16}, {"notice", 5}, {"panic", 0}, {"warn", 4}, {"warning", 4}});
}

}  // namespace
