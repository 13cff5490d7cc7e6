// lumoctl diff A B: objects added and removed, and properties that differ, between
// two models (model files, or "live" for the gateway on the bus).
#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "core/glib_ptr.hpp"
#include "tools/gwsim/model.hpp"
#include "tools/lumoctl/capture.hpp"
#include "tools/lumoctl/records.hpp"

namespace lumoctl {

namespace {

using lumo::GPtr;
using lumo::GStr;

// Every property of a model as "INTERFACE PROPERTY" -> value text, by object; an
// interface without properties shows as "INTERFACE" with an empty text.
using Flat = std::map<std::string, std::map<std::string, std::string>>;

Flat flatten(const lumo::gwsim::Model &model)
{
    Flat flat;
    for (const auto &[path, obj] : model.objects) {
        auto &props = flat[path];
        for (const auto &iface : obj.ifaces) {
            props[iface.name];
            for (const auto &[name, value] : iface.props) {
                GStr text(g_variant_print(value.get(), TRUE));
                props[iface.name + " " + name] = text.get();
            }
        }
    }
    return flat;
}

// Reads a model file, or captures the live gateway into memory (as a temporary
// file, so that capture writes as it goes whatever the destination).
int load(const char *source, const CaptureOptions &opt, Flat &flat)
{
    GStr text;
    gsize len = 0;
    if (strcmp(source, "live") == 0) {
        GPtr<GDBusConnection> conn(model_tools_bus());
        FILE *tmp = conn ? tmpfile() : nullptr;
        if (!tmp)
            return kExitGateway;
        unsigned warnings = 0;
        int rc = capture_model(conn.get(), tmp, opt, &warnings);
        long size = rc == 0 && fflush(tmp) == 0 ? ftell(tmp) : -1;
        if (size >= 0) {
            text.reset(static_cast<char *>(g_malloc(size_t(size) + 1)));
            rewind(tmp);
            len = fread(text.get(), 1, size_t(size), tmp);
            text.get()[len] = '\0';
        }
        fclose(tmp);
        if (size < 0 || len != size_t(size)) {
            fprintf(stderr, "lumoctl: diff: the live gateway could not be read\n");
            return kExitGateway;
        }
    } else {
        GPtr<GError> err;
        if (!g_file_get_contents(source, lumo::out(text), &len, lumo::out(err))) {
            fprintf(stderr, "lumoctl: diff: %s\n", err->message);
            return kExitRefused;
        }
    }
    lumo::gwsim::Model model;
    std::string error;
    if (!model.load(text.get(), source, &error)) {
        fprintf(stderr, "lumoctl: diff: %s\n", error.c_str());
        return kExitRefused;
    }
    flat = flatten(model);
    return 0;
}

struct Change {
    const char *kind;  // "added", "removed", "changed"
    std::string path, key;
    const std::string *old_value, *new_value;
};

}  // namespace

int run_diff(const char *a, const char *b, bool json, const CaptureOptions &opt)
{
    Flat fa, fb;
    if (int rc = load(a, opt, fa))
        return rc;
    if (int rc = load(b, opt, fb))
        return rc;
    std::vector<Change> changes;
    for (const auto &[path, props] : fa)
        if (!fb.count(path))
            changes.push_back({"removed", path, "", nullptr, nullptr});
    for (const auto &[path, props] : fb) {
        auto old = fa.find(path);
        if (old == fa.end()) {
            changes.push_back({"added", path, "", nullptr, nullptr});
            continue;
        }
        for (const auto &[key, value] : old->second) {
            auto now = props.find(key);
            if (now == props.end())
                changes.push_back({"changed", path, key, &value, nullptr});
            else if (now->second != value)
                changes.push_back({"changed", path, key, &value, &now->second});
        }
        for (const auto &[key, value] : props)
            if (!old->second.count(key))
                changes.push_back({"changed", path, key, nullptr, &value});
    }
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change &x, const Change &y) { return x.path < y.path; });

    if (json) {
        Json doc = {{"added", Json::array()}, {"removed", Json::array()}, {"changed", Json::array()}};
        for (const Change &c : changes) {
            if (strcmp(c.kind, "changed") != 0) {
                doc[c.kind].push_back(c.path);
                continue;
            }
            size_t space = c.key.find(' ');
            doc["changed"].push_back({{"path", c.path},
                                      {"interface", c.key.substr(0, space)},
                                      {"property", space == std::string::npos ? "" : c.key.substr(space + 1)},
                                      {"old", c.old_value ? Json(*c.old_value) : Json()},
                                      {"new", c.new_value ? Json(*c.new_value) : Json()}});
        }
        printf("%s\n", doc.dump(2).c_str());
    } else {
        size_t wp = 0, wk = 0, wo = 0;
        auto shown = [](const std::string *v) { return v ? *v : std::string("(none)"); };
        for (const Change &c : changes) {
            wp = std::max(wp, c.path.size());
            wk = std::max(wk, c.key.size());
            if (!strcmp(c.kind, "changed"))
                wo = std::max(wo, shown(c.old_value).size());
        }
        for (const Change &c : changes) {
            if (strcmp(c.kind, "changed"))
                printf("%-7s  %s\n", c.kind, c.path.c_str());
            else
                printf("%-7s  %-*s  %-*s  %-*s  %s\n", c.kind, int(wp), c.path.c_str(), int(wk), c.key.c_str(),
                       int(wo), shown(c.old_value).c_str(), shown(c.new_value).c_str());
        }
    }
    return fflush(stdout) != 0 ? kExitRefused : changes.empty() ? 0 : 1;
}

}  // namespace lumoctl
