// The steps the library's UCI calls are made of, over one UCI context of either
// store: the library's own (uci_store.hpp) or the platform's libuci. Internal only.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace lumo::uci {

struct Entry {
    std::string name, value;
};

class Backend {
public:
    virtual ~Backend() = default;
    // Looks up "pkg[.section[.option]][=value]" with extended syntax; expr may be
    // changed. kOk or the error code (also kept as the context's error).
    virtual int lookup(char *expr) = 0;
    // After a successful lookup: whether everything named exists, and whether it
    // named a package.
    virtual bool complete() const = 0;
    virtual bool is_package() const = 0;
    // After a successful lookup: whether the section named (if any) exists.
    virtual bool has_section() const = 0;
    // After a complete option lookup: its value, list items joined by blanks.
    virtual std::string option_text() const = 0;
    // After a complete lookup: the options of the section found, or of every
    // section of type `type` in the package found (none for a null type).
    virtual void entries(const char *type, std::vector<Entry> &out) const = 0;
    // After an assignment lookup: set, stage, commit (every staged change of the
    // package, not overwriting others' commits).
    virtual int set() = 0;
    virtual int save() = 0;
    virtual int commit() = 0;
    virtual void set_error(int code) = 0;
    virtual void perror(const char *prefix) = 0;
};

enum class BackendKind { kOwn, kSystem };

// A fresh context of the selected backend; null when memory ran out.
std::unique_ptr<Backend> open_backend();
// Selects the backend for later open_backend() calls (the system one by default
// when built in). False when the kind is not built in.
bool select_backend(BackendKind kind);

}  // namespace lumo::uci
