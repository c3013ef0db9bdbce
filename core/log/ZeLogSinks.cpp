#include "core/log/ZeLogSinks.h"

#include <atomic>
#include <cstdio>

#if defined(ZE_HAVE_ANDROID_LOG)
#include <android/log.h>
#endif

namespace {

std::atomic<ZeLogHostSink> g_hostSink{nullptr};
std::atomic<ZeLogFileSink> g_fileSink{nullptr};

void writeConsole(const char* text)
{
    std::fprintf(stderr, "%s\n", text);
    std::fflush(stderr);
}

} // namespace

void ZeLogSetHostSink(ZeLogHostSink sink)
{
    g_hostSink.store(sink);
}

void ZeLogSetFileSink(ZeLogFileSink sink)
{
    g_fileSink.store(sink);
}

void ZeLogToSystem(int priority, const char* text, bool toConsole)
{
    if (toConsole) {
        writeConsole(text ? text : "(null)");
    } else {
#if defined(ZE_HAVE_ANDROID_LOG)
        __android_log_write(priority, kZeLogTag, text);
#else
        // Hosts without Android's logging library: the same line, on stderr.
        writeConsole(text ? text : "(null)");
#endif
    }
    if (const ZeLogHostSink sink = g_hostSink.load())
        sink(priority, kZeLogTag, text ? text : "");
}

void ZeLogToFile(const char* message)
{
    if (const ZeLogFileSink sink = g_fileSink.load())
        sink(message);
}
