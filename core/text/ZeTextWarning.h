/*
 * How the text classes report misuse. The debug log that carries these
 * warnings is itself built on the text classes, so text sees it only through
 * these declarations; the log defines them (core/log/ZeTextWarnings.cpp).
 *
 *   if (ZeTextWarningsEnabled())
 *       ZeTextWarning(buffer);
 */
#ifndef ZETEXTWARNING_H
#define ZETEXTWARNING_H

class CZeString;

// Whether a warning would be emitted at the current debug level.
bool ZeTextWarningsEnabled();
// A warning without a source position, cut at 1023 bytes.
void ZeTextWarning(const char* text);
// A warning with the "file(line), function: " prefix, cut at 1023 bytes.
void ZeTextWarningAt(const char* file, int line, const char* function, const char* text);
// A warning without a source position and without a length limit.
void ZeTextWarningLong(const CZeString& text);

// ZeTextWarningAt with this call site's position, named as ZE_LOGGER names it.
#if defined(__FILE_NAME__)
#define ZE_TEXT_WARNING_HERE(text) ZeTextWarningAt(__FILE_NAME__, __LINE__, __func__, text)
#else
#define ZE_TEXT_WARNING_HERE(text) ZeTextWarningAt(__FILE__, __LINE__, __func__, text)
#endif

#endif // ZETEXTWARNING_H
