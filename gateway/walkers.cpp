// The generic gateway shapes.
#include "gateway/walkers.hpp"

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
    case Type::Double: return g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE);
    case Type::StrList: return g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY);
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

void store(const Field &f, void *record, GVariant *value)
{
    switch (f.type) {
    case Type::Str: g_strlcpy(at(record, f.offset), g_variant_get_string(value, nullptr), f.size); break;
    case Type::Bool: put<int32_t>(record, f.offset, g_variant_get_boolean(value) ? 1 : 0); break;
    case Type::U32: put<uint32_t>(record, f.offset, g_variant_get_uint32(value)); break;
    case Type::I32: put<int32_t>(record, f.offset, g_variant_get_int32(value)); break;
    case Type::Byte: put<uint8_t>(record, f.offset, g_variant_get_byte(value)); break;
    case Type::U64: put<uint64_t>(record, f.offset, g_variant_get_uint64(value)); break;
    case Type::Double: put<double>(record, f.offset, g_variant_get_double(value)); break;
    case Type::StrList: store_string_list(f, record, value); break;
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
    case Type::Drop: break;
    }
    return nullptr;
}

}  // namespace

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

GVariant *build_dict(Fields fields, const void *record)
{
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
        const size_t m = g_variant_n_children(ifaces.get());
        for (size_t i = 0; i < m; i++) {
            GPtr<GVariant> iface(g_variant_get_child_value(ifaces.get(), i));
            GPtr<GVariant> name(g_variant_get_child_value(iface.get(), 0));
            if (std::strcmp(g_variant_get_string(name.get(), nullptr), shape.table->interface) != 0)
                continue;
            GPtr<GVariant> props(g_variant_get_child_value(iface.get(), 1));
            if (g_variant_n_children(props.get()) > 0) {
                fill_record(shape.table->fields, record, props.get());
                break;
            }
        }
        if (shape.after)
            shape.after(record);
        if (shape.after_with)
            shape.after_with(record, shape.after_context);
    }
    return 0;
}

int32_t enumerate(const CollectionSpec &shape, const char *collection, void **objs, uint32_t *num)
{
    GVariant *raw = nullptr;
    int32_t ret = OvanDBusCallMethod(kService, collection, kObjectManager, "GetManagedObjects", nullptr, &raw, -1);
    GPtr<GVariant> reply(raw);
    if (ret != 0 || !reply) {
        lumo_log(shape.tag, LOG_ERR, "GetManagedObjects failed with ret(%d)", ret);
        return -1;
    }
    GPtr<GVariant> map(g_variant_get_child_value(reply.get(), 0));
    return walk_object_map(shape, map.get(), objs, num);
}

int32_t set_fields(const char *path, const char *iface, Fields fields, const void *record)
{
    return OvanDBusSetMultiProperty(kService, path, iface, build_dict(fields, record)) == 0 ? 0 : -1;
}

int32_t add_with_rollback(const char *collection, void *record, int32_t (*setter)(OvanObjPath_t, void *),
                          int32_t (*deleter)(OvanObjPath_t))
{
    GVariant *raw = nullptr;
    if (OvanDBusCallMethod(kService, collection, kObjectManager, "AddObject", nullptr, &raw, -1) != 0 || !raw)
        return -1;
    GPtr<GVariant> reply(raw);
    if (!g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(o)")))
        return -1;
    const char *path = nullptr;
    g_variant_get(reply.get(), "(&o)", &path);
    copy_path(record, path, 255);
    OvanObjPath_t at_path{};
    std::memcpy(at_path.str, record, sizeof at_path.str);
    int32_t ret = setter(at_path, record);
    if (ret != 0)
        deleter(at_path);  // leave no half-made object behind
    return ret;
}

int32_t delete_object(const char *collection, const char *path)
{
    return OvanDBusCallMethod(kService, collection, kObjectManager, "DeleteObject", g_variant_new("(o)", path),
                              nullptr, -1) == 0
               ? 0
               : -1;
}

int32_t fail_command(uint32_t *status, char **errmsg, const char *message)
{
    if (status)
        *status = 1;
    if (errmsg)
        *errmsg = g_strdup(message);
    return -1;
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

}  // namespace lumo::gw
