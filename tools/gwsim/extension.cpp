#include "tools/gwsim/extension.hpp"

#include <vector>

namespace lumo::gwsim {

namespace {

std::vector<Extension> &all()
{
    static std::vector<Extension> list;
    return list;
}

}  // namespace

ExtensionRegistrar::ExtensionRegistrar(Extension e)
{
    all().push_back(e);
}

bool run_extensions(ExtensionCall &call, GPtr<GVariant> *reply)
{
    for (Extension e : all())
        if (e(call, reply))
            return true;
    return false;
}

}  // namespace lumo::gwsim
