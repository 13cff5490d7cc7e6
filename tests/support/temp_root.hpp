// A temporary directory, removed with everything in it afterwards. While it lives an
// environment variable names it: LUMO_SYSROOT (the library's redirected root) by
// default, TMPDIR for death tests whose children leave their private buses behind,
// or none; the variable's previous value comes back afterwards.
#pragma once

#include <string>

namespace lumo::test {

class TempRoot {
public:
    explicit TempRoot(const char *env = "LUMO_SYSROOT");
    ~TempRoot();
    TempRoot(const TempRoot &) = delete;
    TempRoot &operator=(const TempRoot &) = delete;

    const std::string &dir() const { return dir_; }
    // dir() + rel (rel starts with '/').
    std::string path(const std::string &rel) const;
    // Writes a file under the root, making its directories.
    void write(const std::string &rel, const std::string &content) const;
    // Reads a file under the root; "" when missing.
    std::string read(const std::string &rel) const;
    bool exists(const std::string &rel) const;

private:
    std::string dir_, env_, saved_;
    bool had_ = false;
};

}  // namespace lumo::test
