// A gateway gone chatty: --flood RATE sends RATE signals a second, half of them
// PropertiesChanged of the device information and the LAN hosts (a counter that no
// record holds, so what clients read stays the model's), half InterfacesAdded of
// LAN hosts that come and go (paths of 16 hosts the model does not hold).
#pragma once

#include <gio/gio.h>

namespace lumo::gwsim {

// Starts (or moves to conn) the flood; rate 0 stops it. Runs on the default context.
void flood_signals(GDBusConnection *conn, unsigned rate);

}  // namespace lumo::gwsim
