// Calls to the application framework's agent object, shared by the lifecycle
// calls and the management calls.
#pragma once

#include "core/glib_ptr.hpp"
#include "lumo3_bus.h"

namespace lumo::app {

inline constexpr const char kFrameworkName[] = "com.quv.appframework1";
inline constexpr const char kFrameworkPath[] = "/com/quv/appframework1";
inline constexpr const char kAgentIface[] = "com.quv.appframework1.AppAgent";
inline constexpr int kCallTimeoutMs = 10000;

inline const char *nn(const char *s)
{
    return s ? s : "NULL";
}

inline bool empty(const char *s)
{
    return !s || !*s;
}

// False (after logging under `tag` and setting the last error) when `text` is not
// valid UTF-8: GVariant refuses such strings with a critical.
bool text_ok(const char *tag, const char *text);

// Calls `method` of the agent with `args` (a floating tuple is consumed; null for
// none). Returns the reply when one came and has `reply_type`; otherwise null, with
// the last error telling why (a reply of another type is a failure, not a crash).
GPtr<GVariant> call_agent(const char *tag, const char *method, GVariant *args, const char *reply_type,
                          int timeout_ms = kCallTimeoutMs);

// Logs "Enter (app %s)" and calls `method` with "(s)" carrying the application
// name; null (nothing sent) for a null, empty or malformed name, else as call_agent.
GPtr<GVariant> call_for_app(const char *tag, const char *method, const char *app_name, const char *reply_type);

// "(s)" with one text, or null after text_ok() refused it.
GVariant *text_tuple(const char *tag, const char *text);

}  // namespace lumo::app
