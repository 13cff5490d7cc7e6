// UCI package files: parsing, writing, lookups and safe commits.
#include "util/uci_store.hpp"

#include <algorithm>
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

// Anonymous sections are named as the platform's library names them: "cfg", the
// section's 1-based position in the file and a 16-bit djb2 hash of its type, so that
// staged changes written by other programs find the sections they name.
std::string anonymous_name(size_t position, std::string_view type)
{
    uint32_t h = 5381;
    for (unsigned char c : type)
        h = h * 33 + c;
    char name[24];
    std::snprintf(name, sizeof name, "cfg%02zx%04x", position, static_cast<unsigned>(h & 0xffff));
    return name;
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

// A file descriptor closed on destruction.
class Fd {
public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// Locks a file (flock, exclusive), as every UCI writer does.
bool lock_fd(int fd)
{
    while (flock(fd, LOCK_EX) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

int read_fd(int fd, std::string &out)
{
    out.clear();
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return kIoError;
        if (n == 0)
            return kOk;
        out.append(buf, static_cast<size_t>(n));
    }
}

int read_file(const std::string &path, std::string &out)
{
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT ? kNotFound : kIoError;
    int rc = read_fd(fd, out);
    close(fd);
    return rc;
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

}  // namespace

PackageLock::~PackageLock()
{
    if (fd_ >= 0)
        close(fd_);
}

int PackageLock::acquire(std::string_view package)
{
    std::string path = config_dir() + "/." + std::string(package) + ".lock";
    fd_ = open_shared(path, O_RDONLY);
    if (fd_ < 0)
        return errno == ENOENT ? kNotFound : kIoError;
    return lock_fd(fd_) ? kOk : kIoError;
}

namespace {

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

void delete_option(Section &s, std::string_view name)
{
    std::erase_if(s.options, [name](const Option &o) { return o.name == name; });
}

void delete_section(Package &pkg, std::string_view name)
{
    std::erase_if(pkg.sections, [name](const Section &s) { return s.name == name; });
}

// One staged change as a line of the save directory's file:
// "[cmd]package.section[.option][='value']", cmd one of - + | ~ @ ^ (none: set).
struct Delta {
    char cmd = 0;
    std::string section, option, value;
    bool has_value = false;
};

std::string delta_line(std::string_view package, const Delta &d)
{
    std::string line;
    if (d.cmd)
        line += d.cmd;
    line.append(package).append(".").append(d.section);
    if (!d.option.empty())
        line.append(".").append(d.option);
    if (d.has_value) {
        line += '=';
        append_quoted(line, d.value);
    }
    line += '\n';
    return line;
}

// One lexed line of a save file; false for lines of another package or malformed.
bool parse_delta(std::string_view package, const std::vector<std::string> &words, Delta &d)
{
    if (words.size() != 1)
        return false;
    std::string_view w = words[0];
    if (!w.empty() && std::strchr("-+|~@^", w[0])) {
        d.cmd = w[0];
        w.remove_prefix(1);
    }
    if (size_t eq = w.find('='); eq != npos) {
        d.has_value = true;
        d.value = w.substr(eq + 1);
        w = w.substr(0, eq);
    }
    size_t dot = w.find('.');
    if (dot == npos || w.substr(0, dot) != package)
        return false;
    w.remove_prefix(dot + 1);
    dot = w.find('.');
    d.section = w.substr(0, dot);
    if (dot != npos)
        d.option = w.substr(dot + 1);
    return valid_name(d.section) && (dot == npos || valid_name(d.option));
}

// Applies one staged change the way the platform's library replays it: a change
// that no longer fits (its section gone, say) is skipped; an empty value deletes.
void apply_delta(Package &pkg, const Delta &d)
{
    Section *s = pkg.find(d.section);
    Option *o = s && !d.option.empty() ? find_option(*s, d.option) : nullptr;
    bool whole = d.option.empty();
    switch (d.cmd) {
    case 0:
    case '+':
        if (!d.has_value || d.value.empty()) {
            if (d.has_value && whole)
                delete_section(pkg, d.section);
            else if (d.has_value && s)
                delete_option(*s, d.option);
        } else if (whole && s) {
            // A retyped section keeps its generated name, written out from now on.
            s->type = d.value;
            s->anonymous = false;
        } else if (whole) {
            pkg.sections.push_back(Section{d.section, d.value, d.cmd == '+', {}});
        } else if (s) {
            set_string(*s, d.option, d.value);
        }
        break;
    case '-':
        if (whole)
            delete_section(pkg, d.section);
        else if (s)
            delete_option(*s, d.option);
        break;
    case '|':
        if (!s || whole || !d.has_value)
            break;
        if (!o) {
            s->options.push_back(Option{d.option, true, {}});
            o = &s->options.back();
        }
        o->is_list = true;
        o->values.push_back(d.value);
        break;
    case '~':
        if (o && o->is_list) {
            std::erase(o->values, d.value);
            if (o->values.empty())
                delete_option(*s, d.option);
        }
        break;
    case '@':
        if (!s || !valid_name(d.value))
            break;
        if (whole && !pkg.find(d.value)) {
            s->name = d.value;
            s->anonymous = false;
        } else if (o && !find_option(*s, d.value)) {
            o->name = d.value;
        }
        break;
    case '^':
        if (s && whole && !d.value.empty() && std::all_of(d.value.begin(), d.value.end(), [](char c) { return g_ascii_isdigit(c); })) {
            size_t to = std::min<size_t>(std::strtoul(d.value.c_str(), nullptr, 10), pkg.sections.size() - 1);
            size_t from = static_cast<size_t>(s - pkg.sections.data());
            Section moved = std::move(*s);
            pkg.sections.erase(pkg.sections.begin() + static_cast<long>(from));
            pkg.sections.insert(pkg.sections.begin() + static_cast<long>(to), std::move(moved));
        }
        break;
    }
}

// Replays a save file's text; unreadable lines are skipped, as the platform does.
void apply_deltas(Package &pkg, std::string_view package, std::string_view text)
{
    Lexer lex(text);
    std::vector<std::string> words;
    while (lex.next(words) == kOk) {
        Delta d;
        if (parse_delta(package, words, d))
            apply_delta(pkg, d);
    }
}

std::string save_dir()
{
    GStr dir = paths::resolve(kUciSaveDir);
    return dir.get();
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

// Files may hold any printable type; writes stay with valid_type().
bool readable_type(std::string_view s)
{
    return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return g_ascii_isgraph(c); });
}

int parse(std::string_view text, Package &pkg)
{
    pkg.sections.clear();
    if (text.find('\0') != npos)
        return kParseError;
    Lexer lex(text);
    std::vector<std::string> w;
    Section *cur = nullptr;
    size_t position = 0;
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
            if (w.size() < 2 || w.size() > 3 || !readable_type(w[1]))
                return kParseError;
            bool named = w.size() == 3 && !w[2].empty();
            if (named && !valid_name(w[2]))
                return kParseError;
            // A repeated named section continues the first one.
            cur = named ? pkg.find(w[2]) : nullptr;
            if (cur) {
                cur->type = w[1];
            } else {
                ++position;
                pkg.sections.push_back(Section{named ? w[2] : anonymous_name(position, w[1]), w[1], !named, {}});
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
    return kOk;
}

std::string serialize(const Package &pkg)
{
    std::string out;
    for (const Section &s : pkg.sections) {
        out += "\nconfig ";
        // A valid type is written bare, as every UCI writer does; another type a file
        // held (a quote in it, say) is quoted so that the file still reads back.
        if (valid_type(s.type))
            out += s.type;
        else
            append_quoted(out, s.type);
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
        // Changes staged by other programs ("uci set" without a commit) count.
        std::string staged;
        if (read_file(save_dir() + "/" + ptr.package, staged) == kOk)
            apply_deltas(fresh->pkg, ptr.package, staged);
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
    // Setting what is already there stages nothing (a one-item list still changes).
    const Section *s = l->pkg.find(ptr.section);
    const Option *o = s && ptr.kind == Ptr::Kind::kOption ? s->find(ptr.option) : nullptr;
    if (o ? !o->is_list && o->values[0] == ptr.value : ptr.kind == Ptr::Kind::kSection && s && s->type == ptr.value)
        return kOk;
    Delta d{0, ptr.section, ptr.option, ptr.value, true};
    if (d.value.empty()) {
        // Setting an option empty deletes it; nothing to stage when it is not there.
        if (!o)
            return kOk;
        d = Delta{'-', ptr.section, ptr.option, {}, false};
    }
    apply_delta(l->pkg, d);
    l->pending += delta_line(ptr.package, d);
    return kOk;
}

int Context::save(std::string_view package)
{
    Loaded *l = find_loaded(package);
    if (!l)
        return fail(kNotFound);
    // The directory is made even with nothing to stage, as a libuci write makes it.
    std::string dir = save_dir();
    if (g_mkdir_with_parents(dir.c_str(), 0755) != 0)
        return fail(kIoError);
    if (l->pending.empty())
        return kOk;
    int fd = open_shared(dir + "/" + std::string(package), O_WRONLY | O_APPEND);
    if (fd < 0)
        return fail(kIoError);
    bool ok = lock_fd(fd) && write_all(fd, l->pending);
    ok = close(fd) == 0 && ok;
    if (!ok)
        return fail(kIoError);
    l->pending.clear();
    return kOk;
}

int Context::commit(std::string_view package)
{
    Loaded *l = find_loaded(package);
    if (!l)
        return fail(kNotFound);
    if (int rc = save(package); rc != kOk)
        return rc;
    PackageLock lock;
    if (int rc = lock.acquire(package); rc != kOk)
        return fail(rc);
    // Every change staged for the package goes in, not only this context's: the
    // platform's library commits a package that way. The file as it is now (others
    // may have committed since we read it) plus the staged changes, then the
    // stage is emptied. Locks in the platform's order: the package file, then its
    // stage.
    Fd file(open(package_path(package).c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0)
        return fail(errno == ENOENT ? kNotFound : kIoError);
    std::string current_text;
    if (!lock_fd(file.get()) || read_fd(file.get(), current_text) != kOk)
        return fail(kIoError);
    int sfd = open((save_dir() + "/" + std::string(package)).c_str(), O_RDWR | O_CLOEXEC);
    if (sfd < 0)
        return errno == ENOENT ? kOk : fail(kIoError);
    Fd staged(sfd);
    std::string text;
    if (!lock_fd(staged.get()) || read_fd(staged.get(), text) != kOk)
        return fail(kIoError);
    if (text.empty())
        return kOk;
    Package current;
    if (int rc = parse(current_text, current); rc != kOk)
        return fail(rc);
    apply_deltas(current, package, text);
    if (int rc = replace_file(package, serialize(current)); rc != kOk)
        return fail(rc);
    if (ftruncate(staged.get(), 0) != 0)
        return fail(kIoError);
    l->pkg = std::move(current);
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
