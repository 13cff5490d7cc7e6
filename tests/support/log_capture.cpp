#include "support/log_capture.hpp"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>

#include "core/log_sink.hpp"

namespace lumo::test {

namespace {
LogCapture *g_active = nullptr;  // under g_lines_lock
std::atomic<bool> g_mirror{false};
std::vector<LogLine> g_lines;
std::mutex g_lines_lock;  // lines also come from the service's main-loop thread

void on_open(const char *ident, int option, int facility)
{
    std::lock_guard<std::mutex> hold(g_lines_lock);
    if (!g_active)
        return;
    g_active->last_ident = ident ? ident : "";
    g_active->last_option = option;
    g_active->last_facility = facility;
    g_active->opens++;
}
void on_write(int priority, const char *message)
{
    {
        std::lock_guard<std::mutex> hold(g_lines_lock);
        g_lines.push_back({priority, message ? message : ""});
    }
    if (g_mirror)
        std::fprintf(stderr, "<%d>%s", priority, message ? message : "");
}
void on_close()
{
    std::lock_guard<std::mutex> hold(g_lines_lock);
    if (g_active)
        g_active->closes++;
}
const logsink::Sink kSink{on_open, on_write, on_close};

// Test processes never write to the machine's syslog (or, with no syslog daemon, to
// the console): lines nobody captures are dropped.
void drop_open(const char *, int, int) {}
void drop_write(int, const char *) {}
void drop_close() {}
const logsink::Sink kDropSink{drop_open, drop_write, drop_close};
[[maybe_unused]] const bool g_quiet = (logsink::set(&kDropSink), true);
}  // namespace

LogCapture::LogCapture(bool mirror_to_stderr)
{
    g_mirror = mirror_to_stderr;
    clear();
    {
        std::lock_guard<std::mutex> hold(g_lines_lock);
        g_active = this;
    }
    logsink::set(&kSink);
}

LogCapture::~LogCapture()
{
    logsink::set(&kDropSink);
    g_mirror = false;
    {
        std::lock_guard<std::mutex> hold(g_lines_lock);
        g_active = nullptr;
    }
    clear();
}

std::vector<LogLine> LogCapture::lines() const
{
    std::lock_guard<std::mutex> hold(g_lines_lock);
    return g_lines;
}

bool LogCapture::contains(const std::string &needle, int priority) const
{
    const auto all = lines();
    return std::any_of(all.begin(), all.end(), [&](const LogLine &l) {
        return (priority < 0 || l.priority == priority) && l.text.find(needle) != std::string::npos;
    });
}

size_t LogCapture::count(const std::string &needle) const
{
    const auto all = lines();
    return std::count_if(all.begin(), all.end(),
                         [&](const LogLine &l) { return l.text.find(needle) != std::string::npos; });
}

void LogCapture::clear()
{
    std::lock_guard<std::mutex> hold(g_lines_lock);
    g_lines.clear();
}

}  // namespace lumo::test
