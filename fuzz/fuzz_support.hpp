// Shared by the fuzz targets: a log that drops every line (printing replies would
// dominate the run time and flood the machine's log) and a way to report a broken
// invariant.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <glib.h>

#include <syslog.h>

#include "lumo3_core.h"

namespace lumo::fuzz {

inline void quiet()
{
    // An open log whose mask drops every line the library writes: the library then
    // skips building its printed replies too, which would dominate the run time.
    OvanLogOpen(LOG_USER, "lumo-fuzz");
    setlogmask(LOG_MASK(LOG_EMERG));
    // Criticals from GLib about rejected input are expected here.
    g_log_set_default_handler([](const gchar *, GLogLevelFlags, const gchar *, gpointer) {}, nullptr);
}

[[noreturn]] inline void broken(const char *what)
{
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

#define LUMO_FUZZ_CHECK(cond) \
    do {                      \
        if (!(cond))          \
            ::lumo::fuzz::broken(#cond); \
    } while (0)

}  // namespace lumo::fuzz
