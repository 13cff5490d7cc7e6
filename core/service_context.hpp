// The hosted service's context, shared between the threads that start and stop the
// service, its main-loop thread and any thread that logs or calls: read and swapped
// atomically (the exported variable itself stays a plain pointer for C callers).
#pragma once

#include "lumo3_core.h"

namespace lumo {

inline OvanDBusServiceContext_t *service_context() noexcept
{
    return __atomic_load_n(&qzr_dbus_service_context, __ATOMIC_ACQUIRE);
}

inline void set_service_context(OvanDBusServiceContext_t *ctx) noexcept
{
    __atomic_store_n(&qzr_dbus_service_context, ctx, __ATOMIC_RELEASE);
}

}  // namespace lumo
