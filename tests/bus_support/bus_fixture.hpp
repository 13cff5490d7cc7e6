// Shared pieces of the bus-layer and gateway tests: fixtures with a private bus
// (and the gateway simulator), exact log-line checks, outside clients, bounded waits.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "core/glib_ptr.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "lumo3_gateway.h"
#include "support/log_capture.hpp"
#include "support/service_context.hpp"

namespace lumo::test {

inline constexpr const char kGw[] = "com.quv.igd1";
inline constexpr const char kDevicePath[] = "/com/quv/igd1/Info/Device";
inline constexpr const char kDeviceIface[] = "com.quv.igd1.DeviceInfo";

// True when some captured line at `priority` carries exactly `message` from `tag`
// ("[service] tag: message\n"), whatever the service part.
bool has_message(const LogCapture &log, int priority, const std::string &tag, const std::string &message);
// True when any captured line contains `needle`.
inline bool log_mentions(const LogCapture &log, const std::string &needle)
{
    return log.contains(needle);
}
// All captured lines, for failure output.
std::string dump(const LogCapture &log);
// How many lines at LOG_ERR come from `tag`.
size_t errors_from(const LogCapture &log, const std::string &tag);

// An object-path argument of the gateway families (cut to fit, always terminated).
OvanObjPath_t obj_path(const std::string &path);

// Status and message outputs of a gateway call, pre-set so that "untouched" shows.
struct StatusOut {
    uint32_t status = 77;
    char *errmsg = nullptr;
    StatusOut() = default;
    StatusOut(const StatusOut &) = delete;
    StatusOut &operator=(const StatusOut &) = delete;
    ~StatusOut() { g_free(errmsg); }
    std::string msg() const { return errmsg ? errmsg : "<untouched>"; }
};

// The argument tuple of the last call of `method` the simulator received (null if none).
GPtr<GVariant> last_args(Simulator &sim, const std::string &method);
// The keys of the dictionary the last SetMulti sent, in order.
std::vector<std::string> sent_keys(Simulator &sim);

// GIO's shared system connection raises SIGTERM when its bus goes away while
// exit-on-close is on; tests turn it off before their private bus is stopped.
void quiet_shared_connection();

// Polls `done` every few milliseconds for at most timeout_ms.
bool wait_until(const std::function<bool()> &done, int timeout_ms = 5000);

// `gdbus call` as an outside client of the private bus.
RunResult gdbus_call(const PrivateBus &bus, const std::string &dest, const std::string &path,
                     const std::string &method, const std::vector<std::string> &args, int timeout_s = 5);

// Bus-daemon queries made on a private connection of their own.
bool name_has_owner(const PrivateBus &bus, const std::string &name);
std::string name_owner(const PrivateBus &bus, const std::string &name);

// A private bus for the test; exit-on-close is turned off before it goes away.
class BusTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.ok()); }
    void TearDown() override
    {
        if (bus.ok())
            quiet_shared_connection();
    }

    // An exact line of `tag` at `priority`.
    bool logged(int priority, const std::string &tag, const std::string &message) const
    {
        return has_message(log, priority, tag, message);
    }
    std::string dump() const { return lumo::test::dump(log); }

    PrivateBus bus;
    LogCapture log;
};

// ... with the gateway simulator on it.
class SimTest : public BusTest {
protected:
    void SetUp() override
    {
        BusTest::SetUp();
        ASSERT_TRUE(sim.ok());
        ASSERT_TRUE(sim.clear_call_log());
    }

    Simulator sim{bus};
};

// For sweeps over every object: the WiFi and USB capability guards ask the gateway
// once per process, so they are asked here, before a sweep counts its calls.
class GuardedSimTest : public SimTest {
protected:
    void SetUp() override;
};

}  // namespace lumo::test
