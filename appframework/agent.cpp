// The framework agent call shared by every framework client call.
#include "appframework/agent.hpp"

#include <syslog.h>

#include "lumo3_core.h"

namespace lumo::app {

bool text_ok(const char *tag, const char *text)
{
    if (!text || g_utf8_validate(text, -1, nullptr))
        return true;
    static const char problem[] = "org.freedesktop.DBus.Error.InvalidArgs: text is not valid UTF-8";
    lumo_log(tag, LOG_ERR, "%s", problem);
    OvanSetErrMsg(problem);
    return false;
}

GVariant *text_tuple(const char *tag, const char *text)
{
    return text_ok(tag, text) ? g_variant_new("(s)", text ? text : "") : nullptr;
}

GPtr<GVariant> call_agent(const char *tag, const char *method, GVariant *args, const char *reply_type,
                          int timeout_ms)
{
    OvanVariant *raw = nullptr;
    if (OvanDBusCallMethod(kFrameworkName, kFrameworkPath, kAgentIface, method, args, &raw, timeout_ms) != 0)
        return {};
    GPtr<GVariant> reply(raw);
    if (!reply || !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE(reply_type))) {
        GStr problem(g_strdup_printf("org.freedesktop.DBus.Error.InvalidSignature: reply of %s is %s, expected %s",
                                     method, reply ? g_variant_get_type_string(reply.get()) : "empty",
                                     reply_type));
        lumo_log(tag, LOG_ERR, "%s", problem.get());
        OvanSetErrMsg(problem.get());
        return {};
    }
    return reply;
}

GPtr<GVariant> call_for_app(const char *tag, const char *method, const char *app_name, const char *reply_type)
{
    lumo_log(tag, LOG_DEBUG, "Enter (app %s)", nn(app_name));
    if (empty(app_name))
        return {};
    GVariant *args = text_tuple(tag, app_name);
    return args ? call_agent(tag, method, args, reply_type) : GPtr<GVariant>();
}

}  // namespace lumo::app
