// USB storage devices and NAS file operations.
#include <string>

#include "gateway/storage_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry_support.hpp"

namespace lumoctl {
namespace {

namespace gw = lumo::gw;
using namespace reg;

// A NAS or USB operation that reports a code, a text and perhaps a number.
template <typename Call>
int32_t with_number(CommandResult &out, Call call)
{
    uint32_t value = 0;
    int32_t rc = reported(out, [&](uint32_t *s, char **m) { return call(&value, s, m); });
    if (rc == 0)
        out.result = std::to_string(value);
    return rc;
}

Contribution storage()
{
    return {
        {
            {.object = "usb", .layout = "", .help = "USB storage devices and their file systems",
             .table = &gw::storage::kUSBDeviceTable, .get_at = Adapt<Ovan_GetUSBDevice>::at,
             .list = Adapt<Ovan_GetUSBDeviceObjs>::list},
        },
        {
            {"usb", "mount", "mount the device with DeviceId DEVID", {"DEVID"}, false, false,
             [](Args a, CommandResult &o) {
                 auto id = number<int32_t>(a[0], "DEVID");
                 return reported_value(o, [&](char **v, uint32_t *s, char **m) { return Ovan_USBMount(id, v, s, m); });
             }, true},
            {"usb", "unmount", "unmount the device mounted at MOUNTPOINT", {"MOUNTPOINT"}, false, false,
             [](Args a, CommandResult &o) {
                 return reported(o, [&](uint32_t *s, char **m) { return Ovan_USBUnMount(a[0].c_str(), s, m); });
             }, true},
            {"usb", "format", "format the device at PATH", {"PATH"}, true, false,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) { return Ovan_USBFormat(p, s, m); });
             }, true},
            {"usb", "set-label", "label the file system of the device at PATH", {"PATH", "LABEL"}, false, false,
             [](Args a, CommandResult &o) {
                 OvanObjPath_t p = object_path(a[0]);
                 return reported(o, [&](uint32_t *s, char **m) { return Ovan_USBSetLabel(p, a[1].c_str(), s, m); });
             }, true},
            {"nas", "count", "show how many entries FOLDER holds", {"FOLDER"}, false, false,
             [](Args a, CommandResult &o) {
                 return with_number(o, [&](uint32_t *v, uint32_t *s, char **m) {
                     return Ovan_NAS_GetFileNum(a[0].c_str(), v, s, m);
                 });
             }, true},
            {"nas", "list", "list entries START..END of FOLDER (from 1)", {"FOLDER", "START", "END"}, false, false,
             [](Args a, CommandResult &o) {
                 auto start = number<uint32_t>(a[1], "START");
                 auto end = number<uint32_t>(a[2], "END");
                 uint32_t count = 0;
                 OvanNASFileEntry_t *entries = nullptr;
                 int32_t rc = reported(o, [&](uint32_t *s, char **m) {
                     int32_t r = Ovan_NAS_GetFileNum(a[0].c_str(), &count, s, m);
                     return r != 0 ? r : Ovan_NAS_ListFolder(a[0].c_str(), start, end, &entries, s, m);
                 });
                 // As many entries as the range and the folder allow.
                 const uint32_t shown = entries && count >= start ? std::min(end, count) - start + 1 : 0;
                 for (uint32_t i = 0; i < shown; i++)
                     o.result += (i ? "\n" : "") + record_json(gw::storage::kNASFileEntryTable, &entries[i]).dump();
                 g_free(entries);
                 return rc;
             }, true},
            {"nas", "mkdir", "create FOLDER", {"FOLDER"}, false, false,
             [](Args a, CommandResult &o) {
                 return reported(o, [&](uint32_t *s, char **m) { return Ovan_NAS_CreateFolter(a[0].c_str(), s, m); });
             }, true},
            {"nas", "rename", "rename NAME to NEW_NAME", {"NAME", "NEW_NAME"}, false, false,
             [](Args a, CommandResult &o) {
                 return reported(o, [&](uint32_t *s, char **m) {
                     return Ovan_NAS_ReName(a[0].c_str(), a[1].c_str(), s, m);
                 });
             }, true},
            {"nas", "remove", "remove NAME (a folder with everything in it)", {"NAME"}, true, false,
             [](Args a, CommandResult &o) {
                 return reported(o, [&](uint32_t *s, char **m) { return Ovan_NAS_Remove(a[0].c_str(), s, m); });
             }, true},
            {"nas", "move", "move NAME into FOLDER", {"NAME", "FOLDER"}, false, false,
             [](Args a, CommandResult &o) {
                 return reported(o, [&](uint32_t *s, char **m) {
                     return Ovan_NAS_Move(a[0].c_str(), a[1].c_str(), s, m);
                 });
             }, true},
            {"nas", "copy", "start copying NAME into FOLDER; shows the transaction number", {"NAME", "FOLDER"}, false,
             false,
             [](Args a, CommandResult &o) {
                 return with_number(o, [&](uint32_t *v, uint32_t *s, char **m) {
                     return Ovan_NAS_Copy(a[0].c_str(), a[1].c_str(), v, s, m);
                 });
             }, true},
            {"nas", "progress", "show the progress of copy TRANSACTION", {"TRANSACTION"}, false, false,
             [](Args a, CommandResult &o) {
                 auto id = number<uint32_t>(a[0], "TRANSACTION");
                 return with_number(o, [&](uint32_t *v, uint32_t *s, char **m) {
                     return Ovan_NAS_GetCopyProgress(id, v, s, m);
                 });
             }, true},
        },
        {{"nas", "file operations on the attached storage"}}};
}

const FamilyRegistrar kStorage("64-usb", storage);

}  // namespace
}  // namespace lumoctl
