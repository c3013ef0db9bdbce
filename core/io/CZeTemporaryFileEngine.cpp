#include "core/io/CZeTemporaryFileEngine.h"

#include <cerrno>
#include <unistd.h>

#include "core/io/ZeTemporaryFile.h"

CZeTemporaryFileEngine::CZeTemporaryFileEngine(const CZeString& nameTemplate,
                                               unsigned int permissions)
    : CZeGenericFileEngine(CZeString()), m_template(nameTemplate), m_permissions(permissions)
{
}

bool CZeTemporaryFileEngine::open(CZeIODevice::OpenMode mode)
{
    CZeByteArray created;
    int errorNumber = 0;
    const int fd = ZeCreateUniqueFile(m_template.toLocal8Bit(), m_permissions, &created,
                                      &errorNumber);
    if (fd < 0) {
        setErrorFromErrno(errorNumber == EMFILE ? CZeFileDevice::ResourceError
                                                : CZeFileDevice::UnspecifiedError,
                          errorNumber);
        return false;
    }
    setFileName(CZeString::fromLocal8Bit(created));
    if (!openDescriptor(fd, mode)) {
        ::unlink(created.constData());
        return false;
    }
    return true;
}
