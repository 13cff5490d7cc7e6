// The simulator also plays the external VPN client service: the same connection owns
// its bus name, and its objects come from the model like the gateway's.
#pragma once

#include <gio/gio.h>

namespace lumo::gwsim {

inline constexpr const char *kVpnClientName = "com.morvane.vpnclient1";

// Owns the VPN client's name on conn. Not fatal when it cannot: the gateway part
// still serves, and only the client's calls fail (a warning goes to stderr).
void own_vpn_client(GDBusConnection *conn);

}  // namespace lumo::gwsim
