// The validation predicates and the value format checker on arbitrary text.
#include <cstdint>
#include <cstdio>
#include <string>

#include <glib.h>

#include "fuzz/fuzz_support.hpp"
#include "lumo3_validate.h"
#include "variant/variant_internal.hpp"

namespace {

using Predicate = int (*)(const char *);

constexpr Predicate kPredicates[] = {
    is_valid_quv_mac,       is_valid_digit_str,        is_valid_lan_devtype,         is_valid_ipaddr,
    is_valid_ip_range,      is_valid_time,             is_valid_datetime,            is_valid_loid_prov,
    is_valid_tl_faultcategory, is_valid_ip6_suffix,    is_valid_ip6_address,         is_valid_lan_dns6_config_type,
    is_valid_lan_addr6_prefixmode,
};

GVariant *sample_values[4];

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    lumo::fuzz::quiet();
    // One predicate prints its verdict on standard output.
    if (!std::freopen("/dev/null", "w", stdout))
        return 0;
    sample_values[0] = g_variant_ref_sink(g_variant_new_string("x"));
    sample_values[1] = g_variant_ref_sink(g_variant_new_parsed("{'a': <1>}"));
    sample_values[2] = g_variant_ref_sink(g_variant_new_parsed("(uint32 0, 'm')"));
    sample_values[3] = g_variant_ref_sink(g_variant_new_parsed("[objectpath '/a', '/b']"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Text ends at the first NUL as it would for a C caller.
    const std::string text(reinterpret_cast<const char *>(data), size);
    const char *s = text.c_str();
    const std::string before = text;
    for (Predicate p : kPredicates) {
        const int r = p(s);
        LUMO_FUZZ_CHECK(r == 0 || r == 1);
    }
    LUMO_FUZZ_CHECK(text == before);  // work is done on copies

    // Whatever the checker lets through for a value reaches GLib's varargs unpacker,
    // which aborts on a format that does not fit: acceptance must imply GLib's.
    if (lumo::variant::_ovan_valid_format_string(s, TRUE, nullptr)) {
        for (GVariant *v : sample_values)
            if (lumo::variant::_ovan_valid_format_string(s, TRUE, v))
                LUMO_FUZZ_CHECK(g_variant_check_format_string(v, s, FALSE));
    }
    return 0;
}
