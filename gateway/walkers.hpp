// The generic shapes every gateway wrapper is made of. Each takes the family's
// texts (entry lines, messages) as arguments, since those differ member by member.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/glib_ptr.hpp"
#include "gateway/record.hpp"
#include "lumo3_gateway.h"

namespace lumo::gw {

inline constexpr const char kService[] = "com.quv.igd1";
inline constexpr const char kObjectManager[] = "com.quv.igd1.ObjectManager";

// NULL strings are logged and sent as empty strings.
inline const char *or_empty(const char *s)
{
    return s ? s : "";
}

// An OvanObjPath_t argument must hold its terminator within its 256 bytes. One that
// does not is refused (-1, nothing sent), never cut: a cut path could name another
// object.
inline bool path_terminated(const OvanObjPath_t &path)
{
    return std::memchr(path.str, '\0', sizeof path.str) != nullptr;
}

// ---- records ----

// Fills `record` from an "a{sv}" dictionary: for each key the first field of that
// name takes the value, if its wire type is the field's letter; anything else is
// ignored. Strings are cut to the field width minus one.
void fill_record(Fields fields, void *record, GVariant *dict);

// An "a{sv}" (floating) holding `fields` of `record`, in that order.
GVariant *build_dict(Fields fields, const void *record);

// Copies `path` into the record's leading path field, at most limit-1 characters.
void copy_path(void *record, const char *path, size_t limit);

// True when `path` is non-empty, a valid object path and begins with `prefix`
// (compared over the prefix's length).
bool instance_path_ok(const char *path, const char *prefix);

// ---- shape 1 and 4: getters ----

struct GetterSpec {
    const char *tag;
    const RecordTable *table;
    size_t path_limit;                 // 255 or 256
    const char *failed_line = nullptr;  // priority 3, "%d" = bus result; null: none
    const char *empty_line = nullptr;   // priority 3, "%s" = path; null: none
    void (*after)(void *record) = nullptr;  // e.g. the user device-name overlay
};

// GetAll of `path` into `record` (shape 1 after the caller's checks): -1 for a failed
// call or an empty dictionary, else 0.
int32_t get_all_into(const GetterSpec &shape, const char *path, void *record);

// ---- shape 3: collections ----

struct CollectionSpec {
    const char *tag;
    const RecordTable *table;
    const char *count_line;  // "entry num (%d)", "num(%d)", "count(%d)"
    size_t path_limit;       // 255 or 256
    void (*after)(void *record) = nullptr;
    // Like `after`, given `after_context` too (e.g. data read once for the whole walk).
    void (*after_with)(void *record, void *context) = nullptr;
    void *after_context = nullptr;
    // A second interface whose properties fill the same record (a device and its file
    // system); null: only the table's.
    const char *also_interface = nullptr;
};

// GetManagedObjects on `collection` into a newly allocated array (shape 3 after the
// entry line). num must not be null.
int32_t enumerate(const CollectionSpec &shape, const char *collection, void **objs, uint32_t *num);

// Fills `record` from an "a{sa{sv}}" interface map: from the first non-empty
// dictionary of the table's interface, or, when `also` is given, from every non-empty
// one of either interface.
void fill_from_interfaces(const RecordTable &table, const char *also, void *record, GVariant *ifaces);

// Walks an "a{oa{sa{sv}}}" object map into a newly allocated array.
int32_t walk_object_map(const CollectionSpec &shape, GVariant *map, void **objs, uint32_t *num);

// ---- shapes 2, 5, 6: writes, add, delete ----

// SetMulti of `fields` of `record` to `path`: 0 or -1.
int32_t set_fields(const char *path, const char *iface, Fields fields, const void *record);

// AddObject on `collection`, then `setter` on the new path; the new object is deleted
// again when the setter fails. Returns the setter's result.
int32_t add_with_rollback(const char *collection, void *record, int32_t (*setter)(OvanObjPath_t, void *),
                          int32_t (*deleter)(OvanObjPath_t));

// DeleteObject of `path` on `collection`: 0 or -1.
int32_t delete_object(const char *collection, const char *path);

// ---- shape 7: commands with status and message ----

struct CommandSpec {
    const char *tag;
    const char *path;
    const char *iface;
    const char *method;
    const char *fail_line;  // priority 3 when the call fails
    const char *fail_message;  // handed out when the call fails
    const char *message_line;  // "%s" = the service's message; null: not logged
    int message_priority = 3;
    // When set, a reply of any other type is logged ("Return value is of incorrect
    // variant type %s.") and fails with "Return value is of incorrect variant type.".
    const char *reply_type = nullptr;
    // message_line takes the result word ("%d") before the message.
    bool message_line_with_word = false;
    // Priority 7 with the printed reply ("%s") once the call has answered; null: none.
    const char *reply_line = nullptr;
};

// Calls the method and reads a reply ending in (u, s): the result word goes to
// *status, a non-empty message with a non-zero word to *errmsg. `lead`, when given,
// receives the reply's leading value of "(ou&s)", "(&su&s)" ... Returns -1 when the
// call fails or the word is non-zero, else 0.
int32_t run_command(const CommandSpec &shape, GVariant *args, uint32_t *status, char **errmsg,
                    GPtr<GVariant> *lead = nullptr);

// The outputs of a refused or failed command: *status 1 and a copy of `message`.
int32_t fail_command(uint32_t *status, char **errmsg, const char *message);

// ---- the WiFi capability guard ----

// 0: go on; 1: the gateway has no WiFi (return 1 untouched); -1: the query failed.
int32_t wifi_guard();

// The gateway's bus interface version, read once.
int32_t bus_version();

// ---- shape 1 whole ----

// Logs `entry_line` at priority 7 (a "%p" in it shows the record), refuses a NULL
// record with -1, then get_all_into.
int32_t get_singleton(const GetterSpec &shape, const char *entry_line, const char *path, void *record);

// ---- storage families: the USB support gate, path arguments ----

// 0: go on; 1: the gateway has no USB (return 1 untouched); -1: the query failed
// (asked again next time).
int32_t usb_guard();

// A path argument as text for log lines: "" when it lacks its terminator.
inline const char *path_text(const OvanObjPath_t &path)
{
    return path_terminated(path) ? path.str : "";
}

// ---- replies with leading values: "(&su&s)", "(uu&s)", "(@a(ssbts)u&s)" ----
// run_command hands the leading value out through `lead`; set CommandSpec::reply_type
// so that a reply of another shape fails before any of it is used.

// Fills `record` from a tuple member by member: child i goes to fields[i] when its
// wire type fits (one "(ssbts)" entry of a listing, say).
void fill_positional(Fields fields, void *record, GVariant *tuple);

// A newly allocated, zero-filled block of at most `limit` records filled positionally
// from an array of tuples (or a dictionary's entries), in reply order; *count receives how many. Null (count 0)
// for an empty array or a failed allocation.
void *records_from_array(const RecordTable &table, GVariant *array, size_t limit, size_t *count);

// A leading string handed out as a new copy when it is not empty (*out untouched
// otherwise, or when out is null).
void lead_string(const GPtr<GVariant> &lead, char **out);
// A leading "u" stored in *out (when both are there).
void lead_u32(const GPtr<GVariant> &lead, uint32_t *out);

// ---- per-instance members whole: entry line, guard, checks, then the bus ----

struct Instances {
    const RecordTable *table;
    const char *collection;
    const char *prefix;              // the collection path and "/"
    int32_t (*guard)() = nullptr;    // usb_guard, wifi_guard; null: none
};

// Logs "enter" and runs the guard; a null num is refused; then enumerate ("entry num
// (%d)", paths bound 255).
int32_t instance_list(const char *tag, const Instances &c, void **objs, uint32_t *num);
// Logs "enter, path (%s)" and runs the guard; a null record, an unterminated path or
// one outside the collection logs `bad_line` and gives -1; then GetAll (path bound 255).
int32_t instance_get(const char *tag, const Instances &c, const OvanObjPath_t &path, void *rec,
                     const char *bad_line);
// Logs "enter, path (%s)" and runs the guard; a bad path logs "Invalid Parameter.";
// then DeleteObject.
int32_t instance_delete(const char *tag, const Instances &c, const OvanObjPath_t &path);
// True when the path is terminated and inside the collection.
bool instance_path_ok(const Instances &c, const OvanObjPath_t &path);
// Runs the guard; a null record logs "Invalid parameters."; then add_with_rollback.
// The caller logs its entry line first.
int32_t instance_add(const char *tag, const Instances &c, void *rec, int32_t (*setter)(OvanObjPath_t, void *),
                     int32_t (*deleter)(OvanObjPath_t));

// A look-up command whose reply leads with an object path ("(&ou&s)", "(ou&s)"), then
// `getter` on that path (a lead of another type leaves the path empty, which the getter
// refuses). When the getter fails: *status 1 and a copy of `get_failed`.
int32_t lookup_then_get(const CommandSpec &shape, GVariant *args, int32_t (*getter)(OvanObjPath_t, void *),
                        void *rec, const char *get_failed, uint32_t *status, char **errmsg);

}  // namespace lumo::gw
