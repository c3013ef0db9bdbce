/*
 * CZeLogger - the log-file writer: dated text files written by one
 * background thread.
 *
 *   CZeLogger::SetLogDirPath("/data/user/0/com.example.app/files");
 *   CZeLogger::WriteMessage("render started");
 *   // appended to .../files/corvidsdk/log/corvidsdklog(2024-05-01).log as
 *   // [2024-05-01 14:03:07] render started
 *
 * Callers never wait for the disk: a message is stamped with the local time
 * and queued, and the writer thread appends the queued lines to the file of
 * the current local day (one file per day, opened for appending, so a later
 * run continues it). Lines reach the disk about 10 seconds after they were
 * queued at the latest. Messages that the debug log is asked to save (or all of them, with
 * CZeDebugLog::SetForceSaveLogToFile) come here as well.
 *
 * When the day's file is removed or replaced under its name (a user clearing
 * the app's files, say, folders and all), the writer notices before it
 * writes the next lines and opens the file the name leads to, creating the
 * folders again; the lines written meanwhile went to the removed file.
 *
 * Until a directory is set, lines are dropped, and a failed file opening
 * ("Failed to create log file: <path>" in the Android log) drops the lines
 * at hand and blocks new attempts for 30 seconds. The writer is created by the
 * first call and shut down at process exit; lines still queued then are
 * dropped, and calls after it do nothing. Every entry may be called from any
 * thread; nothing throws.
 */
#ifndef CZELOGGER_H
#define CZELOGGER_H

#include "ZeGlobal.h"

#include "CZeByteArray.h"
#include "CZeString.h"

class ZE_EXPORT CZeLogger {
public:
    // Queues the text up to its terminating zero; null is ignored.
    static void WriteMessage(const char* message);
    // Queues the text in the local 8-bit encoding (UTF-8).
    static void WriteMessage(const CZeString& message);
    // Queues one line "[YYYY-MM-DD HH:MM:SS] message"; an empty message is ignored.
    static void WriteMessage(const CZeByteArray& message);
    // The folder below which "corvidsdk/log/" holds the files, in the local
    // 8-bit encoding; null is ignored. Takes effect at the next file opening.
    static void SetLogDirPath(const char* path);

private:
    CZeLogger() = delete;
};

#endif /* CZELOGGER_H */
