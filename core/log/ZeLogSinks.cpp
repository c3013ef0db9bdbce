#include "core/log/ZeLogSinks.h"

#include <atomic>
#include <cstdio>
#include <initializer_list>

#if defined(ZE_HAVE_ANDROID_LOG)
#include <android/log.h>
#elif defined(ZE_LOG_LIBRARY_PATH)
#include <dlfcn.h>
#endif

namespace {

std::atomic<ZeLogHostSink> g_hostSink{nullptr};
std::atomic<ZeLogFileSink> g_fileSink{nullptr};

#if !defined(ZE_HAVE_ANDROID_LOG) && defined(ZE_LOG_LIBRARY_PATH)
// On a Linux host Android's logging library lives in a folder of its own,
// outside the loader's search path. Rather than carry a run path to it, the
// library looks for it when it is loaded: a definition the process already
// has (a program's own, or one loaded before), then the library by its
// name, then at the path it was built against. Without it, stderr.
using AndroidLogWrite = int (*)(int, const char*, const char*);
AndroidLogWrite g_androidLogWrite = nullptr;

__attribute__((constructor)) void findAndroidLog()
{
    void* found = dlsym(RTLD_DEFAULT, "__android_log_write");
    for (const char* name : {"liblog.so.0", ZE_LOG_LIBRARY_PATH}) {
        if (found)
            break;
        if (void* library = dlopen(name, RTLD_NOW | RTLD_GLOBAL))
            found = dlsym(library, "__android_log_write");
    }
    g_androidLogWrite = reinterpret_cast<AndroidLogWrite>(found);
}
#endif

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
#elif defined(ZE_LOG_LIBRARY_PATH)
        if (g_androidLogWrite)
            g_androidLogWrite(priority, kZeLogTag, text);
        else
            writeConsole(text ? text : "(null)");
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
