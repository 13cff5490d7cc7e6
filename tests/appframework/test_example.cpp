// The example plug-in run as its own process against the simulated framework: the
// framework's calls reach its callbacks, it raises an alarm, and Stop ends it.
#include <signal.h>
#include <sys/wait.h>

#include <string>

#include "appframework/app_support.hpp"
#include "lumo3_app.h"
#include "support/temp_root.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kPlugin[] = "demoplugin";
constexpr const char kPluginName[] = "com.quv.demoplugin1";

class Example : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok());
        ASSERT_TRUE(sim.ok());
        ASSERT_TRUE(sim.add_object("/com/quv/appframework1/packages/demoplugin",
                                   "{'org.lumo3.Simulator1.Package': {'Name': <'demoplugin'>, 'Text': <'Example'>,"
                                   " 'State': <'running'>, 'Number': <uint32 5>}}"));
    }
    void TearDown() override
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        quiet_shared_connection();
    }
    // The plug-in's exit status once it ended by itself within the time, else -1.
    int wait_exit()
    {
        int status = -1;
        bool ended = wait_until([&] { return waitpid(pid, &status, WNOHANG) == pid; }, 10000);
        if (!ended)
            return -1;
        pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TempRoot root;  // control file and application records, seen by the plug-in and the framework
    PrivateBus bus;
    Simulator sim{bus, framework_options()};
    ScopedContext ctx{"com.example.frameworktool1"};  // keeps the last error of the client calls
    GPid pid = 0;
};

TEST_F(Example, FrameworkDrivesThePluginUntilItStops)
{
    root.write("/usr/lib/opkg/info/demoplugin.control", "Package: demoplugin\nVendor: quv\nDbusVersion: 1\n");
    root.write("/etc/config/appmgr", "config app 'demoplugin'\n\toption appid '5'\n");
    char *argv[] = {const_cast<char *>(LUMO_DEMOPLUGIN_PATH), nullptr};
    ASSERT_TRUE(g_spawn_async(nullptr, argv, nullptr, G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr, &pid, nullptr));

    // Up once its statistics come back through the framework.
    char *stats = nullptr;
    ASSERT_TRUE(wait_until([&] { return (stats = OvanGetAppStatistics(kPlugin)) != nullptr; }, 10000));
    EXPECT_STREQ(stats, "{\"messages\":0}");
    g_free(stats);
    EXPECT_TRUE(name_has_owner(bus, kPluginName));

    char *reply = OvanPostMsg(kPlugin, "hello");
    EXPECT_STREQ(reply, "got: hello");
    g_free(reply);

    AlarmWatch alarms(bus);
    reply = OvanPostMsg(kPlugin, "alarm disk full");
    EXPECT_STREQ(reply, "alarm sent");
    g_free(reply);
    EXPECT_TRUE(alarms.wait());
    EXPECT_EQ(alarms.path, "/com/quv/appframework1/apps/5");

    stats = OvanGetAppStatistics(kPlugin);
    EXPECT_STREQ(stats, "{\"messages\":2}");
    g_free(stats);
    EXPECT_EQ(OvanFactoryPlugin(kPlugin), 0);  // factory state: no messages seen
    stats = OvanGetAppStatistics(kPlugin);
    EXPECT_STREQ(stats, "{\"messages\":0}");
    g_free(stats);

    EXPECT_EQ(OvanStopApp(kPlugin), 0);
    EXPECT_EQ(wait_exit(), 0);
    EXPECT_FALSE(name_has_owner(bus, kPluginName));
    OvanAppStatus_t st{};
    g_strlcpy(st.name, kPlugin, sizeof st.name);
    EXPECT_EQ(OvanGetAppStatus(&st), 0);
    EXPECT_STREQ(st.status, "stopped");
}

}  // namespace
