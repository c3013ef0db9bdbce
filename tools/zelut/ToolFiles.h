/*
 * Whole-file reads and all-or-nothing writes for the zelut tool.
 *
 *   std::string error;
 *   std::string text;
 *   if (!readWholeFile("in.cube", text, error)) ...        // error: "in.cube: No such file..."
 *   if (!writeFileReplacing("out.lut", bytes, error)) ...  // OUT appears complete or not at all
 *
 * Writers go through a temporary file beside the target that is renamed over
 * it only once every byte is on disk, so an interrupted run never leaves a
 * truncated table or image behind.
 */
#ifndef ZELUT_TOOLFILES_H
#define ZELUT_TOOLFILES_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

bool readWholeFile(const std::string& path, std::string& data, std::string& error);
bool writeFileReplacing(const std::string& path, const void* data, size_t size, std::string& error);

// A file being written under a temporary name; commit() renames it over the
// target, destruction without commit() removes it.
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
    std::string m_path;
    std::string m_temporary;
    std::FILE* m_file = nullptr;
};

// A temporary file in TMPDIR (or /tmp) holding the given bytes; removed on
// destruction. path() is empty when it could not be created.
class TemporaryFile {
public:
    TemporaryFile(const std::vector<uint8_t>& bytes, const char* suffix, std::string& error);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// "path: reason" from errno.
std::string systemError(const std::string& path);

bool endsWithIgnoringCase(const std::string& text, const std::string& suffix);

#endif
