// `lumoctl app ...`: the application framework from the command line.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "tools/lumoctl/gateway.hpp"

namespace lumoctl {

// Adds the "app" object with its verbs; the parsed verb sets `action`. `json` is
// read when the action runs.
void add_app_commands(CLI::App &app, const bool &json, std::function<int(BusLink &)> &action);

}  // namespace lumoctl
