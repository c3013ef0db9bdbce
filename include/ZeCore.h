/*
 * ZeCore.h - every exported class of the core library in one include.
 *
 *   #include "ZeCore.h"
 *   CZeString s = CZeString::fromUtf8("text");
 */
#ifndef ZECORE_H
#define ZECORE_H

#include "CZeByteArray.h"
#include "CZeDebugLog.h"
#include "CZeDir.h"
#include "CZeElapsedTimer.h"
#include "CZeFile.h"
#include "CZeFileInfo.h"
#include "CZeIODevice.h"
#include "CZeLogger.h"
#include "CZeObject.h"
#include "CZeRwLock.h"
#include "CZeSaveFile.h"
#include "CZeSignal.h"
#include "CZeString.h"
#include "CZeTextCodec.h"
#include "CZeThread.h"
#include "CZeThreadStorage.h"

#endif /* ZECORE_H */
