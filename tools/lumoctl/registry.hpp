// What lumoctl can reach: one entry per gateway object (record table plus the
// library functions that read and write it) and one per command with status and
// message. Everything else in lumoctl is generic over these tables.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lumo3_gateway.h"
#include "tools/lumoctl/records.hpp"

namespace lumoctl {

using Given = std::vector<const Field *>;  // the fields named on the command line

// Library calls behind generic signatures. status and message may be ignored by
// functions that have none; message receives g_free'd text.
using GetFn = int32_t (*)(void *rec);
using GetAtFn = int32_t (*)(OvanObjPath_t path, void *rec);
using KeyFn = int32_t (*)(const char *key, void *rec, uint32_t *status, char **message);
using ListFn = int32_t (*)(void **objs, uint32_t *count, uint32_t *status, char **message);
using SetFn = int32_t (*)(void *rec, const Given &given);
using SetAtFn = int32_t (*)(OvanObjPath_t path, void *rec);
using AddFn = int32_t (*)(void *rec);
using DelFn = int32_t (*)(OvanObjPath_t path);
// Collections below an instance of another (PARENT: that instance's collection path).
using ListAtFn = int32_t (*)(OvanObjPath_t parent, void **objs, uint32_t *count, uint32_t *status, char **message);
using AddAtFn = int32_t (*)(OvanObjPath_t parent, void *rec);

// A way to pick one instance other than its path: --mac, --name, --ssid, ...
struct Key {
    const char *option;  // long option name without dashes
    const char *help;
    bool flag;  // takes no value (e.g. --internet)
    KeyFn fn;
};

struct Entry {
    const char *object;  // command-line name, e.g. "portmap"
    const char *layout;  // "" for the default layout, else e.g. "v4", "ext"
    const char *help;
    const RecordTable *table;
    bool wifi = false;  // the library's WiFi capability guard applies
    bool usb = false;   // the library's USB support guard applies (1: the gateway has none)
    GetFn get = nullptr;
    GetAtFn get_at = nullptr;
    std::vector<Key> keys = {};
    // get_at and keys copy a whole record out of the library's listing (the gateway
    // has no getter for one instance), so a field it could not read is zero, not left.
    bool get_from_listing = false;
    ListFn list = nullptr;
    std::vector<Field> writable = {};
    SetFn set = nullptr;
    SetAtFn set_at = nullptr;
    AddFn add = nullptr;
    DelFn del = nullptr;
    ListAtFn list_at = nullptr;  // "list PARENT"
    AddAtFn add_at = nullptr;    // "add PARENT NAME=VALUE ..."
    // With list_at/add_at: the object whose instances hold such collections, and the
    // collection's path below one of them (e.g. "qos-class", "/Type").
    const char *parent = nullptr;
    const char *below = nullptr;
};

struct CommandResult {
    uint32_t status = 0;
    std::string message;
    std::string result;      // a value the command hands back (a password, a path, ...)
    bool has_status = true;  // false for plain queries
};

struct Command {
    const char *object;
    const char *name;
    const char *help;
    std::vector<const char *> args;  // positional argument names
    bool destructive = false;
    bool wifi = false;
    int32_t (*run)(const std::vector<std::string> &args, CommandResult &out) = nullptr;
    bool usb = false;  // the library's USB support guard applies
};

// Each family contributes its entries, its commands and the help lines of its
// command-only objects from a file of its own (tools/lumoctl/families/), through a
// static FamilyRegistrar; `order` sorts the families in listings ("57-timers").
struct Contribution {
    std::vector<Entry> entries;
    std::vector<Command> commands;
    std::vector<std::pair<std::string, std::string>> object_help = {};
};

struct FamilyRegistrar {
    FamilyRegistrar(const char *order, Contribution (*make)());
};

const std::vector<Entry> &entries();
const std::vector<Command> &commands();
// For an entry of collections below instances: the collection below the parent
// object's first instance, read from the gateway; "" when there is none.
std::string first_parent(const Entry &e);
// Help line of an object that has commands only (no record).
const char *command_object_help(const std::string &object);

}  // namespace lumoctl
