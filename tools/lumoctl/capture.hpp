// lumoctl capture and diff: a gateway written out as a lumo-gwsim model, and two
// models (files or the live gateway) compared.
#pragma once

#include <cstdio>

#include <gio/gio.h>

namespace lumoctl {

// "capture" and "diff": the exit status, or -1 when the command line is neither
// (main goes on with its own parser).
int run_model_tools(int argc, char **argv);

struct CaptureOptions {
    bool keep_secrets = false;
    int timeout_ms = 5000;  // per call
    bool progress = false;  // "read/found" on standard error
};

// Writes the model of the services on conn to out as it goes; objects that cannot
// be read are listed on standard error. 0 (warnings counted in *warnings), or 3
// when nothing could be read.
int capture_model(GDBusConnection *conn, FILE *out, const CaptureOptions &opt, unsigned *warnings);

// The system bus lumoctl talks to (after --address / the address file); null with
// a message on standard error when there is none.
GDBusConnection *model_tools_bus();

// diff A B; each a model file or "live".
int run_diff(const char *a, const char *b, bool json, const CaptureOptions &opt);

}  // namespace lumoctl
