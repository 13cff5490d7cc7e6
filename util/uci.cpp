// UCI option access for the rest of the library, and the WLAN device owner file.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <new>
#include <string>
#include <vector>

#include "core/glib_ptr.hpp"
#include "core/paths.hpp"
#include "lumo3_uci.h"
#include "util/uci_backend.hpp"
#include "util/uci_store.hpp"

namespace {

using lumo::GStr;
using lumo::uci::Backend;

constexpr size_t kValueSize = 256;

void out_of_memory()
{
    std::fputs("Out of memory\n", stderr);
}

// A caller's part of an expression must not add parts or an assignment of its own.
bool plain_part(const char *s)
{
    return std::strpbrk(s, ".=") == nullptr;
}

// A fresh context, or null after reporting that memory ran out.
std::unique_ptr<Backend> open_context(const GStr &expr)
{
    std::unique_ptr<Backend> ctx = expr ? lumo::uci::open_backend() : nullptr;
    if (!ctx)
        out_of_memory();
    return ctx;
}

// The owner file as a stream, created readable by every service without touching
// the process umask.
FILE *open_owner_file(const char *path, int flags, const char *mode)
{
    int fd = lumo::uci::open_shared(path, flags);
    if (fd < 0)
        return nullptr;
    FILE *fp = fdopen(fd, mode);
    if (!fp)
        close(fd);
    return fp;
}

}  // namespace

namespace lumo::uci {

std::unique_ptr<Backend> open_own_backend();
#ifdef LUMO3_UCI_SYSTEM
std::unique_ptr<Backend> open_system_backend();
static std::atomic<BackendKind> selected{BackendKind::kSystem};
#endif

std::unique_ptr<Backend> open_backend()
{
#ifdef LUMO3_UCI_SYSTEM
    if (selected.load() == BackendKind::kSystem)
        return open_system_backend();
#endif
    return open_own_backend();
}

bool select_backend(BackendKind kind)
{
#ifdef LUMO3_UCI_SYSTEM
    selected.store(kind);
    return true;
#else
    return kind == BackendKind::kOwn;
#endif
}

}  // namespace lumo::uci

extern "C" {

LUMO3_API int uci_read_option(const char *package, const char *section, const char *option, char *value)
{
    if (!package || !section || !option || !value)
        return lumo::uci::kInvalid;
    GStr expr(g_strdup_printf("%s.%s.%s", package, section, option));
    std::unique_ptr<Backend> ctx = open_context(expr);
    if (!ctx)
        return lumo::uci::kOutOfMemory;
    if (!plain_part(package) || !plain_part(section) || !plain_part(option)) {
        ctx->set_error(lumo::uci::kInvalid);
    } else if (ctx->lookup(expr.get()) == lumo::uci::kOk) {
        if (ctx->complete() && !ctx->is_package())
            g_strlcpy(value, ctx->option_text().c_str(), kValueSize);
        else
            ctx->set_error(lumo::uci::kNotFound);
    }
    return lumo::uci::kOk;
}

LUMO3_API int uci_write_option(const char *package, const char *section, const char *option, const char *value)
{
    if (!package || !section || !value)
        return lumo::uci::kInvalid;
    GStr expr(option ? g_strdup_printf("%s.%s.%s=%s", package, section, option, value)
                     : g_strdup_printf("%s.%s=%s", package, section, value));
    std::unique_ptr<Backend> ctx = open_context(expr);
    if (!ctx)
        return lumo::uci::kOutOfMemory;
    // Errors are reported under the option's name (the section's, for a section).
    const char *what = option ? option : section;
    if (!plain_part(package) || !plain_part(section) || (option && !plain_part(option))) {
        ctx->set_error(lumo::uci::kInvalid);
        ctx->perror(what);
        return lumo::uci::kOk;
    }
    // Kept for the commit's message: the lookup may cut the expression up.
    GStr whole(g_strdup(expr.get()));
    // libuci accepts "@type[n]" naming no section and then stages a line that no
    // later replay can apply, leaving the package's stage stuck: a lookup failure.
    int found = ctx->lookup(expr.get());
    if (found == lumo::uci::kOk && section[0] == '@' && !ctx->has_section())
        ctx->set_error(found = lumo::uci::kNotFound);
    if (found != lumo::uci::kOk) {
        ctx->perror(what);
        return lumo::uci::kOk;
    }
    // A section type the store could not read back (quotes, blanks) is refused
    // before anything is staged.
    int rc = !option && !lumo::uci::valid_type(value) ? int(lumo::uci::kInvalid) : ctx->set();
    if (rc != lumo::uci::kOk) {
        ctx->set_error(rc);
        ctx->perror(what);
        return rc;
    }
    if (rc = ctx->save(); rc != lumo::uci::kOk) {
        ctx->perror(what);
        return rc;
    }
    if (ctx->commit() != lumo::uci::kOk)
        ctx->perror(whole ? whole.get() : what);
    return lumo::uci::kOk;
}

LUMO3_API int uci_read_section(const char *package, const char *section_type, const char *section,
                               UciOptionEntry **entries, uint32_t *count)
{
    if (!package)
        return lumo::uci::kInvalid;
    GStr expr(section ? g_strdup_printf("%s.%s", package, section) : g_strdup(package));
    std::unique_ptr<Backend> ctx = open_context(expr);
    if (!ctx)
        return lumo::uci::kOutOfMemory;
    if (!plain_part(package) || (section && !plain_part(section)) || ctx->lookup(expr.get()) != lumo::uci::kOk)
        return lumo::uci::kOk;
    if (!ctx->complete()) {
        ctx->set_error(lumo::uci::kNotFound);
        return lumo::uci::kOk;
    }
    std::vector<lumo::uci::Entry> found;
    ctx->entries(section_type, found);
    size_t n = found.size();
    if (entries) {
        auto *array = static_cast<UciOptionEntry *>(std::malloc(n * sizeof(UciOptionEntry)));
        if (!array && n > 0) {
            out_of_memory();
            return lumo::uci::kOutOfMemory;
        }
        if (n > 0)
            std::memset(array, 0, n * sizeof(UciOptionEntry));
        for (size_t i = 0; i < n; ++i) {
            g_strlcpy(array[i].name, found[i].name.c_str(), sizeof array[i].name);
            g_strlcpy(array[i].value, found[i].value.c_str(), sizeof array[i].value);
        }
        *entries = array;
    }
    if (count)
        *count = static_cast<uint32_t>(n);
    return lumo::uci::kOk;
}

LUMO3_API void get_devname_from_uci(const char *mac, char *name, size_t size)
{
    if (!mac || !name || size == 0)
        return;
    char stored[kValueSize] = {0};
    uci_read_option("devname", "macs", mac, stored);
    if (stored[0] == '\0' || std::strncmp(stored, name, size) == 0)
        return;
    g_strlcpy(name, stored, size);
}

LUMO3_API int update_wlan_device_owner(const char *owner, const char *path, int add)
{
    if (!owner)
        return -1;
    GStr file = lumo::paths::resolve(lumo::paths::kWlanOwnerFile);
    if (add) {
        // A newline in either field would forge a record of its own.
        if (!path || std::strchr(owner, '\n') || std::strchr(path, '\n'))
            return -1;
        FILE *fp = open_owner_file(file.get(), O_WRONLY | O_APPEND, "a");
        if (!fp)
            return 0;
        std::fprintf(fp, "%s %s\n", path, owner);
        std::fclose(fp);
        return 0;
    }

    std::vector<WlanOwnerEntry> kept;
    if (FILE *fp = std::fopen(file.get(), "r")) {
        char *line = nullptr;
        size_t cap = 0;
        while (getline(&line, &cap, fp) >= 0) {
            size_t len = std::strlen(line);
            while (len > 0 && line[len - 1] == '\n')
                line[--len] = '\0';
            WlanOwnerEntry e{};
            if (std::sscanf(line, "%255[^ ] %63[^ ]", e.path, e.owner) == 2 && std::strcmp(e.owner, owner) != 0)
                kept.push_back(e);
        }
        std::free(line);
        std::fclose(fp);
    }
    FILE *fp = open_owner_file(file.get(), O_WRONLY | O_TRUNC, "w");
    if (!fp)
        return 0;
    // Deliberately writes only every other remaining record (1st, 3rd, 5th, ...): the
    // file's established rewrite behaviour, kept unchanged.
    for (size_t i = 0; i < kept.size(); i += 2)
        std::fprintf(fp, "%s %s\n", kept[i].path, kept[i].owner);
    std::fclose(fp);
    return 0;
}

}  // extern "C"
