// Mounting and unmounting a storage device for an application: a command run
// directly, never through a shell.
#include <cstring>
#include <syslog.h>

#include "appframework/agent.hpp"
#include "lumo3_app.h"
#include "lumo3_core.h"

namespace {

using namespace lumo::app;
using lumo::GStr;
using lumo::GStrv;

bool has_semicolon(const char *s)
{
    return s && std::strchr(s, ';');
}

// Appends the words of `text` (split by shell quoting rules) to argv; false when
// the text does not parse.
bool append_words(const char *text, GPtrArray *argv)
{
    if (empty(text))
        return true;
    int argc = 0;
    char **words = nullptr;
    if (!g_shell_parse_argv(text, &argc, &words, nullptr)) {
        // Blank-only text parses to no words, reported as an error by GLib.
        for (const char *p = text; *p; ++p)
            if (!g_ascii_isspace(*p))
                return false;
        return true;
    }
    for (int i = 0; i < argc; ++i)
        g_ptr_array_add(argv, words[i]);
    g_free(words);  // the words now belong to argv
    return true;
}

// Runs `cmd options prefix+path1 [path2]`: the command and options split into words,
// each path exactly one word. -1 when refused, else 0 (exit status not examined).
int32_t run(const char *tag, const char *cmd, const char *options, const char *path1_prefix, const char *path1,
            const char *path2)
{
    GPtrArray *argv = g_ptr_array_new_with_free_func(g_free);
    bool ok = append_words(cmd, argv) && argv->len > 0 && append_words(options, argv);
    if (!ok) {
        lumo_log(tag, LOG_ERR, "Invalid command or options.");
        g_ptr_array_unref(argv);
        return -1;
    }
    g_ptr_array_add(argv, g_strconcat(path1_prefix, path1, nullptr));
    if (path2)
        g_ptr_array_add(argv, g_strdup(path2));
    g_ptr_array_add(argv, nullptr);
    GStrv words(reinterpret_cast<char **>(g_ptr_array_free(argv, FALSE)));
    GStr line(g_strjoinv(" ", words.get()));
    lumo_log(tag, LOG_DEBUG, "run [%s]", line.get());
    g_spawn_sync(nullptr, words.get(), nullptr, G_SPAWN_SEARCH_PATH, nullptr, nullptr, nullptr, nullptr, nullptr,
                 nullptr);
    return 0;
}

bool absolute(const char *tag, const char *path)
{
    if (path[0] == '/')
        return true;
    lumo_log(tag, LOG_ERR, "path %s is not absolute.", path);
    return false;
}

}  // namespace

extern "C" {

LUMO3_API int32_t OvanAppMountUsbDevice(const char *cmd, const char *src, const char *dst, const char *options)
{
    static const char tag[] = "OvanAppMountUsbDevice";
    lumo_log(tag, LOG_DEBUG, "Enter (cmd %s, src %s, dst %s)", nn(cmd), nn(src), nn(dst));
    if (empty(src) || empty(dst))
        return -1;
    if (has_semicolon(cmd) || has_semicolon(src) || has_semicolon(dst) || has_semicolon(options))
        return -1;
    if (!absolute(tag, src) || !absolute(tag, dst))
        return -1;
    return run(tag, empty(cmd) ? "mount" : cmd, options, "/var", src, dst);
}

LUMO3_API int32_t OvanAppUnmountUsbDevice(const char *cmd, const char *path, const char *options)
{
    static const char tag[] = "OvanAppUnmountUsbDevice";
    lumo_log(tag, LOG_DEBUG, "Enter (cmd %s, path %s)", nn(cmd), nn(path));
    if (empty(path))
        return -1;
    if (has_semicolon(cmd) || has_semicolon(path) || has_semicolon(options))
        return -1;
    if (!absolute(tag, path))
        return -1;
    return run(tag, empty(cmd) ? "umount" : cmd, options, "", path, nullptr);
}

}  // extern "C"
