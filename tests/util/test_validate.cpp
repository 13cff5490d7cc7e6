// Input validation predicates, table-driven.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "lumo3_validate.h"

namespace {

using Predicate = int (*)(const char *);

struct Case {
    const char *input;  // nullptr for a null pointer
    int expected;
};

// Runs every case and checks that the predicate left its argument as it was.
void check(Predicate predicate, std::initializer_list<Case> cases)
{
    for (const Case &c : cases) {
        if (!c.input) {
            EXPECT_EQ(predicate(nullptr), c.expected) << "(null)";
            continue;
        }
        std::string copy = c.input;
        EXPECT_EQ(predicate(copy.c_str()), c.expected) << '"' << c.input << '"';
        EXPECT_STREQ(copy.c_str(), c.input);
    }
}

TEST(Validate, QuvMac)
{
    check(is_valid_quv_mac, {{"00112233AABB", 1},
                             {"00112233aabb", 1}, {"fFfFfFfFfFfF", 1}, {"00:11:22:33:44:55", 0}, {"00112233AABG", 0},
                             {"00112233AAB", 0}, {"00112233AABBC", 0}, {"", 0}, {nullptr, 0}});
}

TEST(Validate, DigitString)
{
    check(is_valid_digit_str, {{"0", 1}, {"0123456789", 1}, {"99999999999999999999", 1},
                               {"12a", 0}, {"-1", 0}, {" 1", 0}, {"", 0}, {nullptr, 0}});
}

TEST(Validate, Ipaddr)
{
    check(is_valid_ipaddr, {{"255.255.255.255", 1},
                            {"192.168.1.1", 1}, {"0.0.0.0", 1}, {"1..2.3.4", 1}, {".1.2.3.4", 1}, {"1.2.3.4.", 1},
                            {"001.002.003.004", 1}, {"256.1.1.1", 0}, {"1.2.3.256", 0}, {"1.2.3", 0}, {"1.2.3.4.5", 0},
                            {"1.2.3.-4", 0}, {"1.2.3. 4", 0}, {"0.1.2.3", 0}, {"0.0.0.1", 0},
                            // a number that would wrap to 1 in an int is still above 255
                            {"4294967297.1.1.1", 0}, {"...", 0}, {"", 0}, {nullptr, 0}});
}

TEST(Validate, IpaddrJudgesOnlyTheFirst23Characters)
{
    // 23 characters: "1.1.1.1" padded with dots, then garbage past the cut.
    std::string head = "1.1.1.1" + std::string(16, '.');
    ASSERT_EQ(head.size(), 23u);
    EXPECT_EQ(is_valid_ipaddr((head + "x.5.6").c_str()), 1);
    EXPECT_EQ(is_valid_ipaddr((head.substr(0, 22) + "x").c_str()), 0);
    // 30 characters whose fifth octet lies within the first 23.
    EXPECT_EQ(is_valid_ipaddr("100.100.100.100.1000000000"), 0);
    EXPECT_EQ(is_valid_ipaddr(std::string(100000, '1').c_str()), 0);
}

TEST(Validate, IpRange)
{
    check(is_valid_ip_range, {{"192.168.1.0/24", 1},
                              {"192.168.1.0/1", 1}, {"192.168.1.0/32", 1}, {"192.168.1.0/0", 0}, {"192.168.1.0/33", 0},
                              {"192.168.1.0/", 0}, {"192.168.1.0/2x", 0}, {"192.168.1.0/4294967320", 0},
                              {"192.168.1/24", 0}, {"192.168.1.10-192.168.1.20", 1}, {"192.168.1.10-192.168.2.20", 0},
                              {"172.16.0.1-172.16.9.9", 1}, {"172.16.0.1-172.17.0.1", 0}, {"10.0.0.1-10.9.9.9", 1},
                              {"10.0.0.1-100.0.0.1", 1}, {"10.0.0.1-11.0.0.1", 0}, {"127.0.0.1-127.0.1.1", 0},
                              {"127.0.0.1-127.0.0.9", 1}, {"0.0.0.0-0.0.0.0", 1},
                              {"10.0.0.9-10.0.0.1", 1},  // order is not examined
                              {"10.0.0.1-10.0.0", 0}, {"10.0.0.1-", 0}, {"-10.0.0.1", 0},
                              // slash first: judged as a prefix form
                              {"10.0.0.1-10.0.0.2/24", 0}, {"10.0.0.1", 0}, {"", 0}, {nullptr, 0}});
}

TEST(Validate, IpRangeOverlongPartsAreCutNotOverrun)
{
    const std::string pad(40, '.');
    EXPECT_EQ(is_valid_ip_range(("1.2.3.4" + pad + "/24").c_str()), 1);
    EXPECT_EQ(is_valid_ip_range(("1.2.3.4" + pad + "-1.2.3.4" + pad).c_str()), 1);
    std::string huge(100000, '9');
    EXPECT_EQ(is_valid_ip_range((huge + "/" + huge).c_str()), 0);
    EXPECT_EQ(is_valid_ip_range((huge + "-" + huge).c_str()), 0);
}

TEST(Validate, Time)
{
    check(is_valid_time, {{"0:00", 1},     {"9:59", 1},   {"00:00", 1}, {"23:59", 1}, {"24:00", 1},
                          {"24:01", 0},    {"24:0", 0},   {"25:00", 0}, {"12:60", 0}, {"1200", 0},
                          {"12:5", 0},     {"123:45", 0}, {"1:2:3", 0}, {"a1:00", 0}, {"12:0a", 0},
                          {"12-00", 0},    {":1234", 0},  {"", 0},      {nullptr, 0}});
}

TEST(Validate, Datetime)
{
    check(is_valid_datetime, {{"2024-01-05 07:08:09", 1},
                              {"2024-1-5 7:8:09", 1}, {"2024-12-31 23:59:59", 1},
                              {"2021-02-31 10:00:00", 1},  // month lengths are not checked
                              {"2024-01-05 07:08:9", 0}, {"24-01-05 07:08:09", 0}, {"2024-13-05 07:08:09", 0},
                              {"2024-00-05 07:08:09", 0}, {"2024-01-32 07:08:09", 0}, {"2024-01-00 07:08:09", 0},
                              {"2024-01-05 24:08:09", 0}, {"2024-01-05 07:60:09", 0}, {"2024-01-05 07:08:60", 0},
                              {"2024-001-5 7:8:09", 0}, {"2024/01/05 07:08:09", 0}, {"2024-01-05T07:08:09", 0},
                              {"2024-01-05 07:08", 0}, {"2024-01-05 07:08:0s", 0}, {"2024-1-5 7:8:09abc", 0},
                              {"2024-01-05 07:08:09 ", 0},  // 20 characters
                              {"2024-1-5 7:8:9", 0},       // 14 characters, one-digit seconds
                              {"", 0}, {nullptr, 0}});
    EXPECT_EQ(is_valid_datetime(std::string(100000, '2').c_str()), 0);
}

TEST(Validate, Vocabularies)
{
    check(is_valid_lan_devtype, {{"phone", 1}, {"Pad", 1}, {"PC", 1}, {"STB", 1}, {"ROUTER", 1},
                                 {"SMTDEV", 1}, {"AP", 1}, {"PLC", 1}, {"CloudVR", 1}, {"OTHER", 1},
                                 {"router", 0}, {"PC ", 0}, {"", 1}, {nullptr, 1}});
    check(is_valid_loid_prov, {{"BEJ", 1}, {"ZHJ", 1}, {"TAI", 1}, {"HKG", 1}, {"ALL", 0},
                               {"bej", 0}, {"BEJ1", 0}, {"", 1}, {nullptr, 1}});
    check(is_valid_tl_faultcategory, {{"ALL", 1}, {"INTERNET", 1}, {"VOICE", 1}, {"IPTV", 1},
                                      {"WIFI", 1}, {"SYSTEM", 1}, {"FRAMEWORK", 1}, {"wifi", 0},
                                      {"BEJ", 0}, {"", 1}, {nullptr, 1}});
    check(is_valid_lan_dns6_config_type, {{"WANConnection", 1}, {"HGWProxy", 1}, {"Static", 1},
                                          {"static", 0}, {"WANDelegated", 0}, {"", 0}, {nullptr, 0}});
    check(is_valid_lan_addr6_prefixmode, {{"WANDelegated", 1}, {"Static", 1}, {"HGWProxy", 0},
                                          {"", 0}, {nullptr, 0}});
}

TEST(Validate, Ip6Address)
{
    check(is_valid_ip6_address, {{"2001:db8::1/64", 1},
                                 {"2001:db8::1", 1}, {"::", 1}, {"::ffff:192.168.1.1", 1}, {"2001:db8::1/0", 1},
                                 {"2001:db8::1/128", 1}, {"2001:db8::1/ 64", 1},
                                 {"2001:db8::1/abc", 1},  // no digits: prefix 0
                                 {"2001:db8::1/129", 0}, {"2001:db8::1/-1", 0}, {"2001:db8::1/4294967296", 0},
                                 {"2001:db8::g", 0}, {"192.168.1.1", 0},
                                 {"2001:0db8:0000:0000:0000:0000:0000:0001", 1},   // 39 characters
                                 {"2001:0db8:0000:0000:0000:0000:0000:00001", 0},  // 40
                                 {"/64", 0}, {"", 0}, {nullptr, 0}});
    EXPECT_EQ(is_valid_ip6_address(std::string(100000, ':').c_str()), 0);
}

TEST(Validate, Ip6SuffixPrintsItsRefusal)
{
    struct SuffixCase {
        const char *input;
        int expected;
        const char *printed;
    };
    const std::string huge(100000, '1');
    const SuffixCase cases[] = {
        {"1", 1, ""},
        {"::1", 1, ""},
        {"1:2:3:4", 1, ""},
        {"fe80::abcd", 1, ""},
        {"zz", 0, "zz: not valid ipv6 suffix\n"},
        {"1:2:3:4:5:6:7:8", 0, "1:2:3:4:5:6:7:8: not valid ipv6 suffix\n"},
        {":::", 0, ":::: not valid ipv6 suffix\n"},
        {"", 0, ""},
        {nullptr, 0, ""},
    };
    for (const auto &c : cases) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(is_valid_ip6_suffix(c.input), c.expected) << (c.input ? c.input : "(null)");
        std::fflush(stdout);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(is_valid_ip6_suffix(huge.c_str()), 0);
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), huge + ": not valid ipv6 suffix\n");
}

}  // namespace
