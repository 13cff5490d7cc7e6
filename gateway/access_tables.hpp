// Property tables of the MAC black and white lists and the URL and DNS filters.
#pragma once

#include "gateway/record.hpp"
#include "lumo3_access.h"

namespace lumo::gw::access {

using B = OvanMACBlackList_t;
inline constexpr Field kMACBlackList[] = {LUMO_F(B, MAC, 's'), LUMO_F(B, Name, 's'), LUMO_F(B, BlockedTimes, 'u')};
inline constexpr auto kMACBlackListWritable = pick(kMACBlackList, {"MAC", "Name"});

using W = OvanMACWhiteList_t;
inline constexpr Field kMACWhiteList[] = {LUMO_F(W, MAC, 's'), LUMO_F(W, Name, 's')};

using U = OvanURLFilter_t;
inline constexpr Field kURLFilter[] = {LUMO_F(U, Enable, 'b'), LUMO_F(U, URL, 's'), LUMO_F(U, MAC, 's'),
                                       LUMO_F(U, Name, 's'), LUMO_F(U, BlockedTimes, 'u')};

using U4 = OvanURLFilterv4_t;
inline constexpr Field kURLFilterv4[] = {
    LUMO_F(U4, Enable, 'b'),       LUMO_F(U4, URL, 's'),  LUMO_F(U4, MAC, 's'),
    LUMO_F(U4, Name, 's'),         LUMO_F(U4, BlockedTimes, 'u'), LUMO_F(U4, Mode, 'y'),
    LUMO_AS(U4, URLListNum, URLList), LUMO_F(U4, WeekDays, 's'), LUMO_F(U4, Time, 's'),
};

using D = OvanDNSFilter_t;
inline constexpr Field kDNSFilter[] = {LUMO_F(D, Enable, 'b'), LUMO_F(D, Name, 's'),   LUMO_F(D, Hostname, 's'),
                                       LUMO_F(D, Action, 'y'), LUMO_F(D, MAC, 's'),    LUMO_F(D, BlockedTimes, 'u')};

using D4 = OvanDNSFilterv4_t;
inline constexpr Field kDNSFilterv4[] = {
    LUMO_F(D4, Enable, 'b'), LUMO_F(D4, Name, 's'),   LUMO_F(D4, Hostname, 's'),
    LUMO_F(D4, Action, 'y'), LUMO_F(D4, MAC, 's'),    LUMO_F(D4, BlockedTimes, 'u'),
    LUMO_F(D4, Mode, 'y'),   LUMO_AS(D4, HostNameListNum, HostNameList), LUMO_F(D4, WeekDays, 's'),
    LUMO_F(D4, Time, 's'),
};

// What the filter setters send, in order: the first-generation keys, then the
// schedule keys. A first-generation set sends the schedule of a cleared v4 record; a
// v4 set sends it only to gateways of bus version 2 or later.
inline constexpr size_t kURLFilterBaseKeys = 4;
inline constexpr auto kURLFilterWritable =
    pick(kURLFilterv4, {"Enable", "URL", "MAC", "Name", "Mode", "URLList", "WeekDays", "Time"});
inline constexpr auto kURLFilterClearing =
    pick(kURLFilterv4, {"Enable", "URL", "MAC", "Name", "Mode", "WeekDays", "Time"});
inline constexpr size_t kDNSFilterBaseKeys = 5;
inline constexpr auto kDNSFilterWritable =
    pick(kDNSFilterv4, {"Enable", "Name", "Hostname", "Action", "MAC", "Mode", "HostNameList", "WeekDays", "Time"});
inline constexpr auto kDNSFilterClearing =
    pick(kDNSFilterv4, {"Enable", "Name", "Hostname", "Action", "MAC", "Mode", "WeekDays", "Time"});

inline constexpr RecordTable kMACBlackListTable{"OvanMACBlackList_t", "com.quv.igd1.MACBlackList", kMACBlackList,
                                                sizeof(B)};
inline constexpr RecordTable kMACWhiteListTable{"OvanMACWhiteList_t", "com.quv.igd1.MACWhiteList", kMACWhiteList,
                                                sizeof(W)};
inline constexpr RecordTable kURLFilterTable{"OvanURLFilter_t", "com.quv.igd1.URLFilter", kURLFilter, sizeof(U)};
inline constexpr RecordTable kURLFilterv4Table{"OvanURLFilterv4_t", "com.quv.igd1.URLFilter", kURLFilterv4,
                                               sizeof(U4)};
inline constexpr RecordTable kDNSFilterTable{"OvanDNSFilter_t", "com.quv.igd1.DNSFilter", kDNSFilter, sizeof(D)};
inline constexpr RecordTable kDNSFilterv4Table{"OvanDNSFilterv4_t", "com.quv.igd1.DNSFilter", kDNSFilterv4,
                                               sizeof(D4)};

}  // namespace lumo::gw::access
