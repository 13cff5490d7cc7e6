// Fixed file-system locations the library reads or writes. They can be put under
// another root for tests and desktop use:
//   LUMO_SYSROOT   prefixes every fixed path below (except /proc);
//   LUMO_PROC_DIR  replaces "/proc" (process information).
// With neither set the paths are used exactly as written.
#pragma once

#include "core/glib_ptr.hpp"

namespace lumo::paths {

inline constexpr const char kBusAddressFile[] = "/var/run/dbus/server_address";
inline constexpr const char kStdioPrintFlag[] = "/tmp/.uci/enable_lumo_stdio_print";
inline constexpr const char kWlanOwnerFile[] = "/tmp/.uci/wlandevice-owner";
inline constexpr const char kUciConfigDir[] = "/etc/config";
inline constexpr const char kOpkgInfoDir[] = "/usr/lib/opkg/info";
inline constexpr const char kProcDir[] = "/proc";

// The location to use for a fixed absolute path (newly allocated).
GStr resolve(const char *fixed_path);

// "/proc/<pid>/stat" of the calling process, redirected as above.
GStr proc_self_stat();

}  // namespace lumo::paths
