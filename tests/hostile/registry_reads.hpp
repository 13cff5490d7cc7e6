// The reads of lumoctl's registry as the sweeps make them: `each` sees the records of
// a read that succeeded (their lists are released afterwards); the call's result is
// returned.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bus_support/bus_fixture.hpp"
#include "tools/lumoctl/registry.hpp"

namespace lumo::test {

using RecordSeen = std::function<void(const unsigned char *rec)>;

inline int32_t read_get(const lumoctl::Entry &e, const RecordSeen &each)
{
    std::vector<unsigned char> rec(e.table->record_size);
    const int32_t rc = e.get(rec.data());
    if (rc == 0)
        each(rec.data());
    lumoctl::release_lists(*e.table, rec.data());
    return rc;
}

// The entry's own listing, or the one below `parent` for a collection below instances;
// *count (when given) is the number of records listed.
inline int32_t read_list(const lumoctl::Entry &e, const std::string &parent, const RecordSeen &each,
                         uint32_t *count = nullptr)
{
    void *objs = nullptr;
    uint32_t n = 0, status = 0;
    char *message = nullptr;
    const int32_t rc = e.list ? e.list(&objs, &n, &status, &message)
                              : e.list_at(obj_path(parent), &objs, &n, &status, &message);
    for (uint32_t i = 0; rc == 0 && i < n; i++)
        each(static_cast<const unsigned char *>(objs) + size_t(i) * e.table->record_size);
    lumoctl::release_lists(*e.table, objs, n);
    g_free(objs);
    g_free(message);
    if (count)
        *count = n;
    return rc;
}

}  // namespace lumo::test
