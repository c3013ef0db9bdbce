/*
 * CZeTemporaryFileEngine - a file engine whose open() creates a new file with
 * a unique name from a template (see ZeTemporaryFile.h) instead of opening a
 * named one.
 *
 *   CZeTemporaryFileEngine engine(CZeString::fromUtf8("/data/out/report.txt.XXXXXX"), 0600);
 *   if (engine.open(CZeIODevice::WriteOnly))
 *       engine.write(bytes, n);                 // engine.fileName(): "/data/out/report.txt.QxHbWe"
 *
 * After a successful open the engine is a generic engine on the created file:
 * flush, close, rename and remove work on that name.
 */
#ifndef CZETEMPORARYFILEENGINE_H
#define CZETEMPORARYFILEENGINE_H

#include "core/io/CZeGenericFileEngine.h"

class CZeTemporaryFileEngine : public CZeGenericFileEngine {
public:
    // `permissions` apply to the new file (less the process's umask).
    CZeTemporaryFileEngine(const CZeString& nameTemplate, unsigned int permissions);

    // Creates the file and opens it with `mode`. A failure stores
    // ResourceError (too many open files) or UnspecifiedError with the
    // system's text.
    bool open(CZeIODevice::OpenMode mode);

private:
    CZeString m_template;
    unsigned int m_permissions;
};

#endif // CZETEMPORARYFILEENGINE_H
