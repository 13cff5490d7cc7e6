// Property tables of the USB device and NAS listing records.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_storage.h"

namespace lumo::gw::storage {

using U = OvanUSBDevice_t;
inline constexpr Field kUSBDevice[] = {
    LUMO_F(U, DeviceType, 'q'),      LUMO_F(U, DeviceId, 'i'),   LUMO_F(U, DeviceName, 's'),
    LUMO_F(U, Vendor, 's'),          LUMO_F(U, Model, 's'),      LUMO_F(U, WriteProtection, 'b'),
    LUMO_LOCAL(U, Reserved, 'u'),    LUMO_F(U, MountPoint, 's'), LUMO_F(U, TotalSize, 't'),
    LUMO_F(U, UsedSize, 't'),        LUMO_F(U, FreeSize, 't'),   LUMO_F(U, Label, 's'),
};

// The members of one "(ssbts)" listing entry, in order.
using E = OvanNASFileEntry_t;
inline constexpr Field kNASFileEntry[] = {LUMO_F(E, Name, 's'), LUMO_F(E, Path, 's'), LUMO_F(E, IsFolder, 'b'),
                                          LUMO_F(E, Size, 't'), LUMO_F(E, ModifyTime, 's')};

inline constexpr char kDeviceIface[] = "com.quv.igd1.usb.Device";
inline constexpr char kFileSystemIface[] = "com.quv.igd1.usb.FileSystem";

// One record, two interfaces: the device's and its file system's.
inline constexpr RecordTable kUSBDeviceTable{"OvanUSBDevice_t", kDeviceIface, kUSBDevice, sizeof(U)};
inline constexpr RecordTable kUSBFileSystemTable{"OvanUSBDevice_t", kFileSystemIface, kUSBDevice, sizeof(U)};
inline constexpr RecordTable kNASFileEntryTable{"OvanNASFileEntry_t", "com.quv.igd1.NASAccess", kNASFileEntry,
                                                sizeof(E)};

}  // namespace lumo::gw::storage
