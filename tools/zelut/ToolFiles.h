/*
 * Whole-file reads and all-or-nothing writes for the zelut tool.
 *
 *   std::string error;
 *   std::string text;
 *   if (!readWholeFile("in.cube", text, error, limit)) ... // error: "in.cube: No such file..."
 *   if (!writeFileReplacing("out.lut", bytes, error)) ...  // OUT appears complete or not at all
 *
 * A regular file (or one that does not exist yet) is written through a
 * temporary file beside it, flushed to disk with its folder and renamed over
 * it only once every byte is there, so an interrupted run never leaves a
 * truncated table or image behind. Symbolic links are followed to the file
 * they lead to, which is the one replaced (the link stays); a replaced file
 * keeps its permissions and owner. Anything else - a device, a pipe, standard
 * output - is written straight through. The temporary is removed on every
 * failure and on SIGINT, SIGTERM, SIGHUP or a file-size limit (SIGXFSZ),
 * after which the tool ends with the usual status for the signal.
 */
#ifndef ZELUT_TOOLFILES_H
#define ZELUT_TOOLFILES_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// At most `limit` bytes; truncated tells whether the file went on. Reads from
// pipes and devices too, never more than the limit.
bool readFilePrefix(
    const std::string& path, uint64_t limit, std::string& data, bool& truncated, std::string& error);
// The whole file, or a refusal when it holds more than `limit` bytes.
bool readWholeFile(const std::string& path, std::string& data, std::string& error, uint64_t limit);
bool writeFileReplacing(const std::string& path, const void* data, size_t size, std::string& error);

// An output being written: under a temporary name for a regular file (then
// commit() renames it over the target and destruction without commit()
// removes it), straight through for anything else.
class ReplacingFile {
public:
    explicit ReplacingFile(std::string path);
    ~ReplacingFile();
    ReplacingFile(const ReplacingFile&) = delete;
    ReplacingFile& operator=(const ReplacingFile&) = delete;

    bool open(std::string& error);
    bool write(const void* data, size_t size, std::string& error);
    bool commit(std::string& error);

private:
    void discard();

    std::string m_path;      // as given, for messages
    std::string m_target;    // after symbolic links
    std::string m_temporary; // empty when writing straight through
    int m_fd = -1;
};

// Installs the signal handlers that remove a temporary output; called once
// at start-up, before any thread exists, so that every thread has them.
void removeTemporaryOnSignals();

// False, with a one-line reason, when `output` is the very file (same device
// and inode, links followed) as one of `inputs`: writing it would destroy
// the input before it was read.
bool outputIsNotAnInput(const std::string& output, const std::vector<std::string>& inputs,
                        std::string& error);

// A temporary file in TMPDIR (or /tmp) holding the given bytes; removed on
// destruction. path() is empty when it could not be created.

// "path: reason" from errno.
std::string systemError(const std::string& path);

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix);

#endif
