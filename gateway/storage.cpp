// USB storage devices and NAS file operations. Both report the gateway's own result
// code and text through optional outputs.
#include <cstdint>
#include <cstring>
#include <syslog.h>

#include "gateway/storage_tables.hpp"
#include "gateway/walkers.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_storage.h"

namespace {

using namespace lumo::gw;
using lumo::GPtr;
using lumo::GStr;

constexpr const char kDevices[] = "/com/quv/igd1/Storage/usb/devices";
constexpr const char kDevicePrefix[] = "/com/quv/igd1/Storage/usb/devices/";
constexpr const char kNasPath[] = "/com/quv/igd1/Storage/nas";
constexpr const char kNasIface[] = "com.quv.igd1.NASAccess";

// One USB or NAS operation: where it goes and the library's own messages.
struct Operation {
    const char *tag;
    const char *method;
    const char *bad_args;     // handed out with code 1 when the arguments are refused
    const char *reply_type;   // the whole reply, leading value included
};

// Refused arguments: code 1 and the operation's message.
int32_t refuse(const Operation &op, uint32_t *code, char **text)
{
    lumo_log(op.tag, LOG_ERR, "%s", op.bad_args);
    return fail_command(code, text, op.bad_args);
}

// Calls the operation on `path`/`iface`; a reply of another shape, or none, is the
// library's failure ("Failed to call <method>() function.").
int32_t call(const Operation &op, const char *path, const char *iface, GVariant *args, uint32_t *code, char **text,
             GPtr<GVariant> *lead = nullptr)
{
    GStr fail(g_strdup_printf("Failed to call %s() function.", op.method));
    CommandSpec shape{op.tag, path, iface, op.method, fail.get(), fail.get(), nullptr};
    shape.reply_type = op.reply_type;
    return run_command(shape, args, code, text, lead);
}

// Arguments with texts: a refused one fails the call with nothing sent.
int32_t call(const Operation &op, const char *path, const char *iface, ArgTuple &args, uint32_t *code, char **text,
             GPtr<GVariant> *lead = nullptr)
{
    if (args.refused())
        return fail_command(code, text, args.problem());
    return call(op, path, iface, args.end(), code, text, lead);
}

bool given(const char *s)
{
    return s && *s;
}

// The one-entry option dictionary that Mount and Unmount take.
GVariant *null_options()
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&b, "{sv}", "NULL", g_variant_new_string("NULL"));
    return g_variant_new("(@a{sv})", g_variant_builder_end(&b));
}

// The devices as Ovan_GetUSBDeviceObjs lists them, released with the holder.
struct DeviceList {
    OvanUSBDevice_t *objs = nullptr;
    uint32_t num = 0;
    ~DeviceList() { g_free(objs); }
};

const OvanUSBDevice_t *find_device(const DeviceList &list, bool (*match)(const OvanUSBDevice_t &, const void *),
                                   const void *key)
{
    for (uint32_t i = 0; list.objs && i < list.num; i++)
        if (match(list.objs[i], key))
            return &list.objs[i];
    return nullptr;
}

// Mount and unmount: find the device, then call `op` on it with the "NULL" options.
int32_t on_device(const Operation &op, bool (*match)(const OvanUSBDevice_t &, const void *), const void *key,
                  const char *missing, uint32_t *code, char **text, GPtr<GVariant> *lead)
{
    DeviceList list;
    if (Ovan_GetUSBDeviceObjs(&list.objs, &list.num) != 0)
        return fail_command(code, text, "Failed to Get USB Device Objects.");
    const OvanUSBDevice_t *dev = find_device(list, match, key);
    if (!dev) {
        lumo_log(op.tag, LOG_ERR, "%s", missing);
        return fail_command(code, text, missing);
    }
    return call(op, dev->path, storage::kFileSystemIface, null_options(), code, text, lead);
}

bool device_path_ok(const OvanObjPath_t &path)
{
    return path_terminated(path) && path.str[0] && g_variant_is_object_path(path.str);
}

// The NAS operations taking one or two names and answering "(u&s)".
// `names` name the arguments in a refusal of their text.
int32_t nas_names(const Operation &op, const char *entry_line, const char *const (&names)[2], const char *first,
                  const char *second, bool two, uint32_t *code, char **text, GPtr<GVariant> *lead = nullptr)
{
    if (two)
        lumo_log(op.tag, LOG_DEBUG, entry_line, or_empty(first), or_empty(second));
    else
        lumo_log(op.tag, LOG_DEBUG, entry_line, or_empty(first));
    if (int32_t g = usb_guard())
        return g;
    if (!given(first) || (two && !given(second)))
        return refuse(op, code, text);
    ArgTuple args(op.tag);
    args.s(names[0], first);
    if (two)
        args.s(names[1], second);
    return call(op, kNasPath, kNasIface, args, code, text, lead);
}

}  // namespace

extern "C" {

// ---- USB devices ----

LUMO3_API int32_t Ovan_GetUSBDeviceObjs(OvanUSBDevice_t **objs, uint32_t *num)
{
    static const char tag[] = "Ovan_GetUSBDeviceObjs";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    GVariant *raw = nullptr;
    const int32_t ret = OvanDBusCallMethod(kService, kDevices, kObjectManager, "GetManagedObjects", nullptr, &raw, -1);
    GPtr<GVariant> reply(raw);
    if (ret != 0 || !reply || !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(a{oa{sa{sv}}})"))) {
        lumo_log(tag, LOG_ERR, "ret [%d], or info = NULL", ret);
        return -1;
    }
    GPtr<GVariant> map(g_variant_get_child_value(reply.get(), 0));
    CollectionSpec shape{tag, &storage::kUSBDeviceTable, "entry num (%d)", 255};
    shape.also_interface = storage::kFileSystemIface;
    if (walk_object_map(shape, map.get(), reinterpret_cast<void **>(objs), num) != 0) {
        lumo_log(tag, LOG_ERR, "allocate memory failed.");
        return -1;
    }
    return 0;
}

LUMO3_API int32_t Ovan_GetUSBDevice(OvanObjPath_t path, OvanUSBDevice_t *rec)
{
    static const char tag[] = "Ovan_GetUSBDevice";
    if (int32_t ret = instance_begin({tag}, {nullptr, nullptr, kDevicePrefix}, path, rec != nullptr))
        return ret;
    for (const RecordTable *table : {&storage::kUSBDeviceTable, &storage::kUSBFileSystemTable})
        if (get_all_into({tag, table, 255, "ret [%d] or dict == NULL"}, path.str, rec) != 0)
            return -1;
    return 0;
}

LUMO3_API int32_t OvanGetUsbDeviceInfo(OvanVariant *value, OvanUSBDevice_t *pUsbEntry)
{
    static const char tag[] = "OvanGetUsbDeviceInfo";
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!value || !pUsbEntry) {
        lumo_log(tag, LOG_ERR, "Invalid parameter 'value' or 'pUsbEntry'.");
        return -1;
    }
    // A value of another shape is told apart before anything is taken from it.
    if (!g_variant_is_of_type(value, G_VARIANT_TYPE("(oa{sa{sv}})"))) {
        lumo_log(tag, LOG_ERR, "get usb device path failed.");
        return -1;
    }
    const char *path = nullptr;
    GVariant *raw_ifaces = nullptr;
    g_variant_get(value, "(&o@a{sa{sv}})", &path, &raw_ifaces);
    GPtr<GVariant> ifaces(raw_ifaces);
    if (!path || !*path) {
        lumo_log(tag, LOG_ERR, "get usb device path failed.");
        return -1;
    }
    copy_path(pUsbEntry, path, 255);
    fill_from_interfaces(storage::kUSBDeviceTable, storage::kFileSystemIface, pUsbEntry, ifaces.get());
    // Fields the notification did not carry keep what the caller left there, which
    // need not be terminated.
    const OvanUSBDevice_t &d = *pUsbEntry;
    GStr name(g_strndup(d.DeviceName, sizeof d.DeviceName)), point(g_strndup(d.MountPoint, sizeof d.MountPoint)),
        label(g_strndup(d.Label, sizeof d.Label));
    lumo_log(tag, LOG_DEBUG,
             "usb device info: path = %s, type = %d, id = %d, name = %s, mountpoint = %s, totalsize = %lld, "
             "usedsize = %lld, freesize = %lld, label = %s",
             d.path, d.DeviceType, d.DeviceId, name.get(), point.get(), static_cast<long long>(d.TotalSize),
             static_cast<long long>(d.UsedSize), static_cast<long long>(d.FreeSize), label.get());
    return 0;
}

LUMO3_API int32_t Ovan_USBMount(int32_t devid, char **mountPoint, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_USBMount", "Mount", "Invalid Parameters.", "(sus)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, devid (%d)", devid);
    if (int32_t g = usb_guard())
        return g;
    GPtr<GVariant> lead;
    // The gateway's text is handed out only to a caller that also takes the code.
    const int32_t ret = on_device(
        op, [](const OvanUSBDevice_t &d, const void *key) { return d.DeviceId == *static_cast<const int32_t *>(key); },
        &devid, "Failed to found usb device with required devid.", code, code ? text : nullptr, &lead);
    lead_string(lead, mountPoint);
    return ret;
}

LUMO3_API int32_t Ovan_USBUnMount(const char *mountPath, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_USBUnMount", "Unmount", "Invalid mount path", "(us)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, mount_path (%s)", or_empty(mountPath));
    // No device's mount point can match text that is not UTF-8: refused before any call.
    if (!command_text_ok(op.tag, "mountPath", mountPath, code, text))
        return -1;
    if (int32_t g = usb_guard())
        return g;
    if (!given(mountPath))
        return refuse(op, code, text);
    return on_device(
        op,
        [](const OvanUSBDevice_t &d, const void *key) {
            return std::strcmp(d.MountPoint, static_cast<const char *>(key)) == 0;
        },
        mountPath, "Failed to found specified usb device.", code, text, nullptr);
}

LUMO3_API int32_t Ovan_USBFormat(OvanObjPath_t path, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_USBFormat", "Format", "Invalid Parameters.", "(us)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, path(%s)", ShownPath(path).text);
    if (int32_t g = usb_guard())
        return g;
    if (!device_path_ok(path))
        return refuse(op, code, text);
    return call(op, path.str, storage::kFileSystemIface, g_variant_new("(@a{sv})", g_variant_new("a{sv}", nullptr)),
                code, text);
}

LUMO3_API int32_t Ovan_USBSetLabel(OvanObjPath_t path, const char *label, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_USBSetLabel", "SetLable", "Invalid Parameters.", "(us)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, path(%s), label(%s)", ShownPath(path).text, or_empty(label));
    if (int32_t g = usb_guard())
        return g;
    if (!given(label) || std::strlen(label) > 127 || !device_path_ok(path))
        return refuse(op, code, text);
    // The failure text keeps its long-standing spelling; the method is SetLabel.
    GStr fail(g_strdup("Failed to call SetLable() function."));
    CommandSpec shape{op.tag, path.str, storage::kFileSystemIface, "SetLabel", fail.get(), fail.get(), nullptr};
    shape.reply_type = op.reply_type;
    ArgTuple args(op.tag);
    args.s("label", label);
    return run_command(shape, args, code, text);
}

// ---- NAS ----

LUMO3_API int32_t Ovan_NAS_GetFileNum(const char *folderName, uint32_t *fileNum, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_GetFileNum", "GetFileNum", "Invalid Parameters.", "(uus)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, foldname (%s)", or_empty(folderName));
    if (int32_t g = usb_guard())
        return g;
    if (!given(folderName) || !fileNum)
        return refuse(op, code, text);
    GPtr<GVariant> lead;
    ArgTuple args(op.tag);
    args.s("folderName", folderName);
    const int32_t ret = call(op, kNasPath, kNasIface, args, code, text, &lead);
    if (ret == 0)
        lead_u32(lead, fileNum);
    return ret;
}

LUMO3_API int32_t Ovan_NAS_ListFolder(const char *folderName, uint32_t startIndex, uint32_t endIndex,
                                      OvanNASFileEntry_t **entries, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_ListFolder", "ListFolder", "Invalid Parameters.", "(a(ssbts)us)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, folderName(%s), startIndex(%d), endIndex (%d)", or_empty(folderName),
             static_cast<int>(startIndex), static_cast<int>(endIndex));
    if (int32_t g = usb_guard())
        return g;
    if (!given(folderName) || !entries || startIndex < 1 || startIndex > endIndex)
        return refuse(op, code, text);
    GPtr<GVariant> lead;
    ArgTuple args(op.tag);
    args.s("folderName", folderName).u(startIndex).u(endIndex);
    if (call(op, kNasPath, kNasIface, args, code, text, &lead) != 0)
        return -1;
    // Never more entries than the range asked for: the caller sizes its reading by it.
    size_t n = 0;
    void *block = records_from_array(storage::kNASFileEntryTable, lead.get(),
                                     static_cast<size_t>(endIndex - startIndex) + 1, &n);
    if (!block)
        return -1;
    *entries = static_cast<OvanNASFileEntry_t *>(block);
    return 0;
}

LUMO3_API int32_t Ovan_NAS_CreateFolter(const char *folderName, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_CreateFolter", "CreateFolder", "Invalid folderName.", "(us)"};
    return nas_names(op, "enter, folderName (%s)", {"folderName", ""}, folderName, nullptr, false, code, text);
}

LUMO3_API int32_t Ovan_NAS_ReName(const char *olderName, const char *newName, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_ReName", "Rename", "Invalid Parameters.", "(us)"};
    return nas_names(op, "enter, olderName (%s), newName (%s)", {"olderName", "newName"}, olderName, newName, true, code, text);
}

LUMO3_API int32_t Ovan_NAS_Remove(const char *name, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_Remove", "Remove", "Invalid Parameters.", "(us)"};
    return nas_names(op, "enter, name (%s)", {"name", ""}, name, nullptr, false, code, text);
}

LUMO3_API int32_t Ovan_NAS_Move(const char *fileName, const char *destFolderName, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_Move", "Move", "Invalid Parameters.", "(us)"};
    return nas_names(op, "enter, filename (%s), destFolderName (%s)", {"fileName", "destFolderName"}, fileName, destFolderName, true, code, text);
}

LUMO3_API int32_t Ovan_NAS_Copy(const char *name, const char *destFolderName, uint32_t *transactionId,
                                uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_Copy", "Copy", "Invalid Parameters.", "(uus)"};
    GPtr<GVariant> lead;
    const int32_t ret =
        nas_names(op, "enter, name (%s), destFolderName (%s)", {"name", "destFolderName"}, name, destFolderName, true, code, text, &lead);
    if (ret == 0)
        lead_u32(lead, transactionId);
    return ret;
}

LUMO3_API int32_t Ovan_NAS_GetCopyProgress(uint32_t transactionId, uint32_t *progress, uint32_t *code, char **text)
{
    static const Operation op{"Ovan_NAS_GetCopyProgress", "GetCopyProgress", "", "(uus)"};
    lumo_log(op.tag, LOG_DEBUG, "enter, transactionId (%d)", static_cast<int>(transactionId));
    if (int32_t g = usb_guard())
        return g;
    GPtr<GVariant> lead;
    const int32_t ret = call(op, kNasPath, kNasIface, g_variant_new("(u)", transactionId), code, text, &lead);
    lead_u32(lead, progress);
    return ret;
}

}  // extern "C"
