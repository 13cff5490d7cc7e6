// The NAS and the USB file systems as a gateway would run them: file operations
// really change the NAS tree, a copy's progress advances poll by poll, mounting and
// labelling change the device's properties.
//
// The tree lives in the model, on the NAS object, as the property Entries
// ("a(sbts)": path, folder, size, modification time) of the simulator's own
// interface org.lumo3.Simulator1.NASTree, so a model file can seed it.
#include <cstring>
#include <map>
#include <string>

#include "tools/gwsim/extension.hpp"

namespace lumo::gwsim {

namespace {

constexpr const char kNasPath[] = "/com/quv/igd1/Storage/nas";
constexpr const char kNasIface[] = "com.quv.igd1.NASAccess";
constexpr const char kTreeIface[] = "org.lumo3.Simulator1.NASTree";
constexpr const char kFileSystemIface[] = "com.quv.igd1.usb.FileSystem";
constexpr const char kDeviceIface[] = "com.quv.igd1.usb.Device";
constexpr uint32_t kNotFound = 2, kExists = 17, kNotFolder = 20, kBadArgs = 22;
constexpr uint32_t kProgressStep = 25;

struct Node {
    bool folder;
    guint64 size;
    std::string mtime;
};
using Tree = std::map<std::string, Node>;

std::string now()
{
    GDateTime *t = g_date_time_new_now_local();
    gchar *s = g_date_time_format(t, "%Y-%m-%d %H:%M:%S");
    std::string out = s;
    g_free(s);
    g_date_time_unref(t);
    return out;
}

Interface *tree_iface(Model &m)
{
    auto it = m.objects.find(kNasPath);
    return it == m.objects.end() ? nullptr : &it->second.ensure(kTreeIface);
}

Tree load(Model &m)
{
    Tree t;
    Interface *i = tree_iface(m);
    GVariant *v = i ? i->get("Entries") : nullptr;
    if (!v || !g_variant_is_of_type(v, G_VARIANT_TYPE("a(sbts)")))
        return t;
    GVariantIter it;
    g_variant_iter_init(&it, v);
    const char *path, *mtime;
    gboolean folder;
    guint64 size;
    while (g_variant_iter_next(&it, "(&sbt&s)", &path, &folder, &size, &mtime))
        t[path] = Node{folder != 0, size, mtime};
    return t;
}

void save(Model &m, const Tree &t)
{
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a(sbts)"));
    for (const auto &[path, n] : t)
        g_variant_builder_add(&b, "(sbts)", path.c_str(), n.folder, n.size, n.mtime.c_str());
    GPtr<GVariant> v = ref_sink(g_variant_builder_end(&b));
    if (Interface *i = tree_iface(m))
        i->set("Entries", v.get());
}

std::string parent_of(const std::string &p)
{
    size_t slash = p.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : p.substr(0, slash);
}

std::string base_of(const std::string &p)
{
    return p.substr(p.rfind('/') + 1);
}

bool below(const std::string &p, const std::string &root)
{
    return p == root || p.compare(0, root.size() + 1, root + "/") == 0;
}

bool is_folder(const Tree &t, const std::string &p)
{
    auto it = t.find(p);
    return it != t.end() && it->second.folder;
}

// Moves (or copies) the subtree at `from` to `to`; 0 or a result code.
uint32_t relocate(Tree &t, const std::string &from, const std::string &to, bool copy)
{
    if (!t.count(from))
        return kNotFound;
    if (t.count(to))
        return kExists;
    if (!is_folder(t, parent_of(to)))
        return kNotFolder;
    if (below(to, from))
        return kBadArgs;  // into itself
    Tree moved;
    for (auto it = t.begin(); it != t.end();) {
        if (below(it->first, from)) {
            moved[to + it->first.substr(from.size())] = it->second;
            it = copy ? std::next(it) : t.erase(it);
        } else {
            ++it;
        }
    }
    t.insert(moved.begin(), moved.end());
    return 0;
}

GPtr<GVariant> result(uint32_t code, const char *text)
{
    return ref_sink(g_variant_new("(us)", code, code ? text : ""));
}

const char *message(uint32_t code)
{
    switch (code) {
    case kNotFound: return "No such file or folder";
    case kExists: return "File or folder exists";
    case kNotFolder: return "Not a folder";
    default: return "Invalid arguments";
    }
}

std::map<uint32_t, uint32_t> &copies()  // transaction -> progress
{
    static std::map<uint32_t, uint32_t> all;
    return all;
}

bool args_are(GVariant *args, const char *type)
{
    return args && g_variant_is_of_type(args, G_VARIANT_TYPE(type));
}

bool nas(ExtensionCall &c, GPtr<GVariant> *reply)
{
    if (c.path != kNasPath || c.iface != kNasIface)
        return false;
    Tree t = load(c.model);
    const std::string &m = c.member;
    const char *a = nullptr, *b = nullptr;
    if (m == "GetFileNum" && args_are(c.args, "(s)")) {
        g_variant_get(c.args, "(&s)", &a);
        uint32_t n = 0;
        for (const auto &[path, node] : t)
            n += parent_of(path) == a && path != a;
        const uint32_t code = is_folder(t, a) ? 0 : kNotFound;
        *reply = ref_sink(g_variant_new("(uus)", code ? 0 : n, code, code ? message(code) : ""));
        return true;
    }
    if (m == "ListFolder" && args_are(c.args, "(suu)")) {
        guint32 start, end;
        g_variant_get(c.args, "(&suu)", &a, &start, &end);
        GVariantBuilder list;
        g_variant_builder_init(&list, G_VARIANT_TYPE("a(ssbts)"));
        uint32_t index = 0;
        for (const auto &[path, node] : t) {
            if (parent_of(path) != a || path == a)
                continue;
            ++index;
            if (index >= start && index <= end)
                g_variant_builder_add(&list, "(ssbts)", base_of(path).c_str(), path.c_str(), node.folder, node.size,
                                      node.mtime.c_str());
        }
        const uint32_t code = is_folder(t, a) ? 0 : kNotFound;
        *reply = ref_sink(g_variant_new("(@a(ssbts)us)", g_variant_builder_end(&list), code, code ? message(code) : ""));
        return true;
    }
    uint32_t code = kBadArgs;
    if (m == "CreateFolder" && args_are(c.args, "(s)")) {
        g_variant_get(c.args, "(&s)", &a);
        code = t.count(a) ? kExists : !is_folder(t, parent_of(a)) ? kNotFolder : 0;
        if (code == 0)
            t[a] = Node{true, 0, now()};
    } else if (m == "Remove" && args_are(c.args, "(s)")) {
        g_variant_get(c.args, "(&s)", &a);
        code = t.count(a) ? 0 : kNotFound;
        for (auto it = t.begin(); code == 0 && it != t.end();)
            it = below(it->first, a) ? t.erase(it) : std::next(it);
    } else if (m == "Rename" && args_are(c.args, "(ss)")) {
        // A new name without a folder stays in the old one.
        g_variant_get(c.args, "(&s&s)", &a, &b);
        std::string to = std::strchr(b, '/') ? b : parent_of(a) + "/" + b;
        code = relocate(t, a, to, false);
    } else if ((m == "Move" || m == "Copy") && args_are(c.args, "(ss)")) {
        g_variant_get(c.args, "(&s&s)", &a, &b);
        code = is_folder(t, b) ? relocate(t, a, std::string(b) + "/" + base_of(a), m == "Copy") : kNotFolder;
        if (m == "Copy") {
            static uint32_t next_transaction = 1;
            const uint32_t id = code == 0 ? next_transaction++ : 0;
            if (code == 0)
                copies()[id] = 0;
            save(c.model, t);
            *reply = ref_sink(g_variant_new("(uus)", id, code, code ? message(code) : ""));
            return true;
        }
    } else if (m == "GetCopyProgress" && args_are(c.args, "(u)")) {
        guint32 id;
        g_variant_get(c.args, "(u)", &id);
        auto it = copies().find(id);
        if (it == copies().end()) {
            *reply = ref_sink(g_variant_new("(uus)", 0u, 1u, "Unknown transaction"));
            return true;
        }
        it->second = std::min<uint32_t>(100, it->second + kProgressStep);
        *reply = ref_sink(g_variant_new("(uus)", it->second, 0u, ""));
        return true;
    } else {
        return false;
    }
    save(c.model, t);
    *reply = result(code, message(code));
    return true;
}

// Mount, Unmount, Format and SetLabel on a USB device's file system.
bool usb(ExtensionCall &c, GPtr<GVariant> *reply)
{
    if (c.iface != kFileSystemIface)
        return false;
    auto obj = c.model.objects.find(c.path);
    if (obj == c.model.objects.end())
        return false;
    Interface *fs = obj->second.find(kFileSystemIface);
    Interface *dev = obj->second.find(kDeviceIface);
    if (!fs || !dev)
        return false;
    GVariant *mp = fs->get("MountPoint");
    const std::string mounted = mp && g_variant_is_of_type(mp, G_VARIANT_TYPE_STRING) ? g_variant_get_string(mp, nullptr) : "";
    if (c.member == "Mount" && args_are(c.args, "(a{sv})")) {
        std::string point = mounted;
        if (point.empty()) {
            GVariant *id = dev->get("DeviceId");
            point = "/mnt/usb" + std::to_string(id && g_variant_is_of_type(id, G_VARIANT_TYPE_INT32)
                                                    ? g_variant_get_int32(id)
                                                    : 0) +
                    "_1";
            c.set_prop(c.path, kFileSystemIface, "MountPoint", g_variant_new_string(point.c_str()));
        }
        *reply = ref_sink(g_variant_new("(sus)", point.c_str(), 0u, ""));
        return true;
    }
    if (c.member == "Unmount" && args_are(c.args, "(a{sv})")) {
        if (mounted.empty()) {
            *reply = result(kBadArgs, "Device is not mounted");
            return true;
        }
        c.set_prop(c.path, kFileSystemIface, "MountPoint", g_variant_new_string(""));
        *reply = result(0, "");
        return true;
    }
    if (c.member == "Format" && args_are(c.args, "(a{sv})")) {
        GVariant *total = fs->get("TotalSize");
        if (total && g_variant_is_of_type(total, G_VARIANT_TYPE_UINT64)) {
            GPtr<GVariant> keep(g_variant_ref(total));
            c.set_prop(c.path, kFileSystemIface, "UsedSize", g_variant_new_uint64(0));
            c.set_prop(c.path, kFileSystemIface, "FreeSize", keep.get());
        }
        *reply = result(0, "");
        return true;
    }
    if (c.member == "SetLabel" && args_are(c.args, "(s)")) {
        const char *label = nullptr;
        g_variant_get(c.args, "(&s)", &label);
        c.set_prop(c.path, kFileSystemIface, "Label", g_variant_new_string(label));
        *reply = result(0, "");
        return true;
    }
    return false;
}

const ExtensionRegistrar kNas(nas);
const ExtensionRegistrar kUsb(usb);

}  // namespace

}  // namespace lumo::gwsim
