// lumoctl capture and diff against simulated gateways: a capture served by a second
// simulator reads back alike through every getter and listing of lumoctl's registry
// (families added later included); every model fragment survives capture unchanged;
// diff reports exactly what changed; refusing gateways give warnings or exit 3.
#include <gtest/gtest.h>

#include <glib/gstdio.h>
#include <sys/stat.h>

#include <cstring>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "support/temp_root.hpp"
#include "tools/lumoctl/registry.hpp"

namespace lumo::test {
namespace {

using Json = nlohmann::json;

// A bus with the gateway's simulator and, optionally, the framework's.
struct Gateway {
    explicit Gateway(const std::string &model = "", bool framework = false)
        : sim(bus, SimulatorOptions{model, "", "", true, true, {}})
    {
        if (framework)
            fw = std::make_unique<Simulator>(bus, SimulatorOptions{model, "", "com.quv.appframework1", true, false, {}});
    }
    RunResult ctl(std::vector<std::string> args) const
    {
        args.insert(args.begin(), {LUMOCTL_PATH, "--address", bus.address()});
        return run_program(args);
    }
    PrivateBus bus;
    Simulator sim;
    std::unique_ptr<Simulator> fw;
};

class Capture : public ::testing::Test {
protected:
    std::string file(const char *name) const { return dir.path(std::string("/") + name); }
    TempRoot dir{nullptr};
};

TEST_F(Capture, EveryRegistryReadAlikeFromTheReplay)
{
    Gateway a;
    ASSERT_TRUE(a.sim.ok());
    // Types the default model does not use, for the replay's diff below to check.
    ASSERT_TRUE(a.sim.add_object(
        "/com/quv/igd1/Types",
        "{'com.quv.igd1.Types': {'n': <int16 -3>, 'x': <int64 -5>, 'h': <handle 1>, 'g': <signature 'a{sv}'>, "
        "'ay': <[byte 0x00, 0xff]>, 'd': <0.10000000000000001>, 'inf': <inf>, 'v': <<uint16 7>>, "
        "'text': <'line\\none \\'quoted\\' \\u0001'>, 'nested': <{'k': <[@a{sv} {}, {'Password': <'p'>}]>}>}}"));
    RunResult cap = a.ctl({"capture", "--output", file("a.model")});
    ASSERT_EQ(cap.exit_status, 0) << cap.err;
    struct stat st{};
    ASSERT_EQ(g_stat(file("a.model").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    Gateway b(file("a.model"));
    ASSERT_TRUE(b.sim.ok());
    size_t compared = 0;
    for (const lumoctl::Entry &e : lumoctl::entries()) {
        std::vector<std::string> args = {"--json", e.object};
        if (e.get) {
            args.push_back("get");
        } else if (e.list || e.list_at) {
            args.push_back("list");
        } else {
            continue;
        }
        if (*e.layout)
            args.insert(args.end(), {"--layout", e.layout});
        if (e.list_at) {
            RunResult parents = a.ctl({"--json", e.parent, "list"});
            Json list = Json::parse(parents.out, nullptr, false);
            if (!list.is_array() || list.empty())
                continue;
            args.push_back(list[0]["path"].get<std::string>() + e.below);
        }
        auto later = std::async(std::launch::async, [&] { return b.ctl(args); });
        RunResult from_a = a.ctl(args), from_b = later.get();
        SCOPED_TRACE(e.object + std::string(" ") + e.layout);
        EXPECT_EQ(from_a.exit_status, from_b.exit_status) << from_b.err;
        EXPECT_EQ(from_a.out, from_b.out);
        ++compared;
    }
    EXPECT_GT(compared, 50u);

    RunResult same = b.ctl({"diff", file("a.model"), "live"});
    EXPECT_EQ(same.exit_status, 0) << same.out << same.err;
    EXPECT_EQ(same.out, "");

    ASSERT_TRUE(a.sim.set_property("/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo", "DevName", "'lab-gw'"));
    RunResult changed = a.ctl({"diff", "--json", file("a.model"), "live"});
    EXPECT_EQ(changed.exit_status, 1) << changed.err;
    Json expected = {{"added", Json::array()},
                     {"removed", Json::array()},
                     {"changed",
                      {{{"path", "/com/quv/igd1/Info/Device"},
                        {"interface", "com.quv.igd1.DeviceInfo"},
                        {"property", "DevName"},
                        {"old", "'HomeGateway'"},
                        {"new", "'lab-gw'"}}}}};
    EXPECT_EQ(Json::parse(changed.out, nullptr, false), expected) << changed.out;
}

TEST_F(Capture, EveryModelFragmentSurvivesUnchanged)
{
    std::unique_ptr<GDir, decltype(&g_dir_close)> fragments(g_dir_open(LUMO_MODEL_DIR, 0, nullptr), g_dir_close);
    ASSERT_TRUE(fragments);
    size_t seen = 0;
    while (const char *name = g_dir_read_name(fragments.get())) {
        // Built by appending: GCC 12 at -O1 wrongly reports the temporaries of a + b + c
        // as out of bounds when the precompiled header is in front.
        std::string model = LUMO_MODEL_DIR;
        model.append("/").append(name);
        GStr text;
        ASSERT_TRUE(g_file_get_contents(model.c_str(), out(text), nullptr, nullptr));
        if (!strstr(text.get(), "\n[/"))
            continue;  // no objects (the header)
        SCOPED_TRACE(name);
        Gateway g(model, true);
        ASSERT_TRUE(g.sim.ok() && g.fw->ok());
        RunResult cap = g.ctl({"capture", "--keep-secrets", "--output", file("b.model")});
        ASSERT_EQ(cap.exit_status, 0) << cap.err;
        RunResult d = g.ctl({"diff", model, file("b.model")});
        EXPECT_EQ(d.exit_status, 0) << d.out << d.err;
        ++seen;
    }
    EXPECT_GT(seen, 15u);
}

TEST_F(Capture, RefusedObjectsAreWarningsAndNothingReadableIsExitThree)
{
    Gateway g;
    ASSERT_TRUE(g.sim.ok());
    const char *denied = "/com/quv/igd1/Info/Device", *unknown = "/com/quv/igd1/Info/Network",
               *silent = "/com/quv/igd1/Config/PortMapping";
    ASSERT_TRUE(g.sim.script_error(denied, "com.quv.igd1.Properties", "GetAll",
                                   "org.freedesktop.DBus.Error.AccessDenied", "not for you"));
    ASSERT_TRUE(g.sim.script_error(unknown, "org.freedesktop.DBus.Introspectable", "Introspect",
                                   "org.freedesktop.DBus.Error.UnknownObject", "gone"));
    ASSERT_TRUE(g.sim.script_delay(silent, "org.freedesktop.DBus.Introspectable", "Introspect", 3000));
    RunResult cap = g.ctl({"capture", "--timeout", "300", "--output", file("a.model")});
    EXPECT_EQ(cap.exit_status, 0);
    for (const std::string &expected :
         {std::string(denied) + ": com.quv.igd1.DeviceInfo: org.freedesktop.DBus.Error.AccessDenied: not for you",
          std::string(unknown) + ": org.freedesktop.DBus.Error.UnknownObject: gone",
          std::string(silent) + ": no answer within 300 ms", std::string("capture: 3 warnings")})
        EXPECT_NE(cap.err.find(expected), std::string::npos) << expected << "\n" << cap.err;

    ASSERT_TRUE(g.sim.script_error("", "org.freedesktop.DBus.Introspectable", "Introspect",
                                   "org.freedesktop.DBus.Error.AccessDenied", "no"));
    cap = g.ctl({"capture", "--output", file("b.model")});
    EXPECT_EQ(cap.exit_status, 3) << cap.err;
    EXPECT_FALSE(g_file_test(file("b.model").c_str(), G_FILE_TEST_EXISTS));
}

}  // namespace
}  // namespace lumo::test
