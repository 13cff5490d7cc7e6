#include "core/paths.hpp"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace lumo::paths {

namespace {
const char *env_nonempty(const char *name)
{
    const char *v = std::getenv(name);
    return (v && *v) ? v : nullptr;
}

bool is_under(const char *path, const char *dir)
{
    size_t n = std::strlen(dir);
    return std::strncmp(path, dir, n) == 0 && (path[n] == '/' || path[n] == '\0');
}
}  // namespace

GStr resolve(const char *fixed_path)
{
    if (is_under(fixed_path, kProcDir)) {
        if (const char *proc = env_nonempty("LUMO_PROC_DIR"))
            return GStr(g_strconcat(proc, fixed_path + sizeof kProcDir - 1, nullptr));
        return GStr(g_strdup(fixed_path));
    }
    if (const char *root = env_nonempty("LUMO_SYSROOT"))
        return GStr(g_strconcat(root, fixed_path, nullptr));
    return GStr(g_strdup(fixed_path));
}

GStr proc_self_stat()
{
    char buf[64];
    g_snprintf(buf, sizeof buf, "/proc/%d/stat", static_cast<int>(getpid()));
    return resolve(buf);
}

}  // namespace lumo::paths
