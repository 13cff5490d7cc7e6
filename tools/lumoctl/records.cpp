#include "tools/lumoctl/records.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <glib.h>

#include "tools/lumoctl/suggest.hpp"

namespace lumoctl {

// Passwords, keys and LOIDs the gateway reports are printed as "<hidden>" (an empty
// one stays empty, so that one sees whether it is set) unless asked for.
bool secret_field(const char *name)
{
    std::string lower(name);
    for (char &c : lower)
        c = static_cast<char>(g_ascii_tolower(c));
    for (const char *word : {"passw", "pwd", "loid", "psk", "passphrase", "secret", "wepkey", "presharedkey"})
        if (lower.find(word) != std::string::npos)
            return true;
    return false;
}

using lumo::gw::Type;

namespace {

template <typename T>
T load(const void *rec, uint32_t offset)
{
    T v;
    std::memcpy(&v, static_cast<const char *>(rec) + offset, sizeof v);
    return v;
}

template <typename T>
void store(void *rec, uint32_t offset, T v)
{
    std::memcpy(static_cast<char *>(rec) + offset, &v, sizeof v);
}

// Records carry fixed-width strings that may lack a terminator at the very end.
std::string text_at(const void *rec, const Field &f)
{
    const char *p = static_cast<const char *>(rec) + f.offset;
    return std::string(p, strnlen(p, f.size));
}

bool g_show_secrets = false;

std::string shown_text(const void *rec, const Field &f)
{
    std::string text = text_at(rec, f);
    return !g_show_secrets && !text.empty() && secret_field(f.name) ? "<hidden>" : text;
}

std::vector<std::string> list_at(const void *rec, const Field &f)
{
    std::vector<std::string> out;
    uint32_t n = load<uint32_t>(rec, f.offset);
    const char *block = load<const char *>(rec, f.aux);
    for (uint32_t i = 0; block && i < n; ++i)
        out.emplace_back(block + size_t(i) * f.size, strnlen(block + size_t(i) * f.size, f.size));
    return out;
}

// "ay" fields as hex digits, two per byte.
std::string hex_at(const void *rec, const Field &f)
{
    static const char digits[] = "0123456789abcdef";
    const uint32_t n = load<uint32_t>(rec, f.offset);
    const auto *block = load<const uint8_t *>(rec, f.aux);
    std::string out;
    for (uint32_t i = 0; block && i < n; ++i) {
        out += digits[block[i] >> 4];
        out += digits[block[i] & 15];
    }
    return out;
}

bool parse_hex(const std::string &text, std::vector<uint8_t> &out)
{
    if (text.size() % 2)
        return false;
    for (size_t i = 0; i < text.size(); i += 2) {
        int hi = g_ascii_xdigit_value(text[i]), lo = g_ascii_xdigit_value(text[i + 1]);
        if (hi < 0 || lo < 0)
            return false;
        out.push_back(uint8_t(hi << 4 | lo));
    }
    return true;
}

bool is_true(const void *rec, const Field &f)
{
    return f.size == 1 ? load<uint8_t>(rec, f.offset) != 0 : load<uint32_t>(rec, f.offset) != 0;
}

std::string double_text(double d)
{
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, d);
    return std::string(buf, r.ptr);
}

Json value_json(const void *rec, const Field &f)
{
    switch (f.type) {
    case Type::Str: return shown_text(rec, f);
    case Type::Bool: return is_true(rec, f);
    case Type::U32: return load<uint32_t>(rec, f.offset);
    case Type::I32: return load<int32_t>(rec, f.offset);
    case Type::Byte: return load<uint8_t>(rec, f.offset);
    case Type::U64: return load<uint64_t>(rec, f.offset);
    case Type::U16: return load<uint16_t>(rec, f.offset);
    case Type::Double: return load<double>(rec, f.offset);
    case Type::StrList: return list_at(rec, f);
    case Type::Bytes: return hex_at(rec, f);
    case Type::Drop: break;
    }
    return nullptr;
}

std::string value_text(const void *rec, const Field &f)
{
    switch (f.type) {
    case Type::Str: return shown_text(rec, f);
    case Type::Bool: return is_true(rec, f) ? "true" : "false";
    case Type::U32: return std::to_string(load<uint32_t>(rec, f.offset));
    case Type::I32: return std::to_string(load<int32_t>(rec, f.offset));
    case Type::Byte: return std::to_string(load<uint8_t>(rec, f.offset));
    case Type::U64: return std::to_string(load<uint64_t>(rec, f.offset));
    case Type::U16: return std::to_string(load<uint16_t>(rec, f.offset));
    case Type::Double: return double_text(load<double>(rec, f.offset));
    case Type::StrList: {
        std::string out;
        for (const std::string &s : list_at(rec, f))
            out += (out.empty() ? "" : ", ") + s;
        return out;
    }
    case Type::Bytes: return hex_at(rec, f);
    case Type::Drop: break;
    }
    return {};
}

const char *type_word(const Field &f)
{
    switch (f.type) {
    case Type::Str: return "text";
    case Type::Bool: return "true/false";
    case Type::U32: return "0..4294967295";
    case Type::I32: return "signed 32-bit number";
    case Type::Byte: return "0..255";
    case Type::U64: return "unsigned 64-bit number";
    case Type::U16: return "0..65535";
    case Type::Double: return "number";
    case Type::StrList: return "comma-separated texts";
    case Type::Bytes: return "hex digits, two per byte";
    case Type::Drop: break;
    }
    return "";
}

template <typename T>
bool parse_number(const std::string &text, T &out)
{
    const char *end = text.data() + text.size();
    auto r = std::from_chars(text.data(), end, out);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

bool parse_bool(const std::string &text, uint32_t &out)
{
    static const char *const yes[] = {"true", "1", "yes", "on"};
    static const char *const no[] = {"false", "0", "no", "off"};
    for (const char *w : yes)
        if (g_ascii_strcasecmp(text.c_str(), w) == 0)
            return out = 1, true;
    for (const char *w : no)
        if (g_ascii_strcasecmp(text.c_str(), w) == 0)
            return out = 0, true;
    return false;
}

// Stores text into field f of rec; false when it does not parse or fit.
bool parse_into(void *rec, const Field &f, const std::string &text)
{
    switch (f.type) {
    case Type::Str:
        if (text.size() >= f.size || text.find('\0') != std::string::npos)
            return false;
        std::memset(static_cast<char *>(rec) + f.offset, 0, f.size);
        std::memcpy(static_cast<char *>(rec) + f.offset, text.data(), text.size());
        return true;
    case Type::Bool: {
        uint32_t v;
        if (!parse_bool(text, v))
            return false;
        f.size == 1 ? store<uint8_t>(rec, f.offset, uint8_t(v)) : store<uint32_t>(rec, f.offset, v);
        return true;
    }
    case Type::U32: {
        uint32_t v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::I32: {
        int32_t v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::Byte: {
        uint8_t v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::U16: {
        uint16_t v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::U64: {
        uint64_t v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::Double: {
        double v;
        return parse_number(text, v) && (store(rec, f.offset, v), true);
    }
    case Type::StrList: {
        std::vector<std::string> items;
        if (!text.empty()) {
            size_t start = 0;
            for (size_t comma; (comma = text.find(',', start)) != std::string::npos; start = comma + 1)
                items.push_back(text.substr(start, comma - start));
            items.push_back(text.substr(start));
        }
        for (const std::string &s : items)
            if (s.size() >= f.size)
                return false;
        char *block = items.empty() ? nullptr : static_cast<char *>(g_malloc0_n(items.size(), f.size));
        for (size_t i = 0; i < items.size(); ++i)
            std::memcpy(block + i * f.size, items[i].data(), items[i].size());
        g_free(load<char *>(rec, f.aux));
        store<uint32_t>(rec, f.offset, uint32_t(items.size()));
        store<char *>(rec, f.aux, block);
        return true;
    }
    case Type::Bytes: {
        std::vector<uint8_t> bytes;
        if (!parse_hex(text, bytes))
            return false;
        void *block = bytes.empty() ? nullptr : std::memcpy(g_malloc(bytes.size()), bytes.data(), bytes.size());
        g_free(load<void *>(rec, f.aux));
        store<uint32_t>(rec, f.offset, uint32_t(bytes.size()));
        store<void *>(rec, f.aux, block);
        return true;
    }
    case Type::Drop: break;
    }
    return false;
}

const Field *find(Fields fields, std::string_view name)
{
    for (const Field &f : fields)
        if (f.type != Type::Drop && name == f.name)
            return &f;
    return nullptr;
}

}  // namespace

void show_secrets(bool show)
{
    g_show_secrets = show;
}

Json record_json(const RecordTable &table, const void *rec)
{
    Json out = Json::object();
    out["path"] = std::string(record_path(rec), strnlen(record_path(rec), 256));
    for (const Field &f : table.fields)
        if (f.type != Type::Drop)
            out[f.name] = value_json(rec, f);
    return out;
}

std::string record_text(const RecordTable &table, const void *rec)
{
    std::vector<std::pair<std::string, std::string>> rows;
    rows.emplace_back("path", std::string(record_path(rec), strnlen(record_path(rec), 256)));
    for (const Field &f : table.fields)
        if (f.type != Type::Drop)
            rows.emplace_back(f.name, value_text(rec, f));
    size_t width = 0;
    for (const auto &row : rows)
        width = std::max(width, row.first.size());
    std::string out;
    for (const auto &[name, value] : rows)
        out += name + std::string(width + 2 - name.size(), ' ') + value + "\n";
    return out;
}

void print_records(const RecordTable &table, const void *recs, uint32_t count, bool list, bool json)
{
    const char *base = static_cast<const char *>(recs);
    if (json) {
        Json out = Json::array();
        for (uint32_t i = 0; i < count; ++i)
            out.push_back(record_json(table, base + size_t(i) * table.record_size));
        const Json &shown = list ? out : out.at(0);
        std::string text = shown.dump(2, ' ', false, Json::error_handler_t::replace);
        std::printf("%s\n", text.c_str());
    } else {
        for (uint32_t i = 0; i < count; ++i)
            std::printf("%s%s", i ? "\n" : "", record_text(table, base + size_t(i) * table.record_size).c_str());
    }
    std::fflush(stdout);
}

void release_lists(const RecordTable &table, void *rec, uint32_t count)
{
    for (uint32_t i = 0; rec && i < count; ++i) {
        char *r = static_cast<char *>(rec) + size_t(i) * table.record_size;
        for (const Field &f : table.fields)
            if (f.type == Type::StrList || f.type == Type::Bytes) {
                g_free(load<char *>(r, f.aux));
                store<char *>(r, f.aux, nullptr);
            }
    }
}

void require_utf8(const std::string &text, const std::string &what)
{
    // The value itself is not quoted: its bytes would garble the message.
    if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr))
        throw Failure{kExitRefused, what + " is not valid UTF-8"};
}

std::vector<const Field *> assign_fields(const RecordTable &table, Fields writable, void *rec,
                                         const std::vector<std::string> &words)
{
    std::vector<const Field *> given;
    for (const std::string &word : words) {
        size_t eq = word.find('=');
        if (eq == std::string::npos || eq == 0)
            throw Failure{kExitRefused, "expected NAME=VALUE, got '" + word + "'"};
        std::string name = word.substr(0, eq), value = word.substr(eq + 1);
        const Field *f = find(writable, name);
        if (!f && find(table.fields, name))
            throw Failure{kExitRefused, "field " + name + " of " + table.record_name + " cannot be written"};
        if (!f) {
            std::vector<std::string> names;
            for (const Field &w : writable)
                names.emplace_back(w.name);
            const std::string hint = did_you_mean(name, names);
            throw Failure{kExitRefused,
                          "unknown field " + name + " of " + table.record_name + (hint.empty() ? "" : "; " + hint)};
        }
        if (f->type == Type::Str || f->type == Type::StrList)
            require_utf8(value, "value of " + name);
        if (!parse_into(rec, *f, value)) {
            std::string expect = type_word(*f);
            if (f->type == Type::Str || f->type == Type::StrList)
                expect += " of at most " + std::to_string(f->size - 1) + " characters";
            throw Failure{kExitRefused, "malformed value '" + value + "' for " + name + " (expected " + expect + ")"};
        }
        if (std::find(given.begin(), given.end(), f) == given.end())
            given.push_back(f);
    }
    return given;
}

std::string describe_fields(Fields fields)
{
    std::string out;
    for (const Field &f : fields)
        if (f.type != Type::Drop)
            out += std::string("  ") + f.name + " (" + type_word(f) +
                   (f.type == Type::Str ? ", at most " + std::to_string(f.size - 1) + " characters" : "") + ")\n";
    return out;
}

}  // namespace lumoctl
