// HTTP download test, speed tests, feature flags and the CloudVR account.
#include "gateway/speedtest_tables.hpp"
#include "lumo3_speedtest.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {

namespace {

namespace gw = lumo::gw;
namespace t = lumo::gw::speedtest;
using namespace reg;

Contribution speedtest()
{
    std::vector<Entry> entries = {
        {.object = "httpdownload", .layout = "", .help = "the HTTP download test: its result and URL",
         .table = &t::kHttpDownloadTable, .get = Adapt<OvanGetHttpDownloadTestResult>::rec,
         .writable = fields({gw::pick(t::kHttpDownload, {"URL"})}),
         .set = [](void *r, const Given &) {
             return OvanSetHttpDownloadTestURL(static_cast<OvanHttpDownloadTestResult_t *>(r)->URL);
         }},
        {.object = "speedtest-ff", .layout = "", .help = "the operator speed test: its result and configuration",
         .table = &t::kSpeedTestFFTable, .get = Adapt<OvanGetSpeedTestFFResult>::rec,
         .writable = fields({t::kSpeedTestFFConfig}),
         .set = [](void *r, const Given &) {
             auto *c = static_cast<OvanSpeedTestFFResult_t *>(r);
             return OvanSetSpeedTestFFConfig(c->Ticket, c->SpeedType, c->URL);
         }},
        {.object = "speedtest-ff", .layout = "v4", .help = "", .table = &t::kSpeedTestFFv4Table,
         .get = Adapt<OvanGetSpeedTestFFResultv4>::rec},
        {.object = "speedtest-local", .layout = "", .help = "the local speed test: its result and configuration",
         .table = &t::kSpeedTestLocalTable, .get = Adapt<OvanGetSpeedTestLocalv4>::rec,
         .writable = fields({t::kSpeedTestLocalConfig}),
         .set = [](void *r, const Given &) {
             auto *c = static_cast<OvanSpeedTestLocal_t *>(r);
             return OvanSetSpeedTestLocalConfigv4(c->Enable, c->SpeedType, c->RFU1, c->RFU2);
         }},
        {.object = "featureflag", .layout = "", .help = "the gateway's feature flags", .table = &t::kFeatureFlagTable,
         .get = Adapt<OvanGetFeatureFlagv4>::rec},
        {.object = "cloudvr", .layout = "", .help = "the CloudVR account", .table = &t::kCloudVRTable,
         .get = Adapt<OvanGetCloudVRv4>::rec},
    };
    std::vector<Command> commands = {
        {"httpdownload", "start", "start the HTTP download test for SECONDS (0..3600)", {"SECONDS"}, false, false,
         [](Args a, CommandResult &o) {
             auto seconds = number<int32_t>(a[0], "SECONDS");
             return reported(o, [&](uint32_t *s, char **m) { return OvanStartHttpDownloadTest(seconds, s, m); });
         }},
        {"httpdownload", "url", "show the HTTP download test's URL", {}, false, false,
         [](Args, CommandResult &o) {
             char *url = nullptr;
             o.has_status = false;
             int32_t rc = OvanGetHttpDownloadTestURL(&url);
             if (url)
                 o.result = url;
             g_free(url);
             return rc;
         }},
        {"speedtest-ff", "start", "start the operator speed test for SECONDS (0..3600)", {"SECONDS"}, false, false,
         [](Args a, CommandResult &o) {
             auto seconds = number<int32_t>(a[0], "SECONDS");
             return reported(o, [&](uint32_t *s, char **m) { return OvanStartSpeedTestFF(seconds, s, m); });
         }},
        {"speedtest-local", "start", "start the local speed test", {}, false, false,
         [](Args, CommandResult &o) { return reported(o, OvanStartSpeedTestLocalv4); }},
    };
    return {entries, commands};
}

const FamilyRegistrar kSpeedTest("63-speedtest", speedtest);

}  // namespace

}  // namespace lumoctl
