#include "support/MessageCapture.h"

#include <mutex>

#include "CZeDebugLog.h"
#include "ZeLut3D.h"

namespace {
std::mutex g_mutex;
std::vector<CapturedMessage> g_messages;

void capture(int priority, const char* tag, const char* text)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_messages.push_back({priority, tag ? tag : "", text ? text : "(null)"});
}
} // namespace

MessageCapture::MessageCapture()
{
    clear();
    ZecLut3DSetMessageCallback(capture);
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelInfo);
    CZeDebugLog::SetForceLogToStdOut(false);
}

MessageCapture::~MessageCapture()
{
    ZecLut3DSetMessageCallback(nullptr);
    CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelInfo);
    CZeDebugLog::SetForceLogToStdOut(false);
}

std::vector<CapturedMessage> MessageCapture::messages() const
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_messages;
}

size_t MessageCapture::count() const
{
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_messages.size();
}

bool MessageCapture::contains(const std::string& fragment) const
{
    std::lock_guard<std::mutex> lock(g_mutex);
    for (const CapturedMessage& m : g_messages)
        if (m.text.find(fragment) != std::string::npos)
            return true;
    return false;
}

void MessageCapture::clear()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_messages.clear();
}
