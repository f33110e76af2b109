// Logging: format once, hand the text to the sink outside any lock.
#include "bldebug.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

struct SinkSlot {
    BLDEBUG_SINK sink = nullptr;
    void *userData = nullptr;
};

// g_sinkMutex guards only the slot; it is released before the sink runs.
std::mutex g_sinkMutex;
SinkSlot g_sink;
std::atomic<int32_t> g_level{0};
std::atomic<bool> g_infoEnabled{true};

const char *severityName(BLDEBUG_SEVERITY severity)
{
    switch (severity) {
    case BLDEBUG_SEVERITY_DEBUG: return "debug";
    case BLDEBUG_SEVERITY_INFO: return "info";
    case BLDEBUG_SEVERITY_WARNING: return "warning";
    case BLDEBUG_SEVERITY_ERROR: return "error";
    case BLDEBUG_SEVERITY_TERMINAL: return "terminal error";
    }
    return "log";
}

void deliver(BLDEBUG_SEVERITY severity, int32_t level, const char *format, va_list args)
{
    char text[4096];
    std::vsnprintf(text, sizeof text, format ? format : "(null)", args);
    SinkSlot slot;
    {
        const std::lock_guard<std::mutex> lock(g_sinkMutex);
        slot = g_sink;
    }
    if (slot.sink != nullptr) {
        slot.sink(severity, level, text, slot.userData);
        return;
    }
    std::fprintf(stderr, "[%s] %s\n", severityName(severity), text);
}

} // namespace

BLDEBUG_SINK BLDEBUG_SetSink(BLDEBUG_SINK sink, void *userData, void **previousUserData)
{
    const std::lock_guard<std::mutex> lock(g_sinkMutex);
    const SinkSlot old = g_sink;
    g_sink = SinkSlot{sink, sink ? userData : nullptr};
    if (previousUserData != nullptr) *previousUserData = old.userData;
    return old.sink;
}

int32_t BLDEBUG_SetLogLevel(int32_t level)
{
    return g_level.exchange(level < 0 ? 0 : level);
}

int32_t BLDEBUG_LogLevel(void)
{
    return g_level.load();
}

bool BLDEBUG_SetInfoEnabled(bool enabled)
{
    return g_infoEnabled.exchange(enabled);
}

void BLDEBUG_Log(int32_t level, const char *format, ...)
{
    if (level > g_level.load() || level <= 0) return;
    va_list args;
    va_start(args, format);
    deliver(BLDEBUG_SEVERITY_DEBUG, level, format, args);
    va_end(args);
}

void BLDEBUG_Warning(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(BLDEBUG_SEVERITY_WARNING, 0, format, args);
    va_end(args);
}

void BLDEBUG_Error(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(BLDEBUG_SEVERITY_ERROR, 0, format, args);
    va_end(args);
}

void BLDEBUG_TerminalError(const char *format, ...)
{
    va_list args;
    va_start(args, format);
    deliver(BLDEBUG_SEVERITY_TERMINAL, 0, format, args);
    va_end(args);
}

void BLLOG_Log(const char *format, ...)
{
    if (!g_infoEnabled.load()) return;
    va_list args;
    va_start(args, format);
    deliver(BLDEBUG_SEVERITY_INFO, 0, format, args);
    va_end(args);
}
