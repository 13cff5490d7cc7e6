// Shared pieces of the bus-layer tests: fixtures with a private bus (and the
// gateway simulator), exact log-line checks, outside clients, bounded waits.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "bus_support/private_bus.hpp"
#include "core/glib_ptr.hpp"
#include "lumo3_bus.h"
#include "lumo3_core.h"
#include "support/log_capture.hpp"

namespace lumo::test {

inline constexpr const char kGw[] = "com.quv.igd1";
inline constexpr const char kDevicePath[] = "/com/quv/igd1/Info/Device";
inline constexpr const char kDeviceIface[] = "com.quv.igd1.DeviceInfo";

// True when some captured line at `priority` carries exactly `message` from `tag`
// ("[service] tag: message\n"), whatever the service part.
bool has_message(const LogCapture &log, int priority, const std::string &tag, const std::string &message);
// True when any captured line contains `needle`.
bool log_mentions(const LogCapture &log, const std::string &needle);
// All captured lines, for failure output.
std::string dump(const LogCapture &log);

// GIO's shared system connection raises SIGTERM when its bus goes away while
// exit-on-close is on; tests turn it off before their private bus is stopped.
void quiet_shared_connection();

// Polls `done` every few milliseconds for at most timeout_ms.
bool wait_until(const std::function<bool()> &done, int timeout_ms = 5000);

// A zero-filled service context without a connection, so bus calls keep a last
// error without a hosted service.
class ScopedContext {
public:
    explicit ScopedContext(const char *name = "com.example.bustest1");
    ~ScopedContext();
    ScopedContext(const ScopedContext &) = delete;
    ScopedContext &operator=(const ScopedContext &) = delete;

private:
    OvanDBusServiceContext_t *ctx_;
};

// A fresh directory as TMPDIR for the object's lifetime, removed with its contents
// afterwards: death-test children leave their private bus directories there.
class ScopedTmpDir {
public:
    ScopedTmpDir();
    ~ScopedTmpDir();
    ScopedTmpDir(const ScopedTmpDir &) = delete;
    ScopedTmpDir &operator=(const ScopedTmpDir &) = delete;

private:
    std::string dir_, saved_;
    bool had_ = false;
};

// A program run to completion.
struct RunResult {
    bool spawned = false;
    int exit_status = -1;  // -1 when it did not exit normally
    std::string out, err;
};
RunResult run_program(const std::vector<std::string> &argv);

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

}  // namespace lumo::test
