/*
 * Exclusive creation of a new file with a unique name.
 *
 *   CZeByteArray name;
 *   int error;
 *   int fd = ZeCreateUniqueFile(CZeByteArray("/data/out/ze_temp.XXXXXX"), 0600, &name, &error);
 *
 * The run of "X" at the end of the template's file-name part (".XXXXXX" is
 * appended when there are fewer than six) becomes random letters; the file is
 * created with O_EXCL, so an existing file is never opened, and new letters
 * are tried when the name is taken. Returns the descriptor (read-write,
 * close-on-exec) or -1 with the errno value in *errorNumber.
 *
 * This is the rename fallback's own small creator; it is meant to give way to
 * the shared temporary-file creation once that exists.
 */
#ifndef ZETEMPORARYFILE_H
#define ZETEMPORARYFILE_H

#include "CZeByteArray.h"

int ZeCreateUniqueFile(const CZeByteArray& nameTemplate, unsigned int permissions,
                       CZeByteArray* name, int* errorNumber);

#endif // ZETEMPORARYFILE_H
