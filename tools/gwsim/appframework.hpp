// The application framework's agent (com.quv.appframework1.AppAgent on
// /com/quv/appframework1), played from the model's packages.
#pragma once

#include "tools/gwsim/model.hpp"

namespace lumo::gwsim {

// Answers a call to the framework agent from `model` and returns true; false when
// the call is not for the agent. Calls an application's management object answers
// (Stop, Reload, Restore, PostMsg, GetStatistics) are forwarded to it when it is on
// the bus.
bool appframework_call(Model &model, GDBusConnection *conn, GDBusMessage *msg);

}  // namespace lumo::gwsim
