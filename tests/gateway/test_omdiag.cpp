// OM diagnostics and bridge data: threshold bounds, the watch lists' by-name members
// and the checks of their setters.
#include <cstring>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_omdiag.h"

namespace {

using namespace lumo::test;

constexpr const char kDiag[] = "/com/quv/igd1/Tevra/OMDiag";
constexpr const char kResources[] = "/com/quv/igd1/Tevra/OMDiag/Resource";
constexpr const char kProcesses[] = "/com/quv/igd1/Tevra/OMDiag/Process";

class OMDiag : public SimTest {
protected:
    std::vector<OvanDiagResource_t> resources()
    {
        OvanDiagResource_t *objs = nullptr;
        uint32_t n = 0;
        EXPECT_EQ(OvanGetDiagResourceObjs(&objs, &n), 0);
        std::vector<OvanDiagResource_t> out(objs, objs + n);
        g_free(objs);
        return out;
    }
    std::vector<std::string> processes()
    {
        OvanDiagProcess_t *objs = nullptr;
        uint32_t n = 0;
        EXPECT_EQ(OvanGetDiagProcessObjs(&objs, &n), 0);
        std::vector<std::string> out;
        for (uint32_t i = 0; i < n; i++)
            out.emplace_back(objs[i].ServiceName);
        g_free(objs);
        return out;
    }
};

TEST_F(OMDiag, ThresholdBounds)
{
    struct Case {
        const char *tag;
        int32_t (*set)(int32_t);
        int32_t value;
        const char *refusal;  // null: accepted
    };
    const Case cases[] = {
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 0, nullptr},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 100, nullptr},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, 101,
         "Invalid flashoccupy[101], should be [0 - 100]"},
        {"OvanSetWritableFlashThreshold", OvanSetWritableFlashThreshold, -1,
         "Invalid flashoccupy[-1], should be [0 - 100]"},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, 0, nullptr},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, 65536, nullptr},
        {"OvanSetConntrackNumThreshold", OvanSetConntrackNumThreshold, -1, "Invalid conntracknum[-1], should >= 0"},
    };
    for (const Case &c : cases) {
        sim.clear_call_log();
        EXPECT_EQ(c.set(c.value), c.refusal ? -1 : 0) << c.tag << " " << c.value;
        EXPECT_EQ(sim.count_calls(kDiag), c.refusal ? 0u : 1u) << c.tag << " " << c.value;
        if (c.refusal) {
            EXPECT_TRUE(logged(LOG_ERR, c.tag, c.refusal)) << dump();
        }
    }
    ASSERT_EQ(OvanSetSysTempThreshold(90, 80), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"CPUTempThreshold", "PONTempThreshold"}));
}

TEST_F(OMDiag, ResourceByNameUpdatesOrAdds)
{
    const size_t before = resources().size();
    ASSERT_EQ(OvanAddDiagResourceByServiceName("cwmpd", 45, 25), 0);
    auto list = resources();
    ASSERT_EQ(list.size(), before) << "a listed service is updated, not added";
    EXPECT_EQ(list[1].CPUPercentage, 45u);
    EXPECT_EQ(list[1].MEMPercentage, 25u);
    EXPECT_EQ(sim.count_calls("", "", "AddObject"), 0u);

    ASSERT_EQ(OvanAddDiagResourceByServiceName("upnpd", 100, 0), 0);
    list = resources();
    ASSERT_EQ(list.size(), before + 1);
    EXPECT_STREQ(list.back().ServiceName, "upnpd");
    EXPECT_EQ(list.back().CPUPercentage, 100u);

    ASSERT_EQ(OvanDelDiagResourceByName("upnpd"), 0);
    EXPECT_EQ(resources().size(), before);
    EXPECT_EQ(OvanDelDiagResourceByName("upnpd"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDelDiagResourceByName", "did not found serviceName (upnpd)")) << dump();

    sim.clear_call_log();
    const std::string long_name(32, 'n');
    struct Refused {
        const char *name;
        uint32_t cpu, mem;
    };
    for (const Refused &r : {Refused{"", 1, 1}, Refused{nullptr, 1, 1}, Refused{"x", 101, 1},
                             Refused{"x", 1, 101}, Refused{long_name.c_str(), 1, 1}})
        EXPECT_EQ(OvanAddDiagResourceByServiceName(r.name, r.cpu, r.mem), -1) << (r.name ? r.name : "(null)");
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagResourceByServiceName",
                       "Invalid Parameter, input ServiceName <x>, CPUPercentage <101>, MEMPercentage <1>"))
        << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
}

TEST_F(OMDiag, ProcessByName)
{
    const std::string n31(31, 'p'), n32(32, 'p');
    EXPECT_EQ(OvanAddDiagProcessByName(n32.c_str()), -1);
    EXPECT_EQ(OvanAddDiagProcessByName(""), -1);
    EXPECT_EQ(OvanAddDiagProcessByName(nullptr), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "enter, serviceName length should be between 1 and 31"))
        << dump();
    EXPECT_EQ(sim.count_calls(), 0u);

    const size_t before = processes().size();
    ASSERT_EQ(OvanAddDiagProcessByName(n31.c_str()), 0);
    EXPECT_EQ(processes().back(), n31);
    EXPECT_EQ(OvanAddDiagProcessByName("dropbear"), 0);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "process (dropbear) in already in monitor list"))
        << dump();
    EXPECT_EQ(processes().size(), before + 1);

    ASSERT_EQ(OvanDelDiagProcessByName(n31.c_str()), 0);
    EXPECT_EQ(processes().size(), before);
    EXPECT_EQ(OvanDelDiagProcessByName("nope"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanDelDiagProcessByName", "did not found process (nope) in list")) << dump();

    // A failed add is reported as such.
    sim.script_error(kProcesses, "com.quv.igd1.ObjectManager", "AddObject", "org.freedesktop.DBus.Error.Failed", "full",
                     0, true);
    EXPECT_EQ(OvanAddDiagProcessByName("lighttpd"), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcessByName", "OvanAddDiagProcess failed")) << dump();
}

TEST_F(OMDiag, SettersRefuseEmptyFields)
{
    OvanDiagResource_t res{};
    res.CPUPercentage = 5;
    OvanDiagProcess_t proc{};
    OvanBridgeDataAcl_t acl{};
    g_strlcpy(acl.Protocol, "UDP", sizeof acl.Protocol);
    const OvanObjPath_t rpath = obj_path(std::string(kResources) + "/1");
    const OvanObjPath_t ppath = obj_path(std::string(kProcesses) + "/1");
    const OvanObjPath_t apath = obj_path("/com/quv/igd1/Tevra/BridgeData/ACL/1");
    EXPECT_EQ(OvanSetDiagResource(rpath, &res), -1);
    EXPECT_EQ(OvanAddDiagResource(&res), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetDiagResource", "Empty ServiceName")) << dump();
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagResource", "Empty ServiceName")) << dump();
    EXPECT_EQ(OvanSetDiagProcess(ppath, &proc), -1);
    EXPECT_EQ(OvanAddDiagProcess(&proc), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddDiagProcess", "Empty ServiceName")) << dump();
    EXPECT_EQ(OvanSetBridgeDataAclv4(apath, &acl), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetBridgeDataAclv4", "Empty parameters")) << dump();
    EXPECT_EQ(sim.count_calls(), 0u);
    g_strlcpy(res.ServiceName, "x", sizeof res.ServiceName);

    // Set writes only the limits; add writes the name too.
    res.MEMPercentage = 7;
    ASSERT_EQ(OvanSetDiagResource(rpath, &res), 0);
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"CPUPercentage", "MEMPercentage"}));
    EXPECT_EQ(resources()[0].MEMPercentage, 7u);
    EXPECT_STREQ(resources()[0].ServiceName, "dnsmasq") << "the name is not written";
    ASSERT_EQ(OvanAddDiagResource(&res), 0);
    EXPECT_TRUE(logged(LOG_DEBUG, "OvanAddDiagResource", "enter, add ServiceName <x>, CPUPercentage <5>, "
                                                         "MEMPercentage <7>"))
        << dump();
    EXPECT_EQ(sent_keys(sim), (std::vector<std::string>{"ServiceName", "CPUPercentage", "MEMPercentage"}));
}

}  // namespace
