// HTTP download test, operator and local speed tests (three interfaces of one
// object), feature flags and the CloudVR account.
#include <cstring>
#include <syslog.h>

#include "gateway/speedtest_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_speedtest.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
namespace tables = lumo::gw::speedtest;

constexpr const char kTestPath[] = "/com/quv/igd1/Diagnostics/HttpDownload";
constexpr const char kHttpIface[] = "com.quv.igd1.HttpDownloadTest";
constexpr int32_t kLongestTest = 3600;  // seconds
constexpr int32_t kLastSpeedType = 3;

constexpr const char kStartFailed[] = "Failed to call StartTest() function.";

// Starts a test and reports the gateway's word and message. args: null for none.
int32_t start_test(const char *tag, const char *iface, const char *fail_line, GVariant *args, uint32_t *status,
                   char **errmsg)
{
    lumo::GStr message_line(g_strdup_printf("Call %s() errmsg [%%s].", tag));
    CommandSpec shape{tag, kTestPath, iface, "StartTest", fail_line, kStartFailed, message_line.get()};
    shape.fail_line_with_ret = true;
    return run_command(shape, args, status, errmsg);
}

// A timed test: the duration is checked before anything is sent.
int32_t start_timed_test(const char *tag, const char *iface, const char *fail_line, int32_t time, uint32_t *status,
                         char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "enter, time(%d)", time);
    if (time < 0 || time > kLongestTest) {
        lumo_log(tag, LOG_ERR, "Invalid parameter time[%d]", time);
        return fail_command(status, errmsg, "Invalid Parameter.");
    }
    return start_test(tag, iface, fail_line, g_variant_new("(u)", static_cast<guint32>(time)), status, errmsg);
}

bool speed_type_ok(int32_t type)
{
    return type >= 0 && type <= kLastSpeedType;
}

// Length of s if it has at most max characters, else max + 1 (also for NULL: 0).
size_t bounded_length(const char *s, size_t max)
{
    return s ? strnlen(s, max + 1) : 0;
}

}  // namespace

extern "C" {

// ---- HTTP download test ----

LUMO3_API int32_t OvanSetHttpDownloadTestURL(const char *url)
{
    static const char tag[] = "OvanSetHttpDownloadTestURL";
    lumo_log(tag, LOG_DEBUG, "url(%s)", or_empty(url));
    if (!url || !*url || !std::strchr(url, '.')) {
        lumo_log(tag, LOG_ERR, "invalid url(%s)", or_empty(url));
        return -1;
    }
    int32_t ret = set_text_property(tag, kTestPath, kHttpIface, "URL", url);
    lumo_log(tag, LOG_DEBUG, "operation(%s)", ret == 0 ? "OVAN_OK" : "OVAN_NOK");
    return ret == 0 ? 0 : -1;
}

LUMO3_API int32_t OvanGetHttpDownloadTestURL(char **url)
{
    static const char tag[] = "OvanGetHttpDownloadTestURL";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!url) {
        lumo_log(tag, LOG_ERR, "invalid parameter: NULL input.");
        return -1;
    }
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusGetProperty(kService, kTestPath, kHttpIface, "URL", &raw);
    GPtr<GVariant> value(raw);
    if (ret != 0 || !value || !g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING))
        return -1;
    *url = g_variant_dup_string(value.get(), nullptr);
    lumo_log(tag, LOG_DEBUG, "url (%s)", *url);
    return 0;
}

LUMO3_API int32_t OvanStartHttpDownloadTest(int32_t time, uint32_t *status, char **errmsg)
{
    return start_timed_test("OvanStartHttpDownloadTest", kHttpIface, "startDownloadTest ret [%d], or info = NULL.",
                            time, status, errmsg);
}

LUMO3_API int32_t OvanGetHttpDownloadTestResult(OvanHttpDownloadTestResult_t *rec)
{
    static const char tag[] = "OvanGetHttpDownloadTestResult";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!rec) {
        lumo_log(tag, LOG_ERR, "invalid parameter: NULL input.");
        return -1;
    }
    return get_all_into({tag, &tables::kHttpDownloadTable, 255}, kTestPath, rec);
}

// ---- operator speed test ----

LUMO3_API int32_t OvanGetSpeedTestFFResult(OvanSpeedTestFFResult_t *rec)
{
    return get_singleton({"OvanGetSpeedTestFFResult", &tables::kSpeedTestFFTable, 255}, "enter", kTestPath, rec);
}

LUMO3_API int32_t OvanGetSpeedTestFFResultv4(OvanSpeedTestFFResultv4_t *rec)
{
    return get_singleton({"OvanGetSpeedTestFFResultv4", &tables::kSpeedTestFFv4Table, 255}, "enter", kTestPath,
                         rec);
}

LUMO3_API int32_t OvanSetSpeedTestFFConfig(const char *ticket, int32_t speedType, const char *url)
{
    static const char tag[] = "OvanSetSpeedTestFFConfig";
    lumo_log(tag, LOG_DEBUG, "enter, speedType(%d)", speedType);
    OvanSpeedTestFFResult_t rec{};
    const size_t ticket_len = bounded_length(ticket, 64);
    const size_t url_len = bounded_length(url, sizeof rec.URL);
    if (ticket_len == 0 || ticket_len > 64 || url_len == 0 || url_len > sizeof rec.URL || !speed_type_ok(speedType)) {
        lumo_log(tag, LOG_ERR, "invalid parameters");
        return -1;
    }
    // A URL of the full 1024 characters fills its field without a terminator; the
    // dictionary is built from the field's width.
    std::memcpy(rec.Ticket, ticket, ticket_len);
    std::memcpy(rec.URL, url, url_len);
    rec.SpeedType = static_cast<uint8_t>(speedType);
    return set_fields(kTestPath, tables::kSpeedTestFFTable.interface, tables::kSpeedTestFFConfig, &rec, tag);
}

LUMO3_API int32_t OvanStartSpeedTestFF(int32_t time, uint32_t *status, char **errmsg)
{
    return start_timed_test("OvanStartSpeedTestFF", tables::kSpeedTestFFTable.interface,
                            "StartTest ret [%d], or info = NULL.", time, status, errmsg);
}

// ---- local speed test ----

LUMO3_API int32_t OvanGetSpeedTestLocalv4(OvanSpeedTestLocal_t *rec)
{
    return get_singleton({"OvanGetSpeedTestLocalv4", &tables::kSpeedTestLocalTable, 255}, "enter", kTestPath, rec);
}

LUMO3_API int32_t OvanSetSpeedTestLocalConfigv4(int32_t enable, int32_t speedType, const char *RFU1,
                                                const char *RFU2)
{
    static const char tag[] = "OvanSetSpeedTestLocalConfigv4";
    lumo_log(tag, LOG_DEBUG, "enter, enable(%d), speedType(%d)", enable, speedType);
    OvanSpeedTestLocal_t rec{};
    // Longer reserved values would be read back cut: refused rather than cut here.
    const size_t rfu1_len = bounded_length(RFU1, sizeof rec.RFU1 - 1);
    const size_t rfu2_len = bounded_length(RFU2, sizeof rec.RFU2 - 1);
    if (!speed_type_ok(speedType) || rfu1_len >= sizeof rec.RFU1 || rfu2_len >= sizeof rec.RFU2) {
        lumo_log(tag, LOG_ERR, "invalid parameters");
        return -1;
    }
    rec.Enable = enable != 0;
    rec.SpeedType = static_cast<uint8_t>(speedType);
    const auto &config = tables::kSpeedTestLocalConfig;  // Enable, SpeedType, RFU1, RFU2
    Field sent[std::size(config)] = {config[0], config[1]};
    size_t n = 2;
    if (rfu1_len) {
        std::memcpy(rec.RFU1, RFU1, rfu1_len);
        sent[n++] = config[2];
    }
    if (rfu2_len) {
        std::memcpy(rec.RFU2, RFU2, rfu2_len);
        sent[n++] = config[3];
    }
    return set_fields(kTestPath, tables::kSpeedTestLocalTable.interface, Fields(sent, n), &rec, tag);
}

LUMO3_API int32_t OvanStartSpeedTestLocalv4(uint32_t *status, char **errmsg)
{
    static const char tag[] = "OvanStartSpeedTestLocalv4";
    lumo_log(tag, LOG_DEBUG, "enter");
    return start_test(tag, tables::kSpeedTestLocalTable.interface, "StartTest ret [%d], or info = NULL.", nullptr,
                      status, errmsg);
}

// ---- information ----

LUMO3_API int32_t OvanGetFeatureFlagv4(OvanFeatureFlag_t *rec)
{
    return get_singleton({"OvanGetFeatureFlagv4", &tables::kFeatureFlagTable, 255}, "Enter.",
                         "/com/quv/igd1/Info/FeatureFlag", rec);
}

LUMO3_API int32_t OvanGetCloudVRv4(OvanCloudVR_t *rec)
{
    return get_singleton({"OvanGetCloudVRv4", &tables::kCloudVRTable, 255}, "Enter.", "/com/quv/igd1/Info/CLOUDVR",
                         rec);
}

}  // extern "C"
