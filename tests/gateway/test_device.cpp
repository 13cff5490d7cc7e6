// Device, network, PON and VoIP information; the capability questions; the name.
#include <ostream>
#include <string>

#include "bus_support/bus_fixture.hpp"
#include "lumo3_device.h"

namespace {

using namespace lumo::test;

constexpr const char kDevice[] = "/com/quv/igd1/Info/Device";

using Device = SimTest;

struct CapabilityCase {
    const char *capability;
    uint32_t wifi;
    uint32_t usb;
};

void PrintTo(const CapabilityCase &c, std::ostream *os) { *os << '"' << c.capability << '"'; }

class Capability : public Device, public testing::WithParamInterface<CapabilityCase> {};

TEST_P(Capability, Fields)
{
    ASSERT_TRUE(sim.set_property(kDevice, kDeviceIface, "Capability",
                                 ("'" + std::string(GetParam().capability) + "'").c_str()));
    uint32_t wifi = 7, usb = 7;
    EXPECT_EQ(OvanSupportWiFi(&wifi), 0);
    EXPECT_EQ(OvanSupportUSB(&usb), 0);
    EXPECT_EQ(wifi, GetParam().wifi);
    EXPECT_EQ(usb, GetParam().usb);
}

INSTANTIATE_TEST_SUITE_P(
    Strings, Capability,
    testing::Values(CapabilityCase{"0;0;1;0;1", 1, 1}, CapabilityCase{"1;1;0;0;0", 0, 0},
                    CapabilityCase{"1;1;1", 0, 1},            // fields 4 and 5 missing
                    CapabilityCase{"0;0;0;1;0", 1, 0}, CapabilityCase{"", 0, 0},
                    CapabilityCase{"0;0;x;y;2", 1, 0},        // not numbers count as 0
                    CapabilityCase{";;;;", 0, 0}, CapabilityCase{"0;0;0;0;0;1", 0, 0},  // a sixth field is ignored
                    // a field is cut to 15 characters before it is converted
                    CapabilityCase{"0;0;0000000000000001;0;0", 0, 0},
                    CapabilityCase{"0;0;000000000000001;0;0", 0, 1}));

TEST_F(Device, CapabilityUnreadableCountsAsPresent)
{
    ASSERT_TRUE(sim.script_error(kDevice, "com.quv.igd1.Properties", "Get", "org.freedesktop.DBus.Error.Failed",
                                 "gone"));
    uint32_t wifi = 0, usb = 0;
    EXPECT_NE(OvanSupportWiFi(&wifi), 0);
    EXPECT_EQ(wifi, 1u);
    EXPECT_NE(OvanSupportUSB(&usb), 0);
    EXPECT_EQ(usb, 1u);
    EXPECT_EQ(OvanSupportWiFi(nullptr), -1);
}

TEST_F(Device, DeviceName)
{
    const std::string exact(128, 'n');
    EXPECT_EQ(OvanDeviceSetDevName(exact.c_str()), 0);
    auto v = sim.property(kDevice, kDeviceIface, "DevName");
    ASSERT_TRUE(v);
    EXPECT_EQ(std::string(g_variant_get_string(v.get(), nullptr)), exact);

    sim.clear_call_log();
    const std::string longer(129, 'n');
    EXPECT_EQ(OvanDeviceSetDevName(longer.c_str()), -1);
    EXPECT_TRUE(log.contains("devname(" + longer + ") is too long, its length is limited to 128", 3));
    EXPECT_EQ(sim.count_calls(), 0u);

    EXPECT_EQ(OvanDeviceSetDevName(nullptr), 0);  // clears the name
    v = sim.property(kDevice, kDeviceIface, "DevName");
    EXPECT_STREQ(g_variant_get_string(v.get(), nullptr), "");
    EXPECT_TRUE(log.contains("OvanDeviceSetDevName: Enter, devname()", 7));

    ASSERT_TRUE(sim.script_error(kDevice, "com.quv.igd1.Properties", "Set", "org.freedesktop.DBus.Error.AccessDenied",
                                 "no"));
    EXPECT_EQ(OvanDeviceSetDevName("x"), -1);
}

}  // namespace
