/* liblumo3 gateway objects: USB storage devices and NAS file operations. */
#ifndef LUMO3_STORAGE_H
#define LUMO3_STORAGE_H

#include <stdint.h>

#include "lumo3_export.h"
#include "lumo3_gateway.h"
#include "lumo3_variant.h"

LUMO3_BEGIN_DECLS

/* Instances of "/com/quv/igd1/Storage/usb/devices", filled from both
 * "com.quv.igd1.usb.Device" and "com.quv.igd1.usb.FileSystem". */
typedef struct OvanUSBDevice {
    char path[256];
    uint16_t DeviceType;
    int32_t DeviceId; /* the number Ovan_USBMount takes */
    char DeviceName[64];
    char Vendor[64];
    char Model[64];
    int32_t WriteProtection;
    uint32_t Reserved; /* left zero */
    char MountPoint[128];
    uint64_t TotalSize;
    uint64_t UsedSize;
    uint64_t FreeSize;
    char Label[128];
} OvanUSBDevice_t;

/* One entry of a folder listing. */
typedef struct OvanNASFileEntry {
    char Name[256];
    char Path[256];
    int32_t IsFolder;
    uint64_t Size;
    char ModifyTime[24];
} OvanNASFileEntry_t;

/* Result reporting of the USB actions and NAS operations: *code receives the
 * gateway's result code (1 when the library itself fails), *text a g_free'd copy of
 * the gateway's text (only with a non-zero code and a non-empty text) or of the
 * library's own message; either may be NULL. They return 0 when the call succeeded
 * with code 0, -1 otherwise, and 1 (outputs untouched) when the gateway has no USB.
 * File and folder names are passed to the gateway as they are. Functions taking an
 * OvanObjPath_t refuse (-1) a path without a terminator in its 256 bytes. */

/* *objs: one g_free'd block of *num records (NULL objs: count only). */
LUMO3_API int32_t Ovan_GetUSBDeviceObjs(OvanUSBDevice_t **objs, uint32_t *num);
LUMO3_API int32_t Ovan_GetUSBDevice(OvanObjPath_t path, OvanUSBDevice_t *rec);
/* value: "(oa{sa{sv}})", an object path with its interfaces as an added-object
 * notification carries it. */
LUMO3_API int32_t OvanGetUsbDeviceInfo(OvanVariant *value, OvanUSBDevice_t *pUsbEntry);
/* Mounts the device whose DeviceId is devid; *mountPoint a g_free'd copy of the mount
 * point (untouched when the gateway sends none). */
LUMO3_API int32_t Ovan_USBMount(int32_t devid, char **mountPoint, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_USBUnMount(const char *mountPath, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_USBFormat(OvanObjPath_t path, uint32_t *code, char **text);
/* label: 1..127 characters. */
LUMO3_API int32_t Ovan_USBSetLabel(OvanObjPath_t path, const char *label, uint32_t *code, char **text);

LUMO3_API int32_t Ovan_NAS_GetFileNum(const char *folderName, uint32_t *fileNum, uint32_t *code, char **text);
/* Entries startIndex..endIndex of the folder (counted from 1, 1 <= start <= end):
 * *entries one g_free'd block. It holds as many entries as the gateway sent, never
 * more than the range asked for; ask Ovan_NAS_GetFileNum for the folder's size. An
 * empty range is a failure with code 0. */
LUMO3_API int32_t Ovan_NAS_ListFolder(const char *folderName, uint32_t startIndex, uint32_t endIndex,
                                      OvanNASFileEntry_t **entries, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_NAS_CreateFolter(const char *folderName, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_NAS_ReName(const char *olderName, const char *newName, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_NAS_Remove(const char *name, uint32_t *code, char **text);
LUMO3_API int32_t Ovan_NAS_Move(const char *fileName, const char *destFolderName, uint32_t *code, char **text);
/* Starts a copy; poll Ovan_NAS_GetCopyProgress with *transactionId. */
LUMO3_API int32_t Ovan_NAS_Copy(const char *name, const char *destFolderName, uint32_t *transactionId,
                                uint32_t *code, char **text);
LUMO3_API int32_t Ovan_NAS_GetCopyProgress(uint32_t transactionId, uint32_t *progress, uint32_t *code, char **text);

LUMO3_END_DECLS

#endif /* LUMO3_STORAGE_H */
