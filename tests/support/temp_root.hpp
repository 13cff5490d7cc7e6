// A temporary directory used as the library's redirected root (LUMO_SYSROOT) for
// the lifetime of the object; removed with everything in it afterwards.
#pragma once

#include <string>

namespace lumo::test {

class TempRoot {
public:
    // With redirect=false the directory is made but LUMO_SYSROOT is left alone.
    explicit TempRoot(bool redirect = true);
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
    std::string dir_;
    bool redirect_;
};

}  // namespace lumo::test
