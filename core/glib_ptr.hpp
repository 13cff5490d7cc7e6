// Owning handles for GLib resources. Every GLib object the library takes is held by
// one of these so that each early return releases it.
#pragma once

#include <memory>
#include <utility>

#include <gio/gio.h>

namespace lumo {

template <typename T>
struct GDeleter;

#define LUMO_DEFINE_GDELETER(type, fn)                     \
    template <>                                            \
    struct GDeleter<type> {                                \
        void operator()(type *p) const noexcept { fn(p); } \
    }

LUMO_DEFINE_GDELETER(char, g_free);
LUMO_DEFINE_GDELETER(GVariant, g_variant_unref);
LUMO_DEFINE_GDELETER(GVariantIter, g_variant_iter_free);
LUMO_DEFINE_GDELETER(GVariantType, g_variant_type_free);
LUMO_DEFINE_GDELETER(GVariantBuilder, g_variant_builder_unref);
LUMO_DEFINE_GDELETER(GError, g_error_free);
LUMO_DEFINE_GDELETER(GDBusConnection, g_object_unref);
LUMO_DEFINE_GDELETER(GDBusNodeInfo, g_dbus_node_info_unref);
LUMO_DEFINE_GDELETER(GMainLoop, g_main_loop_unref);
LUMO_DEFINE_GDELETER(GMainContext, g_main_context_unref);
LUMO_DEFINE_GDELETER(GSource, g_source_unref);
LUMO_DEFINE_GDELETER(GKeyFile, g_key_file_unref);
LUMO_DEFINE_GDELETER(GString, [](GString *s) { g_string_free(s, TRUE); });
#undef LUMO_DEFINE_GDELETER

template <typename T>
using GPtr = std::unique_ptr<T, GDeleter<T>>;

using GStr = GPtr<char>;

// A NULL-terminated string vector (g_strfreev).
struct GStrvDeleter {
    void operator()(char **v) const noexcept { g_strfreev(v); }
};
using GStrv = std::unique_ptr<char *, GStrvDeleter>;

// Adapter for GLib out-parameters: `g_foo(..., out(err))` stores the result in
// the handle when the full expression ends.
template <typename Handle>
class OutParam {
public:
    using Raw = typename Handle::pointer;
    explicit OutParam(Handle &owner) noexcept : owner_(owner) {}
    OutParam(const OutParam &) = delete;
    OutParam &operator=(const OutParam &) = delete;
    ~OutParam() { owner_.reset(raw_); }
    operator Raw *() noexcept { return &raw_; }

private:
    Handle &owner_;
    Raw raw_ = nullptr;
};

template <typename Handle>
OutParam<Handle> out(Handle &owner) noexcept
{
    return OutParam<Handle>(owner);
}

// Takes a reference to a (possibly floating) GVariant.
inline GPtr<GVariant> ref_sink(GVariant *v) noexcept
{
    return GPtr<GVariant>(v ? g_variant_ref_sink(v) : nullptr);
}

}  // namespace lumo
