// `lumoctl app`: list, query, start, stop, install and message plug-in applications
// through the application framework, with liblumo3's framework calls.
#include "tools/lumoctl/app.hpp"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "lumo3.h"
#include "tools/lumoctl/records.hpp"

namespace lumoctl {
namespace {

struct AppArgs {
    std::string name, second, third;
    bool yes = false;
};

void print(bool json, const Json &value, const std::string &text)
{
    if (json)
        std::printf("%s\n", value.dump().c_str());
    else
        std::printf("%s\n", text.c_str());
}

// Word-sized: 32-bit MIPS has no 64-bit atomics without libatomic.
std::atomic<unsigned long> g_sent{0};  // calls that went to the framework

GDBusMessage *count_sent(GDBusConnection *, GDBusMessage *message, gboolean incoming, gpointer)
{
    if (!incoming && g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL &&
        g_strcmp0(g_dbus_message_get_destination(message), "com.quv.appframework1") == 0)
        ++g_sent;
    return message;
}

// Marks the start of a library call: the bus link's mark plus what went to the
// framework so far.
struct Mark {
    BusLink::Mark link;
    uint64_t sent;
};

Mark mark(BusLink &link)
{
    static bool watching = false;
    if (!watching) {
        g_dbus_connection_add_filter(link.connection(), count_sent, nullptr, nullptr);
        watching = true;
    }
    return Mark{link.mark(), g_sent.load()};
}

bool sent_since(const Mark &m)
{
    return g_sent.load() != m.sent;
}

// The framework calls answer 0 both for success and for a failed bus call: the
// bus link tells them apart.
void check(BusLink &link, const Mark &m, int32_t rc, const std::string &what)
{
    if (rc == -1 && !sent_since(m))
        throw Failure{kExitRefused, what + ": the library refused the arguments"};
    if (link.errors_since(m.link))
        link.failed(m.link, what);
}

std::string owned(char *text)
{
    std::string s = text ? text : "";
    g_free(text);
    return s;
}

int do_list(BusLink &link, bool json)
{
    OvanAppInfo_t *apps = nullptr;
    uint32_t count = 0;
    Mark m = mark(link);
    int32_t rc = OvanListApp(&apps, &count);
    check(link, m, rc, "app list");
    if (!apps)
        throw Failure{kExitGateway, "app list failed: no usable answer from the framework"};
    Json all = Json::array();
    size_t wn = 4, wt = 4, ws = 5;
    for (uint32_t i = 0; i < count; ++i) {
        wn = std::max(wn, std::strlen(apps[i].name));
        wt = std::max(wt, std::strlen(apps[i].text));
        ws = std::max(ws, std::strlen(apps[i].state));
    }
    if (!json)
        std::printf("%-*s  %-*s  %-*s  %s\n", static_cast<int>(wn), "NAME", static_cast<int>(wt), "TEXT",
                    static_cast<int>(ws), "STATE", "NUMBER");
    for (uint32_t i = 0; i < count; ++i) {
        const OvanAppInfo_t &a = apps[i];
        const bool library = std::strncmp(a.name, "lib", 3) == 0;
        if (json) {
            Json e{{"name", a.name}, {"text", a.text}, {"state", a.state}};
            if (library)
                e["library"] = true;
            else
                e["number"] = a.flag;
            all.push_back(e);
        } else {
            std::printf("%-*s  %-*s  %-*s  %s\n", static_cast<int>(wn), a.name, static_cast<int>(wt), a.text,
                        static_cast<int>(ws), a.state, library ? "library" : std::to_string(a.flag).c_str());
        }
    }
    g_free(apps);
    if (json)
        std::printf("%s\n", all.dump().c_str());
    return 0;
}

int do_word(BusLink &link, bool json, const char *verb, int32_t (*fn)(const char *), const std::string &name)
{
    Mark m = mark(link);
    int32_t rc = fn(name.c_str());
    const std::string what = std::string("app ") + verb + " " + name;
    check(link, m, rc, what);
    if (rc != 0)
        throw Failure{kExitGateway, what + ": the framework answered " + std::to_string(rc)};
    print(json, Json{{"name", name}, {verb, true}}, what + ": done");
    return 0;
}

// The framework's answer to an install, upgrade or reinstall, read in the callback.
struct Pending {
    GMainLoop *loop = nullptr;
    bool done = false;
    int32_t code = 0;
    std::string name, text, error;
};

void install_done(GObject *source, GAsyncResult *res, gpointer data)
{
    auto *p = static_cast<Pending *>(data);
    GError *err = nullptr;
    GVariant *v = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), res, &err);
    if (v) {
        const char *name = nullptr, *text = nullptr;
        g_variant_get(v, "(i&s&s)", &p->code, &name, &text);
        p->name = name;
        p->text = text;
        g_variant_unref(v);
    } else {
        p->error = err ? err->message : "no answer";
        g_clear_error(&err);
    }
    p->done = true;
    g_main_loop_quit(p->loop);
}

gboolean show_elapsed(gpointer data)
{
    auto *start = static_cast<gint64 *>(data);
    std::fprintf(stderr, "\rwaiting for the framework: %lld s",
                 static_cast<long long>((g_get_monotonic_time() - *start) / G_USEC_PER_SEC));
    return G_SOURCE_CONTINUE;
}

int do_install(BusLink &link, bool json, const char *verb,
               int32_t (*fn)(const char *, void *, GAsyncReadyCallback), const std::string &file)
{
    const std::string what = std::string("app ") + verb + " " + file;
    if (file.empty() || file[0] != '/')
        throw Failure{kExitRefused, what + ": give the package file as an absolute path"};
    link.connection();
    // The framework answers installs on a hosted service's connection.
    const std::string service = "com.quv.lumoctl.p" + std::to_string(getpid());
    if (OvanDBusStartService(service.c_str()) != 0)
        throw Failure{kExitGateway, what + ": cannot host " + service + " on the bus"};
    // The service's thread runs the default context; the answer comes to this one.
    GMainContext *ctx = g_main_context_new();
    g_main_context_push_thread_default(ctx);
    GMainLoop *loop = g_main_loop_new(ctx, FALSE);
    Pending p;
    p.loop = loop;
    int32_t rc = fn(file.c_str(), &p, install_done);
    gint64 start = g_get_monotonic_time();
    if (rc == 0) {
        GSource *tick = nullptr;
        if (isatty(STDERR_FILENO)) {
            tick = g_timeout_source_new_seconds(1);
            g_source_set_callback(tick, show_elapsed, &start, nullptr);
            g_source_attach(tick, ctx);
        }
        g_main_loop_run(loop);
        if (tick) {
            g_source_destroy(tick);
            g_source_unref(tick);
            std::fprintf(stderr, "\n");
        }
    }
    g_main_loop_unref(loop);
    g_main_context_pop_thread_default(ctx);
    g_main_context_unref(ctx);
    OvanDBusStopService();
    if (rc != 0)
        throw Failure{kExitRefused, what + ": the library refused the arguments"};
    if (!p.error.empty())
        throw Failure{kExitGateway, what + " failed: " + p.error};
    print(json, Json{{"code", p.code}, {"name", p.name}, {"text", p.text}},
          p.name + ": " + p.text + " (code " + std::to_string(p.code) + ")");
    return p.code == 0 ? 0 : kExitGateway;
}

int do_text(BusLink &link, bool json, const char *verb, const std::string &name, char *(*call)(BusLink &))
{
    Mark m = mark(link);
    char *raw = call(link);
    const std::string what = std::string("app ") + verb + " " + name;
    if (!raw) {
        if (!sent_since(m))
            throw Failure{kExitRefused, what + ": the library refused the arguments"};
        link.failed(m.link, what);
    }
    std::string text = owned(raw);
    print(json, Json{{"name", name}, {verb, text}}, text);
    return 0;
}

void need_yes(const AppArgs &a, const std::string &what)
{
    if (!a.yes)
        throw Failure{kExitRefused, what + " is destructive: add --yes to run it"};
}

}  // namespace

void add_app_commands(CLI::App &app, const bool &json, std::function<int(BusLink &)> &action)
{
    static AppArgs a;
    CLI::App *obj = app.add_subcommand("app", "plug-in applications, through the application framework");
    obj->require_subcommand(0, 1);
    auto verb = [&](const char *name, const char *help) {
        CLI::App *v = obj->add_subcommand(name, help);
        v->footer("Exit status: 0 success, 2 refused (nothing sent), 3 framework or bus failure "
                  "(also a non-zero answer).");
        return v;
    };
    auto named = [&](const char *name, const char *help) {
        CLI::App *v = verb(name, help);
        v->add_option("NAME", a.name, "application name")->required();
        return v;
    };

    verb("list", "installed applications and libraries")->callback([&] {
        action = [&](BusLink &link) { return do_list(link, json); };
    });
    named("status", "an application's state")->callback([&] {
        action = [&](BusLink &link) {
            OvanAppStatus_t st{};
            if (a.name.size() >= sizeof st.name)
                throw Failure{kExitRefused, "app status: name too long"};
            g_strlcpy(st.name, a.name.c_str(), sizeof st.name);
            Mark m = mark(link);
            check(link, m, OvanGetAppStatus(&st), "app status " + a.name);
            print(json, Json{{"name", a.name}, {"status", st.status}}, st.status);
            return 0;
        };
    });
    const struct {
        const char *name, *help;
        int32_t (*fn)(const char *);
        bool destructive;
    } words[] = {
        {"start", "run an application", OvanStartApp, false},
        {"stop", "stop an application", OvanStopApp, false},
        {"reload", "make an application reload its configuration", OvanReloadApp, false},
        {"uninstall", "remove an application (needs --yes)", OvanUninstallApp, true},
        {"restore", "reset an application to its factory state (needs --yes)", OvanFactoryPlugin, true},
    };
    for (const auto &w : words) {
        CLI::App *v = named(w.name, w.help);
        if (w.destructive)
            v->add_flag("--yes", a.yes, "really do it");
        const char *vname = w.name;
        auto fn = w.fn;
        const bool destructive = w.destructive;
        v->callback([&action, &json, vname, fn, destructive] {
            action = [&json, vname, fn, destructive](BusLink &link) {
                if (destructive)
                    need_yes(a, std::string("app ") + vname);
                return do_word(link, json, vname, fn, a.name);
            };
        });
    }
    const struct {
        const char *name, *help;
        int32_t (*fn)(const char *, void *, GAsyncReadyCallback);
    } installs[] = {
        {"install", "install a package file and wait for the framework's answer", OvanInstallApp},
        {"upgrade", "upgrade from a package file and wait for the answer", OvanUpgradeApp},
        {"reinstall", "reinstall from a package file and wait for the answer", OvanReinstallApp},
    };
    for (const auto &i : installs) {
        CLI::App *v = verb(i.name, i.help);
        v->add_option("FILE", a.name, "package file (absolute path)")->required();
        const char *vname = i.name;
        auto fn = i.fn;
        v->callback([&action, &json, vname, fn] {
            action = [&json, vname, fn](BusLink &link) { return do_install(link, json, vname, fn, a.name); };
        });
    }
    CLI::App *post = named("post", "post a message to an application; prints its answer");
    post->add_option("MESSAGE", a.second, "the message")->required();
    post->callback([&] {
        action = [&](BusLink &link) {
            return do_text(link, json, "post", a.name,
                           [](BusLink &) { return OvanPostMsg(a.name.c_str(), a.second.c_str()); });
        };
    });
    named("stats", "an application's statistics")->callback([&] {
        action = [&](BusLink &link) {
            return do_text(link, json, "stats", a.name,
                           [](BusLink &) { return OvanGetAppStatistics(a.name.c_str()); });
        };
    });
    for (const char *kind : {"module-load", "module-unload"}) {
        CLI::App *v = verb(kind, "load or unload a kernel module for a package");
        v->add_option("PACKAGE", a.name, "package name")->required();
        v->add_option("MODULE", a.second, "module name")->required();
        v->add_option("EXTRA", a.third, "extra argument");
        const bool load = std::strcmp(kind, "module-load") == 0;
        v->callback([&action, &json, kind, load] {
            action = [&json, kind, load](BusLink &link) {
                int32_t (*fn)(const char *) =
                    load ? +[](const char *p) { return OvanHandleKernelModules(p, 1, a.second.c_str(), a.third.c_str()); }
                         : +[](const char *p) { return OvanHandleKernelModules(p, 0, a.second.c_str(), a.third.c_str()); };
                return do_word(link, json, kind, fn, a.name);
            };
        });
    }
}

}  // namespace lumoctl
