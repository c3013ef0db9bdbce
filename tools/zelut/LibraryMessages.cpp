#include "LibraryMessages.h"

#include <mutex>
#include <vector>

#include <dlfcn.h>

#include "ZeLut3D.h"

namespace {

struct Message {
    int priority;
    std::string text;
};

std::mutex g_mutex;
std::vector<Message> g_messages;

const int kWarnPriority = 5; // Android's warning priority

void keep(int priority, const char*, const char* text)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_messages.size() < 64) // a reason is wanted, not a transcript
        g_messages.push_back({ priority, text ? text : "" });
}

} // namespace

void captureLibraryMessages()
{
    ZecLut3DSetMessageCallback(keep);
    // The tool states the library's reason itself, in one line; the system
    // log's copy would only repeat it on stderr. Android's logging library,
    // when the library brought it along, is told to keep quiet (its silent
    // priority is 8); without it the library's fallback writes to stderr and
    // only the debug level could mute it, the callback with it.
    using SetMinimum = int (*)(int);
    if (auto setMinimum = reinterpret_cast<SetMinimum>(
            dlsym(RTLD_DEFAULT, "__android_log_set_minimum_priority")))
        setMinimum(8);
}

void clearLibraryMessages()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_messages.clear();
}

std::string libraryReason(const std::string& fallback)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    for (const Message& m : g_messages)
        if (m.priority >= kWarnPriority && !m.text.empty())
            return withoutPositionPrefix(m.text);
    return fallback;
}
