// The library's own UCI configuration store: one file per package in the
// configuration directory, in the usual "config/option/list" format. Internal only;
// nothing here is exported, so an application linking the system's UCI library too
// sees no clash.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::uci {

// Result codes, numbered as the UCI tools number them.
enum Status : int {
    kOk = 0,
    kOutOfMemory = 1,
    kInvalid = 2,
    kNotFound = 3,
    kIoError = 4,
    kParseError = 5,
    kDuplicate = 6,
    kUnknown = 7,
};

// "Success", "Entry not found", ... ("Unknown error" for anything out of range).
const char *error_text(int code);
// Prints "<prefix>: <text>\n" to standard error.
void print_error(const char *prefix, int code);

struct Option {
    std::string name;
    bool is_list = false;
    std::vector<std::string> values;  // exactly one unless is_list
    // The value as one string; list items joined by single blanks.
    std::string text() const;
};

struct Section {
    std::string name;  // generated ("cfgXXYYYY") for anonymous sections
    std::string type;
    bool anonymous = false;
    std::vector<Option> options;

    const Option *find(std::string_view option) const;
};

struct Package {
    std::vector<Section> sections;

    Section *find(std::string_view section);
    const Section *find(std::string_view section) const;
};

// Package, section and option names: [A-Za-z0-9_]+.
bool valid_name(std::string_view s);
// Section types also allow '-'.
bool valid_type(std::string_view s);
// What a package file may hold as a section type: any printable word.
bool readable_type(std::string_view s);

// Parses a whole package file. kOk or kParseError (pkg is then unspecified).
int parse(std::string_view text, Package &pkg);
// The file text for a package; parse(serialize(p)) gives p back.
std::string serialize(const Package &pkg);

// The file that holds a package (under the redirectable configuration directory).
std::string package_path(std::string_view package);

// Where changes are staged before a commit, one file per package (redirectable).
inline constexpr const char kUciSaveDir[] = "/tmp/.uci";

// Exclusive lock of one package among the library's writers, held until
// destruction. A separate lock file, because every commit replaces the package
// file's inode.
class PackageLock {
public:
    PackageLock() = default;
    ~PackageLock();
    PackageLock(const PackageLock &) = delete;
    PackageLock &operator=(const PackageLock &) = delete;
    int acquire(std::string_view package);

private:
    int fd_ = -1;
};

// Result of a lookup: what the expression named and what of it exists.
struct Ptr {
    enum class Kind { kPackage, kSection, kOption };
    Kind kind = Kind::kPackage;
    bool complete = false;  // every element named exists
    bool has_value = false;  // the expression was an assignment "...=value"
    std::string package, section, option, value;
    // Into the context's copy; valid until the next set or commit.
    const Package *p = nullptr;
    const Section *s = nullptr;
    const Option *o = nullptr;
};

// One caller's view of the store, including the changes staged in the save
// directory. Changes made with set() stay in the context until save() stages them;
// commit() stages what is left and then applies every staged change of the
// package to the file as it is at that moment.
class Context {
public:
    Context();
    ~Context();
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;

    // Looks up "pkg[.section[.option]][=value]", where section may be "@type[n]"
    // (n < 0 counts from the end). Loads the package on first use. A missing
    // section or option is not an error (complete stays false); a missing package,
    // an out-of-range index or a malformed expression is.
    int lookup(std::string_view expr, Ptr &ptr);
    // Applies an assignment lookup: sets an option's string value (replacing a
    // list; an empty value deletes the option), or creates/retypes a section when
    // no option was named.
    int set(const Ptr &ptr);
    // Appends this context's changes to the package's file in the save directory.
    int save(std::string_view package);
    // Under the package lock: re-reads the file, applies every staged change of the
    // package, replaces the file atomically and empties the stage. A file that does
    // not parse is left alone, and the stage with it.
    int commit(std::string_view package);

    int error() const { return err_; }
    void set_error(int code) { err_ = code; }
    void perror(const char *prefix) const { print_error(prefix, err_); }

private:
    struct Loaded {
        std::string name;
        Package pkg;
        std::string pending;  // staged-change lines not yet saved
    };
    Loaded *find_loaded(std::string_view package);
    int fail(int code) { return err_ = code; }

    std::vector<std::unique_ptr<Loaded>> loaded_;
    int err_ = kOk;
};

// Opens `path` with `flags` (O_RDONLY, O_WRONLY | O_APPEND, ...), creating it with
// mode 0644 whatever the process umask; an existing file keeps its mode. -1 with
// errno on failure.
int open_shared(const std::string &path, int flags);

// Deletes from a package's file every line containing needle (plain substring),
// under the package lock and by atomic replacement. kOk also when nothing matched;
// kParseError (file untouched) when the file, or the file left after the deletion,
// does not parse; kInvalid for a bad package name or an empty or multi-line needle.
int delete_lines_containing(const char *package, const char *needle);

}  // namespace lumo::uci
