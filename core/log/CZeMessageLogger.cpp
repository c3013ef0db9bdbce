#include "core/log/CZeMessageLogger.h"

#include <cstdarg>
#include <cstdio>

namespace {

int levelValue()
{
    return static_cast<int>(CZeDebugLog::m_debugLevel);
}

} // namespace

void CZeMessageLogger::emit(CZeDebugLog::ZeMessageType type, const char* format,
                            __builtin_va_list args) const
{
    char buffer[1024];
    if (std::vsnprintf(buffer, sizeof buffer, format, args) < 0)
        buffer[0] = '\0';
    if (!m_file)
        CZeDebugLog::debugFormatOutput(buffer, type, m_saveToFile);
    else
        CZeDebugLog::debugFormatOutput(buffer, type, m_file, m_line, m_function, m_saveToFile);
}

#define ZE_PRINTF_ENTRY(name, type, gate)                                                          \
    void CZeMessageLogger::name(const char* format, ...) const                                     \
    {                                                                                              \
        if (!(gate))                                                                               \
            return;                                                                                \
        va_list args;                                                                              \
        va_start(args, format);                                                                    \
        emit(type, format, args);                                                                  \
        va_end(args);                                                                              \
    }

ZE_PRINTF_ENTRY(error, CZeDebugLog::ZeErrorMsg, levelValue() != 0)
ZE_PRINTF_ENTRY(warning, CZeDebugLog::ZeWarningMsg, levelValue() >= 2)
ZE_PRINTF_ENTRY(info, CZeDebugLog::ZeInfoMsg, levelValue() >= 3)
ZE_PRINTF_ENTRY(debug, CZeDebugLog::ZeDebugMsg, levelValue() >= 4)

#undef ZE_PRINTF_ENTRY
