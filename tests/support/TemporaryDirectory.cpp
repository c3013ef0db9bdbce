#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

TemporaryDirectory::TemporaryDirectory(const std::string& parent)
{
    std::string base = parent;
    if (base.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        base = tmp && *tmp ? tmp : "/tmp";
    }
    std::string name = base + "/ze-test-XXXXXX";
    if (::mkdtemp(&name[0]))
        m_path = name;
}

TemporaryDirectory::~TemporaryDirectory()
{
    // Links inside are removed, never followed.
    std::error_code ignored;
    if (!m_path.empty())
        std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& e : std::filesystem::directory_iterator(folder, ignored))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

bool writeFileBytes(const std::string& path, const std::vector<uint8_t>& bytes)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

bool writeFileText(const std::string& path, const std::string& text)
{
    return writeFileBytes(path, std::vector<uint8_t>(text.begin(), text.end()));
}

std::vector<uint8_t> readFileBytes(const std::string& path)
{
    std::vector<uint8_t> bytes;
    FILE* f = std::fopen(path.c_str(), "rb");
    if (!f)
        return bytes;
    uint8_t block[4096];
    size_t got;
    while ((got = std::fread(block, 1, sizeof block, f)) > 0)
        bytes.insert(bytes.end(), block, block + got);
    std::fclose(f);
    return bytes;
}

std::string readFileText(const std::string& path)
{
    const std::vector<uint8_t> bytes = readFileBytes(path);
    return std::string(bytes.begin(), bytes.end());
}

long long fileSizeOf(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}
