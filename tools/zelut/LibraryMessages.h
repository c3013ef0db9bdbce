/*
 * What the library said. The library reports refusals through the Android
 * log (tag "tavren"); on a Linux host Debian's liblog would print each one to
 * standard error as a "tavren E <date> <pid> <tid> file(line), function: text"
 * line. The tool defines __android_log_write itself (the dynamic linker binds
 * the library's calls to this definition) and turns the last reason into one
 * line of its own.
 *
 *   clearLibraryMessages();
 *   Lut3DTable* t = ZecLut3DLoadTableFromFile(path);
 *   if (!t) fail(path + ": " + libraryReason("the library refused it"));
 */
#ifndef ZELUT_LIBRARYMESSAGES_H
#define ZELUT_LIBRARYMESSAGES_H

#include <string>

void clearLibraryMessages();

// The first warning or error since clearLibraryMessages(), without the
// library's "file(line), function: " position prefix; `fallback` when there
// was none.
std::string libraryReason(const std::string& fallback);

// "file(line), function: text" -> "text"; other texts unchanged.
std::string withoutPositionPrefix(const std::string& text);

#endif
