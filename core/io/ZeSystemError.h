/*
 * Text of a C library error number, as the file engines store it:
 *
 *   if (!fh)
 *       setError(CZeFileDevice::OpenError, ZeSystemErrorString(errno));
 *
 * 0 gives an empty text; the common file errors have fixed English texts so
 * that messages read the same on every C library; anything else is the
 * platform's own text. -1 stands for the current value of errno.
 */
#ifndef ZESYSTEMERROR_H
#define ZESYSTEMERROR_H

#include "CZeString.h"

CZeString ZeSystemErrorString(int errorNumber);

#endif // ZESYSTEMERROR_H
