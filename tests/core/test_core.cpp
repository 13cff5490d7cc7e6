// Lifecycle calls, the last error and the bus address set-up.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "lumo3_core.h"
#include "support/log_capture.hpp"
#include "support/service_context.hpp"
#include "support/temp_root.hpp"

namespace {

using lumo::test::ScopedContext;

TEST(Lifecycle, InitialGlobalsInitDestroyAndApiVersion)
{
    EXPECT_EQ(gwdbusver, -1);
    EXPECT_EQ(qzr_dbus_service_context, nullptr);
    EXPECT_EQ(dbusconn, nullptr);
    EXPECT_EQ(OvanInit(), 0);
    OvanDestroy();

    char buf[16];
    std::memset(buf, 'x', sizeof buf);
    EXPECT_EQ(OvanGetAPIVersion(buf), buf);
    EXPECT_EQ(std::memcmp(buf, "v0.14\0", 6), 0);
    EXPECT_EQ(buf[6], 'x') << "writes exactly six bytes";
}

// Dropped without a hosted service; kept as a copy by one, cleared by null.
TEST(LastError, StoredOnlyForAServiceAndClearedByNull)
{
    OvanSetErrMsg("org.freedesktop.DBus.Error.Failed: nope");
    EXPECT_EQ(OvanGetErrMsg(), nullptr);
    // Even the fatal text is ignored when no service is hosted.
    OvanSetErrMsg("org.freedesktop.DBus.Error.LimitsExceeded: too many");
    EXPECT_EQ(OvanGetErrMsg(), nullptr);

    ScopedContext ctx("com.example.app1");
    char text[] = "first error";
    OvanSetErrMsg(text);
    text[0] = 'X';  // the library keeps its own copy
    EXPECT_STREQ(OvanGetErrMsg(), "first error");
    OvanSetErrMsg("second");
    EXPECT_STREQ(OvanGetErrMsg(), "second");
    OvanSetErrMsg(nullptr);
    EXPECT_EQ(OvanGetErrMsg(), nullptr);
}

TEST(LastErrorDeathTest, LimitsExceededEndsProcessAfterLogLine)
{
    ScopedContext ctx("com.example.app1");
    EXPECT_EXIT(
        {
            lumo::test::LogCapture log(true);
            OvanSetErrMsg("org.freedesktop.DBus.Error.LimitsExceeded: The maximum number of active connections");
            std::exit(0);
        },
        testing::ExitedWithCode(255), "<3>\\[com.example.app1\\] OvanSetErrMsg: com.example.app1 exit");
    // Only the child died; this process kept no error.
    EXPECT_EQ(OvanGetErrMsg(), nullptr);
}

// The first line of the address file, cut at 255 characters, replaces any value.
TEST(BusAddress, ExportsFirstLine)
{
    const std::string long_address = "unix:path=/" + std::string(400, 'p');
    const struct {
        std::string content, expected;
    } cases[] = {
        {"unix:path=/tmp/bus\n", "unix:path=/tmp/bus"},
        {"unix:path=/tmp/bus", "unix:path=/tmp/bus"},  // no trailing newline
        {"unix:path=/a\nunix:path=/b\n", "unix:path=/a"},
        {"unix:path=/a\n\n", "unix:path=/a"},  // only one newline is removed
        {long_address + "\n", long_address.substr(0, 255)},
        {"", ""},
        {"\n", ""},
    };
    for (const auto &c : cases) {
        lumo::test::TempRoot root;
        root.write("/var/run/dbus/server_address", c.content);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/old", 1);
        EXPECT_EQ(OvanSetDbusEnv(), 0);
        const char *value = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(value, c.expected) << c.content.substr(0, 40);
    }
}

TEST(BusAddressDeathTest, MissingFileEndsProcessWithMessage)
{
    lumo::test::TempRoot root;  // empty root: no address file
    EXPECT_EXIT(
        {
            lumo::test::LogCapture log(true);
            OvanLogOpen(8, "addrtest");
            OvanSetDbusEnv();
            std::exit(0);
        },
        testing::ExitedWithCode(255), "<3>Failed to get dbus bus address, please run dbus-daemon first.");
}

}  // namespace
