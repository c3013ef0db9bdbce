/*
 * Exclusive creation of a new file with a unique name: the one way the core
 * makes temporary files (save files, the file rename's fallbacks).
 *
 *   CZeByteArray name;
 *   int error;
 *   int fd = ZeCreateUniqueFile(CZeByteArray("/data/out/ze_temp.XXXXXX"), 0600, &name, &error);
 *
 * The run of "X" at the end of the template's file-name part becomes random
 * letters (".XXXXXX" is appended first when the run is shorter than six). The
 * letters come from a minimal-standard generator whose state each thread keeps
 * for itself, starting at 17. The file is created with O_EXCL, so an existing
 * file is never opened; when the name is taken the letters advance like an
 * odometer until a free name turns up or every combination was tried.
 * Returns the descriptor (read-write, close-on-exec) and the name, or -1 with
 * the errno value in *errorNumber (EEXIST when every name was taken).
 */
#ifndef ZETEMPORARYFILE_H
#define ZETEMPORARYFILE_H

#include "CZeByteArray.h"

// open() flags of the creation: read-write, create, exclusive, large file,
// close-on-exec (655554 on arm64).
extern const int kZeUniqueFileOpenFlags;

int ZeCreateUniqueFile(const CZeByteArray& nameTemplate, unsigned int permissions,
                       CZeByteArray* name, int* errorNumber);

// The calling thread's next letter, 'A' to 'Z' or 'a' to 'z' (for tests).
char ZeNextTemporaryLetter();

#endif // ZETEMPORARYFILE_H
