// Redirection of the fixed paths.
#include <gtest/gtest.h>

#include <ostream>

#include <cstdlib>
#include <string>

#include "core/paths.hpp"

namespace {

struct PathCase {
    const char *sysroot;  // nullptr: unset
    const char *procdir;  // nullptr: unset
    const char *fixed;
    const char *expected;
};

void PrintTo(const PathCase &c, std::ostream *os) { *os << '"' << c.fixed << '"'; }


class Paths : public testing::TestWithParam<PathCase> {};

TEST_P(Paths, Resolve)
{
    const PathCase &c = GetParam();
    c.sysroot ? setenv("LUMO_SYSROOT", c.sysroot, 1) : unsetenv("LUMO_SYSROOT");
    c.procdir ? setenv("LUMO_PROC_DIR", c.procdir, 1) : unsetenv("LUMO_PROC_DIR");
    EXPECT_STREQ(lumo::paths::resolve(c.fixed).get(), c.expected);
    unsetenv("LUMO_SYSROOT");
    unsetenv("LUMO_PROC_DIR");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Paths,
    testing::Values(
        PathCase{nullptr, nullptr, "/var/run/dbus/server_address", "/var/run/dbus/server_address"},
        PathCase{"", "", "/tmp/.uci/wlandevice-owner", "/tmp/.uci/wlandevice-owner"},  // empty means unset
        PathCase{"/r", nullptr, "/var/run/dbus/server_address", "/r/var/run/dbus/server_address"},
        PathCase{"/r", nullptr, "/etc/config", "/r/etc/config"},
        PathCase{"/r", nullptr, "/proc/12/stat", "/proc/12/stat"},  // the sysroot leaves /proc alone
        PathCase{"/r", "/p", "/proc/12/stat", "/p/12/stat"},
        PathCase{nullptr, "/p", "/procfs/x", "/procfs/x"},
        PathCase{nullptr, "/p", "/usr/lib/opkg/info/a.control", "/usr/lib/opkg/info/a.control"}));

TEST(Paths, ProcSelfStatNamesOwnPid)
{
    unsetenv("LUMO_PROC_DIR");
    std::string expected = "/proc/" + std::to_string(getpid()) + "/stat";
    EXPECT_EQ(std::string(lumo::paths::proc_self_stat().get()), expected);
}

}  // namespace
