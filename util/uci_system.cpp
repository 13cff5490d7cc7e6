// The UCI steps over the platform's libuci, so that the library shares parsing,
// locking and staging with every other program on the gateway.

#include <uci.h>

#include "core/glib_ptr.hpp"
#include "core/paths.hpp"
#include "util/uci_backend.hpp"
#include "util/uci_store.hpp"

namespace lumo::uci {

namespace {

std::string option_string(const uci_option *o)
{
    if (o->type == UCI_TYPE_STRING)
        return o->v.string;
    std::string out;
    bool first = true;
    uci_element *e;
    uci_foreach_element(&o->v.list, e) {
        if (!first)
            out += ' ';
        out += e->name;
        first = false;
    }
    return out;
}

void add_options(uci_section *s, std::vector<Entry> &out)
{
    uci_element *e;
    uci_foreach_element(&s->options, e) out.push_back(Entry{e->name, option_string(uci_to_option(e))});
}

class SystemBackend final : public Backend {
public:
    explicit SystemBackend(uci_context *ctx) : ctx_(ctx) {}
    ~SystemBackend() override { uci_free_context(ctx_); }
    SystemBackend(const SystemBackend &) = delete;
    SystemBackend &operator=(const SystemBackend &) = delete;

    int lookup(char *expr) override { return uci_lookup_ptr(ctx_, &ptr_, expr, true); }
    bool complete() const override { return (ptr_.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0; }
    bool is_package() const override { return ptr_.target == UCI_TYPE_PACKAGE; }
    bool has_section() const override { return ptr_.s != nullptr; }
    std::string option_text() const override { return ptr_.o ? option_string(ptr_.o) : std::string(); }
    void entries(const char *type, std::vector<Entry> &out) const override
    {
        if (!is_package()) {
            add_options(ptr_.s, out);
            return;
        }
        uci_element *e;
        uci_foreach_element(&ptr_.p->sections, e) {
            uci_section *s = uci_to_section(e);
            if (type && s->type && std::string_view(s->type) == type)
                add_options(s, out);
        }
    }
    int set() override { return uci_set(ctx_, &ptr_); }
    int save() override
    {
        // The library's own writers take turns, as on the own store: libuci's
        // commit locks a file that a concurrent commit replaces underneath it.
        if (int rc = lock_.acquire(ptr_.package); rc != kOk)
            return ctx_->err = rc;
        // A missing stage directory (a fresh redirected root) is made, not an error.
        GStr dir = paths::resolve(kUciSaveDir);
        g_mkdir_with_parents(dir.get(), 0755);
        return uci_save(ctx_, ptr_.p);
    }
    int commit() override { return uci_commit(ctx_, &ptr_.p, false); }
    void set_error(int code) override { ctx_->err = code; }
    void perror(const char *prefix) override { uci_perror(ctx_, prefix); }

private:
    uci_context *ctx_;
    uci_ptr ptr_{};
    PackageLock lock_;
};

}  // namespace

std::unique_ptr<Backend> open_system_backend()
{
    uci_context *ctx = uci_alloc_context();
    if (!ctx)
        return nullptr;
    GStr conf = paths::resolve(paths::kUciConfigDir);
    GStr save = paths::resolve(kUciSaveDir);
    // The backend owns the context from here on.
    auto backend = std::make_unique<SystemBackend>(ctx);
    if (uci_set_confdir(ctx, conf.get()) != UCI_OK || uci_set_savedir(ctx, save.get()) != UCI_OK)
        return nullptr;
    return backend;
}

}  // namespace lumo::uci
