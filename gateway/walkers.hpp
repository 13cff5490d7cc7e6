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
};

// GetManagedObjects on `collection` into a newly allocated array (shape 3 after the
// entry line). num must not be null.
int32_t enumerate(const CollectionSpec &shape, const char *collection, void **objs, uint32_t *num);

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

// The reply half of run_command: `ret` is the call's result, `reply` (borrowed, may
// be null) its reply.
int32_t read_command_reply(const CommandSpec &shape, int32_t ret, GVariant *reply, uint32_t *status, char **errmsg,
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

}  // namespace lumo::gw
