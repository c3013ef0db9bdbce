#include "CZeDebugLog.h"

#include <cstring>
#include <new>

#include "core/log/ZeLogSinks.h"

CZeDebugLog::DebugLevel CZeDebugLog::m_debugLevel = CZeDebugLog::DebugLevelInfo;
bool CZeDebugLog::m_forceSaveLogToFile = false;
bool CZeDebugLog::m_outputToStdOut = false;

namespace {

// Android priorities: verbose 2, info 4, warn 5, error 6. Unknown types are verbose.
int priorityFor(CZeDebugLog::ZeMessageType type)
{
    return (type >= CZeDebugLog::ZeInfoMsg && type <= CZeDebugLog::ZeErrorMsg) ? type + 3 : 2;
}

} // namespace

bool CZeDebugLog::DebugLevelCheck(ZeMessageType type)
{
    switch (m_debugLevel) {
    case DebugLevelNone:
        return false;
    case DebugLevelError:
        return type == ZeErrorMsg;
    case DebugLevelWarning:
        return type == ZeWarningMsg || type == ZeErrorMsg;
    case DebugLevelInfo:
        return type == ZeInfoMsg || type == ZeWarningMsg || type == ZeErrorMsg;
    default:
        return true;
    }
}

void CZeDebugLog::debugFormatOutput(const char* message, ZeMessageType type, bool saveToFile)
{
    if (!DebugLevelCheck(type))
        return;
    if (message && (saveToFile || m_forceSaveLogToFile))
        ZeLogToFile(message);
    ZeLogToSystem(priorityFor(type), message, m_outputToStdOut);
}

void CZeDebugLog::debugFormatOutput(const char* message, ZeMessageType type, const char* file,
                                    int line, const char* function, bool saveToFile)
{
    if (!DebugLevelCheck(type))
        return;
    char prefix[1024];
    int n = std::snprintf(prefix, sizeof prefix, "%s(%d), %s: ", file, line, function);
    if (n >= static_cast<int>(sizeof prefix))
        prefix[sizeof prefix - 1] = '\0';
    if (n < 0)
        prefix[0] = '\0';
    const size_t prefixLength = std::strlen(prefix);
    const size_t messageLength = message ? std::strlen(message) : 0;
    // Prefix and message travel as one string so that they stay one log line.
    char stackBuffer[2048];
    char* joined = stackBuffer;
    if (prefixLength + messageLength + 1 > sizeof stackBuffer) {
        joined = new (std::nothrow) char[prefixLength + messageLength + 1];
        if (!joined)
            return;
    }
    std::memcpy(joined, prefix, prefixLength);
    if (messageLength)
        std::memcpy(joined + prefixLength, message, messageLength);
    joined[prefixLength + messageLength] = '\0';
    debugFormatOutput(joined, type, saveToFile);
    if (joined != stackBuffer)
        delete[] joined;
}

void CZeDebugLog::SetDebugLevel(DebugLevel level)
{
    if (static_cast<unsigned>(level) < 5)
        m_debugLevel = level;
}

void CZeDebugLog::SetForceSaveLogToFile(bool force)
{
    m_forceSaveLogToFile = force;
}

void CZeDebugLog::SetForceLogToStdOut(bool toConsole)
{
    m_outputToStdOut = toConsole;
}
