#include "support/service_context.hpp"

#include <glib.h>

namespace lumo::test {

ScopedContext::ScopedContext(const char *name) : ctx_(g_new0(OvanDBusServiceContext_t, 1))
{
    g_strlcpy(ctx_->service_name, name, sizeof ctx_->service_name);
    qzr_dbus_service_context = ctx_;
}

ScopedContext::~ScopedContext()
{
    if (qzr_dbus_service_context == ctx_)
        qzr_dbus_service_context = nullptr;
    g_free(ctx_->errmsg);
    g_free(ctx_);
}

}  // namespace lumo::test
