// lumoctl's bash completion script and manual page, written at build time from the
// command tree (every object and verb) and the registry.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace lumoctl {

// What `--generate` writes to standard output: "bash-completion" or "man". 0 on
// success, 2 for an unknown kind.
int generate(CLI::App &app, const std::string &kind, const char *exit_codes);

// "lumoctl OBJECT VERB ..." with values drawn from the registry: the verb's help
// example.
std::string example(const std::string &object, const std::string &verb);

// Passwords never come from the command line, where every user can read them in the
// process list: a command argument or a record field whose name says "password" is
// read from --password-file or standard input.
bool is_password(const std::string &name);

}  // namespace lumoctl
