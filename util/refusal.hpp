// Checks of caller-supplied values that say why a value is refused. Each returns
// true when the value passes. A value that fails is named, with the rule it breaks,
// in one priority-3 line under the caller's tag, logged before the caller's own
// refusal line: "Invalid parameter: InternalPort: 99999 is outside 1..65535." Only
// that line is added; results and the callers' own lines stay as they are.
// Internal: not exported from the library.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace lumo::refusal {

// `valid` is one of the is_valid_* predicates; the rule it stands for is named in
// the line ("is not a MAC address (12 hex digits)").
bool judged(const char *tag, const char *field, const char *text, int (*valid)(const char *));
// lo <= value <= hi.
bool in_range(const char *tag, const char *field, int64_t value, int64_t lo, int64_t hi);
// One of `words`, compared exactly.
bool one_of(const char *tag, const char *field, const char *text, std::initializer_list<const char *> words);

}  // namespace lumo::refusal
