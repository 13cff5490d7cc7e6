// What the family files of the registry share: library functions adapted to the
// generic signatures, field lists, number and path parsing, and commands that report
// a result word and a message.
#pragma once

#include <charconv>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include <glib.h>

#include "tools/lumoctl/registry.hpp"

namespace lumoctl::reg {

// Library functions adapted to the generic signatures, by their own signature.
template <auto F>
struct Adapt;

template <typename R, int32_t (*F)(R *)>
struct Adapt<F> {
    static int32_t rec(void *r) { return F(static_cast<R *>(r)); }
    static int32_t set(void *r, const Given &) { return F(static_cast<R *>(r)); }
};

template <typename R, int32_t (*F)(OvanObjPath_t, R *)>
struct Adapt<F> {
    static int32_t at(OvanObjPath_t p, void *r) { return F(p, static_cast<R *>(r)); }
};

template <typename R, int32_t (*F)(R **, uint32_t *)>
struct Adapt<F> {
    static int32_t list(void **objs, uint32_t *n, uint32_t *, char **)
    {
        R *block = nullptr;
        int32_t rc = F(&block, n);
        *objs = block;
        return rc;
    }
};

template <typename R, int32_t (*F)(R **, uint32_t *, uint32_t *, char **)>
struct Adapt<F> {
    static int32_t list(void **objs, uint32_t *n, uint32_t *status, char **message)
    {
        R *block = nullptr;
        int32_t rc = F(&block, n, status, message);
        *objs = block;
        return rc;
    }
};

template <typename R, int32_t (*F)(OvanObjPath_t, R **, uint32_t *)>
struct Adapt<F> {
    static int32_t list_at(OvanObjPath_t parent, void **objs, uint32_t *n, uint32_t *, char **)
    {
        R *block = nullptr;
        int32_t rc = F(parent, &block, n);
        *objs = block;
        return rc;
    }
};

template <typename R, int32_t (*F)(const char *, R *)>
struct Adapt<F> {
    static int32_t key(const char *k, void *r, uint32_t *, char **) { return F(k, static_cast<R *>(r)); }
};

template <typename R, int32_t (*F)(const char *, R *, uint32_t *, char **)>
struct Adapt<F> {
    static int32_t key(const char *k, void *r, uint32_t *status, char **message)
    {
        return F(k, static_cast<R *>(r), status, message);
    }
};

// Keys that take no value: the one instance the function finds by itself.
template <typename R, int32_t (*F)(R *, uint32_t *, char **)>
struct Adapt<F> {
    static int32_t key(const char *, void *r, uint32_t *status, char **message)
    {
        return F(static_cast<R *>(r), status, message);
    }
};

inline std::vector<Field> fields(std::initializer_list<Fields> parts)
{
    std::vector<Field> out;
    for (Fields part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

inline bool named(const Given &given, const char *name)
{
    for (const Field *f : given)
        if (std::strcmp(f->name, name) == 0)
            return true;
    return false;
}

template <typename T>
T number(const std::string &text, const char *what)
{
    T v{};
    const char *end = text.data() + text.size();
    auto r = std::from_chars(text.data(), end, v);
    if (text.empty() || r.ec != std::errc() || r.ptr != end)
        throw Failure{kExitRefused, "malformed " + std::string(what) + " '" + text + "' (expected a number)"};
    return v;
}

inline OvanObjPath_t object_path(const std::string &text)
{
    OvanObjPath_t p{};
    if (text.size() >= sizeof p.str)
        throw Failure{kExitRefused, "object path too long (at most 255 characters)"};
    std::memcpy(p.str, text.data(), text.size());
    return p;
}

// Runs a library command that reports a result word and a message.
template <typename Call>
int32_t reported(CommandResult &out, Call call)
{
    char *message = nullptr;
    int32_t rc = call(&out.status, &message);
    if (message)
        out.message = message;
    g_free(message);
    return rc;
}

// ...and one that also hands back a string.
template <typename Call>
int32_t reported_value(CommandResult &out, Call call)
{
    char *value = nullptr;
    int32_t rc = reported(out, [&](uint32_t *s, char **m) { return call(&value, s, m); });
    if (value)
        out.result = value;
    g_free(value);
    return rc;
}

using Args = const std::vector<std::string> &;

}  // namespace lumoctl::reg
