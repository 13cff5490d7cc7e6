// lumoctl: reads and changes the gateway's objects and runs its commands from the
// command line, through liblumo3's public functions. The command tree is built from
// the registry; records are printed and parsed through their record tables.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <functional>
#include <list>
#include <memory>

#include <CLI/CLI.hpp>
#include <glib.h>
#include <syslog.h>

#include "gateway/wifi_tables.hpp"
#include "lumo3.h"
#include "tools/lumoctl/app.hpp"
#include "tools/lumoctl/capture.hpp"
#include "tools/lumoctl/gateway.hpp"
#include "tools/lumoctl/generate.hpp"
#include "tools/lumoctl/registry.hpp"
#include "tools/lumoctl/suggest.hpp"

namespace lumoctl {
namespace {

constexpr const char *kExitCodes = R"(Exit status:
  0  success
  2  refused: usage error, unknown field, malformed value, a value the library
     refuses, a destructive command without --yes (nothing is sent)
  3  gateway or bus failure: bus not reachable, gateway absent, call failed,
     time-out, non-zero result word)";

struct Options {
    bool json = false;
    unsigned timeout = 30;
    std::string address;
    std::string root;
    std::string password_file;  // "-" or empty: standard input
};

// The first line of the password file (or of standard input).
std::string read_password(const Options &o, const std::string &what)
{
    const bool from_stdin = o.password_file.empty() || o.password_file == "-";
    FILE *fp = from_stdin ? stdin : std::fopen(o.password_file.c_str(), "r");
    if (!fp)
        throw Failure{kExitRefused, "cannot read the password file " + o.password_file};
    std::string line;
    for (int c; (c = std::fgetc(fp)) != EOF && c != '\n';)
        line += static_cast<char>(c);
    const bool got = !line.empty() || !std::feof(fp);
    if (!from_stdin)
        std::fclose(fp);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    if (!got)
        throw Failure{kExitRefused, what + ": give the password on standard input or with --password-file"};
    return line;
}

// NAME=VALUE words with the password fields filled from the password source: a
// password field is named bare ("Password"), never given a value on the command line.
std::vector<std::string> with_passwords(const std::vector<std::string> &words, const Options &o)
{
    std::vector<std::string> out;
    for (const std::string &w : words) {
        const size_t eq = w.find('=');
        const std::string name = w.substr(0, eq);
        if (!is_password(name) || (!w.empty() && w[0] == '/')) {
            out.push_back(w);
            continue;
        }
        if (eq != std::string::npos)
            throw Failure{kExitRefused, name + ": passwords are not taken from the command line; name the field "
                                               "alone and give the value on standard input or with --password-file"};
        out.push_back(name + "=" + read_password(o, name));
    }
    return out;
}

// What one verb of one object was given on the command line.
struct VerbArgs {
    std::string layout;
    std::string path;
    std::vector<std::string> words;
    std::array<std::string, 4> args;  // a command's positional arguments
    std::array<std::string, 4> key_values;
    std::array<bool, 4> key_flags{};
    bool yes = false;
};

using Action = std::function<int(BusLink &)>;

struct Record {
    explicit Record(const RecordTable &t) : table(t), data(g_malloc0(t.record_size)) {}
    ~Record()
    {
        release_lists(table, data);
        g_free(data);
    }
    Record(const Record &) = delete;
    Record &operator=(const Record &) = delete;
    const RecordTable &table;
    void *data;
};

std::string owned(char *text)
{
    std::string out = text ? text : "";
    g_free(text);
    return out;
}

OvanObjPath_t object_path(const std::string &text)
{
    OvanObjPath_t p{};
    if (text.empty() || text.size() >= sizeof p.str)
        throw Failure{kExitRefused, "object path must have 1 to 255 characters"};
    std::memcpy(p.str, text.data(), text.size());
    return p;
}

const Entry &layout_of(const std::string &object, const std::string &layout)
{
    for (const Entry &e : entries())
        if (object == e.object && layout == e.layout)
            return e;
    throw Failure{kExitRefused, object + " has no layout '" + layout + "'"};
}

std::string name_of(const Entry &e)
{
    return *e.layout ? std::string(e.object) + " (" + e.layout + ")" : std::string(e.object);
}

// A failed library call: the gateway has no WiFi, refused arguments, a non-zero
// result word or a bus failure.
// What a capability guard of the library lacks when it answers 1, or null.
template <typename T>
const char *gate(const T &x)
{
    return x.wifi ? "WiFi" : x.usb ? "USB storage" : nullptr;
}

void check(BusLink &link, const BusLink::Mark &m, int32_t rc, const std::string &what, const char *gate,
           const CommandResult *result = nullptr, const char *option = nullptr)
{
    if (rc == 0)
        return;
    if (gate && rc == 1)
        throw Failure{kExitGateway, what + ": the gateway has no " + gate};
    if (link.refused_since(m))
        throw Failure{kExitRefused, what + ": " + link.refusal_since(m, option)};
    if (result && result->has_status && result->status != 0 && !link.errors_since(m))
        throw Failure{kExitGateway, what + ": the gateway answered " + std::to_string(result->status) +
                                        (result->message.empty() ? "" : ": " + result->message)};
    link.failed(m, what);
}

// WiFi functions ask the gateway about WiFi once per process before doing anything;
// asking first keeps that traffic apart from the call that follows, so a refusal is
// still recognised as one.
void wifi_guard(BusLink &link)
{
    Record rec(lumo::gw::wifi::kWiFiInfoTable);
    auto m = link.mark();
    check(link, m, OvanGetWiFiInfo(static_cast<OvanWiFiInfo_t *>(rec.data)), "WiFi capability check", "WiFi");
}

// Fills rec with the instance named by a path or by one of the entry's keys.
void load_instance(BusLink &link, const Entry &e, const VerbArgs &va, const std::string &path, Record &rec)
{
    int chosen = -1, given = 0;
    for (size_t i = 0; i < e.keys.size(); ++i)
        if (e.keys[i].flag ? va.key_flags[i] : !va.key_values[i].empty())
            chosen = int(i), ++given;
    if (given + !path.empty() != 1) {
        std::string keys;
        for (const Key &k : e.keys)
            keys += std::string(" or --") + k.option;
        throw Failure{kExitRefused, "name one " + std::string(e.object) + ": give PATH" + keys};
    }
    auto m = link.mark();
    if (chosen < 0) {
        check(link, m, e.get_at(object_path(path), rec.data), "get " + name_of(e) + " " + path, gate(e));
        return;
    }
    const Key &k = e.keys[size_t(chosen)];
    CommandResult r;
    char *message = nullptr;
    int32_t rc = k.fn(k.flag ? nullptr : va.key_values[size_t(chosen)].c_str(), rec.data, &r.status, &message);
    r.message = owned(message);
    check(link, m, rc, "get " + name_of(e) + " by " + k.option, gate(e), &r, k.option);
}

void print_line(bool json, const Json &value, const std::string &text)
{
    if (json)
        std::printf("%s\n", value.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
    else
        std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

int do_list(BusLink &link, const Entry &e, const VerbArgs &va, const Options &o)
{
    void *objs = nullptr;
    uint32_t count = 0;
    CommandResult r;
    char *message = nullptr;
    auto m = link.mark();
    int32_t rc = e.list_at ? e.list_at(object_path(va.path), &objs, &count, &r.status, &message)
                           : e.list(&objs, &count, &r.status, &message);
    r.message = owned(message);
    std::unique_ptr<void, void (*)(void *)> hold(objs, g_free);
    // The online lists hand out what the gateway sent even with a non-zero word.
    if (objs || rc == 0)
        print_records(*e.table, objs, objs ? count : 0, true, o.json);
    release_lists(*e.table, objs, objs ? count : 0);
    check(link, m, rc, "list " + name_of(e), gate(e), &r);
    return 0;
}

int do_get(BusLink &link, const Entry &e, const VerbArgs &va, const Options &o)
{
    Record rec(*e.table);
    if (e.get) {
        auto m = link.mark();
        check(link, m, e.get(rec.data), "get " + name_of(e), gate(e));
    } else {
        load_instance(link, e, va, va.path, rec);
    }
    print_records(*e.table, rec.data, 1, false, o.json);
    return 0;
}

void report_update(const Options &o, const char *verb, const char *path, const Given &given)
{
    Json names = Json::array();
    std::string text = std::string(verb) + " " + path;
    for (size_t i = 0; i < given.size(); ++i) {
        names.push_back(given[i]->name);
        text += (i ? ", " : ": ") + std::string(given[i]->name);
    }
    print_line(o.json, Json{{"path", path}, {verb, names}}, text);
}

int do_set(BusLink &link, const Entry &e, const VerbArgs &va, const Options &o)
{
    std::vector<std::string> words = with_passwords(va.words, o);
    std::string path;
    if (!e.set && !words.empty() && !words.front().empty() && words.front()[0] == '/') {
        path = words.front();
        words.erase(words.begin());
    }
    if (words.empty())
        throw Failure{kExitRefused, "set " + std::string(e.object) + ": give NAME=VALUE pairs"};
    {
        // Refuse malformed input before anything is read or sent.
        Record scratch(*e.table);
        assign_fields(*e.table, e.writable, scratch.data, words);
    }
    Record rec(*e.table);
    if (e.set) {
        auto m = link.mark();
        check(link, m, e.get(rec.data), "get " + name_of(e), gate(e));
    } else {
        load_instance(link, e, va, path, rec);
    }
    Given given = assign_fields(*e.table, e.writable, rec.data, words);
    auto m = link.mark();
    int32_t rc = e.set ? e.set(rec.data, given) : e.set_at(object_path(record_path(rec.data)), rec.data);
    check(link, m, rc, "set " + name_of(e), gate(e));
    report_update(o, "updated", record_path(rec.data), given);
    return 0;
}

int do_add(BusLink &link, const Entry &e, const VerbArgs &va, const Options &o)
{
    std::vector<std::string> words = va.words;
    std::string parent;
    if (e.add_at) {
        if (words.empty() || words.front().empty() || words.front()[0] != '/')
            throw Failure{kExitRefused, "add " + std::string(e.object) + ": give PARENT, then NAME=VALUE pairs"};
        parent = words.front();
        words.erase(words.begin());
    }
    Record rec(*e.table);
    assign_fields(*e.table, e.writable, rec.data, with_passwords(words, o));
    if (e.wifi)
        wifi_guard(link);
    auto m = link.mark();
    check(link, m, e.add_at ? e.add_at(object_path(parent), rec.data) : e.add(rec.data), "add " + name_of(e), gate(e));
    print_line(o.json, Json{{"path", record_path(rec.data)}, {"added", true}},
               std::string("added ") + record_path(rec.data));
    return 0;
}

int do_delete(BusLink &link, const Entry &e, const VerbArgs &va, const Options &o)
{
    if (!va.yes)
        throw Failure{kExitRefused, std::string(e.object) + " delete removes an object: add --yes to run it"};
    if (e.wifi)
        wifi_guard(link);
    std::string path = va.path;
    bool keyed = false;
    for (size_t i = 0; i < e.keys.size(); ++i)
        keyed |= e.keys[i].flag ? va.key_flags[i] : !va.key_values[i].empty();
    if (keyed || path.empty()) {
        Record rec(*e.table);
        load_instance(link, e, va, path, rec);
        path = record_path(rec.data);
    }
    auto m = link.mark();
    check(link, m, e.del(object_path(path)), "delete " + name_of(e) + " " + path, gate(e));
    print_line(o.json, Json{{"path", path}, {"deleted", true}}, "deleted " + path);
    return 0;
}

int do_command(BusLink &link, const Command &c, const VerbArgs &va, const Options &o)
{
    std::string what = std::string(c.object) + " " + c.name;
    if (c.destructive && !va.yes)
        throw Failure{kExitRefused, what + " is destructive: add --yes to run it"};
    if (c.wifi)
        wifi_guard(link);
    CommandResult r;
    auto m = link.mark();
    std::vector<std::string> args(va.args.begin(), va.args.begin() + std::min(c.args.size(), va.args.size()));
    for (size_t i = 0; i < args.size(); ++i) {
        if (is_password(c.args[i]))
            args[i] = read_password(o, what);
        require_utf8(args[i], c.args[i]);
    }
    int32_t rc = c.run(args, r);
    if (!link.refused_since(m) && !(gate(c) && rc == 1)) {
        Json out = Json::object();
        std::string text;
        if (r.has_status) {
            out["status"] = r.status;
            out["message"] = r.message;
            text = "status   " + std::to_string(r.status) + "\nmessage  " + r.message;
        }
        if (!r.result.empty() || !r.has_status) {
            out["result"] = r.result;
            text += (text.empty() ? "" : "\n") + std::string("result   ") + r.result;
        }
        print_line(o.json, out, text);
    }
    check(link, m, rc, what, gate(c), &r);
    return 0;
}

// The registry's objects in listing order.
std::vector<std::string> object_names()
{
    std::vector<std::string> objects;
    auto note = [&](const char *name) {
        if (std::find(objects.begin(), objects.end(), name) == objects.end())
            objects.emplace_back(name);
    };
    for (const Entry &e : entries())
        note(e.object);
    for (const Command &c : commands())
        note(c.object);
    return objects;
}

const Entry *base_entry(const std::string &object)
{
    for (const Entry &e : entries())
        if (object == e.object && !*e.layout)
            return &e;
    return nullptr;
}

// One subcommand per object, one sub-subcommand per verb it supports. Only `only`
// gets its verbs (building them all is most of a start-up); "" lists every object
// with its help line alone, for the full --help.
void build_tree(CLI::App &app, Options &opt, Action &action, std::list<VerbArgs> &store, const std::string &only)
{
    for (const std::string &object : object_names()) {
        if (only.empty()) {
            const Entry *e = base_entry(object);
            app.add_subcommand(object, e ? e->help : command_object_help(object));
            continue;
        }
        if (object != only)
            continue;
        const Entry *base = nullptr;
        std::vector<std::string> layouts;
        for (const Entry &e : entries())
            if (object == e.object) {
                if (!*e.layout)
                    base = &e;
                layouts.emplace_back(*e.layout ? e.layout : "default");
            }
        CLI::App *sub = app.add_subcommand(object, base ? base->help : command_object_help(object));
        sub->fallthrough();

        auto verb = [&](const char *name, const std::string &help) {
            CLI::App *v = sub->add_subcommand(name, help);
            v->fallthrough();
            store.emplace_back();
            return std::pair<CLI::App *, VerbArgs *>(v, &store.back());
        };
        auto add_layout = [&](CLI::App *v, VerbArgs *va) {
            if (layouts.size() > 1)
                v->add_option("--layout", va->layout, "record layout")->check(CLI::IsMember(layouts));
        };
        auto add_keys = [&](CLI::App *v, VerbArgs *va, bool path) {
            if (path)
                v->add_option("PATH", va->path, "object path of the instance");
            for (size_t i = 0; i < base->keys.size() && i < va->key_values.size(); ++i) {
                const Key &k = base->keys[i];
                if (k.flag)
                    v->add_flag(std::string("--") + k.option, va->key_flags[i], k.help);
                else
                    v->add_option(std::string("--") + k.option, va->key_values[i], k.help);
            }
        };
        auto chosen = [object](const VerbArgs *va) -> const Entry & {
            return layout_of(object, va->layout == "default" ? "" : va->layout);
        };

        if (base && (base->list || base->list_at)) {
            auto [v, va] = verb("list", "list every instance as " + std::string(base->table->record_name));
            add_layout(v, va);
            if (base->list_at)
                v->add_option("PARENT", va->path, "collection path (below an instance of another)")->required();
            v->callback([&opt, &action, va, chosen] {
                action = [&opt, va, chosen](BusLink &l) { return do_list(l, chosen(va), *va, opt); };
            });
        }
        if (base && (base->get || base->get_at)) {
            auto [v, va] = verb("get", base->get ? "read it as " + std::string(base->table->record_name)
                                                 : "read one instance as " + std::string(base->table->record_name));
            add_layout(v, va);
            if (base->get_at)
                add_keys(v, va, true);
            v->callback([&opt, &action, va, chosen] {
                action = [&opt, va, chosen](BusLink &l) { return do_get(l, chosen(va), *va, opt); };
            });
        }
        if (base && !base->writable.empty() && (base->set || base->set_at)) {
            auto [v, va] = verb("set", base->set ? "change fields (NAME=VALUE ...)"
                                                 : "change fields of one instance ([PATH] NAME=VALUE ...)");
            v->add_option(base->set ? "FIELDS" : "ARGS", va->words, base->set ? "NAME=VALUE ..." : "[PATH] NAME=VALUE ...")
                ->required();
            if (base->set_at)
                add_keys(v, va, false);  // the path, if given, leads the ARGS
            v->footer("Writable fields:\n" + describe_fields(base->writable) + "\n" + kExitCodes);
            v->callback([&opt, &action, va, base] {
                action = [&opt, va, base](BusLink &l) { return do_set(l, *base, *va, opt); };
            });
        }
        if (base && (base->add || base->add_at)) {
            auto [v, va] = verb("add", base->add_at ? "create an instance in PARENT (PARENT NAME=VALUE ...) and print its path"
                                                    : "create an instance (NAME=VALUE ...) and print its path");
            v->add_option(base->add_at ? "ARGS" : "FIELDS", va->words,
                          base->add_at ? "PARENT NAME=VALUE ..." : "NAME=VALUE ...")
                ->required();
            v->footer("Fields:\n" + describe_fields(base->writable) + "\n" + kExitCodes);
            v->callback([&opt, &action, va, base] {
                action = [&opt, va, base](BusLink &l) { return do_add(l, *base, *va, opt); };
            });
        }
        if (base && base->del) {
            auto [v, va] = verb("delete", "delete one instance (needs --yes)");
            add_keys(v, va, true);
            v->add_flag("--yes", va->yes, "really delete it");
            v->callback([&opt, &action, va, base] {
                action = [&opt, va, base](BusLink &l) { return do_delete(l, *base, *va, opt); };
            });
        }
        for (const Command &c : commands()) {
            if (object != c.object)
                continue;
            auto [v, va] = verb(c.name, std::string(c.help) + (c.destructive ? " (needs --yes)" : ""));
            std::string password_note;
            for (size_t i = 0; i < c.args.size() && i < va->args.size(); ++i) {
                if (is_password(c.args[i]))
                    password_note = std::string(c.args[i]) + " is read from --password-file or standard input.\n\n";
                else
                    v->add_option(c.args[i], va->args[i], c.args[i])->required();
            }
            if (c.destructive)
                v->add_flag("--yes", va->yes, "really run it");
            v->footer(password_note + "Prints the gateway's result word and message.\n\n" + kExitCodes);
            const Command *cmd = &c;
            v->callback([&opt, &action, va, cmd] {
                action = [&opt, va, cmd](BusLink &l) { return do_command(l, *cmd, *va, opt); };
            });
        }
        for (CLI::App *v : sub->get_subcommands({}))
            v->footer("Example:\n  " + example(object, v->get_name()) + "\n\n" +
                      (v->get_footer().empty() ? kExitCodes : v->get_footer()));
    }
}

}  // namespace
}  // namespace lumoctl

namespace lumoctl {
int run_cached(int argc, char **argv);  // cached.cpp

namespace {

// Global options that take a value: their values are not objects.
constexpr const char *kValueOptions[] = {"--timeout", "--address", "--root", "--password-file"};

// The words that are neither options nor values of global options, in order, with
// their places in argv.
std::vector<std::pair<int, std::string>> plain_words(int argc, char **argv)
{
    std::vector<std::pair<int, std::string>> out;
    for (int i = 1; i < argc; ++i) {
        const std::string w = argv[i];
        if (w == "--")
            break;
        if (w.size() > 1 && w[0] == '-') {
            for (const char *o : kValueOptions)
                i += (w == o && out.empty());
            continue;
        }
        out.emplace_back(i, w);
    }
    return out;
}

struct Context {
    Options opt;
    Action action;
    std::list<VerbArgs> store;
    CLI::App *watch = nullptr;
    unsigned watch_count = 0;
};

void build_watch(CLI::App &app, Context &c)
{
    c.watch = app.add_subcommand("watch", "print the gateway's changes as they arrive, one line each");
    c.watch->fallthrough();
    c.watch->add_option("--count", c.watch_count, "stop after N changes (with --timeout: exit 3 if fewer came)");
    c.watch->footer(std::string("Follows PropertiesChanged, InterfacesAdded and InterfacesRemoved of "
                                "com.quv.igd1;\nSIGINT or SIGTERM stops it (exit status 0).\n\n") +
                    kExitCodes);
}

// Subcommands beside the registry's objects, each built when named or for the full
// listing; a new one is one line here and sets c.action when parsed.
struct Extra {
    const char *name;
    void (*build)(CLI::App &app, Context &c);
};
const Extra kExtras[] = {
    {"app", [](CLI::App &app, Context &c) { add_app_commands(app, c.opt.json, c.action); }},
    {"watch", build_watch},
    // Parsed by run_model_tools before this parser exists; listed here for --help,
    // the completion script and the manual page.
    {"capture", [](CLI::App &app, Context &) {
         app.add_subcommand("capture", "write every object of the gateway as a lumo-gwsim model "
                                       "(see lumoctl capture --help)");
     }},
    {"diff", [](CLI::App &app, Context &) {
         app.add_subcommand("diff", "compare two models, each a file or the live gateway "
                                    "(see lumoctl diff --help)");
     }},
};

// The long option names of a parsed command line's apps.
std::vector<std::string> option_names(CLI::App &app)
{
    std::vector<std::string> out;
    for (CLI::App *a = &app; a;) {
        for (const CLI::Option *o : a->get_options())
            for (const std::string &n : o->get_lnames())
                out.push_back("--" + n);
        std::vector<CLI::App *> parsed = a->get_subcommands();
        a = parsed.empty() ? nullptr : parsed.front();
    }
    return out;
}

// Why a command line has words left over, with the nearest names: an unknown
// object, verb or option. The words themselves are not echoed: a stray word may be
// a password typed where it does not belong.
std::string leftover(CLI::App &app, int argc, char **argv, const std::string &object)
{
    auto hint = [](const std::string &h) { return h.empty() ? std::string() : "; " + h; };
    const auto words = plain_words(argc, argv);
    if (object.empty())
        return "unexpected arguments (see lumoctl --help)";
    std::vector<std::string> names = object_names();
    for (const Extra &x : kExtras)
        names.emplace_back(x.name);
    if (std::find(names.begin(), names.end(), object) == names.end())
        return "unknown object" + hint(did_you_mean(object, names)) + " (see lumoctl --help)";
    CLI::App *sub = app.get_subcommand(object);
    if (words.size() > 1 && words[1].first == words[0].first + 1) {
        std::vector<std::string> verbs;
        for (const CLI::App *v : sub->get_subcommands({}))
            verbs.push_back(v->get_name());
        if (std::find(verbs.begin(), verbs.end(), words[1].second) == verbs.end())
            return object + ": unknown command" + hint(did_you_mean(words[1].second, verbs)) + " (see lumoctl " +
                   object + " --help)";
    }
    const std::vector<std::string> options = option_names(app);
    for (int i = 1; i < argc; ++i) {
        std::string w = argv[i];
        if (w.rfind("--", 0) != 0 || w == "--")
            continue;
        w = w.substr(0, w.find('='));
        if (std::find(options.begin(), options.end(), w) == options.end())
            return "unknown option" + hint(did_you_mean(w, options)) + " (see lumoctl " + object + " --help)";
    }
    return "unexpected arguments (see lumoctl " + object + " --help)";
}

}  // namespace
}  // namespace lumoctl

int main(int argc, char **argv)
{
    using namespace lumoctl;
    if (int rc = run_model_tools(argc, argv); rc >= 0)
        return rc;
    for (int i = 1; i < argc; i++)
        if (std::strcmp(argv[i], "--cached") == 0)
            return run_cached(argc, argv);
    CLI::App app{"lumoctl: read and change a home gateway's objects and run its commands over D-Bus, "
                 "through liblumo3."};
    app.name("lumoctl");
    app.fallthrough();
    app.footer(kExitCodes);

    Context ctx;
    Options &opt = ctx.opt;
    app.add_flag("--json", opt.json, "print JSON instead of text");
    CLI::Option *timeout = app.add_option("--timeout", opt.timeout,
                                          "give up after SECONDS (exit status 3); 0: never; "
                                          "for watch no limit")
                               ->capture_default_str();
    app.add_option("--address", opt.address, "D-Bus address of the gateway's system bus");
    app.add_option("--root", opt.root, "redirected root directory (LUMO_SYSROOT)");
    bool reveal = false;
    app.add_flag("--show-secrets", reveal, "print password, key and LOID fields instead of <hidden>");
    app.add_option("--password-file", opt.password_file,
                   "read passwords from FILE's first line ('-': standard input, also the default)");
    bool log_debug = false;
    app.add_flag("--log-debug", log_debug, "also send the library's debug lines (one per call) to syslog");

    // Build time: the completion script and the manual page, from every object
    // (--generate KIND [FILE]).
    if ((argc == 3 || argc == 4) && std::strcmp(argv[1], "--generate") == 0) {
        if (argc == 4 && !std::freopen(argv[3], "w", stdout)) {
            std::fprintf(stderr, "lumoctl: cannot write %s\n", argv[3]);
            return kExitRefused;
        }
        for (const std::string &name : object_names())
            build_tree(app, opt, ctx.action, ctx.store, name);
        for (const Extra &x : kExtras)
            x.build(app, ctx);
        return generate(app, argv[2], kExitCodes);
    }

    // Only what the command line names is built.
    const auto words = plain_words(argc, argv);
    const std::string object = words.empty() ? "" : words.front().second;
    build_tree(app, opt, ctx.action, ctx.store, object);
    for (const Extra &x : kExtras)
        if (object.empty() || object == x.name)
            x.build(app, ctx);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError &) {
        std::fprintf(stderr, "lumoctl: %s\n", leftover(app, argc, argv, object).c_str());
        return kExitRefused;
    } catch (const CLI::ParseError &e) {
        if (e.get_exit_code() == 0)
            return app.exit(e);
        std::fprintf(stderr, "lumoctl: %s (see lumoctl --help)\n", e.what());
        return kExitRefused;
    }

    show_secrets(reveal);
    // A command in a shell loop would send the library's entry line of every call to
    // syslog; failures and refusals are sent all the same.
    if (!log_debug)
        setlogmask(LOG_UPTO(LOG_INFO));
    if (!opt.address.empty())
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", opt.address.c_str(), TRUE);
    if (!opt.root.empty())
        g_setenv("LUMO_SYSROOT", opt.root.c_str(), TRUE);

    const bool watching = ctx.watch && ctx.watch->parsed();
    const unsigned watch_count = ctx.watch_count;
    Action &action = ctx.action;
    if (!watching && !action) {
        // An object without a verb, or nothing at all.
        std::fprintf(stderr, "lumoctl: %s (see lumoctl %s--help)\n",
                     object.empty() ? "a command is required" : (object + ": a command is required").c_str(),
                     object.empty() ? "" : (object + " ").c_str());
        return kExitRefused;
    }
    if (watching) {
        if (timeout->count() > 0)
            arm_timeout(opt.timeout, watch_count ? kExitGateway : 0,
                        watch_count ? "watch: timed out after " + std::to_string(opt.timeout) + " s" : "");
    } else {
        arm_timeout(opt.timeout, kExitGateway, "timed out after " + std::to_string(opt.timeout) + " s");
    }

    // Like a gateway application: without an explicit address, use the one the
    // gateway publishes in its address file.
    if (!g_getenv("DBUS_SYSTEM_BUS_ADDRESS")) {
        const char *root = g_getenv("LUMO_SYSROOT");
        std::string file = std::string(root ? root : "") + "/var/run/dbus/server_address";
        if (g_file_test(file.c_str(), G_FILE_TEST_EXISTS))
            OvanSetDbusEnv();
    }

    OvanInit();
    int status = 0;
    try {
        BusLink link;
        status = watching ? watch(link, watch_count, opt.json) : action(link);
    } catch (const Failure &f) {
        std::fflush(stdout);
        std::fprintf(stderr, "lumoctl: %s\n", f.message.c_str());
        status = f.code;
    }
    OvanDestroy();
    return status;
}
