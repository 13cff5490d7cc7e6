// Calls into the library leave the calling process as they found it: umask, signal
// dispositions, locale, working directory and environment.
#include <gtest/gtest.h>

#include <clocale>
#include <csignal>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "hostile/registry_reads.hpp"
#include "lumo3.h"
#include "support/temp_root.hpp"
#include "tools/lumoctl/registry.hpp"

extern char **environ;

namespace {

struct ProcessState {
    mode_t mask = 0;
    std::string cwd, locale;
    std::vector<std::string> env;
    std::vector<std::string> signals;  // handler and flags of each signal

    static ProcessState now()
    {
        ProcessState s;
        s.mask = umask(0);
        umask(s.mask);
        char buf[4096];
        s.cwd = getcwd(buf, sizeof buf) ? buf : "?";
        s.locale = std::setlocale(LC_ALL, nullptr);
        for (char **e = environ; *e; ++e)
            s.env.emplace_back(*e);
        for (int sig = 1; sig < NSIG; sig++) {
            struct sigaction sa {};
            if (sigaction(sig, nullptr, &sa) != 0)
                continue;
            s.signals.push_back(std::to_string(sig) + ":" +
                                std::to_string(reinterpret_cast<uintptr_t>(sa.sa_handler)) + ":" +
                                std::to_string(sa.sa_flags));
        }
        return s;
    }
};

class ProcessStateTest : public lumo::test::SimTest {};

TEST_F(ProcessStateTest, CallsLeaveUmaskSignalsLocaleCwdAndEnvironmentAlone)
{
    lumo::test::TempRoot root;
    root.write("/etc/config/devname", "config names 'macs'\n");
    root.write("/etc/config/cloudclient", "config cloudclient 'global'\n");
    root.write("/tmp/.uci/.keep", "");

    // A restrictive umask, as a daemon may have; the library must neither widen nor
    // narrow it.
    umask(0027);
    const ProcessState before = ProcessState::now();

    EXPECT_EQ(OvanInit(), 0);
    for (const lumoctl::Entry &e : lumoctl::entries()) {
        if (e.get)
            lumo::test::read_get(e, [](const unsigned char *) {});
        if (e.list)
            lumo::test::read_list(e, "", [](const unsigned char *) {});
    }
    // The two writers that once opened the umask: the restore marker and the
    // user's device name.
    OvanDBusCallMethod("com.quv.kest1.framework", "/com/quv/kest1/framework", "com.quv.kest1.framework", "Restore",
                       nullptr, nullptr, 2000);
    OvanLANHost_t *hosts = nullptr;
    uint32_t count = 0;
    ASSERT_EQ(OvanGetLANHostObjs(&hosts, &count), 0);
    ASSERT_GT(count, 0u);
    g_strlcpy(hosts[0].DevName, "Living room", sizeof hosts[0].DevName);
    EXPECT_EQ(OvanSetLANHost(lumo::test::obj_path(hosts[0].path), &hosts[0]), 0);
    g_free(hosts);
    update_wlan_device_owner("com.app.x", "/w/1", 1);
    update_wlan_device_owner("com.app.x", "/w/1", 0);
    OvanLog(LOG_ERR, "%s", "a line");
    OvanDestroy();

    const ProcessState after = ProcessState::now();
    EXPECT_EQ(after.mask, before.mask);
    EXPECT_EQ(after.cwd, before.cwd);
    EXPECT_EQ(after.locale, before.locale);
    EXPECT_EQ(after.env, before.env);
    EXPECT_EQ(after.signals, before.signals);
}

}  // namespace
