#include "util/refusal.hpp"

#include <cstring>
#include <syslog.h>

#include <glib.h>

#include "core/glib_ptr.hpp"
#include "lumo3_core.h"
#include "lumo3_validate.h"

namespace lumo::refusal {

namespace {

struct Rule {
    int (*valid)(const char *);
    const char *text;
};

// What each predicate accepts, in the words of a refusal.
constexpr Rule kRules[] = {
    {is_valid_quv_mac, "is not a MAC address (12 hex digits)"},
    {is_valid_digit_str, "is not a decimal number"},
    {is_valid_lan_devtype, "is not one of phone, Pad, PC, STB, ROUTER, SMTDEV, AP, PLC, CloudVR, OTHER"},
    {is_valid_ipaddr, "is not an IPv4 address"},
    {is_valid_ip_range, "is not an address/prefix (1..32) or a start-end range within one network"},
    {is_valid_time, "is not a time (H:MM or HH:MM, 0:00 to 23:59, or 24:00)"},
    {is_valid_datetime, "is not a date and time (YYYY-MM-DD hh:mm:ss)"},
    {is_valid_loid_prov, "is not a LOID region code"},
    {is_valid_tl_faultcategory, "is not one of ALL, INTERNET, VOICE, IPTV, WIFI, SYSTEM, FRAMEWORK"},
    {is_valid_ip6_suffix, "is not an IPv6 interface suffix"},
    {is_valid_ip6_address, "is not an IPv6 address (with an optional /prefix of at most 128)"},
    {is_valid_lan_dns6_config_type, "is not one of WANConnection, HGWProxy, Static"},
    {is_valid_lan_addr6_prefixmode, "is not one of WANDelegated, Static"},
};

// The value quoted as it was given, escaped and cut so that the line stays one
// short, printable line.
GStr quoted(const char *text)
{
    if (!text)
        return GStr(g_strdup("(none)"));
    GStr cut(g_strndup(text, 64));
    GStr escaped(g_strescape(cut.get(), nullptr));
    return GStr(g_strdup_printf("'%s%s'", escaped.get(), std::strlen(text) > 64 ? "..." : ""));
}

void refuse(const char *tag, const char *field, const char *value, const char *rule)
{
    lumo_log(tag, LOG_ERR, "Invalid parameter: %s: %s %s.", field, value, rule);
}

}  // namespace

bool judged(const char *tag, const char *field, const char *text, int (*valid)(const char *))
{
    if (valid(text))
        return true;
    const char *rule = "is refused";
    for (const Rule &r : kRules)
        if (r.valid == valid)
            rule = r.text;
    refuse(tag, field, quoted(text).get(), rule);
    return false;
}

bool in_range(const char *tag, const char *field, int64_t value, int64_t lo, int64_t hi)
{
    if (value >= lo && value <= hi)
        return true;
    GStr shown(g_strdup_printf("%" G_GINT64_FORMAT, value));
    GStr rule(g_strdup_printf("is outside %" G_GINT64_FORMAT "..%" G_GINT64_FORMAT, lo, hi));
    refuse(tag, field, shown.get(), rule.get());
    return false;
}

bool one_of(const char *tag, const char *field, const char *text, std::initializer_list<const char *> words)
{
    for (const char *w : words)
        if (text && std::strcmp(text, w) == 0)
            return true;
    GString *rule = g_string_new("is not one of");
    for (const char *w : words)
        g_string_append_printf(rule, "%s %s", w == *words.begin() ? "" : ",", w);
    GStr joined(g_string_free(rule, FALSE));
    refuse(tag, field, quoted(text).get(), joined.get());
    return false;
}

}  // namespace lumo::refusal
