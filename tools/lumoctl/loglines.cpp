// The library's refusal and failure lines (priority 3 and above) as syslog receives
// them. lumoctl provides vsyslog itself: the library's calls reach it first, and it
// hands every line on to the C library's unchanged, so nothing is lost from syslog.
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <glib.h>
#include <syslog.h>

#include "tools/lumoctl/gateway.hpp"

namespace lumoctl {

namespace {

std::mutex g_lock;
std::vector<std::string> g_lines;

}  // namespace

void note_log_line(int priority, const char *format, va_list args)
{
    if (LOG_PRI(priority) > LOG_ERR || !format)
        return;
    char *text = g_strdup_vprintf(format, args);
    // "[service] tag: message\n": keep "tag: message".
    const char *start = text[0] == '[' && std::strstr(text, "] ") ? std::strstr(text, "] ") + 2 : text;
    std::string line(start);
    g_free(text);
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    std::lock_guard<std::mutex> hold(g_lock);
    g_lines.push_back(std::move(line));
}

size_t log_lines_mark()
{
    std::lock_guard<std::mutex> hold(g_lock);
    return g_lines.size();
}

std::string first_log_line_since(size_t mark)
{
    std::lock_guard<std::mutex> hold(g_lock);
    return mark < g_lines.size() ? g_lines[mark] : std::string();
}

}  // namespace lumoctl

using VSyslog = void (*)(int, const char *, va_list);
using VSyslogChk = void (*)(int, int, const char *, va_list);

extern "C" {

__attribute__((visibility("default"))) void vsyslog(int priority, const char *format, va_list args)
{
    static const auto real = reinterpret_cast<VSyslog>(dlsym(RTLD_NEXT, "vsyslog"));
    va_list copy;
    va_copy(copy, args);
    lumoctl::note_log_line(priority, format, copy);
    va_end(copy);
    if (real)
        real(priority, format, args);
}

// The name fortified builds call.
__attribute__((visibility("default"))) void __vsyslog_chk(int priority, int flag, const char *format, va_list args)
{
    static const auto real = reinterpret_cast<VSyslogChk>(dlsym(RTLD_NEXT, "__vsyslog_chk"));
    va_list copy;
    va_copy(copy, args);
    lumoctl::note_log_line(priority, format, copy);
    va_end(copy);
    if (real)
        real(priority, flag, format, args);
}

}  // extern "C"
