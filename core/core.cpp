// Lifecycle, API version, bus address set-up and the last error.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <syslog.h>

#include "core/service_context.hpp"
#include "core/glib_ptr.hpp"
#include "core/paths.hpp"
#include "lumo3_core.h"

extern "C" {

LUMO3_API OvanDBusServiceContext_t *qzr_dbus_service_context = nullptr;
LUMO3_API int32_t gwdbusver = -1;
LUMO3_API GDBusConnection *dbusconn = nullptr;

LUMO3_API int32_t OvanInit(void)
{
    return 0;
}

LUMO3_API void OvanDestroy(void) {}

LUMO3_API char *OvanGetAPIVersion(char *buf)
{
    std::memcpy(buf, "v0.14", sizeof "v0.14");
    return buf;
}

LUMO3_API int32_t OvanSetDbusEnv(void)
{
    lumo::GStr path = lumo::paths::resolve(lumo::paths::kBusAddressFile);
    FILE *fp = std::fopen(path.get(), "r");
    if (!fp) {
        OvanLog(LOG_ERR, "Failed to get dbus bus address, please run dbus-daemon first.\n");
        std::exit(-1);
    }
    char address[256] = {0};
    if (!std::fgets(address, sizeof address, fp))
        address[0] = '\0';
    std::fclose(fp);
    size_t len = std::strlen(address);
    if (len > 0 && address[len - 1] == '\n')
        address[len - 1] = '\0';
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address, 1);
    return 0;
}

LUMO3_API void OvanSetErrMsg(const char *msg)
{
    // Every bus call on every thread clears or sets the message, and another thread
    // may stop the service: the text is swapped under the context's lock.
    char exiting_service[64] = "";
    const bool limits = msg && std::strstr(msg, "Error.LimitsExceeded");
    lumo::with_service_context([&](OvanDBusServiceContext_t *ctx) {
        if (!ctx)
            return;
        if (limits) {
            g_strlcpy(exiting_service, ctx->service_name, sizeof exiting_service);
            return;
        }
        g_free(ctx->errmsg);
        ctx->errmsg = g_strdup(msg);
    });
    if (exiting_service[0]) {
        // The bus daemon refuses this client: stop so that the application is
        // restarted with a clean connection.
        lumo_log("OvanSetErrMsg", LOG_ERR, "%s exit\n", exiting_service);
        std::exit(-1);
    }
}

LUMO3_API const char *OvanGetErrMsg(void)
{
    // The caller reads a copy of its own (valid until this thread asks again), so
    // another thread's call cannot free the text under it.
    // A thread's copy is freed when the thread ends.
    static GPrivate copy = G_PRIVATE_INIT(g_free);
    const bool hosted = lumo::with_service_context([](OvanDBusServiceContext_t *ctx) {
        if (ctx)
            g_private_replace(&copy, ctx->errmsg ? g_strdup(ctx->errmsg) : nullptr);
        return ctx != nullptr;
    });
    return hosted ? static_cast<const char *>(g_private_get(&copy)) : nullptr;
}

}  // extern "C"

namespace lumo {
std::mutex &service_context_lock() noexcept
{
    static std::mutex lock;
    return lock;
}
}  // namespace lumo
