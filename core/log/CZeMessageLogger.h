/*
 * CZeMessageLogger - call-site carrier of the debug log.
 *
 *   ZE_LOGGER.error("Invalid pos: %ld", pos);
 *   ZE_LOGGER.warning() << "size " << size << " is odd";
 *
 * The macro fills file, line and function. Each entry tests its level gate
 * before any formatting (printf-style) or before the message record is
 * allocated (stream entries), so a disabled message costs one comparison; a
 * closed stream entry returns an inactive logger that ignores what it gets.
 */
#ifndef CZEMESSAGELOGGER_H
#define CZEMESSAGELOGGER_H

#include "CZeDebugLog.h"

class CZeMessageLogger {
public:
    constexpr CZeMessageLogger(const char* file, int line, const char* function,
                               bool saveToFile = false)
        : m_saveToFile(saveToFile), m_line(line), m_file(file), m_function(function)
    {
    }
    // A carrier without a position: messages carry no prefix.
    constexpr CZeMessageLogger() : m_saveToFile(false), m_line(0), m_file(nullptr), m_function(nullptr) {}

    // printf-style entries; the text is cut at 1023 bytes.
    void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void warning(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void info(const char* format, ...) const __attribute__((format(printf, 2, 3)));
    void debug(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    // Stream entries: a logger whose message is emitted when its last copy goes.
    CZeDebugLog error() const;   // level is not 0
    CZeDebugLog warning() const; // level 2 or more
    CZeDebugLog info() const;    // level 3 or more
    CZeDebugLog debug() const;   // level 4 or more

private:
    bool m_saveToFile;
    int m_line;
    const char* m_file;
    const char* m_function;

    void emit(CZeDebugLog::ZeMessageType type, const char* format, __builtin_va_list args) const;
};

#if defined(__FILE_NAME__)
#define ZE_LOG_FILE __FILE_NAME__
#else
#define ZE_LOG_FILE __FILE__
#endif

#define ZE_LOGGER CZeMessageLogger(ZE_LOG_FILE, __LINE__, __func__)

#endif /* CZEMESSAGELOGGER_H */
