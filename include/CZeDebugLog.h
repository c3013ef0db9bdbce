/*
 * CZeDebugLog - the library's one diagnostic channel.
 *
 *   CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelWarning); // errors and warnings only
 *   CZeDebugLog::SetForceLogToStdOut(true);                     // console instead of logcat
 *
 *   CZeDebugLog(CZeDebugLog::ZeInfoMsg, __FILE__, __LINE__, __func__, false)
 *       << "size " << n;   // emitted as one message when the temporary goes away
 *
 * Messages pass a process-wide level gate, then go to the Android log (tag
 * "tavren", priority = message type + 3) or, with the console switch, to
 * standard error with a line feed. The switches are plain globals meant to be
 * set once at start-up.
 *
 * A streaming logger shares one message record between its copies; the text
 * is emitted exactly once, when the last copy is destroyed or reassigned, in
 * the thread that drops it. Stream operators append without separators.
 * A logger without a record (inactive) or marked suppressed ignores
 * everything streamed into it. A logger and its copies belong to one thread.
 */
#ifndef CZEDEBUGLOG_H
#define CZEDEBUGLOG_H

#include "ZeGlobal.h"

#include <cstddef>

#include "CZeString.h"

struct CZeDebugLogStream;

class ZE_EXPORT CZeDebugLog {
public:
    // A fixed underlying type: any 32-bit value is a valid message type (unknown
    // types are logged as verbose).
    enum ZeMessageType : int { ZeDebugMsg = 0, ZeInfoMsg = 1, ZeWarningMsg = 2, ZeErrorMsg = 3 };

    // Which message types pass: None nothing, Error only errors, Warning adds
    // warnings, Info adds info, Verbose everything (debug and unknown types).
    enum DebugLevel : int {
        DebugLevelNone = 0,
        DebugLevelError = 1,
        DebugLevelWarning = 2,
        DebugLevelInfo = 3,
        DebugLevelVerbose = 4
    };

    static bool DebugLevelCheck(ZeMessageType type);

    // Emit without a source position.
    static void debugFormatOutput(const char* message, ZeMessageType type, bool saveToFile);
    // Emit with the prefix "file(line), function: "; the prefix is cut at 1023 bytes.
    static void debugFormatOutput(const char* message, ZeMessageType type, const char* file,
                                  int line, const char* function, bool saveToFile);

    // Values of 5 or more are ignored.
    static void SetDebugLevel(DebugLevel level);
    static void SetForceSaveLogToFile(bool force);
    static void SetForceLogToStdOut(bool toConsole);

    static DebugLevel m_debugLevel;     // initially DebugLevelInfo
    static bool m_forceSaveLogToFile;   // initially false
    static bool m_outputToStdOut;       // initially false; the console stream is stderr

    // A logger with a fresh record. A null `file` means no position prefix.
    CZeDebugLog(ZeMessageType type, const char* file, int line, const char* function,
                bool saveToFile);
    // An inactive logger (no record).
    explicit CZeDebugLog(bool suppressed);
    CZeDebugLog(const CZeDebugLog& other);
    // Drops this logger's record first; then shares the other's record unless
    // this logger is suppressed. The suppressed flag itself is kept.
    CZeDebugLog& operator=(const CZeDebugLog& other);
    ~CZeDebugLog();

    // Lets go of the record; the last owner emits the message and frees it.
    void DropStream();

    CZeDebugLog& operator<<(CZeChar ch);
    CZeDebugLog& operator<<(bool value);     // "true" or "false"
    CZeDebugLog& operator<<(char ch);        // the byte as one Latin-1 character
    // Unlike every other operator, formats before testing whether the logger is
    // active; only the append itself needs a record.
    CZeDebugLog& operator<<(short value);
    CZeDebugLog& operator<<(unsigned short value);
    CZeDebugLog& operator<<(int value);
    CZeDebugLog& operator<<(unsigned int value);
    CZeDebugLog& operator<<(long value);
    CZeDebugLog& operator<<(unsigned long value);
    CZeDebugLog& operator<<(long long value);
    CZeDebugLog& operator<<(unsigned long long value);
    CZeDebugLog& operator<<(float value);    // as double
    CZeDebugLog& operator<<(double value);   // general format, 6 significant digits
    CZeDebugLog& operator<<(const char* utf8); // a null pointer appends nothing
    CZeDebugLog& operator<<(const CZeString& text);
    CZeDebugLog& operator<<(const CZeByteArray& utf8);
    CZeDebugLog& operator<<(const CZeStringRef& text);
    CZeDebugLog& operator<<(std::nullptr_t);  // "(nullptr)"

private:
    CZeDebugLogStream* m_stream; // null: inactive
    bool m_suppressed;

    bool isActive() const { return m_stream && !m_suppressed; }
};

// The message record shared by the copies of one streaming logger.
struct CZeDebugLogStream {
    CZeDebugLogStream(CZeDebugLog::ZeMessageType messageType, const char* sourceFile,
                      int sourceLine, const char* sourceFunction, bool save)
        : ref(1), type(messageType), line(sourceLine), file(sourceFile),
          function(sourceFunction), saveToFile(save), buffer(CZeLatin1String("", 0)),
          output(true)
    {
    }

    int ref;                       // loggers sharing the record; not atomic (one thread)
    CZeDebugLog::ZeMessageType type;
    int line;
    const char* file;              // not owned; null: no position prefix
    const char* function;          // not owned
    bool saveToFile;               // hand to the log-file writer whatever the switch says
    CZeString buffer;              // the text streamed so far; starts empty, not null
    bool output;                   // false: discarded silently at the end
};

#endif /* CZEDEBUGLOG_H */
