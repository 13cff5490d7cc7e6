// The caches' own thread ("lumoCache"): it runs a private main context on which every
// cache proxy and subscription is made, so their signals are dispatched there whether
// or not the application hosts a service or runs a loop of its own.
#pragma once

#include <gio/gio.h>

namespace lumo::cache {

// Runs fn(arg) on the cache thread and waits for it (directly when called there).
// The thread is started by the first call and lives as long as the process.
void run_on_worker(void (*fn)(void *), void *arg);

// The context the cache thread runs (starting the thread if needed).
GMainContext *worker_context();

// True on the cache thread.
bool on_worker();

}  // namespace lumo::cache
