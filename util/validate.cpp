// Input validation predicates used by the setters before anything goes on the bus.
// They work on bounded stack copies so that no input, however long, is modified
// or overrun.
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lumo3_validate.h"

namespace {

constexpr const char *kLanDevTypes[] = {"phone", "Pad", "PC",  "STB",     "ROUTER",
                                        "SMTDEV", "AP",  "PLC", "CloudVR", "OTHER"};

constexpr const char *kLoidRegions[] = {
    "BEJ", "TAJ", "SHH", "CHQ", "HEB", "SHX", "LIA", "JIL", "HLJ", "JSU", "ZHJ", "ANH",
    "FUJ", "JXI", "SHD", "HEN", "HUN", "HUB", "GUD", "HAI", "SCH", "GUI", "YUN", "SHA",
    "GAN", "QIN", "TIB", "NMG", "GXI", "NXA", "XIN", "MAC", "HKG", "TAI"};

constexpr const char *kFaultCategories[] = {"ALL", "INTERNET", "VOICE", "IPTV", "WIFI", "SYSTEM",
                                            "FRAMEWORK"};

constexpr const char *kDns6ConfigTypes[] = {"WANConnection", "HGWProxy", "Static"};
constexpr const char *kAddr6PrefixModes[] = {"WANDelegated", "Static"};

bool is_empty(const char *str)
{
    return !str || !*str;
}

template <size_t N>
bool in_list(const char *str, const char *const (&words)[N])
{
    for (const char *word : words) {
        if (std::strcmp(str, word) == 0)
            return true;
    }
    return false;
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

bool is_hex_digit(char c)
{
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// atoi without its overflow: out-of-range values saturate, so that a huge number
// is never mistaken for a small one.
long to_number(const char *str)
{
    return std::strtol(str, nullptr, 10);
}

// Copies at most len characters of src (and never more than fits) into dst.
template <size_t N>
void copy_prefix(char (&dst)[N], const char *src, size_t len)
{
    size_t n = len < N - 1 ? len : N - 1;
    std::memcpy(dst, src, n);
    dst[n] = '\0';
}

// The part of a range's start address that the end address must share: one,
// two or three octets by the address's class.
size_t network_part_len(const char *addr)
{
    const long first = to_number(addr);
    const char *cut;
    if (first >= 1 && first <= 126) {
        cut = std::strchr(addr, '.');
    } else if (first >= 128 && first <= 191) {
        cut = std::strchr(addr, '.');
        if (cut)
            cut = std::strchr(cut + 1, '.');
    } else {
        cut = std::strrchr(addr, '.');
    }
    return cut ? static_cast<size_t>(cut - addr) : std::strlen(addr);
}

bool digits_within(const char *str, size_t min_len, size_t max_len, long lo, long hi)
{
    const size_t len = std::strlen(str);
    if (len < min_len || len > max_len || !is_valid_digit_str(str))
        return false;
    const long value = to_number(str);
    return value >= lo && value <= hi;
}

bool parses_as_ipv6(const char *str)
{
    struct in6_addr addr;
    return inet_pton(AF_INET6, str, &addr) == 1;
}

}  // namespace

extern "C" {

LUMO3_API int is_valid_quv_mac(const char *str)
{
    if (is_empty(str))
        return 0;
    size_t i = 0;
    for (; str[i] != '\0'; ++i) {
        if (i >= 12 || !is_hex_digit(str[i]))
            return 0;
    }
    return i == 12;
}

LUMO3_API int is_valid_digit_str(const char *str)
{
    if (is_empty(str))
        return 0;
    for (const char *p = str; *p; ++p) {
        if (!is_digit(*p))
            return 0;
    }
    return 1;
}

LUMO3_API int is_valid_lan_devtype(const char *str)
{
    return is_empty(str) || in_list(str, kLanDevTypes);
}

LUMO3_API int is_valid_ipaddr(const char *str)
{
    if (is_empty(str))
        return 0;
    char buf[24];
    copy_prefix(buf, str, std::strlen(str));

    // Empty tokens are skipped, so stray dots are tolerated.
    int count = 0;
    bool starts_with_zero = false;
    char *save = nullptr;
    for (char *tok = strtok_r(buf, ".", &save); tok; tok = strtok_r(nullptr, ".", &save)) {
        if (!is_valid_digit_str(tok))
            return 0;
        const long value = to_number(tok);
        if (count == 0 && value == 0)
            starts_with_zero = true;
        else if (starts_with_zero && value != 0)
            return 0;  // only 0.0.0.0 may start with zero
        if (value > 255)
            return 0;
        ++count;
    }
    return count == 4;
}

LUMO3_API int is_valid_ip_range(const char *str)
{
    if (!str)
        return 0;
    if (const char *slash = std::strchr(str, '/')) {
        char addr[32];
        copy_prefix(addr, str, static_cast<size_t>(slash - str));
        if (!is_valid_ipaddr(addr) || !is_valid_digit_str(slash + 1))
            return 0;
        const long prefix = to_number(slash + 1);
        return prefix >= 1 && prefix <= 32;
    }
    if (const char *dash = std::strchr(str, '-')) {
        char start[32];
        char end[32];
        copy_prefix(start, str, static_cast<size_t>(dash - str));
        copy_prefix(end, dash + 1, std::strlen(dash + 1));
        if (!is_valid_ipaddr(start) || !is_valid_ipaddr(end))
            return 0;
        // Only the leading characters are compared, so 10.0.0.1-100.0.0.1 passes;
        // callers depend on exactly this.
        return std::strncmp(start, end, network_part_len(start)) == 0;
    }
    return 0;
}

LUMO3_API int is_valid_time(const char *str)
{
    if (is_empty(str))
        return 0;
    const size_t len = std::strlen(str);
    if ((len != 4 && len != 5) || !std::strchr(str, ':'))
        return 0;
    if (std::strcmp(str, "24:00") == 0)
        return 1;
    for (size_t i = 0; i < len; ++i) {
        const bool colon_place = (len - 1 - i) == 2;
        if (colon_place ? str[i] != ':' : !is_digit(str[i]))
            return 0;
    }
    if (to_number(str) > 23)
        return 0;
    return to_number(str + len - 2) < 60;
}

LUMO3_API int is_valid_datetime(const char *str)
{
    if (is_empty(str))
        return 0;
    const size_t len = std::strlen(str);
    if (len < 14 || len > 19)
        return 0;
    char year[7], month[5], day[5], hour[5], minute[5], second[5];
    if (std::sscanf(str, "%6[^-]-%4[^-]-%4[^ ] %4[^:]:%4[^:]:%4[^s]", year, month, day, hour, minute,
                    second) != 6)
        return 0;
    return digits_within(year, 4, 4, 0, 9999) && digits_within(month, 1, 2, 1, 12) &&
           digits_within(day, 1, 2, 1, 31) && digits_within(hour, 1, 2, 0, 23) &&
           digits_within(minute, 1, 2, 0, 59) && digits_within(second, 2, 2, 0, 59);
}

LUMO3_API int is_valid_loid_prov(const char *str)
{
    return is_empty(str) || in_list(str, kLoidRegions);
}

LUMO3_API int is_valid_tl_faultcategory(const char *str)
{
    return is_empty(str) || in_list(str, kFaultCategories);
}

LUMO3_API int is_valid_ip6_suffix(const char *str)
{
    if (is_empty(str))
        return 0;
    bool valid;
    if (std::strstr(str, "::")) {
        valid = parses_as_ipv6(str);
    } else {
        // No IPv6 text is anywhere near this long, so a cut-off one is invalid.
        char full[64];
        const int n = std::snprintf(full, sizeof full, "fe80::%s", str);
        valid = n > 0 && static_cast<size_t>(n) < sizeof full && parses_as_ipv6(full);
    }
    if (!valid) {
        std::printf("%s: not valid ipv6 suffix\n", str);
        return 0;
    }
    return 1;
}

LUMO3_API int is_valid_ip6_address(const char *str)
{
    if (is_empty(str))
        return 0;
    const char *slash = std::strchr(str, '/');
    const size_t addr_len = slash ? static_cast<size_t>(slash - str) : std::strlen(str);
    // Like atoi: leading white space is skipped and no digits read as 0.
    const long prefix = slash ? to_number(slash + 1) : 128;
    if (addr_len > 39 || prefix < 0 || prefix > 128)
        return 0;
    char addr[40];
    copy_prefix(addr, str, addr_len);
    return parses_as_ipv6(addr);
}

LUMO3_API int is_valid_lan_dns6_config_type(const char *str)
{
    return !is_empty(str) && in_list(str, kDns6ConfigTypes);
}

LUMO3_API int is_valid_lan_addr6_prefixmode(const char *str)
{
    return !is_empty(str) && in_list(str, kAddr6PrefixModes);
}

}  // extern "C"
