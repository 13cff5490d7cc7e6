// Printing and editing gateway records through their record tables: one printer and
// one field parser serve every record type, so a new family needs only a registry
// entry.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "gateway/record.hpp"

namespace lumoctl {

using Json = nlohmann::ordered_json;
using lumo::gw::Field;
using lumo::gw::Fields;
using lumo::gw::RecordTable;

// What a command reports when it stops: the exit code and a one-line message.
struct Failure {
    int code;
    std::string message;
};
inline constexpr int kExitRefused = 2;  // usage errors and refused values
inline constexpr int kExitGateway = 3;  // gateway or bus failures

// Every record begins with its 256-byte object path.
inline const char *record_path(const void *rec)
{
    return static_cast<const char *>(rec);
}

// Whether password, key and LOID fields are printed as they are (default: "<hidden>").
void show_secrets(bool show);
// Whether a field or property of that name holds a password, key or LOID.
bool secret_field(const char *name);

// The record as JSON (path first, then the fields in table order) or as aligned
// "name value" lines.
Json record_json(const RecordTable &table, const void *rec);
std::string record_text(const RecordTable &table, const void *rec);

// Prints count records laid out one after another; list selects the list form
// (a JSON array, or text blocks separated by blank lines) even for one record.
void print_records(const RecordTable &table, const void *recs, uint32_t count, bool list, bool json);

// Frees the string-list and byte blocks a getter allocated in the record (pointers reset).
void release_lists(const RecordTable &table, void *rec, uint32_t count = 1);

// The fields named by "NAME=VALUE" words, applied to rec. Only writable fields are
// accepted; each value is parsed by the field's type letter. Throws Failure (code 2)
// for a malformed word, an unknown or read-only field, or a malformed value.
std::vector<const Field *> assign_fields(const RecordTable &table, Fields writable, void *rec,
                                         const std::vector<std::string> &words);

// Throws Failure (code 2) naming `what` when text is not valid UTF-8: the bus cannot
// carry it, and the library would refuse it anyway.
void require_utf8(const std::string &text, const std::string &what);

// "Name (type)" lines for help texts.
std::string describe_fields(Fields fields);

}  // namespace lumoctl
