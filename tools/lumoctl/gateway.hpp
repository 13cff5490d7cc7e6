// lumoctl's side of the bus: the connection the library uses, how a failed library
// call is told apart (refused arguments or a gateway/bus failure), the time limit
// of a whole command, and watching the gateway's change signals.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

#include <gio/gio.h>

namespace lumoctl {

// Bounds the rest of the command: after seconds (0: no bound) the process prints
// message (if any) on standard error and ends with code. Never returns early.
void arm_timeout(unsigned seconds, int code, const std::string &message);

// The system bus connection the library uses while no service is hosted (GIO's
// shared one), with a message filter that sees what the library sends and the
// errors that come back. It connects on first use (connection() or mark(), which
// comes before every library call) and throws Failure (3) when the bus cannot be
// reached; a command refused before that never touches the bus.
class BusLink {
public:
    BusLink() = default;
    ~BusLink();
    BusLink(const BusLink &) = delete;
    BusLink &operator=(const BusLink &) = delete;

    GDBusConnection *connection();

    struct Mark {
        uint64_t sent, added, deleted, errors;
        size_t log_lines;
    };
    Mark mark();
    // A library call made since mark returned a failure: throws Failure with code 2
    // when the library refused the arguments (refused_since), else 3 with the bus
    // error seen, if any.
    [[noreturn]] void failed(const Mark &since, const std::string &what) const;
    // True when some call since mark came back as an error.
    bool errors_since(const Mark &since) const;
    // True when something was sent to the gateway since mark.
    bool sent_since(const Mark &since) const;
    // True when the library refused a call since mark: nothing reached the gateway
    // but, at most, an object it created and deleted again.
    bool refused_since(const Mark &since) const;
    // Why the library refused a call made since mark, from its first refusal line:
    // the field, value and rule it names ("InternalPort: 99999 is outside 1..65535"),
    // else that line itself. `option` (e.g. "mac") names the command-line option a
    // field of that name came from.
    std::string refusal_since(const Mark &since, const char *option = nullptr) const;

private:
    GDBusConnection *conn_ = nullptr;
    unsigned filter_ = 0;
};

// The library's lines of priority 3 and above, counted and kept as they reach
// syslog (loglines.cpp); the first since a count.
void note_log_line(int priority, const char *format, va_list args);
size_t log_lines_mark();
std::string first_log_line_since(size_t mark);

// Prints the gateway's property and object changes as they arrive, one line each
// (JSON objects with json), until count events (0: no limit) or SIGINT/SIGTERM.
// Prints a "watching" line on standard error once the subscription is in place.
int watch(BusLink &link, unsigned count, bool json);

}  // namespace lumoctl
