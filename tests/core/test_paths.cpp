// Redirection of the fixed paths.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "core/paths.hpp"

namespace {

TEST(Paths, Resolve)
{
    const struct {
        const char *sysroot;  // nullptr: unset
        const char *procdir;  // nullptr: unset
        const char *fixed;
        const char *expected;
    } cases[] = {
        {nullptr, nullptr, "/var/run/dbus/server_address", "/var/run/dbus/server_address"},
        {"", "", "/tmp/.uci/wlandevice-owner", "/tmp/.uci/wlandevice-owner"},  // empty means unset
        {"/r", nullptr, "/var/run/dbus/server_address", "/r/var/run/dbus/server_address"},
        {"/r", nullptr, "/etc/config", "/r/etc/config"},
        {"/r", nullptr, "/proc/12/stat", "/proc/12/stat"},  // the sysroot leaves /proc alone
        {"/r", "/p", "/proc/12/stat", "/p/12/stat"},
        {nullptr, "/p", "/procfs/x", "/procfs/x"},
        {nullptr, "/p", "/usr/lib/opkg/info/a.control", "/usr/lib/opkg/info/a.control"},
    };
    for (const auto &c : cases) {
        c.sysroot ? setenv("LUMO_SYSROOT", c.sysroot, 1) : unsetenv("LUMO_SYSROOT");
        c.procdir ? setenv("LUMO_PROC_DIR", c.procdir, 1) : unsetenv("LUMO_PROC_DIR");
        EXPECT_STREQ(lumo::paths::resolve(c.fixed).get(), c.expected) << c.fixed;
    }
    unsetenv("LUMO_SYSROOT");
    unsetenv("LUMO_PROC_DIR");
}

}  // namespace
