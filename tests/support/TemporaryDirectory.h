/*
 * A scratch folder for one test, removed with everything in it at the end,
 * plus whole-file helpers.
 *
 *   TemporaryDirectory dir;                       // $TMPDIR (or /tmp)/ze-test-XXXXXX
 *   writeFileBytes(dir.file("a.lut"), bytes);
 *   EXPECT_EQ(readFileBytes(dir.file("a.lut")), bytes);
 */
#ifndef TESTS_SUPPORT_TEMPORARYDIRECTORY_H
#define TESTS_SUPPORT_TEMPORARYDIRECTORY_H

#include <cstdint>
#include <string>
#include <vector>

// Names in a folder, sorted, without "." and "..".
std::vector<std::string> namesIn(const std::string& folder);

class TemporaryDirectory {
public:
    // Under `parent`, or under $TMPDIR (/tmp when unset) when it is empty.
    explicit TemporaryDirectory(const std::string& parent = std::string());
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    bool isValid() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    std::vector<std::string> entries() const { return namesIn(m_path); }

private:
    std::string m_path;
};

bool writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes);
bool writeFileText(const std::string& path, const std::string& text);
std::vector<uint8_t> readFileBytes(const std::string& path);
std::string readFileText(const std::string& path);
// -1 when the file does not exist.
long long fileSizeOf(const std::string& path);

#endif
