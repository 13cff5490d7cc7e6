// The UCI store's parser on arbitrary bytes: what parses must come back unchanged
// through the writer, and the writer's text must be a fixed point.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_support.hpp"
#include "util/uci_store.hpp"

namespace {

using namespace lumo::uci;

bool same(const Option &a, const Option &b)
{
    return a.name == b.name && a.is_list == b.is_list && a.values == b.values;
}

bool same(const Section &a, const Section &b)
{
    // An anonymous section's name is made from its position and type when it is
    // read, so only the names a file gives are compared.
    if (a.type != b.type || a.anonymous != b.anonymous || (!a.anonymous && a.name != b.name) ||
        a.options.size() != b.options.size())
        return false;
    for (size_t i = 0; i < a.options.size(); i++)
        if (!same(a.options[i], b.options[i]))
            return false;
    return true;
}

bool same(const Package &a, const Package &b)
{
    if (a.sections.size() != b.sections.size())
        return false;
    for (size_t i = 0; i < a.sections.size(); i++)
        if (!same(a.sections[i], b.sections[i]))
            return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Package first;
    if (parse(std::string_view(reinterpret_cast<const char *>(data), size), first) != kOk)
        return 0;
    for (const Section &s : first.sections) {
        LUMO_FUZZ_CHECK(readable_type(s.type));
        for (const Option &o : s.options)
            LUMO_FUZZ_CHECK(valid_name(o.name) && (o.is_list || o.values.size() == 1));
    }
    const std::string text = serialize(first);
    Package second;
    LUMO_FUZZ_CHECK(parse(text, second) == kOk);
    LUMO_FUZZ_CHECK(same(first, second));
    LUMO_FUZZ_CHECK(serialize(second) == text);
    return 0;
}
