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

// ---- text the bus can carry ----
// Every text the library puts on the bus for a caller passes here first: D-Bus
// strings must be valid UTF-8 and object paths must keep their grammar. GLib would
// otherwise refuse the value with a critical warning and the call would go out
// without it. A refused text is logged at priority 3 under `tag` naming `what`, kept
// as the last error, and nothing is sent.

// True when `text` (at most `max` bytes, NULL counting as empty) is valid UTF-8;
// otherwise refuses it as above.
bool text_ok(const char *tag, const char *what, const char *text, size_t max = static_cast<size_t>(-1));
// ...for a command: a refusal also gives *status 1 and the refusal's text as *errmsg.
bool command_text_ok(const char *tag, const char *what, const char *text, uint32_t *status, char **errmsg,
                     size_t max = static_cast<size_t>(-1));

// True when every string and string-list field of `record` among `fields` is valid
// UTF-8 (a field that fills its whole width is taken over its width); otherwise
// refuses the first that is not. `tag` null: the refusal is logged as the bus write's.
bool record_text_ok(const char *tag, Fields fields, const void *record);

// A method call's argument tuple, built with its texts checked. After a refusal
// further arguments are ignored and end() yields null.
class ArgTuple {
public:
    explicit ArgTuple(const char *tag);
    ~ArgTuple();
    ArgTuple(const ArgTuple &) = delete;
    ArgTuple &operator=(const ArgTuple &) = delete;

    ArgTuple &s(const char *what, const char *text);  // NULL is sent as ""
    ArgTuple &o(const char *what, const char *path);
    ArgTuple &b(bool v);
    ArgTuple &y(uint8_t v);
    ArgTuple &q(uint16_t v);
    ArgTuple &i(int32_t v);
    ArgTuple &u(uint32_t v);
    // A value built by the caller from texts already judged (a floating reference).
    ArgTuple &v(GVariant *value) { return add(value); }

    bool refused() const { return problem_[0] != '\0'; }
    // The refusal's text ("Invalid parameter: X is not valid UTF-8."), or "".
    const char *problem() const { return problem_; }
    // The floating tuple; null when refused.
    GVariant *end();

private:
    bool refuse(const char *what, const char *why);
    ArgTuple &add(GVariant *value);  // consumes a floating value, also after a refusal
    const char *tag_;
    GVariantBuilder builder_;
    bool open_ = true;
    char problem_[160] = {};
};

// Writes one string property (`what` names it in a refusal): 0 or -1.
int32_t set_text_property(const char *tag, const char *path, const char *iface, const char *prop, const char *text);

// ---- records ----

// Fills `record` from an "a{sv}" dictionary: for each key the first field of that
// name takes the value, if its wire type is the field's letter; anything else is
// ignored. Strings are cut to the field width minus one.
void fill_record(Fields fields, void *record, GVariant *dict);

// An "a{sv}" (floating) holding `fields` of `record`, in that order; null when a
// text among them is refused (record_text_ok).
GVariant *build_dict(Fields fields, const void *record, const char *tag = nullptr);

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
    const char *failed_line = nullptr;  // priority 3, "%d" = bus result; null: the usual line
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

// SetMulti of `fields` of `record` to `path`: 0 or -1 (also when a text is refused;
// `tag` names the wrapper in that line).
int32_t set_fields(const char *path, const char *iface, Fields fields, const void *record,
                   const char *tag = nullptr);

// AddObject on `collection`, then `setter` on the new path; the new object is deleted
// again when the setter fails. Returns the setter's result. The texts of `checked`
// (the fields the setter writes) are checked before anything is sent. The record's
// path takes at most path_limit-1 characters; a new path longer than that is never
// written or deleted under its cut form (which may name another object): the new
// object is deleted by its whole path and -1 returned.
int32_t add_with_rollback(const char *collection, void *record, int32_t (*setter)(OvanObjPath_t, void *),
                          int32_t (*deleter)(OvanObjPath_t), Fields checked = {}, const char *tag = nullptr,
                          size_t path_limit = 255);

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
    // fail_line takes the bus call's result ("%d").
    bool fail_line_with_ret = false;
};

// Calls the method and reads a reply ending in (u, s): the result word goes to
// *status, a non-empty message with a non-zero word to *errmsg. `lead`, when given,
// receives the reply's leading value of "(ou&s)", "(&su&s)" ... Returns -1 when the
// call fails or the word is non-zero, else 0.
int32_t run_command(const CommandSpec &shape, GVariant *args, uint32_t *status, char **errmsg,
                    GPtr<GVariant> *lead = nullptr);

// ...with an argument tuple whose refusal fails the command (status 1, the refusal's
// text as the message) without a call.
int32_t run_command(const CommandSpec &shape, ArgTuple &args, uint32_t *status, char **errmsg,
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

// ---- storage families: the USB support gate, path arguments ----

// 0: go on; 1: the gateway has no USB (return 1 untouched); -1: the query failed
// (asked again next time).
int32_t usb_guard();

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

// ---- one instance of a collection: the path argument, the guard, the member whole ----
// Every family's per-instance members go through here, so that a path argument is
// checked, shown and refused the same way everywhere.

// How a path argument shows in log lines: whole when terminated, otherwise its first
// 255 characters (never read past its 256 bytes).
struct ShownPath {
    char text[sizeof(OvanObjPath_t::str)];
    explicit ShownPath(const OvanObjPath_t &path);
};

// Logs `line` at priority 7 under `tag`; its one "%s" shows the path as ShownPath.
void log_path_line(const char *tag, const char *line, const OvanObjPath_t &path);

// An instance path argument: terminated within its 256 bytes (one that is not is
// refused, never cut: a cut path could name another object), then as
// instance_path_ok.
bool instance_arg_ok(const OvanObjPath_t &path, const char *prefix);

// The instances of one collection.
struct Instances {
    const RecordTable *table;
    const char *collection;              // null: the path up to its last "/"
    const char *prefix;                  // the collection path and "/"
    int32_t (*guard)() = nullptr;        // usb_guard, wifi_guard; null: none
    const char *must_contain = nullptr;  // e.g. "Type" for objects below an instance
    const char *service = kService;
};

// An instance path argument as the collection wants it.
bool instance_arg_ok(const Instances &c, const OvanObjPath_t &path);

// The texts of one per-instance member.
struct Member {
    const char *tag;
    const char *refusal = "invalid parameter.";  // priority 3: a bad path or a NULL record
    const char *entry_line = "enter, path (%s)";  // priority 7, as log_path_line
};

// How every per-instance member starts: the guard, the entry line, then the path
// check and `args_ok` (the member's own checks, the record not NULL...), a failure
// of which logs the refusal. 0 to go on, else the result to return.
int32_t instance_begin(const Member &m, const Instances &c, const OvanObjPath_t &path, bool args_ok = true);

// Runs the guard and logs "enter"; a null num is refused; then enumerate ("entry num
// (%d)", paths bound 255).
int32_t instance_list(const char *tag, const Instances &c, void **objs, uint32_t *num);
// instance_begin (record not NULL), then GetAll into the record (path bound 255).
int32_t instance_get(const Member &m, const Instances &c, const OvanObjPath_t &path, void *rec);
// instance_begin (record not NULL), then SetMulti of `fields`.
int32_t instance_set(const Member &m, const Instances &c, const OvanObjPath_t &path, const void *rec, Fields fields);
// instance_begin, then DeleteObject on the collection.
int32_t instance_delete(const Member &m, const Instances &c, const OvanObjPath_t &path);
// Runs the guard; a NULL record logs `refusal`; then add_with_rollback (`checked`:
// the fields the setter writes). When AddObject itself fails, `add_failed_line` (if
// any) is logged and the record keeps the path it had. The caller logs its entry
// line first.
int32_t instance_add(const char *tag, const Instances &c, void *rec, Fields checked,
                     int32_t (*setter)(OvanObjPath_t, void *), int32_t (*deleter)(OvanObjPath_t),
                     const char *refusal = "Invalid parameters.", const char *add_failed_line = nullptr);

// A look-up command whose reply leads with an object path ("(&ou&s)", "(ou&s)"), then
// `getter` on that path (a lead of another type leaves the path empty, which the getter
// refuses). When the getter fails: *status 1 and a copy of `get_failed`.
int32_t lookup_then_get(const CommandSpec &shape, ArgTuple &args, int32_t (*getter)(OvanObjPath_t, void *),
                        void *rec, const char *get_failed, uint32_t *status, char **errmsg);

}  // namespace lumo::gw

// ---- fixed-width text fields ----

namespace lumo::gw {

// A fixed-width text field a caller filled holds its terminator within its width.
template <size_t N>
bool field_terminated(const char (&field)[N])
{
    return std::memchr(field, '\0', N) != nullptr;
}

// ---- arrays of tuples into records ----

// Fills a new block of records from an array of tuples ("a(ss)", "a(sb)" ...):
// field i of each record takes member i of its tuple when the types fit (names are
// not used). *num receives the count; a NULL objs asks for the count only, and no
// tuples give *objs NULL. -1 when the block cannot be had (`alloc_line` logged at
// priority 3, *num already set).
int32_t walk_rows(const char *tag, Fields fields, size_t record_size, GVariant *rows, void **objs, uint32_t *num,
                  const char *alloc_line);

// ---- shape 2 whole ----

struct SetterSpec {
    const char *tag;
    const char *path;
    const RecordTable *table;
    const char *entry_line;         // priority 7
    const char *null_line;          // priority 3 for a NULL record
    const char *refusal = nullptr;  // priority 3 when `check` fails; null: the check logs its own line
};

// Entry line, NULL record refused, the family's `check` (may be null) of the record,
// then SetMulti of `fields`.
int32_t set_singleton(const SetterSpec &shape, Fields fields, const void *record,
                      bool (*check)(const void *record) = nullptr);

}  // namespace lumo::gw

// ---- other services, lists given as text, look-ups by a key field ----

namespace lumo::gw {

// The collection shapes on a service other than the gateway's (the same
// object-manager interface). When that service is absent only these calls fail.
int32_t enumerate_on(const char *service, const CollectionSpec &shape, const char *collection, void **objs,
                     uint32_t *num);
int32_t set_dict_on(const char *service, const char *path, const char *iface, GVariant *dict);
// set_dict_on takes a null dictionary (a refused record) as -1, sending nothing.
int32_t add_with_rollback_on(const char *service, const char *collection, void *record,
                             int32_t (*setter)(OvanObjPath_t, void *), int32_t (*deleter)(OvanObjPath_t),
                             Fields checked = {}, const char *tag = nullptr, size_t path_limit = 255);
// AddObject on `collection`; the new path goes into the record's path field (at most
// limit-1 characters). 0, or -1 for a failed call or a reply that is not "(o)"; a new
// path longer than that is deleted again by its whole path and -1 returned.
int32_t add_object_on(const char *service, const char *collection, void *record, size_t limit);
int32_t delete_object_on(const char *service, const char *collection, const char *path);

// Frees the "as" blocks of `n` records (not the records themselves).
void free_string_lists(const RecordTable &table, void *records, uint32_t n);

// The records of one listing, freed with their "as" blocks.
class Listing {
public:
    explicit Listing(const RecordTable &table) : table_(table) {}
    ~Listing();
    Listing(const Listing &) = delete;
    Listing &operator=(const Listing &) = delete;

    int32_t load(const char *service, const CollectionSpec &shape, const char *collection);
    uint32_t size() const { return n_; }
    // The first record whose string field `key` holds exactly `value`; null if none.
    void *find(const char *key, const char *value) const;

private:
    const RecordTable &table_;
    void *block_ = nullptr;
    uint32_t n_ = 0;
};

// The field of `fields` named `name`; null if none.
const Field *field_named(Fields fields, const char *name);

// The non-empty pieces of `list` split at ";", from its first `max_chars` characters
// only. Never null (an empty vector for a null or empty list).
lumo::GStrv split_list(const char *list, size_t max_chars);

// The entries of the string-list field `list` of `record`, in order, that do not
// occur as a substring anywhere in `within` (all of them for a null or empty
// `within`). Coarse on purpose: separators in `within` play no part.
lumo::GStrv entries_not_within(const Field &list, const void *record, const char *within);

// An "as" (floating) of the strings of a null-terminated vector.
GVariant *string_array(const char *const *items);

// ---- one property at a time ----

// Stores `value` into field `f` of `record` as fill_record would (cut to the width,
// nothing written for another wire type); true when written.
bool fill_field(const Field &f, void *record, GVariant *value);

}  // namespace lumo::gw
