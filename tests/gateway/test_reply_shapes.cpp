// The shapes of the storage and vendor-IE families, tested once on records made for
// the purpose: byte arrays both ways, 16-bit fields, records filled member by member
// from tuples, a record filled from two interfaces, leading values of replies.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "gateway/walkers.hpp"

namespace {

using lumo::GPtr;
using lumo::GStr;
using lumo::test::parse_variant;
namespace gw = lumo::gw;

struct Blob {
    char path[256];
    uint16_t Kind;
    uint8_t g0;
    uint32_t Len;
    uint8_t *Data;
    char Name[8];
    uint8_t g1[4];
};

constexpr gw::Field kBlobFields[] = {LUMO_F(Blob, Kind, 'q'), LUMO_LOCAL(Blob, Len, 'u'), LUMO_AY(Blob, Len, Data),
                                     LUMO_F(Blob, Name, 's')};
constexpr gw::RecordTable kBlob{"Blob", "com.example.Blob", kBlobFields, sizeof(Blob)};

Blob guarded()
{
    Blob b;
    std::memset(&b, 0xA5, sizeof b);
    b.Data = nullptr;
    return b;
}

std::vector<uint8_t> data(const Blob &b)
{
    return b.Data ? std::vector<uint8_t>(b.Data, b.Data + b.Len) : std::vector<uint8_t>{};
}

TEST(ByteArrays, FillTakesTheCountFromTheArray)
{
    struct Case {
        const char *dict;
        std::vector<uint8_t> want;
        uint32_t len;  // 0xA5A5A5A5: left as it was
    };
    const Case cases[] = {
        {"{'Data': <[byte 1, 2, 3]>, 'Len': <uint32 99>}", {1, 2, 3}, 3},
        {"{'Data': <@ay []>}", {}, 0},
        {"{'Data': <'0102'>, 'Len': <uint32 2>}", {}, 0xA5A5A5A5},
        {"{'Kind': <uint16 513>}", {}, 0xA5A5A5A5},
    };
    for (const Case &c : cases) {
        Blob b = guarded();
        GPtr<GVariant> dict = parse_variant(c.dict, "a{sv}");
        gw::fill_record(kBlob.fields, &b, dict.get());
        EXPECT_EQ(b.Len, c.len) << c.dict;
        EXPECT_EQ(data(b), c.want) << c.dict;
        EXPECT_EQ(b.g0, 0xA5) << c.dict;
        if (std::strstr(c.dict, "Kind")) {
            EXPECT_EQ(b.Kind, 513) << c.dict;
        }
        g_free(b.Data);
    }
}

TEST(ByteArrays, BuildSendsBytesOnlyWithCountAndBlock)
{
    uint8_t bytes[] = {0xdd, 0x01, 0xff};
    struct Case {
        uint32_t len;
        uint8_t *block;
        const char *want;
    };
    const Case cases[] = {
        {3, bytes, "{'Kind': <uint16 7>, 'Len': <uint32 3>, 'Data': <[byte 0xdd, 0x01, 0xff]>, 'Name': <'n'>}"},
        {2, bytes, "{'Kind': <uint16 7>, 'Len': <uint32 2>, 'Data': <[byte 0xdd, 0x01]>, 'Name': <'n'>}"},
        {0, bytes, "{'Kind': <uint16 7>, 'Len': <uint32 0>, 'Name': <'n'>}"},
        {3, nullptr, "{'Kind': <uint16 7>, 'Len': <uint32 3>, 'Name': <'n'>}"},
    };
    for (const Case &c : cases) {
        Blob b{};
        b.Kind = 7;
        b.Len = c.len;
        b.Data = c.block;
        std::strcpy(b.Name, "n");
        GPtr<GVariant> dict(g_variant_ref_sink(gw::build_dict(kBlob.fields, &b)));
        GStr text(g_variant_print(dict.get(), TRUE));
        EXPECT_STREQ(text.get(), c.want);
    }
}

TEST(Interfaces, OneRecordFromTwoInterfaces)
{
    GPtr<GVariant> ifaces = parse_variant("{'com.example.Other': {'Name': <'other'>}, "
                                          "'com.example.Blob': {'Kind': <uint16 1>}, "
                                          "'com.example.BlobFs': {'Name': <'fs'>}}",
                                          "a{sa{sv}}");
    Blob both{};
    gw::fill_from_interfaces(kBlob, "com.example.BlobFs", &both, ifaces.get());
    EXPECT_EQ(both.Kind, 1);
    EXPECT_STREQ(both.Name, "fs");  // (the table's interface alone: test_shapes.cpp)
}

TEST(Positional, ArraysOfTuplesNeverPastTheLimit)
{
    GPtr<GVariant> array = parse_variant("[(uint16 1, uint32 5, [byte 9], 'first-long'), (uint16 2, 0, @ay [], 'b'),"
                                         " (uint16 3, 0, @ay [], 'c')]",
                                         "a(quays)");
    struct Case {
        size_t limit, count;
    };
    for (const Case c : {Case{1, 1}, Case{3, 3}, Case{10, 3}, Case{0, 0}}) {
        size_t n = 99;
        auto *block = static_cast<Blob *>(gw::records_from_array(kBlob, array.get(), c.limit, &n));
        EXPECT_EQ(n, c.count) << c.limit;
        EXPECT_EQ(block == nullptr, c.count == 0) << c.limit;
        if (block) {
            EXPECT_EQ(block[0].Kind, 1);
            EXPECT_STREQ(block[0].Name, "first-l");
            // The reply's count member is not taken; the bytes set their own.
            EXPECT_EQ(data(block[0]), std::vector<uint8_t>{9});
            EXPECT_EQ(block[n - 1].Kind, n);
            for (size_t i = 0; i < n; i++)
                g_free(block[i].Data);
        }
        g_free(block);
    }
    // Dictionary entries fill like tuples; members of another type are skipped.
    GPtr<GVariant> dict = parse_variant("{uint16 4: uint32 8}", "a{qu}");
    size_t n = 0;
    auto *block = static_cast<Blob *>(gw::records_from_array(kBlob, dict.get(), 5, &n));
    ASSERT_EQ(n, 1u);
    EXPECT_EQ(block[0].Kind, 4);
    EXPECT_EQ(block[0].Len, 0u) << "a local count is never taken from a reply";
    g_free(block);
}

TEST(Leads, HandedOutOnlyWhenOfTheRightType)
{
    char *s = nullptr;
    uint32_t u = 77;
    gw::lead_string(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_string(""))), &s);
    EXPECT_EQ(s, nullptr) << "an empty string is not handed out";
    gw::lead_string(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_uint32(3))), &s);
    EXPECT_EQ(s, nullptr);
    gw::lead_string(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_string("/mnt/a"))), &s);
    EXPECT_STREQ(s, "/mnt/a");
    g_free(s);
    gw::lead_string(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_string("x"))), nullptr);
    gw::lead_u32(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_string("x"))), &u);
    EXPECT_EQ(u, 77u);
    gw::lead_u32(GPtr<GVariant>(), &u);
    EXPECT_EQ(u, 77u);
    gw::lead_u32(GPtr<GVariant>(g_variant_ref_sink(g_variant_new_uint32(42))), &u);
    EXPECT_EQ(u, 42u);
}

}  // namespace
