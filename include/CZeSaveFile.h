/*
 * CZeSaveFile - writes a file safely: all or nothing.
 *
 *   CZeSaveFile file(CZeString::fromUtf8("/sdcard/looks/settings.json"));
 *   if (!file.open(CZeIODevice::WriteOnly))
 *       return fail(file.errorString());     // e.g. "Existing file is not writable"
 *   file.write(json);
 *   if (!file.commit())                      // the one moment the target changes
 *       return fail(file.errorString());
 *
 * Writes go to a new temporary file beside the target (its name is the
 * target's with six random letters appended, created exclusively); commit()
 * closes it and renames it over the target in one step, so a reader sees the
 * old file or the new one, never a mix. When the target is a symbolic link,
 * the file the link leads to is replaced and the link stays. The new file
 * takes the permissions of the file it replaces.
 *
 * A save that is not committed changes nothing: destroying the object (or a
 * failed write, which makes commit() refuse) removes the temporary file and
 * leaves the target as it was. A save file is write-only; close() is not for
 * use (it reports an error and does nothing): commit or destroy instead.
 * Nothing throws. A save file belongs to one thread at a time.
 */
#ifndef CZESAVEFILE_H
#define CZESAVEFILE_H

#include "ZeGlobal.h"

#include "CZeFile.h"

class CZeSaveFilePrivate;

class ZE_EXPORT CZeSaveFile : public CZeFileDevice {
public:
    CZeSaveFile();
    explicit CZeSaveFile(const CZeString& name);
    // Abandons an uncommitted save: the temporary file is removed.
    ~CZeSaveFile() override;

    // The target's name, as given.
    CZeString fileName() const override;
    // Refused (with a warning) while open.
    void setFileName(const CZeString& name);

    // WriteOnly (with Text or Truncate if wanted); ReadOnly and Append are
    // refused. Fails with WriteError when the target exists but is not
    // writable for this process by its permission bits (root included) or is
    // a directory.
    bool open(OpenMode mode) override;
    // Not for use: reports "CZeSaveFile::close called" as an error.
    void close() override;
    // Closes the temporary file and renames it over the target. False (with
    // the error) when a write or the final flush failed, or the rename failed;
    // the temporary file is then removed and the target left as it was.
    bool commit();

protected:
    int64_t writeData(const char* data, int64_t size) override;

private:
    CZeSaveFilePrivate* savePrivate() const;
    void discard();
};

#endif /* CZESAVEFILE_H */
