// Internals of the value type shared with the unit tests.
#pragma once

#include <glib.h>

namespace lumo::variant {

// The format check applied before GLib sees a format string: `format` must be one
// complete format item (only_one is accepted for symmetry with GLib and must be
// TRUE) and, when `value` is given, its type must match. Logs a critical warning
// and returns FALSE otherwise.
gboolean _ovan_valid_format_string(const char *format, gboolean only_one, GVariant *value);

}  // namespace lumo::variant
