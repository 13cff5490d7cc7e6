// The simulator's hostile mode: a gateway that answers with the wrong wire types,
// megabyte strings and thousands of objects, one that never answers, and one that
// leaves the bus in the middle of a call. Switched with the control method
// SetHostile ("off", "types", "silent", "vanish").
#pragma once

#include <cstdint>
#include <string>

#include <gio/gio.h>

namespace lumo::gwsim::hostile {

// In "types" mode the properties for which this holds come with another wire type;
// the others keep theirs, strings made far longer than any record field. Shared with
// the tests, which check that the mistyped fields stay as the caller passed them.
inline bool mistyped(const char *property)
{
    uint32_t h = 2166136261u;
    for (const char *p = property; *p; ++p)
        h = (h ^ static_cast<unsigned char>(*p)) * 16777619u;
    return (h >> 7) & 1;
}

inline constexpr size_t kLongString = 1 << 20;       // the longest string sent
inline constexpr size_t kPlainString = 4096;         // every other string of a reply
inline constexpr size_t kListingString = 300;        // strings in listings
inline constexpr unsigned kCollectionSize = 3000;    // objects in every listing
inline constexpr const char kOutside[] = "/com/quv/igd1/Hostile";  // paths outside any collection

// Handles the control method; false with *error for an unknown mode.
bool set_mode(const std::string &mode, std::string *error);

// Called before a gateway call is answered: true when it must stay unanswered
// ("silent"; "vanish" also closes the connection, once, and goes back to "off").
bool swallow(GDBusConnection *conn);

// The reply to send for `member` called with `args`: `tuple` itself (floating or
// not, returned as given) unless the mode changes it.
GVariant *mangle(const std::string &member, GVariant *args, GVariant *tuple);

}  // namespace lumo::gwsim::hostile
