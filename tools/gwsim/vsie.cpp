// The vendor IE managers' look-ups by service name: the first entry of the manager's
// collection whose ServiceName is the one asked for.
#include <string>

#include "tools/gwsim/extension.hpp"

namespace lumo::gwsim {

namespace {

constexpr const char kNotFound[] = "No entry with this service name";

bool by_service_name(ExtensionCall &c, GPtr<GVariant> *reply)
{
    const std::string suffix = "ByServiceName";
    if (c.member.size() <= suffix.size() || c.member.compare(c.member.size() - suffix.size(), suffix.size(), suffix) ||
        c.member.rfind("Get", 0) != 0 || !c.args || !g_variant_is_of_type(c.args, G_VARIANT_TYPE("(s)")))
        return false;
    auto coll = c.model.collections.find(c.path);
    if (coll == c.model.collections.end())
        return false;
    const char *name = nullptr;
    g_variant_get(c.args, "(&s)", &name);
    const std::string prefix = c.path + "/";
    for (auto it = c.model.objects.lower_bound(prefix);
         it != c.model.objects.end() && it->first.compare(0, prefix.size(), prefix) == 0; ++it) {
        const Interface *entry = it->second.find(coll->second.iface);
        GVariant *v = entry ? entry->get("ServiceName") : nullptr;
        if (v && g_variant_is_of_type(v, G_VARIANT_TYPE_STRING) && g_variant_get_string(v, nullptr) == std::string(name)) {
            *reply = ref_sink(g_variant_new("(ous)", it->first.c_str(), 0u, ""));
            return true;
        }
    }
    *reply = ref_sink(g_variant_new("(ous)", "/", 1u, kNotFound));
    return true;
}

const ExtensionRegistrar kLookups(by_service_name);

}  // namespace

}  // namespace lumo::gwsim
