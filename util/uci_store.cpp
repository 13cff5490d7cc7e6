// UCI package files: parsing, writing, lookups and safe commits.
#include "util/uci_store.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/glib_ptr.hpp"
#include "core/paths.hpp"

namespace lumo::uci {

namespace {

constexpr size_t npos = std::string_view::npos;

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

// Splits the text into statements (one logical line each) of words. Words follow
// shell-like quoting: '...' is literal (and may span lines), "..." and bare words
// take backslash escapes, backslash-newline continues a line, '#' at the start of a
// word comments out the rest of the line.
class Lexer {
public:
    explicit Lexer(std::string_view text) : t_(text) {}

    // kOk with the next statement's words (possibly none), kNotFound at the end of
    // the text, kParseError on broken quoting.
    int next(std::vector<std::string> &words)
    {
        words.clear();
        if (pos_ >= t_.size())
            return kNotFound;
        for (;;) {
            while (pos_ < t_.size() && (is_blank(t_[pos_]) || continuation()))
                pos_ += continuation() ? 2 : 1;
            if (pos_ >= t_.size())
                return kOk;
            if (t_[pos_] == '\n') {
                ++pos_;
                return kOk;
            }
            if (t_[pos_] == '#') {
                while (pos_ < t_.size() && t_[pos_] != '\n')
                    ++pos_;
                continue;
            }
            std::string word;
            if (int rc = read_word(word); rc != kOk)
                return rc;
            words.push_back(std::move(word));
        }
    }

private:
    bool continuation() const { return t_[pos_] == '\\' && pos_ + 1 < t_.size() && t_[pos_ + 1] == '\n'; }

    // Backslash escape at pos_ (just after the backslash): the next character
    // stands for itself; a newline is dropped.
    bool escape(std::string &w)
    {
        if (pos_ >= t_.size())
            return false;
        char c = t_[pos_++];
        if (c != '\n')
            w += c;
        return true;
    }

    int read_word(std::string &w)
    {
        while (pos_ < t_.size() && !is_blank(t_[pos_]) && t_[pos_] != '\n') {
            char c = t_[pos_++];
            if (c == '\'') {
                size_t end = t_.find('\'', pos_);
                if (end == npos)
                    return kParseError;
                w.append(t_.substr(pos_, end - pos_));
                pos_ = end + 1;
            } else if (c == '"') {
                for (;;) {
                    if (pos_ >= t_.size())
                        return kParseError;
                    char d = t_[pos_++];
                    if (d == '"')
                        break;
                    if (d != '\\')
                        w += d;
                    else if (!escape(w))
                        return kParseError;
                }
            } else if (c == '\\') {
                if (!escape(w))
                    return kParseError;
            } else {
                w += c;
            }
        }
        return kOk;
    }

    std::string_view t_;
    size_t pos_ = 0;
};

Option *find_option(Section &s, std::string_view name)
{
    for (Option &o : s.options)
        if (o.name == name)
            return &o;
    return nullptr;
}

void set_string(Section &s, std::string_view name, std::string_view value)
{
    Option *o = find_option(s, name);
    if (!o) {
        s.options.push_back(Option{std::string(name), false, {}});
        o = &s.options.back();
    }
    o->is_list = false;
    o->values.assign(1, std::string(value));
}

// Anonymous sections get "cfg" + index byte + 16-bit hash of their contents, so that
// re-reading an unchanged file gives the same names (commits rely on that).
void name_anonymous(Package &pkg)
{
    for (size_t i = 0; i < pkg.sections.size(); ++i) {
        Section &s = pkg.sections[i];
        if (!s.anonymous)
            continue;
        uint32_t h = 2166136261u;
        auto mix = [&h](std::string_view v) {
            for (unsigned char c : v)
                h = (h ^ c) * 16777619u;
            h = (h ^ 0xff) * 16777619u;
        };
        mix(s.type);
        for (const Option &o : s.options) {
            mix(o.name);
            for (const std::string &v : o.values)
                mix(v);
        }
        for (uint32_t n = 0;; ++n) {
            char name[16];
            std::snprintf(name, sizeof name, "cfg%02x%04x", static_cast<unsigned>(i & 0xff),
                          static_cast<unsigned>(((h >> 16) ^ h ^ n) & 0xffff));
            if (!pkg.find(name)) {
                s.name = name;
                break;
            }
        }
    }
}

void append_quoted(std::string &out, std::string_view v)
{
    out += '\'';
    for (char c : v) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    out += '\'';
}

int read_file(const std::string &path, std::string &out)
{
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT ? kNotFound : kIoError;
    out.clear();
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            close(fd);
            return kIoError;
        }
        if (n == 0)
            break;
        out.append(buf, static_cast<size_t>(n));
    }
    close(fd);
    return kOk;
}

int read_package(std::string_view package, Package &pkg)
{
    std::string text;
    if (int rc = read_file(package_path(package), text); rc != kOk)
        return rc;
    return parse(text, pkg);
}

std::string config_dir()
{
    GStr dir = paths::resolve(paths::kUciConfigDir);
    return dir.get();
}

}  // namespace

// A file every service must be able to open: created 0644 whatever the caller's
// umask (which is left alone), an existing file's mode kept.
int open_shared(const std::string &path, int flags)
{
    int fd = open(path.c_str(), flags | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
        fchmod(fd, 0644);
        return fd;
    }
    if (errno != EEXIST)
        return -1;
    return open(path.c_str(), flags | O_CLOEXEC);
}

namespace {

// Exclusive lock of one package, held until destruction. A separate lock file,
// because every commit replaces the package file's inode.
class PackageLock {
public:
    PackageLock() = default;
    ~PackageLock()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    PackageLock(const PackageLock &) = delete;
    PackageLock &operator=(const PackageLock &) = delete;

    int acquire(std::string_view package)
    {
        std::string path = config_dir() + "/." + std::string(package) + ".lock";
        fd_ = open_shared(path, O_RDONLY);
        if (fd_ < 0)
            return errno == ENOENT ? kNotFound : kIoError;
        while (flock(fd_, LOCK_EX) != 0)
            if (errno != EINTR)
                return kIoError;
        return kOk;
    }

private:
    int fd_ = -1;
};

bool write_all(int fd, std::string_view data)
{
    while (!data.empty()) {
        ssize_t n = write(fd, data.data(), data.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

// Replaces a package file: temporary file in the same directory, synced, renamed
// over the old one, so readers see either the old or the new file whole.
int replace_file(std::string_view package, std::string_view content)
{
    std::string dir = config_dir();
    std::string path = package_path(package);
    struct stat st;
    mode_t mode = stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    std::string tmp = dir + "/." + std::string(package) + ".XXXXXX";
    int fd = mkostemp(tmp.data(), O_CLOEXEC);
    if (fd < 0)
        return kIoError;
    bool ok = write_all(fd, content) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
        return kIoError;
    }
    int dfd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        fsync(dfd);
        close(dfd);
    }
    return kOk;
}

int apply(Package &pkg, std::string_view section, std::string_view option, std::string_view value)
{
    Section *s = pkg.find(section);
    if (option.empty()) {
        if (!valid_type(value))
            return kInvalid;
        if (s)
            s->type = value;
        else
            pkg.sections.push_back(Section{std::string(section), std::string(value), false, {}});
        return kOk;
    }
    if (!s)
        return kNotFound;
    set_string(*s, option, value);
    return kOk;
}

// "@type[n]" -> type and n.
bool parse_extended(std::string_view sec, std::string &type, long &index)
{
    size_t open_br = sec.find('[');
    if (sec.size() < 4 || sec[0] != '@' || open_br == npos || sec.back() != ']')
        return false;
    type = sec.substr(1, open_br - 1);
    std::string num(sec.substr(open_br + 1, sec.size() - open_br - 2));
    size_t digits = (!num.empty() && num[0] == '-') ? 1 : 0;
    if (!valid_type(type) || num.size() == digits || num.size() > 9)
        return false;
    for (size_t i = digits; i < num.size(); ++i)
        if (!g_ascii_isdigit(num[i]))
            return false;
    index = std::strtol(num.c_str(), nullptr, 10);
    return true;
}

}  // namespace

const char *error_text(int code)
{
    static const char *const texts[] = {"Success",     "Out of memory", "Invalid argument", "Entry not found",
                                        "I/O error",   "Parse error",   "Duplicate entry",  "Unknown error"};
    return (code >= 0 && code < kUnknown) ? texts[code] : texts[kUnknown];
}

void print_error(const char *prefix, int code)
{
    std::fprintf(stderr, "%s: %s\n", prefix ? prefix : "uci", error_text(code));
}

std::string Option::text() const
{
    std::string out;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i > 0)
            out += ' ';
        out += values[i];
    }
    return out;
}

const Option *Section::find(std::string_view option) const
{
    for (const Option &o : options)
        if (o.name == option)
            return &o;
    return nullptr;
}

Section *Package::find(std::string_view section)
{
    for (Section &s : sections)
        if (s.name == section)
            return &s;
    return nullptr;
}

const Section *Package::find(std::string_view section) const
{
    return const_cast<Package *>(this)->find(section);
}

bool valid_name(std::string_view s)
{
    if (s.empty())
        return false;
    for (char c : s)
        if (!g_ascii_isalnum(c) && c != '_')
            return false;
    return true;
}

bool valid_type(std::string_view s)
{
    if (s.empty())
        return false;
    for (char c : s)
        if (!g_ascii_isalnum(c) && c != '_' && c != '-')
            return false;
    return true;
}

int parse(std::string_view text, Package &pkg)
{
    pkg.sections.clear();
    if (text.find('\0') != npos)
        return kParseError;
    Lexer lex(text);
    std::vector<std::string> w;
    Section *cur = nullptr;
    for (;;) {
        int rc = lex.next(w);
        if (rc == kNotFound)
            break;
        if (rc != kOk)
            return rc;
        if (w.empty())
            continue;
        if (w[0] == "package") {
            // Names the package in multi-package exports; the file name decides here.
            if (w.size() != 2 || !valid_name(w[1]))
                return kParseError;
            cur = nullptr;
        } else if (w[0] == "config") {
            if (w.size() < 2 || w.size() > 3 || !valid_type(w[1]))
                return kParseError;
            bool named = w.size() == 3 && !w[2].empty();
            if (named && !valid_name(w[2]))
                return kParseError;
            // A repeated named section continues the first one.
            cur = named ? pkg.find(w[2]) : nullptr;
            if (cur) {
                cur->type = w[1];
            } else {
                pkg.sections.push_back(Section{named ? w[2] : std::string(), w[1], !named, {}});
                cur = &pkg.sections.back();
            }
        } else if (w[0] == "option" || w[0] == "list") {
            if (!cur || w.size() != 3 || !valid_name(w[1]))
                return kParseError;
            if (w[0] == "option") {
                set_string(*cur, w[1], w[2]);
                continue;
            }
            Option *o = find_option(*cur, w[1]);
            if (!o) {
                cur->options.push_back(Option{w[1], true, {}});
                o = &cur->options.back();
            }
            o->is_list = true;
            o->values.push_back(std::move(w[2]));
        } else {
            return kParseError;
        }
    }
    name_anonymous(pkg);
    return kOk;
}

std::string serialize(const Package &pkg)
{
    std::string out;
    for (const Section &s : pkg.sections) {
        out += "\nconfig ";
        out += s.type;  // a valid type needs no quoting
        if (!s.anonymous) {
            out += ' ';
            append_quoted(out, s.name);
        }
        out += '\n';
        for (const Option &o : s.options) {
            for (const std::string &v : o.values) {
                out += o.is_list ? "\tlist " : "\toption ";
                out += o.name;
                out += ' ';
                append_quoted(out, v);
                out += '\n';
            }
        }
    }
    out += '\n';
    return out;
}

std::string package_path(std::string_view package)
{
    return config_dir() + "/" + std::string(package);
}

Context::Context() = default;
Context::~Context() = default;

Context::Loaded *Context::find_loaded(std::string_view package)
{
    for (auto &l : loaded_)
        if (l->name == package)
            return l.get();
    return nullptr;
}

int Context::lookup(std::string_view expr, Ptr &ptr)
{
    ptr = Ptr{};
    size_t eq = expr.find('=');
    if (eq != npos) {
        ptr.has_value = true;
        ptr.value = expr.substr(eq + 1);
        expr = expr.substr(0, eq);
    }
    std::string_view parts[3];
    size_t nparts = 0;
    for (;;) {
        size_t dot = expr.find('.');
        if (nparts == 3)
            return fail(kInvalid);
        parts[nparts++] = expr.substr(0, dot);
        if (dot == npos)
            break;
        expr.remove_prefix(dot + 1);
    }
    ptr.kind = static_cast<Ptr::Kind>(nparts - 1);
    ptr.package = parts[0];
    ptr.option = parts[2];
    std::string ext_type;
    long index = 0;
    bool extended = nparts > 1 && parts[1].starts_with('@');
    if (!valid_name(ptr.package) || (nparts > 1 && !extended && !valid_name(parts[1])) ||
        (extended && !parse_extended(parts[1], ext_type, index)) || (nparts > 2 && !valid_name(ptr.option)))
        return fail(kInvalid);

    Loaded *l = find_loaded(ptr.package);
    if (!l) {
        auto fresh = std::make_unique<Loaded>();
        fresh->name = ptr.package;
        if (int rc = read_package(ptr.package, fresh->pkg); rc != kOk)
            return fail(rc);
        loaded_.push_back(std::move(fresh));
        l = loaded_.back().get();
    }
    ptr.p = &l->pkg;
    if (nparts > 1) {
        if (extended) {
            std::vector<const Section *> typed;
            for (const Section &s : l->pkg.sections)
                if (s.type == ext_type)
                    typed.push_back(&s);
            if (index < 0)
                index += static_cast<long>(typed.size());
            if (index < 0 || index >= static_cast<long>(typed.size()))
                return fail(kNotFound);
            ptr.s = typed[static_cast<size_t>(index)];
            ptr.section = ptr.s->name;
        } else {
            ptr.section = parts[1];
            ptr.s = l->pkg.find(ptr.section);
        }
    }
    if (nparts > 2 && ptr.s)
        ptr.o = ptr.s->find(ptr.option);
    ptr.complete = nparts == 1 || (nparts == 2 && ptr.s) || (nparts == 3 && ptr.o);
    return kOk;
}

int Context::set(const Ptr &ptr)
{
    Loaded *l = find_loaded(ptr.package);
    if (!l || !ptr.has_value || ptr.kind == Ptr::Kind::kPackage)
        return fail(kInvalid);
    // An option needs its section; a section's value is its type.
    if (ptr.kind == Ptr::Kind::kOption ? !l->pkg.find(ptr.section) : !valid_type(ptr.value))
        return fail(kInvalid);
    if (int rc = apply(l->pkg, ptr.section, ptr.option, ptr.value); rc != kOk)
        return fail(rc);
    l->changes.push_back(Change{ptr.section, ptr.option, ptr.value});
    return kOk;
}

int Context::commit(std::string_view package)
{
    Loaded *l = find_loaded(package);
    if (!l)
        return fail(kNotFound);
    if (l->changes.empty())
        return kOk;
    PackageLock lock;
    if (int rc = lock.acquire(package); rc != kOk)
        return fail(rc);
    // Another process may have committed since we read the file: start from what
    // is there now and replay only our own changes.
    Package current;
    if (int rc = read_package(package, current); rc != kOk)
        return fail(rc);
    for (const Change &c : l->changes)
        if (int rc = apply(current, c.section, c.option, c.value); rc != kOk)
            return fail(rc);
    if (int rc = replace_file(package, serialize(current)); rc != kOk)
        return fail(rc);
    l->pkg = std::move(current);
    l->changes.clear();
    return kOk;
}

int delete_lines_containing(const char *package, const char *needle)
{
    if (!package || !needle || !valid_name(package) || !*needle || std::strchr(needle, '\n'))
        return kInvalid;
    PackageLock lock;
    if (int rc = lock.acquire(package); rc != kOk)
        return rc;
    std::string text;
    if (int rc = read_file(package_path(package), text); rc != kOk)
        return rc;
    Package check;
    if (parse(text, check) != kOk)
        return kParseError;
    std::string kept;
    for (size_t start = 0; start < text.size();) {
        size_t nl = text.find('\n', start);
        size_t end = nl == npos ? text.size() : nl + 1;
        std::string_view line(text.data() + start, end - start);
        if (line.find(needle) == npos)
            kept.append(line);
        start = end;
    }
    if (kept.size() == text.size())
        return kOk;
    // Never leave behind a file that no longer parses (a line cut out of a
    // multi-line value, say).
    if (parse(kept, check) != kOk)
        return kParseError;
    return replace_file(package, kept);
}

}  // namespace lumo::uci
