// Logging: OvanLog and the tagged loggers every other module uses.
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <syslog.h>

#include "core/service_context.hpp"
#include "core/glib_ptr.hpp"
#include "core/log.hpp"
#include "core/log_sink.hpp"
#include "core/paths.hpp"
#include "lumo3_core.h"

namespace {

constexpr int32_t kLogOpen = 1;
constexpr int32_t kLogEcho = 2;

// Lines come from any thread (callers', the service's main loop, signal
// dispatch): the flags are read without a lock, and the first line's lazy open is
// made once under g_open_lock.
std::atomic<int32_t> g_log_flags{0};
std::mutex g_open_lock;
// The copy made by the last OvanLogOpen while it is still ours to free. g_app_name
// keeps its (stale) value after a close; this does not, so reopening never frees twice.
char *g_owned_app_name = nullptr;
std::atomic<const lumo::logsink::Sink *> g_sink{nullptr};

void sink_open(const char *ident, int option, int facility)
{
    if (const lumo::logsink::Sink *sink = g_sink.load())
        sink->open(ident, option, facility);
    else
        openlog(ident, option, facility);
}

void sink_vwrite(int priority, const char *format, va_list args)
{
    if (const lumo::logsink::Sink *sink = g_sink.load()) {
        lumo::GStr text(g_strdup_vprintf(format, args));
        sink->write(priority, text.get());
    } else {
        vsyslog(priority, format, args);
    }
}

void sink_close()
{
    if (const lumo::logsink::Sink *sink = g_sink.load())
        sink->close();
    else
        closelog();
}

// The process's own name from its stat file, "%*d (%63s" with one trailing ')'
// dropped; false when it cannot be read.
bool read_process_name(char (&name)[64])
{
    lumo::GStr path = lumo::paths::proc_self_stat();
    FILE *fp = std::fopen(path.get(), "r");
    if (!fp)
        return false;
    char comm[64] = {0};
    int n = std::fscanf(fp, "%*d (%63s", comm);
    std::fclose(fp);
    if (n != 1)
        return false;
    size_t len = std::strlen(comm);
    if (len > 0 && comm[len - 1] == ')')
        comm[len - 1] = '\0';
    g_strlcpy(name, comm, sizeof name);
    return true;
}

void vlog_tagged(const char *tag, int priority, bool debug_variant, const char *format, va_list args)
{
    char message[1024] = {0};
    std::vsnprintf(message, sizeof message, format, args);

    char service_name[64];
    const char *service = lumo::hosted_service_name(service_name);
    std::unique_lock<std::mutex> opening(g_open_lock, std::defer_lock);
    if (OvanIsLogInitialized() == 0)
        opening.lock();  // two first lines must not both open (and free the name)
    if (OvanIsLogInitialized() == 0) {
        char name[64] = {0};
        if (service) {
            // "com.quv.appframework1" logs as "appframework": drop one trailing
            // digit, then keep what follows the last '.'.
            g_strlcpy(name, service, sizeof name);
            size_t len = std::strlen(name);
            if (len > 0 && g_ascii_isdigit(name[len - 1]))
                name[len - 1] = '\0';
            const char *dot = std::strrchr(name, '.');
            OvanLogOpen(LOG_USER, dot ? dot + 1 : name);
        } else {
            if (g_app_name == nullptr && !read_process_name(name))
                g_strlcpy(name, "UnknownAPP", sizeof name);
            OvanLogOpen(LOG_USER, name);
        }
    }
    if (opening.owns_lock())
        opening.unlock();

    const char *prefix = service;
    if (!prefix) {
        if (!debug_variant && g_app_name && std::strcmp(g_app_name, "appmgr") == 0)
            prefix = "com.quv.appframework1";
        else
            prefix = "UnknownService";
    }
    OvanLog(priority, "[%s] %s: %s\n", prefix, tag ? tag : "(null)", message);
}

}  // namespace

namespace lumo::logsink {
void set(const Sink *sink) noexcept
{
    g_sink = sink;
}
}  // namespace lumo::logsink

namespace lumo::log {
bool wanted(int priority) noexcept
{
    const int32_t flags = g_log_flags.load(std::memory_order_relaxed);
    if (flags == 0 || (flags & kLogEcho) || g_sink.load())
        return true;  // a closed log is opened by the next line; echoes are never masked
    return (setlogmask(0) & LOG_MASK(LOG_PRI(priority))) != 0;
}
}  // namespace lumo::log

extern "C" {

LUMO3_API char *g_app_name = nullptr;

extern LUMO3_API const OvanLogCode_t facilitynames[] = {
    {"auth", LOG_AUTH},         {"authpriv", LOG_AUTHPRIV}, {"cron", LOG_CRON},     {"daemon", LOG_DAEMON},
    {"ftp", LOG_FTP},           {"kern", LOG_KERN},         {"lpr", LOG_LPR},       {"mail", LOG_MAIL},
    {"mark", 24 << 3},          {"news", LOG_NEWS},         {"security", LOG_AUTH}, {"syslog", LOG_SYSLOG},
    {"user", LOG_USER},         {"uucp", LOG_UUCP},         {"local0", LOG_LOCAL0}, {"local1", LOG_LOCAL1},
    {"local2", LOG_LOCAL2},     {"local3", LOG_LOCAL3},     {"local4", LOG_LOCAL4}, {"local5", LOG_LOCAL5},
    {"local6", LOG_LOCAL6},     {"local7", LOG_LOCAL7},     {nullptr, -1},
};

extern LUMO3_API const OvanLogCode_t prioritynames[] = {
    {"alert", LOG_ALERT}, {"crit", LOG_CRIT},      {"debug", LOG_DEBUG},  {"emerg", LOG_EMERG},
    {"err", LOG_ERR},     {"error", LOG_ERR},      {"info", LOG_INFO},    {"none", 0x10},
    {"notice", LOG_NOTICE}, {"panic", LOG_EMERG}, {"warn", LOG_WARNING}, {"warning", LOG_WARNING},
    {nullptr, -1},
};

LUMO3_API int32_t OvanLogOpen(int facility, const char *ident)
{
    g_free(g_owned_app_name);
    g_owned_app_name = g_strdup(ident);
    g_app_name = g_owned_app_name;
    sink_open(g_app_name, LOG_CONS, facility);
    g_log_flags.store(kLogOpen);
    if (g_app_name && std::strcmp(g_app_name, "qzrconfig") == 0)
        return 0;  // that tool never echoes to standard output
    lumo::GStr flag = lumo::paths::resolve(lumo::paths::kStdioPrintFlag);
    if (g_file_test(flag.get(), G_FILE_TEST_EXISTS)) {
        g_log_flags.fetch_or(kLogEcho);
        return 1;
    }
    return 0;
}

LUMO3_API void OvanLogClose(void)
{
    sink_close();
    g_log_flags.store(0);
    g_free(g_owned_app_name);
    g_owned_app_name = nullptr;  // g_app_name itself is left as it was
}

LUMO3_API int32_t OvanIsLogInitialized(void)
{
    return g_log_flags.load(std::memory_order_relaxed);
}

LUMO3_API void OvanLog(int priority, const char *format, ...)
{
    const int32_t flags = g_log_flags.load(std::memory_order_relaxed);
    if (flags == 0)
        return;
    va_list args;
    va_start(args, format);
    va_list echo_args;
    va_copy(echo_args, args);
    sink_vwrite(priority, format, args);
    va_end(args);
    if (flags & kLogEcho) {
        struct timespec ts;
        struct tm tm;
        clock_gettime(CLOCK_REALTIME, &ts);
        localtime_r(&ts.tv_sec, &tm);
        lumo::GStr stamp(g_strdup_printf("%04d-%02d-%02d %02d:%02d:%02d.%03ld", tm.tm_year + 1900, tm.tm_mon + 1,
                                         tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, ts.tv_nsec / 1000000));
        if (stamp)
            std::printf("%s ", stamp.get());
        std::vprintf(format, echo_args);
        std::putchar('\n');
    }
    va_end(echo_args);
}

LUMO3_API void lumo_log(const char *tag, int priority, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vlog_tagged(tag, priority, false, format, args);
    va_end(args);
}

LUMO3_API void lumo_dbg(const char *tag, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vlog_tagged(tag, LOG_DEBUG, true, format, args);
    va_end(args);
}

}  // extern "C"
