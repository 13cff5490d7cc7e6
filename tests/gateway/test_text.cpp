// Text the library refuses to put on the bus: what is not UTF-8 is refused before
// anything is sent (object paths without their terminator: test_registry.cpp).
#include <cstring>
#include <string>
#include <syslog.h>

#include "bus_support/bus_fixture.hpp"
#include "lumo3.h"

namespace {

using namespace lumo::test;

constexpr const char kPortMappings[] = "/com/quv/igd1/Config/PortMapping";

class Text : public SimTest {
protected:
    ScopedContext context;  // keeps the last error
};

// The case that was reported: the write came back 0 with Description silently left out.
TEST_F(Text, Latin1DescriptionRefusedBySetterAndAdder)
{
    static const char line[] = "Invalid parameter: Description is not valid UTF-8.";
    // A rule the setter accepts but for its description.
    OvanPortMapping_t r{};
    r.ExternalPort = r.InternalPort = 22;
    g_strlcpy(r.PortMappingProtocol, "TCP", sizeof r.PortMappingProtocol);
    g_strlcpy(r.InternalClient, "192.168.1.30", sizeof r.InternalClient);
    g_strlcpy(r.Description, "caf\xe9", sizeof r.Description);  // "café" typed on a Latin-1 system
    std::string first = kPortMappings;  // appended: see test_capture.cpp on GCC 12
    first.append("/1");
    EXPECT_EQ(OvanSetPortMapping(obj_path(first), &r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanSetPortMapping", line)) << dump();
    EXPECT_STREQ(OvanGetErrMsg(), line);

    EXPECT_EQ(OvanAddPortMapping(&r), -1);
    EXPECT_TRUE(logged(LOG_ERR, "OvanAddPortMapping", line)) << dump();
    EXPECT_TRUE(sim.call_log().empty());  // not even a created-then-deleted object
}

// The bus layer's own string arguments (the wrappers' are swept through the lumoctl
// registry in test_registry_text; that nothing is sent, in test_properties.cpp): the
// refusal is kept as the last error.
TEST_F(Text, PropertyNamesRefused)
{
    EXPECT_EQ(OvanDBusSetProperty(kGw, kDevicePath, kDeviceIface, "Dev\xfe", g_variant_new_string("x")), -1);
    EXPECT_STREQ(OvanGetErrMsg(), "org.freedesktop.DBus.Error.InvalidArgs: property name is not valid UTF-8");
}

}  // namespace
