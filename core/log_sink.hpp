// Where log lines go. By default syslog; tests install their own sink to see
// exactly what would reach syslog. Internal: not exported from the library.
#pragma once

namespace lumo::logsink {

struct Sink {
    void (*open)(const char *ident, int option, int facility);
    void (*write)(int priority, const char *message);
    void (*close)();
};

// nullptr restores syslog.
void set(const Sink *sink) noexcept;

}  // namespace lumo::logsink
