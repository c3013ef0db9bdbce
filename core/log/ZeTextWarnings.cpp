// The text classes' warnings (core/text/ZeTextWarning.h), through the
// emitter like every other message.
#include "core/log/CZeMessageLogger.h"
#include "core/text/ZeTextWarning.h"

bool ZeTextWarningsEnabled()
{
    return CZeDebugLog::DebugLevelCheck(CZeDebugLog::ZeWarningMsg);
}

void ZeTextWarning(const char* text)
{
    CZeMessageLogger().warning("%s", text);
}

void ZeTextWarningAt(const char* file, int line, const char* function, const char* text)
{
    CZeMessageLogger(file, line, function).warning("%s", text);
}

void ZeTextWarningLong(const CZeString& text)
{
    CZeMessageLogger().warning() << text;
}
