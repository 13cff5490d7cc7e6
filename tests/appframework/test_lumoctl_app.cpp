// `lumoctl app` against the simulated framework: what it prints, what it sends and
// its exit status.
#include <string>
#include <vector>

#include "appframework/app_support.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;

class LumoctlApp : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok());
        ASSERT_TRUE(sim.ok());
    }
    RunResult run(std::vector<std::string> args)
    {
        args.insert(args.begin(), {LUMOCTL_PATH, "--address", bus.address()});
        return run_program(args);
    }
    PrivateBus bus;
    Simulator sim{bus, framework_options()};
};

TEST_F(LumoctlApp, VerbsPrintAndExitAsTheOtherObjects)
{
    ASSERT_TRUE(sim.script_reply("/com/quv/appframework1", "com.quv.appframework1.AppAgent", "Reload",
                                 "(int32 4,)", 0, true));
    ASSERT_TRUE(sim.script_error("/com/quv/appframework1", "com.quv.appframework1.AppAgent", "GetStatus",
                                 "org.freedesktop.DBus.Error.Failed", "framework busy", 0, true));
    const struct {
        std::vector<std::string> args;
        int status;
        const char *out;  // expected in standard output (status 0) or standard error
    } cases[] = {
        {{"app", "list"}, 0, "demo      Demo plug-in      running    1\n"},
        {{"--json", "app", "list"}, 0, R"({"name":"libjson","text":"JSON library","state":"installed","library":true})"},
        {{"app", "status", "demo"}, 3, "framework busy"},  // the scripted error, once
        {{"app", "status", "parental"}, 0, "stopped\n"},
        {{"app", "start", "parental"}, 0, "app start parental: done"},
        {{"app", "start", "ghost"}, 3, "the framework answered -1"},
        {{"app", "reload", "demo"}, 3, "the framework answered 4"},
        {{"app", "uninstall", "parental"}, 2, "add --yes"},
        {{"app", "restore", "demo"}, 2, "add --yes"},
        {{"app", "restore", "demo", "--yes"}, 3, "NotRunning"},
        {{"app", "stats", "demo"}, 3, "NotRunning"},
        {{"app", "post", "", "hi"}, 2, "refused"},
        {{"app", "install", "relative.ipk"}, 2, "absolute path"},
        {{"--json", "app", "install", "/tmp/newapp_2.ipk"}, 0, R"({"code":0,"name":"newapp","text":"installed"})"},
        {{"app", "upgrade", "/tmp/ghost.ipk"}, 3, "ghost: not installed (code 1)"},
        {{"app", "module-load", "demo", "usb_storage"}, 0, "done"},
        {{"app", "uninstall", "--yes", "parental"}, 0, "done"},
    };
    for (const auto &c : cases) {
        RunResult r = run(c.args);
        const std::string label = c.args[c.args.size() > 2 ? 2 : 1] + " " + c.args.back();
        EXPECT_EQ(r.exit_status, c.status) << label << "\n" << r.out << r.err;
        const std::string &where = c.status == 0 ? r.out : r.err;
        EXPECT_NE((where + r.out).find(c.out), std::string::npos) << label << "\n" << r.out << r.err;
    }
    // Refusals sent nothing; the module call carried its arguments.
    EXPECT_EQ(sim.count_calls("", "", "Uninstall"), 1u);
    EXPECT_EQ(sim.count_calls("", "", "Restore"), 1u);
    EXPECT_EQ(sim.count_calls("", "", "PostMsg"), 0u);
    GPtr<GVariant> kmod = last_args(sim, "HandleKernelMod");
    EXPECT_EQ(printed(kmod.get()), "('demo', true, 'usb_storage', '')");
}

TEST_F(LumoctlApp, InstallIsBoundedByTheTimeout)
{
    ASSERT_TRUE(sim.script_delay("/com/quv/appframework1", "com.quv.appframework1.AppAgent", "Install", 5000));
    RunResult r = run({"--timeout", "1", "app", "install", "/tmp/slow.ipk"});
    EXPECT_EQ(r.exit_status, 3) << r.out << r.err;
    EXPECT_NE(r.err.find("timed out"), std::string::npos) << r.err;
}

}  // namespace
