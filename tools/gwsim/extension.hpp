// Behaviour beyond the plain model (file operations on the NAS tree, USB mounting,
// ...), contributed by files of their own through a static registrar. The service
// asks them before its built-in behaviour; scripts and model methods still come first.
#pragma once

#include <functional>
#include <string>

#include "tools/gwsim/model.hpp"

namespace lumo::gwsim {

struct ExtensionCall {
    Model &model;
    const std::string &path, &iface, &member;
    GVariant *args;  // the argument tuple
    // Sets a property and notifies watchers, as a client's Set would.
    std::function<void(const std::string &path, const std::string &iface, const std::string &prop, GVariant *value)>
        set_prop;
};

// Answers a call it knows (true, *reply a tuple) or leaves it (false).
using Extension = bool (*)(ExtensionCall &call, GPtr<GVariant> *reply);

struct ExtensionRegistrar {
    explicit ExtensionRegistrar(Extension e);
};

bool run_extensions(ExtensionCall &call, GPtr<GVariant> *reply);

}  // namespace lumo::gwsim
