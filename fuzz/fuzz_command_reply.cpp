// The command-reply reader on replies of any type: "(us)" and the shapes with
// leading values or arrays, and everything a peer may send instead.
#include <cstdint>
#include <cstring>

#include <glib.h>

#include "fuzz/fuzz_support.hpp"
#include "gateway/walkers.hpp"

namespace {

namespace gw = lumo::gw;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    lumo::fuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Layout: one flags byte, the reply's type string up to a NUL, then the reply's
    // serialized data.
    if (size < 2)
        return 0;
    const uint8_t flags = data[0];
    const char *type = reinterpret_cast<const char *>(data + 1);
    const void *nul = std::memchr(type, 0, size - 1);
    if (!nul || !g_variant_type_string_is_valid(type))
        return 0;
    const GVariantType *vt = G_VARIANT_TYPE(type);
    if (!g_variant_type_is_definite(vt))
        return 0;
    const auto *body = static_cast<const uint8_t *>(nul) + 1;
    const size_t body_size = size - static_cast<size_t>(body - data);
    GBytes *bytes = g_bytes_new(body, body_size);
    GVariant *reply = g_variant_ref_sink(g_variant_new_from_bytes(vt, bytes, FALSE));
    g_bytes_unref(bytes);

    gw::CommandSpec shape{"fuzz", "/com/quv/igd1/Fuzz", "com.quv.igd1.Fuzz", "Run",
                          "call failed", "Call failed.", "message(%s)"};
    if (flags & 1)
        shape.reply_type = "(us)";
    if (flags & 2)
        shape.reply_line = "reply %s";
    if (flags & 4) {
        shape.message_line = "word(%d) message(%s)";
        shape.message_line_with_word = true;
    }
    const int32_t ret = (flags & 8) ? -1 : 0;
    uint32_t status = 0xdeadbeef;
    char *errmsg = nullptr;
    lumo::GPtr<GVariant> lead;
    const int32_t rc = gw::read_command_reply(shape, ret, reply, (flags & 16) ? nullptr : &status,
                                              (flags & 32) ? nullptr : &errmsg, (flags & 64) ? nullptr : &lead);
    LUMO_FUZZ_CHECK(rc == 0 || rc == -1);
    if (!(flags & 16))
        LUMO_FUZZ_CHECK((rc == 0) == (status == 0));
    if (errmsg)
        LUMO_FUZZ_CHECK(rc == -1 && g_utf8_validate(errmsg, -1, nullptr));
    if (rc == -1 && ret != 0)
        LUMO_FUZZ_CHECK(!lead.get());
    g_free(errmsg);
    g_variant_unref(reply);
    return 0;
}
