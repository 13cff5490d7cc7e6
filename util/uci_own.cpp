// The UCI steps over the library's own store.

#include "util/uci_backend.hpp"
#include "util/uci_store.hpp"

namespace lumo::uci {

namespace {

class OwnBackend final : public Backend {
public:
    int lookup(char *expr) override { return ctx_.lookup(expr, ptr_); }
    bool complete() const override { return ptr_.complete; }
    bool is_package() const override { return ptr_.kind == Ptr::Kind::kPackage; }
    bool has_section() const override { return ptr_.s != nullptr; }
    std::string option_text() const override { return ptr_.o ? ptr_.o->text() : std::string(); }
    void entries(const char *type, std::vector<Entry> &out) const override
    {
        auto add = [&out](const Section &s) {
            for (const Option &o : s.options)
                out.push_back(Entry{o.name, o.text()});
        };
        if (!is_package()) {
            add(*ptr_.s);
            return;
        }
        for (const Section &s : ptr_.p->sections)
            if (type && s.type == type)
                add(s);
    }
    int set() override { return ctx_.set(ptr_); }
    int save() override { return ctx_.save(ptr_.package); }
    int commit() override { return ctx_.commit(ptr_.package); }
    void set_error(int code) override { ctx_.set_error(code); }
    void perror(const char *prefix) override { ctx_.perror(prefix); }

private:
    Context ctx_;
    Ptr ptr_;
};

}  // namespace

std::unique_ptr<Backend> open_own_backend()
{
    return std::make_unique<OwnBackend>();
}

}  // namespace lumo::uci
