/*
 * Where emitted messages go. The emitter (levels, switches, the streaming
 * log, the message logger) knows only these entry points; what lies behind
 * them is plugged in from above:
 *
 *   - the system log: Android's log, or standard error on hosts built
 *     without Android's logging library;
 *   - the host's callback (ZecLut3DSetMessageCallback), which sees every
 *     message the system log gets, on whatever thread emits it;
 *   - the dated log-file writer (core/logfile), which registers itself as
 *     the file sink when the library is loaded.
 *
 *   ZeLogToSystem(ZeLogPriority(type), text, CZeDebugLog::m_outputToStdOut);
 *   ZeLogToFile(text);   // when the message is to be saved
 */
#ifndef ZELOGSINKS_H
#define ZELOGSINKS_H

// The Android log tag of every message; the host application filters its
// log on this very name.
constexpr char kZeLogTag[] = "tavren";

// Android priorities: verbose 2, info 4, warn 5, error 6.
constexpr int kZeLogPriorityWarn = 5;

using ZeLogHostSink = void (*)(int priority, const char* tag, const char* text);
using ZeLogFileSink = void (*)(const char* message);

// Both take effect at once for every thread; null turns the sink off.
void ZeLogSetHostSink(ZeLogHostSink sink);
void ZeLogSetFileSink(ZeLogFileSink sink);

// One message to the system log (to standard error instead when toConsole),
// then to the host's callback.
void ZeLogToSystem(int priority, const char* text, bool toConsole);
// One message to the file sink, if one is plugged in.
void ZeLogToFile(const char* message);

#endif // ZELOGSINKS_H
