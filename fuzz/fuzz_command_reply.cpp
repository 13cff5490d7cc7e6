// The command-reply reader on replies of any type: "(us)" and the shapes with
// leading values or arrays, and everything a peer may send instead.
#include <cstdint>
#include <cstring>

#include <glib.h>

#include "fuzz/fuzz_support.hpp"
#include "gateway/walkers.hpp"

namespace {

namespace gw = lumo::gw;

// How deep one complete type nests (a basic type: 0); `at` moves past it. The
// string is a valid type string.
int type_depth(const char *&at)
{
    const char c = *at++;
    if (c == 'a')
        return 1 + type_depth(at);
    if (c == '(' || c == '{') {
        int deepest = 0;
        while (*at != ')' && *at != '}') {
            const int member = type_depth(at);
            deepest = MAX(deepest, member);
        }
        ++at;
        return 1 + deepest;
    }
    return 0;
}

// A reply type a D-Bus peer can send: a tuple whose members form a D-Bus signature
// (no maybe types, at most 255 characters) nested at most 64 deep. GDBus refuses
// other messages before the library sees them.
bool dbus_reply_type(const char *type)
{
    const size_t len = std::strlen(type);
    if (len < 2 || len > 257 || type[0] != '(' || type[len - 1] != ')')
        return false;
    gchar *inner = g_strndup(type + 1, len - 2);
    const bool signature = g_variant_is_signature(inner);
    g_free(inner);
    if (!signature)
        return false;
    const char *at = type;
    return type_depth(at) <= 64;
}

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
    if (!nul || !g_variant_type_string_is_valid(type) || !dbus_reply_type(type))
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
