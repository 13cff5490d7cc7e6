// Every gateway object lumoctl reaches (its registry: one row per record and its
// functions), checked the same way: path and record arguments refused before the
// bus, reads that match the gateway field by field, adds that leave nothing behind
// when the write is refused, and the WiFi and USB guards.
#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <syslog.h>
#include <vector>

#include "bus/connection.hpp"
#include "bus_support/bus_fixture.hpp"
#include "gateway/walkers.hpp"
#include "hostile/registry_reads.hpp"
#include "lumo3.h"
#include "tools/lumoctl/registry.hpp"

namespace {

using namespace lumo::test;
using lumo::GPtr;
using lumo::gw::Type;
using lumoctl::Entry;

std::string name_of(const Entry &e)
{
    return std::string(e.object) + (e.layout[0] ? "/" : "") + e.layout;
}

class Registry : public lumo::test::GuardedSimTest {
protected:
    // Reads every instance of the entry: the singleton, the listing, or the listing
    // below the first parent. False when the entry has no reader.
    bool read(const Entry &e, const RecordSeen &each)
    {
        if (!e.get && !e.list && !e.list_at)
            return false;
        const int32_t rc = e.get ? read_get(e, each) : read_list(e, e.list ? "" : lumoctl::first_parent(e), each);
        EXPECT_EQ(rc, 0) << name_of(e) << dump();
        return true;
    }

    // The path of the entry's first instance, "" when it has none.
    std::string first_path(const Entry &e)
    {
        std::string path;
        if (!e.get)
            read(e, [&](const unsigned char *rec) {
                if (path.empty())
                    path = lumoctl::record_path(rec);
            });
        return path;
    }
};

// A field as the bus would carry it, from the record.
GPtr<GVariant> value_of(const lumo::gw::Field &f, const void *rec)
{
    GPtr<GVariant> d = lumo::ref_sink(lumo::gw::build_dict({&f, 1}, rec));
    return GPtr<GVariant>(d ? g_variant_lookup_value(d.get(), f.name, nullptr) : nullptr);
}

// The entries of an "as" value, each cut to a slot of `width` bytes.
std::vector<std::string> cut_list(GVariant *list, size_t width)
{
    std::vector<std::string> out;
    for (size_t i = 0; i < g_variant_n_children(list); i++) {
        GPtr<GVariant> x(g_variant_get_child_value(list, i));
        out.push_back(std::string(g_variant_get_string(x.get(), nullptr)).substr(0, width - 1));
    }
    return out;
}

// Every field a record holds equals the gateway's property of that name (a string
// cut to the field's width), and every field of the table is found on some
// instance, so a misspelt or mistyped table row shows. No password, key or LOID
// read reaches a log line.
TEST_F(Registry, ReadsMatchTheGatewayFieldByField)
{
    // Filled by the library from elsewhere, or from a second interface.
    const std::set<std::string> not_from_the_object = {"lanhost.DevName", "lanhost/ext.DevName",
                                                       "lanhost/ipv6.DevName"};
    size_t secrets = 0;
    for (const Entry &e : lumoctl::entries()) {
        SCOPED_TRACE(name_of(e));
        const auto compared = [&](const lumo::gw::Field &f) {
            return f.from_bus() && f.type != Type::Bytes && !not_from_the_object.count(name_of(e) + "." + f.name);
        };
        std::set<std::string> unseen;
        bool answered = false;
        for (const auto &f : e.table->fields)
            if (compared(f))
                unseen.insert(f.name);
        log.clear();
        const bool readable = read(e, [&](const unsigned char *rec) {
            for (const auto &f : e.table->fields) {
                if (f.type != Type::Str || !lumo::bus::secret_name(f.name) || !rec[f.offset])
                    continue;
                ++secrets;
                EXPECT_FALSE(log_mentions(log, reinterpret_cast<const char *>(rec + f.offset))) << f.name << dump();
            }
            // The online hosts come from a snapshot of fewer fields.
            if (std::strcmp(e.object, "online") == 0)
                return;
            const char *path = lumoctl::record_path(rec);
            if (!g_variant_is_object_path(path)) {
                ADD_FAILURE() << "no path in the record";  // singletons name their object too
                return;
            }
            GPtr<GVariant> all =
                sim.call(path, "com.quv.igd1.Properties", "GetAll", g_variant_new("(s)", e.table->interface));
            if (!all)
                return;  // the FTP server's record names its object in lower case
            answered = true;
            GPtr<GVariant> props(g_variant_get_child_value(all.get(), 0));
            for (const auto &f : e.table->fields) {
                if (!compared(f))
                    continue;
                GPtr<GVariant> want(g_variant_lookup_value(props.get(), f.name, nullptr));
                GPtr<GVariant> got = value_of(f, rec);
                ASSERT_TRUE(got) << path << " " << f.name;
                if (!want || !g_variant_is_of_type(want.get(), g_variant_get_type(got.get())))
                    continue;
                unseen.erase(f.name);
                GPtr<char> w(g_variant_print(want.get(), TRUE)), g(g_variant_print(got.get(), TRUE));
                if (f.type == Type::Str) {
                    EXPECT_EQ(std::string(g_variant_get_string(got.get(), nullptr)),
                              std::string(g_variant_get_string(want.get(), nullptr)).substr(0, f.size - 1u))
                        << path << " " << f.name;
                } else if (f.type == Type::Bool) {
                    EXPECT_EQ(!!g_variant_get_boolean(got.get()), !!g_variant_get_boolean(want.get()))
                        << path << " " << f.name;
                } else if (f.type == Type::StrList) {
                    EXPECT_EQ(cut_list(got.get(), 1000), cut_list(want.get(), f.size)) << path << " " << f.name;
                } else {
                    EXPECT_STREQ(g.get(), w.get()) << path << " " << f.name;
                }
            }
        });
        // A USB device's file-system fields come from a second interface.
        if (readable && answered && std::strcmp(e.object, "usb") != 0) {
            EXPECT_TRUE(unseen.empty()) << "never read: " << *unseen.begin();
        }
    }
    EXPECT_GT(secrets, 0u) << "no record of the model holds a secret: the secrets check proved nothing";
}

// A path without its terminator, an empty or malformed one, and a null record are
// refused by every function that takes them, with an error line and nothing sent.
TEST_F(Registry, PathsAndRecordsRefusedBeforeTheBus)
{
    for (const Entry &e : lumoctl::entries()) {
        SCOPED_TRACE(name_of(e));
        std::string first = first_path(e);
        if (first.empty())
            first = "/com/quv/igd1/Config/x";  // no listing: the prefix check alone
        OvanObjPath_t unterminated;
        std::memset(unterminated.str, 'x', sizeof unterminated.str);
        std::memcpy(unterminated.str, first.data(), first.size());
        // ...and a sibling collection whose name starts the same, and another subtree.
        // (Collections below an instance are judged by their parent's prefix.)
        std::string sibling = first;
        sibling.insert(sibling.rfind('/', e.below ? sibling.find(e.below) - 1 : std::string::npos), "X");
        const OvanObjPath_t bad[] = {unterminated,      obj_path(""),      obj_path(first.substr(1)),
                                     obj_path(first + "//1"), obj_path(sibling), obj_path("/com/quv/igd1/Other/1")};
        std::vector<char> rec(e.table->record_size);
        // The VPN connections are found by lumoctl in their listing, not by the library.
        const auto get_at = std::strncmp(e.object, "vpn", 3) == 0 && e.list ? nullptr : e.get_at;
        for (const OvanObjPath_t &p : bad) {
            SCOPED_TRACE(std::string(p.str, strnlen(p.str, 40)));
            ASSERT_TRUE(sim.clear_call_log());
            log.clear();
            if (get_at) {
                EXPECT_EQ(get_at(p, rec.data()), -1);
            }
            if (e.set_at) {
                EXPECT_EQ(e.set_at(p, rec.data()), -1);
            }
            if (e.del) {
                EXPECT_EQ(e.del(p), -1);
            }
            EXPECT_EQ(sim.count_calls(), 0u);
            if (e.get_at || e.set_at || e.del) {
                EXPECT_TRUE(log.contains("", LOG_ERR)) << "no error line\n" << dump();
            }
        }
        ASSERT_TRUE(sim.clear_call_log());
        if (get_at) {
            EXPECT_EQ(get_at(obj_path(first), nullptr), -1);
        }
        if (e.get) {
            EXPECT_EQ(e.get(nullptr), -1);
        }
        if (e.add) {
            EXPECT_EQ(e.add(nullptr), -1);
        }
        // Not where lumoctl hands single values taken from the record to the library
        // (or the given fields one by one).
        const bool whole = !std::set<std::string>{"device", "wps", "telnet-server", "httpdownload", "speedtest-ff",
                                                  "speedtest-local", "wifi", "omdiag"}
                                .count(e.object);
        if (e.set && whole) {
            EXPECT_EQ(e.set(nullptr, {}), -1);
        }
        if (e.set_at && whole) {
            EXPECT_EQ(e.set_at(obj_path(first), nullptr), -1);
        }
        if (e.list) {
            void *objs = nullptr;
            EXPECT_EQ(e.list(&objs, nullptr, nullptr, nullptr), -1);
        }
        EXPECT_EQ(sim.count_calls(), 0u);
    }
}

// An add whose write the gateway refuses deletes the object it made.
TEST_F(Registry, AddLeavesNothingWhenTheWriteIsRefused)
{
    size_t adds = 0;
    for (const Entry &e : lumoctl::entries()) {
        if (!e.add)
            continue;
        SCOPED_TRACE(name_of(e));
        uint32_t before = 0, after = 0;
        std::vector<char> rec(e.table->record_size);
        read(e, [&](const unsigned char *listed) {
            if (before++ == 0)
                std::memcpy(rec.data(), listed, rec.size());
        });
        for (const auto &f : e.table->fields)
            if (f.type == Type::StrList || f.type == Type::Bytes)
                std::memset(rec.data() + f.offset, 0, 4), std::memset(rec.data() + f.aux, 0, sizeof(void *));
        ASSERT_TRUE(sim.script_error("", "", "SetMulti", "org.freedesktop.DBus.Error.Failed", "refused", 0, true));
        ASSERT_TRUE(sim.clear_call_log());
        EXPECT_EQ(e.add(rec.data()), -1);
        const size_t made = sim.count_calls("", "", "AddObject");
        EXPECT_EQ(sim.count_calls("", "", "DeleteObject"), made);
        adds += made;
        ASSERT_TRUE(sim.clear_scripts());
        read(e, [&](const unsigned char *) { ++after; });
        EXPECT_EQ(after, before);
    }
    EXPECT_GT(adds, 3u);
}

// A value for each argument of the command that it accepts.
std::vector<std::string> arguments(const lumoctl::Command &c)
{
    static const std::pair<const char *, const char *> values[] = {
        {"PATH", "/com/quv/igd1/Config/WLAN/Devices/1/WPS"}, {"MAC", "0C4B54A1B2C3"}, {"BAND", "5G"}, {"URL", "http://192.168.1.2/x"},
        {"SSID_INDEX", "1"}, {"INDEX_24G", "1"}, {"INDEX_5G", "5"}, {"PASSWORD", "secret-1"},
        {"DATETIME", "2024-05-01 08:00:00"}, {"SSID", "Quv-Guest"}, {"REMOTE_IP", "192.168.1.9"},
        {"FOLDER", "/"}, {"MOUNTPOINT", "/mnt/usb1_1"}, {"BSSID", "0C4B54A1B2C3"},
    };
    std::vector<std::string> out;
    for (const char *name : c.args) {
        out.push_back("1");
        for (const auto &v : values)
            if (std::strcmp(name, v.first) == 0)
                out.back() = v.second;
    }
    return out;
}

// `reply` with its closing word and message replaced; null when it does not end in
// a "u" and an "s".
GVariant *with_word(GVariant *reply, uint32_t word, const char *message)
{
    const size_t n = g_variant_n_children(reply);
    GPtr<GVariant> u(n >= 2 ? g_variant_get_child_value(reply, n - 2) : nullptr);
    GPtr<GVariant> s(n >= 2 ? g_variant_get_child_value(reply, n - 1) : nullptr);
    if (!u || !g_variant_is_of_type(u.get(), G_VARIANT_TYPE_UINT32) ||
        !g_variant_is_of_type(s.get(), G_VARIANT_TYPE_STRING))
        return nullptr;
    std::vector<GVariant *> kids;
    for (size_t i = 0; i + 2 < n; i++)
        kids.push_back(g_variant_get_child_value(reply, i));
    kids.push_back(g_variant_ref_sink(g_variant_new_uint32(word)));
    kids.push_back(g_variant_ref_sink(g_variant_new_string(message)));
    GVariant *out = g_variant_new_tuple(kids.data(), kids.size());
    for (GVariant *k : kids)
        g_variant_unref(k);
    return out;
}

// Every command that asks the gateway for a word and a message hands them on: a
// refusal's word and text, and word 1 with the library's own text when the call
// fails.
TEST_F(Registry, CommandsReportTheGatewaysWordAndMessage)
{
    size_t checked = 0;
    for (const lumoctl::Command &c : lumoctl::commands()) {
        SCOPED_TRACE(std::string(c.object) + " " + c.name);
        std::vector<std::string> args = arguments(c);
        // A PATH names an instance of the command's own object where it has a listing.
        for (const Entry &e : lumoctl::entries())
            for (size_t i = 0; i < args.size(); i++)
                if (std::strcmp(c.args[i], "PATH") == 0 && std::strcmp(e.object, c.object) == 0 && e.list &&
                    !first_path(e).empty())
                    args[i] = first_path(e);
        const auto run = [&](lumoctl::CommandResult &out) {
            try {
                return c.run(args, out);
            } catch (const lumoctl::Failure &f) {
                ADD_FAILURE() << "refused: " << f.message;
                return -9;
            }
        };
        lumoctl::CommandResult first;
        ASSERT_TRUE(sim.clear_call_log());
        run(first);
        const auto calls = sim.call_log();
        // Plain queries, arguments refused by the library, and an unmount that finds
        // no device once the probe below has unmounted it.
        if (!first.has_status || calls.empty() || std::strcmp(c.name, "unmount") == 0)
            continue;
        const LoggedCall &asked = calls.back();
        GPtr<GVariant> reply = sim.call(asked.path, asked.iface, asked.method, g_variant_ref(asked.args.get()));
        ASSERT_TRUE(reply) << asked.method;
        GVariant *busy = with_word(reply.get(), 4, "busy");
        if (!busy)
            continue;
        ASSERT_TRUE(sim.script_reply(asked.path, asked.iface, asked.method, busy, 0, true));
        lumoctl::CommandResult refused;
        EXPECT_EQ(run(refused), -1);
        EXPECT_EQ(refused.status, 4u);
        EXPECT_EQ(refused.message, "busy");

        ASSERT_TRUE(sim.script_error(asked.path, asked.iface, asked.method, "org.freedesktop.DBus.Error.Failed",
                                     "down", 0, true));
        lumoctl::CommandResult failed;
        EXPECT_EQ(run(failed), -1);
        EXPECT_EQ(failed.status, 1u);
        EXPECT_EQ(failed.message.rfind("Failed to call ", 0), 0u) << failed.message;
        ++checked;
    }
    EXPECT_GT(checked, 40u);
}

// A gateway of interface version 2 without WiFi (or USB storage): every guarded
// function and command answers 1 with its outputs untouched, and nothing but the
// capability question reaches the bus; the others still read.
TEST_F(Registry, GuardsAnswer1AndSendNothing)
{
    for (const char *capability : {"'1;1;1;0;0'", "'1;1;0;1;1'"}) {
        SCOPED_TRACE(capability);
        const bool wifi = capability[7] == '0';
        ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "DBusInterfaceVersion", "'1.2.0'"));
        ASSERT_TRUE(sim.set_property(kDevicePath, kDeviceIface, "Capability", capability));
        gwdbusver = -1;
        wifivalinit = 0;
        usbvalinit = 0;
        for (const Entry &e : lumoctl::entries()) {
            SCOPED_TRACE(name_of(e));
            const bool guarded = wifi ? e.wifi : e.usb;
            std::vector<char> rec(e.table->record_size);
            void *objs = nullptr;
            uint32_t count = 77, status = 77;
            char *message = nullptr;
            ASSERT_TRUE(sim.clear_call_log());
            if (e.get) {
                EXPECT_EQ(e.get(rec.data()), guarded ? 1 : 0);
                lumoctl::release_lists(*e.table, rec.data());
            }
            if (e.list) {
                EXPECT_EQ(e.list(&objs, &count, &status, &message), guarded ? 1 : 0);
                lumoctl::release_lists(*e.table, objs, objs ? count : 0);
                g_free(objs);
                g_free(message);
            }
            if (guarded) {
                if (e.get_at) {
                    EXPECT_EQ(e.get_at(obj_path("/com/quv/igd1/x/1"), rec.data()), 1);
                }
                if (e.set_at) {
                    EXPECT_EQ(e.set_at(obj_path("/com/quv/igd1/x/1"), rec.data()), 1);
                }
                if (e.add) {
                    EXPECT_EQ(e.add(rec.data()), 1);
                }
                if (e.del) {
                    EXPECT_EQ(e.del(obj_path("/com/quv/igd1/x/1")), 1);
                }
                EXPECT_TRUE(std::all_of(rec.begin(), rec.end(), [](char c) { return c == 0; }));
                EXPECT_EQ(count, 77u);
                EXPECT_EQ(status, 77u);
                for (const LoggedCall &c : sim.call_log())
                    EXPECT_EQ(c.path, kDevicePath) << c.method;
            }
        }
        for (const lumoctl::Command &c : lumoctl::commands()) {
            if (!(wifi ? c.wifi : c.usb))
                continue;
            SCOPED_TRACE(std::string(c.object) + " " + c.name);
            ASSERT_TRUE(sim.clear_call_log());
            lumoctl::CommandResult out;
            out.status = 77;
            EXPECT_EQ(c.run(arguments(c), out), 1);
            EXPECT_EQ(out.status, 77u);
            EXPECT_EQ(out.message, "");
            for (const LoggedCall &l : sim.call_log())
                EXPECT_EQ(l.path, kDevicePath) << l.method;
        }
    }
}

}  // namespace
