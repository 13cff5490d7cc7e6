// Record tables: each gateway record's D-Bus property mapping, declared once.
//
// A table lists, in the family's order, one Field per property: its name, its bus
// type letter and where it lives in the C record. Offsets come from offsetof and
// widths from the member's own type, so nothing is typed twice; a letter that does
// not fit the member's C type fails to compile. The generic walkers (walkers.hpp)
// fill records from replies and build setter dictionaries from these tables, and
// lumoctl prints records from the same tables.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace lumo::gw {

enum class Type : char {
    Str = 's',
    Bool = 'b',
    U32 = 'u',
    I32 = 'i',
    Byte = 'y',
    U64 = 't',
    U16 = 'q',
    Double = 'd',
    StrList = 'a',  // "as": a 32-bit count, then a pointer to count fixed-width slots
    Bytes = 'Y',    // "ay": a 32-bit count, then a pointer to count bytes
    Drop = '-',     // a property that is recognised and thrown away
};

enum FieldFlags : uint8_t {
    kNone = 0,
    // Filled by the library itself, never from the bus; a bus property of the same
    // name is recognised and dropped.
    kLocal = 1,
    // "as" only: store a NULL pointer for an empty list (otherwise the pointer is left
    // as the caller had it).
    kNullWhenEmpty = 2,
};

struct Field {
    const char *name;  // the D-Bus property name
    Type type;
    uint8_t flags;
    uint16_t offset;  // of the field; for StrList of the count
    uint16_t size;    // bytes of the field; for StrList the slot width
    uint16_t aux;     // StrList: offset of the pointer

    constexpr bool from_bus() const { return type != Type::Drop && !(flags & kLocal); }
};

using Fields = std::span<const Field>;

namespace detail {

template <typename M, char L>
consteval bool letter_fits()
{
    if constexpr (std::is_array_v<M>)
        return L == 's' && std::is_same_v<std::remove_extent_t<M>, char>;
    else if constexpr (std::is_same_v<M, uint8_t>)
        return L == 'y';
    else if constexpr (std::is_same_v<M, int32_t>)
        return L == 'i' || L == 'b';
    else if constexpr (std::is_same_v<M, uint32_t>)
        return L == 'u' || L == 'b';
    else if constexpr (std::is_same_v<M, uint64_t>)
        return L == 't';
    else if constexpr (std::is_same_v<M, uint16_t>)
        return L == 'q';
    else if constexpr (std::is_same_v<M, double>)
        return L == 'd';
    else
        return false;
}

}  // namespace detail

template <typename M, char L>
consteval Field field(const char *name, size_t offset, uint8_t flags = kNone)
{
    static_assert(detail::letter_fits<M, L>(), "bus type letter does not fit the record member's C type");
    return Field{name, static_cast<Type>(L), flags, static_cast<uint16_t>(offset), static_cast<uint16_t>(sizeof(M)),
                 0};
}

// "as": the count member (uint32_t) and the pointer member, declared as a pointer to
// fixed-width slots (char (*)[64]) so that the slot width is part of its type.
template <typename C, typename P>
consteval Field string_list(const char *name, size_t count_offset, size_t pointer_offset, uint8_t flags = kNone)
{
    // Some records declare the count signed; the walkers read it as the same 32 bits.
    static_assert(std::is_same_v<C, uint32_t> || std::is_same_v<C, int32_t>, "an \"as\" count is a 32-bit member");
    static_assert(std::is_pointer_v<P> && std::is_array_v<std::remove_pointer_t<P>>,
                  "an \"as\" pointer member points to fixed-width slots, e.g. char (*)[64]");
    return Field{name,
                 Type::StrList,
                 flags,
                 static_cast<uint16_t>(count_offset),
                 static_cast<uint16_t>(sizeof(std::remove_pointer_t<P>)),
                 static_cast<uint16_t>(pointer_offset)};
}

// "ay": the count member (uint32_t) and the pointer member (uint8_t *). The count is
// the array's own: filling the block sets it, whatever a count property said.
template <typename C, typename P>
consteval Field byte_array(const char *name, size_t count_offset, size_t pointer_offset)
{
    static_assert(std::is_same_v<C, uint32_t>, "an \"ay\" count is a 32-bit unsigned member");
    static_assert(std::is_same_v<P, uint8_t *>, "an \"ay\" pointer member is a uint8_t *");
    return Field{name, Type::Bytes, kNone, static_cast<uint16_t>(count_offset), 1,
                 static_cast<uint16_t>(pointer_offset)};
}

consteval Field dropped(const char *name)
{
    return Field{name, Type::Drop, kNone, 0, 0, 0};
}

// Concatenates field lists (record layouts that extend or splice another one).
template <size_t... N>
consteval auto concat(const Field (&... parts)[N])
{
    std::array<Field, (N + ...)> out{};
    size_t i = 0;
    ((std::copy_n(parts, N, out.begin() + i), i += N), ...);
    return out;
}

consteval bool same_name(const char *a, const char *b)
{
    while (*a && *a == *b)
        ++a, ++b;
    return *a == *b;
}

void pick_names_a_field_the_table_lacks();

// The fields named, in the order named: the properties a setter sends. A name that
// is not in the table fails to compile.
template <size_t N, size_t M>
consteval std::array<Field, N> pick(const Field (&table)[M], const char *const (&names)[N])
{
    std::array<Field, N> out{};
    for (size_t i = 0; i < N; ++i) {
        size_t j = 0;
        while (j < M && !same_name(table[j].name, names[i]))
            ++j;
        if (j == M)
            pick_names_a_field_the_table_lacks();  // not constexpr: a compile error
        out[i] = table[j];
    }
    return out;
}

template <size_t N, size_t M>
consteval std::array<Field, N> pick(const std::array<Field, M> &table, const char *const (&names)[N])
{
    Field plain[M] = {};
    std::copy_n(table.begin(), M, plain);
    return pick(plain, names);
}

// A record type and its table, for the walkers and for printing.
struct RecordTable {
    const char *record_name;  // C type name, e.g. "OvanDeviceInfo_t"
    const char *interface;    // D-Bus interface of the objects
    Fields fields;
    uint32_t record_size;
};

}  // namespace lumo::gw

// Field of record T whose property name is the member's name.
#define LUMO_F(T, member, letter) ::lumo::gw::field<decltype(T::member), letter>(#member, offsetof(T, member))
// Field of record T for a property named differently from the member.
#define LUMO_FN(T, member, property, letter) \
    ::lumo::gw::field<decltype(T::member), letter>(property, offsetof(T, member))
// A member filled by the library (the bus property of that name is dropped).
#define LUMO_LOCAL(T, member, letter) \
    ::lumo::gw::field<decltype(T::member), letter>(#member, offsetof(T, member), ::lumo::gw::kLocal)
// "as" property held in a count member and a slot-pointer member named after it.
#define LUMO_AS(T, count_member, pointer_member, ...)                                                         \
    ::lumo::gw::string_list<decltype(T::count_member), decltype(T::pointer_member)>(                            \
        #pointer_member, offsetof(T, count_member), offsetof(T, pointer_member) __VA_OPT__(, ) __VA_ARGS__)
// "ay" property held in a count member and a byte-pointer member named after it.
#define LUMO_AY(T, count_member, pointer_member)                                                              \
    ::lumo::gw::byte_array<decltype(T::count_member), decltype(T::pointer_member)>(                            \
        #pointer_member, offsetof(T, count_member), offsetof(T, pointer_member))
