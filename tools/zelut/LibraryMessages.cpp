#include "LibraryMessages.h"

#include <mutex>
#include <vector>

namespace {

struct Message {
    int priority;
    std::string text;
};

std::mutex g_mutex;
std::vector<Message> g_messages;

const int kWarnPriority = 5; // Android's ANDROID_LOG_WARN

} // namespace

// Default visibility so that the executable exports it and the library's
// reference binds here rather than to liblog.
extern "C" __attribute__((visibility("default"))) int __android_log_write(
    int priority, const char* tag, const char* text)
{
    (void)tag;
    std::lock_guard<std::mutex> lock(g_mutex);
    if (g_messages.size() < 64) // a reason is wanted, not a transcript
        g_messages.push_back({ priority, text ? text : "" });
    return 1;
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
