// The hosted service's context, shared between the threads that start and stop the
// service, its main-loop thread and any thread that logs or calls. Stop unpublishes
// it under the lock before freeing it, so whatever a reader copies (or references)
// inside with_service_context stays valid; the exported variable itself stays a
// plain pointer for C callers.
#pragma once

#include <mutex>

#include "lumo3_core.h"

namespace lumo {

std::mutex &service_context_lock() noexcept;

// The context as last published (no lock: for the threads that start and stop it).
inline OvanDBusServiceContext_t *service_context() noexcept
{
    return __atomic_load_n(&qzr_dbus_service_context, __ATOMIC_ACQUIRE);
}

inline void set_service_context(OvanDBusServiceContext_t *ctx) noexcept
{
    std::lock_guard<std::mutex> hold(service_context_lock());
    __atomic_store_n(&qzr_dbus_service_context, ctx, __ATOMIC_RELEASE);
}

// Runs fn(ctx) (ctx may be null) while the context cannot be freed. fn copies what
// it needs and must not call into the library.
template <typename F>
auto with_service_context(F &&fn)
{
    std::lock_guard<std::mutex> hold(service_context_lock());
    return fn(service_context());
}

// The hosted service's bus name copied into `name`; null when no service is hosted.
inline const char *hosted_service_name(char (&name)[64])
{
    return with_service_context([&](const OvanDBusServiceContext_t *ctx) -> const char * {
        if (!ctx || !ctx->service_name[0])
            return nullptr;
        g_strlcpy(name, ctx->service_name, sizeof name);
        return name;
    });
}

}  // namespace lumo
