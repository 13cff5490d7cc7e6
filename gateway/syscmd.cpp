// System commands of "/com/quv/igd1/Tevra/System" and its configuration block.
//
// The seventeen commands differ only in their method, arguments, input check and
// texts, so each is one row of kCommands and one generic runner makes the call.
// Passwords pass as call arguments and handed-out copies only: no entry line, check
// line or message of this file ever carries one.
#include <cstring>
#include <iterator>
#include <syslog.h>

#include "gateway/syscmd_tables.hpp"
#include "gateway/walkers.hpp"
#include "util/refusal.hpp"
#include "lumo3_core.h"
#include "lumo3_syscmd.h"
#include "lumo3_validate.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kPath[] = "/com/quv/igd1/Tevra/System";
constexpr const char kIface[] = "com.quv.igd1.SysCmd";

// A command's inputs, each kind in call order.
struct Args {
    const char *text[3] = {};  // NULL is sent as ""
    uint32_t num[3] = {};
    char **secret_out = nullptr;  // the password getters' output
};

struct Command {
    const char *tag;
    const char *method;
    const char *signature;  // the argument tuple built from Args, "()" for none
    const char *texts[3] = {};  // the names of the text arguments, in a refusal
    // Entry line at priority 7: `enter` when set, else the plain `entry` text.
    void (*enter)(const char *tag, const Args &) = nullptr;
    const char *entry = "enter";
    bool (*valid)(const Args &) = nullptr;  // null: nothing to check
    bool status_required = false;           // refused like bad input without `status`
    const char *invalid_message = nullptr;  // handed out when refused
    const char *invalid_line = nullptr;     // priority 3 when refused
    const char *fail_message = nullptr;     // handed out when the call fails
    const char *fail_line = nullptr;        // priority 3 when the call fails; null: fail_message
    // The service's message on a non-zero word; null: "Call <tag>() errmsg [%s]."
    const char *message_line = nullptr;
    int message_priority = LOG_ERR;
    const char *exit_line = nullptr;  // priority 7 with the status ("%d") at the end
};

bool filled(const char *s)
{
    return s && *s;
}

size_t length(const char *s)
{
    return s ? std::strlen(s) : 0;
}

// ---- entry lines ----

void enter_set_loid(const char *tag, const Args &a)
{
    // The LOID identifies the subscriber's line: it never reaches the log.
    lumo_log(tag, LOG_DEBUG, "enter, loid(%s), province(%s)", filled(a.text[0]) ? "<hidden>" : "",
             or_empty(a.text[2]));
}

void enter_set_datetime(const char *tag, const Args &a)
{
    lumo_log(tag, LOG_DEBUG, "enter, datatime (%s)", or_empty(a.text[0]));
}

void enter_upgrade(const char *tag, const Args &a)
{
    lumo_log(tag, LOG_DEBUG, "enter, url(%s), mode(%d), method(%d), needreboot(%d)", or_empty(a.text[0]),
             static_cast<int>(a.num[0]), static_cast<int>(a.num[1]), static_cast<int>(a.num[2]));
}

void enter_upload(const char *tag, const Args &a)
{
    lumo_log(tag, LOG_DEBUG, "enter, uploadurl(%s), faultcategory(%s)", or_empty(a.text[0]), or_empty(a.text[1]));
}

void enter_collect(const char *tag, const Args &a)
{
    lumo_log(tag, LOG_DEBUG, "enter, uploadurl (%s), category (%s), timeout (%d)", or_empty(a.text[0]), or_empty(a.text[1]),
             static_cast<int>(a.num[0]));
}

// ---- input checks ----

bool loid_ok(const Args &a)
{
    return filled(a.text[0]) && is_valid_loid_prov(a.text[2]);
}

bool datetime_ok(const Args &a)
{
    return is_valid_datetime(a.text[0]);
}

bool upgrade_ok(const Args &a)
{
    const int32_t method = static_cast<int32_t>(a.num[1]);
    return filled(a.text[0]) && std::strchr(a.text[0], '.') && a.num[0] <= 6 && (method == 0 || method == 1);
}

bool ua_check_ok(const Args &a)
{
    return length(a.text[0]) >= 5;
}

bool ua_set_ok(const Args &a)
{
    return length(a.text[0]) >= 5 && length(a.text[0]) <= 20;
}

bool ta_check_ok(const Args &a)
{
    return filled(a.text[0]);
}

bool trouble_ok(const Args &a)
{
    return filled(a.text[0]) && is_valid_tl_faultcategory(a.text[1]);
}

bool secret_out_ok(const Args &a)
{
    return a.secret_out != nullptr;
}

// ---- the commands ----

enum CommandId {
    kSetLOID,
    kRegisterLOID,
    kCheckLOID,
    kSetDateTime,
    kReboot,
    kRestore,
    kLocalRecovery,
    kUpgrade,
    kClearUpgradeStatus,
    kClearRestoreStatus,
    kCheckUAPasswd,
    kSetUAPasswd,
    kCheckTAPasswd,
    kUploadTroubleLocationInfo,
    kStartCollectionDebugInfo,
    kGetTAPasswd,
    kGetUAPasswd,
    kCommandCount
};

constexpr const char kInvalid[] = "Invalid Parameters.";
constexpr const char kInvalidLine[] = "Invalid Parameters";
constexpr const char kNoPasswd[] = "Invalid Parameters: passwd is NULL.";

// Some failure log lines lack the message's final full stop; they are kept so.
constexpr Command kCommands[] = {
    {.tag = "OvanSysCmdSetLOID", .method = "SetLOID", .signature = "(sss)", .texts = {"loid", "password", "province"},
     .enter = enter_set_loid,
     .valid = loid_ok, .invalid_message = "Invalid Parameters: empty loid or invalid provoice",
     .invalid_line = "Invalid Parameters: empty loid or invalid provoice",
     .fail_message = "Failed to call SetLOID() function.", .fail_line = "Failed to call SetLOID()",
     .message_line = "error (%s)", .message_priority = LOG_DEBUG},
    {.tag = "OvanSysCmdRegisterLOID", .method = "RegisterLOID", .signature = "()",
     .fail_message = "Failed to call RegisterLOID() function.", .fail_line = "Failed to call RegisterLOID()"},
    {.tag = "OvanSysCmdCheckLOID", .method = "CheckLOID", .signature = "()",
     .fail_message = "Failed to call CheckLOID.", .fail_line = "Failed to call CheckLOID"},
    {.tag = "OvanSysCmdSetDateTime", .method = "SetDateTime", .signature = "(s)", .texts = {"datetime"},
     .enter = enter_set_datetime,
     .valid = datetime_ok, .invalid_message = "Invalid datetime", .invalid_line = "Invalid datetime",
     .fail_message = "Failed to call SetDateTime() function.",
     .fail_line = "Failed to call SetDateTime() function"},
    {.tag = "OvanSysCmdReboot", .method = "Reboot", .signature = "()",
     .fail_message = "Failed to call Reboot() function."},
    {.tag = "OvanSysCmdRestore", .method = "Restore", .signature = "()",
     .fail_message = "Failed to call Restore() function."},
    {.tag = "OvanSysCmdLocalRecovery", .method = "LocalRecovery", .signature = "()",
     .fail_message = "Failed to call LocalRecovery() function."},
    {.tag = "OvanSysCmdUpgrade", .method = "Upgrade", .signature = "(suub)", .texts = {"url"},
     .enter = enter_upgrade,
     .valid = upgrade_ok, .invalid_message = kInvalid, .invalid_line = kInvalidLine,
     .fail_message = "Failed to call Upgrade() function.", .fail_line = "Failed to call Upgrade() function"},
    {.tag = "OvanSysCmdClearUpgradeStatus", .method = "ClearUpgradeStatus", .signature = "()",
     .fail_message = "Failed to call ClearUpgradeStatus() function.",
     .fail_line = "Failed to call ClearUpgradeStatus() function"},
    {.tag = "OvanSysCmdClearRestoreStatus", .method = "ClearRestoreStatus", .signature = "()",
     .fail_message = "Failed to call ClearRestoreStatus() function.",
     .fail_line = "Failed to call ClearRestoreStatus() function"},
    {.tag = "OvanSysCmdCheckUAPasswd", .method = "CheckUAPasswd", .signature = "(s)", .texts = {"passwd"},
     .valid = ua_check_ok,
     .invalid_message = "Invalid password.", .invalid_line = "Invalid password",
     .fail_message = "Failed to call CheckUAPasswd() function.",
     .fail_line = "Failed to call CheckUAPasswd() function"},
    {.tag = "OvanSysCmdSetUAPasswd", .method = "SetUAPasswd", .signature = "(s)", .texts = {"passwd"},
     .valid = ua_set_ok,
     .invalid_message = "Invalid Password, len [5 ~ 20].", .invalid_line = "Invalid Password, len [5 ~ 20]",
     .fail_message = "Failed to call SetUAPasswd() function.",
     .fail_line = "Failed to call SetUAPasswd() function"},
    {.tag = "OvanSysCmdCheckTAPasswd", .method = "CheckTAPasswd", .signature = "(s)", .texts = {"passwd"},
     .valid = ta_check_ok,
     .status_required = true, .invalid_message = kInvalid, .invalid_line = kInvalidLine,
     .fail_message = "Failed to call CheckTAPasswd() function."},
    {.tag = "OvanSysCmdUploadTroubleLocationInfo", .method = "UploadTroubleLocatingInfo", .signature = "(ss)",
     .texts = {"uploadurl", "faultcategory"}, .enter = enter_upload, .valid = trouble_ok, .status_required = true, .invalid_message = kInvalid,
     .invalid_line = kInvalidLine, .fail_message = "Failed to call UploadTroubleLocatingInfo() function.",
     .exit_line = "Exit, res(%d)"},
    {.tag = "OvanSysCmdStartCollectionDebugInfo", .method = "StartCollectionDebugInfo", .signature = "(ssq)",
     .texts = {"uploadurl", "category"}, .enter = enter_collect, .valid = trouble_ok, .status_required = true, .invalid_message = kInvalid,
     .invalid_line = kInvalidLine, .fail_message = "Failed to call StartCollectionDebugInfo() function."},
    {.tag = "OvanSysCmdGetTAPasswd", .method = "GetTAPasswd", .signature = "()", .entry = "enter.",
     .valid = secret_out_ok, .invalid_message = kNoPasswd, .invalid_line = kNoPasswd,
     .fail_message = "Failed to call GetTAPasswd() function."},
    {.tag = "OvanSysCmdGetUAPasswd", .method = "GetUAPasswd", .signature = "()", .entry = "enter.",
     .valid = secret_out_ok, .invalid_message = kNoPasswd, .invalid_line = kNoPasswd,
     .fail_message = "Failed to call GetUAPasswd() function."},
};
static_assert(std::size(kCommands) == kCommandCount, "one row per command, in CommandId order");

// The argument tuple of the command's signature ("(suub)" ...) from the inputs.
void build_args(const Command &c, const Args &a, ArgTuple &tuple)
{
    size_t t = 0, n = 0;
    for (const char *sig = c.signature + 1; *sig != ')'; ++sig) {
        switch (*sig) {
        case 's':
            tuple.s(c.texts[t], a.text[t]);
            ++t;
            break;
        case 'u': tuple.u(a.num[n++]); break;
        case 'b': tuple.b(a.num[n++] != 0); break;
        case 'q': tuple.q(static_cast<uint16_t>(a.num[n++])); break;
        default: break;
        }
    }
}

// The password getters' output: a copy of a non-empty password whatever the result
// word, NULL when no reply came, untouched for an empty one.
void hand_out_secret(const GPtr<GVariant> &lead, char **out)
{
    if (!lead || !g_variant_is_of_type(lead.get(), G_VARIANT_TYPE_STRING)) {
        *out = nullptr;
        return;
    }
    const char *secret = g_variant_get_string(lead.get(), nullptr);
    if (*secret)
        *out = g_strdup(secret);
}

int32_t run(CommandId id, const Args &a, uint32_t *status, char **errmsg)
{
    const Command &c = kCommands[id];
    if (c.enter)
        c.enter(c.tag, a);
    else
        lumo_log(c.tag, LOG_DEBUG, "%s", c.entry);
    if ((c.valid && !c.valid(a)) || (c.status_required && !status)) {
        lumo_log(c.tag, LOG_ERR, "%s", c.invalid_line);
        return fail_command(status, errmsg, c.invalid_message);
    }
    GStr own_line;
    if (!c.message_line)
        own_line.reset(g_strdup_printf("Call %s() errmsg [%%s].", c.tag));
    const CommandSpec shape{c.tag,
                           kPath,
                           kIface,
                           c.method,
                           c.fail_line ? c.fail_line : c.fail_message,
                           c.fail_message,
                           c.message_line ? c.message_line : own_line.get(),
                           c.message_priority};
    GPtr<GVariant> lead;
    int32_t ret;
    if (std::strcmp(c.signature, "()") == 0) {
        ret = run_command(shape, nullptr, status, errmsg, a.secret_out ? &lead : nullptr);
    } else {
        ArgTuple tuple(c.tag);
        build_args(c, a, tuple);
        ret = run_command(shape, tuple, status, errmsg, a.secret_out ? &lead : nullptr);
    }
    if (a.secret_out)
        hand_out_secret(lead, a.secret_out);
    if (c.exit_line)
        lumo_log(c.tag, LOG_DEBUG, c.exit_line, static_cast<int>(*status));  // status is mandatory there
    return ret;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetSystemCmdConfig(OvanSystemCmdConfig_t *info)
{
    static const char tag[] = "OvanGetSystemCmdConfig";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!info)
        return -1;
    return get_all_into(GetterSpec{tag, &syscmd::kConfigTable, 256, "OvanDBusGetAllProperty return %d"}, kPath, info);
}

LUMO3_API int32_t OvanSetSystemCmdConfig(OvanSystemCmdConfig_t *rec)
{
    static const char tag[] = "OvanSetSystemCmdConfig";
    if (!rec) {
        lumo_log(tag, LOG_ERR, "enter, NULL parameter.");
        return -1;
    }
    lumo_log(tag, LOG_DEBUG, "enter, MemAlarm(%d), MemLimit(%d)", rec->MemAlarm, rec->MemLimit);
    if (!lumo::refusal::in_range(tag, "MemAlarm", rec->MemAlarm, 50, 100) ||
        !lumo::refusal::in_range(tag, "MemLimit", rec->MemLimit, 50, 100)) {
        lumo_log(tag, LOG_ERR, "Invalid Parameter.");
        return -1;
    }
    return set_fields(kPath, kIface, syscmd::kConfigWritable, rec, tag);
}

LUMO3_API int32_t OvanSysCmdSetLOID(const char *loid, const char *password, const char *province, uint32_t *status,
                                    char **errmsg)
{
    return run(kSetLOID, {.text = {loid, password, province}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdRegisterLOID(uint32_t *status, char **errmsg)
{
    return run(kRegisterLOID, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdCheckLOID(uint32_t *status, char **errmsg)
{
    return run(kCheckLOID, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdSetDateTime(const char *datetime, uint32_t *status, char **errmsg)
{
    return run(kSetDateTime, {.text = {datetime}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdReboot(uint32_t *status, char **errmsg)
{
    return run(kReboot, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdRestore(uint32_t *status, char **errmsg)
{
    return run(kRestore, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdLocalRecovery(uint32_t *status, char **errmsg)
{
    return run(kLocalRecovery, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdUpgrade(const char *url, uint32_t mode, int32_t method, uint32_t needreboot,
                                    uint32_t *status, char **errmsg)
{
    return run(kUpgrade, {.text = {url}, .num = {mode, static_cast<uint32_t>(method), needreboot}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdClearUpgradeStatus(uint32_t *status, char **errmsg)
{
    return run(kClearUpgradeStatus, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdClearRestoreStatus(uint32_t *status, char **errmsg)
{
    return run(kClearRestoreStatus, {}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdCheckUAPasswd(const char *passwd, uint32_t *status, char **errmsg)
{
    return run(kCheckUAPasswd, {.text = {passwd}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdSetUAPasswd(const char *passwd, uint32_t *status, char **errmsg)
{
    return run(kSetUAPasswd, {.text = {passwd}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdCheckTAPasswd(const char *passwd, uint32_t *status, char **errmsg)
{
    return run(kCheckTAPasswd, {.text = {passwd}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdUploadTroubleLocationInfo(const char *uploadurl, const char *faultcategory,
                                                      uint32_t *status, char **errmsg)
{
    return run(kUploadTroubleLocationInfo, {.text = {uploadurl, faultcategory}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdStartCollectionDebugInfo(const char *uploadurl, const char *category, uint16_t timeout,
                                                     uint32_t *status, char **errmsg)
{
    return run(kStartCollectionDebugInfo, {.text = {uploadurl, category}, .num = {timeout}}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdGetTAPasswd(char **passwd, uint32_t *status, char **errmsg)
{
    return run(kGetTAPasswd, {.secret_out = passwd}, status, errmsg);
}

LUMO3_API int32_t OvanSysCmdGetUAPasswd(char **passwd, uint32_t *status, char **errmsg)
{
    return run(kGetUAPasswd, {.secret_out = passwd}, status, errmsg);
}

}  // extern "C"
