/*
 * CZeDebugLog - the library's one diagnostic channel.
 *
 *   CZeDebugLog::SetDebugLevel(CZeDebugLog::DebugLevelWarning); // errors and warnings only
 *   CZeDebugLog::SetForceLogToStdOut(true);                     // console instead of logcat
 *
 * Messages pass a process-wide level gate, then go to the Android log (tag
 * "tavren", priority = message type + 3) or, with the console switch, to
 * standard error with a line feed. The switches are plain globals meant to be
 * set once at start-up.
 */
#ifndef CZEDEBUGLOG_H
#define CZEDEBUGLOG_H

#include "ZeGlobal.h"

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
};

#endif /* CZEDEBUGLOG_H */
