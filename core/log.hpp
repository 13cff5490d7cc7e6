// Internal logging helpers.
#pragma once

namespace lumo::log {

// False only when a line of this priority would reach nobody: the log is open, not
// echoing, and syslog's mask drops the priority. Callers use it to skip building
// expensive texts (printed replies) for lines that would be thrown away; it never
// changes what is logged.
bool wanted(int priority) noexcept;

}  // namespace lumo::log
