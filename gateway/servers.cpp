// FTP, Samba, HTTP and Telnet servers and their accounts.
#include <cstring>
#include <syslog.h>

#include "gateway/servers_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_core.h"
#include "lumo3_servers.h"

namespace {

using namespace lumo::gw;
using lumo::GStr;

constexpr const char kFtpPath[] = "/com/quv/igd1/Storage/Ftpserver";
constexpr const char kSambaPath[] = "/com/quv/igd1/Storage/SambaServer";
constexpr const char kTelnetPath[] = "/com/quv/igd1/Network/Telnetserver";

// FTP and Samba are storage features behind the USB gate; Telnet is not.
constexpr Instances kFtpAccounts{&servers::kFTPAccountTable, "/com/quv/igd1/Storage/Ftpserver/Accounts",
                                 "/com/quv/igd1/Storage/Ftpserver/Accounts/", usb_guard};
constexpr Instances kSambaAccounts{&servers::kSambaAccountTable, "/com/quv/igd1/Storage/SambaServer/Accounts",
                                   "/com/quv/igd1/Storage/SambaServer/Accounts/", usb_guard};
constexpr Instances kTelnetAccounts{&servers::kTelnetAccountTable, "/com/quv/igd1/Network/Telnetserver/Accounts",
                                    "/com/quv/igd1/Network/Telnetserver/Accounts/"};

template <typename R>
int32_t server_get(const char *tag, const RecordTable &table, const char *path, R *rec,
                   void (*after)(void *) = nullptr)
{
    lumo_log(tag, LOG_DEBUG, "enter");
    if (int32_t g = usb_guard())
        return g;
    if (!rec)
        return -1;
    return get_all_into({tag, &table, 255, nullptr, nullptr, after}, path, rec);
}

template <typename R>
int32_t server_set(const char *tag, const RecordTable &table, Fields writable, const char *path, const R *rec)
{
    lumo_log(tag, LOG_DEBUG, "enter");
    if (int32_t g = usb_guard())
        return g;
    if (!rec || rec->Enable > 3) {
        lumo_log(tag, LOG_ERR, "NULL obj or invalid Enable value [0 ~ 3]");
        return -1;
    }
    return set_fields(path, table.interface, writable, rec, tag);
}

int32_t account_set(const char *tag, const Instances &a, const OvanObjPath_t &path, const OvanFileAccount_t *rec)
{
    if (int32_t ret = instance_begin({tag, "Invalid parameters.", "enter"}, a, path, rec != nullptr))
        return ret;
    if (rec->UserName[0] == '\0') {
        lumo_log(tag, LOG_ERR, "Empty UserName");
        return -1;
    }
    return set_fields(path.str, a.table->interface, a.table->fields, rec, tag);
}

template <int32_t (*Setter)(OvanObjPath_t, OvanFileAccount_t *)>
int32_t account_add(const char *tag, const Instances &a, OvanFileAccount_t *rec, int32_t (*deleter)(OvanObjPath_t))
{
    // The password is masked: this line goes to syslog, which other users may read.
    GStr name(rec ? g_strndup(rec->UserName, sizeof rec->UserName) : g_strdup(""));
    const bool has_password = rec && rec->Password[0] != '\0';
    lumo_log(tag, LOG_DEBUG, "enter, username <%s>, password <%s>", name.get(), has_password ? "******" : "");
    return instance_add(
        tag, a, rec, a.table->fields,
        [](OvanObjPath_t p, void *r) { return Setter(p, static_cast<OvanFileAccount_t *>(r)); }, deleter);
}

}  // namespace

extern "C" {

LUMO3_API int32_t Ovan_GetFTPServer(OvanFTPServer_t *obj)
{
    // The record names the server in lower case although it is read at kFtpPath.
    return server_get("Ovan_GetFTPServer", servers::kFTPServerTable, kFtpPath, obj,
                      [](void *r) { copy_path(r, "/com/quv/igd1/Storage/ftpserver", 255); });
}

LUMO3_API int32_t Ovan_SetFtpServer(OvanFTPServer_t *obj)
{
    return server_set("Ovan_SetFtpServer", servers::kFTPServerTable, servers::kFTPServerWritable, kFtpPath, obj);
}

LUMO3_API int32_t Ovan_GetFTPAccountObjs(OvanFileAccount_t **objs, uint32_t *num)
{
    return instance_list("Ovan_GetFTPAccountObjs", kFtpAccounts, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t Ovan_GetFTPAccount(OvanObjPath_t path, OvanFileAccount_t *obj)
{
    return instance_get({"Ovan_GetFTPAccount", "invalid parameter."}, kFtpAccounts, path, obj);
}

LUMO3_API int32_t Ovan_SetFTPAccount(OvanObjPath_t path, OvanFileAccount_t *obj)
{
    return account_set("Ovan_SetFTPAccount", kFtpAccounts, path, obj);
}

LUMO3_API int32_t Ovan_AddFtpAccount(OvanFileAccount_t *obj)
{
    return account_add<Ovan_SetFTPAccount>("Ovan_AddFtpAccount", kFtpAccounts, obj, Ovan_DelFtpAccount);
}

LUMO3_API int32_t Ovan_DelFtpAccount(OvanObjPath_t path)
{
    return instance_delete({"Ovan_DelFtpAccount", "Invalid Parameter."}, kFtpAccounts, path);
}

LUMO3_API int32_t Ovan_GetSambaServer(OvanSambaServer_t *obj)
{
    return server_get("Ovan_GetSambaServer", servers::kSambaServerTable, kSambaPath, obj);
}

LUMO3_API int32_t Ovan_SetSambaServer(OvanSambaServer_t *obj)
{
    return server_set("Ovan_SetSambaServer", servers::kSambaServerTable, servers::kSambaServer, kSambaPath, obj);
}

LUMO3_API int32_t Ovan_GetSambaAccountObjs(OvanFileAccount_t **objs, uint32_t *num)
{
    return instance_list("Ovan_GetSambaAccountObjs", kSambaAccounts, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t Ovan_GetSambaAccount(OvanObjPath_t path, OvanFileAccount_t *obj)
{
    return instance_get({"Ovan_GetSambaAccount", "invalid parameter."}, kSambaAccounts, path, obj);
}

LUMO3_API int32_t Ovan_SetSambaAccount(OvanObjPath_t path, OvanFileAccount_t *obj)
{
    return account_set("Ovan_SetSambaAccount", kSambaAccounts, path, obj);
}

LUMO3_API int32_t Ovan_AddSambaAccount(OvanFileAccount_t *obj)
{
    return account_add<Ovan_SetSambaAccount>("Ovan_AddSambaAccount", kSambaAccounts, obj, Ovan_DelSambaAccount);
}

LUMO3_API int32_t Ovan_DelSambaAccount(OvanObjPath_t path)
{
    return instance_delete({"Ovan_DelSambaAccount", "Invalid Parameter."}, kSambaAccounts, path);
}

LUMO3_API int32_t Ovan_GetHttpServer(OvanHttpServer_t *obj)
{
    return get_singleton({"Ovan_GetHttpServer", &servers::kHttpServerTable, 255}, "enter",
                         "/com/quv/igd1/Network/HTTPServer", obj);
}

LUMO3_API int32_t OvanGetTelnetServerConfig(OvanTelnetServer_t *obj)
{
    return get_singleton({"OvanGetTelnetServerConfig", &servers::kTelnetServerTable, 255}, "enter", kTelnetPath,
                         obj);
}

LUMO3_API int32_t OvanEnableTelnetServer(uint32_t enable)
{
    static const char tag[] = "OvanEnableTelnetServer";
    lumo_log(tag, LOG_DEBUG, "enter, enable = %d", static_cast<int>(enable));
    if (enable > 3) {
        lumo_log(tag, LOG_ERR, "Invalid parameter");
        return -1;
    }
    OvanTelnetServer_t rec{};
    rec.Enable = static_cast<uint8_t>(enable);
    return set_fields(kTelnetPath, servers::kTelnetServerTable.interface, servers::kTelnetEnable, &rec, tag);
}

LUMO3_API int32_t OvanGetTelnetAccountObjs(OvanTelnetAccount_t **objs, uint32_t *num)
{
    return instance_list("OvanGetTelnetAccountObjs", kTelnetAccounts, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetTelnetAccount(OvanObjPath_t path, OvanTelnetAccount_t *obj)
{
    return instance_get({"OvanGetTelnetAccount", "invalid path."}, kTelnetAccounts, path, obj);
}

}  // extern "C"
