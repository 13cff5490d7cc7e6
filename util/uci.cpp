// UCI option access for the rest of the library, and the WLAN device owner file.
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
#include "util/uci_store.hpp"

namespace {

using lumo::GStr;
using lumo::uci::Context;
using lumo::uci::Ptr;

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

std::unique_ptr<Context> new_context()
{
    return std::unique_ptr<Context>(new (std::nothrow) Context);
}

void fill_entries(const lumo::uci::Section &s, UciOptionEntry *&at)
{
    for (const lumo::uci::Option &o : s.options) {
        g_strlcpy(at->name, o.name.c_str(), sizeof at->name);
        g_strlcpy(at->value, o.text().c_str(), sizeof at->value);
        ++at;
    }
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

extern "C" {

LUMO3_API int uci_read_option(const char *package, const char *section, const char *option, char *value)
{
    if (!package || !section || !option || !value)
        return lumo::uci::kInvalid;
    GStr expr(g_strdup_printf("%s.%s.%s", package, section, option));
    std::unique_ptr<Context> ctx = expr ? new_context() : nullptr;
    if (!ctx) {
        out_of_memory();
        return lumo::uci::kOutOfMemory;
    }
    Ptr ptr;
    if (!plain_part(package) || !plain_part(section) || !plain_part(option)) {
        ctx->set_error(lumo::uci::kInvalid);
    } else if (ctx->lookup(expr.get(), ptr) == lumo::uci::kOk) {
        if (ptr.complete)
            g_strlcpy(value, ptr.o->text().c_str(), kValueSize);
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
    std::unique_ptr<Context> ctx = expr ? new_context() : nullptr;
    if (!ctx) {
        out_of_memory();
        return lumo::uci::kOutOfMemory;
    }
    // Errors are reported under the option's name (the section's, for a section).
    const char *what = option ? option : section;
    Ptr ptr;
    if (!plain_part(package) || !plain_part(section) || (option && !plain_part(option))) {
        ctx->set_error(lumo::uci::kInvalid);
        ctx->perror(what);
        return lumo::uci::kOk;
    }
    if (ctx->lookup(expr.get(), ptr) != lumo::uci::kOk) {
        ctx->perror(what);
        return lumo::uci::kOk;
    }
    if (int rc = ctx->set(ptr); rc != lumo::uci::kOk) {
        ctx->perror(what);
        return rc;
    }
    if (ctx->commit(package) != lumo::uci::kOk)
        ctx->perror(expr.get());
    return lumo::uci::kOk;
}

LUMO3_API int uci_read_section(const char *package, const char *section_type, const char *section,
                               UciOptionEntry **entries, uint32_t *count)
{
    if (!package)
        return lumo::uci::kInvalid;
    GStr expr(section ? g_strdup_printf("%s.%s", package, section) : g_strdup(package));
    std::unique_ptr<Context> ctx = expr ? new_context() : nullptr;
    if (!ctx) {
        out_of_memory();
        return lumo::uci::kOutOfMemory;
    }
    Ptr ptr;
    if (!plain_part(package) || (section && !plain_part(section)) ||
        ctx->lookup(expr.get(), ptr) != lumo::uci::kOk)
        return lumo::uci::kOk;
    if (!ptr.complete) {
        ctx->set_error(lumo::uci::kNotFound);
        return lumo::uci::kOk;
    }
    std::vector<const lumo::uci::Section *> picked;
    if (ptr.kind == Ptr::Kind::kPackage) {
        for (const lumo::uci::Section &s : ptr.p->sections)
            if (section_type && s.type == section_type)
                picked.push_back(&s);
    } else {
        picked.push_back(ptr.s);
    }
    size_t n = 0;
    for (const lumo::uci::Section *s : picked)
        n += s->options.size();
    if (entries) {
        auto *array = static_cast<UciOptionEntry *>(std::malloc(n * sizeof(UciOptionEntry)));
        if (!array && n > 0) {
            out_of_memory();
            return lumo::uci::kOutOfMemory;
        }
        if (n > 0)
            std::memset(array, 0, n * sizeof(UciOptionEntry));
        UciOptionEntry *at = array;
        for (const lumo::uci::Section *s : picked)
            fill_entries(*s, at);
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
