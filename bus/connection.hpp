// The connection a bus call runs on.
#pragma once

#include "core/glib_ptr.hpp"

namespace lumo::bus {

// The hosted service's connection when there is one, else the process-wide system-bus
// connection. One reference to the latter is kept for the life of the process: on
// this GLib, dropping the last reference to GIO's shared connection closes it, so
// fetching and releasing it around each call would open a new bus connection (and a
// new unique name) every time. A connection the bus has closed (possible when the
// application turned exit-on-close off) is replaced on the next call.
// Returns a new reference, or null after logging at priority 3 `null_message` when
// no connection could be had, `invalid_message` when the object is not a connection
// (either may be null: nothing logged).
GPtr<GDBusConnection> connection_for_call(const char *tag, const char *null_message,
                                          const char *invalid_message);

// The hosted service's connection (a reference of the caller's own: another thread
// may stop the service meanwhile), or null.
GPtr<GDBusConnection> service_connection();

// Releases a floating value handed in by a caller on a path that does not send it.
void consume_floating(GVariant *value);

// Text of a value for a log line of `priority`; "NULL" for null, "" when no line of
// that priority would be seen (printing large replies is the costliest part of a call).
GStr print_value(GVariant *value, int priority);

// True when a property or method name says its value is a password, key or LOID
// (case-insensitive).
bool secret_name(const char *name);
// g_variant_print of `value` with every string under a secret dictionary key shown
// as "<hidden>".
GStr print_masked(GVariant *value);
// print_value of one property's value; a secret property's string shows as "<hidden>".
GStr print_property(const char *name, GVariant *value, int priority);

// Unlinks and returns the first record of a registration or subscription list whose
// id is `id`; null when there is none.
template <typename Record, typename Id>
Record *unlink_first(Record **head, Id Record::*id_field, Id id)
{
    for (Record **link = head; *link; link = &(*link)->next) {
        if ((*link)->*id_field == id) {
            Record *rec = *link;
            *link = rec->next;
            return rec;
        }
    }
    return nullptr;
}

}  // namespace lumo::bus
