#include "support/temp_root.hpp"

#include <cstdlib>
#include <ftw.h>
#include <unistd.h>

#include <glib.h>
#include <glib/gstdio.h>

#include "core/glib_ptr.hpp"

namespace lumo::test {

namespace {
int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}
}  // namespace

TempRoot::TempRoot(const char *env) : env_(env ? env : "")
{
    lumo::GStr d(g_dir_make_tmp("lumo3-test-XXXXXX", nullptr));
    dir_ = d ? d.get() : "";
    if (env_.empty())
        return;
    if (const char *old = getenv(env)) {
        had_ = true;
        saved_ = old;
    }
    setenv(env, dir_.c_str(), 1);
}

TempRoot::~TempRoot()
{
    if (had_)
        setenv(env_.c_str(), saved_.c_str(), 1);
    else if (!env_.empty())
        unsetenv(env_.c_str());
    if (!dir_.empty())
        nftw(dir_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

std::string TempRoot::path(const std::string &rel) const
{
    return dir_ + rel;
}

void TempRoot::write(const std::string &rel, const std::string &content) const
{
    std::string full = path(rel);
    g_mkdir_with_parents(lumo::GStr(g_path_get_dirname(full.c_str())).get(), 0755);
    g_file_set_contents(full.c_str(), content.data(), static_cast<gssize>(content.size()), nullptr);
}

std::string TempRoot::read(const std::string &rel) const
{
    lumo::GStr data;
    gsize len = 0;
    if (!g_file_get_contents(path(rel).c_str(), lumo::out(data), &len, nullptr))
        return "";
    return std::string(data.get(), len);
}

bool TempRoot::exists(const std::string &rel) const
{
    return g_file_test(path(rel).c_str(), G_FILE_TEST_EXISTS);
}

}  // namespace lumo::test
