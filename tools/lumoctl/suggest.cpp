#include "tools/lumoctl/suggest.hpp"

#include <algorithm>

#include <glib.h>

namespace lumoctl {

namespace {

// Edits (insert, delete, replace, swap of neighbours) that turn a into b, case ignored.
size_t distance(const std::string &a, const std::string &b)
{
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
        d[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j)
        d[0][j] = j;
    for (size_t i = 1; i <= a.size(); ++i)
        for (size_t j = 1; j <= b.size(); ++j) {
            const bool same = g_ascii_tolower(a[i - 1]) == g_ascii_tolower(b[j - 1]);
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && g_ascii_tolower(a[i - 1]) == g_ascii_tolower(b[j - 2]) &&
                g_ascii_tolower(a[i - 2]) == g_ascii_tolower(b[j - 1]))
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    return d[a.size()][b.size()];
}

}  // namespace

std::string did_you_mean(const std::string &word, const std::vector<std::string> &names)
{
    if (word.empty())
        return "";
    const size_t limit = word.size() <= 3 ? 1 : word.size() <= 6 ? 2 : 3;
    size_t best = limit + 1;
    std::vector<std::string> near;
    for (const std::string &name : names) {
        size_t d = distance(word, name);
        // A word of three or more letters that begins a name counts as near.
        if (word.size() >= 3 && g_ascii_strncasecmp(name.c_str(), word.c_str(), word.size()) == 0)
            d = std::min(d, limit);
        if (d < best)
            best = d, near.clear();
        if (d == best && std::find(near.begin(), near.end(), name) == near.end())
            near.push_back(name);
    }
    if (near.empty())
        return "";
    if (near.size() > 3)
        near.resize(3);
    std::string out = "did you mean " + near[0];
    for (size_t i = 1; i < near.size(); ++i)
        out += (i + 1 == near.size() ? " or " : ", ") + near[i];
    return out + "?";
}

}  // namespace lumoctl
