/*
 * What the library said. The library reports refusals through its message
 * callback (and the system log, which the tool mutes: on a Linux host the
 * system log would repeat each message on standard error); the tool turns
 * the first reason into one line of its own.
 *
 *   captureLibraryMessages();            // once, at start-up
 *   clearLibraryMessages();
 *   Lut3DTable* t = ZecLut3DLoadTableFromFile(path);
 *   if (!t) fail(path + ": " + libraryReason("the library refused it"));
 */
#ifndef ZELUT_LIBRARYMESSAGES_H
#define ZELUT_LIBRARYMESSAGES_H

#include <string>

void captureLibraryMessages();
void clearLibraryMessages();

// The first warning or error since clearLibraryMessages(), without the
// library's "file(line), function: " position prefix; `fallback` when there
// was none.
std::string libraryReason(const std::string& fallback);

// "file(line), function: text" -> "text"; other texts unchanged.
std::string withoutPositionPrefix(const std::string& text);

#endif
