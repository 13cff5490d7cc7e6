// The record walker on arbitrary serialized replies, filled into every record table
// that lumoctl knows (so every family, present and future). Each record sits between
// guard bytes that must stay untouched, and every string field it touched must end
// within its width.
#include <cstdint>
#include <cstring>
#include <vector>

#include <glib.h>

#include "fuzz/fuzz_support.hpp"
#include "gateway/walkers.hpp"
#include "tools/lumoctl/registry.hpp"

namespace {

namespace gw = lumo::gw;

constexpr size_t kGuard = 64;
constexpr unsigned char kGuardByte = 0xA5;
constexpr unsigned char kFillByte = 0x5A;

std::vector<const gw::RecordTable *> tables;

// String fields are either left as passed or hold a terminator within their width.
void check_strings(const gw::RecordTable &t, const unsigned char *rec)
{
    for (const gw::Field &f : t.fields) {
        if (f.type != gw::Type::Str || !f.from_bus())
            continue;
        const unsigned char *p = rec + f.offset;
        bool untouched = true;
        for (size_t i = 0; i < f.size; i++)
            untouched = untouched && p[i] == kFillByte;
        LUMO_FUZZ_CHECK(untouched || std::memchr(p, 0, f.size) != nullptr);
    }
}

// Frees the string-list blocks the walker allocated (pointers not left as passed).
void release_lists(const gw::RecordTable &t, unsigned char *rec)
{
    for (const gw::Field &f : t.fields) {
        if (f.type != gw::Type::StrList)
            continue;
        void *block;
        std::memcpy(&block, rec + f.aux, sizeof block);
        void *passed;
        std::memset(&passed, kFillByte, sizeof passed);
        if (block != passed)
            g_free(block);
    }
}

void fill_one(const gw::RecordTable &t, GVariant *dict)
{
    std::vector<unsigned char> buf(kGuard + t.record_size + kGuard, kGuardByte);
    unsigned char *rec = buf.data() + kGuard;
    std::memset(rec, kFillByte, t.record_size);
    gw::fill_record(t.fields, rec, dict);
    for (size_t i = 0; i < kGuard; i++)
        LUMO_FUZZ_CHECK(buf[i] == kGuardByte && buf[kGuard + t.record_size + i] == kGuardByte);
    check_strings(t, rec);
    release_lists(t, rec);
}

void walk_one(const gw::RecordTable &t, GVariant *map)
{
    const gw::CollectionSpec shape{"fuzz", &t, "count(%d)", 256};
    void *objs = nullptr;
    uint32_t n = 0;
    if (gw::walk_object_map(shape, map, &objs, &n) != 0)
        return;
    LUMO_FUZZ_CHECK(n == g_variant_n_children(map));
    auto *recs = static_cast<unsigned char *>(objs);
    for (uint32_t i = 0; i < n; i++) {
        unsigned char *rec = recs + size_t(i) * t.record_size;
        LUMO_FUZZ_CHECK(std::memchr(rec, 0, sizeof(OvanObjPath_t)) != nullptr);
        for (const gw::Field &f : t.fields)
            if (f.type == gw::Type::Str && f.from_bus())
                LUMO_FUZZ_CHECK(std::memchr(rec + f.offset, 0, f.size) != nullptr);
        // The block starts zeroed, so untouched list pointers are null.
        for (const gw::Field &f : t.fields) {
            if (f.type != gw::Type::StrList)
                continue;
            void *block;
            std::memcpy(&block, rec + f.aux, sizeof block);
            g_free(block);
        }
    }
    g_free(objs);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    lumo::fuzz::quiet();
    for (const lumoctl::Entry &e : lumoctl::entries()) {
        bool seen = false;
        for (const gw::RecordTable *t : tables)
            seen = seen || t == e.table;
        if (!seen && e.table)
            tables.push_back(e.table);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2 || tables.empty())
        return 0;
    // The first byte picks the reply's shape, the second the table; the rest is the
    // reply as it came off the wire, not necessarily in normal form.
    const bool as_map = data[0] & 1;
    const gw::RecordTable &t = *tables[data[1] % tables.size()];
    GBytes *bytes = g_bytes_new(data + 2, size - 2);
    GVariant *v = g_variant_ref_sink(
        g_variant_new_from_bytes(G_VARIANT_TYPE(as_map ? "a{oa{sa{sv}}}" : "a{sv}"), bytes, FALSE));
    g_bytes_unref(bytes);
    if (as_map)
        walk_one(t, v);
    else
        fill_one(t, v);
    g_variant_unref(v);
    return 0;
}
