// "did you mean ...?" for a mistyped object, verb, option or field.
#pragma once

#include <string>
#include <vector>

namespace lumoctl {

// "did you mean X?" or "did you mean X or Y?" naming the names nearest to word
// (edit distance, case ignored, or names that begin with it); "" when none is near.
std::string did_you_mean(const std::string &word, const std::vector<std::string> &names);

}  // namespace lumoctl
