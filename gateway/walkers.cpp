// The generic gateway shapes.
#include "gateway/walkers.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <syslog.h>

#include "bus/connection.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_device.h"

namespace lumo::gw {

namespace {

constexpr size_t kPathSize = sizeof(OvanObjPath_t);

char *at(void *record, uint16_t offset)
{
    return static_cast<char *>(record) + offset;
}

const char *at(const void *record, uint16_t offset)
{
    return static_cast<const char *>(record) + offset;
}

template <typename V>
void put(void *record, uint16_t offset, V value)
{
    std::memcpy(at(record, offset), &value, sizeof value);  // "y" fields are unaligned
}

template <typename V>
V get(const void *record, uint16_t offset)
{
    V value;
    std::memcpy(&value, at(record, offset), sizeof value);
    return value;
}

bool wire_type_fits(const Field &f, GVariant *value)
{
    switch (f.type) {
    case Type::Str: return g_variant_is_of_type(value, G_VARIANT_TYPE_STRING);
    case Type::Bool: return g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN);
    case Type::U32: return g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32);
    case Type::I32: return g_variant_is_of_type(value, G_VARIANT_TYPE_INT32);
    case Type::Byte: return g_variant_is_of_type(value, G_VARIANT_TYPE_BYTE);
    case Type::U64: return g_variant_is_of_type(value, G_VARIANT_TYPE_UINT64);
    case Type::U16: return g_variant_is_of_type(value, G_VARIANT_TYPE_UINT16);
    case Type::Double: return g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE);
    case Type::StrList: return g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY);
    case Type::Bytes: return g_variant_is_of_type(value, G_VARIANT_TYPE_BYTESTRING);
    case Type::Drop: return false;
    }
    return false;
}

void store_string_list(const Field &f, void *record, GVariant *value)
{
    const size_t n = g_variant_n_children(value);
    put<uint32_t>(record, f.offset, static_cast<uint32_t>(n));
    if (n == 0) {
        if (f.flags & kNullWhenEmpty)
            put<void *>(record, f.aux, nullptr);
        return;
    }
    // The count stays set even when the block cannot be had.
    char *block = static_cast<char *>(g_try_malloc0_n(n, f.size));
    put<void *>(record, f.aux, block);
    if (!block)
        return;
    for (size_t i = 0; i < n; i++) {
        GPtr<GVariant> item(g_variant_get_child_value(value, i));
        g_strlcpy(block + i * f.size, g_variant_get_string(item.get(), nullptr), f.size);
    }
}

// The count always describes the block: a block that cannot be had leaves 0 and NULL.
void store_bytes(const Field &f, void *record, GVariant *value)
{
    gsize n = 0;
    const void *data = g_variant_get_fixed_array(value, &n, 1);
    void *block = n ? g_try_malloc0(n) : nullptr;
    if (block)
        std::memcpy(block, data, n);
    put<uint32_t>(record, f.offset, block ? static_cast<uint32_t>(n) : 0);
    put<void *>(record, f.aux, block);
}

void store(const Field &f, void *record, GVariant *value)
{
    switch (f.type) {
    case Type::Str: g_strlcpy(at(record, f.offset), g_variant_get_string(value, nullptr), f.size); break;
    case Type::Bool: put<int32_t>(record, f.offset, g_variant_get_boolean(value) ? 1 : 0); break;
    case Type::U32: put<uint32_t>(record, f.offset, g_variant_get_uint32(value)); break;
    case Type::I32: put<int32_t>(record, f.offset, g_variant_get_int32(value)); break;
    case Type::Byte: put<uint8_t>(record, f.offset, g_variant_get_byte(value)); break;
    case Type::U64: put<uint64_t>(record, f.offset, g_variant_get_uint64(value)); break;
    case Type::U16: put<uint16_t>(record, f.offset, g_variant_get_uint16(value)); break;
    case Type::Double: put<double>(record, f.offset, g_variant_get_double(value)); break;
    case Type::StrList: store_string_list(f, record, value); break;
    case Type::Bytes: store_bytes(f, record, value); break;
    case Type::Drop: break;
    }
}

GVariant *field_value(const Field &f, const void *record)
{
    switch (f.type) {
    case Type::Str: {
        // Fixed-width fields need not be terminated when a caller filled them all.
        const char *s = at(record, f.offset);
        GStr copy(g_strndup(s, f.size));
        return g_variant_new_string(copy.get());
    }
    case Type::Bool: return g_variant_new_boolean(get<int32_t>(record, f.offset) != 0);
    case Type::U32: return g_variant_new_uint32(get<uint32_t>(record, f.offset));
    case Type::I32: return g_variant_new_int32(get<int32_t>(record, f.offset));
    case Type::Byte: return g_variant_new_byte(get<uint8_t>(record, f.offset));
    case Type::U64: return g_variant_new_uint64(get<uint64_t>(record, f.offset));
    case Type::U16: return g_variant_new_uint16(get<uint16_t>(record, f.offset));
    case Type::Double: return g_variant_new_double(get<double>(record, f.offset));
    case Type::StrList: {
        GVariantBuilder b;
        g_variant_builder_init(&b, G_VARIANT_TYPE_STRING_ARRAY);
        const uint32_t n = get<uint32_t>(record, f.offset);
        const char *block = get<const char *>(record, f.aux);
        for (uint32_t i = 0; block && i < n; i++) {
            GStr item(g_strndup(block + static_cast<size_t>(i) * f.size, f.size));
            g_variant_builder_add(&b, "s", item.get());
        }
        return g_variant_builder_end(&b);
    }
    case Type::Bytes: {
        // Sent only when there is something to send.
        const uint32_t n = get<uint32_t>(record, f.offset);
        const void *block = get<const void *>(record, f.aux);
        if (n == 0 || !block)
            return nullptr;
        return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, block, n, 1);
    }
    case Type::Drop: break;
    }
    return nullptr;
}

// The generic bus write a refusal is logged under when no wrapper is named.
constexpr const char kWriteTag[] = "OvanDBusSetMultiProperty";

void refuse_text(const char *tag, const char *message)
{
    lumo_log(tag, LOG_ERR, "%s", message);
    OvanSetErrMsg(message);
}

}  // namespace

bool text_ok(const char *tag, const char *what, const char *text, size_t max)
{
    return command_text_ok(tag, what, text, nullptr, nullptr, max);
}

bool command_text_ok(const char *tag, const char *what, const char *text, uint32_t *status, char **errmsg,
                     size_t max)
{
    if (!text || g_utf8_validate(text, static_cast<gssize>(strnlen(text, max)), nullptr))
        return true;
    GStr message(g_strdup_printf("Invalid parameter: %s is not valid UTF-8.", what));
    refuse_text(tag, message.get());
    fail_command(status, errmsg, message.get());
    return false;
}

bool record_text_ok(const char *tag, Fields fields, const void *record)
{
    if (!tag)
        tag = kWriteTag;
    for (const Field &f : fields) {
        if (f.type == Type::Str && !text_ok(tag, f.name, at(record, f.offset), f.size))
            return false;
        if (f.type != Type::StrList)
            continue;
        const uint32_t n = get<uint32_t>(record, f.offset);
        const char *block = get<const char *>(record, f.aux);
        for (uint32_t i = 0; block && i < n; i++)
            if (!text_ok(tag, f.name, block + static_cast<size_t>(i) * f.size, f.size))
                return false;
    }
    return true;
}

ArgTuple::ArgTuple(const char *tag) : tag_(tag)
{
    g_variant_builder_init(&builder_, G_VARIANT_TYPE_TUPLE);
}

ArgTuple::~ArgTuple()
{
    if (open_)
        g_variant_builder_clear(&builder_);
}

bool ArgTuple::refuse(const char *what, const char *why)
{
    g_snprintf(problem_, sizeof problem_, "Invalid parameter: %s %s.", what, why);
    refuse_text(tag_, problem_);
    return false;
}

ArgTuple &ArgTuple::s(const char *what, const char *text)
{
    if (refused())
        return *this;
    if (text && !g_utf8_validate(text, -1, nullptr))
        refuse(what, "is not valid UTF-8");
    else
        g_variant_builder_add_value(&builder_, g_variant_new_string(or_empty(text)));
    return *this;
}

ArgTuple &ArgTuple::o(const char *what, const char *path)
{
    if (refused())
        return *this;
    if (!path || !g_variant_is_object_path(path))
        refuse(what, "is not a valid object path");
    else
        g_variant_builder_add_value(&builder_, g_variant_new_object_path(path));
    return *this;
}

ArgTuple &ArgTuple::add(GVariant *value)
{
    if (refused())
        bus::consume_floating(value);
    else
        g_variant_builder_add_value(&builder_, value);
    return *this;
}

ArgTuple &ArgTuple::b(bool v)
{
    return add(g_variant_new_boolean(v));
}

ArgTuple &ArgTuple::y(uint8_t v)
{
    return add(g_variant_new_byte(v));
}

ArgTuple &ArgTuple::q(uint16_t v)
{
    return add(g_variant_new_uint16(v));
}

ArgTuple &ArgTuple::i(int32_t v)
{
    return add(g_variant_new_int32(v));
}

ArgTuple &ArgTuple::u(uint32_t v)
{
    return add(g_variant_new_uint32(v));
}

GVariant *ArgTuple::end()
{
    if (!open_)
        return nullptr;
    open_ = false;
    if (refused()) {
        g_variant_builder_clear(&builder_);
        return nullptr;
    }
    return g_variant_builder_end(&builder_);
}

int32_t set_text_property(const char *tag, const char *path, const char *iface, const char *prop, const char *text)
{
    if (!text_ok(tag, prop, text))
        return -1;
    return OvanDBusSetProperty(kService, path, iface, prop, g_variant_new_string(or_empty(text))) == 0 ? 0 : -1;
}

void fill_record(Fields fields, void *record, GVariant *dict)
{
    // Children are taken directly rather than through format strings: this walk is
    // the bulk of a large listing's cost.
    GVariantIter iter;
    g_variant_iter_init(&iter, dict);
    // A peer may send a key twice: a list block this walk already stored is freed
    // before the later value replaces it.
    const Field *lists_stored[16];
    size_t n_lists_stored = 0;
    while (GVariant *raw_entry = g_variant_iter_next_value(&iter)) {
        GPtr<GVariant> entry(raw_entry);
        GPtr<GVariant> key(g_variant_get_child_value(entry.get(), 0));
        const char *name = g_variant_get_string(key.get(), nullptr);
        const Field *match = nullptr;
        for (const Field &f : fields) {
            if (std::strcmp(f.name, name) == 0) {
                match = &f;
                break;
            }
        }
        if (!match || !match->from_bus())
            continue;
        GPtr<GVariant> boxed(g_variant_get_child_value(entry.get(), 1));
        GPtr<GVariant> value(g_variant_get_variant(boxed.get()));
        // A value of another wire type is never written: a "t" sent for a "u" field
        // must not spill into the next field.
        if (!wire_type_fits(*match, value.get()))
            continue;
        bool again = false;
        if (match->type == Type::StrList) {
            for (size_t i = 0; i < n_lists_stored; i++)
                again = again || lists_stored[i] == match;
            if (again) {
                g_free(get<void *>(record, match->aux));
                put<void *>(record, match->aux, nullptr);
            }
        }
        store(*match, record, value.get());
        // Only blocks this walk allocated are ours to free; the caller's pointer is not.
        if (match->type == Type::StrList && !again && get<uint32_t>(record, match->offset) > 0 &&
            n_lists_stored < std::size(lists_stored))
            lists_stored[n_lists_stored++] = match;
    }
}

GVariant *build_dict(Fields fields, const void *record, const char *tag)
{
    if (!record_text_ok(tag, fields, record))
        return nullptr;
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE_VARDICT);
    for (const Field &f : fields)
        if (GVariant *v = field_value(f, record))
            g_variant_builder_add(&b, "{sv}", f.name, v);
    return g_variant_builder_end(&b);
}

void copy_path(void *record, const char *path, size_t limit)
{
    g_strlcpy(static_cast<char *>(record), path, limit < kPathSize ? limit : kPathSize);
}

bool instance_path_ok(const char *path, const char *prefix)
{
    return path && *path && g_variant_is_object_path(path) && std::strncmp(path, prefix, std::strlen(prefix)) == 0;
}

int32_t get_all_into(const GetterSpec &shape, const char *path, void *record)
{
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusGetAllProperty(kService, path, shape.table->interface, &raw);
    GPtr<GVariant> dict(raw);
    if (ret != 0 || !dict) {
        if (shape.failed_line)
            lumo_log(shape.tag, LOG_ERR, shape.failed_line, ret);
        return -1;
    }
    copy_path(record, path, shape.path_limit);
    if (g_variant_n_children(dict.get()) == 0) {
        if (shape.empty_line)
            lumo_log(shape.tag, LOG_ERR, shape.empty_line, path);
        return -1;
    }
    fill_record(shape.table->fields, record, dict.get());
    if (shape.after)
        shape.after(record);
    return 0;
}

void fill_from_interfaces(const RecordTable &table, const char *also, void *record, GVariant *ifaces)
{
    const size_t m = g_variant_n_children(ifaces);
    for (size_t i = 0; i < m; i++) {
        GPtr<GVariant> iface(g_variant_get_child_value(ifaces, i));
        GPtr<GVariant> name(g_variant_get_child_value(iface.get(), 0));
        const char *iname = g_variant_get_string(name.get(), nullptr);
        const bool second = also && std::strcmp(iname, also) == 0;
        if (!second && std::strcmp(iname, table.interface) != 0)
            continue;
        GPtr<GVariant> props(g_variant_get_child_value(iface.get(), 1));
        if (g_variant_n_children(props.get()) > 0) {
            fill_record(table.fields, record, props.get());
            if (!also)
                break;
        }
    }
}

int32_t walk_object_map(const CollectionSpec &shape, GVariant *map, void **objs, uint32_t *num)
{
    const size_t n = g_variant_n_children(map);
    lumo_log(shape.tag, LOG_DEBUG, shape.count_line, static_cast<int>(n));
    *num = static_cast<uint32_t>(n);
    if (!objs)
        return 0;
    if (n == 0) {
        *objs = nullptr;
        return 0;
    }
    char *block = static_cast<char *>(g_try_malloc0_n(n, shape.table->record_size));
    if (!block)
        return -1;
    *objs = block;

    for (size_t k = 0; k < n; k++) {
        GPtr<GVariant> entry(g_variant_get_child_value(map, k));
        GPtr<GVariant> object(g_variant_get_child_value(entry.get(), 0));
        GPtr<GVariant> ifaces(g_variant_get_child_value(entry.get(), 1));
        const char *path = g_variant_get_string(object.get(), nullptr);
        void *record = block + k * shape.table->record_size;
        copy_path(record, path, shape.path_limit);
        {
            GStr printed = bus::print_value(ifaces.get(), LOG_DEBUG);
            lumo_log(shape.tag, LOG_DEBUG, "path (%s) [%s]", path, printed.get());
        }
        fill_from_interfaces(*shape.table, shape.also_interface, record, ifaces.get());
        if (shape.after)
            shape.after(record);
        if (shape.after_with)
            shape.after_with(record, shape.after_context);
    }
    return 0;
}

int32_t enumerate(const CollectionSpec &shape, const char *collection, void **objs, uint32_t *num)
{
    return enumerate_on(kService, shape, collection, objs, num);
}

int32_t set_fields(const char *path, const char *iface, Fields fields, const void *record, const char *tag)
{
    GVariant *dict = build_dict(fields, record, tag);
    if (!dict)
        return -1;
    return set_dict_on(kService, path, iface, dict);
}

int32_t add_with_rollback(const char *collection, void *record, int32_t (*setter)(OvanObjPath_t, void *),
                          int32_t (*deleter)(OvanObjPath_t), Fields checked, const char *tag,
                          size_t path_limit)
{
    return add_with_rollback_on(kService, collection, record, setter, deleter, checked, tag, path_limit);
}

int32_t delete_object(const char *collection, const char *path)
{
    return delete_object_on(kService, collection, path);
}

int32_t fail_command(uint32_t *status, char **errmsg, const char *message)
{
    if (status)
        *status = 1;
    if (errmsg)
        *errmsg = g_strdup(message);
    return -1;
}

int32_t run_command(const CommandSpec &shape, ArgTuple &args, uint32_t *status, char **errmsg, GPtr<GVariant> *lead)
{
    if (args.refused())
        return fail_command(status, errmsg, args.problem());
    return run_command(shape, args.end(), status, errmsg, lead);
}

int32_t run_command(const CommandSpec &shape, GVariant *args, uint32_t *status, char **errmsg, GPtr<GVariant> *lead)
{
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusCallMethod(kService, shape.path, shape.iface, shape.method, args, &raw, -1);
    GPtr<GVariant> reply(raw);
    return read_command_reply(shape, ret, reply.get(), status, errmsg, lead);
}

int32_t read_command_reply(const CommandSpec &shape, int32_t ret, GVariant *reply_value, uint32_t *status,
                           char **errmsg, GPtr<GVariant> *lead)
{
    GPtr<GVariant> reply(reply_value ? g_variant_ref(reply_value) : nullptr);
    if (ret == 0 && reply && shape.reply_line) {
        GStr printed = bus::print_value(reply.get(), LOG_DEBUG);
        lumo_log(shape.tag, LOG_DEBUG, shape.reply_line, printed.get());
    }
    if (ret == 0 && reply && shape.reply_type && !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE(shape.reply_type))) {
        lumo_log(shape.tag, LOG_ERR, "Return value is of incorrect variant type %s.",
                 g_variant_get_type_string(reply.get()));
        return fail_command(status, errmsg, "Return value is of incorrect variant type.");
    }
    const size_t n = reply && g_variant_is_of_type(reply.get(), G_VARIANT_TYPE_TUPLE)
                         ? g_variant_n_children(reply.get())
                         : 0;
    GPtr<GVariant> word, message;
    if (n >= 2) {
        word.reset(g_variant_get_child_value(reply.get(), n - 2));
        message.reset(g_variant_get_child_value(reply.get(), n - 1));
    }
    if (ret != 0 || !word || !g_variant_is_of_type(word.get(), G_VARIANT_TYPE_UINT32) ||
        !g_variant_is_of_type(message.get(), G_VARIANT_TYPE_STRING)) {
        if (shape.fail_line_with_ret)
            lumo_log(shape.tag, LOG_ERR, shape.fail_line, ret);
        else
            lumo_log(shape.tag, LOG_ERR, "%s", shape.fail_line);
        return fail_command(status, errmsg, shape.fail_message);
    }
    const uint32_t result = g_variant_get_uint32(word.get());
    const char *text = g_variant_get_string(message.get(), nullptr);
    if (result != 0 && *text) {
        if (errmsg)
            *errmsg = g_strdup(text);
        if (shape.message_line && shape.message_line_with_word)
            lumo_log(shape.tag, shape.message_priority, shape.message_line, static_cast<int>(result), text);
        else if (shape.message_line)
            lumo_log(shape.tag, shape.message_priority, shape.message_line, text);
    }
    if (status)
        *status = result;
    if (lead && n == 3)
        lead->reset(g_variant_get_child_value(reply.get(), 0));
    return result != 0 ? -1 : 0;
}

int32_t bus_version()
{
    if (gwdbusver == -1)
        gwdbusver = OvanGetDBusVersion();
    return gwdbusver;
}

int32_t wifi_guard()
{
    if (bus_version() > 1) {
        if (wifivalinit == 0) {
            if (OvanSupportWiFi(&supportwifi) != 0)
                return -1;
            wifivalinit = 1;
        }
        if (supportwifi == 0)
            return 1;
    }
    return 0;
}

int32_t get_singleton(const GetterSpec &shape, const char *entry_line, const char *path, void *record)
{
    lumo_log(shape.tag, LOG_DEBUG, entry_line, record);
    if (!record)
        return -1;
    return get_all_into(shape, path, record);
}

// ---- storage families ----

int32_t usb_guard()
{
    if (bus_version() > 1) {
        if (usbvalinit == 0) {
            if (OvanSupportUSB(&supportusb) != 0)
                return -1;
            usbvalinit = 1;
        }
        if (supportusb == 0)
            return 1;
    }
    return 0;
}

// ---- replies with leading values ----

void fill_positional(Fields fields, void *record, GVariant *tuple)
{
    const size_t n = std::min(g_variant_n_children(tuple), fields.size());
    for (size_t i = 0; i < n; i++) {
        GPtr<GVariant> value(g_variant_get_child_value(tuple, i));
        if (fields[i].from_bus() && wire_type_fits(fields[i], value.get()))
            store(fields[i], record, value.get());
    }
}

void *records_from_array(const RecordTable &table, GVariant *array, size_t limit, size_t *count)
{
    *count = 0;
    const size_t n = std::min(g_variant_n_children(array), limit);
    char *block = n ? static_cast<char *>(g_try_malloc0_n(n, table.record_size)) : nullptr;
    if (!block)
        return nullptr;
    for (size_t k = 0; k < n; k++) {
        GPtr<GVariant> entry(g_variant_get_child_value(array, k));
        if (g_variant_is_of_type(entry.get(), G_VARIANT_TYPE_TUPLE) ||
            g_variant_is_of_type(entry.get(), G_VARIANT_TYPE_DICT_ENTRY))
            fill_positional(table.fields, block + k * table.record_size, entry.get());
    }
    *count = n;
    return block;
}

void lead_string(const GPtr<GVariant> &lead, char **out)
{
    if (out && lead && g_variant_is_of_type(lead.get(), G_VARIANT_TYPE_STRING)) {
        const char *s = g_variant_get_string(lead.get(), nullptr);
        if (*s)
            *out = g_strdup(s);
    }
}

void lead_u32(const GPtr<GVariant> &lead, uint32_t *out)
{
    if (out && lead && g_variant_is_of_type(lead.get(), G_VARIANT_TYPE_UINT32))
        *out = g_variant_get_uint32(lead.get());
}

// ---- one instance of a collection ----

ShownPath::ShownPath(const OvanObjPath_t &path)
{
    std::memcpy(text, path.str, sizeof text - 1);
    text[sizeof text - 1] = '\0';
}

void log_path_line(const char *tag, const char *line, const OvanObjPath_t &path)
{
    lumo_log(tag, LOG_DEBUG, line, ShownPath(path).text);
}

bool instance_arg_ok(const OvanObjPath_t &path, const char *prefix)
{
    return path_terminated(path) && instance_path_ok(path.str, prefix);
}

bool instance_arg_ok(const Instances &c, const OvanObjPath_t &path)
{
    return instance_arg_ok(path, c.prefix) && (!c.must_contain || std::strstr(path.str, c.must_contain));
}

int32_t instance_begin(const Member &m, const Instances &c, const OvanObjPath_t &path, bool args_ok)
{
    if (int32_t g = c.guard ? c.guard() : 0)
        return g;
    log_path_line(m.tag, m.entry_line, path);
    if (!args_ok || !instance_arg_ok(c, path)) {
        lumo_log(m.tag, LOG_ERR, "%s", m.refusal);
        return -1;
    }
    return 0;
}

int32_t instance_list(const char *tag, const Instances &c, void **objs, uint32_t *num)
{
    if (int32_t g = c.guard ? c.guard() : 0)
        return g;
    lumo_log(tag, LOG_DEBUG, "enter");
    if (!num)
        return -1;
    return enumerate_on(c.service, {tag, c.table, "entry num (%d)", 255}, c.collection, objs, num);
}

int32_t instance_get(const Member &m, const Instances &c, const OvanObjPath_t &path, void *rec)
{
    if (int32_t ret = instance_begin(m, c, path, rec != nullptr))
        return ret;
    return get_all_into({m.tag, c.table, 255}, path.str, rec);
}

int32_t instance_set(const Member &m, const Instances &c, const OvanObjPath_t &path, const void *rec, Fields fields)
{
    if (int32_t ret = instance_begin(m, c, path, rec != nullptr))
        return ret;
    return set_fields(path.str, c.table->interface, fields, rec, m.tag);
}

int32_t instance_delete(const Member &m, const Instances &c, const OvanObjPath_t &path)
{
    if (int32_t ret = instance_begin(m, c, path))
        return ret;
    GStr derived(c.collection ? nullptr : g_strndup(path.str, std::strrchr(path.str, '/') - path.str));
    return delete_object_on(c.service, c.collection ? c.collection : derived.get(), path.str);
}

int32_t instance_add(const char *tag, const Instances &c, void *rec, Fields checked,
                     int32_t (*setter)(OvanObjPath_t, void *), int32_t (*deleter)(OvanObjPath_t),
                     const char *refusal, const char *add_failed_line)
{
    if (int32_t g = c.guard ? c.guard() : 0)
        return g;
    if (!rec) {
        lumo_log(tag, LOG_ERR, "%s", refusal);
        return -1;
    }
    // The record's path is written only once AddObject has answered.
    OvanObjPath_t before;
    std::memcpy(before.str, rec, sizeof before.str);
    static_cast<char *>(rec)[0] = '\0';
    const int32_t ret = add_with_rollback_on(c.service, c.collection, rec, setter, deleter, checked, tag);
    if (ret != 0 && static_cast<char *>(rec)[0] == '\0') {
        std::memcpy(rec, before.str, sizeof before.str);
        if (add_failed_line)
            lumo_log(tag, LOG_ERR, "%s", add_failed_line);
    }
    return ret;
}

int32_t lookup_then_get(const CommandSpec &shape, ArgTuple &args, int32_t (*getter)(OvanObjPath_t, void *),
                        void *rec, const char *get_failed, uint32_t *status, char **errmsg)
{
    GPtr<GVariant> lead;
    if (run_command(shape, args, status, errmsg, &lead) != 0)
        return -1;
    OvanObjPath_t path{};
    if (lead && g_variant_is_of_type(lead.get(), G_VARIANT_TYPE_OBJECT_PATH))
        g_strlcpy(path.str, g_variant_get_string(lead.get(), nullptr), 255);
    const int32_t ret = getter(path, rec);
    if (ret != 0)
        fail_command(status, errmsg, get_failed);
    return ret;
}

int32_t walk_rows(const char *tag, Fields fields, size_t record_size, GVariant *rows, void **objs, uint32_t *num,
                  const char *alloc_line)
{
    const size_t n = g_variant_n_children(rows);
    *num = static_cast<uint32_t>(n);
    if (!objs)
        return 0;
    if (n == 0) {
        *objs = nullptr;
        return 0;
    }
    char *block = static_cast<char *>(g_try_malloc0_n(n, record_size));
    if (!block) {
        lumo_log(tag, LOG_ERR, "%s", alloc_line);
        return -1;
    }
    for (size_t k = 0; k < n; k++) {
        GPtr<GVariant> row(g_variant_get_child_value(rows, k));
        const size_t members = g_variant_is_container(row.get()) ? g_variant_n_children(row.get()) : 0;
        for (size_t i = 0; i < fields.size() && i < members; i++) {
            GPtr<GVariant> value(g_variant_get_child_value(row.get(), i));
            if (wire_type_fits(fields[i], value.get()))
                store(fields[i], block + k * record_size, value.get());
        }
    }
    *objs = block;
    return 0;
}

int32_t set_singleton(const SetterSpec &shape, Fields fields, const void *record, bool (*check)(const void *record))
{
    lumo_log(shape.tag, LOG_DEBUG, "%s", shape.entry_line);
    if (!record) {
        lumo_log(shape.tag, LOG_ERR, "%s", shape.null_line);
        return -1;
    }
    if (check && !check(record)) {
        if (shape.refusal)
            lumo_log(shape.tag, LOG_ERR, "%s", shape.refusal);
        return -1;
    }
    return set_fields(shape.path, shape.table->interface, fields, record, shape.tag);
}

}  // namespace lumo::gw

// ---- other services, lists given as text, look-ups by a key field ----

namespace lumo::gw {

int32_t enumerate_on(const char *service, const CollectionSpec &shape, const char *collection, void **objs,
                     uint32_t *num)
{
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusCallMethod(service, collection, kObjectManager, "GetManagedObjects", nullptr, &raw, -1);
    GPtr<GVariant> reply(raw);
    if (ret != 0 || !reply) {
        lumo_log(shape.tag, LOG_ERR, shape.failed_line ? shape.failed_line : "GetManagedObjects failed with ret(%d)",
                 ret);
        return -1;
    }
    GPtr<GVariant> map(g_variant_get_child_value(reply.get(), 0));
    return walk_object_map(shape, map.get(), objs, num);
}

int32_t set_dict_on(const char *service, const char *path, const char *iface, GVariant *dict)
{
    if (!dict)  // a refused record: nothing is sent
        return -1;
    return OvanDBusSetMultiProperty(service, path, iface, dict) == 0 ? 0 : -1;
}

int32_t add_with_rollback_on(const char *service, const char *collection, void *record,
                             int32_t (*setter)(OvanObjPath_t, void *), int32_t (*deleter)(OvanObjPath_t),
                             Fields checked, const char *tag, size_t path_limit)
{
    // A record the bus could not carry must not leave a created-then-deleted object.
    if (!checked.empty() && !record_text_ok(tag, checked, record))
        return -1;
    if (add_object_on(service, collection, record, path_limit) != 0)
        return -1;
    OvanObjPath_t at_path{};
    std::memcpy(at_path.str, record, sizeof at_path.str);
    int32_t ret = setter(at_path, record);
    if (ret != 0)
        deleter(at_path);  // leave no half-made object behind
    return ret;
}

int32_t add_object_on(const char *service, const char *collection, void *record, size_t limit)
{
    GVariant *raw = nullptr;
    if (OvanDBusCallMethod(service, collection, kObjectManager, "AddObject", nullptr, &raw, -1) != 0 || !raw)
        return -1;
    GPtr<GVariant> reply(raw);
    if (!g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(o)")))
        return -1;
    const char *path = nullptr;
    g_variant_get(reply.get(), "(&o)", &path);
    // A cut path may name another object: the new one is removed by its whole path.
    if (std::strlen(path) >= std::min(limit, kPathSize)) {
        delete_object_on(service, collection, path);
        return -1;
    }
    copy_path(record, path, limit);
    return 0;
}

int32_t delete_object_on(const char *service, const char *collection, const char *path)
{
    return OvanDBusCallMethod(service, collection, kObjectManager, "DeleteObject", g_variant_new("(o)", path),
                              nullptr, -1) == 0
               ? 0
               : -1;
}

void free_string_lists(const RecordTable &table, void *records, uint32_t n)
{
    for (uint32_t i = 0; records && i < n; i++) {
        void *record = static_cast<char *>(records) + static_cast<size_t>(i) * table.record_size;
        for (const Field &f : table.fields) {
            if (f.type != Type::StrList)
                continue;
            g_free(get<void *>(record, f.aux));
            put<void *>(record, f.aux, nullptr);
            put<uint32_t>(record, f.offset, 0);
        }
    }
}

Listing::~Listing()
{
    free_string_lists(table_, block_, n_);
    g_free(block_);
}

int32_t Listing::load(const char *service, const CollectionSpec &shape, const char *collection)
{
    uint32_t n = 0;
    void *block = nullptr;
    int32_t ret = enumerate_on(service, shape, collection, &block, &n);
    free_string_lists(table_, block_, n_);
    g_free(block_);
    block_ = block;
    n_ = block ? n : 0;
    return ret;
}

void *Listing::find(const char *key, const char *value) const
{
    const Field *f = field_named(table_.fields, key);
    if (!f || f->type != Type::Str || !value)
        return nullptr;
    for (uint32_t i = 0; i < n_; i++) {
        char *record = static_cast<char *>(block_) + static_cast<size_t>(i) * table_.record_size;
        if (std::strcmp(record + f->offset, value) == 0)
            return record;
    }
    return nullptr;
}

const Field *field_named(Fields fields, const char *name)
{
    for (const Field &f : fields)
        if (std::strcmp(f.name, name) == 0)
            return &f;
    return nullptr;
}

lumo::GStrv split_list(const char *list, size_t max_chars)
{
    GPtrArray *pieces = g_ptr_array_new();
    if (list) {
        GStr head(g_strndup(list, strnlen(list, max_chars)));
        lumo::GStrv all(g_strsplit(head.get(), ";", -1));
        for (char **p = all.get(); *p; p++)
            if (**p)
                g_ptr_array_add(pieces, g_strdup(*p));
    }
    g_ptr_array_add(pieces, nullptr);
    return lumo::GStrv(reinterpret_cast<char **>(g_ptr_array_free(pieces, FALSE)));
}

lumo::GStrv entries_not_within(const Field &list, const void *record, const char *within)
{
    GPtrArray *kept = g_ptr_array_new();
    const uint32_t n = get<uint32_t>(record, list.offset);
    const char *block = get<const char *>(record, list.aux);
    for (uint32_t i = 0; block && i < n; i++) {
        GStr entry(g_strndup(block + static_cast<size_t>(i) * list.size, list.size));
        if (!within || !*within || !std::strstr(within, entry.get()))
            g_ptr_array_add(kept, entry.release());
    }
    g_ptr_array_add(kept, nullptr);
    return lumo::GStrv(reinterpret_cast<char **>(g_ptr_array_free(kept, FALSE)));
}

GVariant *string_array(const char *const *items)
{
    return g_variant_new_strv(items, -1);
}

// ---- one property at a time ----

bool fill_field(const Field &f, void *record, GVariant *value)
{
    if (!f.from_bus() || !value || !wire_type_fits(f, value))
        return false;
    store(f, record, value);
    return true;
}

}  // namespace lumo::gw
