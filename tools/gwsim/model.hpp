// The simulator's object tree: objects with interfaces and properties, collections
// with their AddObject template, and methods with a fixed behaviour.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gio/gio.h>

#include "core/glib_ptr.hpp"

namespace lumo::gwsim {

// Unref for GObject-derived handles (messages, connections...).
struct ObjectUnref {
    void operator()(gpointer p) const noexcept { g_object_unref(p); }
};
template <typename T>
using ObjPtr = std::unique_ptr<T, ObjectUnref>;

// Properties of one interface, kept in the order they were declared so that GetAll
// answers in a stable, human-predictable order.
struct Interface {
    std::string name;
    std::vector<std::pair<std::string, GPtr<GVariant>>> props;

    GVariant *get(const std::string &prop) const;
    // Replaces or appends; returns true when the stored value changed.
    bool set(const std::string &prop, GVariant *value);
    bool remove(const std::string &prop);
    Interface clone() const;
    // "a{sv}" of all properties (new floating value).
    GVariant *to_dict() const;
};

struct Object {
    std::vector<Interface> ifaces;

    Interface *find(const std::string &iface);
    const Interface *find(const std::string &iface) const;
    Interface &ensure(const std::string &iface);
    // "a{sa{sv}}" (new floating value).
    GVariant *to_dict() const;
};

struct Collection {
    std::string iface;         // interface of the instances
    std::vector<Interface> tmpl;  // properties given to instances made by AddObject
    guint64 next = 1;          // suffix of the next AddObject; never goes down
};

// What a method does when called: reply with a value, fail with an error, or (with
// neither) fall through to the built-in behaviour; optionally after a delay.
struct Behaviour {
    GPtr<GVariant> reply;  // a tuple
    std::string error;     // D-Bus error name
    std::string message;
    guint delay_ms = 0;
    std::string in_sig;    // model methods: expected argument tuple type ("" = any)
    int uses = -1;         // scripts: remaining uses, -1 = unlimited

    Behaviour clone() const;
    bool answers() const { return reply || !error.empty(); }
};

struct Model {
    std::map<std::string, Object> objects;
    std::map<std::string, Collection> collections;
    // key: path + '\n' + interface + '\n' + member
    std::map<std::string, Behaviour> methods;

    static std::string method_key(const std::string &path, const std::string &iface,
                                  const std::string &member)
    {
        return path + '\n' + iface + '\n' + member;
    }

    // Parses model text (key-file syntax, see docs/gwsim.md) into this model.
    // On failure returns false and sets *error to a message naming the group.
    bool load(const char *text, const char *origin, std::string *error);

    // The collection whose instances include path (longest match), or nullptr.
    const std::string *collection_of(const std::string &path) const;
};

// v (borrowed, not floating) made into a tuple: a tuple stays as it is, anything
// else is wrapped in a one-element tuple.
GPtr<GVariant> as_tuple(GVariant *v);

extern const char default_model_text[];

}  // namespace lumo::gwsim
