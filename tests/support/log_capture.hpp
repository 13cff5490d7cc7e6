// Captures what the library would send to syslog, for the lifetime of the object.
#pragma once

#include <string>
#include <vector>

namespace lumo::test {

struct LogLine {
    int priority;
    std::string text;
};

class LogCapture {
public:
    // With mirror_to_stderr each line is also written to standard error, so that a
    // death test can match what a dying child logged.
    explicit LogCapture(bool mirror_to_stderr = false);
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    // A copy: the library may log from its own threads meanwhile.
    std::vector<LogLine> lines() const;
    // True when some captured line contains `needle` (at `priority`, unless -1).
    bool contains(const std::string &needle, int priority = -1) const;
    size_t count(const std::string &needle) const;
    void clear();

    std::string last_ident;  // ident of the last openlog
    int last_facility = -1;
    int last_option = -1;
    int opens = 0;
    int closes = 0;
};

}  // namespace lumo::test
