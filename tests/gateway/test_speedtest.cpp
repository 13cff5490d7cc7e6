// HTTP download test, speed tests, feature flags and CloudVR: argument checks and
// their texts, what the configuration setters send, and how a start reports.
#include <cstring>
#include <functional>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_speedtest.h"

namespace {

using namespace lumo::test;
using lumo::GPtr;

constexpr const char kTest[] = "/com/quv/igd1/Diagnostics/HttpDownload";
constexpr const char kHttpIface[] = "com.quv.igd1.HttpDownloadTest";
constexpr const char kFFIface[] = "com.quv.igd1.SpeedTestFF";
constexpr const char kLocalIface[] = "com.quv.igd1.SpeedTestLocal";

class SpeedTest : public SimTest {
protected:
    std::string keys()
    {
        std::string out;
        for (const auto &k : sent_keys(sim))
            out += (out.empty() ? "" : ",") + k;
        return out;
    }
};

const std::string kTicket64(64, 'k');
const std::string kURL1024 = "http://" + std::string(1024 - 7, 'u');

// ---- refusals: nothing sent, the function's own line ----

struct Refusal {
    const char *name;
    std::function<int32_t(StatusOut &)> call;
    const char *tag;
    const char *line;        // priority 3
    bool reports = false;    // a start: status 1 and "Invalid Parameter."
};

void PrintTo(const Refusal &c, std::ostream *os) { *os << c.name; }

class Refused : public SpeedTest, public testing::WithParamInterface<Refusal> {};

TEST_P(Refused, NothingSent)
{
    StatusOut out;
    EXPECT_EQ(GetParam().call(out), -1);
    EXPECT_TRUE(logged(LOG_ERR, GetParam().tag, GetParam().line)) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
    if (GetParam().reports) {
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Invalid Parameter.");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Refused,
    testing::Values(
        Refusal{"url_null", [](StatusOut &) { return OvanSetHttpDownloadTestURL(nullptr); },
                "OvanSetHttpDownloadTestURL", "invalid url()"},
        Refusal{"url_without_dot", [](StatusOut &) { return OvanSetHttpDownloadTestURL("localhost/x"); },
                "OvanSetHttpDownloadTestURL", "invalid url(localhost/x)"},
        Refusal{"url_not_utf8", [](StatusOut &) { return OvanSetHttpDownloadTestURL("a.\xff"); },
                "OvanSetHttpDownloadTestURL", "Invalid parameter: URL is not valid UTF-8."},
        Refusal{"http_3601", [](StatusOut &o) { return OvanStartHttpDownloadTest(3601, &o.status, &o.errmsg); },
                "OvanStartHttpDownloadTest", "Invalid parameter time[3601]", true},
        Refusal{"http_negative", [](StatusOut &o) { return OvanStartHttpDownloadTest(-1, &o.status, &o.errmsg); },
                "OvanStartHttpDownloadTest", "Invalid parameter time[-1]", true},
        Refusal{"ff_3601", [](StatusOut &o) { return OvanStartSpeedTestFF(3601, &o.status, &o.errmsg); },
                "OvanStartSpeedTestFF", "Invalid parameter time[3601]", true},
        Refusal{"ticket_65",
                [](StatusOut &) { return OvanSetSpeedTestFFConfig((kTicket64 + "k").c_str(), 1, "http://a.b"); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"ticket_empty", [](StatusOut &) { return OvanSetSpeedTestFFConfig("", 1, "http://a.b"); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"ticket_null", [](StatusOut &) { return OvanSetSpeedTestFFConfig(nullptr, 1, "http://a.b"); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"speed_type_4", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", 4, "http://a.b"); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"speed_type_negative", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", -1, "http://a.b"); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"ff_url_1025", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", 0, (kURL1024 + "u").c_str()); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"ff_url_null", [](StatusOut &) { return OvanSetSpeedTestFFConfig("t", 0, nullptr); },
                "OvanSetSpeedTestFFConfig", "invalid parameters"},
        Refusal{"local_speed_type_4", [](StatusOut &) { return OvanSetSpeedTestLocalConfigv4(1, 4, "", ""); },
                "OvanSetSpeedTestLocalConfigv4", "invalid parameters"},
        Refusal{"local_rfu2_33",
                [](StatusOut &) { return OvanSetSpeedTestLocalConfigv4(1, 0, "", std::string(33, 'r').c_str()); },
                "OvanSetSpeedTestLocalConfigv4", "invalid parameters"},
        Refusal{"result_null", [](StatusOut &) { return OvanGetHttpDownloadTestResult(nullptr); },
                "OvanGetHttpDownloadTestResult", "invalid parameter: NULL input."},
        Refusal{"url_place_null", [](StatusOut &) { return OvanGetHttpDownloadTestURL(nullptr); },
                "OvanGetHttpDownloadTestURL", "invalid parameter: NULL input."}),
    [](const testing::TestParamInfo<Refusal> &i) { return std::string(i.param.name); });

// ---- what is sent ----

struct Sent {
    const char *name;
    std::function<int32_t()> call;
    const char *method;  // "SetMulti", "Set" or "StartTest"
    std::string args;    // printed argument tuple ("" : not compared)
    const char *keys = nullptr;  // SetMulti: the dictionary's keys
};

void PrintTo(const Sent &c, std::ostream *os) { *os << c.name; }

class Sends : public SpeedTest, public testing::WithParamInterface<Sent> {};

TEST_P(Sends, ExactArguments)
{
    ASSERT_EQ(GetParam().call(), 0) << dump();
    EXPECT_EQ(sim.count_calls(kTest, "", GetParam().method), 1u);
    if (!GetParam().args.empty()) {
        EXPECT_EQ(printed(last_args(sim, GetParam().method).get()), GetParam().args);
    }
    if (GetParam().keys) {
        EXPECT_EQ(keys(), GetParam().keys);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Sends,
    testing::Values(
        Sent{"http_0", [] { return OvanStartHttpDownloadTest(0, nullptr, nullptr); }, "StartTest", "(uint32 0,)"},
        Sent{"http_3600", [] { return OvanStartHttpDownloadTest(3600, nullptr, nullptr); }, "StartTest",
             "(uint32 3600,)"},
        Sent{"ff_3600", [] { return OvanStartSpeedTestFF(3600, nullptr, nullptr); }, "StartTest", "(uint32 3600,)"},
        Sent{"local", [] { return OvanStartSpeedTestLocalv4(nullptr, nullptr); }, "StartTest", "()"},
        Sent{"url", [] { return OvanSetHttpDownloadTestURL("http://x.example/1"); }, "Set",
             "('com.quv.igd1.HttpDownloadTest', 'URL', <'http://x.example/1'>)"},
        Sent{"ff_config_widest", [] { return OvanSetSpeedTestFFConfig(kTicket64.c_str(), 3, kURL1024.c_str()); },
             "SetMulti",
             "('com.quv.igd1.SpeedTestFF', {'Ticket': <'" + kTicket64 + "'>, 'SpeedType': <byte 0x03>, 'URL': <'" +
                 kURL1024 + "'>})",
             "Ticket,SpeedType,URL"},
        Sent{"local_no_rfu", [] { return OvanSetSpeedTestLocalConfigv4(7, 2, nullptr, ""); }, "SetMulti",
             "('com.quv.igd1.SpeedTestLocal', {'Enable': <true>, 'SpeedType': <byte 0x02>})", "Enable,SpeedType"},
        Sent{"local_rfu2_only", [] { return OvanSetSpeedTestLocalConfigv4(0, 0, "", "b"); }, "SetMulti", "",
             "Enable,SpeedType,RFU2"},
        Sent{"local_both_widest",
             [] {
                 const std::string r(32, 'r');
                 return OvanSetSpeedTestLocalConfigv4(0, 3, r.c_str(), "b");
             },
             "SetMulti", "", "Enable,SpeedType,RFU1,RFU2"}),
    [](const testing::TestParamInfo<Sent> &i) { return std::string(i.param.name); });

TEST_F(SpeedTest, URLWriteLogsItsOutcome)
{
    ASSERT_EQ(OvanSetHttpDownloadTestURL("http://y.example"), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetHttpDownloadTestURL", "operation(OVAN_OK)"));
    char *url = nullptr;
    ASSERT_EQ(OvanGetHttpDownloadTestURL(&url), 0);
    EXPECT_STREQ(url, "http://y.example");
    g_free(url);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanGetHttpDownloadTestURL", "url (http://y.example)"));

    ASSERT_TRUE(sim.script_error(kTest, "", "Set", "org.freedesktop.DBus.Error.AccessDenied", "no"));
    EXPECT_EQ(OvanSetHttpDownloadTestURL("http://z.example"), -1);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanSetHttpDownloadTestURL", "operation(OVAN_NOK)"));

    // A URL of another type is no URL.
    ASSERT_TRUE(sim.script_reply(kTest, "", "Get", "(<uint32 5>,)"));
    url = nullptr;
    EXPECT_EQ(OvanGetHttpDownloadTestURL(&url), -1);
    EXPECT_EQ(url, nullptr);
}

// ---- starting a test ----

struct StartCase {
    const char *name;
    const char *iface;
    std::function<int32_t(StatusOut &)> call;
    const char *tag;
    const char *fail_line;  // "%d": the bus call's result
};

std::string failed_line(const StartCase &c, int ret)
{
    GPtr<char> line(g_strdup_printf(c.fail_line, ret));
    return line.get();
}

void PrintTo(const StartCase &c, std::ostream *os) { *os << c.name; }

class Start : public SpeedTest, public testing::WithParamInterface<StartCase> {};

// The word and message themselves: test_registry.cpp.
TEST_P(Start, LogsItsOwnLines)
{
    const StartCase &c = GetParam();
    ASSERT_TRUE(sim.script_reply(kTest, c.iface, "StartTest", "(uint32 3, 'test already running')", 0, true));
    StatusOut refused;
    EXPECT_EQ(c.call(refused), -1);
    EXPECT_TRUE(logged(LOG_ERR, c.tag, std::string("Call ") + c.tag + "() errmsg [test already running]."));
    ASSERT_TRUE(sim.script_error(kTest, c.iface, "StartTest", "org.freedesktop.DBus.Error.Failed", "x", 0, true));
    StatusOut failed;
    EXPECT_EQ(c.call(failed), -1);
    EXPECT_EQ(failed.msg(), "Failed to call StartTest() function.");
    EXPECT_TRUE(logged(LOG_ERR, c.tag, failed_line(c, -1))) << dump();
    // A reply of another shape is a failed call too.
    ASSERT_TRUE(sim.script_reply(kTest, c.iface, "StartTest", "('started',)", 0, true));
    StatusOut odd;
    EXPECT_EQ(c.call(odd), -1);
    EXPECT_EQ(odd.status, 1u);
    EXPECT_TRUE(logged(LOG_ERR, c.tag, failed_line(c, 0))) << dump();
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Start,
    testing::Values(
        StartCase{"http", kHttpIface, [](StatusOut &o) { return OvanStartHttpDownloadTest(60, &o.status, &o.errmsg); },
                  "OvanStartHttpDownloadTest", "startDownloadTest ret [%d], or info = NULL."},
        StartCase{"ff", kFFIface, [](StatusOut &o) { return OvanStartSpeedTestFF(60, &o.status, &o.errmsg); },
                  "OvanStartSpeedTestFF", "StartTest ret [%d], or info = NULL."},
        StartCase{"local", kLocalIface, [](StatusOut &o) { return OvanStartSpeedTestLocalv4(&o.status, &o.errmsg); },
                  "OvanStartSpeedTestLocalv4", "StartTest ret [%d], or info = NULL."}),
    [](const testing::TestParamInfo<StartCase> &i) { return std::string(i.param.name); });

}  // namespace
