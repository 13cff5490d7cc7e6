// WAN connections: both record layouts, the path checks, and the two look-ups with
// their status and message rules.
#include <cstring>
#include <string>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_wan.h"

namespace {

using namespace lumo::test;
using Outputs = StatusOut;

constexpr const char kDb[] = "/com/quv/igd1/Info/Network/WANConnectionDb";
constexpr const char kDbIface[] = "com.quv.igd1.WANConnectionDb";
constexpr const char kInfo[] = "com.quv.igd1.WANConnectionInfo";
const std::string kConn1 = std::string(kDb) + "/1";
const std::string kConn2 = std::string(kDb) + "/2";

// A look-up's answer: object path, result word, message.
GVariant *answer(const std::string &path, uint32_t word, const char *message)
{
    return g_variant_new("(ous)", path.c_str(), word, message);
}

using Wan = SimTest;

TEST_F(Wan, InstanceGetterKeepsPathsOfFullWidth)
{
    OvanWANConnectionv4_t rec{};
    ASSERT_EQ(OvanGetWANConnectionv4(obj_path(kConn2), &rec), 0);
    EXPECT_EQ(rec.path, kConn2);
    EXPECT_TRUE(logged(7, "OvanGetWANConnectionv4", "enter, path (" + kConn2 + ")"));

    // 255 characters: the instance getter keeps them all.
    const std::string longest = std::string(kDb) + "/" + std::string(255 - std::strlen(kDb) - 1, 'w');
    ASSERT_TRUE(sim.add_object(longest, "{'com.quv.igd1.WANConnectionInfo': {'Index': <'9'>}}"));
    OvanWANConnection_t one{};
    ASSERT_EQ(OvanGetWANConnection(obj_path(longest), &one), 0);
    EXPECT_EQ(one.path, longest);
    EXPECT_STREQ(one.Index, "9");
}

TEST_F(Wan, InstanceGetterReadFailures)
{
    ASSERT_TRUE(sim.script_error(kConn1, "", "GetAll", "org.freedesktop.DBus.Error.Failed", "down", 0, true));
    OvanWANConnection_t rec{};
    EXPECT_EQ(OvanGetWANConnection(obj_path(kConn1), &rec), -1);
    EXPECT_TRUE(logged(3, "OvanGetWANConnection", "OvanDBusGetAllProperty() failed with -1 or dict = NULL."));

    const std::string empty = std::string(kDb) + "/7";
    ASSERT_TRUE(sim.add_object(empty, "{'com.quv.igd1.WANConnectionInfo': @a{sv} {}}"));
    OvanWANConnectionv4_t rec4{};
    EXPECT_EQ(OvanGetWANConnectionv4(obj_path(empty), &rec4), -1);
    EXPECT_TRUE(logged(3, "OvanGetWANConnectionv4", "Failed with the reason: no items in the returned connection <" + empty + ">."));
}

TEST_F(Wan, ByNameFindsTheConnection)
{
    ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetWANConnByName", answer(kConn2, 0, "")));
    sim.clear_call_log();
    Outputs out;
    OvanWANConnection_t rec{};
    ASSERT_EQ(OvanGetWANConnectionByName("2_TR069_VOICE_R_VID_46", &rec, &out.status, &out.errmsg), 0);
    EXPECT_EQ(out.status, 0u);
    EXPECT_EQ(out.msg(), "<untouched>");
    EXPECT_EQ(rec.path, kConn2);
    EXPECT_STREQ(rec.ServiceList, "TR069_VOICE");
    auto calls = sim.call_log();
    ASSERT_GE(calls.size(), 1u);
    EXPECT_EQ(calls[0].method, "GetWANConnByName");
    EXPECT_EQ(calls[0].args_text(), "('2_TR069_VOICE_R_VID_46',)");
    EXPECT_TRUE(logged(7, "OvanGetWANConnectionByName", "name(2_TR069_VOICE_R_VID_46)"));

    OvanWANConnectionv4_t rec4{};
    ASSERT_EQ(OvanGetWANConnectionByNamev4("x", &rec4, nullptr, nullptr), 0);
    EXPECT_EQ(rec4.path, kConn2);
    EXPECT_EQ(rec4.VLANID, 46u);
}

TEST_F(Wan, ByNameRefusesBadInputWithoutCalling)
{
    sim.clear_call_log();
    OvanWANConnection_t rec{};
    const char *names[] = {nullptr, ""};
    for (const char *name : names) {
        Outputs out;
        EXPECT_EQ(OvanGetWANConnectionByName(name, &rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Invalid parameters.");
    }
    Outputs out;
    EXPECT_EQ(OvanGetWANConnectionByNamev4("1_INTERNET_R_VID_41", nullptr, &out.status, &out.errmsg), -1);
    EXPECT_EQ(out.msg(), "Invalid parameters.");
    EXPECT_EQ(OvanGetWANConnectionByName(nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Wan, ByNameStatusAndMessages)
{
    OvanWANConnection_t rec{};
    OvanWANConnectionv4_t rec4{};
    {  // the call fails
        ASSERT_TRUE(sim.script_error(kDb, kDbIface, "GetWANConnByName", "org.freedesktop.DBus.Error.Failed", "x",
                                     0, true));
        Outputs out;
        EXPECT_EQ(OvanGetWANConnectionByName("a", &rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Internal Error");
    }
    sim.clear_call_log();
    {  // a refusal with a message; the v4 line names the first-layout function
        ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetWANConnByName", "(objectpath '/', uint32 3, 'no such')"));
        Outputs out;
        EXPECT_EQ(OvanGetWANConnectionByNamev4("a", &rec4, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 3u);
        EXPECT_EQ(out.msg(), "no such");
        EXPECT_TRUE(logged(3, "OvanGetWANConnectionByNamev4", "Call OvanGetWANConnectionByName() errmsg [no such]."));
    }
    {  // a refusal without one
        ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetWANConnByName", "(objectpath '/', uint32 4, '')"));
        Outputs out;
        EXPECT_EQ(OvanGetWANConnectionByName("a", &rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 4u);
        EXPECT_EQ(out.msg(), "<untouched>");
    }
    EXPECT_EQ(sim.count_calls("", "", "GetAll"), 0u);
    {  // found, but the connection cannot be read
        ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetWANConnByName",
                                     answer(std::string(kDb) + "/9", 0, "")));
        Outputs out;
        EXPECT_EQ(OvanGetWANConnectionByName("a", &rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Get WanConnection failed.");
    }
}

TEST_F(Wan, InternetConnection)
{
    OvanWANConnection_t rec{};
    Outputs out;
    ASSERT_EQ(OvanGetInternetWANConnection(&rec, &out.status, &out.errmsg), 0);
    EXPECT_EQ(out.status, 0u);
    EXPECT_EQ(out.msg(), "<untouched>");
    EXPECT_EQ(rec.path, kConn1);
    EXPECT_STREQ(rec.IPAddress, "100.64.12.34");
    EXPECT_TRUE(logged(7, "OvanGetInternetWANConnection", "Enter"));
    EXPECT_TRUE(logged(7, "OvanGetInternetWANConnection", "GetInternetConnIndex() return [(objectpath '" + kConn1 + "', uint32 0, '')]"));

    OvanWANConnectionv4_t rec4{};
    ASSERT_EQ(OvanGetInternetWANConnectionv4(&rec4, nullptr, nullptr), 0);
    EXPECT_EQ(rec4.SpeedLimit_DOWN, 512000u);

    sim.clear_call_log();
    Outputs refused;
    EXPECT_EQ(OvanGetInternetWANConnectionv4(nullptr, &refused.status, &refused.errmsg), -1);
    EXPECT_EQ(refused.status, 1u);
    EXPECT_EQ(refused.msg(), "Invalid parameters.");
    EXPECT_TRUE(logged(3, "OvanGetInternetWANConnectionv4", "Invalid parameter."));
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(Wan, InternetStatusAndMessages)
{
    OvanWANConnection_t rec{};
    OvanWANConnectionv4_t rec4{};
    {
        ASSERT_TRUE(sim.script_error(kDb, kDbIface, "GetInternetConnIndex", "org.freedesktop.DBus.Error.Failed",
                                     "x", 0, true));
        Outputs out;
        EXPECT_EQ(OvanGetInternetWANConnection(&rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 1u);
        EXPECT_EQ(out.msg(), "Call GetInternetConnIndex() failed.");
    }
    sim.clear_call_log();
    {  // the service's message is logged at level 6, and no read follows
        ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetInternetConnIndex", "(objectpath '/', uint32 2, 'no wan')"));
        Outputs out;
        EXPECT_EQ(OvanGetInternetWANConnectionv4(&rec4, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 2u);
        EXPECT_EQ(out.msg(), "no wan");
        EXPECT_TRUE(logged(6, "OvanGetInternetWANConnectionv4", "Call OvanGetInternetWANConnection() errmsg [no wan]."));
        EXPECT_EQ(sim.count_calls("", "", "GetAll"), 0u);
    }
    {  // an unreadable connection fails without touching status or message
        ASSERT_TRUE(sim.script_reply(kDb, kDbIface, "GetInternetConnIndex",
                                     answer(std::string(kDb) + "/9", 0, "fine")));
        Outputs out;
        EXPECT_EQ(OvanGetInternetWANConnection(&rec, &out.status, &out.errmsg), -1);
        EXPECT_EQ(out.status, 0u);
        EXPECT_EQ(out.msg(), "<untouched>");
    }
}

}  // namespace
