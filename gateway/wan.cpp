// WAN connections: all of them, one by path, one by name, the Internet one.
#include <cstring>
#include <syslog.h>

#include "gateway/walkers.hpp"
#include "gateway/wan_tables.hpp"
#include "lumo3_core.h"
#include "lumo3_wan.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;

constexpr const char kCollection[] = "/com/quv/igd1/Info/Network/WANConnectionDb";
constexpr const char kInstancePrefix[] = "/com/quv/igd1/Info/Network/WANConnectionDb/";
constexpr const char kDbInterface[] = "com.quv.igd1.WANConnectionDb";

int32_t get_objs(const char *tag, const RecordTable &table, void **objs, uint32_t *num)
{
    lumo_log(tag, LOG_DEBUG, "objs(%p)", static_cast<void *>(objs));
    if (!num)
        return -1;
    return enumerate(CollectionSpec{tag, &table, "num(%d)", 255}, kCollection, objs, num);
}

int32_t get_one(const char *tag, const RecordTable &table, OvanObjPath_t &path, void *rec)
{
    if (int32_t ret = instance_begin({tag}, {nullptr, kCollection, kInstancePrefix}, path, rec != nullptr))
        return ret;
    return get_all_into(GetterSpec{tag, &table, 256, "OvanDBusGetAllProperty() failed with %d or dict = NULL.",
                                   "Failed with the reason: no items in the returned connection <%s>."},
                        path.str, rec);
}

using Getter = int32_t (*)(OvanObjPath_t, void *);

// The instance getter on the object path a look-up answered with (a path of another
// type, or none, leaves the path empty and the getter refuses it).
int32_t get_at(const GPtr<GVariant> &lead, Getter getter, void *rec)
{
    OvanObjPath_t path{};
    if (lead && g_variant_is_of_type(lead.get(), G_VARIANT_TYPE_OBJECT_PATH))
        g_strlcpy(path.str, g_variant_get_string(lead.get(), nullptr), 255);
    return getter(path, rec);
}

int32_t get_by_name(const char *tag, const char *name, void *rec, Getter getter, uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "name(%s)", name ? name : "");
    if (!name || !*name || !rec)
        return fail_command(status, errmsg, "Invalid parameters.");
    // The message line names the first-layout function, also from the v4 one.
    const CommandSpec shape{tag,
                           kCollection,
                           kDbInterface,
                           "GetWANConnByName",
                           "Call GetWANConnByName() failed.",
                           "Internal Error",
                           "Call OvanGetWANConnectionByName() errmsg [%s]."};
    GPtr<GVariant> lead;
    if (run_command(shape, g_variant_new("(s)", name), status, errmsg, &lead) != 0)
        return -1;
    const int32_t ret = get_at(lead, getter, rec);
    if (ret != 0)
        fail_command(status, errmsg, "Get WanConnection failed.");
    return ret;
}

int32_t get_internet(const char *tag, void *rec, Getter getter, uint32_t *status, char **errmsg)
{
    lumo_log(tag, LOG_DEBUG, "Enter");
    if (!rec) {
        lumo_log(tag, LOG_ERR, "Invalid parameter.");
        return fail_command(status, errmsg, "Invalid parameters.");
    }
    CommandSpec shape{tag,
                     kCollection,
                     kDbInterface,
                     "GetInternetConnIndex",
                     "Call GetInternetConnIndex() failed.",
                     "Call GetInternetConnIndex() failed.",
                     "Call OvanGetInternetWANConnection() errmsg [%s].",
                     LOG_INFO};
    shape.reply_line = "GetInternetConnIndex() return [%s]";
    GPtr<GVariant> lead;
    if (run_command(shape, nullptr, status, errmsg, &lead) != 0)
        return -1;
    // A connection that cannot be read is the getter's failure alone: status and
    // message stay as the service gave them.
    return get_at(lead, getter, rec);
}

int32_t get_connection(OvanObjPath_t path, void *rec)
{
    return get_one("OvanGetWANConnection", wan::kConnectionTable, path, rec);
}

int32_t get_connectionv4(OvanObjPath_t path, void *rec)
{
    return get_one("OvanGetWANConnectionv4", wan::kConnectionv4Table, path, rec);
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanGetWANConnectionObjs(OvanWANConnection_t **objs, uint32_t *num)
{
    return get_objs("OvanGetWANConnectionObjs", wan::kConnectionTable, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetWANConnectionObjsv4(OvanWANConnectionv4_t **objs, uint32_t *num)
{
    return get_objs("OvanGetWANConnectionObjsv4", wan::kConnectionv4Table, reinterpret_cast<void **>(objs), num);
}

LUMO3_API int32_t OvanGetWANConnection(OvanObjPath_t path, OvanWANConnection_t *rec)
{
    return get_connection(path, rec);
}

LUMO3_API int32_t OvanGetWANConnectionv4(OvanObjPath_t path, OvanWANConnectionv4_t *rec)
{
    return get_connectionv4(path, rec);
}

LUMO3_API int32_t OvanGetWANConnectionByName(const char *name, OvanWANConnection_t *rec, uint32_t *status,
                                             char **errmsg)
{
    return get_by_name("OvanGetWANConnectionByName", name, rec, get_connection, status, errmsg);
}

LUMO3_API int32_t OvanGetWANConnectionByNamev4(const char *name, OvanWANConnectionv4_t *rec, uint32_t *status,
                                               char **errmsg)
{
    return get_by_name("OvanGetWANConnectionByNamev4", name, rec, get_connectionv4, status, errmsg);
}

LUMO3_API int32_t OvanGetInternetWANConnection(OvanWANConnection_t *rec, uint32_t *status, char **errmsg)
{
    return get_internet("OvanGetInternetWANConnection", rec, get_connection, status, errmsg);
}

LUMO3_API int32_t OvanGetInternetWANConnectionv4(OvanWANConnectionv4_t *rec, uint32_t *status, char **errmsg)
{
    return get_internet("OvanGetInternetWANConnectionv4", rec, get_connectionv4, status, errmsg);
}

}  // extern "C"
