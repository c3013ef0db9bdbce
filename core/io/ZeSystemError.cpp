#include "core/io/ZeSystemError.h"

#include <cerrno>
#include <cstring>

namespace {

// strerror_r comes in two forms: the XSI one returns an int and fills the
// buffer, the GNU one returns the text (which may or may not be the buffer).
// Overloading on the return type picks whichever this C library declares.
[[maybe_unused]] const char* errorText(int result, const char* buffer)
{
    return result == 0 ? buffer : nullptr;
}

[[maybe_unused]] const char* errorText(const char* result, const char*)
{
    return result;
}

} // namespace

CZeString ZeSystemErrorString(int errorNumber)
{
    if (errorNumber == -1)
        errorNumber = errno;
    switch (errorNumber) {
    case 0:
        return CZeString(CZeLatin1String(""));
    case ENOENT:
        return CZeString(CZeLatin1String("No such file or directory"));
    case EACCES:
        return CZeString(CZeLatin1String("Permission denied"));
    case EMFILE:
        return CZeString(CZeLatin1String("Too many open files"));
    case ENOSPC:
        return CZeString(CZeLatin1String("No space left on device"));
    default:
        break;
    }
    char buffer[1024];
    buffer[0] = '\0';
    const char* text = errorText(strerror_r(errorNumber, buffer, sizeof buffer), buffer);
    if (!text)
        text = "";
    // The text is cut at its first zero byte (and never runs past the buffer).
    const size_t length = text == buffer ? strnlen(buffer, sizeof buffer) : std::strlen(text);
    return CZeString::fromLocal8Bit(text, static_cast<int>(length));
}
