// lumoctl run as a process against the simulator on a private bus: its text, its
// JSON (parsed) and the exit codes scripts rely on.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "support/temp_root.hpp"

namespace lumo::test {
namespace {

using Json = nlohmann::json;

constexpr const char *kPortMapping = "/com/quv/igd1/Config/PortMapping";
constexpr const char *kPortMappingIface = "com.quv.igd1.PortMapping";

std::string lumoctl_path()
{
    const char *env = getenv("LUMOCTL");
    return env && *env ? env : LUMOCTL_PATH;
}

struct Outcome : RunResult {
    int code = -1;
    Json json() const { return Json::parse(out); }
    // stderr holds exactly one line, a lumoctl message.
    bool one_line_error() const
    {
        return err.rfind("lumoctl: ", 0) == 0 && err.find('\n') == err.size() - 1;
    }
};

Outcome lumoctl(std::vector<std::string> args)
{
    args.insert(args.begin(), lumoctl_path());
    Outcome r;
    static_cast<RunResult &>(r) = run_program(args);
    EXPECT_TRUE(r.spawned) << r.err;
    r.code = r.exit_status;
    return r;
}

std::string text(const GPtr<GVariant> &v)
{
    if (!v)
        return "(null)";
    gchar *s = g_variant_print(v.get(), FALSE);
    std::string out = s;
    g_free(s);
    return out;
}

class LumoctlTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(sim.ok()); }
    PrivateBus bus;
    Simulator sim{bus};
};

// The text form: aligned name-value lines, without secrets or the fields of other
// layouts (the values and their JSON types are in the read table below).
TEST_F(LumoctlTest, TextIsAlignedLinesOfTheLayoutWithoutSecrets)
{
    Outcome r = lumoctl({"device", "get"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out.rfind("path                  /com/quv/igd1/Info/Device\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\nManufacturer          Quv\n"), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("DevStyle"), std::string::npos) << "only the v4 layout carries it";
    EXPECT_TRUE(r.err.empty());
    EXPECT_EQ(lumoctl({"pon", "get"}).out.find("ponpass"), std::string::npos);  // secrets only on request
}

// A text listing: one block per record, separated by a blank line.
TEST_F(LumoctlTest, TextListSeparatesRecordsByABlankLine)
{
    Outcome text_list = lumoctl({"portmap", "list"});
    ASSERT_EQ(text_list.code, 0);
    EXPECT_EQ(text_list.out.find("\n\n"), std::string::npos);  // one rule in the model
    sim.add_object(std::string(kPortMapping) + "/7",
                   "{'com.quv.igd1.PortMapping': {'ExternalPort': <uint32 22>, 'Enable': <false>}}");
    EXPECT_NE(lumoctl({"portmap", "list"}).out.find("\n\npath"), std::string::npos);
}

TEST_F(LumoctlTest, SetGoesThroughTheLibrary)
{
    Outcome r = lumoctl({"wifi", "set", "Enable2G=false"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "updated /com/quv/igd1/Info/WiFi: Enable2G\n");
    EXPECT_EQ(text(sim.property("/com/quv/igd1/Info/WiFi", "com.quv.igd1.WiFiInfo", "Enable2G")), "false");

    std::string rule = std::string(kPortMapping) + "/1";
    r = lumoctl({"--json", "portmap", "set", rule, "ExternalPort=9090", "Description=moved"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.json()["updated"], Json::array({"ExternalPort", "Description"}));
    EXPECT_EQ(text(sim.property(rule, kPortMappingIface, "ExternalPort")), "9090");
    EXPECT_EQ(text(sim.property(rule, kPortMappingIface, "Description")), "'moved'");
    // Fields not named keep their values.
    EXPECT_EQ(text(sim.property(rule, kPortMappingIface, "InternalClient")), "'192.168.1.20'");
}

TEST_F(LumoctlTest, AddsAndDeletesAPortMapping)
{
    Outcome add = lumoctl({"--json", "portmap", "add", "InternalClient=192.168.1.30", "ExternalPort=2222",
                       "InternalPort=22", "PortMappingProtocol=TCP", "Enable=true"});
    ASSERT_EQ(add.code, 0) << add.err;
    std::string path = add.json()["path"];
    EXPECT_EQ(path, std::string(kPortMapping) + "/2");
    EXPECT_EQ(text(sim.property(path, kPortMappingIface, "InternalPort")), "22");

    sim.clear_call_log();
    Outcome refused = lumoctl({"portmap", "delete", path});
    EXPECT_EQ(refused.code, 2);
    EXPECT_TRUE(refused.one_line_error()) << refused.err;
    EXPECT_EQ(sim.count_calls(), 0u);

    Outcome del = lumoctl({"portmap", "delete", "--yes", path});
    ASSERT_EQ(del.code, 0) << del.err;
    EXPECT_EQ(del.out, "deleted " + path + "\n");
    EXPECT_EQ(sim.count_calls(kPortMapping, "com.quv.igd1.ObjectManager", "DeleteObject"), 1u);
}

// A collection below an instance of another is listed and added to by its PARENT.
TEST_F(LumoctlTest, NestedCollectionTakesItsParent)
{
    const std::string parent = "/com/quv/igd1/Network/QoS/Classification/1/Type";
    EXPECT_EQ(lumoctl({"--json", "qos-classtype", "list", parent}).json().size(), 2u);
    Outcome add = lumoctl({"--json", "qos-classtype", "add", parent, "Max=5061", "Min=5060", "ProtocolList=UDP"});
    ASSERT_EQ(add.code, 0) << add.err;
    const std::string path = add.json()["path"];
    EXPECT_EQ(path.rfind(parent + "/", 0), 0u) << path;
    EXPECT_EQ(text(sim.property(path, "com.quv.igd1.QoSClassificationType", "Max")), "'5061'");
}

// A gateway without USB storage: the guarded objects and commands say so.
TEST_F(LumoctlTest, NoUSBStorageIsNamed)
{
    ASSERT_TRUE(sim.set_property("/com/quv/igd1/Info/Device", "com.quv.igd1.DeviceInfo", "Capability",
                                 g_variant_new_string("1;1;0;0;0")));
    for (std::vector<std::string> args : {std::vector<std::string>{"ftp-server", "get"},
                                          std::vector<std::string>{"nas", "count", "/"}}) {
        Outcome o = lumoctl(args);
        EXPECT_EQ(o.code, 3) << args[0];
        EXPECT_NE(o.err.find("the gateway has no USB storage"), std::string::npos) << o.err;
    }
}

// A command prints its word, message and result; a word other than 0 is a gateway failure.
TEST_F(LumoctlTest, CommandPrintsWordMessageAndResult)
{
    Outcome r = lumoctl({"--json", "system", "ta-passwd"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.json()["status"], 0);
    EXPECT_EQ(r.json()["result"], "admin#8x2Lq");
    r = lumoctl({"system", "check-loid"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out.rfind("status   0\n", 0), 0u) << r.out;

    sim.script_reply("/com/quv/igd1/Tevra/System", "com.quv.igd1.SysCmd", "Reboot", "(uint32 7, 'busy now')");
    r = lumoctl({"--json", "system", "reboot", "--yes"});
    EXPECT_EQ(r.code, 3);
    EXPECT_EQ(r.json()["status"], 7);
    EXPECT_EQ(r.json()["message"], "busy now");
    EXPECT_TRUE(r.one_line_error()) << r.err;
    EXPECT_NE(r.err.find("busy now"), std::string::npos);
}

// Usage errors, unknown fields, malformed values, values the library refuses and
// destructive commands without --yes: 2, one line on standard error, and nothing
// reaches the gateway's writes.
TEST_F(LumoctlTest, RefusedArgumentsExitTwo)
{
    const std::string beacon = "/com/quv/igd1/VSIE/BeaconTxVSIE/2";
    // With the text the message must hold ("": any one line).
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"system", "reboot"}, "--yes"},
        {{"system", "restore"}, "--yes"},
        {{"system", "local-recovery"}, "--yes"},
        {{"system", "upgrade", "http://x/fw.bin", "0", "0", "1"}, ""},
        {{"--address", "unix:path=/nonexistent", "system", "reboot"}, ""},  // before the bus is even needed
        {{"qos-classtype", "list"}, ""},                                     // a nested collection needs its PARENT
        {{"qos-classtype", "add", "Max=2"}, ""},
        {{"speedtest-ff", "start", "3601"}, ""},
        // Byte arrays are given as hex, and their count follows them.
        {{"beacon-vsie", "set", beacon, "IEData=abc"}, ""},
        {{"beacon-vsie", "set", beacon, "IEData=zz"}, ""},
        {{"beacon-vsie", "set", beacon, "LenofIEData=3"}, ""},
        {{"devic", "get"}, "unknown object; did you mean device?"},
        {{"device", "gte"}, "device: unknown command; did you mean get?"},
        {{"portmap"}, ""},
        {{"portmap", "list", "--jsn"}, "unknown option; did you mean --json?"},
        {{"portmap", "add", "InternalPrt=1"}, "unknown field InternalPrt of OvanPortMapping_t; did you mean InternalPort?"},
        {{"portmap", "add", "ExternalPort=abc"}, ""},
        {{"portmap", "add", "Enable=maybe"}, ""},
        {{"portmap", "add", "justaword"}, ""},
        {{"portmap", "add", "Description=" + std::string(40, 'x')}, ""},
        {{"wifi", "set", "WiFiMode=ax"}, "cannot be written"},
        // The library's own checks, named by the library.
        {{"portmap", "add", "InternalClient=192.168.1.30", "ExternalPort=70000", "InternalPort=22",
          "PortMappingProtocol=TCP"},
         "add portmap: ExternalPort: 70000 is outside 1..65535"},
        {{"lanhost", "get", "--mac", "zz"}, "--mac: 'zz' is not a MAC address (12 hex digits)"},
        {{"dhcp", "set", "MinAddress=1.2.3"}, "set dhcp: MinAddress: '1.2.3' is not an IPv4 address"},
        {{"system", "set", "MemAlarm=40"}, "MemAlarm: 40 is outside 50..100"},
        // A refusal the library gives no reason for: its own line.
        {{"portmap", "get", "/com/quv/igd1/Info/WiFi"}, "refused the arguments (OvanGetPortMapping: invalid parameter.)"},
        {{"system", "upgrade", "http://x/fw.bin", "zero", "0", "1", "--yes"}, ""},
        {{"system", "upgrade", "http://x/caf\xe9.bin", "0", "0", "1", "--yes"}, ""},  // not UTF-8
        // Text the bus cannot carry is refused by lumoctl itself, naming where it was.
        {{"portmap", "add", "InternalClient=192.168.1.30", "Description=caf\xe9"},
         "value of Description is not valid UTF-8"},
        {{"system", "set-datetime", "2026\xff"}, "DATETIME is not valid UTF-8"},
    };
    for (const auto &[args, expected] : cases) {
        Outcome r = lumoctl(args);
        std::string shown;
        for (const auto &a : args)
            shown += a + " ";
        EXPECT_EQ(r.code, 2) << shown << r.err;
        EXPECT_TRUE(r.one_line_error()) << shown << r.err;
        EXPECT_NE(r.err.find(expected), std::string::npos) << shown << r.err;
        EXPECT_TRUE(r.out.empty()) << shown << r.out;
    }
    for (const char *method : {"SetMulti", "Set", "Upgrade", "Reboot", "Restore", "LocalRecovery", "SetDateTime"})
        EXPECT_EQ(sim.count_calls("", "", method), 0u) << method;
}

// Byte arrays: shown as hex, given as hex (either case), the count following the bytes
// (refusals are with the other refused arguments).
TEST_F(LumoctlTest, ByteArraysAsHex)
{
    const std::string beacon = "/com/quv/igd1/VSIE/BeaconTxVSIE/2";
    Json b = lumoctl({"--json", "beacon-vsie", "get", beacon}).json();
    EXPECT_EQ(b["IEData"], "dd04a4c3f001");
    EXPECT_EQ(b["LenofIEData"], 6);
    Outcome set = lumoctl({"beacon-vsie", "set", beacon, "IEData=0A0bFF"});
    ASSERT_EQ(set.code, 0) << set.err;
    EXPECT_EQ(text(sim.property(beacon, "com.quv.igd1.VSIE.BeaconTxVSIE", "IEData")), "[0x0a, 0x0b, 0xff]");
    EXPECT_EQ(text(sim.property(beacon, "com.quv.igd1.VSIE.BeaconTxVSIE", "LenofIEData")), "3");
}

TEST_F(LumoctlTest, HelpForEverySubcommand)
{
    for (const std::vector<std::string> &args : std::vector<std::vector<std::string>>{
             {"--help"}, {"portmap", "--help"}, {"portmap", "set", "--help"}, {"watch", "--help"},
             {"system", "reboot", "--help"}}) {
        Outcome r = lumoctl(args);
        EXPECT_EQ(r.code, 0) << args[0];
        EXPECT_NE(r.out.find("Exit status"), std::string::npos) << r.out;
    }
    const std::string set_help = lumoctl({"portmap", "set", "--help"}).out;
    EXPECT_NE(set_help.find("ExternalPort (0..4294967295)"), std::string::npos);
    EXPECT_NE(set_help.find("Example:\n  lumoctl portmap set PATH Enable=true"), std::string::npos) << set_help;
}

// A reply that does not come in time, and a watch without enough events: 3.
TEST_F(LumoctlTest, DelayedReplyAndQuietWatchTimeOut)
{
    sim.script_delay("/com/quv/igd1/Info/Device", "", "GetAll", 20000);
    gint64 start = g_get_monotonic_time();
    Outcome r = lumoctl({"--timeout", "1", "device", "get"});
    EXPECT_EQ(r.code, 3);
    EXPECT_LT(g_get_monotonic_time() - start, 5 * G_USEC_PER_SEC);
    EXPECT_EQ(r.err, "lumoctl: timed out after 1 s\n");
    r = lumoctl({"watch", "--count", "1", "--timeout", "1"});
    EXPECT_EQ(r.code, 3);
    EXPECT_TRUE(r.out.empty());
}

// No gateway on the bus, or no bus at all: 3 and one line naming what is missing.
TEST(LumoctlNoGateway, MissingGatewayOrBusExitsThree)
{
    PrivateBus bus;
    ASSERT_TRUE(bus.ok());
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"device", "get"}, "com.quv.igd1"},
        {{"--address", "unix:path=" + bus.dir() + "/none", "device", "get"}, "system bus"},
    };
    for (const auto &[args, needle] : cases) {
        Outcome r = lumoctl(args);
        EXPECT_EQ(r.code, 3);
        EXPECT_TRUE(r.one_line_error()) << r.err;
        EXPECT_NE(r.err.find(needle), std::string::npos) << r.err;
    }
}

// A background lumoctl whose output is read as it comes.
struct Watch : Background {
    explicit Watch(std::vector<std::string> args) : Background((args.insert(args.begin(), lumoctl_path()), args)) {}
    bool ready()
    {
        return read_until(true, [](const std::string &t) { return t.find("watching") != std::string::npos; });
    }
    // Reads standard output until it holds n lines.
    bool lines(size_t n)
    {
        return read_until(false, [n](const std::string &t) { return size_t(std::count(t.begin(), t.end(), '\n')) >= n; });
    }
};

TEST_F(LumoctlTest, WatchPrintsAChangeMadeMeanwhile)
{
    Watch watch({"watch", "--count", "1", "--timeout", "20"});
    ASSERT_TRUE(watch.ready()) << watch.err;
    ASSERT_EQ(lumoctl({"wifi", "set", "Enable2G=false"}).code, 0);
    ASSERT_TRUE(watch.lines(1));
    EXPECT_EQ(watch.out, "changed /com/quv/igd1/Info/WiFi com.quv.igd1.WiFiInfo Enable2G=false\n");
    EXPECT_EQ(watch.wait(), 0);
}

TEST_F(LumoctlTest, WatchJsonFollowsObjectsAddedAndRemoved)
{
    Watch watch({"--json", "watch", "--count", "2", "--timeout", "20"});
    ASSERT_TRUE(watch.ready()) << watch.err;
    std::string path = std::string(kPortMapping) + "/9";
    sim.add_object(path, "{'com.quv.igd1.PortMapping': {'ExternalPort': <uint32 22>}}");
    sim.remove_object(path);
    ASSERT_TRUE(watch.lines(2)) << watch.out;
    EXPECT_EQ(watch.wait(), 0);
    std::vector<Json> events;
    size_t start = 0;
    for (size_t nl; (nl = watch.out.find('\n', start)) != std::string::npos; start = nl + 1)
        events.push_back(Json::parse(watch.out.substr(start, nl - start)));
    ASSERT_EQ(events.size(), 2u) << watch.out;
    EXPECT_EQ(events[0]["event"], "added");
    EXPECT_EQ(events[0]["path"], path);
    EXPECT_EQ(events[0]["interfaces"]["com.quv.igd1.PortMapping"]["ExternalPort"], 22);
    EXPECT_EQ(events[1]["event"], "removed");
    EXPECT_EQ(events[1]["interfaces"], Json::array({"com.quv.igd1.PortMapping"}));
}

// Reads of every kind (instances by path, MAC, name and SSID; layouts; secrets) and
// each JSON type a field can take; the values themselves are swept per record elsewhere.
TEST_F(LumoctlTest, ReadsThroughTheRecords)
{
    struct Read {
        std::vector<std::string> args;
        const char *field;
        Json expected;
    };
    const std::string rule = std::string(kPortMapping) + "/1";
    const std::vector<Read> reads = {
        {{"device", "get", "--layout", "v4"}, "DevStyle", "white"},
        {{"pon", "get"}, "LOID", "<hidden>"},
        {{"pon", "get"}, "Password", "<hidden>"},
        {{"--show-secrets", "pon", "get"}, "Password", "ponpass"},
        {{"pon", "get"}, "Temperature", 45.5},
        {{"wifi", "get"}, "ChannelScanScore", Json::array({"1:82", "6:64", "11:90"})},
        {{"lanhost", "get", "--mac", "A4C3F0112233"}, "HostName", "laptop"},
        {{"wan", "get", "--name", "1_INTERNET_R_VID_41"}, "IfName", "ppp0"},
        {{"wlan", "get", "--ssid", "Quv-A1B2C3"}, "path", "/com/quv/igd1/Config/WLAN/Devices/1"},
        {{"portmap", "get", rule}, "ExternalPort", 8080},
        {{"wan", "list"}, "RxBytes", 5217714176u},
        {{"online", "list", "--layout", "ipv6"}, "IPv6", "2001:db8:100::20"},
        {{"dnsfilter", "get", "--layout", "basic", "/com/quv/igd1/Network/DNSFilter/2"}, "Action", 1},
        {{"featureflag", "get"}, "VlanBind", true},
    };
    for (const Read &r : reads) {
        std::vector<std::string> args = r.args;
        args.insert(args.begin(), "--json");
        Outcome o = lumoctl(args);
        ASSERT_EQ(o.code, 0) << r.args[0] << ": " << o.err;
        Json j = o.json();
        EXPECT_EQ((j.is_array() ? j.at(0) : j)[r.field], r.expected) << r.args[0] << " " << r.field;
    }

    Outcome added = lumoctl({"urlfilter", "add", "URL=x.example", "URLList=a.example,b.example"});
    ASSERT_EQ(added.code, 0) << added.err;
    Json filter = lumoctl({"--json", "urlfilter", "get", "/com/quv/igd1/Network/URLFilter/3"}).json();
    EXPECT_EQ(filter["URLList"], Json::array({"a.example", "b.example"}));
    EXPECT_EQ(lumoctl({"urlfilter", "delete", "--yes", "/com/quv/igd1/Network/URLFilter/3"}).code, 0);

    Outcome started = lumoctl({"--json", "speedtest-ff", "start", "60"});
    EXPECT_EQ(started.code, 0) << started.err;
}

// Passwords come from --password-file (first line) or standard input, never from the
// command line where the process list shows them.
TEST_F(LumoctlTest, PasswordsComeFromAFileOrStandardInputOnly)
{
    TempRoot dir{nullptr};
    dir.write("/pw", "Secret#123\r\nignored\n");
    const std::string file = dir.path("/pw");

    sim.clear_call_log();
    Outcome r = lumoctl({"--password-file", file, "system", "set-ua-passwd"});
    EXPECT_EQ(r.code, 0) << r.err;
    std::vector<LoggedCall> calls = sim.call_log();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back().method, "SetUAPasswd");
    EXPECT_NE(calls.back().args_text().find("'Secret#123'"), std::string::npos) << calls.back().args_text();
    EXPECT_EQ(r.out.find("Secret#123"), std::string::npos);

    const std::vector<std::vector<std::string>> refused = {
        {"system", "set-ua-passwd", "Secret#123"},                      // on the command line
        {"--password-file", dir.path("/none"), "system", "check-ua-passwd"},  // unreadable
        {"--password-file", "-", "system", "check-ta-passwd"},            // nothing on standard input
        {"system", "set-loid", "LOID1", "BEJ"},                           // likewise
    };
    sim.clear_call_log();
    for (const auto &args : refused) {
        Outcome o = lumoctl(args);
        EXPECT_EQ(o.code, 2) << args.back() << o.err;
        EXPECT_TRUE(o.one_line_error()) << o.err;
        EXPECT_EQ(o.err.find("Secret#123"), std::string::npos);
    }
    EXPECT_EQ(sim.count_calls(), 0u);
}

}  // namespace
}  // namespace lumo::test
